#pragma once
// The trace of a run: every access in order, one stable line each. Also the message when nothing answers one.

#include <string>

// False when the file cannot be written.
bool open_trace(const std::string &path);
void close_trace();
void flush_trace(); // before a fork, and before a child gives way to another program

[[gnu::format(printf, 1, 2)]] void trace(const char *format, ...);

// An access that the board neither answers nor declares absent: counted, and reported on standard error the
// first time.
[[gnu::format(printf, 1, 2)]] void report_unanswered(const char *format, ...);
unsigned unanswered_count();
