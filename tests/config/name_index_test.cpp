#include "config/name_index.h"

#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

// Two tables with the same contents: one is indexed, the other is searched in order. Places 3, 7 and 8 of the
// parameters and 2 and 5 of the items have no name.
static const char *const parameter_names[] = {"Divisor1", "VOL1H", "divisor1",  "",         "VOL1L",
                                              "DIVISOR1", "vol1l", "",          "",         "VOL1[",
                                              "vol1{",    "FAN1H", "T\xC3\xA9", "t\xC3\xA9"};
static const char *const item_ids[] = {"Item_FAN1",  "Item_VOL1", "",         "ITEM_fan1",
                                       "Item_TEMP1", "",          "item_vol1"};

constexpr int32_t PARAMETERS = sizeof parameter_names / sizeof parameter_names[0];
constexpr int32_t ITEMS = sizeof item_ids / sizeof item_ids[0];

static parameter_record indexed_parameters[PARAMETERS];
static parameter_record plain_parameters[PARAMETERS];
static item_record indexed_items[ITEMS];
static item_record plain_items[ITEMS];

static void fill_tables() {
    for (int32_t i = 0; i < PARAMETERS; i++) {
        snprintf(indexed_parameters[i].szKeyName, sizeof indexed_parameters[i].szKeyName, "%s",
                 parameter_names[i]);
        plain_parameters[i] = indexed_parameters[i];
    }
    for (int32_t i = 0; i < ITEMS; i++) {
        snprintf(indexed_items[i].ItemId, sizeof indexed_items[i].ItemId, "%s", item_ids[i]);
        plain_items[i] = indexed_items[i];
    }
    index_names(indexed_items, ITEMS, indexed_parameters, PARAMETERS);
}

// The place in the table, -1 if it is not there.
static int place_of(const parameter_record *found, const parameter_record *table) {
    return found == nullptr ? -1 : static_cast<int>(found - table);
}

static int place_of(const item_record *found, const item_record *table) {
    return found == nullptr ? -1 : static_cast<int>(found - table);
}

TEST(NameIndex, FirstAndLastParameterOfAName) {
    fill_tables();
    const struct {
        const char *name;
        int first;
        int last;
    } rows[] = {
        {"Divisor1", 0, 5},
        {"dIVISOR1", 0, 5},
        {"VOL1H", 1, 1},
        {"vol1h", 1, 1},
        {"VOL1L", 4, 6},
        {"FAN1H", 11, 11},
        {"VOL1[", 9, 9}, // brackets and braces differ, though by the bit that tells the cases of a letter
        {"VOL1{", 10, 10},
        {"T\xC3\xA9", 12, 13},
        {"T\xC3\x89", -1, -1},
        {"", -1, -1}, // a key that was not given names nothing
        {"Divisor", -1, -1},
        {"Divisor11", -1, -1},
        {"Divisor1 ", -1, -1},
        {"unknown", -1, -1},
        {"a name that is longer than any that fits into a record", -1, -1},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(
            place_of(find_first_parameter(indexed_parameters, PARAMETERS, row.name), indexed_parameters),
            row.first)
            << row.name << ", indexed";
        EXPECT_EQ(place_of(find_last_parameter(indexed_parameters, PARAMETERS, row.name), indexed_parameters),
                  row.last)
            << row.name << ", indexed";
        EXPECT_EQ(place_of(find_first_parameter(plain_parameters, PARAMETERS, row.name), plain_parameters),
                  row.first)
            << row.name << ", plain";
        EXPECT_EQ(place_of(find_last_parameter(plain_parameters, PARAMETERS, row.name), plain_parameters),
                  row.last)
            << row.name << ", plain";
    }
}

