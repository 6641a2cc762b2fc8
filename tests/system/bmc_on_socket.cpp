// The management controller of an emulated machine: the emulator listens on a socket, this program connects
// and answers as virtual boards describe their BMC, and general tools from sensor_records.cpp.
//   bmc-on-socket SOCKET BOARD...
// A command of network function 0x3E, which no program that is tested sends, chooses what is played:
//   0x01 N      the N-th of the boards, counted from 0
//   0x02 N M    after N more commands M are not answered; the emulator gives up after 4 seconds
//   0x03 F C E  commands C of network function F end with the completion code E (0: as the board says)
//   0x04 F C N  the next command C of network function F gets a reply of N bytes
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "board.h"
#include "sensor_records.h"

// ---- The emulator's protocol: messages and commands, each closed by a mark, in which marks are escaped

constexpr uint8_t END_OF_MESSAGE = 0xA0;
constexpr uint8_t END_OF_COMMAND = 0xA1;
constexpr uint8_t ESCAPE = 0xAA; // the next byte has bit 4 set that the real one has not
constexpr uint8_t ESCAPED_BIT = 0x10;

static bool is_mark(uint8_t byte) {
    return byte == END_OF_MESSAGE || byte == END_OF_COMMAND || byte == ESCAPE;
}

static bool send_frame(int connection, const byte_string &bytes, uint8_t end) {
    byte_string frame;
    for (uint8_t byte : bytes) {
        if (is_mark(byte)) {
            frame.push_back(ESCAPE);
            byte |= ESCAPED_BIT;
        }
        frame.push_back(byte);
    }
    frame.push_back(end);
    return write(connection, frame.data(), frame.size()) == static_cast<ssize_t>(frame.size());
}

// True with the next message; commands report the machine's power and interrupts, and are skipped.
static bool receive_message(int connection, byte_string *message) {
    message->clear();
    bool escaped = false;
    uint8_t byte;
    while (read(connection, &byte, 1) == 1) {
        if (byte == END_OF_MESSAGE)
            return true;
        if (byte == END_OF_COMMAND)
            message->clear();
        else if (byte == ESCAPE)
            escaped = true;
        else {
            message->push_back(escaped ? static_cast<uint8_t>(byte & ~ESCAPED_BIT) : byte);
            escaped = false;
        }
    }
    return false;
}

// One at a time: g++ 12 takes a ranged insert after a braced list for an overflow.
static void append(byte_string *bytes, const uint8_t *more, size_t count) {
    for (size_t i = 0; i < count; i++)
        bytes->push_back(more[i]);
}

static uint8_t sum_of(const byte_string &bytes) {
    uint8_t sum = 0;
    for (uint8_t byte : bytes)
        sum = static_cast<uint8_t>(sum + byte);
    return sum;
}

// ---- What is played

constexpr uint8_t STAGE_DIRECTIONS = 0x3E; // their network function

struct play {
    std::vector<virtual_board> boards;
    size_t on_stage = 0;
    int silent_after = 0; // commands
    int silent_for = 0;   // after those
    byte_string refused;  // network function, command
    uint8_t refused_with = 0;
    byte_string lengthened; // network function, command
    size_t length = 0;      // of its reply; 0: as it is
};

static byte_string follow_directions(play *play, const byte_string &request) {
    const byte_string words(request.begin() + 2, request.end());
    if (request[1] == 1 && words.size() == 1 && words[0] < play->boards.size()) {
        play->on_stage = words[0];
    } else if (request[1] == 2 && words.size() == 2) {
        play->silent_after = words[0];
        play->silent_for = words[1];
    } else if (request[1] == 3 && words.size() == 3) {
        play->refused = {words[0], words[1]};
        play->refused_with = words[2];
    } else if (request[1] == 4 && words.size() == 3) {
        play->lengthened = {words[0], words[1]};
        play->length = words[2];
    } else {
        return {0xC1}; // invalid command
    }
    return {0x00};
}

static bool is_left_unanswered(play *play) {
    if (play->silent_after > 0) {
        play->silent_after--;
        return false;
    }
    if (play->silent_for == 0)
        return false;
    play->silent_for--;
    return true;
}

static bool is_about(const byte_string &request, const byte_string &command) {
    return command.size() == 2 && request[0] == command[0] && request[1] == command[1];
}

// Empty: no answer.
static byte_string answer(play *play, const byte_string &request) {
    if (request[0] == STAGE_DIRECTIONS)
        return follow_directions(play, request);
    if (is_left_unanswered(play))
        return {};
    if (play->refused_with != 0 && is_about(request, play->refused))
        return {play->refused_with};
    if (play->length != 0 && is_about(request, play->lengthened))
        return byte_string(std::exchange(play->length, 0), 0x00); // once
    byte_string of_a_sensor = sensor_answer(request);
    if (!of_a_sensor.empty())
        return of_a_sensor;
    bool known = true;
    return bmc_answer(&play->boards[play->on_stage].bmc, request, 0.0, &known);
}

// A message is: its number, network function and unit, command, data, and what makes the sum 0. False when
// the connection is broken.
static bool handle(play *play, int connection, const byte_string &message) {
    if (message.size() < 4 || sum_of(message) != 0)
        return true;
    byte_string request = {static_cast<uint8_t>(message[1] >> 2), message[2]};
    append(&request, &message[3], message.size() - 4);
    byte_string reply = {message[0], static_cast<uint8_t>(message[1] | 1 << 2), message[2]};
    byte_string answered = answer(play, request);
    if (answered.empty())
        return true;
    append(&reply, answered.data(), answered.size());
    reply.push_back(static_cast<uint8_t>(-sum_of(reply)));
    return send_frame(connection, reply, END_OF_MESSAGE);
}

// ---- The connection

static int connect_to(const char *path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (strlen(path) >= sizeof address.sun_path)
        return -1;
    strcpy(address.sun_path, path);
    for (int tries = 0; tries < 300; tries++) {
        int connection = socket(AF_UNIX, SOCK_STREAM, 0);
        if (connect(connection, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0)
            return connection;
        close(connection);
        usleep(100000); // the emulator is only just starting
    }
    return -1;
}

int main(int argc, char **argv) {
    if (argc < 3) {
        fprintf(stderr, "Usage: %s SOCKET BOARD...\n", argv[0]);
        return 2;
    }
    play play;
    for (int i = 2; i < argc; i++) {
        std::string error;
        if (!load_board(argv[i], &play.boards.emplace_back(), &error)) {
            fprintf(stderr, "%s: %s\n", argv[0], error.c_str());
            return 2;
        }
    }
    int connection = connect_to(argv[1]);
    if (connection < 0) {
        fprintf(stderr, "%s: nobody listens at %s\n", argv[0], argv[1]);
        return 1;
    }
    byte_string message;
    while (receive_message(connection, &message) && handle(&play, connection, message))
        ;
    return 0;
}
