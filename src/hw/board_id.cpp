#include "hw/board_id.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>

#include "hw/os.h"
#include "hw/text.h"

constexpr uint32_t PAGE = 4096;
constexpr uint32_t BIOS_START = 0xF0000;
constexpr uint32_t BIOS_END = 0x100000; // first address after it
constexpr uint8_t BASE_BOARD = 2;
constexpr size_t HEADER_SIZE = 4; // type, length, handle

uint8_t *const MAP_REFUSED = reinterpret_cast<uint8_t *>(~static_cast<uintptr_t>(0));

static bool is_white(char c) { return c != '\0' && strchr(" \f\n\r\t\v", c) != nullptr; }

char *trim(const char *text) {
    if (text == nullptr)
        return nullptr;
    while (is_white(*text))
        text++;
    size_t length = strlen(text);
    while (length > 0 && is_white(text[length - 1]))
        length--;
    return strndup(text, length);
}

int get_cmd_output(const char *command, char *out, size_t capacity) {
    if (command == nullptr || command[0] == '\0')
        return -1;
    FILE *stream = os_popen(command);
    if (stream == nullptr)
        return -1;
    char output[256] = "";
    size_t length = fread(output, 1, sizeof output - 1, stream);
    if (length > 0 && output[length - 1] == '\n')
        output[length - 1] = '\0';
    copy_text(out, capacity, output);
    os_pclose(stream);
    return 0;
}

void dump_hex_char(const uint8_t *start, const uint8_t *end) {
    auto first = reinterpret_cast<uintptr_t>(start);
    auto last = reinterpret_cast<uintptr_t>(end);
    for (uintptr_t row = first / 16 * 16; row < last; row += 16) {
        printf("\n%08lX: ", static_cast<unsigned long>(row));
        for (uintptr_t at = row; at < row + 16; at++) {
            if (at < first || at >= last)
                printf("%2s ", "__");
            else
                printf("%02X ", *reinterpret_cast<const uint8_t *>(at));
        }
        printf("   ");
        for (uintptr_t at = row; at < row + 16; at++) {
            if (at < first || at >= last) {
                putchar(' ');
                continue;
            }
            uint8_t byte = *reinterpret_cast<const uint8_t *>(at);
            putchar(byte >= 0x20 && byte <= 0x7A ? byte : '.');
        }
    }
    fflush(stdout);
}

// ---- One structure of the table: a formatted area, then strings, each with its NUL, then one NUL more

// String `number` of the structure, counted from 1 (0 is the first one too), without white space at its ends,
// into `field` without a terminator. A number beyond the set, or a set that breaks off, copies nothing.
static void copy_string(const uint8_t *structure, const uint8_t *end, size_t number_at, char *field) {
    size_t length = structure[1];
    if (number_at >= length || static_cast<size_t>(end - structure) < length)
        return;
    unsigned number = structure[number_at];
    const uint8_t *string = structure + length;
    for (;; number--) {
        const uint8_t *nul = std::find(string, end, 0);
        if (nul == end || nul == string) // broken off, or the end of the set
            return;
        if (number <= 1)
            break;
        string = nul + 1;
    }
    char *text = trim(reinterpret_cast<const char *>(string));
    if (text != nullptr)
        std::copy_n(text, std::min(strlen(text), BOARD_NAME_SIZE - 1), field);
    free(text);
}

static void copy_board_strings(const uint8_t *structure, const uint8_t *end, char *manufacturer,
                               char *product, char *version) {
    copy_string(structure, end, 4, manufacturer);
    copy_string(structure, end, 5, product);
    copy_string(structure, end, 6, version);
}

// The structure after `structure`: past its formatted area and the first pair of NUL bytes there. `end` when
// the table breaks off.
static const uint8_t *next_structure(const uint8_t *structure, const uint8_t *end) {
    if (static_cast<size_t>(end - structure) < structure[1])
        return end;
    for (const uint8_t *at = structure + structure[1]; end - at >= 2; at++)
        if (at[0] == 0 && at[1] == 0)
            return at + 2;
    return end;
}

