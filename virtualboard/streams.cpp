#include "streams.h"

#include <cerrno>
#include <map>
#include <unistd.h>

#include "faults.h"

struct open_stream {
    FILE *file;
    std::string name;
    bool is_full; // takes no more bytes after a short write
};

static std::map<FILE *, open_stream *> open_streams;

static ssize_t read_stream(void *cookie, char *bytes, size_t size) {
    auto *stream = static_cast<open_stream *>(cookie);
    transfer_fault fault = transfer_fails("fread %s", stream->name.c_str());
    if (fault == FAILED_TRANSFER)
        return -1;
    ssize_t got = read(fileno(stream->file), bytes, size);
    if (fault != HALF_TRANSFER || got <= 1)
        return got;
    off64_t later = got / 2; // what the next read begins with
    return lseek64(fileno(stream->file), -later, SEEK_CUR) < 0 ? got : got - later;
}

// stdio takes less than it gave for a failure.
static ssize_t write_stream(void *cookie, const char *bytes, size_t size) {
    auto *stream = static_cast<open_stream *>(cookie);
    transfer_fault fault = transfer_fails("fwrite %s", stream->name.c_str());
    if (fault == FAILED_TRANSFER)
        return 0;
    if (stream->is_full) {
        errno = ENOSPC;
        return 0;
    }
    stream->is_full = fault == HALF_TRANSFER;
    ssize_t written = write(fileno(stream->file), bytes, fault == HALF_TRANSFER ? size / 2 : size);
    if (fault == HALF_TRANSFER)
        errno = ENOSPC;
    return written < 0 ? 0 : written;
}

static int seek_stream(void *cookie, off64_t *offset, int whence) {
    off64_t position = lseek64(fileno(static_cast<open_stream *>(cookie)->file), *offset, whence);
    if (position < 0)
        return -1;
    *offset = position;
    return 0;
}

// A close that fails has closed all the same.
static int close_stream(void *cookie) {
    auto *stream = static_cast<open_stream *>(cookie);
    bool fails = call_fails("fclose %s", stream->name.c_str());
    int error = errno;
    int result = fclose(stream->file);
    delete stream;
    if (!fails)
        return result;
    errno = error;
    return -1;
}

FILE *make_stream(FILE *file, const std::string &name, const char *mode) {
    if (file == nullptr)
        return nullptr;
    auto *stream = new open_stream{file, name, false};
    FILE *made = fopencookie(stream, mode, {read_stream, write_stream, seek_stream, close_stream});
    open_streams[made] = stream; // the next one at this address takes its place
    return made;
}

int descriptor_of(FILE *stream) { return fileno(open_streams.at(stream)->file); }
