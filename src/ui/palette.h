#pragma once
// The colours of the window. No colour depends on a state: what is abnormal is shown by an image.

#include <gtk/gtk.h>

extern const GdkColor LightBlue; // charts
extern const GdkColor Orange;    // headings of the Summary page
extern const GdkColor Yellow;
extern const GdkColor LightYellow;
extern const GdkColor White;
extern const GdkColor Black;
