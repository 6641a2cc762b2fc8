// What a command costs, itself and all its children: run many times, reported in one line.
//   measure RUNS LINES OUTPUT COMMAND...
// prints: least and median elapsed time, least and median CPU time (microseconds), and the resident memory of
// the largest process (KiB). What it writes is appended to OUTPUT. It is ended by SIGTERM once it has written
// so many LINES; with 0 it ends by itself, and must do so with status 0.
// Linked statically, so that it is smaller than what it measures: a child's peak begins with its parent's.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

constexpr long MOST_RUNS = 1000;

struct run_cost {
    double elapsed_us[MOST_RUNS];
    double cpu_us[MOST_RUNS];
    long peak_kib;
};

static double now_us() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

static double us_of(const timeval &time) {
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
}

[[noreturn]] static void become(char **command, int output) {
    if (dup2(output, STDOUT_FILENO) < 0 || dup2(output, STDERR_FILENO) < 0)
        _exit(127);
    execvp(command[0], command);
    _exit(127);
}

static long lines_behind(const char *path, off_t start) {
    int file = open(path, O_RDONLY);
    char bytes[4096];
    long lines = 0;
    ssize_t count;
    lseek(file, start, SEEK_SET);
    while ((count = read(file, bytes, sizeof bytes)) > 0)
        lines += std::count(bytes, bytes + count, '\n');
    close(file);
    return lines;
}

// True once the command has written so many lines; it is sleeping then.
static bool wait_for_lines(const char *path, off_t start, long lines) {
    for (int tries = 0; tries < 3000; tries++) {
        usleep(100000);
        if (lines_behind(path, start) >= lines)
            return true;
    }
    return false;
}

static bool run_once(char **command, long lines, const char *path, run_cost *cost, long run) {
    int output = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    off_t start = lseek(output, 0, SEEK_END);
    double before = now_us();
    pid_t child = fork();
    if (child < 0)
        return false;
    if (child == 0)
        become(command, output);
    close(output);
    bool enough = lines == 0 || wait_for_lines(path, start, lines);
    if (lines > 0)
        kill(child, SIGTERM);
    int status = 0;
    rusage usage = {};
    if (wait4(child, &status, 0, &usage) != child)
        return false;
    cost->elapsed_us[run] = now_us() - before;
    cost->cpu_us[run] = us_of(usage.ru_utime) + us_of(usage.ru_stime);
    cost->peak_kib = std::max(cost->peak_kib, usage.ru_maxrss);
    return enough && (lines > 0 ? WIFSIGNALED(status) : status == 0);
}

static void print_least_and_median(double *values, long count) {
    std::sort(values, values + count);
    double median = (values[(count - 1) / 2] + values[count / 2]) / 2;
    printf("%.0f %.0f ", values[0], median);
}

int main(int argc, char **argv) {
    long runs = argc > 4 ? strtol(argv[1], nullptr, 10) : 0;
    if (runs < 1 || runs > MOST_RUNS) {
        fprintf(stderr, "Usage: %s RUNS LINES OUTPUT COMMAND...\n", argv[0]);
        return 2;
    }
    static run_cost cost;
    for (long run = 0; run < runs; run++) {
        if (!run_once(argv + 4, strtol(argv[2], nullptr, 10), argv[3], &cost, run)) {
            fprintf(stderr, "%s: %s failed\n", argv[0], argv[4]);
            return 1;
        }
    }
    print_least_and_median(cost.elapsed_us, runs);
    print_least_and_median(cost.cpu_us, runs);
    printf("%ld\n", cost.peak_kib);
    return 0;
}
