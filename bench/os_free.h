#pragma once
// What the free door answers: every register reads as one byte, over every route; the configuration is
// this text.

#include <cstdint>
#include <string>

extern std::string free_configuration;
extern uint8_t free_byte; // what every register reads as
extern bool free_bmc;     // whether an OpenIPMI device is there
