#include "alert/mail.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>

#include "support/os_test.h"
#include "support/run.h"

#define SCRIPT "/tmp/KestrelMailAlert"
#define ASIDE SCRIPT ".a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5" // by the test's own chance
#define HEALTH "#!/bin/bash\nmail -s \"Alert: system health warning!\" "
#define E_MAIL_TEST "#!/bin/bash\nmail -s \"Alert: E-mail Test!\" "
#define INFORMATION " has the following health information:\n"

// The script that a mail leaves.
static std::string script_of(mail_kind kind, const std::string &recipients, const std::string &name,
                             const std::string &body) {
    test_door::reset();
    EXPECT_EQ(send_mail(kind, recipients.c_str(), name.c_str(), body.c_str()), MAIL_SENT);
    return test_door::file(SCRIPT);
}

// ---- The script's text

TEST(MailScript, OfAHealthMail) {
    EXPECT_EQ(script_of(HEALTH_MAIL, "root admin@example.org", "node 7",
                        "FAN1 Failed(Bad)!\nVcore OK(Good)!\nat Mon Nov 16 03:05:35 2026\n"),
              HEALTH "root admin@example.org <<EOT\n"
                     "The system 'node 7' has the following health information:\n"
                     "FAN1 Failed(Bad)!\nVcore OK(Good)!\nat Mon Nov 16 03:05:35 2026\n");
}

TEST(MailScript, OfATestMail) {
    EXPECT_EQ(script_of(TEST_MAIL, "root", "node 7", "E-mail Test!\nat Mon Nov 16 03:05:35 2026\n"),
              E_MAIL_TEST "root <<EOT\n"
                          "The system 'node 7' has the following health information:\n"
                          "E-mail Test!\nat Mon Nov 16 03:05:35 2026\n");
}

TEST(MailScript, OrdinaryNamesStandAsTheyAre) {
    for (const char *ordinary :
         {"a.b-c_d+e@x-1.org", "host:=,^%%", "M\xC3\xBCnchen \xE2\x82\xAC", "", "  two  "}) {
        std::string text = ordinary;
        EXPECT_EQ(script_of(TEST_MAIL, text, text, "x\n"),
                  E_MAIL_TEST + text + " <<EOT\nThe system '" + text + "'" INFORMATION "x\n");
    }
}

TEST(MailScript, NothingIsCutThere) {
    std::string to(5000, 'r');
    std::string name(5000, 'n');
    std::string body(200000, 'b');
    EXPECT_EQ(script_of(HEALTH_MAIL, to, name, body),
              HEALTH + to + " <<EOT\nThe system '" + name + "'" INFORMATION + body);
}

TEST(MailScript, TheNextOneTakesItsPlace) {
    script_of(HEALTH_MAIL, "root", "a longer name than the next one", "x\n");
    EXPECT_EQ(send_mail(HEALTH_MAIL, "root", "b", "y\n"), MAIL_SENT);
    EXPECT_EQ(test_door::file(SCRIPT), HEALTH "root <<EOT\nThe system 'b'" INFORMATION "y\n");
}

TEST(MailScript, WhatTheShellWouldExpandInTheTextHasABackslash) {
    const struct {
        const char *text;
        const char *written;
    } table[] = {
        {"$HOME", "\\$HOME"},
        {"$(touch X)", "\\$(touch X)"},
        {"`touch X`", "\\`touch X\\`"},
        {"C:\\", "C:\\\\"},
        {"\\$", "\\\\\\$"},
        {"; touch X | \"'<>&!#*", "; touch X | \"'<>&!#*"},
    };
    for (const auto &row : table)
        EXPECT_EQ(script_of(HEALTH_MAIL, "root", row.text, std::string(row.text) + " OK(Good)!\n"),
                  std::string(HEALTH "root <<EOT\nThe system '") + row.written + "'" INFORMATION +
                      row.written + " OK(Good)!\n");
}

