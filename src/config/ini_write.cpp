#include "config/ini_write.h"

#include <cstdio>

#include "config/ini_lines.h"
#include "hw/os.h"
#include "hw/text.h"

static void write_text(FILE *out, const ini_line *line) {
    fwrite(line->text, 1, line->length, out);
    if (line->had_newline)
        fputc('\n', out);
}

static bool is_monitor_line(const ini_line *line, char key[INI_LINE_SIZE]) {
    const char *value;
    return split_setting(line->text, key, &value) && equal_ignoring_case(key, "MONITOR");
}

// A blank line ends a section for the reader, not here: MONITOR lines are looked for up to the next head.
// Those of sections beyond the table are copied as they stand.
static void copy_with_monitors(FILE *in, FILE *out, const item_record *items, int32_t item_count) {
    ini_section section = NO_SECTION;
    int32_t item = -1;
    ini_line line;
    char key[INI_LINE_SIZE];
    while (read_ini_line(in, &line)) {
        ini_section head = section_of_head(line.text);
        if (head != NO_SECTION)
            section = head;
        if (head == SECTION_ITEM)
            item++;
        if (section == SECTION_ITEM && item < item_count && is_monitor_line(&line, key))
            fprintf(out, "%s=%s%s", key, items[item].Monitor == 1 ? "TRUE" : "FALSE",
                    line.had_newline ? "\n" : "");
        else
            write_text(out, &line);
    }
}

// A file that was not written whole gives way to the one it was made from.
static ini_write_result take_back(ini_write_failure failure, const char *path) {
    os_rename(KESTREL_INI_OLD, KESTREL_INI);
    return {failure, path};
}

ini_write_result rewrite_monitor_lines(const item_record *items, int32_t item_count) {
    if (os_rename(KESTREL_INI, KESTREL_INI_OLD) != 0)
        return {INI_NOT_OPENED, KESTREL_INI_OLD}; // a stale .old must not become the configuration
    FILE *in = os_fopen(KESTREL_INI_OLD, "r");
    if (in == nullptr)
        return take_back(INI_NOT_OPENED, KESTREL_INI_OLD);
    FILE *out = os_fopen(KESTREL_INI, "w");
    if (out == nullptr) {
        os_fclose(in);
        return take_back(INI_NOT_OPENED, KESTREL_INI);
    }
    copy_with_monitors(in, out, items, item_count);
    bool complete = ferror(in) == 0 && ferror(out) == 0;
    int in_closed = os_fclose(in);
    int out_closed = os_fclose(out);
    if (out_closed != 0 || !complete)
        return take_back(INI_NOT_CLOSED, KESTREL_INI);
    if (in_closed != 0)
        return {INI_NOT_CLOSED, KESTREL_INI_OLD};
    return {INI_WRITTEN, nullptr};
}
