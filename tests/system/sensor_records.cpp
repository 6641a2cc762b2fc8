#include "sensor_records.h"

#include <cstddef>
#include <cstring>
#include <iterator>

constexpr uint8_t COMPLETED = 0x00;
constexpr uint8_t RESERVATION_CANCELLED = 0xC5;
constexpr uint8_t BAD_LENGTH = 0xC7;
constexpr uint8_t OUT_OF_RANGE = 0xC9;
constexpr uint8_t NOT_PRESENT = 0xCB;

enum sensor_type : uint8_t { TEMPERATURE = 1, VOLTAGE = 2, FAN = 4, CHASSIS = 5, POWER_SUPPLY = 8 };
enum sensor_unit : uint8_t { NO_UNIT = 0, DEGREES_C = 1, VOLTS = 4, RPM = 18 };
enum : uint8_t { LOWER_CRITICAL = 0x02, UPPER_CRITICAL = 0x10 }; // the limits that a sensor has

struct sensor {
    const char *name;
    sensor_type type;
    sensor_unit unit;
    uint8_t multiplier; // the value is raw * multiplier * 10 ^ exponent
    int exponent;
    uint8_t raw;
    uint8_t limits;
    uint8_t low;
    uint8_t high;
};

// A sensor's number is its place here; the record's is one more.
static const sensor sensors[] = {
    {"Fan 1", FAN, RPM, 45, 0, 120, LOWER_CRITICAL, 15, 0},
    {"+12V", VOLTAGE, VOLTS, 6, -2, 200, LOWER_CRITICAL | UPPER_CRITICAL, 190, 210},
    {"CPU1 Temperature", TEMPERATURE, DEGREES_C, 1, 0, 61, UPPER_CRITICAL, 0, 95},
    {"Fan 2", FAN, RPM, 45, 0, 100, LOWER_CRITICAL, 67, 0},
    {"CPU2 Core", VOLTAGE, VOLTS, 1, -2, 141, LOWER_CRITICAL | UPPER_CRITICAL, 120, 162},
    {"Riser +12V", VOLTAGE, VOLTS, 6, -2, 200, LOWER_CRITICAL | UPPER_CRITICAL, 190, 209},
    {"Riser Temp", TEMPERATURE, DEGREES_C, 1, 0, 37, UPPER_CRITICAL, 0, 60},
    {"Fan 3", FAN, RPM, 45, 0, 125, LOWER_CRITICAL, 33, 0},
    {"Fan 4", FAN, RPM, 45, 0, 125, LOWER_CRITICAL, 15, 0},
    {"CPU2 Temperature", TEMPERATURE, DEGREES_C, 1, 0, 58, UPPER_CRITICAL, 0, 95},
    {"CPU3 Temperature", TEMPERATURE, DEGREES_C, 1, 0, 50, UPPER_CRITICAL, 0, 90},
    {"Memory Temp", TEMPERATURE, DEGREES_C, 1, 0, 48, UPPER_CRITICAL, 0, 95},
    {"GPU Temp", TEMPERATURE, DEGREES_C, 1, 0, 55, UPPER_CRITICAL, 0, 90},
    {"Chassis", CHASSIS, NO_UNIT, 1, 0, 0, 0, 0, 0},
    {"PS 1", POWER_SUPPLY, NO_UNIT, 1, 0, 0, 0, 0, 0},
    {"PS 2", POWER_SUPPLY, NO_UNIT, 1, 0, 0, 0, 0, 0},
    {"PS 3", POWER_SUPPLY, NO_UNIT, 1, 0, 0, 0, 0, 0},
};

static bool has_limits(const sensor &sensor) { return sensor.limits != 0; }

// ---- A record

struct sensor_record { // as it is in the repository, all fields bytes
    uint8_t record_id[2];
    uint8_t version;
    uint8_t record_type;
    uint8_t length; // of what follows
    uint8_t owner[2];
    uint8_t number;
    uint8_t entity[2];
    uint8_t initialization;
    uint8_t capabilities;
    uint8_t type;
    uint8_t event_type;
    uint8_t asserted[2];
    uint8_t deasserted[2];
    uint8_t readable_limits;
    uint8_t settable_limits;
    uint8_t units_kind; // 0: unsigned
    uint8_t unit;
    uint8_t modifier;
    uint8_t linearization; // 0: linear
    uint8_t multiplier[2];
    uint8_t offset[2];
    uint8_t accuracy;
    uint8_t exponents; // high half: of the result; low half: of the offset
    uint8_t analog_flags;
    uint8_t nominal[3];
    uint8_t range[2];
    uint8_t upper_limits[3]; // non-recoverable, critical, non-critical
    uint8_t lower_limits[3];
    uint8_t hysteresis[2];
    uint8_t reserved[3];
    uint8_t name_length; // with the kind of its letters, 8 bit
    char name[16];
};

