#pragma once
// The device files of a board: buses, a BMC, physical memory. Such a descriptor represents the device.

#include <cstddef>
#include <cstdint>
#include <sys/types.h>

#include "board.h"

// A descriptor for a device of the board; -1 when no device has this path.
int open_device(virtual_board *board, const char *path);
bool is_device(int fd);
bool has_device(const virtual_board *board, const char *path);
void close_device(int fd);

int device_ioctl(virtual_board *board, int fd, unsigned long request, void *argument, double now_s);
ssize_t device_read(virtual_board *board, int fd, void *buffer, size_t size);
int device_seek(int fd, int64_t offset);
int device_wait(virtual_board *board, int fd, bool *readable);
void *device_map(virtual_board *board, int fd, int64_t offset, size_t size);
