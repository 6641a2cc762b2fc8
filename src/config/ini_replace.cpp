#include "config/ini_replace.h"

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>

#include "config/settings.h"
#include "hw/os.h"

// ---- Where it lies

// Takes the first name off a path; "" at its end.
static std::string take_name(std::string *path) {
    size_t start = std::min(path->find_first_not_of('/'), path->size());
    size_t end = std::min(path->find('/', start), path->size());
    std::string name = path->substr(start, end - start);
    path->erase(0, end);
    return name;
}

// The bits of a link mean nothing. Those of a group bound what an access list gives to others.
static bool only_root_changes(mode_t mode, uid_t owner) {
    constexpr mode_t OTHERS_WRITE = S_IWGRP | S_IWOTH;
    return owner == 0 && (S_ISLNK(mode) || (mode & OTHERS_WRITE) == 0);
}

// How a way ends: at a file; astray, where there is no file or others than root can change it; or it cannot
// be looked at.
enum way_end { GOES_ON, FILE_FOUND, ASTRAY, UNKNOWN };

// Of what cannot be looked at: a missing thing is known to be missing.
static way_end end_by_error() { return errno == ENOENT || errno == ENOTDIR ? ASTRAY : UNKNOWN; }

// Where a link leads: from the directory that it lies in, or from the root.
static way_end turn_off(const char *link, std::string *here, std::string *left) {
    std::string target;
    if (os_read_link(link, &target) != 0)
        return end_by_error();
    if (target[0] == '/')
        here->clear();
    *left = target + *left;
    return GOES_ON;
}

// One step: from the directory `here`, which has no slash after its name, to the next name of what is left.
// At the end `here` is the file.
static way_end step_on(std::string *here, std::string *left) {
    std::string name = take_name(left);
    if (name == "..")
        here->erase(std::min(here->rfind('/'), here->size()));
    if (name.empty() || name == "." || name == "..")
        return name.empty() ? ASTRAY : GOES_ON; // at its end there is a directory
    std::string next = *here + '/' + name;
    mode_t mode;
    uid_t owner;
    if (os_look_at(next.c_str(), &mode, &owner) != 0)
        return end_by_error();
    bool is_file = S_ISREG(mode) && left->empty();
    if (!is_file && !only_root_changes(mode, owner))
        return ASTRAY;
    if (S_ISLNK(mode))
        return turn_off(next.c_str(), here, left);
    *here = next;
    return is_file ? FILE_FOUND : S_ISDIR(mode) ? GOES_ON : ASTRAY;
}

static way_end follow(const char *path, std::string *file) {
    constexpr int MOST_STEPS = 1000; // links may lead in a circle
    mode_t mode;
    uid_t owner;
    if (os_look_at("/", &mode, &owner) != 0)
        return UNKNOWN;
    std::string here;
    std::string left = path;
    way_end end = only_root_changes(mode, owner) ? GOES_ON : ASTRAY;
    for (int steps = 0; end == GOES_ON && steps < MOST_STEPS; steps++)
        end = step_on(&here, &left);
    if (end == FILE_FOUND)
        *file = here;
    return end;
}

// What replacing writes, besides the file itself: a link to one of these would make the file its own copy.
static bool is_made_by_us(const std::string &path) {
    return path == KESTREL_INI_OLD || path == KESTREL_INI_OLD ".new" || path == KESTREL_INI_NEW;
}

bool find_ini(ini_place *place) {
    mode_t mode = 0;
    uid_t owner;
    if (os_look_at(KESTREL_INI, &mode, &owner) != 0 && end_by_error() == UNKNOWN)
        return false;
    std::string file;
    bool by_link = S_ISLNK(mode);
    way_end end = by_link ? follow(KESTREL_INI, &file) : ASTRAY;
    if (end == UNKNOWN)
        return false;
    bool stays = end == FILE_FOUND && !is_made_by_us(file);
    *place = {stays ? file : KESTREL_INI, by_link};
    return true;
}

// ---- The new file

static std::string aside(const std::string &path) { return path + ".new"; }

FILE *open_new(const std::string &path, mode_t mode) { return os_create_private(aside(path).c_str(), mode); }

FILE *open_new_like(const char *model, const std::string &path) {
    mode_t mode;
    if (os_mode(model, &mode) != 0)
        return nullptr;
    FILE *stream = open_new(path, mode);
    if (stream == nullptr || os_copy_owner(model, stream) == 0)
        return stream;
    close_new(stream, path, false);
    return nullptr;
}

// On the disk before it gets the name: otherwise the name would be that of an empty file after a power cut.
bool close_new(FILE *stream, const std::string &path, bool whole) {
    whole = whole && ferror(stream) == 0 && os_fsync(stream) == 0;
    whole = os_fclose(stream) == 0 && whole;
    whole = whole && os_rename(aside(path).c_str(), path.c_str()) == 0;
    if (!whole)
        os_unlink(aside(path).c_str());
    return whole;
}