constexpr size_t RECORD_HEAD = offsetof(sensor_record, owner);
constexpr size_t RECORD_WITHOUT_NAME = offsetof(sensor_record, name);
static_assert(RECORD_HEAD == 5 && RECORD_WITHOUT_NAME == 48);

static size_t record_length(size_t number) { return RECORD_WITHOUT_NAME + strlen(sensors[number].name); }

static sensor_record record_of(size_t number) {
    const sensor &sensor = sensors[number];
    sensor_record record = {};
    record.record_id[0] = static_cast<uint8_t>(number + 1);
    record.version = 0x51; // 1.5, read with the low half first
    record.record_type = 0x01;
    record.length = static_cast<uint8_t>(record_length(number) - RECORD_HEAD);
    record.owner[0] = 0x20; // the BMC
    record.number = static_cast<uint8_t>(number);
    record.entity[0] = 0x07; // the system board
    record.entity[1] = 0x01;
    record.initialization = 0x7F;
    record.capabilities = has_limits(sensor) ? 0x44 : 0x40; // re-arms by itself, limits can be read
    record.type = sensor.type;
    record.event_type = has_limits(sensor) ? 0x01 : 0x6F; // limits, or states of its own
    record.readable_limits = sensor.limits;
    record.units_kind = has_limits(sensor) ? 0x00 : 0xC0; // no number
    record.unit = sensor.unit;
    record.multiplier[0] = sensor.multiplier;
    record.exponents = static_cast<uint8_t>(sensor.exponent << 4);
    record.range[0] = 0xFF;
    record.upper_limits[1] = sensor.high;
    record.lower_limits[1] = sensor.low;
    record.name_length = static_cast<uint8_t>(0xC0 | strlen(sensor.name));
    memcpy(record.name, sensor.name, strlen(sensor.name));
    return record;
}

// ---- The commands

static byte_string repository_info() {
    return {COMPLETED, 0x51, std::size(sensors), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
            0,         0x02}; // 2: it can be reserved
}

static byte_string reserve() {
    return {COMPLETED, 0x01, 0x00};
} // nothing ever changes, so one is enough for all

// Reservation, record, offset, count (0xFF: to the end); the answer begins with the next record's number.
static byte_string record_part(const byte_string &request) {
    if (request.size() != 8)
        return {BAD_LENGTH};
    size_t record = static_cast<size_t>(request[4] | request[5] << 8);
    size_t offset = request[6];
    if (offset != 0 && (request[2] != 0x01 || request[3] != 0x00))
        return {RESERVATION_CANCELLED};
    size_t number = record == 0 ? 0 : record - 1; // 0 is the first
    if (number >= std::size(sensors))
        return {NOT_PRESENT};
    size_t length = record_length(number);
    size_t count = request[7] == 0xFF && offset <= length ? length - offset : request[7];
    if (offset + count > length)
        return {OUT_OF_RANGE};
    bool last = number + 1 == std::size(sensors);
    byte_string reply = {COMPLETED, static_cast<uint8_t>(last ? 0xFF : number + 2),
                         static_cast<uint8_t>(last ? 0xFF : 0x00)};
    sensor_record bytes = record_of(number);
    for (size_t i = 0; i < count; i++)
        reply.push_back(reinterpret_cast<const uint8_t *>(&bytes)[offset + i]);
    return reply;
}

static byte_string reading(const byte_string &request) {
    if (request.size() != 3)
        return {BAD_LENGTH};
    if (request[2] >= std::size(sensors))
        return {NOT_PRESENT};
    return {COMPLETED, sensors[request[2]].raw, 0xC0, 0xC0,
            0x80}; // being scanned, no limit crossed, no state set
}

static byte_string limits(const byte_string &request) {
    if (request.size() != 3)
        return {BAD_LENGTH};
    if (request[2] >= std::size(sensors))
        return {NOT_PRESENT};
    const sensor &sensor = sensors[request[2]];
    return {COMPLETED, sensor.limits, 0, sensor.low, 0, 0, sensor.high, 0};
}

byte_string sensor_answer(const byte_string &request) {
    switch (request.size() < 2 ? 0 : request[0] << 8 | request[1]) {
    case 0x0A20:
        return repository_info();
    case 0x0A22:
        return reserve();
    case 0x0A23:
        return record_part(request);
    case 0x042D:
        return reading(request);
    case 0x0427:
        return limits(request);
    default:
        return {};
    }
}