// nullptr when none of at most `count` structures is a base board's.
static const uint8_t *find_base_board(const uint8_t *table, const uint8_t *end, unsigned count) {
    const uint8_t *structure = table;
    for (; count > 0 && static_cast<size_t>(end - structure) >= HEADER_SIZE; count--) {
        if (structure[0] == BASE_BOARD)
            return structure;
        structure = next_structure(structure, end);
    }
    return nullptr;
}

// ---- The table, found by its entry point in the BIOS area

struct entry_point {
    uint32_t table_length;
    uint32_t table_address;
    unsigned count;
};

static entry_point parse_entry_point(const uint8_t *paragraph) {
    entry_point entry;
    entry.table_length = paragraph[6] | paragraph[7] << 8;
    entry.table_address =
        paragraph[8] | paragraph[9] << 8 | paragraph[10] << 16 | static_cast<uint32_t>(paragraph[11]) << 24;
    entry.count = paragraph[12] | paragraph[13] << 8;
    return entry;
}

// A copy of mapped memory, to be freed; nullptr, after a message, when there is no memory or nothing to copy.
static uint8_t *copy_mapped(const uint8_t *mapped, size_t size) {
    auto *copy = static_cast<uint8_t *>(malloc(size));
    if (copy == nullptr) {
        fprintf(stderr, "Error: malloc\n");
        return nullptr;
    }
    if (os_copy(copy, mapped, size) == 0)
        return copy;
    fprintf(stderr, "Error: memcpy\n");
    free(copy);
    return nullptr;
}

// The table, to be freed; nullptr, after a message, when it cannot be had.
static uint8_t *copy_table(int fd, const entry_point *entry) {
    uint32_t offset = entry->table_address % PAGE;
    size_t size = offset + entry->table_length;
    void *mapped = size == 0 ? nullptr : os_map(fd, entry->table_address - offset, size);
    if (mapped == nullptr) {
        fprintf(stderr, "Error: mmap\n");
        return nullptr;
    }
    uint8_t *table = copy_mapped(static_cast<const uint8_t *>(mapped) + offset, entry->table_length);
    if (os_unmap(mapped, size) == 0)
        return table;
    fprintf(stderr, "Error: munmap\n");
    free(table);
    return nullptr;
}

// The BIOS area in paragraphs of 16 bytes. It is read by pages, in a 256th of the calls; where a page does
// not come whole the rest of it is read paragraph by paragraph, and each that does not come is reported.
constexpr size_t PARAGRAPH = 16;

struct bios_page {
    uint8_t bytes[PAGE];
    size_t size = 0;  // that came
    size_t taken = 0; // by paragraphs
};

// False when the paragraph at `address` did not come whole.
static bool read_paragraph(int fd, uint32_t address, bios_page *page, uint8_t paragraph[PARAGRAPH]) {
    if (address % PAGE == 0) {
        ssize_t came = os_read(fd, page->bytes, sizeof page->bytes);
        page->size = came > 0 ? static_cast<size_t>(came) : 0;
        page->taken = 0;
    }
    size_t left = page->size - page->taken;
    if (left == 0)
        return os_read(fd, paragraph, PARAGRAPH) == static_cast<ssize_t>(PARAGRAPH);
    std::copy_n(page->bytes + page->taken, std::min(left, PARAGRAPH), paragraph);
    page->taken += std::min(left, PARAGRAPH);
    return left >= PARAGRAPH;
}

enum scan_result { SCAN_FOUND, SCAN_NOTHING, SCAN_FAILED };

