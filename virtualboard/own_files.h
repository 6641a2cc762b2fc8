#pragma once
// What comes with the program: the boards, what they share, and the master files.

#include <filesystem>

// The directory `what` ("boards", "shared", "data") of share/kestrel beside the program's own directory,
// wherever it was installed or built; below /nonexistent when the program's own place is unknown.
std::filesystem::path own_files(const char *what);
