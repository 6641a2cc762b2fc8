// Copies of the program at one chip, over the real door: its ports are answered by a chip in memory that the
// copies share, and whoever touches it may be put aside between any two accesses. No reading is torn, and no
// signal leaves a bank behind.
#include "hw/isa.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <random>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "hw/held_signals.h"
#include "support/run.h"

// ---- The chip

constexpr uint16_t INDEX = 0x295, DATA = 0x296;
constexpr uint8_t BANK_SELECT = 0x4E, BANK_AT_FIRST = 0x80;

static struct shared_chip {
    uint8_t selected;
    uint8_t bank_select;
    uint8_t limits[16]; // of each bank, register 0x2B; what else is read has a value of its own place
    unsigned long readings;
    unsigned long torn;
} * chip;

// No two banks and registers next to each other have the same.
static uint8_t value_at(unsigned bank, unsigned reg) {
    return static_cast<uint8_t>(bank * 37 + reg * 11 + 5);
}

static void let_others_in() {
    static unsigned accesses;
    if (++accesses % 7 == 0)
        sched_yield();
}

// The linker puts these two in the places of os_inb and os_outb.
extern "C" int __wrap__Z6os_inbtPh(uint16_t port, uint8_t *value) {
    let_others_in();
    if (port != DATA)
        return -1;
    *value = chip->selected == BANK_SELECT ? chip->bank_select
                                           : value_at(chip->bank_select & 0x0F, chip->selected);
    return 0;
}

extern "C" int __wrap__Z7os_outbth(uint16_t port, uint8_t value) {
    let_others_in();
    if (port == INDEX)
        chip->selected = value;
    else if (chip->selected == BANK_SELECT)
        chip->bank_select = value;
    else
        chip->limits[chip->bank_select & 0x0F] = value;
    return 0;
}

static void make_chip() {
    void *memory = mmap(nullptr, sizeof *chip, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    chip = static_cast<shared_chip *>(memory);
    chip->bank_select = BANK_AT_FIRST;
    for (unsigned bank = 0; bank < 16; bank++)
        chip->limits[bank] = static_cast<uint8_t>(bank);
}

// ---- Copies

static void count_reading(bool right) {
    __atomic_fetch_add(&chip->readings, 1, __ATOMIC_RELAXED);
    if (!right)
        __atomic_fetch_add(&chip->torn, 1, __ATOMIC_RELAXED);
}

// One of each kind of access, in banks that no other copy's accesses are in just then.
static void read_and_write(unsigned seed) {
    unsigned bank = seed % 16, reg = 0x20 + seed % 29;
    uint32_t byte = 0, fan = 0;
    int status = isa_byte_data_read(INDEX, DATA, bank, reg, &byte);
    count_reading(status == 0 && byte == value_at(bank, reg));
    status = isa_word_data_read_NCT6776F_fan(INDEX, DATA, bank, reg, &fan);
    count_reading(status == 0 && fan == value_at(bank, reg) * 32u + (value_at(bank, reg + 1) & 0x1Fu));
    isa_byte_data_write(INDEX, DATA, bank, 0x2B, bank);
}

static pid_t start_copy(unsigned seed, unsigned long rounds) {
    pid_t child = fork();
    if (child != 0)
        return child;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    catch_signals();
    for (unsigned long i = 0; i < rounds; i++)
        read_and_write(seed += 7);
    _exit(0);
}

static void expect_untouched() {
    EXPECT_EQ(chip->torn, 0u) << "of " << chip->readings;
    EXPECT_EQ(chip->bank_select, BANK_AT_FIRST);
    for (unsigned bank = 0; bank < 16; bank++)
        EXPECT_EQ(chip->limits[bank], bank) << "written in another bank";
}

TEST(TurnsAtOneChip, NothingIsTorn) {
    constexpr unsigned COPIES = 4;
    constexpr unsigned long ROUNDS = 5000;
    std::filesystem::current_path(scratch_directory());
    make_chip();
    for (unsigned i = 0; i < COPIES; i++)
        ASSERT_GT(start_copy(i * 5, ROUNDS), 0);
    for (unsigned i = 0; i < COPIES; i++) {
        int status = 0;
        wait(&status);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(chip->readings, 2 * COPIES * ROUNDS);
    expect_untouched();
}

// Copies that are ended by one signal after the other at any moment, with others beside them.
TEST(TurnsAtOneChip, NoSignalLeavesABankBehind) {
    constexpr int SIGNALS[] = {SIGTERM, SIGINT, SIGHUP, SIGUSR1, SIGALRM, SIGPIPE, SIGXCPU};
    constexpr int KILLS = 300;
    std::filesystem::current_path(scratch_directory());
    make_chip();
    std::mt19937 random(1);
    pid_t lasting = start_copy(3, ~0ul);
    for (int i = 0; i < KILLS; i++) {
        pid_t child = start_copy(random(), ~0ul);
        usleep(static_cast<useconds_t>(500 + random() % 3000));
        int number = SIGNALS[random() % std::size(SIGNALS)];
        kill(child, number);
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == number) << status;
    }
    kill(lasting, SIGTERM);
    waitpid(lasting, nullptr, 0);
    EXPECT_GT(chip->readings, 1000u);
    expect_untouched();
}
