#pragma once
// The calls of a run of the program (kestrel-virtual --calls FILE), and in which of them it had a turn at the machine.

#include <string>
#include <vector>

struct call_in_turn {
    std::string text;
    int turns; // 1 within a turn
};

std::vector<call_in_turn> calls_in_turns(const std::string &file);

// Whether the call is part of a chip's sequence: a port, or a transfer on the SMBus.
bool is_in_sequence(const call_in_turn &call);
