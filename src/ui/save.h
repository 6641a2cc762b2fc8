#pragma once
// Saving of the settings from the two pages that have a Save button.

enum { SAVE_ITEMS_PAGE = 1, SAVE_ALERT_PAGE = 2 };

// Rewrites the configuration file with the settings in memory. A failure is reported on standard output and
// ends the main loop; the file's previous contents stay.
void save_INI_File(int mode);