// Walks the 16-byte paragraphs of the BIOS area. SCAN_FAILED, after a message, ends the identification.
static scan_result scan_for_base_board(int fd, char *manufacturer, char *product, char *version) {
    if (os_seek(fd, BIOS_START) != 0) {
        fprintf(stderr, "Error: seek\n");
        return SCAN_FAILED;
    }
    bios_page page;
    for (uint32_t address = BIOS_START; address < BIOS_END; address += PARAGRAPH) {
        uint8_t paragraph[PARAGRAPH];
        if (!read_paragraph(fd, address, &page, paragraph)) {
            fprintf(stderr, "Error: read\n");
            continue;
        }
        if (memcmp(paragraph, "_DMI_", 5) != 0)
            continue;
        entry_point entry = parse_entry_point(paragraph);
        uint8_t *table = copy_table(fd, &entry);
        if (table == nullptr)
            return SCAN_FAILED;
        const uint8_t *end = table + entry.table_length;
        const uint8_t *board = find_base_board(table, end, entry.count);
        if (board != nullptr)
            copy_board_strings(board, end, manufacturer, product, version);
        free(table);
        if (board != nullptr)
            return SCAN_FOUND;
    }
    return SCAN_NOTHING;
}

// Each \t is one tab character, which sed is handed as it is.
#define TYPE_2_LINE(what, label)                                                                             \
    "dmidecode|grep -i 'DMI type 2,' -A 6 | grep " what " | sed 's/" label ": //g' | sed 's/\t//g'"

static void ask_dmidecode(char *manufacturer, char *product, char *version) {
    if (manufacturer[0] != '\0' || product[0] != '\0' || version[0] != '\0')
        return;
    get_cmd_output(TYPE_2_LINE("Manufacturer", "Manufacturer"), manufacturer, BOARD_NAME_SIZE);
    get_cmd_output(TYPE_2_LINE("Product", "Product Name"), product, BOARD_NAME_SIZE);
    get_cmd_output(TYPE_2_LINE("Version", "Version"), version, BOARD_NAME_SIZE);
}

void get_mb_info(char *manufacturer, char *product, char *version) {
    int fd = os_open("/dev/mem", O_RDONLY);
    if (fd < 0) {
        fprintf(stderr, "Error: open (\"/dev/mem\")\n");
        return;
    }
    scan_result result = scan_for_base_board(fd, manufacturer, product, version);
    os_close(fd);
    if (result == SCAN_NOTHING)
        ask_dmidecode(manufacturer, product, version);
    if (result == SCAN_FOUND && !equal_ignoring_case(manufacturer, "BRIGANTINE"))
        get_mb_info_by_force(manufacturer, product, version);
}

// ---- The forced search, for boards whose table names somebody else

constexpr uint32_t BLOCK_SIZE = 8192;

// A range of physical memory that is read block by block. What was read is kept, as a record may begin in one
// block and end in the next.
struct memory_area {
    uint32_t base;  // of the first block
    uint8_t *bytes; // with room for all blocks
    size_t read;
    size_t size;
};

// False without memory for it.
static bool make_area(uint32_t start, uint32_t end, memory_area *area) {
    uint32_t base = start / PAGE * PAGE;
    size_t blocks = end <= base ? 0 : (static_cast<size_t>(end - base) + BLOCK_SIZE - 1) / BLOCK_SIZE;
    area->base = base;
    area->read = 0;
    area->size = blocks * BLOCK_SIZE;
    area->bytes = static_cast<uint8_t *>(malloc(area->size));
    if (area->bytes == nullptr)
        fprintf(stderr, "Error: malloc\n");
    return area->bytes != nullptr;
}

enum block_result { BLOCK_READ, BLOCK_REFUSED, BLOCK_LOST };

// The next block. After a message: BLOCK_REFUSED when it cannot be mapped, BLOCK_LOST when it cannot be
// copied or given back.
static block_result read_block(int fd, memory_area *area) {
    unsigned long address = area->base + area->read;
    void *block = os_map(fd, static_cast<int64_t>(address), BLOCK_SIZE);
    if (block == nullptr) {
        fprintf(stderr, "\tCan't map address %08lX\n", address);
        return BLOCK_REFUSED;
    }
    bool copied = os_copy(area->bytes + area->read, block, BLOCK_SIZE) == 0;
    if (!copied)
        fprintf(stderr, "Error: memcpy\n");
    bool unmapped = os_unmap(block, BLOCK_SIZE) == 0;
    if (!unmapped)
        fprintf(stderr, "Error: munmap\n");
    if (!copied || !unmapped)
        return BLOCK_LOST;
    area->read += BLOCK_SIZE;
    return BLOCK_READ;
}

