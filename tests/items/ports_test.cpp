// Permission for the ports: what is asked for, in which order, what is reported and what comes back. The
// calls below replace the kernel and the controller's search, so that any of them can be refused.
#include "items/ports.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>

#include "hw/os.h"
#include "hw/pci.h"
#include "items/records.h"

using std::string;

#define NO_LEVEL "Error: Could not iopl()!\n"
#define NO_INDEX "Error: Could not ioperm() Index Register!\n"
#define NO_DATA "Error: Could not ioperm() Data Register!\n"

// What the machine refuses and has.
static bool refuse_level;
static bool refuse_index;
static bool refuse_data;
static uint32_t controller_base; // 0: no controller

static string calls;

uint32_t SMB_BASE_IO_ADDR;
uint8_t IntelDevice;

uint8_t scan_device(uint32_t *base) {
    EXPECT_EQ(*base, 0u); // an earlier base is forgotten before the search
    calls += "scan\n";
    if (controller_base == 0)
        return 0; // the base is untouched
    *base = controller_base;
    return 1;
}

int os_iopl(int level) {
    calls += call_line("iopl %d\n", level);
    return refuse_level ? -1 : 0;
}

int os_ioperm(uint16_t first, unsigned count, bool on) {
    calls += call_line("ioperm %04x %u %d\n", first, count, on);
    return (first == 0x295 && refuse_index) || (first == 0x296 && refuse_data) ? -1 : 0;
}

struct outcome {
    int status;
    string calls;
    string errors; // standard error
    string output; // standard output
};

static outcome run_with(int (*call)(const system_settings *), const system_settings &system) {
    outcome result = {};
    calls.clear();
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    result.status = call(&system);
    result.errors = testing::internal::GetCapturedStderr();
    result.output = testing::internal::GetCapturedStdout();
    result.calls = calls;
    return result;
}

static outcome run(int (*call)(const system_settings *), uint32_t bus_type) {
    return run_with(call, make_system(bus_type));
}

static void refuse(unsigned set) { // bit 0 the level, bit 1 the index port, bit 2 the data port
    refuse_level = (set & 1) != 0;
    refuse_index = (set & 2) != 0;
    refuse_data = (set & 4) != 0;
}

// Messages and results by what is refused.
struct refusal {
    const char *errors;
    int status;
};

static const refusal WITH_SUPERIO[] = {
    {"", 0},
    {NO_LEVEL, -1},
    {NO_INDEX, -1},
    {NO_LEVEL NO_INDEX, -1},
    {NO_DATA, -1},
    {NO_LEVEL NO_DATA, -1},
    {NO_INDEX NO_DATA, -1}, // the data port is asked for after a refused index port
    {NO_LEVEL NO_INDEX NO_DATA, -1},
};

TEST(IoOpen, AsksForTheLevelAndTheTwoPorts) {
    for (unsigned refused = 0; refused < 8; refused++)
        for (uint32_t bus_type : {2u, 6u, 0xF2u}) { // no SMBus bit: no search
            controller_base = 0;
            refuse(refused);
            outcome seen = run(io_open, bus_type);
            string what = call_line("bus type %x refused %u", bus_type, refused);
            EXPECT_EQ(seen.status, WITH_SUPERIO[refused].status) << what;
            EXPECT_EQ(seen.errors, WITH_SUPERIO[refused].errors) << what;
            EXPECT_EQ(seen.calls, "iopl 3\nioperm 0295 1 1\nioperm 0296 1 1\n") << what;
            EXPECT_EQ(seen.output, "") << what;
        }
}

TEST(IoOpen, WithoutSuperIoAsksForTheLevelAlone) {
    for (unsigned refused = 0; refused < 8; refused++)
        for (uint32_t bus_type : {0u, 4u}) {
            refuse(refused);
            outcome seen = run(io_open, bus_type);
            EXPECT_EQ(seen.status, (refused & 1) != 0 ? -1 : 0) << "refused " << refused;
            EXPECT_EQ(seen.errors, (refused & 1) != 0 ? NO_LEVEL : "") << "refused " << refused;
            EXPECT_EQ(seen.calls, "iopl 3\n") << "refused " << refused;
        }
}