TEST(MailScript, RecipientsAreWordsAndNothingElse) {
    const struct {
        const char *recipients;
        const char *written;
    } table[] = {
        {"a b", "a b"},
        {"a;b", "a\\;b"},
        {"a&b|c", "a\\&b\\|c"},
        {"<a> >b", "\\<a\\> \\>b"},
        {"(a) {b,c} [d]", "\\(a\\) \\{b,c\\} \\[d\\]"},
        {"* ? ! #a ~b", "\\* \\? \\! \\#a \\~b"},
        {"\"a\" 'b'", "\\\"a\\\" \\'b\\'"},
        {"$(a) `b` \\", "\\$\\(a\\) \\`b\\` \\\\"},
        {"a\tb\nc\rd\x01"
         "e\x7F"
         "f",
         "a b c d e f"},
    };
    for (const auto &row : table)
        EXPECT_EQ(script_of(HEALTH_MAIL, row.recipients, "n", "x\n"),
                  std::string(HEALTH) + row.written + " <<EOT\nThe system 'n'" INFORMATION "x\n")
            << row.recipients;
}

// The script's words for the recipients, and what is reported of those that are left out.
static std::string words_of(const std::string &recipients, std::string *said) {
    std::string script;
    *said = test_door::captured_stderr([&] { script = script_of(TEST_MAIL, recipients, "n", "x\n"); });
    size_t begin = strlen(E_MAIL_TEST);
    return script.substr(begin, script.find(" <<EOT") - begin);
}

static std::string left_out(const std::string &address) {
    return "Warning: The recipient \"" + address +
           "\" is left out: the mail command would take it as an order.\n";
}

TEST(MailRecipients, AnAddressIsNeverAnOrder) {
    for (const char *order :
         {"-a",    "-c",       "--",    "-",    "|touch", "|",       "/etc/x", "/",     "./a",
          "../b",  ".",        "+f",    "+",    "d/f",    "d/f@x",   "<|x>",   "a<|x>", "a@b<|x>",
          "<d/f>", "a@b<d/f>", "(a)|x", "(|x)", "(a)-x",  "file:/x", "-|/.+a"}) {
        std::string said;
        EXPECT_EQ(words_of(std::string("root ") + order + " a@b", &said), "root  a@b") << order;
        EXPECT_EQ(said, left_out(order));
        EXPECT_EQ(words_of(std::string("root,") + order, &said), "root") << order;
        EXPECT_EQ(said, left_out(order));
        EXPECT_EQ(words_of(std::string(order) + ",root\n", &said), "root ") << order;
        EXPECT_EQ(said, left_out(order));
    }
}

TEST(MailRecipients, AddressesStandAsTheyAre) {
    for (const char *address :
         {"a", "a-b", "a.b", "a+b", "a+b@c-d.e", "a@b/c", "a@[1::2]", "a,b", "a,,b", ",a,", "a@b,c@d e",
          "=a^b%c_d", "a:|b;", ">|a", "\"|a\"", "M\xC3\xBCller@x"}) {
        std::string said;
        std::string words = words_of(address, &said);
        words.erase(std::remove(words.begin(), words.end(), '\\'), words.end()); // the shell's
        EXPECT_EQ(words, address);
        EXPECT_EQ(said, "") << address;
    }
}

TEST(MailRecipients, OnlyTheOrderIsLeftOut) {
    const struct {
        const char *recipients;
        const char *words;
        std::string said;
    } table[] = {
        {"-c boss@x", " boss@x", left_out("-c")},
        {"a,|touch", "a", left_out("|touch")},
        {"b,/etc/x", "b", left_out("/etc/x")},
        {"+f a", " a", left_out("+f")},
        {"a,-b,c,+d,e", "a,c,e", left_out("-b") + left_out("+d")},
        {"a -f --b - c-d", "a    c-d", left_out("-f") + left_out("--b") + left_out("-")},
        {"a\n-f", "a ", left_out("-f")},
        {"a -\xC3\xBC", "a ", left_out("-\xC3\xBC")},
    };
    for (const auto &row : table) {
        std::string said;
        EXPECT_EQ(words_of(row.recipients, &said), row.words) << row.recipients;
        EXPECT_EQ(said, row.said) << row.recipients;
    }
}

// A pipe gets every byte of the address, a terminal nothing that it would obey.
TEST(MailRecipients, OnATerminalAnOrderIsHarmless) {
    const char *order = "-M\xC3\xBCller\xC2\x9B\xE2\x80\xAE\xFF";
    auto send = [order] { send_mail(TEST_MAIL, (std::string("a ") + order).c_str(), "n", "x\n"); };
    test_door::reset();
    EXPECT_EQ(test_door::captured_stderr(send), left_out(order));
    test_door::terminal = true;
    std::string said = test_door::captured_stderr(send);
    test_door::reset();
    EXPECT_EQ(said, left_out("-M\xC3\xBCller???"));
}

