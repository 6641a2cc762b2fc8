#pragma once
// The streams that the door hands out: each filling and emptying of their buffers, and their closing, is a
// call that can be made to fail.

#include <cstdio>
#include <string>

// Takes over the open `file`, whose buffer is not used yet; nullptr for nullptr. `name` is for the list of
// calls, `mode` as for fopen.
FILE *make_stream(FILE *file, const std::string &name, const char *mode);

int descriptor_of(FILE *stream); // of the file behind it
