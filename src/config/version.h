#pragma once
// The program's version and build stamp, as the banner, the about box and -v show them.

#define KESTREL_VERSION "2.87"
#define KESTREL_BUILD "120421"
