// The BMC in every state that it can be found in at the start, and what each means for the run.
#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>

#include "boards.h"

static const std::string NO_NODES = "Error: no i2c device files found. Please use mkdev.sh to create them.\n";

static std::string board_with(const std::string &board, const std::string &bmc_line) {
    return make_board(changed(shipped(board), "[bmc]\n", "[bmc]\n" + bmc_line + "\n"), nullptr);
}

// It is looked for before the command line is read, so even "-v" waits for it.
TEST(BmcStates, ASilentBMCIsWaitedForForEver) {
    for (const char *option : {"-t", "-v"}) {
        run_result result = run_virtual({board_with("bmc-ob-winbond", "silent = true"), option});
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "kestrel-virtual: the BMC never answers; kestrel would wait for ever\n");
        EXPECT_EQ(result.status, 98);
    }
}

// Without a BMC the board's own bus is wanted, which this board has not. 5 is EIO.
TEST(BmcStates, ABMCThatCannotBeAskedIsNone) {
    for (const char *line : {"send_fails = true", "receive_fails = true", "fails = true"}) {
        run_result result;
        std::vector<std::string> trace = trace_of({board_with("bmc-ob-winbond", line), "-t"}, &result);
        EXPECT_EQ(result.out, BANNER) << line;
        EXPECT_EQ(result.err, "Error: ioctl(), errno=5\n" + NO_NODES) << line;
        EXPECT_EQ(result.status, 255) << line;
        EXPECT_EQ(count_of(text_of(trace), "ipmi send"), 1) << line;
    }
}

// No kind of BMC: the board's monitor is read through its ports, the riser by the same command as every
// other slave, fan 3 by two reads for each of its three words.
TEST(BmcStates, WithoutAGUIDItIsOfNoKind) {
    std::string toml = shipped("bmc-peppercon");
    size_t guid = toml.find("guid = ");
    ASSERT_NE(guid, std::string::npos);
    toml.erase(guid, toml.find('\n', guid) - guid);
    run_result result;
    std::vector<std::string> trace = trace_of({make_board(toml, nullptr), "-t"}, &result);
    EXPECT_EQ(result.out, file_contents(BOARDS "/bmc-peppercon/expect/report.txt"));
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
    std::string text = text_of(trace);
    EXPECT_NE(text.find(" 06 37\nipmi reply c1\n"), std::string::npos);
    EXPECT_NE(text.find("outb 0295 4e\n"), std::string::npos);
    EXPECT_EQ(count_of(text, " 30 22 "), 0);
    EXPECT_EQ(count_of(text, " 30 23 "), 0);
    EXPECT_EQ(count_of(text, " 30 2c "), 0);
    EXPECT_NE(text.find(" 06 52 05 74 01 24\n"), std::string::npos); // slave 0x3A
}

// By kind: who owns the board's monitor (OEM 0x2C), how the riser's slave 0x3A (0x74 on the bus) and the
// words of fan 3 (slave 0x2F, 0x5E) are read.
TEST(BmcStates, EachKindHasItsRoutes) {
    const struct {
        const char *board;
        bool owns_monitor;
        const char *riser;
        const char *word;
    } table[] = {
        {"bmc-peppercon", false, " 30 22 05 74 01 24", " 30 23 05 5e 01 23"},
        {"bmc-ob-winbond", true, " 06 52 07 74 01 24", " 30 23 05 5e 01 23"},
        {"bmc-ao-winbond", true, " 06 52 05 74 01 24", " 30 23 05 5e 01 23"},
        {"bmc-ob-winbond-aten", true, " 06 52 07 74 01 24", " 06 52 05 5e 01 23"},
        {"bmc-renesas-ami", true, " 06 52 05 74 01 24", " 06 52 05 5e 01 23"},
        {"bmc-renesas-aten", true, " 06 52 05 74 01 24", " 06 52 05 5e 01 23"},
    };
    for (const auto &row : table) {
        run_result result;
        std::string text = text_of(trace_of({row.board, "-t"}, &result));
        EXPECT_EQ(count_of(text, " 30 2c ") > 0, row.owns_monitor) << row.board;
        EXPECT_EQ(count_of(text, "outb 0295 ") > 0, !row.owns_monitor) << row.board;
        const char *const routes[] = {" 30 22 05 74 01 24\n", " 06 52 07 74 01 24\n", " 06 52 05 74 01 24\n",
                                      " 30 23 05 5e 01 23\n", " 06 52 05 5e 01 23\n"};
        for (const std::string route : routes)
            EXPECT_EQ(count_of(text, route) > 0,
                      route == std::string(row.riser) + "\n" || route == std::string(row.word) + "\n")
                << row.board << route;
    }
}

