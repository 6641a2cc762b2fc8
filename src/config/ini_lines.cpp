#include "config/ini_lines.h"

#include <cstring>

#include "hw/text.h"

bool read_ini_line(FILE *stream, ini_line *line) {
    line->length = 0;
    line->had_newline = false;
    while (line->length < INI_LINE_SIZE - 1) {
        int c = getc_unlocked(stream);
        if (c == EOF)
            break;
        if (c == '\n') {
            line->had_newline = true;
            break;
        }
        line->text[line->length++] = static_cast<char>(c);
    }
    line->text[line->length] = '\0';
    return line->length > 0 || line->had_newline;
}

ini_section section_of_head(const char *text) {
    if (text[0] != '[')
        return NO_SECTION;
    if (equal_ignoring_case(text, "[System]"))
        return SECTION_SYSTEM;
    if (equal_ignoring_case(text, "[Item]"))
        return SECTION_ITEM;
    if (equal_ignoring_case(text, "[Parameter]"))
        return SECTION_PARAMETER;
    return NO_SECTION;
}

bool split_setting(const char *text, char key[INI_LINE_SIZE], const char **value) {
    const char *equals = strchr(text, '=');
    if (equals == nullptr)
        return false;
    size_t length = static_cast<size_t>(equals - text);
    memcpy(key, text, length);
    key[length] = '\0';
    *value = equals + 1;
    return true;
}