// The start of the structure that the text at `hit` belongs to: the nearest place before it that follows two
// NUL bytes, in whatever block. nullptr when there is none in the area.
static const uint8_t *structure_before(const memory_area *area, const uint8_t *hit) {
    for (const uint8_t *at = hit; at - area->bytes >= 2; at--)
        if (at[-1] == 0 && at[-2] == 0)
            return at;
    return nullptr;
}

// The type-2 record that holds `text` in a string that lies, from `from` on, in the block read last; nullptr
// when there is none.
static const uint8_t *search_block(const memory_area *area, size_t from, const char *text) {
    const uint8_t *end = area->bytes + area->read;
    const uint8_t *string = area->bytes + from;
    while (string < end) {
        const uint8_t *nul = std::find(string, end, 0);
        if (nul == end)
            return nullptr; // no NUL before the block's end
        const char *hit = strstr(reinterpret_cast<const char *>(string), text);
        if (hit != nullptr) {
            const uint8_t *structure = structure_before(area, reinterpret_cast<const uint8_t *>(hit));
            if (structure != nullptr && structure[0] == BASE_BOARD)
                return structure;
        }
        string = nul + 1;
    }
    return nullptr;
}

// The record's 128 bytes, and a NUL that ends a string which does not end within them; what lies beyond the
// area is zero.
static uint8_t *copy_record(const uint8_t *record, const uint8_t *end) {
    auto *copy = static_cast<uint8_t *>(calloc(1, TYPE_2_COPY_SIZE + 1));
    if (copy != nullptr)
        memcpy(copy, record, std::min(TYPE_2_COPY_SIZE, static_cast<size_t>(end - record)));
    return copy;
}

// A copy of the first record that holds `text`, from offset `from` on; nullptr or MAP_REFUSED as in the
// header.
static uint8_t *search_area(int fd, memory_area *area, size_t from, const char *text) {
    while (area->read < area->size) {
        block_result result = read_block(fd, area);
        const uint8_t *record = result == BLOCK_READ ? search_block(area, from, text) : nullptr;
        const uint8_t *end = area->bytes + area->read;
        bool goes_on = record != nullptr && static_cast<size_t>(end - record) < TYPE_2_COPY_SIZE;
        if (goes_on && area->read < area->size)
            result = read_block(fd, area);
        if (result != BLOCK_READ)
            return result == BLOCK_REFUSED ? MAP_REFUSED : nullptr;
        if (record != nullptr)
            return copy_record(record, area->bytes + area->read);
        from = area->read;
    }
    return nullptr;
}

// The line number is part of the message, whatever line is there now; kept on purpose.
[[noreturn]] static void end_without_memory() {
    int error = errno;
    fprintf(stderr, "Error at line %d, file %s (%d) [%s]\n", 146, "system", error, strerror(error));
    exit(1);
}

uint8_t *search_string_in_dmi_type_2(const char *text, uint32_t start, uint32_t end) {
    int fd = os_open("/dev/mem", O_RDWR);
    if (fd < 0)
        end_without_memory();
    uint8_t *result = nullptr;
    memory_area area;
    if (make_area(start, end, &area)) {
        result = search_area(fd, &area, start - area.base, text);
        free(area.bytes);
    }
    os_close(fd);
    return result;
}

int get_mb_info_by_force(char *manufacturer, char *product, char *version) {
    // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): no allocation has the value MAP_REFUSED, so none is lost
    for (const char *name : {"Brigantine", "BRIGANTINE", "brigantine"}) {
        uint8_t *record = search_string_in_dmi_type_2(name, BIOS_START, BIOS_END - 1);
        if (record == MAP_REFUSED || record == nullptr) // a block that cannot be mapped holds no record
            continue;
        copy_board_strings(record, record + TYPE_2_COPY_SIZE + 1, manufacturer, product, version);
        free(record);
        return 1;
    }
    return 0;
}
