#include "private_root.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <unistd.h>

#include "own_files.h"

static std::filesystem::path root;
static pid_t owner; // a child of the run leaves the copy to its parent

static bool make_directory(const std::filesystem::path &keep, std::string *error) {
    std::error_code failed;
    if (!keep.empty()) {
        std::filesystem::create_directories(keep, failed);
        if (failed || !std::filesystem::is_empty(keep, failed)) {
            *error = keep.string() + ": expected a new or an empty directory";
            return false;
        }
        root = std::filesystem::absolute(keep);
        return true;
    }
    const char *temporary = getenv("TMPDIR");
    std::string base = temporary != nullptr && temporary[0] != '\0' ? temporary : "/tmp";
    std::string name = base + "/kestrel-virtual-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        *error = base + ": no directory can be made there: " + strerror(errno);
        return false;
    }
    root = name;
    owner = getpid();
    return true;
}

// Where the file is in the copy, its directory made.
static std::string place_of(const std::string &path) {
    std::string place = real_path(path.c_str());
    std::error_code failed; // then the file cannot be written either
    std::filesystem::create_directories(std::filesystem::path(place).parent_path(), failed);
    return place;
}

static bool copy_to(const std::string &path, const std::filesystem::path &source) {
    std::error_code failed;
    std::filesystem::copy_file(source, place_of(path), std::filesystem::copy_options::overwrite_existing,
                               failed);
    return !failed;
}

// The files that board.toml gives itself, or says where to find: a board that was copied from those that come
// with the program finds the program's own data all the same.
static bool write_named_files(const virtual_board &board, std::string *error) {
    for (const auto &[path, text] : board.files)
        if (!(std::ofstream(place_of(path), std::ios::binary) << text).flush()) {
            *error = path + ": it cannot be written";
            return false;
        }
    for (const auto &[path, source] : board.copies)
        if (!copy_to(path, source) && !copy_to(path, own_files("data") / source.filename())) {
            *error = source.string() + ": it cannot be copied";
            return false;
        }
    return true;
}

// The section of `product` of the master file, as a first start would copy it. False when there is none.
static bool write_configuration(const std::string &product) {
    std::ifstream master(own_files("data") / "AllKestrel.ini");
    std::ofstream out(real_path("/etc/Kestrel.ini"));
    bool inside = false;
    bool any = false;
    for (std::string line; std::getline(master, line);) {
        if (line.compare(0, 2, "[_") == 0)
            inside = line == "[_" + product + "_]";
        else if (inside && line.compare(0, 2, ";;") != 0) {
            out << line << '\n';
            any = true;
        }
    }
    return any;
}

bool make_private_root(const virtual_board &board, const std::filesystem::path &keep, std::string *error) {
    if (!make_directory(keep, error))
        return false;
    std::error_code failed;
    for (const char *directory : {"etc", "dev", "proc", "sys", "tmp"})
        std::filesystem::create_directories(root / directory, failed);
    if (std::filesystem::exists(board.directory / "root", failed))
        std::filesystem::copy(board.directory / "root", root, std::filesystem::copy_options::recursive,
                              failed);
    if (failed) {
        *error = board.directory.string() + ": its files cannot be copied";
        return false;
    }
    if (!write_named_files(board, error))
        return false;
    if (!board.configuration.empty() && !write_configuration(board.configuration)) {
        *error = "the master file has no section of " + board.configuration;
        return false;
    }
    return true;
}

bool reuse_private_root(const std::filesystem::path &kept, std::string *error) {
    std::error_code failed;
    if (!std::filesystem::is_directory(kept / "etc", failed)) {
        *error = kept.string() + ": no run has left its files here";
        return false;
    }
    root = std::filesystem::absolute(kept);
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
