#pragma once
// Boards whose older revisions have a master file of their own, and how a revision is recognised: by the
// board's version string, a pin of the south bridge, or bits that the BIOS left in its area.

#include <cstdint>

#define MASTER_INI "/etc/AllKestrel.ini"
#define OLD_REVISION_INI "/etc/OldRevMB.ini"
#define OLD_REVISION_2_INI "/etc/OldRevMB_2.ini"
#define OLD_REVISION_3_INI "/etc/OldRevMB_3.ini"

enum revision_condition { VERSION_IS, VERSION_IS_NOT, GPIO28_HIGH, GPIO38_HIGH, GPIO39_HIGH, BIOS_BITS };

struct revision_rule {
    const char *product;
    revision_condition condition;
    const char *version; // of the VERSION_ conditions
    uint32_t address;    // of BIOS_BITS: the byte there, of which `mask` gives `wanted`
    uint8_t mask;
    uint8_t wanted;
    const char *master; // the file to use when the condition holds
};

constexpr unsigned REVISION_RULES = 24;
extern const revision_rule revision_rules[REVISION_RULES];

// The master file for the board: that of the first rule that holds, otherwise MASTER_INI. Only the rules
// for this product touch the machine.
const char *choose_master(const char *product, const char *version);
