#pragma once
// What somebody in front of an X server sees of a program that he did not write: its windows and where they
// are, the colours in them, the text that was copied. Windows are named by their ids; 0 means no window.

#include <string>
#include <vector>

namespace screen {

void open(const std::string &display); // all that follows is about this one
void close();

struct place {
    int x;
    int y;
    int width;
    int height;
};

bool operator==(const place &a, const place &b);
std::ostream &operator<<(std::ostream &out, const place &place);

using window_id = unsigned long;

std::vector<window_id> windows(const std::string &title); // that are shown
window_id window(const std::string &title);               // one of them
window_id menu();                                         // one that is unfolded

place place_of(window_id window);       // its contents, on the screen
place place_of_frame(window_id window); // with what the window manager put around it
bool has_focus(window_id window);

// The colours of a part of the window, line by line; empty while it is not shown.
using picture = std::vector<unsigned long>;
picture picture_of(window_id window, const place &part);

std::string copied_text(); // as pasting it would bring it

void ask_to_close(window_id window); // through the window manager, as a task bar does it

} // namespace screen
