#pragma once
// The options of kestrel-virtual, which come before the board's name; those of kestrel come after it.

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <string>

#include "faults.h"

struct virtual_options {
    std::filesystem::path board;
    std::string trace_path;     // "": no trace
    std::filesystem::path keep; // "": the private copy of root/ is removed at the end
    bool uid_given = false;
    uint32_t uid = 0;
    bool fast = false;  // sleeps end at once; the board's clock moves on by them
    unsigned speed = 1; // the board's clock runs so many times as fast as the real one
    bool clock_given = false;
    time_t clock = 0;       // the time at which the board is switched on
    bool strict = false;    // an access that nobody answers ends the run with status STRICT_STATUS
    std::string calls_path; // "": no list of calls
    fault_plan faults;
    bool again = false;  // `keep` is what an earlier run left
    unsigned sleeps = 0; // not 0: the run ends with status 0 at this sleep
};

constexpr int STRICT_STATUS = 99;
constexpr int SILENT_BMC_STATUS = 98; // the program would wait for a reply for ever
constexpr int USAGE_STATUS = 2;

// Takes the virtual board's options and its name out of the arguments and leaves those of kestrel, after the
// program's name "kestrel-virtual BOARD". --help, --list and mistakes end the process.
virtual_options take_virtual_options(int *argc, char ***argv);
