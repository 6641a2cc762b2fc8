#pragma once
// Who made the board, what it is called and its version, from the base-board record (type 2) of the DMI
// table. The table is hostile input: whatever it says, nothing is read beyond it.

#include <cstddef>
#include <cstdint>

constexpr size_t BOARD_NAME_SIZE = 30; // of each buffer, terminator included

// Fills the three buffers, which the caller has zero-filled; what is not found stays empty. A string is
// copied without a terminator: over a longer one it leaves that one's tail. Messages on standard error.
void get_mb_info(char *manufacturer, char *product, char *version);

// Looks in the BIOS area for a type-2 record that names the maker: 1 when there is one, its strings copied,
// else 0. Ends the program with status 1 when /dev/mem cannot be opened.
int get_mb_info_by_force(char *manufacturer, char *product, char *version);

constexpr size_t TYPE_2_COPY_SIZE = 128;

// A copy (to be freed) of the type-2 record that holds `text` between the two physical addresses, and one NUL
// more; nullptr when there is none, MAP_REFUSED when a block cannot be mapped.
uint8_t *search_string_in_dmi_type_2(const char *text, uint32_t start, uint32_t end);
extern uint8_t *const MAP_REFUSED; // all bits set

// The first 255 bytes that a command prints, less one newline at their end; cut to `capacity`. 0, or -1 when
// the command is empty or cannot be started.
int get_cmd_output(const char *command, char *out, size_t capacity);

// A copy (to be freed) without leading and trailing white space; nullptr for nullptr.
char *trim(const char *text);

// Hexadecimal and character dump of a range of memory to standard output, 16 bytes a row.
void dump_hex_char(const uint8_t *start, const uint8_t *end);
