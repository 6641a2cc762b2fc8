#pragma once
// Runs a program as a user does and hands back what it printed and how it ended.

#include <string>
#include <vector>

struct run_result {
    int status; // exit status; 128 + signal when it was killed
    std::string out;
    std::string err;
};

run_result run(const std::vector<std::string> &words);

// kestrel-virtual with the options that make a run repeatable (--strict, a fixed clock in UTC, sleeps that
// end at once), then `words`.
run_result run_virtual(const std::vector<std::string> &words);

std::string file_contents(const std::string &path);

// A new directory below the test's own, removed at the end.
std::string scratch_directory();

// A board of the test: `toml` and, unless it is null, the text of /etc/Kestrel.ini. Returns its directory.
std::string make_board(const std::string &toml, const std::string *configuration);
