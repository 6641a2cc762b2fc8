#include "own_files.h"

std::filesystem::path own_files(const char *what) {
    std::error_code unknown;
    std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", unknown);
    if (unknown) // then the path would be relative, and name files of somebody else
        return std::filesystem::path("/nonexistent") / what;
    return program.parent_path().parent_path() / "share/kestrel" / what;
}
