#include "config/ini_write.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "config/ini_read.h"
#include "config/name_index.h"
#include "config/records.h"
#include "support/os_test.h"

static std::vector<item_record> items_monitored(const std::vector<uint32_t> &monitors) {
    std::vector<item_record> items(monitors.size());
    for (size_t i = 0; i < monitors.size(); i++)
        items[i].Monitor = monitors[i];
    return items;
}

// Lets `rewrite` loose on a file of `contents`, checks the copy and gives back the new file.
static std::string file_after(const std::string &contents, const std::function<ini_write_result()> &rewrite) {
    test_door::reset();
    test_door::put_file("/etc/Kestrel.ini", contents);
    test_door::put_file("/etc/Kestrel.ini.old", "stale");
    EXPECT_EQ(rewrite().failure, INI_WRITTEN) << contents;
    EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), contents);
    return test_door::file("/etc/Kestrel.ini");
}

static std::string rewritten(const std::string &contents, const std::vector<uint32_t> &monitors) {
    std::vector<item_record> items = items_monitored(monitors);
    return file_after(contents, [&items] {
        return rewrite_monitor_lines(items.data(), static_cast<int32_t>(items.size()));
    });
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

// Each line is in the section of one item that is not monitored.
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
    EXPECT_FALSE(test_door::has_file("/etc/Kestrel.ini.old.new"));
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

TEST(RewriteMonitorLines, OldFileThatCannotBeOpenedLeavesTheFile) {
    ini_write_result result = rewrite_with_failure("fopen", 1);
    EXPECT_EQ(result.failure, INI_NOT_OPENED);
    EXPECT_STREQ(result.path, "/etc/Kestrel.ini.old");
    EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), WHOLE);
}

TEST(RewriteMonitorLines, NewFileThatCannotBeCreatedLeavesTheFile) {
    for (const char *call : {"create", "mode", "owner"}) {
        ini_write_result result = rewrite_with_failure(call, 1);
        EXPECT_EQ(result.failure, INI_NOT_OPENED) << call;
        EXPECT_STREQ(result.path, "/etc/Kestrel.ini") << call;
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), WHOLE) << call;
    }
}

// The old file is closed first. It was only read: the new one is complete all the same.
TEST(RewriteMonitorLines, OldFileThatCannotBeClosedIsNamed) {
    ini_write_result result = rewrite_with_failure("fclose", 1);
    EXPECT_EQ(result.failure, INI_NOT_CLOSED);
    EXPECT_STREQ(result.path, "/etc/Kestrel.ini.old");
    EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), WHOLE);
    EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), "[Item]\nITEM_NAME=Fan1\nMONITOR=FALSE\n");
}

// What could not be written to the end never gets the file's name, and does not stay.
TEST(RewriteMonitorLines, NewFileThatCannotBeFinishedLeavesTheFile) {
    const struct {
        const char *call;
        int nth;
    } rows[] = {{"fsync", 1}, {"fclose", 2}, {"rename", 2}};
    for (const auto &row : rows) {
        ini_write_result result = rewrite_with_failure(row.call, row.nth);
        EXPECT_EQ(result.failure, INI_NOT_CLOSED) << row.call;
        EXPECT_STREQ(result.path, "/etc/Kestrel.ini") << row.call;
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), WHOLE) << row.call;
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), WHOLE) << row.call;
        EXPECT_FALSE(test_door::has_file("/etc/Kestrel.ini.new")) << row.call;
    }
}

// Where a file cannot have two names it was moved away: when even the way back fails, the contents are still
// complete in the copy.
TEST(RewriteMonitorLines, FailedWayBackKeepsTheCopy) {
    const struct {
        const char *call;
        int nth;
    } rows[] = {{"fopen", 1}, {"create", 1}, {"fsync", 1}, {"fclose", 2}};
    for (const auto &row : rows) {
        test_door::reset();
        test_door::put_file("/etc/Kestrel.ini", WHOLE);
        test_door::fail_call("link", 1, EPERM);
        test_door::fail_call(row.call, row.nth, EACCES);
        test_door::fail_call("rename", 2, EACCES);
        std::vector<item_record> items = items_monitored({0});
        EXPECT_NE(rewrite_monitor_lines(items.data(), 1).failure, INI_WRITTEN) << row.call << ' ' << row.nth;
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), WHOLE) << row.call << ' ' << row.nth;
    }
}

// ---- Saving

// What every save below writes: no value occurs twice.
static system_settings new_settings() {
    system_settings system = {};
    system.Polling = 30;
    strcpy(system.PagerId, "pager");
    strcpy(system.Outline, "9");
    strcpy(system.PhoneNumber, "555 1234");
    strcpy(system.MachineName, "rack 7");
    strcpy(system.MailServer, "mail.local");
    strcpy(system.ServerPort, "2525");
    strcpy(system.MailBox, "root@localhost admin@example.com");
    system.PagerAlert = 1;
    system.MailAlert = 0;
    return system;
}

static std::string with_items_page(const std::string &contents, const system_settings &system,
                                   const std::vector<uint32_t> &monitors) {
    std::vector<item_record> items = items_monitored(monitors);
    return file_after(contents, [&] {
        return rewrite_items_page(&system, items.data(), static_cast<int32_t>(items.size()));
    });
}

static std::string with_items_page(const std::string &contents, const std::vector<uint32_t> &monitors) {
    return with_items_page(contents, new_settings(), monitors);
}

static std::string with_alert_page(const std::string &contents, const system_settings &system) {
    return file_after(contents, [&system] { return rewrite_alert_page(&system); });
}

static std::string with_alert_page(const std::string &contents) {
    return with_alert_page(contents, new_settings());
}

static const char *const BEFORE_SAVING = "; of this machine=5\n"
                                         "POLLING=1\n"
                                         "\n"
                                         "[System]\n"
                                         "BUSTYPE=0x2\n"
                                         "polling=5\n"
                                         "PAGERID=\n"
                                         "OutLine=1\n"
                                         "PHONENUMBER=0\n"
                                         "\n"
                                         "MACHINENAME=none\n"
                                         "Unknown=POLLING=5\n"
                                         "MAILSERVER=old\n"
                                         "SERVERPORT=25\n"
                                         "MAILBOX=nobody\n"
                                         "PAGERALERT=FALSE\n"
                                         "mailalert=true\n"
                                         "no setting\n"
                                         "\n"
                                         "[Item]\n"
                                         "ITEM_NAME=Fan1\n"
                                         "MONITOR=TRUE\n"
                                         "POLLING=5\n"
                                         "\n"
                                         "[Item]\n"
                                         "monitor=FALSE\n"
                                         "MAILBOX=nobody\n"
                                         "ITEM_NAME=Fan2\n"
                                         "\n"
                                         "[Parameter]\n"
                                         "PARAMETER=Divisor1\n"
                                         "MONITOR=TRUE\n"
                                         "MAILALERT=TRUE";

TEST(RewriteItemsPage, ReplacesIntervalAndMonitorLines) {
    EXPECT_EQ(with_items_page(BEFORE_SAVING, {0, 1}), "; of this machine=5\n"
                                                      "POLLING=1\n"
                                                      "\n"
                                                      "[System]\n"
                                                      "BUSTYPE=0x2\n"
                                                      "polling=30\n"
                                                      "PAGERID=\n"
                                                      "OutLine=1\n"
                                                      "PHONENUMBER=0\n"
                                                      "\n"
                                                      "MACHINENAME=none\n"
                                                      "Unknown=POLLING=5\n"
                                                      "MAILSERVER=old\n"
                                                      "SERVERPORT=25\n"
                                                      "MAILBOX=nobody\n"
                                                      "PAGERALERT=FALSE\n"
                                                      "mailalert=true\n"
                                                      "no setting\n"
                                                      "\n"
                                                      "[Item]\n"
                                                      "ITEM_NAME=Fan1\n"
                                                      "MONITOR=FALSE\n"
                                                      "POLLING=5\n"
                                                      "\n"
                                                      "[Item]\n"
                                                      "monitor=TRUE\n"
                                                      "MAILBOX=nobody\n"
                                                      "ITEM_NAME=Fan2\n"
                                                      "\n"
                                                      "[Parameter]\n"
                                                      "PARAMETER=Divisor1\n"
                                                      "MONITOR=TRUE\n"
                                                      "MAILALERT=TRUE");
}

