#pragma once
// The files that a run sees: a copy of the board's root/, so that nothing that the program writes touches the
// board or the machine.

#include <filesystem>
#include <string>

#include "board.h"

// Copies `board`/root into `keep`, or, when that is empty, into a directory that remove_private_root()
// removes. False, with the cause in `*error`.
// The board's files of board.toml come on top.
bool make_private_root(const virtual_board &board, const std::filesystem::path &keep, std::string *error);

// Takes the files that an earlier run left in `kept` as they are. False, with the cause.
bool reuse_private_root(const std::filesystem::path &kept, std::string *error);

void remove_private_root();

// Where a file of the program really lies.
std::string real_path(const char *path);