// The first two commands of a start: Get Device ID as message 0, then the GUID.
TEST(BmcStates, ItIsOpenedBeforeTheCommandLineIsRead) {
    for (const char *option : {"-v", "-h", "nonsense"}) {
        run_result result;
        std::vector<std::string> trace = trace_of({"--uid", "1000", "bmc-ob-winbond", option}, &result);
        ASSERT_EQ(trace.size(), 8u) << option;
        EXPECT_EQ(
            std::vector<std::string>(trace.begin(), trace.begin() + 5),
            (std::vector<std::string>{"open /dev/qxbmc failed", "open /dev/ipmidev/0 failed",
                                      "open /dev/ipmi/0 failed", "open /dev/ipmi0", "ipmi send 0 06 01"}))
            << option;
        EXPECT_EQ(trace[5].find("ipmi reply 00 "), 0u) << option;
        EXPECT_NE(trace[6].find(" 06 37"), std::string::npos) << option;
        EXPECT_EQ(trace[7].find("ipmi reply 00 35 30 30 31 58 51"), 0u) << option; // "5001XQ"
        EXPECT_EQ(result.status, 0) << option;
        EXPECT_EQ(result.out.find(BANNER), 0u) << option;
    }
}

TEST(BmcStates, AnOpenIPMIDeviceMayHaveOtherNames) {
    const struct {
        const char *device;
        std::vector<std::string> opens;
    } table[] = {
        {"/dev/ipmidev/0", {"open /dev/qxbmc failed", "open /dev/ipmidev/0"}},
        {"/dev/ipmi/0", {"open /dev/qxbmc failed", "open /dev/ipmidev/0 failed", "open /dev/ipmi/0"}},
    };
    for (const auto &row : table) {
        run_result result;
        std::vector<std::string> trace = trace_of(
            {board_with("bmc-ob-winbond", std::string("device = \"") + row.device + "\""), "-v"}, &result);
        ASSERT_GT(trace.size(), row.opens.size());
        EXPECT_EQ(
            std::vector<std::string>(trace.begin(), trace.begin() + static_cast<long>(row.opens.size())),
            row.opens);
    }
}

// ---- The maker's driver

// Record of 64 bytes: flags 0, time-out 400000 µs (0x61a80), slave 0x20, command, network function, LUN, no
// data.
TEST(BmcStates, TheMakersDriverIsAskedFirst) {
    run_result result;
    std::vector<std::string> trace = trace_of({"bmc-maker", "-v"}, &result);
    ASSERT_EQ(trace.size(), 3u);
    EXPECT_EQ(trace[0], "open /dev/qxbmc");
    EXPECT_EQ(trace[1], "qxbmc 64 00 00 00 00 80 1a 06 00 20 01 06 00 00");
    EXPECT_EQ(trace[2].find("qxbmc reply 00 "), 0u);
}

// One that does not answer, cannot be asked or refuses is passed by, and with no other BMC and no bus of the
// board's own the start ends.
TEST(BmcStates, AMakersDriverThatDoesNotAnswerIsPassedBy) {
    for (const char *line :
         {"silent = true", "send_fails = true", "reply = [{ request = [0x06, 0x01], reply = [0xC1] }]"}) {
        std::string toml = changed(shipped("bmc-maker"), "[bmc]\n", std::string("[bmc]\n") + line + "\n");
        toml = "absent = [\"/dev/ipmidev/0\", \"/dev/ipmi/0\", \"/dev/ipmi0\"]\n" + toml;
        run_result result;
        std::vector<std::string> trace = trace_of({make_board(toml, nullptr), "-t"}, &result);
        EXPECT_EQ(result.out, BANNER) << line;
        EXPECT_EQ(result.err, NO_NODES) << line;
        EXPECT_EQ(result.status, 255) << line;
        EXPECT_EQ(count_of(text_of(trace), "qxbmc 64 "), 1) << line;
        EXPECT_EQ(count_of(text_of(trace), "open /dev/ipmi0 failed\n"), 1) << line;
    }
}

