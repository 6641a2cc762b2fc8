#include "driver/graphical.h"

#include <climits>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>

// Beside the program's own directory, wherever it was installed or built: .../bin/kestrel and
// .../lib/kestrel/kestrel-gtk.so. Nothing else is searched, for what is loaded runs as root.
static std::string module_path(std::error_code *error) {
    std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", *error);
    return program.parent_path().parent_path() / "lib/kestrel/kestrel-gtk.so";
}

static const graphical_part *give_up(std::string *error) {
    const char *cause = dlerror();
    *error = cause != nullptr ? cause : "unknown cause";
    return nullptr;
}

const graphical_part *load_graphical_part(std::string *error) {
    std::error_code unknown_place;
    std::string path = module_path(&unknown_place);
    if (unknown_place) { // then the path would be relative, and whatever lies there is not ours
        *error = "/proc/self/exe: " + unknown_place.message();
        return nullptr;
    }
    void *module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr)
        return give_up(error);
    void *symbol = dlsym(module, "kestrel_graphical_part");
    return symbol != nullptr ? static_cast<const graphical_part *>(symbol) : give_up(error);
}