TEST(IoOpen, SmbusBitsWithoutAControllerEndAtOnce) {
    for (uint32_t bus_type : {1u, 8u, 9u, 3u, 10u, 11u}) {
        controller_base = 0;
        refuse(0);
        SMB_BASE_IO_ADDR = 0x1100;
        IntelDevice = 1;
        outcome seen = run(io_open, bus_type);
        EXPECT_EQ(seen.status, -1) << "bus type " << bus_type;
        EXPECT_EQ(seen.calls, "scan\n") << "bus type " << bus_type;
        EXPECT_EQ(seen.errors + seen.output, "") << "bus type " << bus_type;
        EXPECT_EQ(SMB_BASE_IO_ADDR, 0u) << "bus type " << bus_type;
        EXPECT_EQ(IntelDevice, 0) << "bus type " << bus_type;
    }
}

TEST(IoOpen, SmbusBitsWithAControllerKeepItsBaseAndKind) {
    for (unsigned refused = 0; refused < 8; refused++)
        for (uint32_t bus_type : {1u, 8u, 9u, 3u, 10u, 11u}) {
            controller_base = 0x1100;
            refuse(refused);
            SMB_BASE_IO_ADDR = 0x500;
            IntelDevice = 0;
            outcome seen = run(io_open, bus_type);
            string what = call_line("bus type %x refused %u", bus_type, refused);
            bool superio = (bus_type & 2) != 0;
            EXPECT_EQ(SMB_BASE_IO_ADDR, 0x1100u) << what;
            EXPECT_EQ(IntelDevice, 1) << what;
            EXPECT_EQ(seen.calls,
                      string("scan\niopl 3\n") + (superio ? "ioperm 0295 1 1\nioperm 0296 1 1\n" : ""))
                << what;
            const refusal &expected = WITH_SUPERIO[superio ? refused : refused & 1];
            EXPECT_EQ(seen.status, expected.status) << what;
            EXPECT_EQ(seen.errors, expected.errors) << what;
        }
}

TEST(IoClose, GivesBackTheLevelAndTheTwoPorts) {
    for (unsigned refused = 0; refused < 8; refused++)
        for (uint32_t bus_type : {2u, 3u, 10u, 11u, 6u}) { // nothing is searched for
            controller_base = 0;
            refuse(refused);
            outcome seen = run(io_close, bus_type);
            string what = call_line("bus type %x refused %u", bus_type, refused);
            EXPECT_EQ(seen.status, WITH_SUPERIO[refused].status) << what;
            EXPECT_EQ(seen.errors, WITH_SUPERIO[refused].errors) << what;
            EXPECT_EQ(seen.calls, "iopl 0\nioperm 0295 1 0\nioperm 0296 1 0\n") << what;
            EXPECT_EQ(seen.output, "") << what;
        }
}

TEST(IoClose, WithoutSuperIoGivesBackTheLevelAlone) {
    for (unsigned refused = 0; refused < 8; refused++)
        for (uint32_t bus_type : {0u, 1u, 4u, 8u, 9u}) {
            refuse(refused);
            outcome seen = run(io_close, bus_type);
            EXPECT_EQ(seen.status, (refused & 1) != 0 ? -1 : 0) << "refused " << refused;
            EXPECT_EQ(seen.errors, (refused & 1) != 0 ? NO_LEVEL : "") << "refused " << refused;
            EXPECT_EQ(seen.calls, "iopl 0\n") << "refused " << refused;
        }
}

// Cut to sixteen bits, they would be other devices' ports.
TEST(IoOpen, NumbersThatAreNoPortsAreRefusedWithoutACall) {
    system_settings system = make_system(BUS_SUPERIO);
    system.IndexReg = 0x10295;
    refuse(0);
    outcome seen = run_with(io_open, system);
    EXPECT_EQ(seen.status, -1);
    EXPECT_EQ(seen.errors, NO_INDEX);
    EXPECT_EQ(seen.calls, "iopl 3\nioperm 0296 1 1\n");
    system.DataReg = 0xFFFFFFFF;
    seen = run_with(io_close, system);
    EXPECT_EQ(seen.status, -1);
    EXPECT_EQ(seen.errors, NO_INDEX NO_DATA);
    EXPECT_EQ(seen.calls, "iopl 0\n");
}
