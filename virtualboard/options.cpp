#include "options.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "board.h"

static const char *const help =
    "Usage: kestrel-virtual [option...] BOARD [options of kestrel]\n"
    "Runs kestrel on a board that is a directory of plain files. BOARD is a name from --list or a path.\n"
    "\n"
    "  --list          name the boards that come with the program\n"
    "  --trace FILE    write every access in order, one line each\n"
    "  --keep DIR      leave the run's copy of the board's files in DIR (a new or an empty directory)\n"
    "  --uid N         the user id that the program sees (default: the board's, 0)\n"
    "  --fast          sleeps end at once; the board's clock moves on by them\n"
    "  --sleeps N      end the run at the Nth sleep, so that \"-t -i 5\" comes to an end\n"
    "  --clock TIME    switch the board on at TIME (\"2026-01-05 10:00:00\", local), and let only sleeps "
    "move it\n"
    "  --strict        end with status 99 when an access was neither answered nor declared absent\n"
    "  --help          this page\n";

[[noreturn]] static void refuse(const char *what, const char *argument) {
    fprintf(stderr, "kestrel-virtual: %s: %s\nTry: kestrel-virtual --help\n", what, argument);
    exit(USAGE_STATUS);
}

static std::filesystem::path boards_directory() { return KESTREL_BOARDS_DIR; }

static bool is_board(const std::filesystem::path &directory) {
    std::error_code ignored;
    return std::filesystem::exists(directory / "board.toml", ignored);
}

[[noreturn]] static void list_boards() {
    std::vector<std::filesystem::path> boards;
    std::error_code ignored;
    for (const auto &entry : std::filesystem::directory_iterator(boards_directory(), ignored))
        if (is_board(entry.path()))
            boards.push_back(entry.path());
    std::sort(boards.begin(), boards.end());
    for (const auto &directory : boards) {
        virtual_board board;
        std::string error;
        bool good = load_board(directory, &board, &error);
        printf("%-20s %s\n", directory.filename().c_str(), good ? board.shows.c_str() : error.c_str());
    }
    exit(0);
}

static std::filesystem::path find_board(const char *name) {
    std::filesystem::path board = strchr(name, '/') != nullptr ? name : boards_directory() / name;
    if (!is_board(board))
        refuse("no such board", name);
    return board;
}

static unsigned long whole_number(const char *option, const char *argument) {
    char *end = nullptr;
    unsigned long number = strtoul(argument, &end, 10);
    if (argument[0] < '0' || argument[0] > '9' || *end != '\0')
        refuse(option, argument);
    return number;
}

static time_t clock_of(const char *argument) {
    struct tm parts = {};
    const char *end = strptime(argument, "%Y-%m-%d %H:%M:%S", &parts);
    if (end == nullptr || *end != '\0')
        refuse("--clock wants a time like \"2026-01-05 10:00:00\", not", argument);
    parts.tm_isdst = -1;
    return mktime(&parts);
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

static void take_argument(const char *name, const char *argument, virtual_options *options) {
    if (argument == nullptr)
        refuse("an argument is missing behind", name);
    if (strcmp(name, "--trace") == 0) {
        options->trace_path = argument;
    } else if (strcmp(name, "--keep") == 0) {
        options->keep = argument;
    } else if (strcmp(name, "--uid") == 0) {
        options->uid_given = true;
        options->uid = static_cast<uint32_t>(whole_number("--uid wants a number, not", argument));
    } else if (strcmp(name, "--sleeps") == 0) {
        options->sleeps = static_cast<unsigned>(whole_number("--sleeps wants a number, not", argument));
    } else if (strcmp(name, "--clock") == 0) {
        options->clock_given = true;
        options->clock = clock_of(argument);
    } else {
        refuse("unknown option", name);
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
