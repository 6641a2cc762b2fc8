#include "toml_values.h"

#include <cstdlib>
#include <sstream>
#include <stdexcept>

void reject(const toml::node &node, const std::string &cause) {
    const toml::source_region &source = node.source();
    std::ostringstream text;
    if (source.path)
        text << *source.path << ':';
    text << source.begin.line << ": " << cause;
    throw std::runtime_error(text.str());
}

void reject_key(const toml::key &key, const toml::node &node, const char *of) {
    reject(node, "unknown key \"" + std::string(key.str()) + "\"" + of);
}

void allow_keys(const toml::table &table, std::initializer_list<std::string_view> allowed) {
    for (const auto &[key, node] : table) {
        bool known = false;
        for (std::string_view name : allowed)
            known = known || key.str() == name;
        if (!known)
            reject_key(key, node, "");
    }
}

int64_t integer_of(const toml::node &node, int64_t most) {
    auto value = node.value_exact<int64_t>();
    if (!value || *value < 0 || *value > most)
        reject(node, "expected a whole number from 0 to " + std::to_string(most));
    return *value;
}

uint8_t byte_of(const toml::node &node) { return static_cast<uint8_t>(integer_of(node, 0xFF)); }

uint16_t port_of(const toml::node &node) { return static_cast<uint16_t>(integer_of(node, 0xFFFF)); }

uint32_t dword_of(const toml::node &node) { return static_cast<uint32_t>(integer_of(node, 0xFFFFFFFF)); }

double number_of(const toml::node &node) {
    auto value = node.value<double>();
    if (!value)
        reject(node, "expected a number");
    return *value;
}

std::string text_of(const toml::node &node) {
    auto value = node.value_exact<std::string>();
    if (!value)
        reject(node, "expected text in quotes");
    return *value;
}

bool truth_of(const toml::node &node) {
    auto value = node.value_exact<bool>();
    if (!value)
        reject(node, "expected true or false");
    return *value;
}

const toml::table &table_of(const toml::node &node) {
    if (!node.is_table())
        reject(node, "expected a table");
    return *node.as_table();
}

const toml::array &array_of(const toml::node &node, const char *written) {
    if (!node.is_array())
        reject(node, "expected a list" + std::string(*written != '\0' ? ", as " : "") + written);
    return *node.as_array();
}

std::vector<uint8_t> bytes_of(const toml::node &node) {
    std::vector<uint8_t> bytes;
    for (const toml::node &element : array_of(node))
        bytes.push_back(byte_of(element));
    if (bytes.empty())
        reject(node, "the list is empty");
    return bytes;
}

bool number_in_key(std::string_view key, unsigned long most, unsigned long *number) {
    std::string text(key);
    if (text.size() < 3 || text.compare(0, 2, "0x") != 0)
        return false;
    char *end = nullptr;
    *number = strtoul(text.c_str(), &end, 16);
    return *end == '\0' && *number <= most;
}

int numbered(std::string_view key, std::string_view prefix) {
    if (key.size() <= prefix.size() || key.size() > prefix.size() + 3 ||
        key.substr(0, prefix.size()) != prefix)
        return -1;
    std::string digits(key.substr(prefix.size()));
    if (digits.find_first_not_of("0123456789") != std::string::npos)
        return -1;
    int number = std::stoi(digits);
    return number <= 0xFF && std::to_string(number) == digits ? number : -1;
}
