#pragma once
// What the free door answers: every register reads as the same byte, over every route; the configuration is
// this text.

#include <string>

extern std::string free_configuration;
extern bool free_bmc; // whether an OpenIPMI device is there
