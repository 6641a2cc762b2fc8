// A day of the window: of each refresh it keeps what it keeps on purpose, and nothing else.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <malloc.h>
#include <stdexcept>
#include <unistd.h>

#include "alert/alert_list.h"
#include "driver/refresh.h"
#include "hw/os.h"
#include "support/run.h"
#include "support/window.h"

constexpr unsigned TICK_S = 5;
constexpr unsigned DAY_TICKS = 24 * 60 * 60 / TICK_S;
constexpr unsigned HOUR_TICKS = 60 * 60 / TICK_S;
constexpr unsigned TICKS_ON_A_PAGE = 20; // then the next one is shown

// The Items page joins the turn for the last two hours: once it was shown, the toolkit measures its list out
// at every refresh, and the test would take twice as long.
constexpr int PAGES_IN_TURN[] = {0, 1, 2, 3, 5, 4};
constexpr unsigned WITHOUT_ITEMS = DAY_TICKS - 2 * HOUR_TICKS;

// What a refresh keeps (ui/items_page.cpp). In a piece of its own it would be 64 bytes of malloc's.
constexpr size_t KEPT_A_TICK = 50;
// What the toolkit has in hand differs from refresh to refresh.
constexpr size_t ROOM_OF_TOOLKIT = 128 * 1024;
// Beyond it what is resident may grow by holes between what is kept, and by the steps in which the heap
// grows.
constexpr size_t ROOM_OF_HEAP = 512 * 1024;

static void replace(std::string *text, const std::string &old_part, const std::string &new_part) {
    size_t at = text->find(old_part);
    if (at == std::string::npos)
        throw std::runtime_error("the board has changed: no " + old_part);
    text->replace(at, old_part.size(), new_part);
}

// The lively board, but its fan 3 slows down until it fails, and recovers, in every hour.
static std::string make_restless_board() {
    const std::filesystem::path lively = KESTREL_LIVELY_BOARD;
    std::string board = scratch_directory();
    std::filesystem::copy(lively / "root", board + "/root", std::filesystem::copy_options::recursive);
    std::string toml = file_contents(lively / "board.toml");
    replace(&toml, "0x34 = { steps = [[0, 8], [30, 0xFF], [60, 8]] }",
            "0x34 = { swing = [8, 0xFF], period = 3600 }");
    std::ofstream(board + "/board.toml") << toml;
    return board;
}

// Its clock moves by sleeps alone, and the ports are granted.
static void switch_on(const std::string &board) {
    std::string words[] = {"kestrel-virtual", "--strict", "--clock", "2026-01-05 10:00:00", board};
    char *arguments[] = {words[0].data(), words[1].data(), words[2].data(),
                         words[3].data(), words[4].data(), nullptr};
    int count = 5;
    char **first = arguments;
    os_start(&count, &first);
    os_iopl(3);
}

static void turn_pages(unsigned tick) {
    unsigned count = tick < WITHOUT_ITEMS ? 5 : 6;
    GtkNotebook *pages = GTK_NOTEBOOK(test_window::widget("notebook1"));
    gtk_notebook_set_current_page(pages, PAGES_IN_TURN[tick / TICKS_ON_A_PAGE % count]);
}

static void live(unsigned from, unsigned until) {
    for (unsigned tick = from; tick < until; tick++) {
        os_sleep(TICK_S);
        turn_pages(tick);
        updateAll();
        test_window::settle();
    }
}

static size_t heap() {
    struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

static size_t resident() {
    size_t size = 0;
    size_t pages = 0;
    std::ifstream("/proc/self/statm") >> size >> pages;
    return pages * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

static size_t piece(void *block) { return malloc_usable_size(block) + sizeof(size_t); }

static size_t alert_messages() {
    size_t bytes = 0;
    for (alert_msg_node *node = alert_msg_head->next; node != nullptr; node = node->next)
        bytes += piece(node) + piece(node->msg);
    return bytes;
}

TEST(Day, GrowsByWhatIsKeptOnPurpose) {
    switch_on(make_restless_board());
    test_window::open_configured();
    live(0, HOUR_TICKS); // fonts and icons are loaded, and what the toolkit keeps for later is there
    size_t heap_before = heap();
    size_t resident_before = resident();
    size_t messages_before = alert_messages();
    live(HOUR_TICKS, DAY_TICKS);
    size_t kept = (DAY_TICKS - HOUR_TICKS) * KEPT_A_TICK + alert_messages() - messages_before;
    EXPECT_LE(heap(), heap_before + kept + ROOM_OF_TOOLKIT);
    EXPECT_LE(resident(), resident_before + kept + ROOM_OF_HEAP);
    // In each of 24 hours the fan fails and recovers; and once somebody opens the chassis.
    EXPECT_EQ(get_alert_msg_node_count(alert_msg_head), 24 * 2 + 1);
    EXPECT_EQ(test_window::take_warnings(), std::vector<std::string>());
}