// `mail` without a recipient may take the text as orders.
TEST(MailRecipients, WhenNoneIsLeftNothingIsSent) {
    for (const char *recipients : {"-c", "|touch,/x", " -a +b ", "%s-f"}) {
        test_door::reset();
        std::string said = test_door::captured_stderr(
            [&] { EXPECT_EQ(send_mail(HEALTH_MAIL, recipients, "n", "x\n"), MAIL_NO_SCRIPT) << recipients; });
        EXPECT_EQ(said.substr(said.rfind("Warning")), "Warning: No recipient is left; no mail is sent.\n");
        EXPECT_EQ(test_door::take_log(), "") << recipients;
    }
}

TEST(MailScript, NoLineIsAnOrder) {
    const struct {
        const char *body;
        const char *written;
    } table[] = {
        {"EOT\n", " EOT\n"},
        {"EOT", " EOT"}, // a body that was cut there
        {"a\nEOT\nb\n", "a\n EOT\nb\n"},
        {"EOT\nEOT\n", " EOT\n EOT\n"},
        {"EOT Failed(Bad)!\nxEOT\nEOTx\n EOT\nEOT \neot\n",
         "EOT Failed(Bad)!\nxEOT\nEOTx\n EOT\nEOT \neot\n"},
        {"E%dOT\n", " EOT\n"},
        {"EOT%d\n", " EOT\n"},
        {"E\\OT\n", "E\\\\OT\n"},
        {".\n", " .\n"},
        {"..\n.a\n", "..\n.a\n"},
        {"~!touch X\n", " ~!touch X\n"},
        {"%s~r file\n", " ~r file\n"},
        {"a~!b\n", "a~!b\n"},
        {"\n\n", "\n\n"},
        {"", ""},
    };
    for (const auto &row : table)
        EXPECT_EQ(script_of(HEALTH_MAIL, "root", "n", row.body),
                  std::string(HEALTH "root <<EOT\nThe system 'n'" INFORMATION) + row.written)
            << row.body;
}

TEST(MailScript, AMachineNameIsOneLine) {
    EXPECT_EQ(script_of(HEALTH_MAIL, "root", "a\nEOT\ntouch X\n", "x\n"),
              HEALTH "root <<EOT\nThe system 'a EOT touch X '" INFORMATION "x\n");
}

// ---- Per-cent signs

TEST(MailConversions, AreLeftOutOfAHealthMail) {
    const struct {
        const char *body;
        const char *written;
    } table[] = {
        {"%d|", "|"},
        {"a%sb%nc|", "abc|"},
        {"%%|", "%|"},
        {"%%d|", "%d|"},
        {"%%%d%%|", "%%|"},
        {"%-+ #0'12.34hhx|", "|"},
        {"%*.*Lg|", "|"},
        {"%5.f%.3e%08X|", "|"},
        {"%hd%hhd%ld%lld%qd%jd%zd%td%LE|", "|"},
        {"%i%o%u%x%X%e%E%f%F%g%G%a%A%c%C%s%S%p%n%m|", "|"},
        {"50% off", "50ff"}, // a blank is a flag
        {"99999999999999999999%99999999999999999999d|", "99999999999999999999|"},
        // No conversion: only the sign goes.
        {"100%", "100"},
        {"%%%", "%"},
        {"%|", "|"},
        {"%\n", "\n"},
        {"%\xC3\xA9|", "\xC3\xA9|"},
        {"%y|", "y|"},
        {"%5", "5"},
        {"%-", "-"},
        {"a%.", "a."},
        {"%5.6|", "5.6|"},
        {"%l|", "l|"},
        {"%ll", "ll"},
        {"%hhhd|", "hhhd|"},
        {"%12*d|", "12*d|"},
        {"%5%d|", "5|"},
    };
    for (const auto &row : table)
        EXPECT_EQ(script_of(HEALTH_MAIL, "root", "n", row.body),
                  std::string(HEALTH "root <<EOT\nThe system 'n'" INFORMATION) + row.written)
            << row.body;
}

