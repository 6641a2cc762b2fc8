#include "hw/text.h"

#include <cstdint>

#include "hw/os.h"

// The bits that a lead byte adds to its character, and how many bytes follow it; NO_LEAD for a byte that
// does not begin a character.
struct lead {
    uint32_t bits;
    size_t following;
    uint32_t least; // a smaller character has a shorter form, and may have no other
};

constexpr lead NO_LEAD = {0, 0, UINT32_MAX};

static lead lead_of(unsigned char byte) {
    if (byte < 0x80)
        return {byte, 0, 0};
    if (byte >= 0xC0 && byte < 0xE0)
        return {byte & 0x1Fu, 1, 0x80};
    if (byte >= 0xE0 && byte < 0xF0)
        return {byte & 0x0Fu, 2, 0x800};
    if (byte >= 0xF0 && byte < 0xF8)
        return {byte & 0x07u, 3, 0x10000};
    return NO_LEAD;
}

static bool is_character(uint32_t code) { return code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF); }

// Bytes of the UTF-8 character that `text` begins with; 0 when it begins with none.
static size_t decode(const char *text, uint32_t *code) {
    lead lead = lead_of(static_cast<unsigned char>(*text));
    uint32_t read = lead.bits;
    for (size_t i = 1; i <= lead.following; i++) {
        auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0) != 0x80) // a terminator does not follow either
            return 0;
        read = read << 6 | (byte & 0x3Fu);
    }
    if (read < lead.least || !is_character(read))
        return 0;
    *code = read;
    return 1 + lead.following;
}

// Control characters (C0, DEL, C1), marks, embeddings, overrides and isolates of direction, and the
// separators of lines and paragraphs.
static bool is_obeyed(uint32_t code) {
    static constexpr struct {
        uint32_t first;
        uint32_t last;
    } ranges[] = {{0x00, 0x1F},     {0x7F, 0x9F},     {0x061C, 0x061C},
                  {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}};
    for (const auto &range : ranges)
        if (code >= range.first && code <= range.last)
            return code != '\n';
    return false;
}

std::string shown_text(FILE *stream, const char *text) {
    if (!os_is_terminal(stream))
        return text;
    std::string shown;
    while (*text != '\0') {
        uint32_t code = 0;
        size_t length = decode(text, &code);
        if (length == 0 || is_obeyed(code))
            shown += '?';
        else
            shown.append(text, length);
        text += length == 0 ? 1 : length;
    }
    return shown;
}
