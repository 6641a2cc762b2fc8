#include "trace.h"

#include <cstdarg>
#include <cstdio>
#include <set>

static FILE *trace_file;
static unsigned unanswered;

bool open_trace(const std::string &path) {
    trace_file = fopen(path.c_str(), "we"); // not for the programs that a run starts
    return trace_file != nullptr;
}

void close_trace() {
    if (trace_file != nullptr)
        fclose(trace_file);
    trace_file = nullptr;
}

void flush_trace() {
    if (trace_file != nullptr)
        fflush(trace_file);
}

void trace(const char *format, ...) {
    if (trace_file == nullptr)
        return;
    va_list arguments;
    va_start(arguments, format);
    vfprintf(trace_file, format, arguments);
    va_end(arguments);
    fputc('\n', trace_file);
}

void report_unanswered(const char *format, ...) {
    static std::set<std::string> reported;
    char access[512];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(access, sizeof access, format, arguments);
    va_end(arguments);
    unanswered++;
    if (reported.insert(access).second)
        fprintf(stderr, "kestrel-virtual: nothing on this board answers %s\n", access);
}

unsigned unanswered_count() { return unanswered; }