TEST(RewriteAlertPage, ReplacesItsNineKeys) {
    EXPECT_EQ(with_alert_page(BEFORE_SAVING), "; of this machine=5\n"
                                              "POLLING=1\n"
                                              "\n"
                                              "[System]\n"
                                              "BUSTYPE=0x2\n"
                                              "polling=5\n"
                                              "PAGERID=pager\n"
                                              "OutLine=9\n"
                                              "PHONENUMBER=555 1234\n"
                                              "\n"
                                              "MACHINENAME=rack 7\n"
                                              "Unknown=POLLING=5\n"
                                              "MAILSERVER=mail.local\n"
                                              "SERVERPORT=2525\n"
                                              "MAILBOX=root@localhost admin@example.com\n"
                                              "PAGERALERT=TRUE\n"
                                              "mailalert=FALSE\n"
                                              "no setting\n"
                                              "\n"
                                              "[Item]\n"
                                              "ITEM_NAME=Fan1\n"
                                              "MONITOR=TRUE\n"
                                              "POLLING=5\n"
                                              "\n"
                                              "[Item]\n"
                                              "monitor=FALSE\n"
                                              "MAILBOX=nobody\n"
                                              "ITEM_NAME=Fan2\n"
                                              "\n"
                                              "[Parameter]\n"
                                              "PARAMETER=Divisor1\n"
                                              "MONITOR=TRUE\n"
                                              "MAILALERT=TRUE");
}

// ---- Keys and values

static const struct {
    const char *key;
    const char *line; // as `new_settings` has it
    const char *lower_line;
} alert_lines[] = {
    {"PAGERID", "PAGERID=pager\n", "pagerid=pager\n"},
    {"OUTLINE", "OUTLINE=9\n", "outline=9\n"},
    {"PHONENUMBER", "PHONENUMBER=555 1234\n", "phonenumber=555 1234\n"},
    {"MACHINENAME", "MACHINENAME=rack 7\n", "machinename=rack 7\n"},
    {"MAILSERVER", "MAILSERVER=mail.local\n", "mailserver=mail.local\n"},
    {"SERVERPORT", "SERVERPORT=2525\n", "serverport=2525\n"},
    {"MAILBOX", "MAILBOX=root@localhost admin@example.com\n", "mailbox=root@localhost admin@example.com\n"},
    {"PAGERALERT", "PAGERALERT=TRUE\n", "pageralert=TRUE\n"},
    {"MAILALERT", "MAILALERT=FALSE\n", "mailalert=FALSE\n"},
};

static std::string lower_case(std::string text) {
    for (char &c : text)
        c = static_cast<char>(tolower(c));
    return text;
}

TEST(RewriteAlertPage, EachKeyTakesItsOwnValue) {
    const std::string head = "[System]\n";
    for (const auto &row : alert_lines) {
        EXPECT_EQ(with_alert_page(head + row.key + "=before\n"), head + row.line) << row.key;
        EXPECT_EQ(with_alert_page(head + lower_case(row.key) + "=before\n"), head + row.lower_line)
            << row.key;
        EXPECT_EQ(with_alert_page(head + row.key + "=\n"), head + row.line) << row.key;
    }
}

// Blanks belong to the key; a key is the whole text before the first "=".
TEST(RewriteAlertPage, OtherKeysAreCopied) {
    for (const auto &row : alert_lines) {
        const std::string key = row.key;
        const std::string kept = "[System]\n" + key + " =before\n " + key + "=before\n" + key + "S=before\n" +
                                 key.substr(1) + "=before\n" + key.substr(0, key.size() - 1) + "=before\n" +
                                 key + "\n" + key + ":before\n=" + key + "\nX=" + key + "=before\n";
        EXPECT_EQ(with_alert_page(kept), kept) << key;
    }
}

TEST(RewriteAlertPage, KeysOutsideTheSystemSectionAreCopied) {
    for (const auto &row : alert_lines) {
        const std::string line = std::string(row.key) + "=before\n";
        const std::string kept =
            line + "[System]\n[Item]\n" + line + "[System]\n" + line + "[Parameter]\n" + line;
        EXPECT_EQ(with_alert_page(kept), kept) << row.key;
    }
}

TEST(RewriteAlertPage, MissingKeysAreNotAdded) {
    const std::string kept = "[System]\nBUSTYPE=0x2\n\n[Item]\nITEM_NAME=Fan1\nMONITOR=TRUE\n";
    EXPECT_EQ(with_alert_page(kept), kept);
    EXPECT_EQ(with_alert_page("[System]\nMAILSERVER=old\n"), "[System]\nMAILSERVER=mail.local\n");
}

TEST(RewriteAlertPage, LeavesTheItemsPageAlone) {
    const std::string kept = "[System]\nPOLLING=5\npolling=\n[Item]\nMONITOR=TRUE\nmonitor=x\n";
    EXPECT_EQ(with_alert_page(kept), kept);
}

TEST(RewriteAlertPage, OnlyAnAlertOfOneIsTrue) {
    for (uint32_t flag : {0u, 1u, 2u, 0xFFu, 0x80000001u, 0xFFFFFFFFu}) {
        system_settings system = {};
        system.PagerAlert = flag;
        EXPECT_EQ(with_alert_page("[System]\nPAGERALERT=x\nMAILALERT=x\n", system),
                  flag == 1 ? "[System]\nPAGERALERT=TRUE\nMAILALERT=FALSE\n"
                            : "[System]\nPAGERALERT=FALSE\nMAILALERT=FALSE\n")
            << flag;
        system = {};
        system.MailAlert = flag;
        EXPECT_EQ(with_alert_page("[System]\nPAGERALERT=x\nMAILALERT=x\n", system),
                  flag == 1 ? "[System]\nPAGERALERT=FALSE\nMAILALERT=TRUE\n"
                            : "[System]\nPAGERALERT=FALSE\nMAILALERT=FALSE\n")
            << flag;
    }
}

// The first fills the field, 99 characters: the line is longer than what a reader takes at once.
TEST(RewriteAlertPage, TextsAreWrittenAsTheyStand) {
    const std::string texts[] = {std::string(99, 'r'), "",       " a ", "a=b=c", "100% %s %n %d",
                                 "\xC3\xA9t\xC3\xA9",  "[Item]", "\\n", "\xFF",  "a\tb"};
    for (const std::string &text : texts) {
        system_settings system = {};
        strcpy(system.MailBox, text.c_str());
        EXPECT_EQ(with_alert_page("[System]\nMAILBOX=before\nSERVERPORT=25\n", system),
                  "[System]\nMAILBOX=" + text + "\nSERVERPORT=\n")
            << text;
    }
}

TEST(RewriteAlertPage, LongestTextsAreWrittenWhole) {
    system_settings system = {};
    const std::string name(39, 'n');
    const std::string port(83, 'p');
    for (char *field :
         {system.MachineName, system.MailServer, system.Outline, system.PagerId, system.PhoneNumber})
        strcpy(field, name.c_str());
    strcpy(system.ServerPort, port.c_str());
    for (const char *key : {"MACHINENAME", "MAILSERVER", "OUTLINE", "PAGERID", "PHONENUMBER"})
        EXPECT_EQ(with_alert_page("[System]\n" + std::string(key) + "=x\n", system),
                  "[System]\n" + std::string(key) + "=" + name + "\n")
            << key;
    EXPECT_EQ(with_alert_page("[System]\nSERVERPORT=x\n", system), "[System]\nSERVERPORT=" + port + "\n");
}

TEST(RewriteAlertPage, EveryLineOfAKeyIsReplaced) {
    EXPECT_EQ(with_alert_page("[System]\nOUTLINE=1\nOUTLINE=2\n\n[System]\noutline=3\n"),
              "[System]\nOUTLINE=9\nOUTLINE=9\n\n[System]\noutline=9\n");
}

// As the entry shows it: beyond 2147483647 with a sign.
TEST(RewriteItemsPage, IntervalIsWrittenInDecimal) {
    const struct {
        uint32_t polling;
        const char *line;
    } rows[] = {{0, "POLLING=0\n"},
                {1, "POLLING=1\n"},
                {10, "POLLING=10\n"},
                {300, "POLLING=300\n"},
                {2147483647, "POLLING=2147483647\n"},
                {2147483648, "POLLING=-2147483648\n"},
                {4294967291, "POLLING=-5\n"},
                {4294967295, "POLLING=-1\n"}};
    for (const auto &row : rows) {
        system_settings system = {};
        system.Polling = row.polling;
        EXPECT_EQ(with_items_page("[System]\nPOLLING=0x5\n", system, {}),
                  std::string("[System]\n") + row.line)
            << row.polling;
    }
}

