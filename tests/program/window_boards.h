#pragma once
// Boards for the tests of the window.

#include <string>
#include <vector>

#include "user.h"

// An NCT6776F (chip 28) behind 0x295/0x296 with a fan, a voltage that is not monitored, a temperature and a
// switch, all well: its registers, and the settings and items of its configuration, which the caller puts
// together. A tick's accesses, worked out by hand.
extern const std::string SMALL_CHIP;
extern const std::string SMALL_ITEMS;
std::string small_settings(const std::string &polling); // the [System] section
std::string small_configuration();                      // every 300 seconds
std::string small_board(const std::string &polling, const std::string &more_toml = "");
std::string small_board_with(const std::string &configuration);
std::vector<std::string> small_tick();

// nct6776f-faults, read every `polling` seconds: fan 3, processor 2, the board's temperature and the chassis
// are in trouble from the start on.
std::string troubled_configuration(const std::string &polling);
std::string troubled_board(const std::string &polling, const std::string &more_toml = "");
std::string board_in_trouble(const std::string &configuration, const std::string &more_toml = "");

// What an alert of them says, after its heading.
extern const std::string TROUBLE;

// What the program prints about a mail; and, on standard error, the shell, whose last line of script has that
// number, and the board.
extern const std::string MAIL_SENT;
std::string mail_said(const window_run &run, int number, int last_line, const std::string &recipients);

// The accesses after those of the start-up, which a reset of nothing takes, too.
std::vector<std::string> behind_start_up(const std::string &board, const std::vector<std::string> &trace);

// How often `part` is repeated there, with nothing else in between; -1: it is not.
int repetitions(const std::vector<std::string> &all, const std::vector<std::string> &part);
