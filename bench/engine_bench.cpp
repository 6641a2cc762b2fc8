// The program's own share of its work, over a door that costs nothing: one reading by each route, loading a
// configuration, building the records, one report. docs/performance.md has the figures.
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <unistd.h>

#include "config/ini_read.h"
#include "hw/i2c_adapters.h"
#include "hw/ipmi.h"
#include "hw/pci.h"
#include "items/display.h"
#include "items/readings.h"
#include "items/report.h"
#include "os_free.h"

// A board with `count` items: fans, voltages, temperatures and switches in turn, each with limits of its own.
static std::string configuration_of(int count, unsigned chip) {
    std::string text = "[System]\nBUSTYPE=2\nINDEXREG=295\nDATAREG=296\nPOLLING=5\n\n";
    static const char *const categories[] = {"FAN", "VOLTAGE", "TEMP", "SWITCH"};
    char block[600];
    for (int i = 0; i < count; i++) {
        snprintf(block, sizeof block,
                 "[Item]\nITEM_NAME=Item number %d\nITEM_CAT=%s\nVOL_FUNC=P12V\nITEM_ID=ID%d\nBUSTYPE=2\n"
                 "CHIPCODE=%x\nSLAVE=1\nOFFSET=%x\nACTIVATE=1\nMONITOR=TRUE\nSOURCE=0\nPARAINDEX1=H%d\n"
                 "PARAINDEX2=L%d\n\n",
                 i, categories[i % 4], i, chip, 0x20 + i % 0x60, i, i);
        text += block;
    }
    for (int i = 0; i < count; i++) {
        snprintf(block, sizeof block,
                 "[Parameter]\nPARAMETER=H%d\nSLAVE=1\nOFFSET=2B\nBITMASK=30\n\n"
                 "[Parameter]\nPARAMETER=L%d\nSLAVE=1\nOFFSET=2C\nBITMASK=30\n\n",
                 i, i);
        text += block;
    }
    return text;
}

struct loaded {
    system_settings *system;
    item_record *items;
    int32_t count;
    parameter_record *parameters;
};

static loaded load(int count, unsigned chip) {
    free_configuration = configuration_of(count, chip);
    loaded l = {};
    l.count = static_cast<int32_t>(loadKestrelINI_and_getItemCount(&l.system, &l.items, &l.parameters));
    return l;
}

static void release(const loaded *l) {
    free(l->system);
    free(l->items);
    free(l->parameters);
}

// What a reading prints about missing limits is not its share; it goes nowhere, and is put back afterwards.
struct silenced {
    int fd;
    int saved;
};

static silenced silence(FILE *stream) {
    fflush(stream);
    silenced s = {fileno(stream), dup(fileno(stream))};
    int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, s.fd);
    close(nowhere);
    return s;
}

static void restore(FILE *stream, const silenced *s) {
    fflush(stream);
    dup2(s->saved, s->fd);
    close(s->saved);
}

// One reading of the first item of a category (range 0) on a chip (range 1), its two limits included.
static void BM_Reading(benchmark::State &state) {
    loaded l = load(108, static_cast<unsigned>(state.range(1)));
    silenced err = silence(stderr);
    const item_record *item = &l.items[state.range(0)];
    int64_t value = 0;
    for (auto _ : state) {
        get_item_reading(l.system, l.items, l.count, l.parameters, 2 * l.count, item, &value);
        benchmark::DoNotOptimize(value);
    }
    restore(stderr, &err);
    release(&l);
}
BENCHMARK(BM_Reading)->ArgNames({"category", "chip"})->ArgsProduct({{0, 1, 2, 3}, {1, 19, 25, 28}});

// One reading of a voltage or a fan with its limits over each route.
static void read_over_route(benchmark::State &state, uint32_t category, uint32_t chip, uint32_t bus,
                            bool bmc) {
    free_bmc = bmc;
    IpmiInit();
    SMB_BASE_IO_ADDR = 0x1100;
    i2c_bus_list = {{"0", "smbus", "SMBus I801 adapter at 1100", ""}};
    counter_i2c_bus_list = 1;
    loaded l = load(108, 0);
    item_record *item = &l.items[category];
    item->ChipCode = chip;
    item->BusType = bus;
    item->Slave = 0x2D;
    silenced err = silence(stderr);
    int64_t value = 0;
    for (auto _ : state) {
        get_item_reading(l.system, l.items, l.count, l.parameters, 2 * l.count, item, &value);
        benchmark::DoNotOptimize(value);
    }
    restore(stderr, &err);
    release(&l);
    free_bmc = false;
    IpmiInit();
}
BENCHMARK_CAPTURE(read_over_route, smbus_voltage, 1, 0, 1, false);
BENCHMARK_CAPTURE(read_over_route, smbus_fan_of_two_bytes, 0, 9, 1, false);
BENCHMARK_CAPTURE(read_over_route, smbus_fan_word, 0, 17, 1, false);
BENCHMARK_CAPTURE(read_over_route, smbus_fan_behind_bank, 0, 30, 1, false);
BENCHMARK_CAPTURE(read_over_route, superio_gpio_switch, 3, 4, 0, false);
BENCHMARK_CAPTURE(read_over_route, southbridge_gpio_switch, 3, 11, 0, false);
BENCHMARK_CAPTURE(read_over_route, bmc_master_write_read, 1, 0, 1, true);
BENCHMARK_CAPTURE(read_over_route, bmc_fan_by_oem_90, 0, 30, 1, true);
BENCHMARK_CAPTURE(read_over_route, bmc_word_by_two_reads, 0, 17, 8, true);

static void BM_Load(benchmark::State &state) {
    free_configuration = configuration_of(static_cast<int>(state.range(0)), 19);
    for (auto _ : state) {
        loaded l = {};
        l.count = static_cast<int32_t>(loadKestrelINI_and_getItemCount(&l.system, &l.items, &l.parameters));
        benchmark::DoNotOptimize(l.count);
        release(&l);
    }
}
BENCHMARK(BM_Load)->ArgName("items")->Arg(16)->Arg(108)->Arg(1000)->Unit(benchmark::kMicrosecond);

static void BM_Displays(benchmark::State &state) {
    loaded l = load(static_cast<int>(state.range(0)), 19);
    silenced out = silence(stdout);
    for (auto _ : state)
        free(createItemDisps(l.system, l.items, l.count, l.parameters, 2 * l.count));
    restore(stdout, &out);
    release(&l);
}
BENCHMARK(BM_Displays)->ArgName("items")->Arg(16)->Arg(108)->Arg(1000)->Unit(benchmark::kMicrosecond);

static void BM_Report(benchmark::State &state) {
    loaded l = load(static_cast<int>(state.range(0)), 19);
    silenced out = silence(stdout);
    item_display *displays = createItemDisps(l.system, l.items, l.count, l.parameters, 2 * l.count);
    for (auto _ : state)
        text_build_Items(displays, l.system, l.items, l.count, l.parameters, 2 * l.count);
    restore(stdout, &out);
    free(displays);
    release(&l);
}
BENCHMARK(BM_Report)->ArgName("items")->Arg(16)->Arg(100)->Arg(108)->Arg(1000)->Unit(benchmark::kMicrosecond);
