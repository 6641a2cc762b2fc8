#pragma once
// A management controller, on either transport: it answers commands by a table of replies and reaches chips
// of its own.

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "banked_chip.h"

using byte_string = std::vector<uint8_t>;

struct bmc_reply {       // for requests that begin with these bytes
    byte_string request; // network function, command, data
    byte_string reply;   // completion code, data
};

struct bmc_slave { // a chip behind the BMC's private buses
    uint8_t address = 0;
    banked_chip chip;
};

struct bmc_message {
    byte_string bytes; // completion code, data
    int id = 0;
};

enum bmc_transport { NO_BMC, BMC_QXBMC, BMC_OPENIPMI };

struct bmc_device {
    bmc_transport transport = NO_BMC;
    std::string path;               // its device file
    byte_string guid;               // empty: Get System GUID is not supported
    std::vector<bmc_reply> replies; // before anything below
    std::vector<bmc_slave> slaves;
    banked_chip isa;                 // the board's monitor, which the BMC owns
    byte_string sensors;             // by the index of OEM command 0x93
    bool send_fails = false;         // the ioctl that sends
    bool receive_fails = false;      // the ioctl that receives
    bool silent = false;             // commands are taken and never answered
    std::deque<bmc_message> pending; // the replies that wait, oldest first
};

// The BMC's answer to a request (network function, command, data): completion code and data. `known` is
// cleared for what the board does not describe.
byte_string bmc_answer(bmc_device *bmc, const byte_string &request, double now_s, bool *known);

// The two device files.
int openipmi_ioctl(bmc_device *bmc, unsigned long request, void *argument, double now_s, bool *known);
int qxbmc_ioctl(bmc_device *bmc, unsigned long request, void *argument, double now_s, bool *known);
