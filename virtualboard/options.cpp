#include "options.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "board.h"
#include "own_files.h"

static const char *const help =
    "Usage: kestrel-virtual [option...] BOARD [options of kestrel]\n"
    "Runs kestrel on a board that is a directory of plain files. BOARD is a name from --list or a "
    "directory.\n"
    "\n"
    "  --list          name the boards that come with the program\n"
    "  --trace FILE    write every access in order, one line each\n"
    "  --keep DIR      leave the run's copy of the board's files in DIR (a new or an empty directory)\n"
    "  --again DIR     go on with the files that an earlier run left in DIR, and leave them there\n"
    "  --uid N         the user id that the program sees (default: the board's, 0)\n"
    "  --fast          sleeps end at once; the board's clock moves on by them\n"
    "  --sleeps N      end the run at the Nth sleep, so that \"-t -i 5\" comes to an end\n"
    "  --speed N       let the board's clock run N times as fast, so that what happens on it happens sooner\n"
    "  --clock TIME    switch the board on at TIME (\"2026-01-05 10:00:00\", local), and let only sleeps "
    "move it\n"
    "  --strict        end with status 99 when an access was neither answered nor declared absent\n"
    "  --calls FILE    write every call to the machine into FILE, numbered from 1 on, one line each\n"
    "  --fail N:ERROR  let call N fail: ENOENT, EIO or another name of errno; or short, a read or a write "
    "that\n"
    "                  moves half of its bytes and is the last one\n"
    "  --die N         end before call N as if killed, with status 97\n"
    "  --help          this page\n";

[[noreturn]] static void refuse(const char *what, const char *argument) {
    fprintf(stderr, "kestrel-virtual: %s: %s\nTry: kestrel-virtual --help\n", what, argument);
    exit(USAGE_STATUS);
}

[[noreturn]] static void refuse_option(const char *name) {
    fprintf(stderr,
            "kestrel-virtual: unknown option: %s\n"
            "BOARD comes first, then the options of kestrel.\n"
            "Try: kestrel-virtual --help\n",
            name);
    exit(USAGE_STATUS);
}

static std::filesystem::path boards_directory() { return own_files("boards"); }

static bool is_board(const std::filesystem::path &directory) {
    std::error_code ignored;
    return std::filesystem::exists(directory / "board.toml", ignored);
}

[[noreturn]] static void list_boards() {
    std::vector<std::filesystem::path> boards;
    std::error_code failed;
    for (const auto &entry : std::filesystem::directory_iterator(boards_directory(), failed))
        if (is_board(entry.path()))
            boards.push_back(entry.path());
    if (failed)
        refuse("the boards cannot be listed",
               (boards_directory().string() + ": " + failed.message()).c_str());
    std::sort(boards.begin(), boards.end());
    for (const auto &directory : boards) {
        virtual_board board;
        std::string error;
        bool good = load_board(directory, &board, &error);
        printf("%-20s %s\n", directory.filename().c_str(), good ? board.shows.c_str() : error.c_str());
    }
    exit(0);
}

// The name of a board that comes with the program, otherwise of a directory here.
static std::filesystem::path find_board(const char *name) {
    if (strchr(name, '/') == nullptr && is_board(boards_directory() / name))
        return boards_directory() / name;
    if (!is_board(name))
        refuse("no such board", name);
    return name;
}

constexpr unsigned long MOST_SPEED = 1000;

static unsigned long whole_number(const char *option, const char *argument, unsigned long least,
                                  unsigned long most) {
    char *end = nullptr;
    unsigned long number = strtoul(argument, &end, 10); // ULONG_MAX for what is longer
    if (argument[0] < '0' || argument[0] > '9' || *end != '\0' || number < least || number > most)
        refuse(option, argument);
    return number;
}

static time_t clock_of(const char *argument) {
    struct tm given = {};
    const char *end = strptime(argument, "%Y-%m-%d %H:%M:%S", &given);
    given.tm_isdst = -1;
    struct tm real = given; // mktime moves a day that does not exist to one that does
    time_t time = mktime(&real);
    bool exists = real.tm_mday == given.tm_mday && real.tm_hour == given.tm_hour &&
                  real.tm_min == given.tm_min && real.tm_sec == given.tm_sec;
    if (end == nullptr || *end != '\0' || !exists)
        refuse("--clock takes a time like \"2026-01-05 10:00:00\", not", argument);
    return time;
}

