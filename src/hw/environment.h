#pragma once
// The environment that the program and what it runs have, made from that of whoever called it. After a plain
// "su" that is an ordinary user's: a PATH without modprobe, or with somebody's own programs in front, modules
// for the toolkit, functions and orders for bash. What runs as root is to be the system's.

#include <string>
#include <sys/stat.h>
#include <vector>

// The place that `directory` leads to, without links in it, when only root can change that and all that it
// lies in; otherwise "". It is not root's on a file system that is mounted without set-uid programs, as a
// user's stick is.
std::string roots_own_directory(const std::string &directory);

// Whether only root can change what is in a directory with this status. The sticky bit does not help: others
// cannot remove what is there, but they can add to it.
bool only_root_changes(const struct stat &status);

// A value that can only choose among what the system has: it names no path, and no conversion, which some
// programs would carry out.
bool chooses_only(const std::string &value);

// A PATH of the directories of `callers` that are root's own, in their order, and then the system's. `own` is
// roots_own_directory, but for tests.
std::string safe_path(const std::string &callers, std::string (*own)(const std::string &));

// The whole environment, as "NAME=value", from the caller's, which ends with nullptr.
std::vector<std::string> safe_environment(const char *const *callers,
                                          std::string (*own)(const std::string &));
