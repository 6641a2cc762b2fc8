#include "hw/turns.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <pthread.h>
#include <string>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "hw/held_signals.h"

// The tests have a directory and times of their own.
#ifndef KESTREL_TURN_DIRECTORY
#define KESTREL_TURN_DIRECTORY "/run/kestrel"
#endif
#ifndef KESTREL_TURN_PATIENCE_S
#define KESTREL_TURN_PATIENCE_S 30
#endif
static const char TURN_FILE[] = KESTREL_TURN_DIRECTORY "/turn";
constexpr time_t SILENCE_S = 3;
constexpr time_t PATIENCE_S = KESTREL_TURN_PATIENCE_S;

constexpr uint64_t MADE = 0x6b65737475726e31; // "kesturn1": what follows is made, and laid out like this

struct turn_file {
    uint64_t made;
    pthread_mutex_t
        next; // held by who waits: else a copy that ends its turn takes the next one before him, each time
    pthread_mutex_t turn;
};

static turn_file *file; // nullptr: none to be had
static dev_t file_device;
static ino_t file_number;

// ---- The file

// For root alone: whoever can open the file can hold the turn, and keep us waiting.
static int open_existing() { return open(TURN_FILE, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600); }

static int open_file() {
    int fd = open_existing();
    if (fd >= 0 || errno != ENOENT)
        return fd;
    if (mkdir(KESTREL_TURN_DIRECTORY, 0755) != 0 && errno != EEXIST)
        return -1;
    return open_existing();
}

// Another copy may be making it just now, which takes it no time.
static bool lock_while_made(int fd) {
    constexpr int LOOKS = 10;
    constexpr timespec PAUSE = {0, 10000000};
    for (int i = 0; i < LOOKS; i++) {
        if (flock(fd, LOCK_EX | LOCK_NB) == 0)
            return true;
        nanosleep(&PAUSE, nullptr);
    }
    return false;
}

static void make_mutexes(turn_file *made) {
    pthread_mutexattr_t shared;
    pthread_mutexattr_init(&shared);
    pthread_mutexattr_setpshared(&shared, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&shared, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(&made->next, &shared);
    pthread_mutex_init(&made->turn, &shared);
    pthread_mutexattr_destroy(&shared);
    made->made = MADE;
}

// Room is taken for certain: a page that a full file system cannot give would be a SIGBUS later.
static turn_file *map_file(int fd) {
    struct stat status;
    if (fstat(fd, &status) != 0)
        return nullptr;
    if (status.st_size != 0 && status.st_size != sizeof(turn_file)) {
        errno = EINVAL;
        return nullptr;
    }
    errno = posix_fallocate(fd, 0, sizeof(turn_file));
    if (errno != 0)
        return nullptr;
    void *address = mmap(nullptr, sizeof(turn_file), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (address == MAP_FAILED)
        return nullptr;
    file_device = status.st_dev;
    file_number = status.st_ino;
    return static_cast<turn_file *>(address);
}

static turn_file *map_made(int fd) {
    turn_file *mapped = map_file(fd);
    if (mapped == nullptr)
        return nullptr;
    if (mapped->made == 0)
        make_mutexes(mapped);
    if (mapped->made == MADE)
        return mapped;
    munmap(mapped, sizeof *mapped);
    errno = EINVAL;
    return nullptr;
}

// The mapping keeps the file open behind the descriptor, and so the lock: it is given back by hand.
static turn_file *share_file() {
    int fd = open_file();
    if (fd < 0)
        return nullptr;
    turn_file *shared = nullptr;
    if (lock_while_made(fd)) {
        shared = map_made(fd);
        int error = errno;
        flock(fd, LOCK_UN);
        errno = error;
    }
    int error = errno;
    close(fd);
    errno = error;
    return shared;
}

// Who does not read it is not waited for; it is tried again then.
static void warn_once() {
    static bool warned;
    std::string message = std::string("Warning: ") + TURN_FILE + ": " + strerror(errno) +
                          "; another copy of this program cannot be detected.\n";
    warned = warned || write_without_waiting(message.c_str());
}

// Somebody may have tidied up: then the others share the file that took its place.
static bool is_still_there() {
    struct stat status;
    return file != nullptr && stat(TURN_FILE, &status) == 0 && status.st_dev == file_device &&
           status.st_ino == file_number && status.st_size == sizeof(turn_file);
}

static void share_anew() {
    if (file != nullptr)
        munmap(file, sizeof *file);
    file = share_file();
    if (file == nullptr)
        warn_once();
}

// At most once a second, for it costs a system call.
static void look_at_file() {
    static time_t looked_at = -1;
    timespec now;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    if (now.tv_sec == looked_at)
        return;
    looked_at = now.tv_sec;
    if (!is_still_there())
        share_anew();
}

// ---- The turn

// A copy that died in its turn has left the mutex to us.
static bool is_taken(pthread_mutex_t *mutex, int result) {
    if (result == EOWNERDEAD)
        pthread_mutex_consistent(mutex);
    return result == 0 || result == EOWNERDEAD;
}

static bool take_at_once() {
    if (!is_taken(&file->next, pthread_mutex_trylock(&file->next)))
        return false;
    bool taken = is_taken(&file->turn, pthread_mutex_trylock(&file->turn));
    pthread_mutex_unlock(&file->next);
    return taken;
}

static bool take_until(time_t end_s) {
    timespec end = {end_s, 0};
    if (!is_taken(&file->next, pthread_mutex_clocklock(&file->next, CLOCK_MONOTONIC, &end)))
        return false;
    bool taken = is_taken(&file->turn, pthread_mutex_clocklock(&file->turn, CLOCK_MONOTONIC, &end));
    pthread_mutex_unlock(&file->next);
    return taken;
}

// Nothing is half done here: a signal ends the wait and the program, also where the window handles it. An
// administrator who waits must soon know for what.
static bool wait_for_turn() {
    ending_at_once nothing_half_done;
    int before = hold_signals(HOLD_STOPS);
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    bool taken = take_until(now.tv_sec + SILENCE_S + 1);
    if (!taken) {
        write_without_waiting(
            "Warning: Another copy of this program is using the hardware; waiting for it.\n");
        taken = take_until(now.tv_sec + PATIENCE_S + 1);
    }
    hold_signals(before);
    return taken;
}

// Somebody is stopped or hangs with the file's turn. All others leave it to him: the first of them that has
// waited long enough puts a new file in its place, and they look for it within a second.
static void leave_file() {
    write_without_waiting("Warning: The other copy has not finished; going on without waiting for it.\n");
    int fd = open(TURN_FILE, O_RDWR | O_NOFOLLOW | O_CLOEXEC);
    if (fd >= 0 && lock_while_made(fd) &&
        is_still_there()) // of two that come to it at once, one finds it done
        unlink(TURN_FILE);
    if (fd >= 0)
        close(fd); // and with it the lock
    share_anew();
}

bool take_turn() {
    look_at_file();
    if (file == nullptr)
        return false;
    if (take_at_once() || wait_for_turn())
        return true;
    leave_file();
    return file != nullptr && (take_at_once() || wait_for_turn());
}

void give_turn_back() { pthread_mutex_unlock(&file->turn); }
