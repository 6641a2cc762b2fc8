#pragma once
// When a run has the lock by which copies of the program take turns, as its list of calls tells.

#include <string>
#include <vector>

struct held_call {
    std::string text; // without its number
    int locks;        // that are held then: 0 while another copy may have its turn
};

// Of the file that --calls has written.
std::vector<held_call> held_calls(const std::string &file);

bool is_access(const held_call &call); // to a chip, a bus or the BMC
