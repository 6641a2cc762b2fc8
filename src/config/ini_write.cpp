#include "config/ini_write.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <string>

#include "config/ini_lines.h"
#include "config/ini_replace.h"
#include "hw/machine_turn.h"
#include "hw/os.h"
#include "hw/text.h"

static void write_text(FILE *out, const ini_line *line) {
    fwrite(line->text, 1, line->length, out);
    if (line->had_newline)
        fputc('\n', out);
}

// Of what the lines of a rewrite are to be.
struct rewrite {
    void (*copy)(FILE *in, FILE *out, const rewrite *what);
    const system_settings *system;
    const item_record *items;
    int32_t item_count;
};

static bool is_key(const ini_line *line, const char *name, char key[INI_LINE_SIZE]) {
    const char *value;
    return split_setting(line->text, key, &value) && equal_ignoring_case(key, name);
}

static void write_monitor(FILE *out, const ini_line *line, const char *key, const item_record *item) {
    fprintf(out, "%s=%s%s", key, item->Monitor == 1 ? "TRUE" : "FALSE", line->had_newline ? "\n" : "");
}

// ---- Hiding

// A blank line ends a section for the reader, not here: MONITOR lines are looked for up to the next head.
// Those of sections beyond the table are copied unchanged.
static void copy_with_monitors(FILE *in, FILE *out, const rewrite *what) {
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
        if (section == SECTION_ITEM && item < what->item_count && is_key(&line, "MONITOR", key))
            write_monitor(out, &line, key, &what->items[item]);
        else
            write_text(out, &line);
    }
}

// ---- Saving

struct saved_key {
    const char *name;
    std::string (*value)(const system_settings *system);
    size_t capacity; // of a text's field, terminator included; 0: the value is not a text
};

static const char *truth(uint32_t flag) { return flag == 1 ? "TRUE" : "FALSE"; }

// A text's row: its key and the field that is saved.
#define SAVED_TEXT(name, field)                                                                              \
    {                                                                                                        \
        name, [](const system_settings *s) -> std::string { return s->field; },                              \
            sizeof(system_settings::field)                                                                   \
    }

// The interval is written as the entry shows it: a file's -5 stays -5.
static const saved_key items_page_keys[] = {
    {"POLLING", [](const system_settings *s) { return std::to_string(static_cast<int32_t>(s->Polling)); }, 0},
};

static const saved_key alert_page_keys[] = {
    SAVED_TEXT("PAGERID", PagerId),
    SAVED_TEXT("OUTLINE", Outline),
    SAVED_TEXT("PHONENUMBER", PhoneNumber),
    SAVED_TEXT("MACHINENAME", MachineName),
    SAVED_TEXT("MAILSERVER", MailServer),
    SAVED_TEXT("SERVERPORT", ServerPort),
    SAVED_TEXT("MAILBOX", MailBox),
    {"PAGERALERT", [](const system_settings *s) -> std::string { return truth(s->PagerAlert); }, 0},
    {"MAILALERT", [](const system_settings *s) -> std::string { return truth(s->MailAlert); }, 0},
};

// A last line that ends in a carriage return alone gets a newline in its place, as every reader of lines
// would see it. In the middle of a long line (its 79th character) it is copied like any other.
static void end_like_a_line(ini_line *line) {
    bool ends_in_return = line->length > 0 && line->text[line->length - 1] == '\r';
    if (line->had_newline || !ends_in_return || line->length == INI_LINE_SIZE - 1)
        return;
    line->text[--line->length] = '\0';
    line->had_newline = true;
}

// Items stay items until the parameters begin; what comes after that head is copied.
static ini_section section_after(ini_section section, ini_section head) {
    if (section == SECTION_PARAMETER || head == NO_SECTION)
        return section;
    if (section == SECTION_ITEM && head != SECTION_PARAMETER)
        return section;
    return head;
}

// What is left of a line that was longer than a piece belongs to the value that was replaced: left there, the
// end of the old recipients would follow the new ones. True when it ended in a newline.
static bool skip_rest(FILE *in, const ini_line *line) {
    ini_line rest = *line;
    while (!rest.had_newline && read_ini_line(in, &rest))
        ;
    return rest.had_newline;
}

static void replace_value(FILE *in, FILE *out, const ini_line *line, const char *key,
                          const std::string &value) {
    fprintf(out, "%s=%s%s", key, value.c_str(), skip_rest(in, line) ? "\n" : "");
}

// Nobody edited a text that still is what a start reads from its line. Of a text that is longer than a piece
// or than its field that is only the beginning; the line is copied then, and so keeps its end.
static bool is_as_read(const ini_line *line, const saved_key *row, const std::string &value) {
    char key[INI_LINE_SIZE];
    char field[INI_LINE_SIZE];
    const char *text;
    if (row->capacity == 0 || !split_setting(line->text, key, &text))
        return false;
    copy_text(field, std::min<size_t>(row->capacity, sizeof field), text);
    return value == field;
}

static bool replace_setting(FILE *in, FILE *out, const ini_line *line, const system_settings *system,
                            const saved_key *keys, size_t count) {
    char key[INI_LINE_SIZE];
    for (const saved_key *row = keys; row < keys + count; row++) {
        if (!is_key(line, row->name, key))
            continue;
        std::string value = row->value(system);
        if (is_as_read(line, row, value))
            return false;
        replace_value(in, out, line, key, value);
        return true;
    }
    return false;
}