TEST(RewriteItemsPage, OnlyMonitorOneIsTrue) {
    for (uint32_t monitor : {0u, 1u, 2u, 0xFFu, 0x80000001u, 0xFFFFFFFFu})
        EXPECT_EQ(with_items_page("[Item]\nMONITOR=x\n", {monitor}),
                  monitor == 1 ? "[Item]\nMONITOR=TRUE\n" : "[Item]\nMONITOR=FALSE\n")
            << monitor;
}

TEST(RewriteItemsPage, KeyDecidesAndKeepsItsCase) {
    const struct {
        const char *head;
        const char *line;
        const char *expected;
    } rows[] = {
        {"[System]\n", "POLLING=5", "POLLING=30"},
        {"[System]\n", "polling=5", "polling=30"},
        {"[System]\n", "PoLlInG=x", "PoLlInG=30"},
        {"[System]\n", "POLLING=", "POLLING=30"},
        {"[System]\n", "POLLING=a=b", "POLLING=30"},
        {"[System]\n", "POLLING= 5", "POLLING=30"},
        {"[System]\n", "POLLING = 5", "POLLING = 5"},
        {"[System]\n", " POLLING=5", " POLLING=5"},
        {"[System]\n", "POLLINGS=5", "POLLINGS=5"},
        {"[System]\n", "POLLIN=5", "POLLIN=5"},
        {"[System]\n", "POLLING", "POLLING"},
        {"[System]\n", "POLLING:5", "POLLING:5"},
        {"[System]\n", "=POLLING", "=POLLING"},
        {"[System]\n", "X=POLLING=5", "X=POLLING=5"},
        {"[System]\n", "[POLLING=5", "[POLLING=5"},
        {"[System]\n", "MAILALERT=x", "MAILALERT=x"},
        {"[System]\n", "MONITOR=TRUE", "MONITOR=TRUE"},
        {"[Item]\n", "MONITOR=TRUE", "MONITOR=FALSE"},
        {"[Item]\n", "monitor=TRUE", "monitor=FALSE"},
        {"[Item]\n", "mOnItOr=x", "mOnItOr=FALSE"},
        {"[Item]\n", "MONITOR=", "MONITOR=FALSE"},
        {"[Item]\n", "MONITOR=a=b", "MONITOR=FALSE"},
        {"[Item]\n", "MONITOR =TRUE", "MONITOR =TRUE"},
        {"[Item]\n", " MONITOR=TRUE", " MONITOR=TRUE"},
        {"[Item]\n", "MONITORS=TRUE", "MONITORS=TRUE"},
        {"[Item]\n", "MONITO=TRUE", "MONITO=TRUE"},
        {"[Item]\n", "MONITOR", "MONITOR"},
        {"[Item]\n", "X=MONITOR=TRUE", "X=MONITOR=TRUE"},
        {"[Item]\n", "POLLING=5", "POLLING=5"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(with_items_page(std::string(row.head) + row.line + "\n", {0}),
                  std::string(row.head) + row.expected + "\n")
            << row.head << row.line;
}

// ---- Sections

TEST(RewriteItemsPage, HeadsMoveBetweenTheSections) {
    const struct {
        const char *contents;
        const char *expected;
    } rows[] = {
        // no section: any head enters its section
        {"POLLING=1\nMONITOR=x\n", "POLLING=1\nMONITOR=x\n"},
        {"[Other]\nPOLLING=1\nMONITOR=x\n", "[Other]\nPOLLING=1\nMONITOR=x\n"},
        {"[Other]\n[System]\nPOLLING=1\n", "[Other]\n[System]\nPOLLING=30\n"},
        {"[Item]\nMONITOR=x\n", "[Item]\nMONITOR=TRUE\n"},
        {"[Parameter]\nPOLLING=1\nMONITOR=x\n", "[Parameter]\nPOLLING=1\nMONITOR=x\n"},
        // [System]: lasts to the items or the parameters
        {"[System]\n[System]\nPOLLING=1\n", "[System]\n[System]\nPOLLING=30\n"},
        {"[System]\n[Other]\nPOLLING=1\n", "[System]\n[Other]\nPOLLING=30\n"},
        {"[System]\n\nPOLLING=1\n", "[System]\n\nPOLLING=30\n"},
        {"[System]\n[Item]\nPOLLING=1\nMONITOR=x\n", "[System]\n[Item]\nPOLLING=1\nMONITOR=TRUE\n"},
        {"[System]\n[Parameter]\nPOLLING=1\nMONITOR=x\n", "[System]\n[Parameter]\nPOLLING=1\nMONITOR=x\n"},
        // [Item]: lasts to the parameters, even over a [System]
        {"[Item]\n[System]\nPOLLING=1\nMONITOR=x\n", "[Item]\n[System]\nPOLLING=1\nMONITOR=TRUE\n"},
        {"[Item]\n[Other]\nMONITOR=x\n", "[Item]\n[Other]\nMONITOR=TRUE\n"},
        {"[Item]\n\nMONITOR=x\n", "[Item]\n\nMONITOR=TRUE\n"},
        {"[Item]\nno setting\nMONITOR=x\n", "[Item]\nno setting\nMONITOR=TRUE\n"},
        {"[Item]\n[Parameter]\nMONITOR=x\n", "[Item]\n[Parameter]\nMONITOR=x\n"},
        // [Parameter]: lasts to the end
        {"[Parameter]\n[System]\nPOLLING=1\n", "[Parameter]\n[System]\nPOLLING=1\n"},
        {"[Parameter]\n[Item]\nMONITOR=x\n", "[Parameter]\n[Item]\nMONITOR=x\n"},
        {"[Item]\n[Parameter]\n[Item]\nMONITOR=x\n", "[Item]\n[Parameter]\n[Item]\nMONITOR=x\n"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(with_items_page(row.contents, {1, 1}), row.expected) << row.contents;
}

TEST(RewriteItemsPage, HeadsCountInAnyCase) {
    for (const char *head : {"[SYSTEM]\n", "[system]\n", "[sYsTeM]\n"})
        EXPECT_EQ(with_items_page(std::string(head) + "POLLING=1\n", {}), std::string(head) + "POLLING=30\n")
            << head;
    for (const char *head : {"[ITEM]\n", "[item]\n", "[iTeM]\n"})
        EXPECT_EQ(with_items_page(std::string(head) + "MONITOR=x\n", {1}),
                  std::string(head) + "MONITOR=TRUE\n")
            << head;
    for (const char *head : {"[PARAMETER]\n", "[parameter]\n", "[pArAmEtEr]\n"}) {
        const std::string kept = std::string("[Item]\n") + head + "MONITOR=x\n";
        EXPECT_EQ(with_items_page(kept, {1}), kept) << head;
    }
}

TEST(RewriteItemsPage, OtherBracketedLinesAreNoHeads) {
    for (const char *line : {"[System] ", " [System]", "[System]\r", "[System", "System]", "[ System ]",
                             "[System]]", "[[System]", "[Systems]", "[]"}) {
        const std::string kept = std::string(line) + "\nPOLLING=1\n";
        EXPECT_EQ(with_items_page(kept, {}), kept) << line;
    }
    for (const char *line : {"[Item] ", " [Item]", "[Item]\r", "[Items]", "[Item", "Item]"}) {
        const std::string kept = std::string(line) + "\nMONITOR=x\n";
        EXPECT_EQ(with_items_page(kept, {1}), kept) << line;
    }
    for (const char *line : {"[Parameter] ", " [Parameter]", "[Parameter]\r", "[Parameters]", "[Parameter"}) {
        const std::string start = std::string("[Item]\n") + line;
        EXPECT_EQ(with_items_page(start + "\nMONITOR=x\n", {1}), start + "\nMONITOR=TRUE\n") << line;
    }
}

// By the lines, not by the heads: the second section's line is the third, so it takes the third flag.
TEST(RewriteItemsPage, MonitorLinesAreCounted) {
    EXPECT_EQ(with_items_page("[Item]\nMONITOR=x\nMONITOR=x\n[Item]\nMONITOR=x\n", {1, 0, 1}),
              "[Item]\nMONITOR=TRUE\nMONITOR=FALSE\n[Item]\nMONITOR=TRUE\n");
    EXPECT_EQ(with_items_page("[Item]\nMONITOR=x\nMONITOR=x\n[Item]\nMONITOR=x\n", {0, 1, 0}),
              "[Item]\nMONITOR=FALSE\nMONITOR=TRUE\n[Item]\nMONITOR=FALSE\n");
    EXPECT_EQ(with_items_page("[Item]\nSLAVE=1\n[Item]\nMONITOR=x\n[Item]\nMONITOR=x\n", {1, 0, 1}),
              "[Item]\nSLAVE=1\n[Item]\nMONITOR=TRUE\n[Item]\nMONITOR=FALSE\n");
    EXPECT_EQ(with_items_page("[Item]\nMONITOR =x\nMONITOR=x\n[Other]\nmonitor=x\n", {1, 0}),
              "[Item]\nMONITOR =x\nMONITOR=TRUE\n[Other]\nmonitor=FALSE\n");
}

TEST(RewriteItemsPage, MonitorLinesBeyondTheTableAreCopied) {
    EXPECT_EQ(with_items_page("[Item]\nMONITOR=x\n[Item]\nMONITOR=y\n[Item]\nmonitor=z\n", {1}),
              "[Item]\nMONITOR=TRUE\n[Item]\nMONITOR=y\n[Item]\nmonitor=z\n");
    EXPECT_EQ(with_items_page("[System]\nPOLLING=5\n[Item]\nMONITOR=x\n", {}),
              "[System]\nPOLLING=30\n[Item]\nMONITOR=x\n");
}

// ---- Lines that are not plain

// A reader takes 79 characters at once. Every length around one and two such pieces.
static const size_t lengths[] = {76, 77, 78, 79, 80, 81, 82, 156, 157, 158, 159, 160, 237, 238, 10000};

TEST(RewriteItemsPage, LongLinesAreCopied) {
    for (size_t length : lengths) {
        const std::string line = "X=" + std::string(length - 2, 'x');
        const std::string kept =
            line + "\n[System]\n" + line + "\n" + line + "\n[Item]\n" + line + "\n[Parameter]\n" + line;
        EXPECT_EQ(with_items_page(kept, {1}), kept) << length;
        EXPECT_EQ(with_items_page(kept + "\n", {1}), kept + "\n") << length;
        EXPECT_EQ(with_alert_page(kept + "\n"), kept + "\n") << length;
    }
}

// What is left of the line belongs to the old value: it goes, whatever it looks like.
TEST(RewriteAlertPage, LongValueIsReplacedToItsEnd) {
    const std::string after = "MAILBOX=root@localhost admin@example.com";
    for (size_t length : lengths) {
        const std::string before = "MAILBOX=" + std::string(length - 8, 'x');
        EXPECT_EQ(with_alert_page("[System]\n" + before + "\nOUTLINE=1\n"),
                  "[System]\n" + after + "\nOUTLINE=9\n")
            << length;
        EXPECT_EQ(with_alert_page("[System]\n" + before), "[System]\n" + after) << length;
    }
    const std::string piece = "MAILBOX=" + std::string(71, 'x');
    for (const char *rest : {"[Item]", "[Parameter]", "OUTLINE=1", "=", "\r"})
        EXPECT_EQ(with_alert_page("[System]\n" + piece + rest + "\nOUTLINE=1\n"),
                  "[System]\n" + after + "\nOUTLINE=9\n")
            << rest;
}

TEST(RewriteItemsPage, LongValuesAreReplacedToTheirEnd) {
    const std::string tail(100, '1');
    EXPECT_EQ(
        with_items_page("[System]\nPOLLING=" + tail + "\n[Item]\nMONITOR=" + tail + "\nMONITOR=x", {1, 0}),
        "[System]\nPOLLING=30\n[Item]\nMONITOR=TRUE\nMONITOR=FALSE");
}

TEST(RewriteAlertPage, LongRecipientsCanBeSavedAgain) {
    system_settings system = new_settings();
    strcpy(system.MailBox, std::string(99, 'a').c_str());
    std::string first = with_alert_page("[System]\nMAILBOX=x\nOUTLINE=1\n", system);
    EXPECT_EQ(with_alert_page(first, system), "[System]\nMAILBOX=" + std::string(99, 'a') + "\nOUTLINE=9\n");
    EXPECT_EQ(with_alert_page(first), "[System]\nMAILBOX=root@localhost admin@example.com\nOUTLINE=9\n");
}

// What a start reads from a line: of a piece, 79 characters, what follows the "=", as far as its field takes
// it.
static const struct {
    const char *key;
    size_t room; // of the field
    char *(*field)(system_settings *system);
} texts_saved[] = {
    {"PAGERID", 39, [](system_settings *s) -> char * { return s->PagerId; }},
    {"OUTLINE", 39, [](system_settings *s) -> char * { return s->Outline; }},
    {"PHONENUMBER", 39, [](system_settings *s) -> char * { return s->PhoneNumber; }},
    {"MACHINENAME", 39, [](system_settings *s) -> char * { return s->MachineName; }},
    {"MAILSERVER", 39, [](system_settings *s) -> char * { return s->MailServer; }},
    {"SERVERPORT", 83, [](system_settings *s) -> char * { return s->ServerPort; }},
    {"MAILBOX", 99, [](system_settings *s) -> char * { return s->MailBox; }},
};

// "0123456789012..."
static std::string digits(size_t length) {
    std::string text;
    for (size_t i = 0; i < length; i++)
        text += static_cast<char>('0' + i % 10);
    return text;
}

TEST(RewriteAlertPage, TextThatNobodyEditedIsCopiedWhole) {
    for (const auto &row : texts_saved)
        for (size_t length : {0, 38, 39, 40, 68, 71, 72, 123, 10000})
            for (const char *end : {"\nX=1\n", ""}) {
                const std::string key = row.key;
                const std::string value = digits(length);
                system_settings system = {};
                strcpy(row.field(&system), value.substr(0, std::min(row.room, 79 - key.size() - 1)).c_str());
                const std::string kept = "[System]\n" + key + "=" + value + end;
                EXPECT_EQ(with_alert_page(kept, system), kept) << key << ' ' << length;
            }
}

TEST(RewriteAlertPage, TextThatWasEditedLosesItsOldEnd) {
    for (const auto &row : texts_saved)
        for (size_t length : {40, 72, 151, 10000})
            for (const char *value : {"", "0123", "9123456789012345678901234567890123456"}) {
                const std::string key = row.key;
                system_settings system = {};
                strcpy(row.field(&system), value);
                EXPECT_EQ(with_alert_page("[System]\n" + key + "=" + digits(length) + "\nX=1\n", system),
                          "[System]\n" + key + "=" + value + "\nX=1\n")
                    << key << ' ' << length;
            }
}

// A piece that is kept is a line of its own, as every other.
TEST(RewriteAlertPage, EndOfAnUneditedTextCountsAsLines) {
    system_settings system = new_settings();
    strcpy(system.MailBox, digits(71).c_str());
    const std::string piece = "[System]\nMAILBOX=" + digits(71);
    EXPECT_EQ(with_alert_page(piece + "OUTLINE=1\n", system), piece + "OUTLINE=9\n");
    EXPECT_EQ(with_alert_page(piece + "[Parameter]\nOUTLINE=1\n", system),
              piece + "[Parameter]\nOUTLINE=1\n");
}

// A piece of a line that is copied counts as a line of its own.
TEST(RewriteItemsPage, PieceThatLooksLikeAKeyOrHeadCounts) {
    const std::string piece(79, 'x');
    EXPECT_EQ(with_items_page("[System]\n" + piece + "POLLING=5\n", {}),
              "[System]\n" + piece + "POLLING=30\n");
    EXPECT_EQ(with_items_page(piece + "[Item]\nMONITOR=x\n", {1}), piece + "[Item]\nMONITOR=TRUE\n");
    EXPECT_EQ(with_items_page("[Item]\n" + piece + piece + "[Parameter]\nMONITOR=x\n", {1}),
              "[Item]\n" + piece + piece + "[Parameter]\nMONITOR=x\n");
    for (size_t length : {75, 78, 80}) { // the key is not at the start of a piece
        const std::string kept = "[System]\n" + std::string(length, 'x') + "POLLING=5\n";
        EXPECT_EQ(with_items_page(kept, {}), kept) << length;
    }
}

TEST(RewriteItemsPage, CarriageReturns) {
    const std::string x77(77, 'x');
    const struct {
        std::string contents;
        std::string expected;
    } rows[] = {
        // as heads end in one, nothing is found
        {"[System]\r\nPOLLING=5\r\n\r\n[Item]\r\nMONITOR=x\r\n",
         "[System]\r\nPOLLING=5\r\n\r\n[Item]\r\nMONITOR=x\r\n"},
        // part of the value that is replaced, kept in any other line
        {"[System]\nPOLLING=5\r\nX=1\r\n\r\n", "[System]\nPOLLING=30\nX=1\r\n\r\n"},
        {"[System]\nX=1\r2\n\r\r\nPOLLING\r=5\n", "[System]\nX=1\r2\n\r\r\nPOLLING\r=5\n"},
        // one at the very end is a line's end
        {"[System]\nX=1\r", "[System]\nX=1\n"},
        {"[System]\nX=1\r\r", "[System]\nX=1\r\n"},
        {"[System]\n\r", "[System]\n\n"},
        {"\r", "\n"},
        {"[System]\r", "[System]\n"},
        {"[System]\nPOLLING=5\r", "[System]\nPOLLING=30\n"},
        {"[Item]\nMONITOR=x\r", "[Item]\nMONITOR=TRUE\n"},
        {x77 + "\r", x77 + "\n"},
        {x77 + "xxyz\r", x77 + "xxyz\n"},
        // the 79th character of a longer line is not one
        {x77 + "x\ry\n", x77 + "x\ry\n"},
        {x77 + "x\r\n", x77 + "x\r\n"},
        {x77 + "x\r\r\n", x77 + "x\r\r\n"},
        {x77 + x77 + "xxx\ry", x77 + x77 + "xxx\ry"},
        {x77 + "\r\n", x77 + "\r\n"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(with_items_page(row.contents, {1}), row.expected) << testing::PrintToString(row.contents);
}

TEST(RewriteItemsPage, NulBytesAreCopied) {
    const std::string nul(1, '\0');
    const std::string kept = nul + "\n[System]\nX" + nul + "=1\nPOLL" + nul + "ING=5\n" + nul +
                             "POLLING=5\nX=1" + nul + "\n" + std::string(200, '\0') + "\n[Item]\nMONITOR" +
                             nul + "=x\n" + nul + nul;
    EXPECT_EQ(with_items_page(kept, {1}), kept);
    EXPECT_EQ(with_alert_page(kept), kept);
    // After the "=" they belong to the value.
    EXPECT_EQ(with_items_page("[System]\nPOLLING=5" + nul + "6\nX=1\n", {}), "[System]\nPOLLING=30\nX=1\n");
}

TEST(RewriteItemsPage, LastLineWithoutNewlineGetsNone) {
    const struct {
        const char *contents;
        const char *expected;
    } rows[] = {{"[System]\nPOLLING=5", "[System]\nPOLLING=30"},
                {"[System]\nX=5", "[System]\nX=5"},
                {"[Item]\nMONITOR=x", "[Item]\nMONITOR=TRUE"},
                {"[System]", "[System]"},
                {"x", "x"}};
    for (const auto &row : rows)
        EXPECT_EQ(with_items_page(row.contents, {1}), row.expected) << row.contents;
    EXPECT_EQ(with_alert_page("[System]\nMAILALERT=x"), "[System]\nMAILALERT=FALSE");
}

TEST(RewriteItemsPage, FilesWithoutSettingsAreCopied) {
    for (const char *kept : {"", "\n", "\n\n\n", "x", "=\n", "=", "; comment\n", "\xC3\xA9\xFF \t\n"}) {
        EXPECT_EQ(with_items_page(kept, {1}), kept) << kept;
        EXPECT_EQ(with_alert_page(kept), kept) << kept;
    }
}

// ---- Whole files

TEST(RewriteItemsPage, WritesEveryLineOfALargeFile) {
    std::string contents = "[System]\nPOLLING=5\n\n";
    std::string expected = "[System]\nPOLLING=30\n\n";
    std::vector<uint32_t> monitors;
    for (uint32_t i = 0; i < 1000; i++) {
        std::string head = "[Item]\nITEM_NAME=Item number " + std::to_string(i) + "\n";
        contents += head + "MONITOR=TRUE\n\n";
        monitors.push_back(i % 3 == 0 ? 1 : 0);
        expected += head + (i % 3 == 0 ? "MONITOR=TRUE\n\n" : "MONITOR=FALSE\n\n");
    }
    EXPECT_EQ(with_items_page(contents, monitors), expected);
}

TEST(RewriteItemsPage, PrintsNothing) {
    std::string printed;
    std::string errors = test_door::captured_stderr([&printed] {
        printed = test_door::captured_stdout([] {
            with_items_page(BEFORE_SAVING, {0, 1});
            with_alert_page(BEFORE_SAVING);
        });
    });
    EXPECT_EQ(errors + printed, "");
}

// The copy is that of the last save, also when both pages are saved.
TEST(RewriteItemsPage, CopyIsTheFileBeforeTheLastSave) {
    test_door::reset();
    test_door::put_file("/etc/Kestrel.ini", "[System]\nPOLLING=5\nOUTLINE=1\n");
    const system_settings system = new_settings();
    EXPECT_EQ(rewrite_items_page(&system, nullptr, 0).failure, INI_WRITTEN);
    EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), "[System]\nPOLLING=5\nOUTLINE=1\n");
    EXPECT_EQ(rewrite_alert_page(&system).failure, INI_WRITTEN);
    EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), "[System]\nPOLLING=30\nOUTLINE=1\n");
    EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), "[System]\nPOLLING=30\nOUTLINE=9\n");
}

