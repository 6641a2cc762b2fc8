// board.toml: what it may contain, and that a mistake is found and reported with its line.
#include "board.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "support/run.h"

TEST(Board, EveryKindOfEntryIsRead) {
    std::string directory =
        make_board("shows = \"all of it\"\n"
                   "include = [\"more.toml\"]\n"
                   "uid = 1000\n"
                   "absent = [\"/dev/qxbmc\", 0x80]\n"
                   "[refused]\n"
                   "iopl = \"ENOSYS\"\n"
                   "0x295 = \"EPERM\"\n"
                   "fork = \"ENOMEM\"\n"
                   "waitpid = \"ECHILD\"\n"
                   "[mail]\n"
                   "missing = true\n"
                   "status = 75\n"
                   "hangs_s = 3\n"
                   "[commands]\n"
                   "\"say it\" = { output = \"said\\n\", status = 3 }\n"
                   "[superio]\n"
                   "[superio.global]\n"
                   "0x20 = 0x52\n"
                   "[superio.device12]\n"
                   "0xE1 = 0x64\n"
                   "[[monitor]]\n"
                   "index = 0x295\n"
                   "data = 0x296\n"
                   "bank_register = 0x00\n"
                   "bank_mask = 0x03\n"
                   "[monitor.common]\n"
                   "0x20 = 84\n"
                   "0x21 = [1, 2]\n"
                   "0x22 = { swing = [10, 20], period = 30.5 }\n"
                   "0x23 = { steps = [[0, 1], [2.5, 3]] }\n"
                   "0x24 = { value = 0xF0, clears_on_read = 0x30, read_only = true }\n"
                   "0x25 = { fails = true }\n"
                   "0x27 = { values = [4, 5], clears_on_read = 1 }\n"
                   "0x26 = { clears = { written = 0x80, bank = 1, register = 0x42, bits = 0x10 } }\n"
                   "[monitor.bank5]\n"
                   "0xFF = 9\n",
                   nullptr);
    std::ofstream(directory + "/more.toml") << "[[ports]]\nbase = 0x600\n[ports.registers]\n0x0F = 0xE0\n";
    virtual_board board;
    std::string error;
    ASSERT_TRUE(load_board(directory, &board, &error)) << error;
    EXPECT_EQ(board.shows, "all of it");
    EXPECT_EQ(board.uid, 1000u);
    EXPECT_EQ(board.absent_files.count("/dev/qxbmc"), 1u);
    EXPECT_EQ(board.absent_ports.count(0x80), 1u);
    EXPECT_EQ(board.iopl_error, ENOSYS);
    EXPECT_EQ(board.ioperm_errors[0x295], EPERM);
    EXPECT_EQ(board.fork_error, ENOMEM);
    EXPECT_EQ(board.waitpid_error, ECHILD);
    EXPECT_TRUE(board.mail.missing);
    EXPECT_EQ(board.mail.status, 75);
    EXPECT_EQ(board.mail.hangs_s, 3u);
    EXPECT_EQ(board.commands["say it"].output, "said\n");
    EXPECT_EQ(board.commands["say it"].status, 3);
    EXPECT_EQ(board.superio.index_port, 0x2E);
    EXPECT_EQ(board.superio.global[0x20].value, 0x52);
    EXPECT_EQ(board.superio.logical_devices[12][0xE1].value, 0x64);
    ASSERT_EQ(board.monitors.size(), 1u);
    monitor_chip &chip = board.monitors[0];
    EXPECT_EQ(chip.index_port, 0x295);
    EXPECT_EQ(chip.data_port, 0x296);
    EXPECT_EQ(chip.chip.bank_reg, 0x00);
    EXPECT_EQ(chip.chip.bank_mask, 0x03);
    EXPECT_EQ(chip.chip.common[0x20].value, 84);
    EXPECT_EQ(chip.chip.common[0x21].successive, (std::vector<uint8_t>{1, 2}));
    EXPECT_EQ(chip.chip.common[0x22].swing_low, 10);
    EXPECT_EQ(chip.chip.common[0x22].swing_high, 20);
    EXPECT_EQ(chip.chip.common[0x22].period_s, 30.5);
    ASSERT_EQ(chip.chip.common[0x23].steps.size(), 2u);
    EXPECT_EQ(chip.chip.common[0x23].steps[1].at_s, 2.5);
    EXPECT_EQ(chip.chip.common[0x23].steps[1].value, 3);
    EXPECT_EQ(chip.chip.common[0x24].value, 0xF0);
    EXPECT_EQ(chip.chip.common[0x24].clears_on_read, 0x30);
    EXPECT_TRUE(chip.chip.common[0x24].read_only);
    EXPECT_TRUE(chip.chip.common[0x25].fails);
    EXPECT_EQ(chip.chip.common[0x27].successive, (std::vector<uint8_t>{4, 5}));
    EXPECT_EQ(chip.chip.common[0x27].clears_on_read, 1);
    EXPECT_EQ(chip.chip.common[0x26].latch.written_bits, 0x80);
    EXPECT_EQ(chip.chip.common[0x26].latch.bank, 1);
    EXPECT_EQ(chip.chip.common[0x26].latch.reg, 0x42);
    EXPECT_EQ(chip.chip.common[0x26].latch.cleared_bits, 0x10);
    EXPECT_EQ(chip.chip.banks[5][0xFF].value, 9);
    ASSERT_EQ(board.blocks.size(), 1u);
    EXPECT_EQ(board.blocks[0].base, 0x600);
    EXPECT_EQ(board.blocks[0].chip.common[0x0F].value, 0xE0);
}

