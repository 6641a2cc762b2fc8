#pragma once
// Somebody who starts the program's window on a virtual board and uses it, by keys and by the mouse. A wait
// ends when what it waits for is there, after 20 seconds at most.

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "support/run.h"
#include "support/screen.h"

#define MAIN "Kestrel II"
#define ALERTS "Alert Messages"
#define DIALOG "Information / Warning"
#define ABOUT "About Kestrel II"

bool wait_until(const std::function<bool()> &condition, int at_most_s = 20); // false: in vain

// ---- Running

struct window_run {
    pid_t child;
    std::string directory;
};

// kestrel-virtual with a fixed clock in UTC, --strict, a trace, its files kept, and `words`. It has started
// when its first page is painted; then it can be used.
window_run start(const std::vector<std::string> &words);
window_run start_untouched(const std::vector<std::string> &words); // `words` alone, nothing waited for
bool has_started();                                                // waits for it
std::string set_display(const std::string &name); // for the next start; returns the one before

run_result end_of(const window_run &run); // waits for it
run_result quit(const window_run &run);   // after all that was typed and clicked before

std::string kept(const window_run &run, const std::string &path); // the contents of a file it leaves
std::string kept_path(const window_run &run, const std::string &path);
std::string temporary_directory(const window_run &run);
std::vector<std::string> trace(const window_run &run); // after the end

// Until the trace is so many bytes longer. It is written in pieces of 4096 bytes.
bool trace_grows(const window_run &run, size_t bytes, int at_most_s = 20);

// ---- Hands

void keys(const std::vector<std::string> &names); // into the main window, which gets the focus
void keys_into(const std::string &title, const std::vector<std::string> &names);
void type(const std::string &text); // into the main window
void click(const std::string &title, int x, int y, int times = 1);
void click(screen::window_id window, int x, int y, int times = 1);
void move_window(const std::string &title, int x, int y);

// ---- Eyes

bool is_shown(const std::string &title); // waits for it
bool is_gone(const std::string &title);  // waits for that

enum page { SUMMARY, FAN, VOLTAGE, THERMAL, ITEMS, ALERT };

int page_on_top(); // -1: it cannot be made out
bool has_opened(page page);
bool open_page(page page); // from any other, by its tab

// What is clicked in the main window: the middles of widgets whose sizes are fixed.
constexpr int BUTTONS_Y = 83; // on the Items page
constexpr int ENTRY_X = 130;
constexpr int SELECT_ALL_X = 373;
constexpr int UNSELECT_ALL_X = 471;
constexpr int ITEMS_SAVE_X = 554;
constexpr int LIST_X = 150;
constexpr int LIST_OTHER_X = 190; // so that two clicks are not a double-click
constexpr int FIRST_ROW_Y = 148;

constexpr int NAME_Y = 83; // on the Alert page
constexpr int NAME_X = 280;
constexpr int MAIL_TEST_X = 490;
constexpr int ALERT_SAVE_X = 578;
constexpr int CHECK_X = 13;
constexpr int CHECK_Y = 130;
constexpr int RECIPIENTS_Y = 173;
constexpr int SHOW_X = 87;
constexpr int SHOW_Y = 223;

bool entry_shows(const std::string &text); // the one with the cursor; its text is selected then
bool confirm_dialog();                     // waits for one, presses its button, waits until it is gone
