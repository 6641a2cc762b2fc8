#include "options.h"

int main(int argc, char **argv) { take_virtual_options(&argc, &argv); }
