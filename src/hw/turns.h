#pragma once
// Copies of the program that run at the same time take turns at the machine: two robust mutexes in a file
// that they share. Part of the real door alone. The kernel gives back the turn of a copy that ends, however
// it ends; nothing else is needed for one that nobody else wants, so it costs no system call but a look at
// the file once a second.

// Waits for the turn of another copy, for half a minute at most; after three seconds it says for what. A copy
// that does not go on is left alone with its file, and the others share a new one. False when there is none
// to be had: the caller goes on without.
bool take_turn();

void give_turn_back(); // after a take_turn that was true
