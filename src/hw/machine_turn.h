#pragma once
// One turn at the machine: what must be whole. A chip's sequence (index to data, a bank and what is read in
// it, the steps of a clear), or the rewriting of the configuration. While a turn lasts, no signal from
// outside ends or stops the process, and no other copy of the program has one. Used by everything above the
// door that touches a chip.

// From its making to the end of its scope. Turns nest; the outermost counts.
struct machine_turn {
    machine_turn();
    ~machine_turn();
    machine_turn(const machine_turn &) = delete;
    machine_turn &operator=(const machine_turn &) = delete;
};

// A message on standard error, whole, as fprintf makes it: for what is found inside a turn. It is written at
// once when that cannot block; a reader who is slow gets it when the turn is over, so that he keeps no other
// copy waiting.
[[gnu::format(printf, 1, 2)]] void complain(const char *format, ...);

// Ends every turn early, before the program ends from inside one: nothing may be half done.
void end_all_turns();
