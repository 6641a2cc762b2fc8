// hold-turn: a copy of the program, over the real door, that does not end its turn at the machine.
#include <unistd.h>

#include "hw/os.h"

int main(int argc, char **argv) {
    os_start(&argc, &argv);
    os_begin_turn();
    for (;;)
        pause();
}