static virtual_board board_of(const std::string &toml) {
    virtual_board board;
    std::string error;
    EXPECT_TRUE(load_board(make_board(toml, nullptr), &board, &error)) << toml << error;
    return board;
}

TEST(Board, BusesAndTheirSlavesAreRead) {
    virtual_board board = board_of("[[smbus]]\nnumber = 3\nbase = 0x1100\n"
                                   "[[smbus.slave]]\naddress = 0x2F\nbank_register = 0\nheld = true\n"
                                   "[smbus.slave.common]\n0x10 = 148\n[smbus.slave.bank2]\n0x30 = 75\n"
                                   "[[smbus.slave]]\naddress = 0x4C\nsilent = true\n"
                                   "[[smbus]]\nnumber = 4\nfails = true\n"
                                   "[[smbus.slave]]\naddress = 1\nfails = true\n");
    ASSERT_EQ(board.adapters.size(), 2u);
    EXPECT_EQ(board.adapters[0].number, 3);
    EXPECT_EQ(board.adapters[0].base, 0x1100);
    EXPECT_FALSE(board.adapters[0].fails);
    ASSERT_EQ(board.adapters[0].slaves.size(), 2u);
    smbus_slave &slave = board.adapters[0].slaves[0];
    EXPECT_EQ(slave.address, 0x2F);
    EXPECT_TRUE(slave.held);
    EXPECT_FALSE(slave.silent);
    EXPECT_EQ(slave.chip.bank_reg, 0);
    EXPECT_EQ(slave.chip.bank_mask, 0x07); // it names a bank
    EXPECT_EQ(slave.chip.common[0x10].value, 148);
    EXPECT_EQ(slave.chip.banks[2][0x30].value, 75);
    EXPECT_TRUE(board.adapters[0].slaves[1].silent);
    EXPECT_FALSE(board.adapters[0].slaves[1].held);
    EXPECT_EQ(board.adapters[0].slaves[1].chip.bank_mask, 0); // it has no banks
    EXPECT_TRUE(board.adapters[1].fails);
    EXPECT_TRUE(board.adapters[1].slaves[0].chip.fails);
}

