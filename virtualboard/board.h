#pragma once
// A virtual board: a directory with board.toml (its devices) and root/ (the files that the program sees). How
// to write one is in docs/virtual-board.md.

#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "bmc.h"
#include "mailer.h"
#include "memory.h"
#include "monitor.h"
#include "pci_functions.h"
#include "port_block.h"
#include "smbus_adapter.h"
#include "superio_chip.h"

constexpr uint32_t LARGEST_UID = 0xFFFFFFFE; // all bits set is not a user

struct shell_answer {
    std::string output;
    int status = 0; // exit status
};

struct virtual_board {
    std::filesystem::path directory;
    std::string shows; // what the board shows, a few words
    uint32_t uid = 0;
    int iopl_error = 0;                    // not 0: iopl is refused with this errno
    std::map<uint16_t, int> ioperm_errors; // ports whose ioperm is refused
    int fork_error = 0;                    // not 0: no process can be made
    int waitpid_error = 0;                 // not 0: the wait for one fails, after it has ended
    mail_command mail;
    std::set<uint16_t> absent_ports;    // nobody answers there, and that is known: they read 0xFF
    std::set<std::string> absent_files; // under /dev, likewise
    std::string configuration; // the product whose section of the master file is /etc/Kestrel.ini; "": none
    std::map<std::string, std::string> files;            // by path, beside those of root/
    std::map<std::string, std::filesystem::path> copies; // files of root/ that lie elsewhere
    std::map<std::string, shell_answer> commands;
    superio_chip superio;
    std::vector<monitor_chip> monitors;
    std::vector<port_block> blocks;
    std::vector<smbus_adapter> adapters;
    pci_space pci;
    bmc_device bmc;
    physical_memory memory;
};

// Reads board.toml below `directory`. False, with what is wrong in `*error` (file, line and cause), when it
// cannot be used.
bool load_board(const std::filesystem::path &directory, virtual_board *board, std::string *error);
