#pragma once
// The sensor data repository of the emulated machine's BMC: what general tools, which know nothing of the
// maker's commands, ask a BMC for. One full record for each item of a report, with nearly the same values: a
// record has one byte for each and a linear formula.

#include "bmc.h"

// The answer to the standard commands of the repository and of the sensors: completion code and data. Empty:
// the request (network function, command, data) is not one of these.
byte_string sensor_answer(const byte_string &request);