// Requests of 34 bytes: flags 1, time-out 1000000 µs (0xf4240), Master Write-Read of four data bytes.
TEST(BmcStates, OverTheMakersDriverAByteIsReadByMasterWriteRead) {
    run_result result;
    std::string text = text_of(trace_of({"bmc-maker", "-t"}, &result));
    EXPECT_NE(text.find("qxbmc 34 01 00 00 00 40 42 0f 00 20 52 06 00 04 05 5a 01 20\nqxbmc reply 00 64\n"),
              std::string::npos);
    // The words of the chassis fan take register 0x60 twice, and nothing else.
    EXPECT_GT(count_of(text, " 05 5a 01 60\n"), 0);
    EXPECT_EQ(count_of(text, " 05 5a 01 61\n"), 0);
    EXPECT_EQ(count_of(text, " 05 5a 01 63\n"), 0);
}

// ---- A BMC that fails later on

// Chips behind the BMC that do not answer: their items cannot be read, the others can.
TEST(BmcStates, AFailingChipBehindItFailsItsItemsOnly) {
    std::string chips =
        changed(shared_file("bmc-chips.toml"), "address = 0x3A\n", "address = 0x3A\nfails = true\n");
    std::string board =
        make_board(changed(shipped("bmc-ob-winbond"), "include = [\"../../shared/bmc-chips.toml\"]",
                           "include = [\"chips.toml\"]"),
                   nullptr);
    std::ofstream(board + "/chips.toml") << chips;
    run_result result = run_virtual({board, "-t"});
    std::vector<std::string> lines = lines_of(file_contents(BOARDS "/bmc-ob-winbond/expect/report.txt"));
    for (std::string &line : lines) { // limits that cannot be read are 0
        if (line.find("Riser +12V") == 0)
            line = "Riser +12V                      0.00       0.00        N/A   Warning!";
        if (line.find("Riser Temperature") == 0)
            line = "Riser Temperature               0/32                   N/A   Warning!";
    }
    EXPECT_EQ(result.out, text_of(lines));
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
}

// One of 81 bytes is taken off the kernel's queue: each command gets its own reply after it. EMSGSIZE is 90.
TEST(BmcStates, AReplyThatIsTooLongFailsItsItemOnly) {
    std::string reply = "0x00";
    for (int i = 1; i < 81; i++)
        reply += ", 0x00";
    std::string chips =
        changed(shared_file("bmc-chips.toml"), "reply = [0x00, 55]", "reply = [" + reply + "]");
    std::string board =
        make_board(changed(shipped("bmc-ob-winbond"), "include = [\"../../shared/bmc-chips.toml\"]",
                           "include = [\"chips.toml\"]"),
                   nullptr);
    std::ofstream(board + "/chips.toml") << chips;
    run_result result;
    std::string trace = text_of(trace_of({board, "-t"}, &result));
    std::vector<std::string> lines = lines_of(file_contents(BOARDS "/bmc-ob-winbond/expect/report.txt"));
    for (std::string &line : lines)
        if (line.find("GPU Temperature") == 0)
            line = "GPU Temperature               90/194                   N/A   Warning!";
    EXPECT_EQ(result.out, text_of(lines));
    EXPECT_EQ(result.status, 0);
    // Read once for its record and once for the report: 0, which it has so far, is below its limit.
    EXPECT_EQ(count_of(trace, " 30 70 05 01\n"), 2);
    EXPECT_EQ(count_of(trace, "ipmi cut reply 00 "), 2);
    EXPECT_EQ(result.err, "Error: ioctl(), errno=90\nError: ioctl(), errno=90\n");
}

// A closed standard stream must not be the number of a device: what is printed would be written into it.
TEST(ClosedStreams, AreNotTakenByDevices) {
    for (const char *closed : {">&-", "2>&-", "<&-", "<&- >&- 2>&-"})
        for (const char *board : {"nct7904d-i801", "bmc-maker"}) {
            std::string trace = scratch_directory() + "/trace";
            std::string command =
                std::string("exec \"$0\" --strict --trace \"$1\" ") + board + " -t " + closed;
            run_result result = run({"/bin/sh", "-c", command, KESTREL_VIRTUAL, trace});
            EXPECT_EQ(result.status, 0) << board << closed;
            EXPECT_EQ(result.out.empty(),
                      std::string(closed).find(">&-") != std::string::npos && std::string(closed) != "2>&-")
                << board << closed << result.out;
            bool by_bmc = file_contents(trace).find("\nqxbmc 64 ") != std::string::npos;
            EXPECT_EQ(by_bmc, std::string(board) == "bmc-maker") << closed;
        }
}