// The sign at a name's end begins a conversion that the text around it goes on with: "%' ha".
TEST(MailConversions, AreTakenInTheWholeText) {
    EXPECT_EQ(script_of(HEALTH_MAIL, "root", "100%", "x\n"),
              HEALTH "root <<EOT\nThe system '100s the following health information:\nx\n");
    EXPECT_EQ(script_of(HEALTH_MAIL, "root", "a%%b", "x\n"),
              HEALTH "root <<EOT\nThe system 'a%b'" INFORMATION "x\n");
    EXPECT_EQ(script_of(HEALTH_MAIL, "root", "%sa%d", "x\n"),
              HEALTH "root <<EOT\nThe system 'a'" INFORMATION "x\n");
}

// "5%" must not become "5<<EOT", which the shell would read as descriptor 5.
TEST(MailConversions, AreTakenInTheRecipients) {
    const struct {
        const char *recipients;
        const char *written;
    } table[] = {
        {"a%db", "ab"}, {"a%%b", "a%b"}, {"a%", "a"},           {"a 5%", "a 5"},
        {"%sf", "f"},   {"a% ", "a "},   {"a%`b`", "a\\`b\\`"},
    };
    for (const auto &row : table)
        EXPECT_EQ(script_of(HEALTH_MAIL, row.recipients, "n", "x\n"),
                  std::string(HEALTH) + row.written + " <<EOT\nThe system 'n'" INFORMATION "x\n")
            << row.recipients;
}

TEST(MailConversions, StandAsTextInATestMail) {
    for (const char *text : {"100%", "%d", "%%", "%s%n", "%"})
        EXPECT_EQ(script_of(TEST_MAIL, text, text, text),
                  std::string(E_MAIL_TEST) + text + " <<EOT\nThe system '" + text + "'" INFORMATION + text);
}

// ---- Writing and running

TEST(SendMail, WritesClosesAndRunsInThisOrder) {
    test_door::reset();
    EXPECT_EQ(send_mail(HEALTH_MAIL, "root", "n", "x\n"), MAIL_SENT);
    std::string script = HEALTH "root <<EOT\nThe system 'n'" INFORMATION "x\n";
    EXPECT_EQ(test_door::take_log(), "create " ASIDE " 0600\n"
                                     "fchmod 0100 " +
                                         std::to_string(script.size()) +
                                         "\n"
                                         "fclose\n"
                                         "rename " ASIDE " " SCRIPT "\n"
                                         "fork\n"
                                         "waitpid 4711\n");
}

TEST(SendMail, PrintsNothing) {
    for (const char *failing : {"", "random", "create", "write", "rename", "fork", "waitpid"}) {
        test_door::reset();
        test_door::fail_call(failing, 1, EIO);
        auto mail = [] { send_mail(TEST_MAIL, "root", "n", "x\n"); };
        EXPECT_EQ(test_door::captured_stdout(mail), "") << failing;
        EXPECT_EQ(test_door::captured_stderr(mail), "") << failing;
    }
}

TEST(SendMail, WithoutAScriptNothingIsRun) {
    test_door::reset();
    test_door::fail_call("create", 1, EEXIST);
    EXPECT_EQ(send_mail(HEALTH_MAIL, "root", "n", "x\n"), MAIL_NO_SCRIPT);
    EXPECT_EQ(test_door::take_log(), "create " ASIDE " 0600 failed\n");
}

TEST(SendMail, WithoutANameThatNobodyForeseesNothingIsWritten) {
    test_door::reset();
    test_door::fail_call("random", 1, ENOSYS);
    EXPECT_EQ(send_mail(HEALTH_MAIL, "root", "n", "x\n"), MAIL_NO_SCRIPT);
    EXPECT_EQ(test_door::take_log(), "");
}

// One that was there was somebody else's, or of the last mail.
TEST(SendMail, AScriptThatCannotBePutInItsPlaceIsRemovedAndNotRun) {
    test_door::reset();
    test_door::put_file(SCRIPT, "somebody else's");
    test_door::fail_call("rename", 1, EPERM);
    EXPECT_EQ(send_mail(HEALTH_MAIL, "root", "n", "x\n"), MAIL_NO_SCRIPT);
    std::string log = test_door::take_log();
    EXPECT_EQ(log.substr(log.find("rename")), "rename " ASIDE " " SCRIPT " failed\nunlink " ASIDE "\n");
    EXPECT_EQ(test_door::file(SCRIPT), "somebody else's");
    EXPECT_FALSE(test_door::has_file(ASIDE));
}

