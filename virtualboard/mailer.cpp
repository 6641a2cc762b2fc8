#include "mailer.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

// The kernel runs a script of mode 0100 for root, who may read any file. Another user who owns it must give
// himself the right for the moment.
bool read_script(const std::string &place, std::string *text) {
    struct stat status;
    if (stat(place.c_str(), &status) != 0)
        return false;
    if ((status.st_mode & S_IXUSR) == 0) {
        errno = EACCES;
        return false;
    }
    chmod(place.c_str(), (status.st_mode & 07777) | S_IRUSR);
    std::ifstream script(place, std::ios::binary);
    chmod(place.c_str(), status.st_mode & 07777);
    std::ostringstream contents;
    contents << script.rdbuf();
    *text = contents.str();
    return script.is_open();
}

// What a terminal would obey is "?" there, as in hw/text.h: control characters, bytes that are not UTF-8, and
// what turns the direction of writing or ends a line.
static const char HARMLESS_ON_A_TERMINAL[] =
    "if [ -t 2 ]; then\n"
    "  said=${said//[^[:print:]]/?}\n"
    "  said=${said//[$'\\u061C\\u200E\\u200F\\u2028\\u2029\\u202A\\u202B\\u202C\\u202D\\u202E'"
    "$'\\u2066\\u2067\\u2068\\u2069']/?}\n"
    "fi\n";

// Stores its arguments, one per line, an empty line, and standard input. The commands it needs itself are
// named by their paths; its directory is the private root.
static std::string mail_program(const mail_command &mail, bool kept) {
    std::ostringstream program;
    program << "#!/bin/bash\n";
    if (mail.hangs_s != 0)
        program << "/bin/sleep " << mail.hangs_s << "\n";
    program << "n=1\n"
               "while [ -e var/mail/$n ]; do n=$((n + 1)); done\n"
               "{ printf '%s\\n' \"$@\"; echo; /bin/cat; } >var/mail/$n || exit 1\n"
               "said=\"kestrel-virtual: mail to ${*:3}"
            << (kept ? " kept in $PWD/var/mail/$n" : "") << "\"\n"
            << HARMLESS_ON_A_TERMINAL << "printf '%s\\n' \"$said\" >&2\n"
            << "exit " << mail.status << "\n";
    return program.str();
}

static bool place_mail_program(const mail_command &mail, const std::filesystem::path &root, bool kept) {
    std::error_code failed; // then the program cannot be written either
    std::filesystem::create_directories(root / "usr/bin", failed);
    std::filesystem::create_directories(root / "var/mail", failed);
    std::filesystem::path place = root / "usr/bin/mail";
    if (mail.missing)
        return true;
    if (!(std::ofstream(place, std::ios::binary) << mail_program(mail, kept)).flush())
        return false;
    std::filesystem::permissions(place, std::filesystem::perms::owner_all, failed);
    return !failed;
}

// Bash is handed the text, not the file: it may not be allowed to read that. Of the environment only the
// locale is handed on, which the program has set: the rest may name other commands or functions.
void run_script(const mail_command &mail, const std::string &root, const char *path, const std::string &text,
                bool kept) {
    if (!place_mail_program(mail, root, kept) || chdir(root.c_str()) != 0)
        return;
    const char *words[] = {"/bin/bash", "-c", text.c_str(), path, nullptr};
    const char *locale = getenv("LC_ALL");
    std::string language = std::string("LC_ALL=") + (locale != nullptr ? locale : "");
    const char *environment[] = {"PATH=usr/bin", language.c_str(), nullptr};
    execve(words[0], const_cast<char **>(words), const_cast<char **>(environment));
}
