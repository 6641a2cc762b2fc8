#pragma once
// What the free door answers: every register reads as the same byte, the configuration is this text.

#include <string>

extern std::string free_configuration;