TEST(Board, PCIFunctionsAndMemoryAreRead) {
    virtual_board board =
        board_of("[[pci]]\nbus = 1\ndevice = 31\nfunction = 3\n0x00 = 0x1E228086\n0xFC = 7\n"
                 "[[memory]]\naddress = 0xFFA40\nbytes = [1, 2]\n"
                 "[[memory]]\naddress = 0xF0100\ntext = \"A\\u0000B\"\n");
    EXPECT_TRUE(board.pci.present);
    ASSERT_EQ(board.pci.functions.size(), 1u);
    EXPECT_EQ(board.pci.functions[0].bus, 1u);
    EXPECT_EQ(board.pci.functions[0].device, 31u);
    EXPECT_EQ(board.pci.functions[0].function, 3u);
    EXPECT_EQ(board.pci.functions[0].registers[0x00], 0x1E228086u);
    EXPECT_EQ(board.pci.functions[0].registers[0xFC], 7u);
    EXPECT_TRUE(board.memory.present);
    EXPECT_FALSE(board.memory.map_refused);
    EXPECT_EQ(board.memory.bytes[0xFFA41], 2);
    EXPECT_EQ(board.memory.bytes[0xF0100], 'A');
    EXPECT_EQ(board.memory.bytes[0xF0101], 0);
    EXPECT_EQ(board.memory.bytes[0xF0102], 'B');
    EXPECT_TRUE(board_of("[[memory]]\nmap_refused = true\n").memory.map_refused);
    EXPECT_FALSE(board_of("").memory.present);
    EXPECT_FALSE(board_of("").pci.present);
}

TEST(Board, TheDMITableIsPutIntoMemory) {
    virtual_board board =
        board_of("[dmi]\nmanufacturer = \"Brigantine\"\nproduct = \"H2SB-I\"\nversion = \"2.2\"\n");
    std::string memory;
    for (const auto &[address, byte] : board.memory.bytes)
        memory += static_cast<char>(byte);
    EXPECT_NE(memory.find(std::string("Brigantine\0H2SB-I\0002.2\0", 22)), std::string::npos);
    EXPECT_NE(memory.find("_DMI_"), std::string::npos);
}

TEST(Board, ABMCIsReadAndAddsToAnIncludedOne) {
    std::string directory = make_board("include = [\"bmc.toml\"]\n[bmc]\nguid = \"5001XQ\"\n"
                                       "[[bmc.reply]]\nrequest = [0x30, 0x0F]\nreply = [0]\n"
                                       "[[bmc.slave]]\naddress = 0x2E\n",
                                       nullptr);
    std::ofstream(directory + "/bmc.toml") << "[bmc]\ntransport = \"openipmi\"\nsensors = [61, 50]\n"
                                              "send_fails = true\nreceive_fails = true\nsilent = true\n"
                                              "[[bmc.reply]]\nrequest = [0x30, 0x95]\nreply = [0, 48]\n"
                                              "[[bmc.slave]]\naddress = 0x2D\nbank_register = 0xFF\n"
                                              "[bmc.slave.bank1]\n0x80 = 62\n"
                                              "[bmc.isa.bank6]\n0x30 = 7\n";
    virtual_board board;
    std::string error;
    ASSERT_TRUE(load_board(directory, &board, &error)) << error;
    EXPECT_EQ(board.bmc.transport, BMC_OPENIPMI);
    EXPECT_EQ(board.bmc.path, "/dev/ipmi0");
    EXPECT_EQ(board.bmc.guid, (byte_string{'5', '0', '0', '1', 'X', 'Q'}));
    EXPECT_EQ(board.bmc.sensors, (byte_string{61, 50}));
    EXPECT_TRUE(board.bmc.send_fails);
    EXPECT_TRUE(board.bmc.receive_fails);
    EXPECT_TRUE(board.bmc.silent);
    ASSERT_EQ(board.bmc.replies.size(), 2u); // the included one's first
    EXPECT_EQ(board.bmc.replies[0].request, (byte_string{0x30, 0x95}));
    EXPECT_EQ(board.bmc.replies[0].reply, (byte_string{0, 48}));
    ASSERT_EQ(board.bmc.slaves.size(), 2u);
    EXPECT_EQ(board.bmc.slaves[0].address, 0x2D);
    EXPECT_EQ(board.bmc.slaves[0].chip.bank_reg, 0xFF);
    EXPECT_EQ(board.bmc.slaves[0].chip.bank_mask, 0x07);
    EXPECT_EQ(board.bmc.slaves[0].chip.banks[1][0x80].value, 62);
    EXPECT_EQ(board.bmc.isa.banks[6][0x30].value, 7);
}

