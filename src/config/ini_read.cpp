#include "config/ini_read.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "config/code_table.h"
#include "config/ini_lines.h"
#include "config/name_index.h"
#include "hw/os.h"
#include "hw/text.h"

kestrel_context *myspKestrel;

enum key_kind { HEX, DEC, NAME, TEXT };

struct key_row {
    const char *name;
    key_kind kind;
    size_t offset;   // of the field in its record
    size_t capacity; // of a text field, terminator included
};

#define NUMBER_KEY(name, kind, record, field)                                                                \
    { name, kind, offsetof(record, field), 0 }
#define TEXT_KEY(name, record, field)                                                                        \
    { name, TEXT, offsetof(record, field), sizeof(record::field) }

static const key_row system_keys[] = {
    NUMBER_KEY("BUSTYPE", HEX, system_settings, BusType),
    NUMBER_KEY("DATAREG", HEX, system_settings, DataReg),
    NUMBER_KEY("INDEXREG", HEX, system_settings, IndexReg),
    TEXT_KEY("MACHINENAME", system_settings, MachineName),
    NUMBER_KEY("MAILALERT", NAME, system_settings, MailAlert),
    TEXT_KEY("MAILBOX", system_settings, MailBox),
    TEXT_KEY("MAILSERVER", system_settings, MailServer),
    TEXT_KEY("OUTLINE", system_settings, Outline),
    NUMBER_KEY("PAGERALERT", NAME, system_settings, PagerAlert),
    TEXT_KEY("PAGERID", system_settings, PagerId),
    TEXT_KEY("PHONENUMBER", system_settings, PhoneNumber),
    NUMBER_KEY("POLLING", DEC, system_settings, Polling),
    NUMBER_KEY("CORETEMPCHIPCODE", HEX, system_settings, CoreTempChipCode),
    TEXT_KEY("SERVERPORT", system_settings, ServerPort),
    NUMBER_KEY("W83793GTEMPLEVELTYPE", HEX, system_settings, W83793GTempLevelType),
    NUMBER_KEY("ThermalGuideChipType", HEX, system_settings, ThermalGuideChipType),
    {nullptr, HEX, 0, 0},
};

static const key_row item_keys[] = {
    TEXT_KEY("ITEM_NAME", item_record, Name),
    NUMBER_KEY("ITEM_CAT", NAME, item_record, Cat),
    NUMBER_KEY("VOL_FUNC", NAME, item_record, VolFunc),
    TEXT_KEY("ITEM_ID", item_record, ItemId),
    NUMBER_KEY("BUSTYPE", HEX, item_record, BusType),
    NUMBER_KEY("CHIPCODE", HEX, item_record, ChipCode),
    NUMBER_KEY("SLAVE", HEX, item_record, Slave),
    NUMBER_KEY("OFFSET", HEX, item_record, Offset),
    NUMBER_KEY("ACTIVATE", HEX, item_record, Activate),
    NUMBER_KEY("MONITOR", NAME, item_record, Monitor),
    NUMBER_KEY("SOURCE", HEX, item_record, Source),
    TEXT_KEY("PARAINDEX1", item_record, ParaIndex1),
    TEXT_KEY("PARAINDEX2", item_record, ParaIndex2),
    TEXT_KEY("REF_ITEM_ID", item_record, RefItemId),
    {nullptr, HEX, 0, 0},
};

static const key_row parameter_keys[] = {
    TEXT_KEY("PARAMETER", parameter_record, szKeyName),
    NUMBER_KEY("SLAVE", HEX, parameter_record, Slave),
    NUMBER_KEY("OFFSET", HEX, parameter_record, Offset),
    NUMBER_KEY("BITMASK", HEX, parameter_record, BitMask),
    {nullptr, HEX, 0, 0},
};

static uint32_t number_of(key_kind kind, const char *value) {
    switch (kind) {
    case HEX:
        return static_cast<uint32_t>(strtoul(value, nullptr, 16));
    case DEC:
        return static_cast<uint32_t>(strtoul(value, nullptr, 10));
    default:
        return str2code(value);
    }
}

// Stores the setting on `line` into `record` by the rows of `keys`; an unknown key is ignored. False when the
// line is not a setting.
static bool store_setting(const char *line, const key_row *keys, void *record) {
    char key[INI_LINE_SIZE];
    const char *value;
    if (!split_setting(line, key, &value))
        return false;
    for (const key_row *row = keys; row->name != nullptr; row++) {
        if (!equal_ignoring_case(row->name, key))
            continue;
        char *field = static_cast<char *>(record) + row->offset;
        if (row->kind == TEXT) {
            copy_text(field, row->capacity, value);
        } else {
            uint32_t number = number_of(row->kind, value);
            memcpy(field, &number, sizeof number);
        }
        break;
    }
    return true;
}

// A pass fails only when the file could not be read to its end (a directory, a bad disk).
static uint32_t status_of(FILE *stream) { return ferror(stream) != 0 ? 0xFFFFFFFF : 0; }

void initSystemSection(system_settings *system) { *system = {}; }

uint32_t readSystemSection(FILE *stream, system_settings *system) {
    rewind(stream);
    bool inside = false;
    ini_line line;
    while (read_ini_line(stream, &line)) {
        if (line.text[0] == '[' || !inside)
            inside = section_of_head(line.text) == SECTION_SYSTEM;
        else
            store_setting(line.text, system_keys, system);
    }
    return status_of(stream);
}

uint32_t get_item_count(FILE *stream) {
    rewind(stream);
    uint32_t count = 0;
    ini_line line;
    while (read_ini_line(stream, &line))
        if (section_of_head(line.text) == SECTION_ITEM)
            count++;
    return count;
}

