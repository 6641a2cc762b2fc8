#pragma once
// Typed access to the values of a board's file. A mistake is thrown with its file and line; load_board
// catches it.

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <toml++/toml.h>
#include <vector>

[[noreturn]] void reject(const toml::node &node, const std::string &cause);
[[noreturn]] void reject_key(const toml::key &key, const toml::node &node, const char *of);
void allow_keys(const toml::table &table, std::initializer_list<std::string_view> allowed);

int64_t integer_of(const toml::node &node, int64_t most);
uint8_t byte_of(const toml::node &node);
uint16_t port_of(const toml::node &node);
uint32_t dword_of(const toml::node &node);
double number_of(const toml::node &node);
std::string text_of(const toml::node &node);
bool truth_of(const toml::node &node);
const toml::table &table_of(const toml::node &node);
const toml::array &array_of(const toml::node &node, const char *written = ""); // "[[smbus]]": for the message
std::vector<uint8_t> bytes_of(const toml::node &node);                         // at least one

// A hexadecimal number as a key, such as 0x20.
bool number_in_key(std::string_view key, unsigned long most, unsigned long *number);

// The decimal number from 0 to 255 after `prefix` in a key such as "bank4", or -1.
int numbered(std::string_view key, std::string_view prefix);