// ---- What the next start loads

struct loaded_file {
    system_settings system;
    std::vector<item_record> items;
};

static loaded_file load() {
    system_settings *system = nullptr;
    item_record *items = nullptr;
    parameter_record *parameters = nullptr;
    uint32_t count = loadKestrelINI_and_getItemCount(&system, &items, &parameters);
    EXPECT_NE(count, 0xFFFFFFFF);
    if (count == 0xFFFFFFFF)
        return {};
    loaded_file loaded = {*system, {items, items + count}};
    index_names(nullptr, 0, nullptr, 0); // before the names go
    free(system);
    free(items);
    free(parameters);
    return loaded;
}

TEST(SavedFile, LoadsAsItWasSaved) {
    test_door::reset();
    test_door::put_file("/etc/Kestrel.ini", BEFORE_SAVING);
    loaded_file before = load();
    ASSERT_EQ(before.items.size(), 2u);
    system_settings system = new_settings();
    system.BusType = 2; // not of the pages: stays as it is in the file
    before.items[0].Monitor = 0;
    before.items[1].Monitor = 1;
    EXPECT_EQ(rewrite_items_page(&system, before.items.data(), 2).failure, INI_WRITTEN);
    EXPECT_EQ(rewrite_alert_page(&system).failure, INI_WRITTEN);
    loaded_file after = load();
    EXPECT_TRUE(same(after.system, system));
    ASSERT_EQ(after.items.size(), 2u);
    EXPECT_TRUE(same(after.items[0], before.items[0]));
    EXPECT_TRUE(same(after.items[1], before.items[1]));
}

