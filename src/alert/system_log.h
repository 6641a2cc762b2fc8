#pragma once
// One-line messages to the system log, under the identity "kes2".

#include <cstdint>

extern uint32_t bUseSysLog; // not 0 (as it starts): corrections of chip registers are logged

// `priority` as syslog(3); the formatted message is cut at 255 bytes, on a whole UTF-8 character.
[[gnu::format(printf, 2, 3)]] void logInSysLog(int priority, const char *format, ...);
