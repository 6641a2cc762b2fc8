// Start-up: the root check, the configuration, the order of steps, every message and exit status.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "boards.h"

TEST(StartUp, OnlyRootMayRunIt) {
    run_result result = run_virtual({"--uid", "1000", "w83627hf", "-t"});
    EXPECT_EQ(result.out, BANNER + "Error: Can only be run as root.\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 255);
}

TEST(StartUp, TheBoardSaysWhoRunsIt) {
    std::string configuration = "[Item]\n";
    std::string board = make_board("uid = 33\n" + THE_MAKER, &configuration);
    EXPECT_EQ(run_virtual({board, "-t"}).out, BANNER + "Error: Can only be run as root.\n");
}

TEST(StartUp, AnExistingConfigurationIsUsedOnAnyBoardAndNothingIsHidden) {
    // The fan reads 0 rpm with a limit of 0: a generated configuration would have hidden it.
    std::string configuration = "[System]\nBUSTYPE=2\nINDEXREG=295\nDATAREG=296\n[Item]\nITEM_NAME=Idle Fan\n"
                                "ITEM_CAT=FAN\nBUSTYPE=2\nCHIPCODE=2\nSLAVE=0\nOFFSET=28\nMONITOR=TRUE\n"
                                "PARAINDEX1=Divisor1\nPARAINDEX2=FAN1H\n"
                                "[Parameter]\nPARAMETER=Divisor1\nSLAVE=0\nOFFSET=47\nBITMASK=30\n"
                                "[Parameter]\nPARAMETER=FAN1H\nSLAVE=0\nOFFSET=3B\n";
    std::string somebody = changed(THE_MAKER, "\"Brigantine\"", "\"Somebody\"");
    std::string board = make_board(somebody + "[[monitor]]\nindex = 0x295\ndata = 0x296\n"
                                              "[monitor.common]\n0x28 = 255\n0x3B = 255\n0x47 = 0\n",
                                   &configuration);
    std::string kept = scratch_directory() + "/kept";
    run_result result = run_virtual({"--keep", kept, board, "-t"});
    EXPECT_NE(result.out.find("Idle Fan                                      0          0   Warning!\n"),
              std::string::npos)
        << result.out;
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(file_contents(kept + "/etc/Kestrel.ini"), configuration);
    EXPECT_EQ(file_contents(kept + "/etc/Kestrel.ini.old"), "");
}

// Only bit 0 of the bus types asks for an adapter; without one the first transfer ends the run.
TEST(StartUp, AHostControllerWithoutABusListEndsAtTheFirstTransfer) {
    std::string configuration = "[System]\nBUSTYPE=8\n[Item]\nITEM_NAME=x\nITEM_CAT=TEMP\nBUSTYPE=8\n"
                                "CHIPCODE=0\nSLAVE=2d\nOFFSET=27\nMONITOR=TRUE\n";
    std::string toml = changed(THE_MAKER, "[dmi]", "include = [\"i801.toml\"]\n[dmi]");
    run_result result;
    std::vector<std::string> trace = trace_of({make_board(toml, &configuration), "-t"}, &result);
    EXPECT_EQ(result.out, BANNER);
    // Of the two limits' empty names no record is found.
    EXPECT_EQ(result.err, "Error: Parameter is not found.\nError: Parameter is not found.\n"
                          "Error: Cannot find a proper I2C/SMBus device!\n");
    EXPECT_EQ(result.status, 255);
    EXPECT_EQ(count_of(text_of(trace), "/proc/"), 0);
}

// The bus that is taken is the one whose name ends in the controller's base.
TEST(StartUp, ABusOfAnotherControllerIsNotTaken) {
    std::string toml = shipped("chip9-nforce2") + "[files]\n\"/sys/class/i2c-dev/i2c-0/name\" = "
                                                  "\"SMBus nForce2 adapter at 2e00\\n\"\n";
    run_result result = run_virtual({make_board(toml, nullptr), "-t"});
    EXPECT_EQ(result.out, BANNER);
    EXPECT_EQ(result.err, "Error: Cannot find a proper I2C/SMBus device!\n");
    EXPECT_EQ(result.status, 255);
}

// An adapter that scan_device does not find leaves the base at 0, which no bus has.
TEST(StartUp, ABoardWithoutAKnownControllerHasNoBus) {
    std::string files = shared_file("nforce2.toml");
    files = changed(files, "0x00 = 0x036810DE", "0x00 = 0x036910DE");
    std::string toml = changed(shipped("chip9-nforce2"), "\"../../shared/nforce2.toml\"", "\"files.toml\"");
    std::string board = make_board(toml, nullptr);
    std::ofstream(board + "/files.toml") << files;
    run_result result = run_virtual({board, "-t"});
    EXPECT_EQ(result.err, "Error: Cannot find a proper I2C/SMBus device!\n");
    EXPECT_EQ(result.status, 255);
}

// Loaded drivers are not loaded again, whichever way their names are written.
TEST(StartUp, OnlyMissingDriversAreLoaded) {
    const struct {
        const char *board;
        std::string loads;
    } table[] = {
        {"w83793g-i801", "system modprobe i2c-i801 2>/dev/null\nsystem modprobe i2c-dev 2>/dev/null\n"},
        {"chip9-nforce2", "system modprobe i2c-nforce2 2>/dev/null\n"}, // i2c_dev is there
        {"w83795adg-piix4", ""},                                        // i2c_dev and i2c_piix4
        {"adm1026-amd8111", ""},                                        // i2c-dev and i2c-amd8111
        {"bmc-ob-winbond", ""},                                         // a BMC needs no module
    };
    for (const auto &row : table) {
        run_result result;
        std::string loads;
        for (const std::string &line : trace_of({row.board, "-t"}, &result))
            if (line.compare(0, 6, "system") == 0)
                loads += line + "\n";
        EXPECT_EQ(loads, row.loads) << row.board;
    }
}

TEST(StartUp, TheGraphicalModeSaysThatThereIsNoDisplay) {
    run_result result = run_virtual({"w83627hf"});
    EXPECT_EQ(result.out, BANNER);
    EXPECT_EQ(result.err, NO_DISPLAY);
    EXPECT_EQ(result.status, 255);
}

// The module is beside the program's own directory, and nowhere else.
TEST(StartUp, TheGraphicalModeSaysThatItsModuleIsMissing) {
    std::string directory = std::filesystem::canonical(scratch_directory()).string();
    std::filesystem::create_directory(directory + "/bin");
    std::filesystem::copy(KESTREL_VIRTUAL, directory + "/bin/kestrel-virtual");
    run_result result = run({directory + "/bin/kestrel-virtual", BOARDS "/lively"});
    EXPECT_EQ(result.out, BANNER);
    EXPECT_EQ(result.err, "Error: The graphical mode cannot be started: " + directory +
                              "/lib/kestrel/kestrel-gtk.so: cannot open shared object file: No such file or "
                              "directory; use -t for the text report.\n");
    EXPECT_EQ(result.status, 255);
}

TEST(StartUp, AModuleThatIsSomethingElseIsRefused) {
    std::string directory = std::filesystem::canonical(scratch_directory()).string();
    std::filesystem::create_directories(directory + "/lib/kestrel");
    std::filesystem::create_directory(directory + "/bin");
    std::filesystem::copy(KESTREL_VIRTUAL, directory + "/bin/kestrel-virtual");
    std::string module = directory + "/lib/kestrel/kestrel-gtk.so";
    std::filesystem::copy("/lib/x86_64-linux-gnu/libm.so.6", module);
    run_result result = run({directory + "/bin/kestrel-virtual", BOARDS "/lively"});
    EXPECT_EQ(result.out, BANNER);
    EXPECT_EQ(result.err, "Error: The graphical mode cannot be started: " + module +
                              ": undefined symbol: kestrel_graphical_part; use -t for the text report.\n");
    EXPECT_EQ(result.status, 255);
}

// A BMC is looked for, then the configuration, then it is loaded, then the ports are asked for, then the
// board is identified for its family, and only then a chip is touched.
TEST(StartUp, StepsComeInTheirOrder) {
    run_result result;
    std::string trace = text_of(trace_of({"w83627hf", "-t"}, &result));
    std::string expected = "open /dev/qxbmc failed\n"
                           "open /dev/ipmidev/0 failed\n"
                           "open /dev/ipmi/0 failed\n"
                           "open /dev/ipmi0 failed\n"
                           "fopen /etc/Kestrel.ini r\n"
                           "fopen /etc/Kestrel.ini r\n"
                           "iopl 3\n"
                           "ioperm 0295 1 1\n"
                           "ioperm 0296 1 1\n"
                           "open /dev/mem\n"
                           "seek f0000\n"
                           "map e0000 68\n"
                           "outb 0295 4e\n";
    EXPECT_EQ(trace.substr(0, expected.size()), expected);
}

// The options are read before anything but the BMC is touched, and root is asked for before any file.
TEST(StartUp, NothingButTheBMCComesBeforeTheOptions) {
    for (const std::vector<std::string> &options :
         {std::vector<std::string>{"-v"}, {"-h"}, {"-t"}, {"-r", "x"}}) {
        std::vector<std::string> words = {"--uid", "1000", "w83627hf"};
        words.insert(words.end(), options.begin(), options.end());
        run_result result;
        EXPECT_EQ(trace_of(words, &result),
                  (std::vector<std::string>{"open /dev/qxbmc failed", "open /dev/ipmidev/0 failed",
                                            "open /dev/ipmi/0 failed", "open /dev/ipmi0 failed"}))
            << options[0];
    }
}
