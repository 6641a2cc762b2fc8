#pragma once
// The only door out of the process: every touch of the machine goes through these calls. os_linux.cpp is
// the real machine, virtualboard/os_virtual.cpp a board made of files; the program is the same over both.
// Unless said otherwise a call returns 0 on success and -1 with errno on failure, out-arguments untouched.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>
#include <sys/types.h>
#include <vector>

// Called once, first of all, with main's arguments. The real machine leaves them alone and clears the
// environment of what could lead to somebody else's programs; a virtual board takes its own options out of
// them.
void os_start(int *argc, char ***argv);

// I/O ports. Permission is asked for with os_iopl (level 3: all ports, 0: none) and os_ioperm (single ports).
// An access to a port that was not granted is refused with EPERM; the instruction is not executed.
int os_iopl(int level);
int os_ioperm(uint16_t first, unsigned count, bool on);
int os_inb(uint16_t port, uint8_t *value);
int os_outb(uint16_t port, uint8_t value);
int os_inl(uint16_t port, uint32_t *value);
int os_outl(uint16_t port, uint32_t value);

// One turn at the machine; machine_turn.h alone calls these. Between them no signal from outside ends or
// stops the process, so that a chip is never left in another bank or in its configuration mode, and no other
// copy of the program has a turn. A signal that came meanwhile takes effect at the end. Another copy's turn
// is waited for, half a minute at most; a signal ends the program meanwhile. They do not nest.
void os_begin_turn();
void os_end_turn();

// Writes to standard error if that can be done without waiting for who reads it; false when it is not
// written.
bool os_complain_at_once(const char *text);

// Called when the window has put handlers of its own in place: they are called as before, and what waits
// knows of their signals, too.
void os_share_signals();

// Devices. os_open and os_read return a descriptor and a byte count; os_map maps read-only and shared,
// nullptr on failure. os_copy copies out of a mapping: -1 when what was mapped is not there any more, which a
// plain copy would die of. os_wait_readable returns what select returned, with `*readable` telling whether
// the descriptor was marked. It waits for ever, but not when a signal has come that ends the program: EINTR
// then, if a second more brings nothing.
int os_open(const char *path, int flags);
int os_close(int fd);
ssize_t os_read(int fd, void *buffer, size_t size);
int os_seek(int fd, int64_t offset);
void *os_map(int fd, int64_t offset, size_t size);
int os_copy(void *to, const void *mapped, size_t size);
int os_unmap(void *address, size_t size);
int os_ioctl(int fd, unsigned long request, void *argument);
int os_wait_readable(int fd, bool *readable);

// Files. os_fopen returns nullptr on failure; the stream is then used with stdio and closed with os_fclose,
// whose failure means that what was written may not be on disk.
FILE *os_fopen(const char *path, const char *mode);
int os_fclose(FILE *stream);
// A file of its own in a directory where others may write too: what lies at `path` is removed, a link never
// followed, and the file made anew with exactly `mode`, open for writing; nullptr when that cannot be had.
// os_fchmod changes the mode of an open file, after what was written to the stream so far is in it.
FILE *os_create_private(const char *path, mode_t mode);
int os_fchmod(FILE *stream, mode_t mode);
int os_fsync(FILE *stream);                    // returns when what was written to the stream is on the disk
bool os_is_terminal(FILE *stream);             // whether a person at a terminal sees what is written to it
bool os_exists(const char *path);              // what cannot be looked at may be there: true
int os_mode(const char *path, mode_t *mode);   // the permission bits of a file
int os_copy_owner(const char *from, FILE *to); // gives an open file the owner and the group of another
// Of what lies at a path itself, links not followed: the whole mode, and the owner's user id.
int os_look_at(const char *path, mode_t *mode, uid_t *owner);
int os_read_link(const char *path, std::string *target);
int os_link(const char *existing, const char *name); // one more name for a file
int os_rename(const char *from, const char *to);
int os_unlink(const char *path);
int os_list_directory(const char *path, std::vector<std::string> *names); // without "." and ".."

// Processes. os_system returns the shell's wait status, or -1; os_popen a stream to read the command's output
// from, or nullptr. os_exec replaces the process by the file, with an empty argument list, and returns only
// on failure. os_waitpid waits until that child has ended; how it ended is not asked. What ends programs ends
// this one meanwhile, also when it has handlers for HUP, INT or TERM; other signals do not end the wait.
int os_system(const char *command);
FILE *os_popen(const char *command);
int os_pclose(FILE *stream);
pid_t os_fork();
void os_exec(const char *path);
int os_waitpid(pid_t child);
bool os_is_ignored(int signal_number); // as the caller may have left it

void os_sleep(unsigned seconds);
void os_usleep(unsigned microseconds);
uint32_t os_getuid();                    // the real user id
int os_random(void *bytes, size_t size); // that nobody can foresee
time_t os_time();                        // seconds since 1970

// One message to the system log: `facility` 0 is the default one; `options` and `priority` as syslog(3).
void os_syslog(const char *identity, int options, int facility, int priority, const char *message);
