#include "board.h"

#include <cerrno>
#include <initializer_list>
#include <sstream>
#include <stdexcept>
#include <toml++/toml.h>

// Mistakes in a board's file end its loading: each is thrown with its place and caught in load_board.
[[noreturn]] static void reject(const toml::node &node, const std::string &cause) {
    const toml::source_region &source = node.source();
    std::ostringstream text;
    if (source.path)
        text << *source.path << ':';
    text << source.begin.line << ": " << cause;
    throw std::runtime_error(text.str());
}

static void allow_keys(const toml::table &table, std::initializer_list<std::string_view> allowed) {
    for (const auto &[key, node] : table) {
        bool known = false;
        for (std::string_view name : allowed)
            known = known || key.str() == name;
        if (!known)
            reject(node, "unknown key \"" + std::string(key.str()) + "\"");
    }
}

static int64_t integer_of(const toml::node &node, int64_t most) {
    auto value = node.value_exact<int64_t>();
    if (!value || *value < 0 || *value > most)
        reject(node, "a whole number from 0 to " + std::to_string(most) + " belongs here");
    return *value;
}

static uint8_t byte_of(const toml::node &node) { return static_cast<uint8_t>(integer_of(node, 0xFF)); }

static uint16_t port_of(const toml::node &node) { return static_cast<uint16_t>(integer_of(node, 0xFFFF)); }

static double number_of(const toml::node &node) {
    auto value = node.value<double>();
    if (!value)
        reject(node, "a number belongs here");
    return *value;
}

static std::string text_of(const toml::node &node) {
    auto value = node.value_exact<std::string>();
    if (!value)
        reject(node, "a text belongs here");
    return *value;
}

static bool truth_of(const toml::node &node) {
    auto value = node.value_exact<bool>();
    if (!value)
        reject(node, "true or false belongs here");
    return *value;
}

static const toml::table &table_of(const toml::node &node) {
    if (!node.is_table())
        reject(node, "a table belongs here");
    return *node.as_table();
}

static const toml::array &array_of(const toml::node &node) {
    if (!node.is_array())
        reject(node, "a list belongs here");
    return *node.as_array();
}

// ---- Registers

static std::vector<uint8_t> bytes_of(const toml::node &node) {
    std::vector<uint8_t> bytes;
    for (const toml::node &element : array_of(node))
        bytes.push_back(byte_of(element));
    if (bytes.empty())
        reject(node, "the list is empty");
    return bytes;
}

static std::vector<cell_step> steps_of(const toml::node &node) {
    std::vector<cell_step> steps;
    for (const toml::node &element : array_of(node)) {
        const toml::array &pair = array_of(element);
        if (pair.size() != 2)
            reject(element, "a step is [second, value]");
        steps.push_back({number_of(pair[0]), byte_of(pair[1])});
    }
    return steps;
}

static cell_latch latch_of(const toml::node &node) {
    const toml::table &table = table_of(node);
    allow_keys(table, {"written", "bank", "register", "bits"});
    cell_latch latch;
    for (const auto &[key, value] : table) {
        if (key.str() == "written")
            latch.written_bits = byte_of(value);
        else if (key.str() == "bank")
            latch.bank = byte_of(value);
        else if (key.str() == "register")
            latch.reg = byte_of(value);
        else
            latch.cleared_bits = byte_of(value);
    }
    return latch;
}

static void read_swing(const toml::table &table, cell *c) {
    const toml::node *swing = table.get("swing");
    if (swing == nullptr)
        return;
    std::vector<uint8_t> ends = bytes_of(*swing);
    const toml::node *period = table.get("period");
    if (ends.size() != 2 || period == nullptr || number_of(*period) <= 0)
        reject(*swing, "a swing is { swing = [low, high], period = seconds }");
    c->swing_low = ends[0];
    c->swing_high = ends[1];
    c->period_s = number_of(*period);
}

static cell cell_of(const toml::node &node) {
    cell c;
    if (node.is_integer()) {
        c.value = byte_of(node);
        return c;
    }
    if (node.is_array()) {
        c.successive = bytes_of(node);
        return c;
    }
    const toml::table &table = table_of(node);
    allow_keys(table,
               {"value", "swing", "period", "steps", "clears_on_read", "read_only", "fails", "clears"});
    read_swing(table, &c);
    if (const toml::node *value = table.get("value"))
        c.value = byte_of(*value);
    if (const toml::node *steps = table.get("steps"))
        c.steps = steps_of(*steps);
    if (const toml::node *bits = table.get("clears_on_read"))
        c.clears_on_read = byte_of(*bits);
    if (const toml::node *read_only = table.get("read_only"))
        c.read_only = truth_of(*read_only);
    if (const toml::node *fails = table.get("fails"))
        c.fails = truth_of(*fails);
    if (const toml::node *latch = table.get("clears"))
        c.latch = latch_of(*latch);
    return c;
}

static bool number_in_key(std::string_view key, unsigned long most, unsigned long *number) {
    std::string text(key);
    if (text.size() < 3 || text.compare(0, 2, "0x") != 0)
        return false;
    char *end = nullptr;
    *number = strtoul(text.c_str(), &end, 16);
    return *end == '\0' && *number <= most;
}

static register_map registers_of(const toml::node &node) {
    register_map registers;
    for (const auto &[key, value] : table_of(node)) {
        unsigned long reg;
        if (!number_in_key(key.str(), 0xFF, &reg))
            reject(value, "\"" + std::string(key.str()) + "\" is no register: 0x00 to 0xFF belongs here");
        registers[static_cast<uint8_t>(reg)] = cell_of(value);
    }
    return registers;
}

