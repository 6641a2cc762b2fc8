#pragma once
// How /etc/Kestrel.ini is replaced, by all who write it: the new file is written under a name of its own and
// takes the place of the other one when it is whole and on the disk. At no moment is a part of a file there.

#include <cstdio>
#include <sys/types.h>

// Opens the new file for writing; nullptr when it cannot be created. What was left of an earlier one goes.
FILE *open_new_ini(mode_t mode);

// Closes it and puts it in its place. False, and it is gone, when that fails, when something could not be
// written to it, and when the caller's work is not `whole`.
bool close_new_ini(FILE *stream, bool whole);
