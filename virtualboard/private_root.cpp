#include "private_root.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

static std::filesystem::path root;
static pid_t owner; // a child of the run leaves the copy to its parent

static bool make_directory(const std::filesystem::path &keep, std::string *error) {
    std::error_code failed;
    if (!keep.empty()) {
        std::filesystem::create_directories(keep, failed);
        if (failed || !std::filesystem::is_empty(keep, failed)) {
            *error = keep.string() + ": a new or an empty directory belongs here";
            return false;
        }
        root = std::filesystem::absolute(keep);
        return true;
    }
    std::string name = (std::filesystem::temp_directory_path(failed) / "kestrel-virtual-XXXXXX").string();
    if (failed || mkdtemp(name.data()) == nullptr) {
        *error = name + ": " + strerror(errno);
        return false;
    }
    root = name;
    owner = getpid();
    return true;
}

bool make_private_root(const std::filesystem::path &board, const std::filesystem::path &keep,
                       std::string *error) {
    if (!make_directory(keep, error))
        return false;
    std::error_code failed;
    for (const char *directory : {"etc", "dev", "proc", "sys", "tmp"})
        std::filesystem::create_directories(root / directory, failed);
    if (std::filesystem::exists(board / "root", failed))
        std::filesystem::copy(board / "root", root, std::filesystem::copy_options::recursive, failed);
    if (failed) {
        *error = (board / "root").string() + ": " + failed.message();
        return false;
    }
    return true;
}

void remove_private_root() {
    std::error_code ignored;
    if (owner != 0 && owner == getpid())
        std::filesystem::remove_all(root, ignored);
}

std::string real_path(const char *path) {
    return (root / std::filesystem::path(path).relative_path()).string();
}
