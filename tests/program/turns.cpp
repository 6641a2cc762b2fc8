#include "turns.h"

#include "boards.h"

std::vector<call_in_turn> calls_in_turns(const std::string &file) {
    std::vector<call_in_turn> calls;
    int turns = 0;
    for (const std::string &line : lines_of(file_contents(file))) {
        std::string text = line.substr(line.find(' ') + 1);
        if (text == "end_turn")
            turns--;
        calls.push_back({text, turns});
        if (text == "begin_turn")
            turns++;
    }
    return calls;
}

// A byte's transfer on the SMBus; taking the slave is a matter of the process alone.
static bool is_transfer(const std::string &text) { return text == "ioctl 720"; }

// Registers that are ports by themselves, of the NS87427 and of the GPIO on its board: nothing comes before
// or after.
static bool is_lone_port(const std::string &text) {
    return text.rfind("inb 060c", 0) == 0 || text.rfind("inb 0802", 0) == 0;
}

bool is_in_sequence(const call_in_turn &call) {
    std::string name = call.text.substr(0, call.text.find(' '));
    if (is_lone_port(call.text))
        return false;
    for (const char *access : {"inb", "outb", "inl", "outl"})
        if (name == access)
            return true;
    return is_transfer(call.text);
}
