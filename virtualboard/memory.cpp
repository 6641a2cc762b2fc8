#include "memory.h"

void put_memory(physical_memory *memory, uint32_t address, const std::vector<uint8_t> &bytes) {
    memory->present = true;
    for (size_t i = 0; i < bytes.size(); i++)
        memory->bytes[static_cast<uint32_t>(address + i)] = bytes[i];
}

void read_memory(const physical_memory *memory, uint64_t address, uint8_t *bytes, size_t size) {
    for (size_t i = 0; i < size; i++) {
        auto found = memory->bytes.find(static_cast<uint32_t>(address + i));
        bytes[i] = found == memory->bytes.end() ? 0 : found->second;
    }
}

static void append_text(std::vector<uint8_t> *bytes, const std::string &text) {
    bytes->insert(bytes->end(), text.begin(), text.end());
    bytes->push_back(0);
}

// A structure with `head` (type, length, handle, string numbers) and its strings.
static void append_structure(std::vector<uint8_t> *table, const std::vector<uint8_t> &head,
                             const std::vector<std::string> &strings) {
    table->insert(table->end(), head.begin(), head.end());
    for (const std::string &text : strings)
        append_text(table, text);
    table->push_back(0);
}

void put_dmi_table(physical_memory *memory, const dmi_strings &board) {
    constexpr uint32_t ENTRY = 0xF0410;
    constexpr uint32_t TABLE = 0xE0010; // not at the start of a page, as real ones
    std::vector<uint8_t> table;
    append_structure(&table, {0, 6, 0, 0, 1, 2}, {"Virtual BIOS", "1.0"});
    append_structure(&table, {1, 6, 1, 0, 1, 2}, {"To be filled", "System"});
    append_structure(&table, {2, 8, 2, 0, 1, 2, 3, 0}, {board.manufacturer, board.product, board.version});
    append_structure(&table, {127, 4, 3, 0}, {""});
    put_memory(memory, TABLE, table);

    auto low = [](size_t number) { return static_cast<uint8_t>(number & 0xFF); };
    auto high = [](size_t number) { return static_cast<uint8_t>(number >> 8 & 0xFF); };
    put_memory(memory, ENTRY,
               {'_', 'D', 'M', 'I', '_', 0, low(table.size()), high(table.size()), low(TABLE), high(TABLE),
                low(TABLE >> 16), low(TABLE >> 24), 4, 0, 0x21, 0});
}