TEST(Board, TheBMCsDeviceFollowsItsTransportUnlessItIsNamed) {
    EXPECT_EQ(board_of("[bmc]\ntransport = \"qxbmc\"\nguid = [2, 0]\n").bmc.path, "/dev/qxbmc");
    EXPECT_EQ(board_of("[bmc]\ntransport = \"qxbmc\"\nguid = [2, 0]\n").bmc.guid, (byte_string{2, 0}));
    EXPECT_EQ(board_of("[bmc]\ntransport = \"openipmi\"\ndevice = \"/dev/ipmi/0\"\n").bmc.path,
              "/dev/ipmi/0");
    EXPECT_EQ(board_of("").bmc.transport, NO_BMC);
}

TEST(Board, FilesCopiesAndTheConfigurationAreRead) {
    std::string directory = make_board("configuration = \"H2SB-I\"\n[files]\n\"/proc/modules\" = \"a b\\n\"\n"
                                       "[copies]\n\"/etc/x\" = \"data/x\"\n",
                                       nullptr);
    virtual_board board;
    std::string error;
    ASSERT_TRUE(load_board(directory, &board, &error)) << error;
    EXPECT_EQ(board.configuration, "H2SB-I");
    EXPECT_EQ(board.files["/proc/modules"], "a b\n");
    EXPECT_EQ(board.copies["/etc/x"], directory + "/data/x"); // seen from the board's file
}

TEST(Board, AWholeDeviceCanFail) {
    virtual_board board =
        board_of("[[monitor]]\nindex = 1\ndata = 2\nfails = true\n"
                 "[[ports]]\nbase = 0x600\nfails = true\n"
                 "[bmc]\nfails = true\n[[bmc.slave]]\nfails = true\n[bmc.isa]\nfails = true\n");
    EXPECT_TRUE(board.monitors[0].chip.fails);
    EXPECT_TRUE(board.blocks[0].chip.fails);
    EXPECT_TRUE(board.bmc.send_fails);
    EXPECT_TRUE(board.bmc.slaves[0].chip.fails);
    EXPECT_TRUE(board.bmc.isa.fails);
}

TEST(Board, APortBlockMayHaveBanksAndASuperIOMayBeAlwaysOpen) {
    virtual_board board = board_of("[superio]\nindex = 0x4E\ndata = 0x4F\nalways_open = true\n"
                                   "[[ports]]\nbase = 0x600\nbank_register = 0x0F\nbank_mask = 0x1F\n"
                                   "[ports.common]\n0x0C = 1\n[ports.bank255]\n0x12 = 2\n");
    EXPECT_EQ(board.superio.index_port, 0x4E);
    EXPECT_EQ(board.superio.data_port, 0x4F);
    EXPECT_TRUE(board.superio.always_open);
    EXPECT_EQ(board.blocks[0].chip.bank_reg, 0x0F);
    EXPECT_EQ(board.blocks[0].chip.bank_mask, 0x1F);
    EXPECT_EQ(board.blocks[0].chip.common[0x0C].value, 1);
    EXPECT_EQ(board.blocks[0].chip.banks[255][0x12].value, 2);
}

// A board that was copied away from those that come with the program still finds what they share.
TEST(Board, AnIncludedFileIsAlsoLookedForAmongTheSharedOnes) {
    virtual_board board = board_of("include = [\"../../shared/no-bmc.toml\", \"elsewhere/linux.toml\"]\n");
    EXPECT_EQ(board.absent_files.count("/dev/ipmi0"), 1u);
    EXPECT_EQ(board.files.count("/proc/mounts"), 1u);
}

TEST(Board, ItsOwnIncludedFileGoesBeforeASharedOne) {
    std::string directory = make_board("include = [\"no-bmc.toml\"]\n", nullptr);
    std::ofstream(directory + "/no-bmc.toml") << "absent = [\"/dev/mine\"]\n";
    virtual_board board;
    std::string error;
    ASSERT_TRUE(load_board(directory, &board, &error)) << error;
    EXPECT_EQ(board.absent_files, std::set<std::string>{"/dev/mine"});
}

static const char *const ONE_SOURCE = "board.toml:5: expected only one of value, values, swing and steps";
static const char *const TWO_PORTS =
    "board.toml:1: a monitor needs an index port and a data port that differ";
#define MONITOR "[[monitor]]\nindex = 0x295\ndata = 0x296\n"

