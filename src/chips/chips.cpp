#include "chips/chips.h"

#include "chips/families.h"

raw_source reading_of(const system_settings *system, const item_record *item) {
    return {system, item, item->Slave, item->Offset, false};
}

raw_source limit_of(const system_settings *system, const item_record *item, const parameter_record *record) {
    return {system, item, record->Slave, record->Offset, true};
}

static const chip_family *const families[] = {
    &plain_chips,   &winbond_chips, &w83793g_chips, &w83795adg_chips, &nct6776f_chips, &nct7904d_chips,
    &it8720f_chips, &ns87427_chips, &adm1026_chips, &switch_chips,    &bmc_only_chips,
};

static constexpr chip unknown = {.code = CHIP_COUNT};

struct row_table {
    const chip *row[CHIP_COUNT];
};

static row_table rows_by_code() {
    row_table table = {};
    for (const chip *&row : table.row)
        row = &unknown;
    for (const chip_family *family : families)
        for (size_t i = 0; i < family->count; i++)
            table.row[family->rows[i].code] = &family->rows[i];
    return table;
}

const chip *chip_of(uint32_t code) {
    static const row_table table = rows_by_code();
    return code < CHIP_COUNT ? table.row[code] : &unknown;
}