TEST(NameIndex, FirstItemOfAnId) {
    fill_tables();
    const struct {
        const char *id;
        int expected;
    } rows[] = {
        {"Item_FAN1", 0}, {"item_fan1", 0},  {"ITEM_VOL1", 1}, {"Item_TEMP1", 4},
        {"", -1},         {"Item_FAN2", -1}, {"Item_FAN", -1}, {"Item_FAN1 ", -1},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(place_of(find_item_by_id(indexed_items, ITEMS, row.id), indexed_items), row.expected)
            << row.id << ", indexed";
        EXPECT_EQ(place_of(find_item_by_id(plain_items, ITEMS, row.id), plain_items), row.expected)
            << row.id << ", plain";
    }
}

// A part of the indexed table is another table: what is beyond its end is not found.
TEST(NameIndex, CountBoundsTheSearch) {
    fill_tables();
    EXPECT_EQ(place_of(find_last_parameter(indexed_parameters, 3, "Divisor1"), indexed_parameters), 2);
    EXPECT_EQ(place_of(find_last_parameter(plain_parameters, 3, "Divisor1"), plain_parameters), 2);
    EXPECT_EQ(find_first_parameter(indexed_parameters, 4, "VOL1L"), nullptr);
    EXPECT_EQ(find_first_parameter(indexed_parameters, 0, "Divisor1"), nullptr);
    EXPECT_EQ(find_item_by_id(indexed_items, 4, "Item_TEMP1"), nullptr);
    EXPECT_EQ(find_item_by_id(plain_items, 0, "Item_FAN1"), nullptr);
    EXPECT_EQ(place_of(find_first_parameter(indexed_parameters + 1, PARAMETERS - 1, "Divisor1"),
                       indexed_parameters),
              2);
}

TEST(NameIndex, NewIndexTakesThePlaceOfTheOld) {
    fill_tables();
    static parameter_record other[2] = {{"VOL9H", 1, 2, 3}, {"VOL9H", 4, 5, 6}};
    static item_record other_items[1];
    snprintf(other_items[0].ItemId, sizeof other_items[0].ItemId, "Item_SWITCH1");
    index_names(other_items, 1, other, 2);
    EXPECT_EQ(find_first_parameter(other, 2, "vol9h"), &other[0]);
    EXPECT_EQ(find_last_parameter(other, 2, "vol9h"), &other[1]);
    EXPECT_EQ(find_first_parameter(other, 2, "Divisor1"), nullptr);
    EXPECT_EQ(find_item_by_id(other_items, 1, "ITEM_SWITCH1"), &other_items[0]);
    EXPECT_EQ(find_item_by_id(other_items, 1, "Item_FAN1"), nullptr);
    EXPECT_EQ(find_last_parameter(indexed_parameters, PARAMETERS, "Divisor1"), &indexed_parameters[5]);
    EXPECT_EQ(find_item_by_id(indexed_items, ITEMS, "Item_TEMP1"), &indexed_items[4]);
}

// Half of them twice, whatever room the index has.
TEST(NameIndex, EveryNameOfATableOfAnySize) {
    for (int32_t count : {1, 2, 3, 4, 5, 8, 63, 64, 65, 1000}) {
        std::vector<parameter_record> table(static_cast<size_t>(count));
        int32_t half = (count + 1) / 2;
        for (int32_t i = 0; i < count; i++)
            strcpy(table[static_cast<size_t>(i)].szKeyName, ("VOL" + std::to_string(i % half) + "H").c_str());
        ASSERT_TRUE(index_names(nullptr, 0, table.data(), count));
        for (int32_t i = 0; i < half; i++) {
            const std::string name = "vol" + std::to_string(i) + "h";
            int32_t last = i + half < count ? i + half : i;
            EXPECT_EQ(place_of(find_first_parameter(table.data(), count, name.c_str()), table.data()), i);
            EXPECT_EQ(place_of(find_last_parameter(table.data(), count, name.c_str()), table.data()), last);
        }
        EXPECT_EQ(find_first_parameter(table.data(), count, "VOL1000H"), nullptr);
        index_names(nullptr, 0, nullptr, 0); // before the names go
    }
}
