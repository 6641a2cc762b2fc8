#include "alert/system_log.h"

#include <gtest/gtest.h>
#include <string>

#include "support/os_test.h"

// The door logs "syslog IDENTITY OPTIONS FACILITY PRIORITY MESSAGE"; LOG_PID is 1, the default facility 0.

TEST(LogInSysLog, WritesOneMessageUnderTheIdentity) {
    test_door::reset();
    logInSysLog(4, "Correct wrong bank select register, 0x%02x, of chipcode[%d] from bank (%d).", 0x4E, 2, 3);
    EXPECT_EQ(test_door::take_log(),
              "syslog kes2 1 0 4 Correct wrong bank select register, 0x4e, of chipcode[2] from bank (3).\n");
}

TEST(LogInSysLog, PassesThePriorityOn) {
    for (int priority = 0; priority < 8; priority++) {
        test_door::reset();
        logInSysLog(priority, "text");
        EXPECT_EQ(test_door::take_log(), "syslog kes2 1 0 " + std::to_string(priority) + " text\n");
    }
}

TEST(LogInSysLog, FormatsItsArgumentsOnce) {
    test_door::reset();
    logInSysLog(4, "%s at 100%%", "%d%s%n");
    EXPECT_EQ(test_door::take_log(), "syslog kes2 1 0 4 %d%s%n at 100%\n");
}

TEST(LogInSysLog, EmptyMessageIsLogged) {
    test_door::reset();
    logInSysLog(4, "%s", "");
    EXPECT_EQ(test_door::take_log(), "syslog kes2 1 0 4 \n");
}

// A buffer of 256 bytes holds 255 and the terminator.
TEST(LogInSysLog, CutsAt255BytesOnAWholeCharacter) {
    const struct {
        size_t letters;
        const char *end;
        size_t letters_kept;
        const char *end_kept;
    } rows[] = {
        {254, "", 254, ""},
        {255, "", 255, ""},
        {256, "", 255, ""},
        {900, "", 255, ""},
        {1023, "", 255, ""},
        {1024, "", 255, ""},
        {20000, "", 255, ""},
        {253, "\xC3\xA9", 253, "\xC3\xA9"},
        {254, "\xC3\xA9", 254, ""},
        {252, "\xE2\x82\xAC", 252, "\xE2\x82\xAC"},
        {253, "\xE2\x82\xAC", 253, ""},
        {254, "\xE2\x82\xAC", 254, ""},
        {251, "\xF0\x9F\x98\x80", 251, "\xF0\x9F\x98\x80"},
        {252, "\xF0\x9F\x98\x80", 252, ""},
        {253, "\xF0\x9F\x98\x80", 253, ""},
        {254, "\xF0\x9F\x98\x80", 254, ""},
        {252, "\xE2\x82\xACmore", 252, "\xE2\x82\xAC"},
    };
    for (const auto &row : rows) {
        test_door::reset();
        logInSysLog(4, "%s%s", std::string(row.letters, 'a').c_str(), row.end);
        std::string expected =
            "syslog kes2 1 0 4 " + std::string(row.letters_kept, 'a') + row.end_kept + "\n";
        EXPECT_EQ(test_door::take_log(), expected) << row.letters << " letters and " << row.end;
    }
}

// Whether a correction is worth a line is its caller's question; the switch starts on.
TEST(LogInSysLog, SwitchStartsOnAndIsNotAskedHere) {
    EXPECT_EQ(bUseSysLog, 1u);
    test_door::reset();
    bUseSysLog = 0;
    logInSysLog(4, "text");
    bUseSysLog = 1;
    EXPECT_EQ(test_door::take_log(), "syslog kes2 1 0 4 text\n");
}