TEST(SendMail, ADirectoryInTheScriptsPlaceIsSaid) {
    test_door::reset();
    test_door::put_file(SCRIPT "/x", "");
    std::string said = test_door::captured_stderr(
        [] { EXPECT_EQ(send_mail(TEST_MAIL, "root", "n", "x\n"), MAIL_NO_SCRIPT); });
    EXPECT_EQ(said, "Warning: " SCRIPT " is a directory; no mail can be sent.\n");
    EXPECT_EQ(test_door::take_log().find("fork"), std::string::npos);
    EXPECT_FALSE(test_door::has_file(ASIDE));
}

// A short text fails when it is flushed, a long one while it is written.
TEST(SendMail, AScriptThatIsNotWholeIsRemovedAndNotRun) {
    const struct {
        const char *failing;
        size_t length;
    } table[] = {{"write", 10}, {"write", 100000}, {"fchmod", 10}, {"fclose", 10}};
    for (const auto &row : table) {
        test_door::reset();
        test_door::fail_call(row.failing, 1, ENOSPC);
        std::string body(row.length, 'x');
        EXPECT_EQ(send_mail(HEALTH_MAIL, "root", "n", body.c_str()), MAIL_NO_SCRIPT) << row.failing;
        std::string log = test_door::take_log();
        EXPECT_EQ(log.find("fork"), std::string::npos) << log;
        EXPECT_EQ(log.substr(log.find("fclose")), std::string(row.failing) == "fclose"
                                                      ? "fclose failed\nunlink " ASIDE "\n"
                                                      : "fclose\nunlink " ASIDE "\n");
        EXPECT_FALSE(test_door::has_file(SCRIPT)) << row.failing;
        EXPECT_FALSE(test_door::has_file(ASIDE)) << row.failing;
    }
}

TEST(SendMail, ATextThatCannotBeWrittenIsNeverMadeExecutable) {
    test_door::reset();
    test_door::fail_call("write", 1, ENOSPC);
    EXPECT_EQ(send_mail(HEALTH_MAIL, "root", "n", std::string(100000, 'x').c_str()), MAIL_NO_SCRIPT);
    EXPECT_EQ(test_door::take_log(), "create " ASIDE " 0600\nfclose\nunlink " ASIDE "\n");
}

TEST(SendMail, AFailedForkOrWaitIsSaid) {
    test_door::reset();
    test_door::fail_call("fork", 1, EAGAIN);
    EXPECT_EQ(send_mail(HEALTH_MAIL, "root", "n", "x\n"), MAIL_NO_FORK);
    std::string log = test_door::take_log();
    EXPECT_EQ(log.substr(log.find("fork")), "fork failed\n");
    EXPECT_TRUE(test_door::has_file(SCRIPT));

    test_door::reset();
    test_door::fail_call("waitpid", 1, ECHILD);
    EXPECT_EQ(send_mail(HEALTH_MAIL, "root", "n", "x\n"), MAIL_NO_WAIT);
    log = test_door::take_log();
    EXPECT_EQ(log.substr(log.find("fork")), "fork\nwaitpid 4711 failed\n");
}

// Whatever the caller's: mail_locales_test.cpp says why.
TEST(SendMail, TheScriptsLocaleIsUtf8) {
    setenv("LC_ALL", "zh_CN.GBK", 1);
    test_door::reset();
    test_door::on_fork = [] { return 0; };
    test_door::on_exec = [](const char *) { fprintf(stderr, "%s", getenv("LC_ALL")); };
    EXPECT_EXIT(send_mail(HEALTH_MAIL, "root", "n", "x\n"), testing::ExitedWithCode(0), "^C.UTF-8$");
    unsetenv("LC_ALL");
}

// The child of a script that cannot be run ends with status 0, and the parent's buffered output stays the
// parent's.
TEST(SendMail, TheChildRunsTheScriptAndEndsQuietly) {
    test_door::reset();
    std::string printed = scratch_directory() + "/printed";
    auto child = [&] {
        test_door::on_fork = [] { return 0; };
        test_door::on_exec = [](const char *path) { fprintf(stderr, "exec %s", path); };
        if (freopen(printed.c_str(), "w", stdout) == nullptr)
            abort();
        printf("of the parent");
        send_mail(HEALTH_MAIL, "root", "n", "x\n");
    };
    EXPECT_EXIT(child(), testing::ExitedWithCode(0), "^exec /tmp/KestrelMailAlert$");
    EXPECT_TRUE(std::filesystem::exists(printed));
    EXPECT_EQ(file_contents(printed), "");
}
