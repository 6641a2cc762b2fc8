#include "support/window.h"

#include "config/ini_read.h"
#include "support/os_test.h"

// In a file of its own: what needs no more than the windows does not pull in the door of function tests.
void test_window::open(const std::string &configuration) {
    test_door::put_file(KESTREL_INI, configuration);
    open_configured();
}
