#include "config/ini_write.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "support/os_test.h"

static std::vector<item_record> items_monitored(const std::vector<uint32_t> &monitors) {
    std::vector<item_record> items(monitors.size());
    for (size_t i = 0; i < monitors.size(); i++)
        items[i].Monitor = monitors[i];
    return items;
}

// Rewrites a file of `contents` for items of these flags, checks the copy and gives back the new file.
static std::string rewritten(const std::string &contents, const std::vector<uint32_t> &monitors) {
    test_door::reset();
    test_door::put_file("/etc/Kestrel.ini", contents);
    test_door::put_file("/etc/Kestrel.ini.old", "stale");
    std::vector<item_record> items = items_monitored(monitors);
    ini_write_result result = rewrite_monitor_lines(items.data(), static_cast<int32_t>(items.size()));
    EXPECT_EQ(result.failure, INI_WRITTEN) << contents;
    EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), contents);
    return test_door::file("/etc/Kestrel.ini");
}

TEST(RewriteMonitorLines, ReplacesTheMonitorLineOfEachItem) {
    EXPECT_EQ(rewritten("[System]\n"
                        "BUSTYPE=0x2\n"
                        "\n"
                        "[Item]\n"
                        "ITEM_NAME=Fan1\n"
                        "MONITOR=TRUE\n"
                        "SLAVE=0x2D\n"
                        "\n"
                        "[Item]\n"
                        "MONITOR=FALSE\n"
                        "ITEM_NAME=Fan2\n"
                        "\n"
                        "[Item]\n"
                        "ITEM_NAME=Fan3\n"
                        "MONITOR=TRUE\n"
                        "\n"
                        "[Parameter]\n"
                        "PARAMETER=Divisor1\n",
                        {0, 1, 1}),
              "[System]\n"
              "BUSTYPE=0x2\n"
              "\n"
              "[Item]\n"
              "ITEM_NAME=Fan1\n"
              "MONITOR=FALSE\n"
              "SLAVE=0x2D\n"
              "\n"
              "[Item]\n"
              "MONITOR=TRUE\n"
              "ITEM_NAME=Fan2\n"
              "\n"
              "[Item]\n"
              "ITEM_NAME=Fan3\n"
              "MONITOR=TRUE\n"
              "\n"
              "[Parameter]\n"
              "PARAMETER=Divisor1\n");
}

TEST(RewriteMonitorLines, OnlyMonitorOneIsTrue) {
    for (uint32_t monitor : {0u, 1u, 2u, 0xFFu, 0xFFFFFFFFu})
        EXPECT_EQ(rewritten("[Item]\nMONITOR=x\n", {monitor}),
                  monitor == 1 ? "[Item]\nMONITOR=TRUE\n" : "[Item]\nMONITOR=FALSE\n")
            << monitor;
}

