#include "hw/gpio.h"

constexpr int NOT_READ = -1; // pins cannot be read yet

int ReadSuperGPIO(uint32_t, uint32_t, uint32_t, uint32_t *) { return NOT_READ; }

int ReadSBGPIO(uint32_t, uint32_t, uint32_t, uint32_t *) { return NOT_READ; }
