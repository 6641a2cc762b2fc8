#include "ui/palette.h"

// Pixel value, then red, green and blue of 16 bits.
const GdkColor LightBlue = {0, 0x0000, 0x8000, 0xFFFF};
const GdkColor Orange = {0, 0xFFFF, 0x8000, 0x0000};
const GdkColor Yellow = {0, 0xFFFF, 0xFFFF, 0x0000};
const GdkColor LightYellow = {0, 0xD903, 0xD903,
                              0x0000}; // kept on purpose: no lighter than Yellow, whatever the name
const GdkColor White = {0, 0xFFFF, 0xFFFF, 0xFFFF};
const GdkColor Black = {0, 0x0000, 0x0000, 0x0000};
