#include "config/revision_rules.h"

#include <cstring>

#include "hw/gpio.h"
#include "hw/text.h"

// Bytes in which the BIOS records what it was built for.
constexpr uint32_t BIOS_BOARD = 0xFFA41;
constexpr uint32_t BIOS_OPTIONS = 0xFFA40;

// In the order in which they are tried: first the rules of the oldest file.
const revision_rule revision_rules[REVISION_RULES] = {
    {"H2SB-I", VERSION_IS, "1.0", 0, 0, 0, OLD_REVISION_INI},
    {"H2SB-E", VERSION_IS, "1.1", 0, 0, 0, OLD_REVISION_INI},
    {"H2DL-8", VERSION_IS_NOT, "2.0", 0, 0, 0, OLD_REVISION_INI},
    {"H2DL-4", VERSION_IS_NOT, "2.1", 0, 0, 0, OLD_REVISION_INI},
    {"H3SL-E", VERSION_IS, "1.2", 0, 0, 0, OLD_REVISION_INI},
    {"H3DP-8", GPIO28_HIGH, nullptr, 0, 0, 0, OLD_REVISION_INI},
    {"H3DP-i", GPIO28_HIGH, nullptr, 0, 0, 0, OLD_REVISION_INI},
    {"H4SC-T", BIOS_BITS, nullptr, BIOS_BOARD, 0x06, 0x06, OLD_REVISION_INI}, // bits 1 and 2 set
    {"H4SC-F", BIOS_BITS, nullptr, BIOS_BOARD, 0x01, 0x00, OLD_REVISION_INI}, // bit 0 clear
    {"H4DG-T", VERSION_IS, "1.0", 0, 0, 0, OLD_REVISION_INI},
    {"H4DG-8", VERSION_IS_NOT, "1.3", 0, 0, 0, OLD_REVISION_INI},
    {"R2M-D4", VERSION_IS, "1.0", 0, 0, 0, OLD_REVISION_INI},
    {"H4DG-T", VERSION_IS, "1.1", 0, 0, 0, OLD_REVISION_2_INI}, // its second revision
    {"H5DA-N", GPIO38_HIGH, nullptr, 0, 0, 0, OLD_REVISION_2_INI},
    {"H5DA-R", GPIO39_HIGH, nullptr, 0, 0, 0, OLD_REVISION_2_INI},
    {"H5QI-8", BIOS_BITS, nullptr, BIOS_BOARD, 0x03, 0x01, OLD_REVISION_2_INI}, // bits 0-1 are 1
    {"H5QI-4", BIOS_BITS, nullptr, BIOS_BOARD, 0x03, 0x00, OLD_REVISION_2_INI}, // bits 0-1 are 0
    {"N6DF-T", VERSION_IS, "2.0", 0, 0, 0, OLD_REVISION_2_INI},
    {"N6DF-L", VERSION_IS_NOT, "1.2", 0, 0, 0, OLD_REVISION_2_INI},
    {"N6SE-F", BIOS_BITS, nullptr, BIOS_OPTIONS, 0x01, 0x01, OLD_REVISION_2_INI}, // bit 0 set
    {"H4DG-T", VERSION_IS, "1.2", 0, 0, 0, OLD_REVISION_3_INI},                   // and its third
    {"N6SE-L", BIOS_BITS, nullptr, BIOS_OPTIONS, 0x02, 0x02, OLD_REVISION_3_INI}, // bit 1 set
    {"N6DR-6", VERSION_IS, "1.3", 0, 0, 0, OLD_REVISION_3_INI},
    {"N6DR-i", VERSION_IS, "2.1", 0, 0, 0, OLD_REVISION_3_INI},
};

static bool holds(const revision_rule *rule, const char *version) {
    switch (rule->condition) {
    case VERSION_IS:
        return strcmp(version, rule->version) == 0;
    case VERSION_IS_NOT:
        return strcmp(version, rule->version) != 0;
    case GPIO28_HIGH:
        return CheckGPIO28Hi() != 0;
    case GPIO38_HIGH:
        return CheckGPIO38Hi() != 0;
    case GPIO39_HIGH:
        return CheckGPIO39Hi() != 0;
    case BIOS_BITS:
        return (getMemByte(rule->address) & rule->mask) == rule->wanted;
    }
    return false;
}

const char *choose_master(const char *product, const char *version) {
    for (const revision_rule &rule : revision_rules)
        if (equal_ignoring_case(rule.product, product) && holds(&rule, version))
            return rule.master;
    return MASTER_INI;
}
