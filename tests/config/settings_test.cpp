#include "config/settings.h"

#include <cstddef>
#include <gtest/gtest.h>

// Numbers are four bytes and texts multiples of four, so each field begins where the one before it ends.

TEST(Settings, SystemFieldsLieInTheirOrder) {
    const struct {
        const char *name;
        size_t offset;
        size_t expected;
    } rows[] = {
        {"BusType", offsetof(system_settings, BusType), 0},
        {"DataReg", offsetof(system_settings, DataReg), 4},
        {"IndexReg", offsetof(system_settings, IndexReg), 8},
        {"MachineName", offsetof(system_settings, MachineName), 12},
        {"MailAlert", offsetof(system_settings, MailAlert), 52}, // 40 characters on
        {"MailBox", offsetof(system_settings, MailBox), 56},
        {"MailServer", offsetof(system_settings, MailServer), 156}, // 100 characters on
        {"Outline", offsetof(system_settings, Outline), 196},
        {"PagerAlert", offsetof(system_settings, PagerAlert), 236},
        {"PagerId", offsetof(system_settings, PagerId), 240},
        {"PhoneNumber", offsetof(system_settings, PhoneNumber), 280},
        {"Polling", offsetof(system_settings, Polling), 320},
        {"CoreTempChipCode", offsetof(system_settings, CoreTempChipCode), 324},
        {"ServerPort", offsetof(system_settings, ServerPort), 328},
        {"W83793GTempLevelType", offsetof(system_settings, W83793GTempLevelType), 412}, // 84 characters on
        {"ThermalGuideChipType", offsetof(system_settings, ThermalGuideChipType), 416},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.offset, row.expected) << row.name;
    EXPECT_EQ(sizeof(system_settings), 420u);
}

TEST(Settings, ItemFieldsLieInTheirOrder) {
    const struct {
        const char *name;
        size_t offset;
        size_t expected;
    } rows[] = {
        {"Name", offsetof(item_record, Name), 0},
        {"Cat", offsetof(item_record, Cat), 80},
        {"VolFunc", offsetof(item_record, VolFunc), 84},
        {"ItemId", offsetof(item_record, ItemId), 88},
        {"BusType", offsetof(item_record, BusType), 168},
        {"ChipCode", offsetof(item_record, ChipCode), 172},
        {"Slave", offsetof(item_record, Slave), 176},
        {"Offset", offsetof(item_record, Offset), 180},
        {"Activate", offsetof(item_record, Activate), 184},
        {"Monitor", offsetof(item_record, Monitor), 188},
        {"Source", offsetof(item_record, Source), 192},
        {"ParaIndex1", offsetof(item_record, ParaIndex1), 196},
        {"ParaIndex2", offsetof(item_record, ParaIndex2), 276},
        {"RefItemId", offsetof(item_record, RefItemId), 356},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.offset, row.expected) << row.name;
    EXPECT_EQ(sizeof(item_record), 436u);
}

TEST(Settings, ParameterFieldsLieInTheirOrder) {
    EXPECT_EQ(offsetof(parameter_record, szKeyName), 0u);
    EXPECT_EQ(offsetof(parameter_record, Slave), 12u);
    EXPECT_EQ(offsetof(parameter_record, Offset), 16u);
    EXPECT_EQ(offsetof(parameter_record, BitMask), 20u);
    EXPECT_EQ(sizeof(parameter_record), 24u);
}

TEST(Settings, FilesLieInEtc) {
    EXPECT_STREQ(KESTREL_INI, "/etc/Kestrel.ini");
    EXPECT_STREQ(KESTREL_INI_OLD, "/etc/Kestrel.ini.old");
}
