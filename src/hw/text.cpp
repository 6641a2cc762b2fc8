#include "hw/text.h"

#include <cstring>

static bool is_continuation(char c) { return (c & 0xC0) == 0x80; }

// The longest prefix of `text` of at most `limit` bytes that does not end inside a UTF-8 character. A
// character has at most three continuation bytes; a longer run of them is no UTF-8 and is cut where it
// stands.
static size_t whole_characters(const char *text, size_t limit) {
    size_t end = limit;
    while (end > 0 && limit - end < 4 && is_continuation(text[end]))
        end--;
    return limit - end < 4 ? end : limit;
}

void copy_text(char *field, size_t capacity, const char *text) {
    size_t length = strlen(text);
    if (length >= capacity)
        length = whole_characters(text, capacity - 1);
    memcpy(field, text, length);
    field[length] = '\0';
}

// Folded here rather than by strcasecmp, which follows the locale: in a Turkish one "ITEM" is not "item".
static char folded(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool equal_ignoring_case(const char *a, const char *b) {
    while (*a != '\0' && folded(*a) == folded(*b)) {
        a++;
        b++;
    }
    return folded(*a) == folded(*b);
}

bool begins_ignoring_case(const char *text, const char *prefix) {
    while (*prefix != '\0' && folded(*text) == folded(*prefix)) {
        text++;
        prefix++;
    }
    return *prefix == '\0';
}
