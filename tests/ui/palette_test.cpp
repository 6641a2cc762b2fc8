#include "ui/palette.h"

#include <gtest/gtest.h>

TEST(Palette, HasItsColours) {
    static const struct {
        const char *name;
        const GdkColor *colour;
        guint16 red;
        guint16 green;
        guint16 blue;
    } rows[] = {
        {"LightBlue", &LightBlue, 0x0000, 0x8000, 0xFFFF},
        {"Orange", &Orange, 0xFFFF, 0x8000, 0x0000},
        {"Yellow", &Yellow, 0xFFFF, 0xFFFF, 0x0000},
        {"LightYellow", &LightYellow, 0xD903, 0xD903, 0x0000},
        {"White", &White, 0xFFFF, 0xFFFF, 0xFFFF},
        {"Black", &Black, 0x0000, 0x0000, 0x0000},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(row.colour->pixel, 0u) << row.name;
        EXPECT_EQ(row.colour->red, row.red) << row.name;
        EXPECT_EQ(row.colour->green, row.green) << row.name;
        EXPECT_EQ(row.colour->blue, row.blue) << row.name;
    }
}
