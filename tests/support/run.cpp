#include "support/run.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

static std::filesystem::path base;

static void remove_base() { std::filesystem::remove_all(base); }

std::string scratch_directory() {
    if (base.empty()) {
        char name[] = "/tmp/kestrel-run-XXXXXX";
        base = mkdtemp(name);
        atexit(remove_base);
    }
    static int count;
    std::filesystem::path directory = base / std::to_string(count++);
    std::filesystem::create_directories(directory);
    return directory.string();
}

std::string file_contents(const std::string &path) {
    std::ostringstream contents;
    contents << std::ifstream(path, std::ios::binary).rdbuf();
    return contents.str();
}

run_result run(const std::vector<std::string> &words) {
    std::string directory = scratch_directory();
    std::string out = directory + "/out";
    std::string err = directory + "/err";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT, 0600);
    std::vector<char *> arguments;
    for (const std::string &word : words)
        arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    setenv("TZ", "UTC", 1);
    unsetenv("DISPLAY"); // not the user's screen
    pid_t child;
    int failed = posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0)
        throw std::runtime_error("cannot start " + words[0]);
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), file_contents(out),
            file_contents(err)};
}

run_result run_virtual(const std::vector<std::string> &words) {
    std::vector<std::string> all = {KESTREL_VIRTUAL, "--strict", "--clock", "2026-01-05 10:00:00"};
    all.insert(all.end(), words.begin(), words.end());
    return run(all);
}

std::string make_board(const std::string &toml, const std::string *configuration) {
    std::string directory = scratch_directory();
    std::ofstream(directory + "/board.toml") << toml;
    std::filesystem::create_directories(directory + "/root/etc");
    if (configuration != nullptr)
        std::ofstream(directory + "/root/etc/Kestrel.ini", std::ios::binary) << *configuration;
    return directory;
}
