#pragma once
// The graphical part of the program, a module that is loaded for the window alone: text and reset mode need
// no toolkit.

#include <string>

// What the module offers, as its symbol "kestrel_graphical_part".
struct graphical_part {
    bool (*open)(int argc, char **argv); // the toolkit and its display; false when there is none

    // Builds and shows the windows and runs them to their end; the exit status. `build_displays` fills
    // allItemDisps once the windows are built.
    int (*run)(void (*build_displays)(bool generated), bool generated);
};

// nullptr, with the cause in `*error`, when the module or what it needs is not there.
const graphical_part *load_graphical_part(std::string *error);
