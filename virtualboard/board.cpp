#include "board.h"

#include <cerrno>
#include <sstream>
#include <stdexcept>

#include "own_files.h"
#include "toml_values.h"

// ---- Registers

static std::vector<cell_step> steps_of(const toml::node &node) {
    std::vector<cell_step> steps;
    for (const toml::node &element : array_of(node)) {
        const toml::array &pair = array_of(element);
        if (pair.size() != 2)
            reject(element, "expected a step, as [second, value]");
        steps.push_back({number_of(pair[0]), byte_of(pair[1])});
        if (steps.size() > 1 && !(steps.back().at_s > steps[steps.size() - 2].at_s)) // "nan" is not later
            reject(element, "a step must be later than the one before it");
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
    const toml::node *period = table.get("period");
    if (swing == nullptr && period != nullptr)
        reject(*period, "a period without a swing");
    if (swing == nullptr)
        return;
    std::vector<uint8_t> ends = bytes_of(*swing);
    if (ends.size() != 2 || period == nullptr || !(number_of(*period) > 0)) // nor "nan"
        reject(*swing, "expected a swing, as { swing = [low, high], period = seconds }");
    c->swing_low = ends[0];
    c->swing_high = ends[1];
    c->period_s = number_of(*period);
}

// A register takes its value from one of these at most.
static void allow_one_source(const toml::node &node, const toml::table &table) {
    int sources = 0;
    for (const char *key : {"value", "values", "swing", "steps"})
        sources += table.contains(key) ? 1 : 0;
    if (sources > 1)
        reject(node, "expected only one of value, values, swing and steps");
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
    allow_keys(table, {"value", "values", "swing", "period", "steps", "clears_on_read", "read_only", "fails",
                       "clears"});
    allow_one_source(node, table);
    read_swing(table, &c);
    if (const toml::node *values = table.get("values"))
        c.successive = bytes_of(*values);
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

static register_map registers_of(const toml::node &node) {
    register_map registers;
    for (const auto &[key, value] : table_of(node)) {
        unsigned long reg;
        if (!number_in_key(key.str(), 0xFF, &reg))
            reject(value, "\"" + std::string(key.str()) + "\" is not a register: expected 0x00 to 0xFF");
        registers[static_cast<uint8_t>(reg)] = cell_of(value);
    }
    return registers;
}

// ---- Chips with banks

// Takes a key of a chip with banks; false for any other key.
static bool read_chip_key(const toml::key &key, const toml::node &value, banked_chip *chip) {
    int bank = numbered(key.str(), "bank");
    if (key.str() == "bank_register")
        chip->bank_reg = byte_of(value);
    else if (key.str() == "bank_mask")
        chip->bank_mask = byte_of(value);
    else if (key.str() == "fails")
        chip->fails = truth_of(value);
    else if (key.str() == "common")
        chip->common = registers_of(value);
    else if (bank >= 0)
        chip->banks[bank] = registers_of(value);
    else
        return false;
    return true;
}

// A chip whose file names banks has a register that selects them.
static void default_bank_mask(banked_chip *chip) {
    if (chip->bank_mask == 0 && !chip->banks.empty())
        chip->bank_mask = 0x07;
}

static monitor_chip monitor_of(const toml::node &node) {
    monitor_chip monitor;
    monitor.chip.bank_mask = 0x07;
    for (const auto &[key, value] : table_of(node)) {
        if (key.str() == "index")
            monitor.index_port = port_of(value);
        else if (key.str() == "data")
            monitor.data_port = port_of(value);
        else if (!read_chip_key(key, value, &monitor.chip))
            reject_key(key, value, " of a monitor");
    }
    if (monitor.index_port == 0 || monitor.data_port == 0 || monitor.index_port == monitor.data_port)
        reject(node, "a monitor needs an index port and a data port that differ");
    return monitor;
}

// ---- Ports

static register_map configuration_registers_of(const toml::node &node) {
    register_map registers = registers_of(node);
    for (const auto &[reg, c] : registers)
        if (c.latch.written_bits != 0)
            reject(node, "a configuration register cannot clear a latch");
    return registers;
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
        else if (key.str() == "always_open")
            chip.always_open = truth_of(value);
        else if (key.str() == "global")
            chip.global = configuration_registers_of(value);
        else if (device >= 0)
            chip.logical_devices[device] = configuration_registers_of(value);
        else
            reject_key(key, value, " of a Super I/O chip");
    }
    return chip;
}

static port_block block_of(const toml::node &node) {
    port_block block;
    for (const auto &[key, value] : table_of(node)) {
        if (key.str() == "base")
            block.base = port_of(value);
        else if (key.str() == "registers")
            block.chip.common = registers_of(value);
        else if (!read_chip_key(key, value, &block.chip))
            reject_key(key, value, " of a block of ports");
    }
    default_bank_mask(&block.chip);
    return block;
}

static pci_function pci_function_of(const toml::node &node) {
    pci_function function;
    for (const auto &[key, value] : table_of(node)) {
        unsigned long reg;
        if (key.str() == "bus")
            function.bus = byte_of(value);
        else if (key.str() == "device")
            function.device = static_cast<uint32_t>(integer_of(value, 31));
        else if (key.str() == "function")
            function.function = static_cast<uint32_t>(integer_of(value, 7));
        else if (number_in_key(key.str(), 0xFC, &reg) && reg % 4 == 0)
            function.registers[static_cast<uint8_t>(reg)] = dword_of(value);
        else
            reject_key(key, value, " of a PCI function");
    }
    return function;
}

// ---- SMBus

static smbus_slave slave_of(const toml::node &node) {
    smbus_slave slave;
    for (const auto &[key, value] : table_of(node)) {
        if (key.str() == "address")
            slave.address = static_cast<uint8_t>(integer_of(value, 0x7F));
        else if (key.str() == "held")
            slave.held = truth_of(value);
        else if (key.str() == "silent")
            slave.silent = truth_of(value);
        else if (!read_chip_key(key, value, &slave.chip))
            reject_key(key, value, " of a slave");
    }
    default_bank_mask(&slave.chip);
    return slave;
}

static smbus_adapter adapter_of(const toml::node &node) {
    const toml::table &table = table_of(node);
    allow_keys(table, {"number", "base", "fails", "slave"});
    smbus_adapter adapter;
    if (const toml::node *fails = table.get("fails"))
        adapter.fails = truth_of(*fails);
    if (const toml::node *number = table.get("number"))
        adapter.number = byte_of(*number);
    if (const toml::node *base = table.get("base"))
        adapter.base = port_of(*base);
    if (const toml::node *slaves = table.get("slave"))
        for (const toml::node &element : array_of(*slaves, "[[smbus.slave]]"))
            adapter.slaves.push_back(slave_of(element));
    return adapter;
}

// ---- BMC

static bmc_reply reply_of(const toml::node &node) {
    const toml::table &table = table_of(node);
    allow_keys(table, {"request", "reply"});
    const toml::node *request = table.get("request");
    const toml::node *reply = table.get("reply");
    if (request == nullptr || reply == nullptr)
        reject(node,
               "expected a reply, as { request = [netfn, command, ...], reply = [completion code, ...] }");
    return {bytes_of(*request), bytes_of(*reply)};
}

static byte_string guid_of(const toml::node &node) {
    if (node.is_array())
        return bytes_of(node);
    std::string text = text_of(node);
    return byte_string(text.begin(), text.end());
}

static bmc_slave bmc_slave_of(const toml::node &node) {
    bmc_slave slave;
    for (const auto &[key, value] : table_of(node)) {
        if (key.str() == "address")
            slave.address = static_cast<uint8_t>(integer_of(value, 0x7F));
        else if (!read_chip_key(key, value, &slave.chip))
            reject_key(key, value, " of a slave behind the BMC");
    }
    default_bank_mask(&slave.chip);
    return slave;
}

static banked_chip isa_of(const toml::node &node) {
    banked_chip chip;
    for (const auto &[key, value] : table_of(node))
        if (!read_chip_key(key, value, &chip))
            reject_key(key, value, " of the BMC's monitor");
    return chip;
}

static bmc_transport transport_of(const toml::node &node) {
    std::string name = text_of(node);
    if (name == "openipmi")
        return BMC_OPENIPMI;
    if (name == "qxbmc")
        return BMC_QXBMC;
    reject(node, "expected openipmi or qxbmc");
}

// Adds to what an included file has about the BMC.
static void read_bmc(const toml::node &node, bmc_device *bmc) {
    for (const auto &[key, value] : table_of(node)) {
        if (key.str() == "transport")
            bmc->transport = transport_of(value);
        else if (key.str() == "device")
            bmc->path = text_of(value);
        else if (key.str() == "guid")
            bmc->guid = guid_of(value);
        else if (key.str() == "sensors")
            bmc->sensors = bytes_of(value);
        else if (key.str() == "isa")
            bmc->isa = isa_of(value);
        else if (key.str() == "send_fails" || key.str() == "fails")
            bmc->send_fails = truth_of(value);
        else if (key.str() == "receive_fails")
            bmc->receive_fails = truth_of(value);
        else if (key.str() == "silent")
            bmc->silent = truth_of(value);
        else if (key.str() == "reply")
            for (const toml::node &element : array_of(value, "[[bmc.reply]]"))
                bmc->replies.push_back(reply_of(element));
        else if (key.str() == "slave")
            for (const toml::node &element : array_of(value, "[[bmc.slave]]"))
                bmc->slaves.push_back(bmc_slave_of(element));
        else
            reject_key(key, value, " of a BMC");
    }
}

// ---- Memory and files

static void read_dmi(const toml::node &node, physical_memory *memory) {
    const toml::table &table = table_of(node);
    allow_keys(table, {"manufacturer", "product", "version"});
    dmi_strings strings;
    if (const toml::node *manufacturer = table.get("manufacturer"))
        strings.manufacturer = text_of(*manufacturer);
    if (const toml::node *product = table.get("product"))
        strings.product = text_of(*product);
    if (const toml::node *version = table.get("version"))
        strings.version = text_of(*version);
    put_dmi_table(memory, strings);
}

// A range of physical memory: bytes, or a text with \u0000 for NUL.
static void read_memory_range(const toml::node &node, physical_memory *memory) {
    const toml::table &table = table_of(node);
    allow_keys(table, {"address", "bytes", "text", "map_refused"});
    memory->present = true;
    if (const toml::node *refused = table.get("map_refused"))
        memory->map_refused = truth_of(*refused);
    const toml::node *address = table.get("address");
    if (address == nullptr)
        return;
    if (const toml::node *bytes = table.get("bytes"))
        put_memory(memory, dword_of(*address), bytes_of(*bytes));
    if (const toml::node *text = table.get("text")) {
        std::string contents = text_of(*text);
        put_memory(memory, dword_of(*address), std::vector<uint8_t>(contents.begin(), contents.end()));
    }
}

static void read_files(const toml::node &node, virtual_board *board) {
    for (const auto &[key, value] : table_of(node))
        board->files[std::string(key.str())] = text_of(value);
}

static void read_copies(const toml::node &node, const std::filesystem::path &directory,
                        virtual_board *board) {
    for (const auto &[key, value] : table_of(node))
        board->copies[std::string(key.str())] = directory / text_of(value);
}

// ---- The rest of the machine

struct named_error {
    const char *name;
    int number;
};

static int error_of(const toml::node &node, std::initializer_list<named_error> known) {
    std::string name = text_of(node);
    std::string names;
    for (const named_error &error : known) {
        if (name == error.name)
            return error.number;
        names += (names.empty() ? "" : " or ") + std::string(error.name);
    }
    reject(node, "expected " + names);
}

static int port_error_of(const toml::node &node) {
    return error_of(node, {{"EPERM", EPERM}, {"ENOSYS", ENOSYS}});
}

static void read_refused(const toml::node &node, virtual_board *board) {
    for (const auto &[key, value] : table_of(node)) {
        unsigned long port;
        if (key.str() == "iopl")
            board->iopl_error = port_error_of(value);
        else if (key.str() == "fork")
            board->fork_error = error_of(value, {{"EAGAIN", EAGAIN}, {"ENOMEM", ENOMEM}});
        else if (key.str() == "waitpid")
            board->waitpid_error = error_of(value, {{"ECHILD", ECHILD}});
        else if (number_in_key(key.str(), 0xFFFF, &port))
            board->ioperm_errors[static_cast<uint16_t>(port)] = port_error_of(value);
        else
            reject(value, "expected iopl, fork, waitpid or a port such as 0x295");
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

constexpr int LONGEST_HANG_S = 3600;

static void read_mail(const toml::node &node, mail_command *mail) {
    const toml::table &table = table_of(node);
    allow_keys(table, {"missing", "status", "hangs_s"});
    if (const toml::node *missing = table.get("missing"))
        mail->missing = truth_of(*missing);
    if (const toml::node *status = table.get("status"))
        mail->status = byte_of(*status);
    if (const toml::node *hangs = table.get("hangs_s"))
        mail->hangs_s = static_cast<unsigned>(integer_of(*hangs, LONGEST_HANG_S));
}

constexpr int DEEPEST_INCLUDE = 8; // a file that includes itself ends here

static void read_file(const std::filesystem::path &path, int depth, virtual_board *board);

// An included file lies where the board's file says, or, for a board that was copied from those that come
// with the program, among the files that they share.
static std::filesystem::path find_included(const toml::node &node, const std::filesystem::path &path) {
    std::filesystem::path named = text_of(node);
    for (const auto &file : {path.parent_path() / named, own_files("shared") / named.filename()}) {
        std::error_code ignored;
        if (std::filesystem::is_regular_file(file, ignored))
            return file;
    }
    reject(node, "there is no file " + named.string());
}

static void read_included(const toml::node &node, const std::filesystem::path &path, int depth,
                          virtual_board *board) {
    if (depth == DEEPEST_INCLUDE)
        reject(node, "files include one another without end");
    for (const toml::node &element : array_of(node))
        read_file(find_included(element, path), depth + 1, board);
}

// Takes a key of the machine around the devices; false for any other key.
static bool read_machine_key(const toml::key &key, const toml::node &value, const std::filesystem::path &path,
                             virtual_board *board) {
    if (key.str() == "shows")
        board->shows = text_of(value);
    else if (key.str() == "uid")
        board->uid = static_cast<uint32_t>(integer_of(value, LARGEST_UID));
    else if (key.str() == "refused")
        read_refused(value, board);
    else if (key.str() == "absent")
        read_absent(value, board);
    else if (key.str() == "commands")
        read_commands(value, board);
    else if (key.str() == "mail")
        read_mail(value, &board->mail);
    else if (key.str() == "files")
        read_files(value, board);
    else if (key.str() == "configuration")
        board->configuration = text_of(value);
    else if (key.str() == "copies")
        read_copies(value, path.parent_path(), board);
    else
        return false;
    return true;
}

template <typename device>
static void read_each(const toml::node &node, const char *written, device (*device_of)(const toml::node &),
                      std::vector<device> *devices) {
    for (const toml::node &element : array_of(node, written))
        devices->push_back(device_of(element));
}

static bool read_device_key(const toml::key &key, const toml::node &value, virtual_board *board) {
    if (key.str() == "superio") {
        board->superio = superio_of(value);
    } else if (key.str() == "monitor") {
        read_each(value, "[[monitor]]", monitor_of, &board->monitors);
    } else if (key.str() == "ports") {
        read_each(value, "[[ports]]", block_of, &board->blocks);
    } else if (key.str() == "smbus") {
        read_each(value, "[[smbus]]", adapter_of, &board->adapters);
    } else if (key.str() == "pci") {
        board->pci.present = true;
        read_each(value, "[[pci]]", pci_function_of, &board->pci.functions);
    } else if (key.str() == "bmc") {
        read_bmc(value, &board->bmc);
    } else if (key.str() == "dmi") {
        read_dmi(value, &board->memory);
    } else if (key.str() == "memory") {
        for (const toml::node &element : array_of(value, "[[memory]]"))
            read_memory_range(element, &board->memory);
    } else {
        return false;
    }
    return true;
}

// Included files come first, so that a board's own values win.
static void read_file(const std::filesystem::path &path, int depth, virtual_board *board) {
    toml::table file = toml::parse_file(path.string());
    if (const toml::node *included = file.get("include"))
        read_included(*included, path, depth, board);
    for (const auto &[key, value] : file)
        if (key.str() != "include" && !read_machine_key(key, value, path, board) &&
            !read_device_key(key, value, board))
            reject_key(key, value, "");
}

bool load_board(const std::filesystem::path &directory, virtual_board *board, std::string *error) {
    board->directory = directory;
    std::filesystem::path file = directory / "board.toml";
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(file, ignored)) {
        *error = file.string() + ": there is no such file";
        return false;
    }
    try {
        read_file(file, 0, board);
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
    if (board->bmc.path.empty())
        board->bmc.path = board->bmc.transport == BMC_QXBMC ? "/dev/qxbmc" : "/dev/ipmi0";
    return true;
}