// Six addresses, 131 characters in a line: what is loaded is saved, twice.
TEST(SavedFile, KeepsRecipientsNobodyEdited) {
    const std::string six = "first.administrator@example.com second.only@example.com third@example.com "
                            "fourth@example.com fifth@example.com sixth@xy.com";
    const std::string file = "[System]\nMAILBOX=" + six + "\nMAILALERT=FALSE\n\n[Item]\nITEM_NAME=Fan1\n";
    ASSERT_EQ(six.size(), 123u); // and "MAILBOX="
    test_door::reset();
    test_door::put_file("/etc/Kestrel.ini", file);
    for (int save = 0; save < 3; save++) {
        system_settings system = load().system;
        EXPECT_EQ(system.MailBox, six.substr(0, 71));
        EXPECT_EQ(rewrite_alert_page(&system).failure, INI_WRITTEN);
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), file);
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), file);
    }
}

// The window goes on with what was typed, the next start with 71 characters of it: neither save cuts it.
TEST(SavedFile, RecipientsTypedWith94CharactersStay) {
    const std::string typed = digits(94);
    test_door::reset();
    test_door::put_file("/etc/Kestrel.ini", "[System]\nMAILBOX=" + digits(123) + "\nX=1\n\n[Item]\n");
    system_settings system = load().system;
    system.MailBox[0] = 'a';
    strcpy(system.MailBox + 1, typed.c_str() + 1);
    const std::string expected = "[System]\nMAILBOX=a" + typed.substr(1) + "\nX=1\n\n[Item]\n";
    for (int save = 0; save < 4; save++) {
        EXPECT_EQ(rewrite_alert_page(&system).failure, INI_WRITTEN);
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), expected) << save;
        if (save == 1)
            system = load().system;
    }
}