// Each line stands in the section of one item that is not monitored.
TEST(RewriteMonitorLines, KeyDecidesAndKeepsItsCase) {
    const struct {
        const char *line;
        const char *expected;
    } rows[] = {
        {"MONITOR=TRUE", "MONITOR=FALSE"},
        {"monitor=TRUE", "monitor=FALSE"},
        {"MoNiToR=true", "MoNiToR=FALSE"},
        {"MONITOR=", "MONITOR=FALSE"},
        {"MONITOR=a=b", "MONITOR=FALSE"},
        {"MONITOR= TRUE", "MONITOR=FALSE"},
        {"MONITOR=TRUE\r", "MONITOR=FALSE"}, // the carriage return belongs to the value
        {"MONITOR =TRUE", "MONITOR =TRUE"},
        {" MONITOR=TRUE", " MONITOR=TRUE"},
        {"MONITORS=TRUE", "MONITORS=TRUE"},
        {"MONITO=TRUE", "MONITO=TRUE"},
        {"MONITOR", "MONITOR"},
        {"MONITOR:TRUE", "MONITOR:TRUE"},
        {"=MONITOR", "=MONITOR"},
        {"KEY=MONITOR=TRUE", "KEY=MONITOR=TRUE"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(rewritten(std::string("[Item]\n") + row.line + "\n", {0}),
                  std::string("[Item]\n") + row.expected + "\n")
            << row.line;
}

TEST(RewriteMonitorLines, OtherLinesStayAsTheyStand) {
    const std::string kept[] = {
        "",
        "\n\n\n",
        "no newline at the end",
        "[System]\r\nBUSTYPE=2\r\n\r\n",
        " [Item] \nMONITOR=TRUE\n", // no head, so no item's section
        "[Item]\r\nMONITOR=TRUE\r\n",
        "[Item]\nITEM_NAME=" + std::string(68, 'x') + "\n", // 78 characters
        "[Item]\nITEM_NAME=" + std::string(69, 'x') + "\n",
        "[Item]\nITEM_NAME=" + std::string(70, 'x') + "\n",
        "[Item]\nITEM_NAME=" + std::string(148, 'x') + "\nSLAVE=1\n", // 158 characters
        "[Item]\nITEM_NAME=" + std::string(10000, 'x') + "\nSLAVE=1",
        "[Item]\nITEM_NAME=a\tb  \n\xC3\xA9\xFF\n",
        std::string("[Item]\na\0b=\0\n\0\n", 15),
        std::string(200, '\0'),
    };
    for (const std::string &contents : kept)
        EXPECT_EQ(rewritten(contents, {0, 0}), contents);
}

TEST(RewriteMonitorLines, LastLineWithoutNewlineGetsNone) {
    EXPECT_EQ(rewritten("[Item]\nMONITOR=TRUE", {0}), "[Item]\nMONITOR=FALSE");
    EXPECT_EQ(rewritten("[Item]\nMONITOR=FALSE\nSLAVE=1", {1}), "[Item]\nMONITOR=TRUE\nSLAVE=1");
}

TEST(RewriteMonitorLines, OutsideItemSectionsMonitorLinesStay) {
    const std::string contents = "MONITOR=TRUE\n"
                                 "[System]\n"
                                 "MONITOR=TRUE\n"
                                 "[Parameter]\n"
                                 "MONITOR=TRUE\n"
                                 "[Item]\n"
                                 "SLAVE=1\n"
                                 "[System]\n"
                                 "MONITOR=TRUE\n"
                                 "[Item]\n"
                                 "SLAVE=1\n"
                                 "[parameter]\n"
                                 "\n"
                                 "MONITOR=TRUE\n";
    EXPECT_EQ(rewritten(contents, {0, 0}), contents);
}

// Only the three heads change the section: neither a blank line nor another bracketed line does.
TEST(RewriteMonitorLines, SectionLastsToTheNextHead) {
    EXPECT_EQ(rewritten("[Item]\nSLAVE=1\n\nMONITOR=TRUE\n", {0}), "[Item]\nSLAVE=1\n\nMONITOR=FALSE\n");
    EXPECT_EQ(rewritten("[Item]\n[Other]\nMONITOR=TRUE\n", {0}), "[Item]\n[Other]\nMONITOR=FALSE\n");
    EXPECT_EQ(rewritten("[Item]\nMONITOR=TRUE\nMONITOR=TRUE\n", {0}),
              "[Item]\nMONITOR=FALSE\nMONITOR=FALSE\n");
}

TEST(RewriteMonitorLines, HeadsCountInAnyCase) {
    EXPECT_EQ(rewritten("[ITEM]\nMONITOR=TRUE\n[item]\nMONITOR=TRUE\n[iTeM]\nMONITOR=TRUE\n", {0, 1, 0}),
              "[ITEM]\nMONITOR=FALSE\n[item]\nMONITOR=TRUE\n[iTeM]\nMONITOR=FALSE\n");
}

TEST(RewriteMonitorLines, ItemWithoutMonitorLineGetsNone) {
    EXPECT_EQ(rewritten("[Item]\nSLAVE=1\n[Item]\nMONITOR=TRUE\n", {1, 0}),
              "[Item]\nSLAVE=1\n[Item]\nMONITOR=FALSE\n");
}

TEST(RewriteMonitorLines, SectionsBeyondTheTableAreCopied) {
    EXPECT_EQ(rewritten("[Item]\nMONITOR=TRUE\n[Item]\nMONITOR=TRUE\n[Item]\nMONITOR=TRUE\n", {0}),
              "[Item]\nMONITOR=FALSE\n[Item]\nMONITOR=TRUE\n[Item]\nMONITOR=TRUE\n");
    EXPECT_EQ(rewritten("[Item]\nMONITOR=TRUE\n", {}), "[Item]\nMONITOR=TRUE\n");
}

TEST(RewriteMonitorLines, PrintsNothing) {
    std::string errors = test_door::captured_stderr(
        [] { EXPECT_EQ(test_door::captured_stdout([] { rewritten("[Item]\nMONITOR=TRUE\n", {0}); }), ""); });
    EXPECT_EQ(errors, "");
}

TEST(RewriteMonitorLines, WritesEveryLineOfALargeFile) {
    std::string contents;
    std::string expected;
    std::vector<uint32_t> monitors;
    for (uint32_t i = 0; i < 1000; i++) {
        std::string head = "[Item]\nITEM_NAME=Item number " + std::to_string(i) + "\n";
        contents += head + "MONITOR=TRUE\n\n";
        monitors.push_back(i % 3 == 0 ? 1 : 0);
        expected += head + (i % 3 == 0 ? "MONITOR=TRUE\n\n" : "MONITOR=FALSE\n\n");
    }
    EXPECT_EQ(rewritten(contents, monitors), expected);
}

// Failures. The file below is what must survive; "stale" is an older copy, which must never take its place.

static const std::string WHOLE = "[Item]\nITEM_NAME=Fan1\nMONITOR=TRUE\n";

static ini_write_result rewrite_with_failure(const char *call, int nth) {
    test_door::reset();
    test_door::put_file("/etc/Kestrel.ini", WHOLE);
    test_door::put_file("/etc/Kestrel.ini.old", "stale");
    test_door::fail_call(call, nth, EACCES);
    std::vector<item_record> items = items_monitored({0});
    return rewrite_monitor_lines(items.data(), 1);
}

TEST(RewriteMonitorLines, FailedRenameLeavesBothFiles) {
    ini_write_result result = rewrite_with_failure("rename", 1);
    EXPECT_EQ(result.failure, INI_NOT_OPENED);
    EXPECT_STREQ(result.path, "/etc/Kestrel.ini.old");
    EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), WHOLE);
    EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), "stale");
}

