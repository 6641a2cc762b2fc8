// The order of port accesses as the chips see it, and ports that the kernel refuses.
#include <gtest/gtest.h>

#include "boards.h"

static void traced_ports(const std::string &board, std::vector<std::string> *lines) {
    run_result result;
    for (const std::string &line : trace_of({board, "-t"}, &result))
        if (line.compare(0, 4, "outb") == 0 || line.compare(0, 3, "inb") == 0)
            lines->push_back(line);
}

// The first item of the board is a fan: its divisor (bank 0, 0x47) is read first, and 0x4E (0x80) saved and
// restored.
TEST(Ports, AByteReadSavesSelectsReadsAndRestores) {
    std::vector<std::string> lines;
    traced_ports("w83627hf", &lines);
    const std::vector<std::string> divisor = {"outb 0295 4e", "inb 0296 80",  "outb 0296 80", "outb 0295 47",
                                              "inb 0296 5f",  "outb 0295 4e", "outb 0296 80"};
    ASSERT_GE(lines.size(), divisor.size());
    EXPECT_EQ(std::vector<std::string>(lines.begin(), lines.begin() + 7), divisor);
}

// Fan 1 of the NCT6776F lives in bank 6, registers 0x30 and 0x31; its limits (0x3A, 0x3B) are read before it.
TEST(Ports, AFanWordReadTakesTwoRegistersInOneVisit) {
    std::vector<std::string> lines;
    traced_ports("nct6776f-faults", &lines);
    const std::vector<std::string> limit = {"outb 0295 4e", "inb 0296 80",  "outb 0296 86",
                                            "outb 0295 3a", "inb 0296 3e",  "outb 0295 3b",
                                            "inb 0296 10",  "outb 0295 4e", "outb 0296 80"};
    const std::vector<std::string> fan = {"outb 0295 4e", "inb 0296 80",  "outb 0296 86",
                                          "outb 0295 30", "inb 0296 07",  "outb 0295 31",
                                          "inb 0296 10",  "outb 0295 4e", "outb 0296 80"};
    // The divisor record reads nothing on this chip: both limits, then the fan itself.
    ASSERT_GE(lines.size(), 27u);
    EXPECT_EQ(std::vector<std::string>(lines.begin(), lines.begin() + 9), limit);
    EXPECT_EQ(std::vector<std::string>(lines.begin() + 9, lines.begin() + 18), limit);
    EXPECT_EQ(std::vector<std::string>(lines.begin() + 18, lines.begin() + 27), fan);
}

// A report writes nothing to a chip but its index and its bank-select register, and leaves that as it was.
TEST(Ports, AReportChangesNoRegister) {
    for (const char *board : {"w83627hf", "nct6776f-faults"}) {
        std::vector<std::string> lines;
        traced_ports(board, &lines);
        std::string index;
        std::string bank_select;
        for (const std::string &line : lines) {
            if (line.compare(0, 9, "outb 0295") == 0)
                index = line.substr(10);
            else if (line.compare(0, 9, "outb 0296") == 0) {
                EXPECT_EQ(index, "4e") << board << ": " << line;
                bank_select = line.substr(10);
            }
        }
        EXPECT_EQ(bank_select, "80") << board;
    }
}

// The guide of the W83627DHG: configuration mode is entered, the target of agent 1 read, and left again.
TEST(Ports, SuperIOConfigurationIsEnteredAndLeft) {
    std::vector<std::string> lines;
    traced_ports("w83627dhg", &lines);
    std::vector<std::string> config;
    for (const std::string &line : lines)
        if (line.find(" 002e") != std::string::npos || line.find(" 002f") != std::string::npos)
            config.push_back(line);
    const std::vector<std::string> expected = {"outb 002e 87", "outb 002e 87", "outb 002e 07", "outb 002f 0c",
                                               "outb 002e e1", "inb 002f 64",  "outb 002e aa", "outb 002e 87",
                                               "outb 002e 87", "outb 002e 07", "outb 002f 0c", "outb 002e e2",
                                               "inb 002f 64",  "outb 002e aa"};
    EXPECT_EQ(config, expected);
}

static run_result run_refused(const std::string &refused, std::string *trace) {
    run_result result;
    std::string toml = shipped("w83627dhg") + "[refused]\n" + refused;
    *trace = text_of(trace_of({make_board(toml, nullptr), "-t"}, &result));
    return result;
}

static const char *const NO_IOPL = "Error: Could not iopl()!\n";
static const char *const NO_INDEX = "Error: Could not ioperm() Index Register!\n";
static const char *const NO_DATA = "Error: Could not ioperm() Data Register!\n";

TEST(Ports, AKernelThatRefusesAllPortsGivesFailedReadings) {
    for (const char *error : {"EPERM", "ENOSYS"}) { // locked down; built without them
        std::string e = std::string("\"") + error + "\"\n";
        std::string trace;
        run_result result = run_refused(
            "iopl = " + e + "0xA15 = " + e + "0xA16 = " + e + "0x2E = " + e + "0x2F = " + e, &trace);
        EXPECT_EQ(result.err, std::string(NO_IOPL) + NO_INDEX + NO_DATA);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(count_of(result.out, "        N/A   Warning!\n"), 16); // every item of the board
        EXPECT_EQ(count_of(trace, "inb"), 0) << trace;
        EXPECT_EQ(count_of(trace, "outb"), count_of(trace, " refused\n")) << trace;
    }
}

TEST(Ports, WithoutIoplTheGrantedPortsAreStillRead) {
    std::string trace;
    run_result result = run_refused("iopl = \"EPERM\"\n", &trace);
    EXPECT_EQ(result.err, NO_IOPL);
    EXPECT_EQ(result.out, file_contents(BOARDS "/w83627dhg/expect/report.txt"));
}

TEST(Ports, AMissingIndexOrDataPortFailsTheReadings) {
    std::string trace;
    run_result result = run_refused("iopl = \"EPERM\"\n0xA15 = \"EPERM\"\n", &trace);
    EXPECT_EQ(result.err, std::string(NO_IOPL) + NO_INDEX);
    EXPECT_EQ(count_of(result.out, "        N/A   Warning!\n"), 16);
    EXPECT_EQ(count_of(trace, "outb 0a16"),
              0); // nothing is written to a data port whose index could not be set

    result = run_refused("iopl = \"EPERM\"\n0xA16 = \"EPERM\"\n", &trace);
    EXPECT_EQ(result.err, std::string(NO_IOPL) + NO_DATA);
    EXPECT_EQ(count_of(result.out, "        N/A   Warning!\n"), 16);
}

TEST(Ports, AnAccessThatNobodyAnswersIsLoudAndFailsAStrictRun) {
    std::string configuration = "[System]\nBUSTYPE=2\nINDEXREG=295\nDATAREG=296\n[Item]\nITEM_NAME=Lost\n"
                                "ITEM_CAT=TEMP\nBUSTYPE=2\nCHIPCODE=2\nSLAVE=0\nOFFSET=27\nMONITOR=TRUE\n";
    std::string board = make_board(THE_MAKER, &configuration);
    run_result result = run_virtual({board, "-t"});
    EXPECT_EQ(result.status, 99);
    EXPECT_NE(result.err.find("kestrel-virtual: nothing on this board answers outb 0295 4e\n"),
              std::string::npos);
    std::string absent =
        make_board(changed(THE_MAKER, "absent = [", "absent = [0x295, 0x296, "), &configuration);
    result = run_virtual({absent, "-t"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err.find("kestrel-virtual"), std::string::npos) << result.err;
}