// ---- Failures of a save

static const char *const CONFIGURED = "[System]\nPOLLING=5\nMAILALERT=TRUE\n\n[Item]\nITEM_NAME=Fan1\n"
                                      "MONITOR=TRUE\n\n[Parameter]\nPARAMETER=Divisor1\n";
static const char *const ITEMS_SAVED = "[System]\nPOLLING=30\nMAILALERT=TRUE\n\n[Item]\nITEM_NAME=Fan1\n"
                                       "MONITOR=FALSE\n\n[Parameter]\nPARAMETER=Divisor1\n";
static const char *const ALERT_SAVED = "[System]\nPOLLING=5\nMAILALERT=FALSE\n\n[Item]\nITEM_NAME=Fan1\n"
                                       "MONITOR=TRUE\n\n[Parameter]\nPARAMETER=Divisor1\n";

static ini_write_result save_items() {
    const system_settings system = new_settings();
    std::vector<item_record> items = items_monitored({0});
    return rewrite_items_page(&system, items.data(), 1);
}

static ini_write_result save_alert() {
    const system_settings system = new_settings();
    return rewrite_alert_page(&system);
}

static const struct {
    const char *name;
    ini_write_result (*save)();
    const char *saved;
} saves[] = {{"items page", save_items, ITEMS_SAVED}, {"alert page", save_alert, ALERT_SAVED}};

static void put_configuration() {
    test_door::reset();
    test_door::put_file("/etc/Kestrel.ini", CONFIGURED);
    test_door::put_file("/etc/Kestrel.ini.old", "stale");
}

static void expect_loads_as_configured(const std::string &what) {
    EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), CONFIGURED) << what;
    loaded_file loaded = load();
    EXPECT_EQ(loaded.system.Polling, 5u) << what;
    EXPECT_EQ(loaded.system.MailAlert, 1u) << what;
    ASSERT_EQ(loaded.items.size(), 1u) << what;
    EXPECT_EQ(loaded.items[0].Monitor, 1u) << what;
}

// Calls in their order: link and rename make the copy; open it; create the new file; read, write; close the
// copy; write the new file to the disk, close and rename it.
TEST(SaveFailure, LeavesThePreviousFileComplete) {
    const struct {
        const char *call;
        int nth;
        ini_write_failure failure;
        const char *path;
    } rows[] = {
        {"rename", 1, INI_NOT_OPENED, "/etc/Kestrel.ini.old"},
        {"fopen", 1, INI_NOT_OPENED, "/etc/Kestrel.ini.old"},
        {"mode", 1, INI_NOT_OPENED, "/etc/Kestrel.ini"},
        {"create", 1, INI_NOT_OPENED, "/etc/Kestrel.ini"},
        {"owner", 1, INI_NOT_OPENED, "/etc/Kestrel.ini"},
        {"look", 1, INI_NOT_OPENED, "/etc/Kestrel.ini.old"},
        {"fread", 1, INI_NOT_CLOSED, "/etc/Kestrel.ini"},
        {"fread", 2, INI_NOT_CLOSED, "/etc/Kestrel.ini"},
        {"fwrite", 1, INI_NOT_CLOSED, "/etc/Kestrel.ini"},
        {"fsync", 1, INI_NOT_CLOSED, "/etc/Kestrel.ini"},
        {"fclose", 2, INI_NOT_CLOSED, "/etc/Kestrel.ini"},
        {"rename", 2, INI_NOT_CLOSED, "/etc/Kestrel.ini"},
    };
    for (const auto &page : saves)
        for (const auto &row : rows)
            for (bool links : {true, false}) {
                const std::string what = std::string(page.name) + ", " + row.call + std::to_string(row.nth) +
                                         (links ? "" : ", without links");
                put_configuration();
                if (!links)
                    test_door::fail_call("link", 1, EPERM);
                test_door::fail_call(row.call, row.nth, EIO);
                ini_write_result result = page.save();
                EXPECT_EQ(result.failure, row.failure) << what;
                EXPECT_STREQ(result.path, row.path) << what;
                expect_loads_as_configured(what);
                EXPECT_FALSE(test_door::has_file("/etc/Kestrel.ini.new")) << what;
                EXPECT_FALSE(test_door::has_file("/etc/Kestrel.ini.old.new")) << what;
            }
}

// The file and its copy are one by then. The next save parts them again.
TEST(SaveFailure, DoesNotKeepTheNextSaveFromMakingItsCopy) {
    for (const auto &page : saves) {
        put_configuration();
        test_door::fail_call("fsync", 1, EIO);
        EXPECT_EQ(page.save().failure, INI_NOT_CLOSED) << page.name;
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), CONFIGURED) << page.name;
        EXPECT_EQ(page.save().failure, INI_WRITTEN) << page.name;
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), page.saved) << page.name;
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), CONFIGURED) << page.name;
        EXPECT_FALSE(test_door::has_file("/etc/Kestrel.ini.old.new")) << page.name;
    }
}

TEST(SaveFailure, FailedRenameLeavesTheCopy) {
    for (const auto &page : saves) {
        put_configuration();
        test_door::fail_call("rename", 1, EACCES);
        EXPECT_EQ(page.save().failure, INI_NOT_OPENED) << page.name;
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), "stale") << page.name;
    }
}

// A disk that runs full in the middle, and has room again at the end: what comes after the gap does not
// count.
TEST(SaveFailure, GapInALargeFileIsNoticed) {
    std::string large = CONFIGURED;
    for (int i = 0; i < 5000; i++)
        large += "PARAMETER=Divisor1\n";
    for (const auto &page : saves)
        for (const char *call : {"fwrite", "fread"})
            for (int nth : {1, 2, 5}) {
                put_configuration();
                test_door::put_file("/etc/Kestrel.ini", large);
                test_door::fail_call(call, nth, ENOSPC);
                ini_write_result result = page.save();
                EXPECT_EQ(result.failure, INI_NOT_CLOSED) << page.name << ' ' << call << nth;
                EXPECT_STREQ(result.path, "/etc/Kestrel.ini") << page.name << ' ' << call << nth;
                EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), large) << page.name << ' ' << call << nth;
            }
}

// It was only read: the new file is complete all the same.
TEST(SaveFailure, OldFileThatCannotBeClosedIsNamed) {
    for (const auto &page : saves) {
        put_configuration();
        test_door::fail_call("fclose", 1, EIO);
        ini_write_result result = page.save();
        EXPECT_EQ(result.failure, INI_NOT_CLOSED) << page.name;
        EXPECT_STREQ(result.path, "/etc/Kestrel.ini.old") << page.name;
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), page.saved) << page.name;
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), CONFIGURED) << page.name;
    }
}

// The new file's failure is the one that matters, and the one that is reported.
TEST(SaveFailure, BothFilesFailing) {
    for (const auto &page : saves) {
        put_configuration();
        test_door::fail_call("fclose", 1, EIO);
        test_door::fail_call("fwrite", 1, ENOSPC);
        ini_write_result result = page.save();
        EXPECT_EQ(result.failure, INI_NOT_CLOSED) << page.name;
        EXPECT_STREQ(result.path, "/etc/Kestrel.ini") << page.name;
        expect_loads_as_configured(page.name);
    }
}

TEST(SaveFailure, FailedWayBackKeepsTheCopy) {
    const struct {
        const char *call;
        int nth;
    } rows[] = {{"fopen", 1}, {"create", 1}, {"fread", 1}, {"fwrite", 1}, {"fclose", 2}};
    for (const auto &page : saves)
        for (const auto &row : rows) {
            put_configuration();
            test_door::fail_call("link", 1, EPERM); // or there would be no way back
            test_door::fail_call(row.call, row.nth, EIO);
            test_door::fail_call("rename", 2, EIO);
            EXPECT_NE(page.save().failure, INI_WRITTEN) << page.name << ' ' << row.call << row.nth;
            EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), CONFIGURED)
                << page.name << ' ' << row.call << row.nth;
        }
}

