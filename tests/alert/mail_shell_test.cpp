// What a real shell makes of the mail script: whatever is in names and addresses arrives as text, and no
// command is run.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include "alert/mail.h"
#include "support/os_test.h"
#include "support/run.h"

#define INFORMATION " has the following health information:\n"

struct received_mail {
    std::string arguments; // one per line
    std::string text;
};

static void put_program(const std::string &path, const std::string &text) {
    std::ofstream(path, std::ios::binary) << "#!/bin/bash\n" << text;
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

static std::string names_in(const std::string &directory) {
    std::string names;
    for (const auto &entry : std::filesystem::directory_iterator(directory))
        names += entry.path().filename().string() + " ";
    return names;
}

// A place to send from: a directory with one file, "bait", and commands of our own only, a `mail` that stores
// what it is given, and `touch`.
struct place {
    std::string work = scratch_directory();
    std::string commands = scratch_directory();
    std::string store = scratch_directory();
};

static place make_place() {
    place made;
    put_program(made.commands + "/mail",
                "printf '%s\\n' \"$@\" >" + made.store + "/arguments\n/bin/cat >" + made.store + "/text\n");
    put_program(made.commands + "/touch", ">\"$1\"\n");
    std::ofstream(made.work + "/bait") << "";
    return made;
}

// Becomes /bin/bash, which runs the script, with the caller's locales; LC_ALL is as the sender has left it.
static void run_script(const place &at, const std::string &script) {
    std::string path = "PATH=" + at.commands;
    std::string locale = std::string("LC_ALL=") + getenv("LC_ALL");
    const char *locales = getenv("LOCPATH");
    std::string locale_path = std::string("LOCPATH=") + (locales != nullptr ? locales : "");
    const char *environment[] = {path.c_str(), locale.c_str(), "HOME=/expanded",
                                 locales != nullptr ? locale_path.c_str() : nullptr, nullptr};
    if (chdir(at.work.c_str()) == 0 && freopen("/dev/null", "w", stderr) != nullptr)
        execle("/bin/bash", "/bin/bash", script.c_str(), nullptr, environment);
}

// What arrives when it is sent with `locale`. Nothing but the bait may be there afterwards.
static received_mail received(mail_kind kind, const std::string &recipients, const std::string &name,
                              const std::string &body, const std::string &locale) {
    test_door::reset();
    place at = make_place();
    pid_t child = -1;
    test_door::on_fork = [&] { return child = fork(); };
    test_door::on_exec = [&](const char *path) { run_script(at, test_door::real_path(path)); };
    setenv("LC_ALL", locale.c_str(), 1);
    EXPECT_EQ(send_mail(kind, recipients.c_str(), name.c_str(), body.c_str()), MAIL_SENT);
    unsetenv("LC_ALL");
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_EQ(names_in(at.work), "bait ") << locale << "\n" << recipients << "\n" << name << "\n" << body;
    return {file_contents(at.store + "/arguments"), file_contents(at.store + "/text")};
}

// Everything a shell does with text, without a per-cent sign or a dash at a word's begin.
static const char *const HOSTILE[] = {
    "$(touch X)",
    "`touch X`",
    "\\$(touch X)",
    "\\`touch X\\`",
    "\\\\$(touch X)",
    "\\\\`touch X`",
    "$(>X)",
    "${HOME}",
    "$HOME",
    "$((1+1))",
    "$[1+1]",
    "${x:-$(touch X)}",
    "${x:=`touch X`}",
    "$'\\x41'",
    "$\"HOME\"",
    "$$ $? $! $# $0 $* $@ $-",
    "; touch X",
    "& touch X &",
    "&& touch X",
    "|| touch X",
    "| touch X",
    ">X",
    ">>X",
    ">|X",
    "&>X",
    "2>X",
    "<bait",
    "<(touch X)",
    ">(touch X)",
    "<<EOT",
    "<<<x",
    "(touch X)",
    "{ touch X; }",
    "{a,b}",
    "{1..3}",
    "*",
    "?ait",
    "[b]ait",
    "!(x)",
    "@(bait|x)",
    "~",
    "~root",
    "x=~root",
    "#comment",
    "!! !1 !touch",
    "^a^b",
    "\\",
    "\\\\",
    "\\\\\\",
    "a\\",
    "'",
    "\"",
    "'\"'\"",
    "\"$(touch X)\"",
    "'$(touch X)'",
    "'; touch X; '",
    "\"; touch X; \"",
    "') touch X",
    "EOT",
    "\xC3\xA9`touch X`",
    // Broken UTF-8: the shell must not take the backslash for the rest of a character.
    "\xC3`touch X`",
    "\xC3$(touch X)",
    "\xE2\x82`touch X`",
    "\xE2\x82$(touch X)",
    "\xF0\x9F\x98`touch X`",
    "\xF0\x9F\x98\\`touch X`",
    "\xFF;touch X",
    "\xC3;touch X",
    "\xE2\x82|touch X",
};

static std::string words_on_lines(const std::string &text) {
    std::istringstream words(text);
    std::string lines;
    for (std::string word; words >> word;)
        if (strchr("-|/.+", word[0]) == nullptr) // what `mail` would take as an order
            lines += word + "\n";
    return lines;
}

TEST(MailByTheShell, HostileTextArrivesAsTextAndRunsNothing) {
    for (const char *locale : {"C", "C.UTF-8"})
        for (const char *hostile : HOSTILE) {
            std::string text = hostile;
            received_mail mail = received(HEALTH_MAIL, "root " + text + " last", text,
                                          "x" + text + " OK(Good)!\n" + "x" + text + "\n\nat now\n", locale);
            EXPECT_EQ(mail.arguments,
                      "-s\nAlert: system health warning!\nroot\n" + words_on_lines(text) + "last\n")
                << locale << " " << text;
            EXPECT_EQ(mail.text, "The system '" + text + "'" INFORMATION "x" + text + " OK(Good)!\nx" + text +
                                     "\n\nat now\n")
                << locale << " " << text;
        }
}

// At the end of the text, with nothing after it, the shell ends the line itself.
TEST(MailByTheShell, HostileTextAtTheVeryEnd) {
    for (const char *hostile : HOSTILE) {
        std::string text = hostile;
        received_mail mail = received(TEST_MAIL, text, text, "x" + text, "C.UTF-8");
        EXPECT_EQ(mail.arguments, "-s\nAlert: E-mail Test!\n" + words_on_lines(text)) << text;
        EXPECT_EQ(mail.text, "The system '" + text + "'" INFORMATION "x" + text + "\n") << text;
    }
}

TEST(MailByTheShell, EveryCharacterArrivesInTheText) {
    std::string body;
    for (int c = 1; c < 256; c++)
        if (c != '\n')
            body += std::string("x") + static_cast<char>(c) + "y\nx" + static_cast<char>(c) + "\n";
    for (const char *locale : {"C", "C.UTF-8"})
        EXPECT_EQ(received(TEST_MAIL, "root", "n", body, locale).text, "The system 'n'" INFORMATION + body);
}

TEST(MailByTheShell, EveryPrintedCharacterArrivesInTheRecipients) {
    std::string recipients;
    std::string expected = "-s\nAlert: E-mail Test!\n";
    for (char c = '!'; c <= '~'; c++) {
        std::string text(1, c);
        recipients += "@" + text + "y x@" + text + " " + text + "y ";
        expected += "@" + text + "y\nx@" + text + "\n";
        if (strchr("-|/.+", c) == nullptr)
            expected += text + "y\n";
    }
    EXPECT_EQ(received(TEST_MAIL, recipients, "n", "x\n", "C").arguments, expected);
}

TEST(MailByTheShell, NoRecipientIsAnOptionAProgramOrAFile) {
    EXPECT_EQ(received(TEST_MAIL, "|reboot /etc/profile a,./file +file root", "n", "x\n", "C").arguments,
              "-s\nAlert: E-mail Test!\na\nroot\n");

    EXPECT_EQ(received(HEALTH_MAIL, "-A etc/passwd --attach=x -- - root", "n", "x\n", "C").arguments,
              "-s\nAlert: system health warning!\nroot\n");
}

TEST(MailByTheShell, ALineThatLooksLikeTheEndMarkIsText) {
    EXPECT_EQ(received(HEALTH_MAIL, "root", "n", "a\nEOT\ntouch X\nEOT", "C").text,
              "The system 'n'" INFORMATION "a\n EOT\ntouch X\n EOT\n");
}

// A line that ends in a backslash is not joined with the next one, which could then be the end mark.
TEST(MailByTheShell, LinesAreNotJoined) {
    EXPECT_EQ(received(HEALTH_MAIL, "root", "n\\", "EO\\\nT\ntouch X\n\\\nEOT\n", "C").text,
              "The system 'n\\'" INFORMATION "EO\\\nT\ntouch X\n\\\n EOT\n");
}

// What is escaped stays escaped, whatever the per-cent sign before it takes.
TEST(MailByTheShell, ConversionsTakeNoBackslashAway) {
    const struct {
        const char *name;
        const char *arrives;
    } table[] = {
        {"100%`touch X`", "100`touch X`"}, {"%$(touch X)", "$(touch X)"},   {"%-5$(touch X)", "-5$(touch X)"},
        {"%c`touch X`", "`touch X`"},      {"%\\`touch X`", "\\`touch X`"}, {"\\%c`touch X`", "\\`touch X`"},
        {"\\%`touch X`", "\\`touch X`"},   {"$%s(touch X)", "$(touch X)"},  {"$%%(touch X)", "$%(touch X)"},
        {"%1$s`touch X`", "1$s`touch X`"},
    };
    for (const auto &row : table) {
        received_mail mail = received(HEALTH_MAIL, row.name, row.name, std::string(row.name) + "\n", "C");
        EXPECT_EQ(mail.text, std::string("The system '") + row.arrives + "'" INFORMATION + row.arrives + "\n")
            << row.name;
    }
}
