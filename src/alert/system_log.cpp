#include "alert/system_log.h"

#include <cstdarg>
#include <cstdio>
#include <syslog.h>

#include "hw/os.h"
#include "hw/text.h"

uint32_t bUseSysLog = 1;

void logInSysLog(int priority, const char *format, ...) {
    char whole[1024]; // longer than any caller's message, so that the cut falls on a whole character
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(whole, sizeof whole, format, arguments);
    va_end(arguments);
    char message[256];
    copy_text(message, sizeof message, whole);
    os_syslog("kes2", LOG_PID, 0, priority, message);
}