// ---- Devices

// The decimal number behind `prefix` in a key such as "bank4", or -1.
static int numbered(std::string_view key, std::string_view prefix) {
    if (key.size() <= prefix.size() || key.substr(0, prefix.size()) != prefix)
        return -1;
    std::string digits(key.substr(prefix.size()));
    return digits.find_first_not_of("0123456789") == std::string::npos ? std::stoi(digits) : -1;
}

static monitor_chip monitor_of(const toml::node &node) {
    monitor_chip chip;
    for (const auto &[key, value] : table_of(node)) {
        int bank = numbered(key.str(), "bank");
        if (key.str() == "index")
            chip.index_port = port_of(value);
        else if (key.str() == "data")
            chip.data_port = port_of(value);
        else if (key.str() == "bank_register")
            chip.bank_reg = byte_of(value);
        else if (key.str() == "bank_mask")
            chip.bank_mask = byte_of(value);
        else if (key.str() == "common")
            chip.common = registers_of(value);
        else if (bank >= 0)
            chip.banks[bank] = registers_of(value);
        else
            reject(value, "unknown key \"" + std::string(key.str()) + "\" of a monitor");
    }
    return chip;
}

static superio_chip superio_of(const toml::node &node) {
    superio_chip chip;
    chip.index_port = 0x2E;
    chip.data_port = 0x2F;
    for (const auto &[key, value] : table_of(node)) {
        int device = numbered(key.str(), "device");
        if (key.str() == "index")
            chip.index_port = port_of(value);
        else if (key.str() == "data")
            chip.data_port = port_of(value);
        else if (key.str() == "global")
            chip.global = registers_of(value);
        else if (device >= 0)
            chip.logical_devices[device] = registers_of(value);
        else
            reject(value, "unknown key \"" + std::string(key.str()) + "\" of a Super I/O chip");
    }
    return chip;
}

static port_block block_of(const toml::node &node) {
    const toml::table &table = table_of(node);
    allow_keys(table, {"base", "registers"});
    port_block block;
    if (const toml::node *base = table.get("base"))
        block.base = port_of(*base);
    if (const toml::node *registers = table.get("registers"))
        block.registers = registers_of(*registers);
    return block;
}

static int error_of(const toml::node &node) {
    std::string name = text_of(node);
    if (name == "EPERM")
        return EPERM;
    if (name == "ENOSYS")
        return ENOSYS;
    reject(node, "EPERM or ENOSYS belongs here");
}

static void read_refused(const toml::node &node, virtual_board *board) {
    for (const auto &[key, value] : table_of(node)) {
        unsigned long port;
        if (key.str() == "iopl")
            board->iopl_error = error_of(value);
        else if (number_in_key(key.str(), 0xFFFF, &port))
            board->ioperm_errors[static_cast<uint16_t>(port)] = error_of(value);
        else
            reject(value, "iopl or a port such as 0x295 belongs here");
    }
}

static void read_absent(const toml::node &node, virtual_board *board) {
    for (const toml::node &element : array_of(node)) {
        if (element.is_integer())
            board->absent_ports.insert(port_of(element));
        else
            board->absent_files.insert(text_of(element));
    }
}

static void read_commands(const toml::node &node, virtual_board *board) {
    for (const auto &[key, value] : table_of(node)) {
        const toml::table &table = table_of(value);
        allow_keys(table, {"output", "status"});
        shell_answer answer;
        if (const toml::node *output = table.get("output"))
            answer.output = text_of(*output);
        if (const toml::node *status = table.get("status"))
            answer.status = byte_of(*status);
        board->commands[std::string(key.str())] = answer;
    }
}

constexpr int DEEPEST_INCLUDE = 8; // a file that includes itself ends here

static void read_file(const std::filesystem::path &path, int depth, virtual_board *board) {
    toml::table file = toml::parse_file(path.string());
    for (const auto &[key, value] : file) {
        if (key.str() == "shows") {
            board->shows = text_of(value);
        } else if (key.str() == "include") {
            if (depth == DEEPEST_INCLUDE)
                reject(value, "files include one another without end");
            for (const toml::node &element : array_of(value))
                read_file(path.parent_path() / text_of(element), depth + 1, board);
        } else if (key.str() == "uid") {
            board->uid = static_cast<uint32_t>(integer_of(value, 0xFFFFFFFF));
        } else if (key.str() == "refused") {
            read_refused(value, board);
        } else if (key.str() == "absent") {
            read_absent(value, board);
        } else if (key.str() == "commands") {
            read_commands(value, board);
        } else if (key.str() == "superio") {
            board->superio = superio_of(value);
        } else if (key.str() == "monitor") {
            for (const toml::node &element : array_of(value))
                board->monitors.push_back(monitor_of(element));
        } else if (key.str() == "ports") {
            for (const toml::node &element : array_of(value))
                board->blocks.push_back(block_of(element));
        } else {
            reject(value, "unknown key \"" + std::string(key.str()) + "\"");
        }
    }
}

bool load_board(const std::filesystem::path &directory, virtual_board *board, std::string *error) {
    board->directory = directory;
    try {
        read_file(directory / "board.toml", 0, board);
    } catch (const toml::parse_error &mistake) {
        std::ostringstream text;
        if (mistake.source().path)
            text << *mistake.source().path << ':';
        text << mistake.source().begin.line << ": " << mistake.description();
        *error = text.str();
        return false;
    } catch (const std::runtime_error &mistake) {
        *error = mistake.what();
        return false;
    }
    return true;
}
