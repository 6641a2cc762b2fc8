// Start-up, in the order that it must have, and the choice of mode.
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

#include "config/generate.h"
#include "config/ini_read.h"
#include "config/settings.h"
#include "driver/command_line.h"
#include "driver/graphical.h"
#include "hw/board_id.h"
#include "hw/chip_codes.h"
#include "hw/i2c_adapters.h"
#include "hw/ipmi.h"
#include "hw/machine_turn.h"
#include "hw/os.h"
#include "hw/text.h"
#include "items/activation.h"
#include "items/display.h"
#include "items/intrusion.h"
#include "items/ports.h"
#include "items/r2m_names.h"
#include "items/report.h"

constexpr int FATAL_STATUS = -1; // 255 to whoever waits for the program

struct board_names { // zero-filled before each identification, which copies no terminator
    char manufacturer[BOARD_NAME_SIZE];
    char product[BOARD_NAME_SIZE];
    char version[BOARD_NAME_SIZE];
};

[[noreturn]] static void die(const char *message) {
    fputs(message, stderr);
    exit(FATAL_STATUS);
}

static void die_without_memory() {
    end_all_turns(); // it may be called from within one
    die("Error: out of memory.\n");
}

static board_names identify_board() {
    board_names board = {};
    get_mb_info(board.manufacturer, board.product, board.version);
    return board;
}

static void refuse_other_users() {
    if (os_getuid() == 0)
        return;
    printf("Error: Can only be run as root.\n");
    exit(FATAL_STATUS);
}

// An existing configuration is used as it is, on whatever board. True when one was generated.
static bool make_sure_of_configuration() {
    if (existFile(KESTREL_INI) == 0)
        return false;
    board_names board = identify_board();
    if (!equal_ignoring_case(board.manufacturer, "BRIGANTINE"))
        die("Warn: This is not Brigantine's motherboard!\n");
    if (board.product[0] == '\0')
        die("Warn: There is no Product name!\n");
    uint32_t status = produce_kestrel_ini(board.product, board.version);
    if (status != 0 && status != INI_FOUND_MADE)
        die("Error: Cannot create the initial file for Kestrel!\n");
    return status == 0;
}

static void load_configuration() {
    system_settings *system = nullptr;
    item_record *items = nullptr;
    parameter_record *parameters = nullptr;
    auto count = static_cast<int32_t>(loadKestrelINI_and_getItemCount(&system, &items, &parameters));
    if (count <= 0)
        die("Error: something wrong in file Kestrel.ini.\n");
    static kestrel_context context;
    context = {system, items, count, parameters, 2 * count};
    myspKestrel = &context;
}

// A configuration that was generated just now goes again, so that the next start generates it anew.
static void find_smbus(bool generated) {
    if ((myspKestrel->system->BusType & BUS_SMBUS) == 0 || hDevice != 0)
        return;
    if (i2cdetect() >= 0)
        return;
    if (generated)
        os_system("rm -f " KESTREL_INI);
    exit(FATAL_STATUS);
}

static void revise_board_family() {
    board_names board = identify_board();
    if (begins_ignoring_case(board.product, "R2M") && myspKestrel->system->CoreTempChipCode == CHIP_W83793G)
        revise_kestrel_ini_for_R2M(myspKestrel->system, myspKestrel->items, myspKestrel->item_count);
}

static void build_displays(bool generated) {
    const kestrel_context *k = myspKestrel;
    allItemDisps = createItemDisps(k->system, k->items, k->item_count, k->parameters, k->parameter_count);
    if (allItemDisps == nullptr)
        die_without_memory();
    if (generated)
        detect_and_hide_nonactivated_items(allItemDisps, k->system, k->items, k->item_count, k->parameters,
                                           k->parameter_count);
}

static int run_reports(unsigned period_s) {
    const kestrel_context *k = myspKestrel;
    for (;;) {
        text_build_Items(allItemDisps, k->system, k->items, k->item_count, k->parameters, k->parameter_count);
        if (ferror(stdout) != 0)
            die("Error: The report cannot be written.\n");
        if (period_s < 1)
            return 0;
        os_sleep(period_s);
    }
}

static item_record *find_switch(const char *name) {
    for (int32_t i = 0; i < myspKestrel->item_count; i++) {
        item_record *item = &myspKestrel->items[i];
        if (item->Cat == CAT_SWITCH && equal_ignoring_case(item->Name, name))
            return item;
    }
    return nullptr;
}

static int run_reset(const char *name) {
    const kestrel_context *k = myspKestrel;
    item_record *item = find_switch(name);
    if (item == nullptr) {
        fprintf(stderr, "Warning! \"%s\" is not found.\n\n", shown_text(stderr, name).c_str());
        return 0;
    }
    int result = reset_Intrusion(k->system, k->items, k->item_count, k->parameters, k->parameter_count, item);
    printf(result != 0 ? "\"%s\" is NOT reset!\n\n" : "\"%s\" is reset!\n\n",
           shown_text(stdout, name).c_str());
    return 0;
}

// What a generated configuration has too much is hidden even when there will be no window.
[[noreturn]] static void die_without_window(bool generated, const std::string &cause) {
    if (generated)
        build_displays(generated);
    die(("Error: The graphical mode cannot be started: " + cause + "; use -t for the text report.\n")
            .c_str());
}

static int run_window(int argc, char **argv, bool generated) {
    std::string cause;
    const graphical_part *part = load_graphical_part(&cause);
    if (part == nullptr)
        die_without_window(generated, cause);
    if (!part->open(argc, argv))
        die_without_window(generated, "no display can be opened");
    return part->run(build_displays, generated);
}

int main(int argc, char **argv) {
    std::set_new_handler(die_without_memory); // else a text that grows would end the program by an exception
    os_start(&argc, &argv);
    setvbuf(stdout, nullptr, _IOLBF, 0); // a pipe or a journal gets each line when it is made
    IpmiInit();
    command_line line = parse_command_line(argc, argv);
    headline();
    refuse_other_users();
    bool generated = make_sure_of_configuration();
    load_configuration();
    find_smbus(generated);
    // Its result is not looked at: its messages speak, and refused ports fail their readings.
    io_open(myspKestrel->system);
    revise_board_family();
    if (text == 0)
        return run_window(argc, argv, generated);
    build_displays(generated);
    return line.reset ? run_reset(line.reset_name) : run_reports(line.period_s);
}