TEST(RewriteMonitorLines, MissingFileIsNotMadeFromAnOlderCopy) {
    test_door::reset();
    test_door::put_file("/etc/Kestrel.ini.old", "stale");
    std::vector<item_record> items = items_monitored({0});
    ini_write_result result = rewrite_monitor_lines(items.data(), 1);
    EXPECT_EQ(result.failure, INI_NOT_OPENED);
    EXPECT_STREQ(result.path, "/etc/Kestrel.ini.old");
    EXPECT_FALSE(test_door::has_file("/etc/Kestrel.ini"));
    EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), "stale");
}

TEST(RewriteMonitorLines, OldFileThatCannotBeOpenedGoesBack) {
    ini_write_result result = rewrite_with_failure("fopen", 1);
    EXPECT_EQ(result.failure, INI_NOT_OPENED);
    EXPECT_STREQ(result.path, "/etc/Kestrel.ini.old");
    EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), WHOLE);
}

TEST(RewriteMonitorLines, NewFileThatCannotBeOpenedGivesWayToTheOld) {
    ini_write_result result = rewrite_with_failure("fopen", 2);
    EXPECT_EQ(result.failure, INI_NOT_OPENED);
    EXPECT_STREQ(result.path, "/etc/Kestrel.ini");
    EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), WHOLE);
}

// The old file is closed first. It was only read: the new one is whole all the same.
TEST(RewriteMonitorLines, OldFileThatCannotBeClosedIsNamed) {
    ini_write_result result = rewrite_with_failure("fclose", 1);
    EXPECT_EQ(result.failure, INI_NOT_CLOSED);
    EXPECT_STREQ(result.path, "/etc/Kestrel.ini.old");
    EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), WHOLE);
    EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), "[Item]\nITEM_NAME=Fan1\nMONITOR=FALSE\n");
}

// What could not be written to the end does not stay.
TEST(RewriteMonitorLines, NewFileThatCannotBeClosedGivesWayToTheOld) {
    ini_write_result result = rewrite_with_failure("fclose", 2);
    EXPECT_EQ(result.failure, INI_NOT_CLOSED);
    EXPECT_STREQ(result.path, "/etc/Kestrel.ini");
    EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), WHOLE);
}

// When even the way back fails, the contents are still complete in the copy.
TEST(RewriteMonitorLines, FailedWayBackKeepsTheCopy) {
    const struct {
        const char *call;
        int nth;
    } rows[] = {{"fopen", 1}, {"fopen", 2}, {"fclose", 2}};
    for (const auto &row : rows) {
        test_door::reset();
        test_door::put_file("/etc/Kestrel.ini", WHOLE);
        test_door::fail_call(row.call, row.nth, EACCES);
        test_door::fail_call("rename", 2, EACCES);
        std::vector<item_record> items = items_monitored({0});
        EXPECT_NE(rewrite_monitor_lines(items.data(), 1).failure, INI_WRITTEN) << row.call << ' ' << row.nth;
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), WHOLE) << row.call << ' ' << row.nth;
    }
}
