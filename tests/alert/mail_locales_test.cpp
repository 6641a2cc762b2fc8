// The mail script in every locale of several bytes a character that the system can make. In some of them the
// byte of a backslash can be the last one of a character: a byte before it that begins one would take the
// backslash away that makes text of what follows.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include "alert/mail.h"
#include "support/os_test.h"
#include "support/run.h"

// Encodings whose charmap has "<mb_cur_max> 2" or more. ASCII may differ (SJIS has a yen there).
static std::vector<std::string> encodings() {
    std::string list = "cd /usr/share/i18n/charmaps && zgrep -El '^<mb_cur_max> +[2-9]' *.gz";
    std::istringstream lines(run({"/bin/sh", "-c", list}).out);
    std::vector<std::string> names;
    for (std::string name; std::getline(lines, name);)
        names.push_back(name.substr(0, name.size() - strlen(".gz")));
    return names;
}

// Makes a locale of each encoding in `directory` and returns their names; those that cannot be made are left
// out. The locale of POSIX has the shortest tables.
static std::vector<std::string> make_locales(const std::string &directory) {
    std::vector<std::string> made;
    for (const std::string &encoding : encodings()) {
        run({"/usr/bin/localedef", "-c", "--no-archive", "-i", "POSIX", "-f", encoding,
             directory + "/xx_XX." + encoding});
        if (std::filesystem::exists(directory + "/xx_XX." + encoding + "/LC_CTYPE"))
            made.push_back("xx_XX." + encoding);
    }
    return made;
}

// Every character that the shell treats in its own way, after every byte that can begin a character, after
// two of a character of three, and after three of one of four.
static std::vector<std::string> beginnings() {
    std::vector<std::string> all;
    for (int lead = 0x80; lead < 0x100; lead++)
        all.push_back(std::string(1, static_cast<char>(lead)));
    for (int lead = 0x80; lead < 0x100; lead++)
        for (const char *between : {"\xA1", "\xFE"})
            all.push_back(std::string(1, static_cast<char>(lead)) + between);
    for (int lead = 0x80; lead < 0x100; lead++)
        for (const char *between : {"\x30\x81", "\xA1\xA1"})
            all.push_back(std::string(1, static_cast<char>(lead)) + between);
    return all;
}

static const char SPECIAL[] = "$`\\\"';&|<>(){}[]*?!#~\n";

// Lines that would make a file each if a backslash was lost.
static std::string hostile_text() {
    std::string text;
    for (const std::string &beginning : beginnings())
        for (const char *hostile : {"$(>X)", "`>X`", "\\$(>X)", "\\`>X`", "$HOME"})
            text += "x" + beginning + hostile + "\n";
    return text;
}

// Words of which the shell would make more, fewer or other ones.
static std::string hostile_words() {
    std::string words;
    for (const std::string &beginning : beginnings())
        for (const char *special = SPECIAL; *special != '\0'; special++)
            words += "x" + beginning + *special + ">X ";
    return words;
}

// Becomes /bin/bash with the locales of the test, and the one that the sender has chosen.
static void run_script(const std::string &script, const std::string &work) {
    if (chdir(work.c_str()) != 0 || freopen("/dev/null", "w", stderr) == nullptr)
        return;
    setenv("HOME", "/expanded", 1);
    setenv("PATH", "/nonexistent", 1);
    execl("/bin/bash", "/bin/bash", script.c_str(), nullptr);
}

// `mail` stores its arguments, one per line, an empty line, and the text; it is a function, as there are more
// arguments than a program can have.
static const char MAIL[] = "() { printf '%s\\n' \"$@\" '' >mail; while IFS= read -r line; do printf '%s\\n' "
                           "\"$line\" >>mail; done; }";

static std::string sent_in(const std::string &locale, const std::string &recipients, const std::string &body,
                           const std::string &work) {
    test_door::reset();
    pid_t child = -1;
    test_door::on_fork = [&] { return child = fork(); };
    test_door::on_exec = [&](const char *path) { run_script(test_door::real_path(path), work); };
    setenv("LC_ALL", locale.c_str(), 1);
    EXPECT_EQ(send_mail(TEST_MAIL, recipients.c_str(), "n", body.c_str()), MAIL_SENT);
    unsetenv("LC_ALL");
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    return file_contents(work + "/mail");
}

static std::string on_lines(std::string words) {
    std::replace(words.begin(), words.end(), ' ', '\n');
    return words;
}

TEST(MailLocales, NoCharacterTakesABackslashAway) {
    std::string directory = scratch_directory();
    std::vector<std::string> locales = make_locales(directory);
    ASSERT_GE(locales.size(), 10u) << "is the package \"locales\" installed?";
    setenv("LOCPATH", directory.c_str(), 1);
    setenv("BASH_FUNC_mail%%", MAIL, 1);
    std::string words = hostile_words();
    std::string text = hostile_text();
    for (const std::string &locale : locales) {
        std::string work = scratch_directory();
        std::string mail = sent_in(locale, words, text, work);
        EXPECT_FALSE(std::filesystem::exists(work + "/X")) << locale << ": a command was run";
        EXPECT_TRUE(mail == "-s\nAlert: E-mail Test!\n" + on_lines(words) +
                                "\nThe system 'n' has the following health information:\n" + text)
            << locale << ": other words or another text";
    }
    unsetenv("BASH_FUNC_mail%%");
    unsetenv("LOCPATH");
}
