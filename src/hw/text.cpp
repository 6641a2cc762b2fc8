#include "hw/text.h"

#include <cstring>

static bool is_continuation(char c) { return (c & 0xC0) == 0x80; }

// Bytes of the UTF-8 character that begins with `lead`; 1 for a byte that does not begin one.
static size_t character_length(char lead) {
    unsigned char byte = static_cast<unsigned char>(lead);
    return byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
}

// Where `text` is cut so that at most `limit` bytes stay and no UTF-8 character is broken; what is not
// UTF-8 is cut at the byte.
static size_t cut_at(const char *text, size_t limit) {
    size_t start = limit;
    while (start > 0 && limit - start < 3 && is_continuation(text[start]))
        start--;
    return start + character_length(text[start]) > limit ? start : limit;
}

void copy_text(char *field, size_t capacity, const char *text) {
    size_t length = strlen(text);
    if (length >= capacity)
        length = cut_at(text, capacity - 1);
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
