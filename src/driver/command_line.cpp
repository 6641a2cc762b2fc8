#include "driver/command_line.h"

#include <cstdio>
#include <cstdlib>

#include "config/version.h"
#include "items/report.h"

int32_t text;

void usage(const char *program) {
    printf("Usage:\n");
    printf("%s                         -> full function\n", program);
    printf("%s -t                      -> text mode, running only once\n", program);
    printf("%s -t -i 5                 -> text mode, running every 5 seconds\n", program);
    printf("%s -r \"Chassis Intrusion\"  -> reset the chassis intrusion\n", program);
    printf("%s -h                      -> showing this page\n", program);
    printf("%s -v                      -> showing version information\n", program);
    printf("\n");
}

[[noreturn]] static void end_with_usage(const char *program) {
    headline();
    usage(program);
    exit(0);
}

[[noreturn]] static void end_with_version(const char *program) {
    headline();
    printf("%s version %s(%s)\n", program, KESTREL_VERSION, KESTREL_BUILD);
    exit(0);
}

// Seconds from the leading decimal digits, 0 when there are none; a number too large is the largest.
static unsigned leading_seconds(const char *digits) {
    constexpr unsigned MOST = 1000000000; // 31 years
    unsigned seconds = 0;
    for (; *digits >= '0' && *digits <= '9'; digits++)
        seconds = seconds > MOST / 10 ? MOST : seconds * 10 + static_cast<unsigned>(*digits - '0');
    return seconds;
}

command_line parse_command_line(int argc, char **argv) {
    command_line line = {};
    const char *program = argc > 0 ? argv[0] : "kestrel";
    text = 0;
    for (int i = 1; i < argc; i++) {
        if (argv[i][0] != '-')
            end_with_usage(program);
        const char *argument = i + 1 < argc ? argv[i + 1] : nullptr;
        switch (argv[i][1]) { // only this one counts: -t and -text mean the same
        case 't':
            text = 1;
            break;
        case 'i':
            line.period_s = argument != nullptr ? leading_seconds(argument) : 0;
            if (line.period_s < 1)
                end_with_usage(program);
            i++;
            break;
        case 'r':
            if (argument == nullptr)
                end_with_usage(program);
            text = 1;
            line.reset = true;
            line.reset_name = argument;
            i++;
            break;
        case 'v':
            end_with_version(program);
        case 'M': // accepted and without a meaning, kept on purpose
            break;
        default:
            end_with_usage(program);
        }
    }
    return line;
}
