#include "turns.h"

#include "boards.h"

std::vector<held_call> held_calls(const std::string &file) {
    std::vector<held_call> calls;
    int locks = 0;
    for (const std::string &line : lines_of(file_contents(file))) {
        std::string text = line.substr(line.find(' ') + 1);
        if (text == "unlock_machine")
            locks--;
        calls.push_back({text, locks});
        if (text == "lock_machine")
            locks++;
    }
    return calls;
}

bool is_access(const held_call &call) {
    std::string name = call.text.substr(0, call.text.find(' '));
    for (const char *access : {"inb", "outb", "inl", "outl", "iopl", "ioperm", "ioctl"})
        if (name == access)
            return true;
    return false;
}
