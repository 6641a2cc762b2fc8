// The window opens over the door of function tests without a warning.
#include <gtest/gtest.h>

#include "support/os_test.h"
#include "support/window.h"

TEST(Window, OpensWithoutAWarning) {
    test_door::reset();
    test_window::open("[System]\nBUSTYPE=2\nINDEXREG=295\nDATAREG=296\nPOLLING=5\nMACHINENAME=Board\n\n"
                      "[Item]\nITEM_NAME=Fan 1\nITEM_CAT=FAN\nITEM_ID=F1\nBUSTYPE=2\nCHIPCODE=1C\nSLAVE=0\n"
                      "OFFSET=28\nACTIVATE=1\nMONITOR=TRUE\nPARAINDEX1=D1\nPARAINDEX2=L1\n");
    EXPECT_EQ(test_window::take_warnings(), std::vector<std::string>());
    EXPECT_EQ(test_window::text_of(test_window::widget("labelSummaryFan0")), "Fan 1");
    EXPECT_EQ(test_window::text_of(test_window::widget("entryMachineName")), "Board");
    EXPECT_TRUE(test_window::is_shown("labelSummaryFan"));
    EXPECT_FALSE(test_window::is_shown("labelSummaryVoltage"));
}
