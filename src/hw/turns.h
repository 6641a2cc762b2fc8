#pragma once
// Copies of the program that run at once take turns at the machine: two robust mutexes in a file that they
// share. Part of the real door alone. The kernel gives back the turn of a copy that ends, however it ends;
// nothing else is needed for one that nobody else wants, so it costs no system call.

// Waits for the turn of another copy, for half a minute at most; after three seconds it says for what. False
// when there is none to be had, or the one that has it did not go on: the caller goes on without.
bool take_turn();

void give_turn_back(); // after a take_turn that was true
