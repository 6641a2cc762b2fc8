// Start-up: the root check, the configuration, the order of steps, every message and exit status.
#include <gtest/gtest.h>

#include "support/run.h"

static const std::string BANNER = "Kestrel II hardware-health monitor\n"
                                  "Kestrel II watches Brigantine server boards\n";

static const std::string NO_BMC =
    "absent = [\"/dev/qxbmc\", \"/dev/ipmidev/0\", \"/dev/ipmi/0\", \"/dev/ipmi0\"]\n";

TEST(StartUp, OnlyRootMayRunIt) {
    run_result result = run_virtual({"--uid", "1000", "w83627hf", "-t"});
    EXPECT_EQ(result.out, BANNER + "Error: Can only be run as root.\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 255);
}

TEST(StartUp, TheBoardSaysWhoRunsIt) {
    std::string configuration = "[Item]\n";
    std::string board = make_board("uid = 33\n" + NO_BMC, &configuration);
    EXPECT_EQ(run_virtual({board, "-t"}).out, BANNER + "Error: Can only be run as root.\n");
}

// A board that cannot be identified has no manufacturer's name.
TEST(StartUp, WithoutAConfigurationTheBoardMustBeTheMakers) {
    std::string board = make_board(NO_BMC, nullptr);
    run_result result = run_virtual({board, "-t"});
    EXPECT_EQ(result.out, BANNER);
    EXPECT_EQ(result.err, "Warn: This is not Brigantine's motherboard!\n");
    EXPECT_EQ(result.status, 255);
}

TEST(StartUp, AnExistingConfigurationIsUsedOnAnyBoardAndNothingIsHidden) {
    // The fan reads 0 rpm with a limit of 0: a generated configuration would have hidden it.
    std::string configuration = "[System]\nBUSTYPE=2\nINDEXREG=295\nDATAREG=296\n[Item]\nITEM_NAME=Idle Fan\n"
                                "ITEM_CAT=FAN\nBUSTYPE=2\nCHIPCODE=2\nSLAVE=0\nOFFSET=28\nMONITOR=TRUE\n"
                                "PARAINDEX1=Divisor1\nPARAINDEX2=FAN1H\n"
                                "[Parameter]\nPARAMETER=Divisor1\nSLAVE=0\nOFFSET=47\nBITMASK=30\n"
                                "[Parameter]\nPARAMETER=FAN1H\nSLAVE=0\nOFFSET=3B\n";
    std::string board = make_board(NO_BMC + "[[monitor]]\nindex = 0x295\ndata = 0x296\n"
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

TEST(StartUp, SMBusItemsNeedAnAdapter) {
    std::string configuration = "[System]\nBUSTYPE=1\n[Item]\nITEM_NAME=x\nITEM_CAT=FAN\n";
    std::string board = make_board(NO_BMC, &configuration);
    std::string kept = scratch_directory() + "/kept";
    run_result result = run_virtual({"--keep", kept, board, "-t"});
    EXPECT_EQ(result.out, BANNER);
    EXPECT_EQ(result.err, "Error: SMBus adapters are not supported yet.\n");
    EXPECT_EQ(result.status, 255);
    EXPECT_EQ(file_contents(kept + "/etc/Kestrel.ini"), configuration); // only a generated one is removed
}

TEST(StartUp, TheGraphicalModeSaysThatItIsNotBuilt) {
    run_result result = run_virtual({"w83627hf"});
    EXPECT_EQ(result.out, BANNER);
    EXPECT_EQ(result.err, "Error: The graphical mode is not built yet; use -t for the text report.\n");
    EXPECT_EQ(result.status, 255);
}

// The configuration is looked for, then loaded, then the ports are asked for, and only then touched.
TEST(StartUp, StepsComeInTheirOrder) {
    std::string trace = scratch_directory() + "/trace";
    run_virtual({"--trace", trace, "w83627hf", "-t"});
    std::string expected = "fopen /etc/Kestrel.ini r\n"
                           "fopen /etc/Kestrel.ini r\n"
                           "iopl 3\n"
                           "ioperm 0295 1 1\n"
                           "ioperm 0296 1 1\n"
                           "outb 0295 4e\n";
    EXPECT_EQ(file_contents(trace).substr(0, expected.size()), expected);
}
