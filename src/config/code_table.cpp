#include "config/code_table.h"

#include <array>
#include <cstdio>
#include <string_view>

#include "hw/text.h"

constexpr unsigned NAME_SIZE = 16; // 15 characters and the terminator
constexpr unsigned ROW_COUNT = 254;

struct code_row {
    char name[NAME_SIZE];
    uint32_t code;
};

struct code_table {
    std::array<code_row, ROW_COUNT + 1> rows; // ended by an empty name
    unsigned used;
};

static constexpr void add_row(code_table *table, std::string_view prefix, unsigned number,
                              std::string_view suffix, uint32_t code) {
    code_row &row = table->rows[table->used++];
    unsigned length = 0;
    for (char c : prefix)
        row.name[length++] = c;
    if (number >= 10)
        row.name[length++] = static_cast<char>('0' + number / 10);
    if (number > 0)
        row.name[length++] = static_cast<char>('0' + number % 10);
    for (char c : suffix)
        row.name[length++] = c;
    row.code = code;
}

// prefix1 to prefix<count>, coded from `first` on.
static constexpr void add_numbered(code_table *table, std::string_view prefix, unsigned count,
                                   uint32_t first) {
    for (unsigned n = 1; n <= count; n++)
        add_row(table, prefix, n, "", first + n - 1);
}

// The pairs VOL1H, VOL1L, VOL2H, ... up to 16, coded from `first` on.
static constexpr void add_pairs(code_table *table, std::string_view prefix, std::string_view one,
                                std::string_view other, uint32_t first) {
    for (unsigned n = 1; n <= 16; n++) {
        add_row(table, prefix, n, one, first + 2 * (n - 1));
        add_row(table, prefix, n, other, first + 2 * (n - 1) + 1);
    }
}

static constexpr code_table build_table() {
    code_table table = {};
    // Item categories
    add_row(&table, "FAN", 0, "", 0);
    add_row(&table, "TEMP", 0, "", 2);
    add_row(&table, "VOLTAGE", 0, "", 1);
    add_row(&table, "SWITCH", 0, "", 3);
    add_row(&table, "DRIVE", 0, "", 4);
    add_row(&table, "MEMORY", 0, "", 5);
    add_row(&table, "DIVISOR", 0, "", 6);
    // Voltage functions
    add_row(&table, "P12V", 0, "", 0);
    add_row(&table, "P5V", 0, "", 1);
    add_row(&table, "P33V", 0, "", 2);
    add_row(&table, "P25V", 0, "", 3);
    add_row(&table, "VCCP", 0, "", 4);
    add_row(&table, "N5V", 0, "", 5);
    add_row(&table, "N12V", 0, "", 6);
    add_row(&table, "VBAT", 0, "", 7);
    add_row(&table, "P5VSB", 0, "", 8);
    // Item ids: at most 16 fans, 60 voltages, 16 temperatures and 16 switches have a name
    add_numbered(&table, "Item_FAN", 16, 0);
    add_numbered(&table, "Item_VOL", 60, 16);
    add_numbered(&table, "Item_TEMP", 16, 76);
    add_numbered(&table, "Item_SWITCH", 16, 92);
    // Parameters. The codes 48 to 135 are left free on purpose: voltages 17 to 60 have no limit names.
    add_numbered(&table, "Divisor", 16, 0);
    add_pairs(&table, "VOL", "H", "L", 16);
    add_pairs(&table, "TEMP", "H", "L", 136);
    for (unsigned n = 1; n <= 16; n++)
        add_row(&table, "FAN", n, "H", 167 + n);
    add_pairs(&table, "SWITCH", "A", "C", 184);
    add_row(&table, "FALSE", 0, "", 0);
    add_row(&table, "TRUE", 0, "", 1);
    return table;
}

static constexpr code_table TABLE = build_table();
static_assert(TABLE.used == ROW_COUNT);

uint32_t str2code(const char *name) {
    for (const code_row *row = TABLE.rows.data(); row->name[0] != '\0'; row++)
        if (equal_ignoring_case(row->name, name))
            return row->code;
    fprintf(stderr, "%s: Failure! %s\n", "str2code", shown_text(stderr, name).c_str());
    return NO_CODE;
}
