#include "hw/environment.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <sys/statvfs.h>

// ---- PATH

bool only_root_changes(const struct stat &status) {
    return S_ISDIR(status.st_mode) && status.st_uid == 0 && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// `path` has no links in it, and nobody but root can put one there: what is found now holds later, too.
static bool is_roots_own(const std::string &path) {
    struct stat status;
    if (lstat(path.c_str(), &status) != 0 || !only_root_changes(status))
        return false;
    return path == "/" || is_roots_own(path.substr(0, std::max<size_t>(path.rfind('/'), 1)));
}

// A medium that a user brings can hold files of root, too. It is mounted so that they give nobody root's
// rights.
static bool is_users_medium(const char *path) {
    struct statvfs filesystem;
    return statvfs(path, &filesystem) != 0 || (filesystem.f_flag & ST_NOSUID) != 0;
}

std::string roots_own_directory(const std::string &directory) {
    char path[PATH_MAX];
    if (directory.empty() || directory[0] != '/' || realpath(directory.c_str(), path) == nullptr)
        return "";
    return is_roots_own(path) && !is_users_medium(path) ? path : "";
}

static void add_once(std::vector<std::string> *texts, const std::string &text) {
    if (std::find(texts->begin(), texts->end(), text) == texts->end())
        texts->push_back(text);
}

// Hands each part of `text` between colons to `take`.
template <class Take> static void split_at_colons(const std::string &text, Take take) {
    for (size_t start = 0; start <= text.size();) {
        size_t end = std::min(text.find(':', start), text.size());
        take(text.substr(start, end - start));
        start = end + 1;
    }
}

std::string safe_path(const std::string &callers, std::string (*own)(const std::string &)) {
    std::vector<std::string> directories;
    split_at_colons(callers, [&](const std::string &directory) {
        std::string place = own(directory);
        if (!place.empty() && place.find(':') == std::string::npos) // a link may lead to "/opt/a:b"
            add_once(&directories, place);
    });
    for (const char *system : {"/usr/local/sbin", "/usr/local/bin", "/usr/sbin", "/usr/bin", "/sbin", "/bin"})
        add_once(&directories, system);
    std::string path = directories[0];
    for (size_t i = 1; i < directories.size(); i++)
        path += ":" + directories[i];
    return path;
}

// ---- All of it

bool chooses_only(const std::string &value) { return value.find_first_of("/%") == std::string::npos; }

// Where the display is, and the key to it.
static bool leads_to_the_display(const std::string &name) {
    return name == "DISPLAY" || name == "XAUTHORITY";
}

// The language, the terminal, the time zone; modules, which a screen reader needs, and ways to type.
static bool is_a_choice(const std::string &name) {
    for (const char *choice :
         {"LANG", "LANGUAGE", "TERM", "TZ", "GTK_MODULES", "GTK_IM_MODULE", "XMODIFIERS"})
        if (name == choice)
            return true;
    return name.compare(0, 3, "LC_") == 0;
}

// The caller's value, nullptr without one. As with getenv the first one counts.
static const char *value_of(const char *const *callers, const std::string &name) {
    for (; callers != nullptr && *callers != nullptr; callers++)
        if (strncmp(*callers, name.c_str(), name.size()) == 0 && (*callers)[name.size()] == '=')
            return *callers + name.size() + 1;
    return nullptr;
}

// Whether an entry of the caller's stays as it is.
static bool stays(const char *const *callers, const char *entry) {
    std::string name(entry, strcspn(entry, "="));
    if (value_of(callers, name) != entry + name.size() + 1) // it has no value, or comes after another one
        return false;
    return leads_to_the_display(name) || (is_a_choice(name) && chooses_only(entry + name.size() + 1));
}

std::vector<std::string> safe_environment(const char *const *callers,
                                          std::string (*own)(const std::string &)) {
    std::vector<std::string> made;
    for (const char *const *entry = callers; entry != nullptr && *entry != nullptr; entry++)
        if (stays(callers, *entry))
            made.emplace_back(*entry);
    const char *path = value_of(callers, "PATH");
    const char *home = value_of(callers, "HOME");
    // The display's key lies in the home of whom the display belongs to.
    if (value_of(callers, "XAUTHORITY") == nullptr && home != nullptr)
        made.push_back(std::string("XAUTHORITY=") + home + "/.Xauthority");
    made.push_back("PATH=" + safe_path(path != nullptr ? path : "", own));
    // A HOME that is kept (sudo -E) has the toolkit's settings, which name what it loads.
    made.insert(made.end(), {"HOME=/root", "USER=root", "LOGNAME=root"});
    return made;
}
