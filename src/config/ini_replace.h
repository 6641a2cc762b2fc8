#pragma once
// How /etc/Kestrel.ini is replaced, by all who write it: the new file is written under a name of its own
// beside it, the place's with ".new", and takes the place of the other one when it is whole and on the disk.
// At no moment is a part of a file there.

#include <cstdio>
#include <string>
#include <sys/types.h>

// Where the configuration lies.
struct ini_place {
    std::string path; // of the file that is replaced
    bool by_link;     // /etc/Kestrel.ini is a symbolic link
};

// A link stays, and the file that it leads to is replaced, if nobody but root can change where it leads: the
// link and every directory on its way are root's, and nobody else may write there. Any other link is replaced
// itself. False when that cannot be found out.
bool find_ini(ini_place *place);

// Opens the new file for writing; nullptr when it cannot be created. What was left of an earlier one goes.
FILE *open_new(const std::string &path, mode_t mode);

// Likewise, with the mode, the owner and the group of the file at `model`.
FILE *open_new_like(const char *model, const std::string &path);

// Closes it and puts it in its place. False, and it is gone, when that fails, when something could not be
// written to it, and when the caller's work is not `whole`.
bool close_new(FILE *stream, const std::string &path, bool whole);