// 0 for what is not the name of an errno.
static int error_named(const char *name) {
    constexpr int LAST_ERROR = 133;
    for (int error = 1; error <= LAST_ERROR; error++) {
        const char *known = strerrorname_np(error);
        if (known != nullptr && strcmp(known, name) == 0)
            return error;
    }
    return 0;
}

static const char *const FAIL_WANTS =
    "--fail takes a number from 1 on, a colon, and \"short\" or the name of an errno, not";

static void take_failure(const char *argument, fault_plan *plan) {
    const char *colon = strchr(argument, ':');
    if (colon == nullptr)
        refuse(FAIL_WANTS, argument);
    std::string number(argument, colon);
    plan->fail_at = static_cast<unsigned>(whole_number(FAIL_WANTS, number.c_str(), 1, UINT_MAX));
    plan->error = strcmp(colon + 1, "short") == 0 ? SHORT_TRANSFER : error_named(colon + 1);
    if (plan->error == 0)
        refuse(FAIL_WANTS, argument);
}

// True for an option without an argument.
static bool take_flag(const char *name, virtual_options *options) {
    if (strcmp(name, "--fast") == 0)
        options->fast = true;
    else if (strcmp(name, "--strict") == 0)
        options->strict = true;
    else
        return false;
    return true;
}

static bool wants_argument(const char *name) {
    for (const char *known : {"--trace", "--keep", "--again", "--uid", "--sleeps", "--speed", "--clock",
                              "--calls", "--fail", "--die"})
        if (strcmp(name, known) == 0)
            return true;
    return false;
}

static void take_argument(const char *name, const char *argument, virtual_options *options) {
    if (!wants_argument(name))
        refuse_option(name);
    if (argument == nullptr)
        refuse("an argument is missing after", name);
    if (strcmp(name, "--trace") == 0) {
        options->trace_path = argument;
    } else if (strcmp(name, "--keep") == 0) {
        options->keep = argument;
        options->again = false;
    } else if (strcmp(name, "--again") == 0) {
        options->keep = argument;
        options->again = true;
    } else if (strcmp(name, "--calls") == 0) {
        options->calls_path = argument;
    } else if (strcmp(name, "--fail") == 0) {
        take_failure(argument, &options->faults);
    } else if (strcmp(name, "--die") == 0) {
        options->faults.die_at =
            static_cast<unsigned>(whole_number("--die takes a number from 1 on, not", argument, 1, UINT_MAX));
    } else if (strcmp(name, "--uid") == 0) {
        options->uid_given = true;
        options->uid = static_cast<uint32_t>(
            whole_number("--uid takes a number from 0 to 4294967294, not", argument, 0, LARGEST_UID));
    } else if (strcmp(name, "--speed") == 0) {
        options->speed = static_cast<unsigned>(
            whole_number("--speed takes a number from 1 to 1000, not", argument, 1, MOST_SPEED));
    } else if (strcmp(name, "--sleeps") == 0) {
        options->sleeps = static_cast<unsigned>(
            whole_number("--sleeps takes a number from 1 on, not", argument, 1, UINT_MAX));
    } else {
        options->clock_given = true;
        options->clock = clock_of(argument);
    }
}

virtual_options take_virtual_options(int *argc, char ***argv) {
    virtual_options options;
    char **words = *argv;
    int i = 1;
    for (; i < *argc && words[i][0] == '-'; i++) {
        if (strcmp(words[i], "--help") == 0 || strcmp(words[i], "-h") == 0) {
            fputs(help, stdout);
            exit(0);
        }
        if (strcmp(words[i], "--list") == 0)
            list_boards();
        if (take_flag(words[i], &options))
            continue;
        take_argument(words[i], i + 1 < *argc ? words[i + 1] : nullptr, &options);
        i++;
    }
    if (i == *argc) {
        fputs(help, stderr);
        exit(USAGE_STATUS);
    }
    options.board = find_board(words[i]);
    static std::string program;
    program = std::string("kestrel-virtual ") + words[i];
    words[i] = program.data();
    *argv = words + i;
    *argc -= i;
    return options;
}