// The n-th MONITOR line gets the flag of item n: counted by these lines, not by heads, on purpose. Those
// beyond the table are copied.
static bool replace_monitor(FILE *in, FILE *out, const ini_line *line, const rewrite *what, int32_t *item) {
    char key[INI_LINE_SIZE];
    if (*item >= what->item_count || !is_key(line, "MONITOR", key))
        return false;
    replace_value(in, out, line, key, truth(what->items[*item].Monitor));
    ++*item;
    return true;
}

static void copy_with_settings(FILE *in, FILE *out, const rewrite *what, const saved_key *keys,
                               size_t count) {
    ini_section section = NO_SECTION;
    int32_t item = 0; // of the next MONITOR line
    ini_line line;
    while (read_ini_line(in, &line)) {
        end_like_a_line(&line);
        ini_section head = section_of_head(line.text);
        section = section_after(section, head);
        bool replaced = false;
        if (head == NO_SECTION && section == SECTION_SYSTEM)
            replaced = replace_setting(in, out, &line, what->system, keys, count);
        if (head == NO_SECTION && section == SECTION_ITEM && what->items != nullptr)
            replaced = replace_monitor(in, out, &line, what, &item);
        if (!replaced)
            write_text(out, &line);
    }
}

static void copy_items_page(FILE *in, FILE *out, const rewrite *what) {
    copy_with_settings(in, out, what, items_page_keys, std::size(items_page_keys));
}

static void copy_alert_page(FILE *in, FILE *out, const rewrite *what) {
    copy_with_settings(in, out, what, alert_page_keys, std::size(alert_page_keys));
}

// ---- The files

// Where the file was moved away, or there was none, the copy becomes the configuration.
static ini_write_result give_up(ini_write_failure failure, const char *path) {
    if (!os_exists(KESTREL_INI))
        os_rename(KESTREL_INI_OLD, KESTREL_INI);
    return {failure, path};
}

// The file becomes the copy in one step and keeps its own name: it gets a second one, which is moved over the
// older copy. Only where a file cannot have two names (FAT: EPERM) is it moved away itself. The second name
// is still there when the move failed, and when copy and file were one already, for then a move does nothing.
static bool keep_file() {
    const char *second = KESTREL_INI_OLD ".new";
    os_unlink(second);
    bool linked = os_link(KESTREL_INI, second) == 0;
    if (!linked && errno != EPERM && errno != EOPNOTSUPP && errno != EMLINK)
        return false;
    bool kept = os_rename(linked ? second : KESTREL_INI, KESTREL_INI_OLD) == 0;
    if (linked)
        os_unlink(second);
    return kept;
}

// What a link leads to may lie on another file system, where it cannot get a second name: its bytes are
// copied.
static bool keep_bytes(const char *path) {
    FILE *in = os_fopen(path, "r");
    if (in == nullptr)
        return false;
    FILE *out = open_new_like(path, KESTREL_INI_OLD);
    for (int c; out != nullptr && (c = getc_unlocked(in)) != EOF;)
        putc_unlocked(c, out);
    bool read = ferror(in) == 0;
    os_fclose(in);
    return out != nullptr && close_new(out, KESTREL_INI_OLD, read);
}

// A stale .old must never replace a configuration that is there. If none is there any more, saving makes one
// from it, with the settings in memory; hiding does not.
static bool set_aside(const rewrite *what, const ini_place *place) {
    if (place->by_link ? keep_bytes(place->path.c_str()) : keep_file())
        return true;
    bool saves = what->system != nullptr;
    return saves && !os_exists(KESTREL_INI);
}

static ini_write_result rewrite_file(const rewrite *what) {
    machine_turn whole; // another copy may save, too
    ini_place place;
    if (!find_ini(&place) || !set_aside(what, &place))
        return {INI_NOT_OPENED, KESTREL_INI_OLD};
    FILE *in = os_fopen(KESTREL_INI_OLD, "r");
    if (in == nullptr)
        return give_up(INI_NOT_OPENED, KESTREL_INI_OLD);
    FILE *out = open_new_like(KESTREL_INI_OLD, place.path);
    if (out == nullptr) {
        os_fclose(in);
        return give_up(INI_NOT_OPENED, KESTREL_INI);
    }
    what->copy(in, out, what);
    bool read = ferror(in) == 0;
    int in_closed = os_fclose(in);
    if (!close_new(out, place.path, read))
        return give_up(INI_NOT_CLOSED, KESTREL_INI);
    if (in_closed != 0)
        return {INI_NOT_CLOSED, KESTREL_INI_OLD};
    return {INI_WRITTEN, nullptr};
}

ini_write_result rewrite_items_page(const system_settings *system, const item_record *items,
                                    int32_t item_count) {
    rewrite what = {copy_items_page, system, items, item_count};
    return rewrite_file(&what);
}

ini_write_result rewrite_alert_page(const system_settings *system) {
    rewrite what = {copy_alert_page, system, nullptr, 0};
    return rewrite_file(&what);
}

ini_write_result rewrite_monitor_lines(const item_record *items, int32_t item_count) {
    rewrite what = {copy_with_monitors, nullptr, items, item_count};
    return rewrite_file(&what);
}
