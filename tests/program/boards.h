#pragma once
// Boards for the program's tests, made from those that come with it, and what is in their traces.

#include <string>
#include <vector>

#include "support/run.h"

extern const std::string BANNER;
extern const std::string NO_DISPLAY; // what the graphical mode prints then
extern const std::string NO_BMC;     // its device files do not exist
extern const std::string THE_MAKER;  // NO_BMC, and a board that names its maker

std::string shipped(const std::string &board);    // the text of its board.toml
std::string shared_file(const std::string &name); // of a file that several of them include
std::string section_of(const std::string &board); // /etc/Kestrel.ini as a run on it begins with

// `text` with `from`, which must occur once, replaced.
std::string changed(const std::string &text, const std::string &from, const std::string &to);

int count_of(const std::string &text, const std::string &part);
std::vector<std::string> lines_of(const std::string &text);
std::string text_of(const std::vector<std::string> &lines);

// Runs kestrel-virtual with a trace and hands back its lines.
std::vector<std::string> trace_of(const std::vector<std::string> &words, run_result *result);
