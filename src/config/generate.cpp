#include "config/generate.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "config/ini_lines.h"
#include "config/ini_replace.h"
#include "config/revision_rules.h"
#include "hw/machine_turn.h"
#include "hw/os.h"
#include "hw/text.h"

constexpr uint32_t FAILED = 0xFFFFFFFF;

uint32_t existFile(const char *path) {
    FILE *stream = os_fopen(path, "r");
    if (stream == nullptr)
        return FAILED;
    os_fclose(stream);
    return 0;
}

// ---- Copying the board's section

static bool is_comment(const ini_line *line) { return line->length > 2 && strncmp(line->text, ";;", 2) == 0; }

static bool is_board_head(const ini_line *line) { return strncmp(line->text, "[_", 2) == 0; }

// The next line of a master file: newline and carriage return removed, comments skipped.
static bool read_master_line(FILE *master, ini_line *line) {
    do {
        if (!read_ini_line(master, line))
            return false;
        if (line->length > 0 && line->text[line->length - 1] == '\r')
            line->text[--line->length] = '\0';
    } while (is_comment(line));
    return true;
}

// Searches the board's head. False when the file has none.
static bool find_board(FILE *master, const char *product) {
    std::string head = std::string("[_") + product + "_]";
    ini_line line;
    while (read_master_line(master, &line))
        if (equal_ignoring_case(line.text, head.c_str()))
            return true;
    return false;
}

static void write_line(FILE *out, const ini_line *line) {
    fwrite(line->text, 1, line->length, out);
    fputc('\n', out);
}

// Copies from the section's "[SYSTEM]" line to the head of the next board. False when there is no such line.
static bool copy_section(FILE *master, FILE *out) {
    bool copying = false;
    ini_line line;
    while (read_master_line(master, &line)) {
        if (is_board_head(&line))
            break;
        copying = copying || equal_ignoring_case(line.text, "[SYSTEM]");
        if (copying)
            write_line(out, &line);
    }
    return copying;
}

enum generation { GENERATED, FOUND_MADE, NOT_IN_MASTER, NOT_CREATED };

// Of two copies that start at once one makes the file and the other finds it. A file that is there and still
// cannot be opened is somebody's work, or not a file.
static generation write_configuration(FILE *master) {
    constexpr mode_t FOR_ALL_TO_READ = 0644; // as the master files are
    machine_turn whole;
    if (os_exists(KESTREL_INI))
        return existFile(KESTREL_INI) == 0 ? FOUND_MADE : NOT_CREATED;
    FILE *out = open_new(KESTREL_INI, FOR_ALL_TO_READ);
    if (out == nullptr)
        return NOT_CREATED;
    bool found = copy_section(master, out);
    bool written = close_new(out, KESTREL_INI, found && ferror(master) == 0);
    if (!found)
        return NOT_IN_MASTER;
    return written ? GENERATED : NOT_CREATED;
}

static uint32_t status_of(generation result) {
    if (result == NOT_IN_MASTER)
        fprintf(stderr, "Error: The initial file for this motherboard is not found!\n");
    if (result == NOT_CREATED)
        fprintf(stderr, "Error: Cannot create the file '%s'.\n", KESTREL_INI);
    if (result == FOUND_MADE)
        return INI_FOUND_MADE;
    return result == GENERATED ? 0 : FAILED;
}

uint32_t produce_kestrel_ini(const char *product, const char *version) {
    const char *path = choose_master(product, version);
    FILE *master = os_fopen(path, "r");
    if (master == nullptr) {
        fprintf(stderr, "Error: Cannot find the file '%s'. \n", path);
        return FAILED;
    }
    uint32_t status = status_of(find_board(master, product) ? write_configuration(master) : NOT_IN_MASTER);
    os_fclose(master);
    return status;
}