TEST(Board, AMistakeIsSaidWithItsLine) {
    const struct {
        const char *toml;
        const char *said; // the end of the message
    } table[] = {
        {"shows = 5\n", "board.toml:1: expected text in quotes"},
        {"\nshow = \"x\"\n", "board.toml:2: unknown key \"show\""},
        {"uid = -1\n", "board.toml:1: expected a whole number from 0 to 4294967294"},
        {"uid = 4294967295\n", "board.toml:1: expected a whole number from 0 to 4294967294"},
        {"absent = 5\n", "board.toml:1: expected a list"},
        {"absent = [true]\n", "board.toml:1: expected text in quotes"},
        {"absent = [0x10000]\n", "board.toml:1: expected a whole number from 0 to 65535"},
        {"refused = 1\n", "board.toml:1: expected a table"},
        {"[refused]\niopl = \"EIO\"\n", "board.toml:2: expected EPERM or ENOSYS"},
        {"[refused]\nport = \"EPERM\"\n",
         "board.toml:2: expected iopl, fork, waitpid or a port such as 0x295"},
        {"[refused]\n0x295 = \"EAGAIN\"\n", "board.toml:2: expected EPERM or ENOSYS"},
        {"[refused]\nfork = \"EPERM\"\n", "board.toml:2: expected EAGAIN or ENOMEM"},
        {"[refused]\nwaitpid = \"EINTR\"\n", "board.toml:2: expected ECHILD"},
        {"mail = true\n", "board.toml:1: expected a table"},
        {"[mail]\nfails = true\n", "board.toml:2: unknown key \"fails\""},
        {"[mail]\nmissing = 1\n", "board.toml:2: expected true or false"},
        {"[mail]\nstatus = 256\n", "board.toml:2: expected a whole number from 0 to 255"},
        {"[mail]\nhangs_s = 3601\n", "board.toml:2: expected a whole number from 0 to 3600"},
        {"[commands]\nx = { text = \"\" }\n", "board.toml:2: unknown key \"text\""},
        {"[[monitor]]\nindx = 1\n", "board.toml:2: unknown key \"indx\" of a monitor"},
        {"[[monitor]]\nbankx = {}\n", "board.toml:2: unknown key \"bankx\" of a monitor"},
        {MONITOR "[monitor.common]\n0x100 = 1\n",
         "board.toml:5: \"0x100\" is not a register: expected 0x00 to 0xFF"},
        {MONITOR "[monitor.common]\n20 = 1\n",
         "board.toml:5: \"20\" is not a register: expected 0x00 to 0xFF"},
        {MONITOR "[monitor.common]\n0x20 = 256\n", "board.toml:5: expected a whole number from 0 to 255"},
        {MONITOR "[monitor.common]\n0x20 = []\n", "board.toml:5: the list is empty"},
        {MONITOR "[monitor.common]\n0x20 = { swing = [1, 2] }\n",
         "board.toml:5: expected a swing, as { swing = [low, high], period = seconds }"},
        {MONITOR "[monitor.common]\n0x20 = { steps = [[1]] }\n",
         "board.toml:5: expected a step, as [second, value]"},
        {MONITOR "[monitor.common]\n0x20 = { fails = 1 }\n", "board.toml:5: expected true or false"},
        {MONITOR "[monitor.common]\n0x20 = { valu = 1 }\n", "board.toml:5: unknown key \"valu\""},
        {MONITOR "[monitor.common]\n0x20 = { period = 5 }\n", "board.toml:5: a period without a swing"},
        {MONITOR "[monitor.common]\n0x20 = { swing = [1, 2], period = nan }\n",
         "board.toml:5: expected a swing, as { swing = [low, high], period = seconds }"},
        {MONITOR "[monitor.common]\n0x20 = { swing = [1, 2], period = 0 }\n",
         "board.toml:5: expected a swing, as { swing = [low, high], period = seconds }"},
        {MONITOR "[monitor.common]\n0x20 = { steps = [[5, 1], [4, 2]] }\n",
         "board.toml:5: a step must be later than the one before it"},
        {MONITOR "[monitor.common]\n0x20 = { steps = [[5, 1], [5, 2]] }\n",
         "board.toml:5: a step must be later than the one before it"},
        {MONITOR "[monitor.common]\n0x20 = { value = 1, steps = [[5, 1]] }\n", ONE_SOURCE},
        {MONITOR "[monitor.common]\n0x20 = { value = 1, swing = [1, 2], period = 1 }\n", ONE_SOURCE},
        {MONITOR "[monitor.common]\n0x20 = { values = [1], steps = [[5, 1]] }\n", ONE_SOURCE},
        {MONITOR "[monitor.common]\n0x20 = { value = 1, values = [1] }\n", ONE_SOURCE},
        {MONITOR "[monitor.common]\n0x20 = { values = [] }\n", "board.toml:5: the list is empty"},
        {MONITOR "[monitor.common]\n0x20 = { clears = { bit = 1 } }\n", "board.toml:5: unknown key \"bit\""},
        {MONITOR "fails = 1\n", "board.toml:4: expected true or false"},
        {"[[monitor]]\nindex = 0x295\n", TWO_PORTS},
        {"[[monitor]]\ndata = 0x295\n", TWO_PORTS},
        {"[[monitor]]\nindex = 0x295\ndata = 0x295\n", TWO_PORTS},
        {MONITOR "[monitor.bank256]\n", "board.toml:4: unknown key \"bank256\" of a monitor"},
        {MONITOR "[monitor.bank99999999999]\n", "board.toml:4: unknown key \"bank99999999999\" of a monitor"},
        {MONITOR "[monitor.bank01]\n", "board.toml:4: unknown key \"bank01\" of a monitor"},
        {MONITOR "[monitor.bank-1]\n", "board.toml:4: unknown key \"bank-1\" of a monitor"},
        {"[superio.device256]\n", "board.toml:1: unknown key \"device256\" of a Super I/O chip"},
        {"[superio.device99999999999]\n",
         "board.toml:1: unknown key \"device99999999999\" of a Super I/O chip"},
        {"[superio.global]\n0x20 = { clears = { written = 1, register = 1, bits = 1 } }\n",
         "board.toml:1: a configuration register cannot clear a latch"},
        {"[superio]\nalways_open = 1\n", "board.toml:2: expected true or false"},
        {"configuration = 5\n", "board.toml:1: expected text in quotes"},
        {"files = 5\n", "board.toml:1: expected a table"},
        {"[files]\n\"/x\" = 5\n", "board.toml:2: expected text in quotes"},
        {"copies = []\n", "board.toml:1: expected a table"},
        {"[copies]\n\"/x\" = 5\n", "board.toml:2: expected text in quotes"},
        {"dmi = 5\n", "board.toml:1: expected a table"},
        {"[dmi]\nmaker = \"x\"\n", "board.toml:2: unknown key \"maker\""},
        {"[dmi]\nproduct = 5\n", "board.toml:2: expected text in quotes"},
        {"memory = 5\n", "board.toml:1: expected a list, as [[memory]]"},
        {"[monitor]\nindex = 0x295\n", "board.toml:1: expected a list, as [[monitor]]"},
        {"[[memory]]\naddress = 0x100000000\nbytes = [1]\n",
         "board.toml:2: expected a whole number from 0 to 4294967295"},
        {"[[memory]]\naddress = 1\nbytes = [256]\n", "board.toml:3: expected a whole number from 0 to 255"},
        {"[[memory]]\naddress = 1\nbytes = []\n", "board.toml:3: the list is empty"},
        {"[[memory]]\nwords = []\n", "board.toml:2: unknown key \"words\""},
        {"[[memory]]\nmap_refused = 1\n", "board.toml:2: expected true or false"},
        {"[[pci]]\nslot = 1\n", "board.toml:2: unknown key \"slot\" of a PCI function"},
        {"[[pci]]\n0x02 = 1\n", "board.toml:2: unknown key \"0x02\" of a PCI function"}, // no dword's place
        {"[[pci]]\n0x100 = 1\n", "board.toml:2: unknown key \"0x100\" of a PCI function"},
        {"[[pci]]\nbus = 256\n", "board.toml:2: expected a whole number from 0 to 255"},
        {"[[pci]]\ndevice = 32\n", "board.toml:2: expected a whole number from 0 to 31"},
        {"[[pci]]\nfunction = 8\n", "board.toml:2: expected a whole number from 0 to 7"},
        {"[[smbus]]\nbus = 1\n", "board.toml:2: unknown key \"bus\""},
        {"[[smbus]]\nnumber = 256\n", "board.toml:2: expected a whole number from 0 to 255"},
        {"[[smbus]]\nbase = 65536\n", "board.toml:2: expected a whole number from 0 to 65535"},
        {"[[smbus]]\nfails = 1\n", "board.toml:2: expected true or false"},
        {"[[smbus]]\nslave = 5\n", "board.toml:2: expected a list, as [[smbus.slave]]"},
        {"[[smbus]]\n[[smbus.slave]]\naddress = 128\n",
         "board.toml:3: expected a whole number from 0 to 127"},
        {"[[smbus]]\n[[smbus.slave]]\nheld = 1\n", "board.toml:3: expected true or false"},
        {"[[smbus]]\n[[smbus.slave]]\nsilent = 1\n", "board.toml:3: expected true or false"},
        {"[[smbus]]\n[[smbus.slave]]\nregisters = {}\n",
         "board.toml:3: unknown key \"registers\" of a slave"},
        {"[bmc]\nkind = 1\n", "board.toml:2: unknown key \"kind\" of a BMC"},
        {"[bmc]\ntransport = \"lan\"\n", "board.toml:2: expected openipmi or qxbmc"},
        {"[bmc]\ndevice = 1\n", "board.toml:2: expected text in quotes"},
        {"[bmc]\nguid = 1\n", "board.toml:2: expected text in quotes"},
        {"[bmc]\nguid = [256]\n", "board.toml:2: expected a whole number from 0 to 255"},
        {"[bmc]\nsensors = 5\n", "board.toml:2: expected a list"},
        {"[bmc]\nsilent = 1\n", "board.toml:2: expected true or false"},
        {"[bmc]\nsend_fails = 1\n", "board.toml:2: expected true or false"},
        {"[bmc]\nreceive_fails = 1\n", "board.toml:2: expected true or false"},
        {"[bmc]\n[[bmc.reply]]\nrequest = [1]\n", "board.toml:2: expected a reply, as { request = [netfn, "
                                                  "command, ...], reply = [completion code, ...] }"},
        {"[bmc]\n[[bmc.reply]]\nrequest = [1]\nanswer = [1]\n", "board.toml:4: unknown key \"answer\""},
        {"[bmc]\n[[bmc.slave]]\nheld = true\n",
         "board.toml:3: unknown key \"held\" of a slave behind the BMC"},
        {"[bmc.isa]\nindex = 1\n", "board.toml:2: unknown key \"index\" of the BMC's monitor"},
        {"[superio]\nglob = {}\n", "board.toml:2: unknown key \"glob\" of a Super I/O chip"},
        {"[[ports]]\nbas = 1\n", "board.toml:2: unknown key \"bas\" of a block of ports"},
        {"include = [\"no-such.toml\"]\n", "board.toml:1: there is no file no-such.toml"},
        {"include = [\"../root\"]\n", "board.toml:1: there is no file ../root"},
        {"include = [5]\n", "board.toml:1: expected text in quotes"},
        {"include = [\"board.toml\"]\n", "board.toml:1: files include one another without end"},
    };
    for (const auto &row : table) {
        virtual_board board;
        std::string error;
        EXPECT_FALSE(load_board(make_board(row.toml, nullptr), &board, &error)) << row.toml;
        std::string end =
            error.size() < strlen(row.said) ? error : error.substr(error.size() - strlen(row.said));
        EXPECT_EQ(end, row.said) << row.toml;
    }
}

TEST(Board, WhatIsNoTomlIsSaidWithItsLine) {
    virtual_board board;
    std::string error;
    EXPECT_FALSE(load_board(make_board("shows = \"x\"\n= 3\n", nullptr), &board, &error));
    EXPECT_NE(error.find("board.toml:2: "), std::string::npos) << error;
}

TEST(Board, AMissingFileAndADirectoryInItsPlaceAreSaid) {
    std::string missing = scratch_directory();
    std::string directory = scratch_directory();
    std::filesystem::create_directories(directory + "/board.toml");
    for (const std::string &path : {missing, directory}) {
        virtual_board board;
        std::string error;
        EXPECT_FALSE(load_board(path, &board, &error));
        EXPECT_EQ(error, path + "/board.toml: there is no such file");
    }
}