static ptrdiff_t open_files() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST(SaveFailure, LeavesNoFileOpen) {
    const struct {
        const char *call;
        int nth;
    } rows[] = {{"none", 1},   {"link", 1},  {"owner", 1},  {"look", 1},  {"rename", 1},
                {"fopen", 1},  {"mode", 1},  {"create", 1}, {"fread", 1}, {"fwrite", 1},
                {"fclose", 1}, {"fsync", 1}, {"fclose", 2}, {"rename", 2}};
    for (const auto &page : saves)
        for (const auto &row : rows) {
            put_configuration();
            test_door::fail_call(row.call, row.nth, EIO);
            ptrdiff_t before = open_files();
            page.save();
            EXPECT_EQ(open_files(), before) << page.name << ' ' << row.call << row.nth;
        }
}

TEST(SaveFailure, DirectoryInTheCopysPlaceStopsTheSave) {
    for (const auto &page : saves) {
        test_door::reset();
        test_door::put_file("/etc/Kestrel.ini", CONFIGURED);
        std::filesystem::create_directory(test_door::real_path("/etc/Kestrel.ini.old"));
        ini_write_result result = page.save();
        EXPECT_EQ(result.failure, INI_NOT_OPENED) << page.name;
        EXPECT_STREQ(result.path, "/etc/Kestrel.ini.old") << page.name;
        expect_loads_as_configured(page.name);
        EXPECT_TRUE(std::filesystem::is_directory(test_door::real_path("/etc/Kestrel.ini.old"))) << page.name;
    }
}

// ---- How the file is replaced

// It keeps its name all the time: the copy is a second name for it, and the new file takes over the first
// one at the end.
TEST(Replacing, StepsComeInTheirOrder) {
    for (const auto &page : saves) {
        put_configuration();
        std::filesystem::permissions(test_door::real_path("/etc/Kestrel.ini"),
                                     static_cast<std::filesystem::perms>(0640));
        EXPECT_EQ(page.save().failure, INI_WRITTEN) << page.name;
        EXPECT_EQ(test_door::take_log(), "unlink /etc/Kestrel.ini.old.new\n"
                                         "link /etc/Kestrel.ini /etc/Kestrel.ini.old.new\n"
                                         "rename /etc/Kestrel.ini.old.new /etc/Kestrel.ini.old\n"
                                         "unlink /etc/Kestrel.ini.old.new\n"
                                         "create /etc/Kestrel.ini.new 0640\n"
                                         "owner /etc/Kestrel.ini.old\n"
                                         "fsync\n"
                                         "fclose\n"
                                         "rename /etc/Kestrel.ini.new /etc/Kestrel.ini\n")
            << page.name;
    }
}

TEST(Replacing, WorksWhereAFileCannotHaveTwoNames) {
    for (const auto &page : saves) {
        put_configuration();
        test_door::fail_call("link", 1, EPERM);
        EXPECT_EQ(page.save().failure, INI_WRITTEN) << page.name;
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), page.saved) << page.name;
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), CONFIGURED) << page.name;
        EXPECT_EQ(test_door::take_log().find("unlink /etc/Kestrel.ini.old.new\n"
                                             "link /etc/Kestrel.ini /etc/Kestrel.ini.old.new failed\n"
                                             "rename /etc/Kestrel.ini /etc/Kestrel.ini.old\n"
                                             "create "),
                  0u)
            << page.name;
    }
}

// Of a save that was killed.
TEST(Replacing, WhatAnEarlierOneLeftGoes) {
    for (const auto &page : saves) {
        put_configuration();
        test_door::put_file("/etc/Kestrel.ini.new", "[System]\nPOLL");
        test_door::put_file("/etc/Kestrel.ini.old.new", "[System]\nPOLLING=1\n");
        EXPECT_EQ(page.save().failure, INI_WRITTEN) << page.name;
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), page.saved) << page.name;
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), CONFIGURED) << page.name;
        EXPECT_FALSE(test_door::has_file("/etc/Kestrel.ini.new")) << page.name;
        EXPECT_FALSE(test_door::has_file("/etc/Kestrel.ini.old.new")) << page.name;
    }
}

static struct stat status_of(const char *path) {
    struct stat status = {};
    EXPECT_EQ(lstat(test_door::real_path(path).c_str(), &status), 0) << path;
    return status;
}

// root:adm with 0640 lets the group read.
TEST(Replacing, KeepsModeOwnerAndGroup) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root may give a file away";
    for (const auto &page : saves)
        for (bool links : {true, false}) {
            put_configuration();
            if (!links)
                test_door::fail_call("link", 1, EPERM);
            std::string file = test_door::real_path("/etc/Kestrel.ini");
            ASSERT_EQ(chown(file.c_str(), 65534, 4), 0);
            ASSERT_EQ(chmod(file.c_str(), 0640), 0);
            EXPECT_EQ(page.save().failure, INI_WRITTEN) << page.name;
            for (const char *path : {"/etc/Kestrel.ini", "/etc/Kestrel.ini.old"}) {
                EXPECT_EQ(status_of(path).st_uid, 65534u) << page.name << ' ' << path;
                EXPECT_EQ(status_of(path).st_gid, 4u) << page.name << ' ' << path;
            }
            EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), page.saved) << page.name;
        }
}

// ---- A configuration that is a link. Whoever runs the test takes root's place.

// The file is /srv/boards/small.ini, and /etc/Kestrel.ini a link that says `target`.
static const char *const LINKED = "/srv/boards/small.ini";

static void put_link(const char *path, const std::string &target) {
    unlink(test_door::real_path(path).c_str());
    ASSERT_EQ(symlink(target.c_str(), test_door::real_path(path).c_str()), 0);
}

static void put_linked_configuration(const std::string &target = "../srv/boards/small.ini") {
    put_configuration();
    test_door::put_file(LINKED, CONFIGURED);
    put_link("/etc/Kestrel.ini", target);
}

static std::string link_target(const char *path) {
    return std::filesystem::read_symlink(test_door::real_path(path)).string();
}

static void expect_nothing_left(const std::string &what) {
    for (const char *path : {"/etc/Kestrel.ini.new", "/etc/Kestrel.ini.old.new", "/srv/boards/small.ini.new"})
        EXPECT_FALSE(test_door::has_file(path)) << what << ' ' << path;
}

TEST(LinkedConfiguration, StaysALinkAndItsFileIsReplaced) {
    for (const auto &page : saves)
        for (const char *target :
             {"../srv/boards/small.ini", "/srv/boards/small.ini", "..//./srv/../srv/boards/./small.ini",
              "../../../srv/boards/small.ini", "chain", "../here/small.ini", "/srv/relative"}) {
            const std::string what = std::string(page.name) + " " + target;
            put_linked_configuration(target);
            put_link("/etc/chain", "../srv/relative");
            put_link("/srv/relative", "boards/small.ini");
            put_link("/here", "/srv/boards");
            EXPECT_EQ(page.save().failure, INI_WRITTEN) << what;
            EXPECT_EQ(link_target("/etc/Kestrel.ini"), target) << what;
            EXPECT_EQ(test_door::file(LINKED), page.saved) << what;
            EXPECT_TRUE(S_ISREG(status_of("/etc/Kestrel.ini.old").st_mode)) << what;
            EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), CONFIGURED) << what;
            expect_nothing_left(what);
        }
}

TEST(LinkedConfiguration, CopyAndFileHaveItsModeAndOwner) {
    put_linked_configuration();
    std::string file = test_door::real_path(LINKED);
    ASSERT_EQ(chmod(file.c_str(), 0660), 0);
    bool given = chown(file.c_str(), 65534, 4) == 0;
    EXPECT_EQ(save_items().failure, INI_WRITTEN);
    EXPECT_EQ(test_door::file(LINKED), ITEMS_SAVED);
    for (const char *path : {"/etc/Kestrel.ini.old", LINKED}) {
        EXPECT_EQ(status_of(path).st_mode & 07777, 0660u) << path;
        EXPECT_EQ(status_of(path).st_uid, given ? 65534 : geteuid()) << path;
        EXPECT_EQ(status_of(path).st_gid, given ? 4 : getegid()) << path;
    }
}

