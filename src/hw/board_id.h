#pragma once
// Who made the board and what it is called.

// Fills the three buffers, which the caller has zero-filled; what is not found stays empty.
void get_mb_info(char *manufacturer, char *product, char *version);
