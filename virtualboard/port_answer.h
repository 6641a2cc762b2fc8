#pragma once
// What a device says to a port access.

enum port_answer {
    NOT_MINE, // the port is another device's
    ANSWERED,
    FAILED,     // the access was made to fail
    NO_REGISTER // the port is this device's, but the register that it reaches is not described
};