// Else somebody could let root write where he may not.
TEST(LinkedConfiguration, LinkThatOthersCanLeadElsewhereIsReplacedItself) {
    static const struct {
        const char *what;
        void (*change)();
    } rows[] = {
        {"a directory of all", [] { chmod(test_door::real_path("/srv/boards").c_str(), 0757); }},
        {"a directory of a group", [] { chmod(test_door::real_path("/srv").c_str(), 0775); }},
        {"as /tmp", [] { chmod(test_door::real_path("/srv/boards").c_str(), 01777); }},
        {"/etc itself", [] { chmod(test_door::real_path("/etc").c_str(), 0777); }},
        {"somebody's directory", [] { EXPECT_EQ(chown(test_door::real_path("/srv").c_str(), 65534, 0), 0); }},
        {"somebody's link",
         [] { EXPECT_EQ(lchown(test_door::real_path("/etc/Kestrel.ini").c_str(), 65534, 0), 0); }},
        {"a second link of somebody's",
         [] {
             put_link("/etc/Kestrel.ini", "chain");
             put_link("/etc/chain", "../srv/boards/small.ini");
             EXPECT_EQ(lchown(test_door::real_path("/etc/chain").c_str(), 65534, 0), 0);
         }},
    };
    if (geteuid() != 0)
        GTEST_SKIP() << "only root may give a file away";
    for (const auto &page : saves)
        for (const auto &row : rows) {
            const std::string what = std::string(page.name) + ", " + row.what;
            put_linked_configuration();
            row.change();
            EXPECT_EQ(page.save().failure, INI_WRITTEN) << what;
            EXPECT_TRUE(S_ISREG(status_of("/etc/Kestrel.ini").st_mode)) << what;
            EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), page.saved) << what;
            EXPECT_TRUE(S_ISREG(status_of("/etc/Kestrel.ini.old").st_mode)) << what;
            EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), CONFIGURED) << what;
            EXPECT_EQ(test_door::file(LINKED), CONFIGURED) << what;
            expect_nothing_left(what);
        }
}

// The file would become its own copy.
TEST(LinkedConfiguration, LinkToAFileOfASaveIsReplacedItself) {
    for (const auto &page : saves)
        for (const char *name : {"Kestrel.ini.old", "Kestrel.ini.old.new", "Kestrel.ini.new"}) {
            put_configuration();
            test_door::put_file((std::string("/etc/") + name).c_str(), CONFIGURED);
            put_link("/etc/Kestrel.ini", name);
            EXPECT_EQ(page.save().failure, INI_WRITTEN) << name;
            EXPECT_TRUE(S_ISREG(status_of("/etc/Kestrel.ini").st_mode)) << name;
            EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), page.saved) << name;
            EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), CONFIGURED) << name;
        }
}

// The configuration is gone: it is made from the copy, where the link was.
TEST(LinkedConfiguration, LinkThatLeadsNowhereIsReplacedItself) {
    for (const auto &page : saves) {
        put_linked_configuration("nothing");
        test_door::put_file("/etc/Kestrel.ini.old", CONFIGURED);
        EXPECT_EQ(page.save().failure, INI_WRITTEN) << page.name;
        EXPECT_TRUE(S_ISREG(status_of("/etc/Kestrel.ini").st_mode)) << page.name;
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), page.saved) << page.name;
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), CONFIGURED) << page.name;
    }
}

TEST(LinkedConfiguration, LinksInACircleStopTheSave) {
    for (const auto &page : saves)
        for (const char *target : {"Kestrel.ini", "../etc/Kestrel.ini", "chain", "chain/x"}) {
            put_linked_configuration(target);
            put_link("/etc/chain", "Kestrel.ini");
            ini_write_result result = page.save();
            EXPECT_EQ(result.failure, INI_NOT_OPENED) << target;
            EXPECT_STREQ(result.path, "/etc/Kestrel.ini.old") << target;
            EXPECT_EQ(link_target("/etc/Kestrel.ini"), target);
            EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), "stale") << target;
        }
}

// Calls in their order: look at the way; open the file, create the copy, read, write, flush, close both, move
// it; open it, create the new file beside the old one, and so on.
TEST(LinkedConfiguration, FailureLeavesLinkAndFile) {
    const struct {
        const char *call;
        int nth;
        ini_write_failure failure;
        const char *path;
    } rows[] = {
        {"look", 1, INI_NOT_OPENED, "/etc/Kestrel.ini.old"},
        {"look", 2, INI_NOT_OPENED, "/etc/Kestrel.ini.old"}, // the root
        {"look", 4, INI_NOT_OPENED, "/etc/Kestrel.ini.old"}, // the link again
        {"look", 7, INI_NOT_OPENED, "/etc/Kestrel.ini.old"}, // the file
        {"read_link", 1, INI_NOT_OPENED, "/etc/Kestrel.ini.old"},
        {"fopen", 1, INI_NOT_OPENED, "/etc/Kestrel.ini.old"},
        {"mode", 1, INI_NOT_OPENED, "/etc/Kestrel.ini.old"},
        {"create", 1, INI_NOT_OPENED, "/etc/Kestrel.ini.old"},
        {"owner", 1, INI_NOT_OPENED, "/etc/Kestrel.ini.old"},
        {"fread", 1, INI_NOT_OPENED, "/etc/Kestrel.ini.old"},
        {"fwrite", 1, INI_NOT_OPENED, "/etc/Kestrel.ini.old"},
        {"fsync", 1, INI_NOT_OPENED, "/etc/Kestrel.ini.old"},
        {"fclose", 2, INI_NOT_OPENED, "/etc/Kestrel.ini.old"},
        {"rename", 1, INI_NOT_OPENED, "/etc/Kestrel.ini.old"},
        {"fopen", 2, INI_NOT_OPENED, "/etc/Kestrel.ini.old"},
        {"mode", 2, INI_NOT_OPENED, "/etc/Kestrel.ini"},
        {"create", 2, INI_NOT_OPENED, "/etc/Kestrel.ini"},
        {"owner", 2, INI_NOT_OPENED, "/etc/Kestrel.ini"},
        {"fread", 3, INI_NOT_CLOSED, "/etc/Kestrel.ini"},
        {"fwrite", 2, INI_NOT_CLOSED, "/etc/Kestrel.ini"},
        {"fsync", 2, INI_NOT_CLOSED, "/etc/Kestrel.ini"},
        {"fclose", 4, INI_NOT_CLOSED, "/etc/Kestrel.ini"},
        {"rename", 2, INI_NOT_CLOSED, "/etc/Kestrel.ini"},
    };
    for (const auto &page : saves)
        for (const auto &row : rows) {
            const std::string what = std::string(page.name) + ", " + row.call + std::to_string(row.nth);
            put_linked_configuration();
            test_door::fail_call(row.call, row.nth, EIO);
            ini_write_result result = page.save();
            EXPECT_EQ(result.failure, row.failure) << what;
            EXPECT_STREQ(result.path, row.path) << what;
            EXPECT_EQ(link_target("/etc/Kestrel.ini"), "../srv/boards/small.ini") << what;
            expect_loads_as_configured(what);
            std::string copy = test_door::file("/etc/Kestrel.ini.old");
            EXPECT_TRUE(copy == CONFIGURED || copy == "stale") << what << copy;
            expect_nothing_left(what);
        }
}

// ---- Saves without a file

TEST(SaveWithoutFile, IsMadeFromTheCopy) {
    for (const auto &page : saves) {
        test_door::reset();
        test_door::put_file("/etc/Kestrel.ini.old", CONFIGURED);
        EXPECT_EQ(page.save().failure, INI_WRITTEN) << page.name;
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), page.saved) << page.name;
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini.old"), CONFIGURED) << page.name;
    }
}

TEST(SaveWithoutFile, FailsWithoutACopyToo) {
    for (const auto &page : saves) {
        test_door::reset();
        ini_write_result result = page.save();
        EXPECT_EQ(result.failure, INI_NOT_OPENED) << page.name;
        EXPECT_STREQ(result.path, "/etc/Kestrel.ini.old") << page.name;
        EXPECT_FALSE(test_door::has_file("/etc/Kestrel.ini")) << page.name;
        EXPECT_FALSE(test_door::has_file("/etc/Kestrel.ini.old")) << page.name;
    }
}

TEST(SaveWithoutFile, FailureLosesNothing) {
    for (const auto &page : saves)
        for (const char *call : {"fread", "fwrite"}) {
            test_door::reset();
            test_door::put_file("/etc/Kestrel.ini.old", CONFIGURED);
            test_door::fail_call(call, 1, ENOSPC);
            EXPECT_EQ(page.save().failure, INI_NOT_CLOSED) << page.name << ' ' << call;
            expect_loads_as_configured(std::string(page.name) + ' ' + call);
        }
}