static void clear_item(item_record *item) {
    *item = {};
    item->Cat = item->VolFunc = item->BusType = item->ChipCode = item->Slave = item->Offset = NOT_GIVEN;
    item->Activate = item->Monitor = item->Source = NOT_GIVEN;
}

static void clear_parameter(parameter_record *parameter) {
    *parameter = {};
    parameter->Slave = parameter->Offset = parameter->BitMask = NOT_GIVEN;
}

// The table has one record for each "[Item]" line; `count` bounds it should the file have grown meanwhile.
uint32_t readItemSection(FILE *stream, item_record *items, uint32_t count) {
    rewind(stream);
    uint32_t used = 0;
    item_record *current = nullptr; // nullptr outside a section
    ini_line line;
    while (read_ini_line(stream, &line)) {
        if (section_of_head(line.text) == SECTION_ITEM) {
            current = used < count ? &items[used++] : nullptr;
            if (current != nullptr)
                clear_item(current);
        } else if (current != nullptr && !store_setting(line.text, item_keys, current)) {
            current = nullptr;
        }
    }
    return status_of(stream);
}

// Records beyond the capacity are dropped, the first ones kept.
uint32_t readParameterSection(FILE *stream, parameter_record *parameters, uint32_t capacity) {
    for (uint32_t i = 0; i < capacity; i++)
        clear_parameter(&parameters[i]);
    rewind(stream);
    uint32_t used = 0;
    parameter_record *current = nullptr; // nullptr outside a section
    ini_line line;
    while (read_ini_line(stream, &line)) {
        if (section_of_head(line.text) == SECTION_PARAMETER)
            current = used < capacity ? &parameters[used++] : nullptr;
        else if (current != nullptr && !store_setting(line.text, parameter_keys, current))
            current = nullptr;
    }
    return status_of(stream);
}

static uint32_t give_up(system_settings *system, item_record *items, parameter_record *parameters) {
    free(system);
    free(items);
    free(parameters);
    return 0xFFFFFFFF;
}

uint32_t loadKestrelINI_and_getItemCount(system_settings **system, item_record **items,
                                         parameter_record **parameters) {
    FILE *stream = os_fopen(KESTREL_INI, "r");
    if (stream == nullptr) {
        printf("Error: the ini file is not found!\n");
        return 0xFFFFFFFF;
    }
    uint32_t count = get_item_count(stream);
    auto *new_system = static_cast<system_settings *>(calloc(1, sizeof(system_settings)));
    auto *new_items = static_cast<item_record *>(calloc(count + 1ul, sizeof(item_record)));
    auto *new_parameters = static_cast<parameter_record *>(calloc(2ul * count + 1, sizeof(parameter_record)));
    if (new_system == nullptr || new_items == nullptr || new_parameters == nullptr || count > INT32_MAX / 2) {
        os_fclose(stream);
        return give_up(new_system, new_items, new_parameters);
    }
    initSystemSection(new_system);
    if (readSystemSection(stream, new_system) != 0)
        fprintf(stderr, "Error: getSystemSection().\n"); // the name is kept on purpose
    if (readItemSection(stream, new_items, count) != 0)
        printf("Error: readItemSection().\n");
    if (readParameterSection(stream, new_parameters, 2 * count) != 0)
        printf("Error: readParameterSection().\n");
    if (os_fclose(stream) != 0)
        printf("Error: fclose().\n");
    if (!index_names(new_items, static_cast<int32_t>(count), new_parameters, static_cast<int32_t>(2 * count)))
        return give_up(new_system, new_items, new_parameters);
    *system = new_system;
    *items = new_items;
    *parameters = new_parameters;
    return count;
}

static std::string shown(const char *text) { return shown_text(stdout, text); }

// The column widths do not match the titles ("ChipCode" in a column of four); kept on purpose.
void print_conf(const system_settings *system, const item_record *items, int32_t item_count,
                const parameter_record *parameters, int32_t parameter_count) {
    printf("--- System ---\n");
    printf("BusType=%d\n", system->BusType);
    printf("IndexReg=0x%04x\n", system->IndexReg);
    printf("DataReg=0x%04x\n", system->DataReg);
    printf("MAILALERT=%d\n", system->MailAlert);
    printf("PAGERALERT=%d\n", system->PagerAlert);
    printf("POLLING=%d\n", system->Polling);

    printf("--- ITEM ---\n");
    printf("%28s %16s %4s %4s %3s %5s %6s ", "Name", "Item_ID", "Cat", "ChipCode", "Activate", "Slave",
           "Offset");
    printf("%8s %8s %16s %5s %7s %7s %6s \n", "ParaIndex1", "ParaIndex2", "Ref_Item_ID", "Vol_Func",
           "Monitor", "BusType", "Source");
    for (int32_t i = 0; i < item_count; i++) {
        const item_record *item = &items[i];
        printf("%28s %16s %04x %04x %03x %05x %06x ", shown(item->Name).c_str(), shown(item->ItemId).c_str(),
               item->Cat, item->ChipCode, item->Activate, item->Slave, item->Offset);
        printf("%8s %8s %16s %05x %07x %07x %06x \n", shown(item->ParaIndex1).c_str(),
               shown(item->ParaIndex2).c_str(), shown(item->RefItemId).c_str(), item->VolFunc, item->Monitor,
               item->BusType, item->Source);
    }
    printf("\n");

    printf("--- PARAMETER ---\n");
    printf("Slave Offset BitMask szKeyName\n");
    for (int32_t i = 0; i < parameter_count; i++) {
        const parameter_record *parameter = &parameters[i];
        printf("%05x %06x %07x %10s \n", parameter->Slave, parameter->Offset, parameter->BitMask,
               shown(parameter->szKeyName).c_str());
    }
    printf("\n");
}
