#include "user.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "boards.h"

static std::string display; // where the user sits

std::string set_display(const std::string &name) {
    std::string before = display;
    display = name;
    return before;
}

bool wait_until(const std::function<bool()> &condition, int at_most_s) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(at_most_s);
    do {
        if (condition())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    } while (std::chrono::steady_clock::now() < deadline);
    return false;
}

// ---- Running

static pid_t unfinished; // what a test that failed has left

static void end_unfinished() {
    if (unfinished == 0)
        return;
    kill(-unfinished, SIGKILL);
    kill(unfinished, SIGKILL);
    waitpid(unfinished, nullptr, 0);
    unfinished = 0;
}

// Nobody's theme, modules and language; two clicks are a double-click on a busy machine, too.
static std::vector<std::string> environment(const std::string &directory) {
    return {"DISPLAY=" + display, "TMPDIR=" + directory + "/tmp",
            "HOME=" + directory,  "GTK2_RC_FILES=" TOOLKIT_SETTINGS,
            "LC_ALL=C.UTF-8",     "TZ=UTC",
            "PATH=/usr/bin:/bin", "ASAN_OPTIONS=detect_leaks=0"};
}

static std::vector<char *> pointers_to(std::vector<std::string> *words) {
    std::vector<char *> pointers;
    for (std::string &word : *words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

static void redirect(int fd, const std::string &path, int flags) {
    int file = open(path.c_str(), flags, 0600);
    dup2(file, fd);
}

static window_run start_program(std::vector<std::string> words, const std::string &directory) {
    end_unfinished();
    std::filesystem::create_directory(directory + "/tmp");
    words.insert(words.begin(), KESTREL_VIRTUAL);
    std::vector<std::string> variables = environment(directory);
    std::vector<char *> arguments = pointers_to(&words);
    std::vector<char *> variable_list = pointers_to(&variables);
    pid_t child = fork();
    if (child == 0) {
        setpgid(0, 0); // what it has started can be ended with it
        for (int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
            signal(number, SIG_DFL);
        redirect(0, "/dev/null", O_RDONLY);
        redirect(1, directory + "/out", O_WRONLY | O_CREAT);
        redirect(2, directory + "/err", O_WRONLY | O_CREAT);
        execve(arguments[0], arguments.data(), variable_list.data());
        _exit(127);
    }
    unfinished = child;
    return {child, directory};
}

window_run start_untouched(const std::vector<std::string> &words) {
    return start_program(words, scratch_directory());
}

bool has_started() {
    return wait_until([] { return page_on_top() == SUMMARY; });
}

window_run start(const std::vector<std::string> &words) {
    std::string directory = scratch_directory();
    std::vector<std::string> all = {"--strict",           "--clock", "2026-01-05 10:00:00", "--trace",
                                    directory + "/trace", "--keep",  directory + "/kept"};
    all.insert(all.end(), words.begin(), words.end());
    window_run run = start_program(all, directory);
    EXPECT_TRUE(has_started()) << file_contents(directory + "/err");
    return run;
}

static bool has_ended(pid_t child, int *status) { return waitpid(child, status, WNOHANG) == child; }

run_result end_of(const window_run &run) {
    int status = 0;
    if (wait_until([&] { return has_ended(run.child, &status); }))
        unfinished = 0;
    else
        ADD_FAILURE() << "it does not end";
    end_unfinished();
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
            file_contents(run.directory + "/out"), file_contents(run.directory + "/err")};
}

run_result quit(const window_run &run) {
    keys({"ctrl+q"});
    return end_of(run);
}

std::string kept_path(const window_run &run, const std::string &path) {
    return run.directory + "/kept" + path;
}

std::string kept(const window_run &run, const std::string &path) {
    return file_contents(kept_path(run, path));
}

std::string temporary_directory(const window_run &run) { return run.directory + "/tmp"; }

std::vector<std::string> trace(const window_run &run) {
    return lines_of(file_contents(run.directory + "/trace"));
}

static size_t trace_size(const window_run &run) {
    std::error_code missing;
    size_t size = std::filesystem::file_size(run.directory + "/trace", missing);
    return missing ? 0 : size;
}

bool trace_grows(const window_run &run, size_t bytes, int at_most_s) {
    size_t wanted = trace_size(run) + bytes;
    return wait_until([&] { return trace_size(run) >= wanted; }, at_most_s);
}

// ---- Hands

static void xdotool(std::vector<std::string> words) {
    words.insert(words.begin(), {"/usr/bin/env", "DISPLAY=" + display, "xdotool"});
    run_result result = run(words);
    EXPECT_EQ(result.status, 0) << result.err;
}

// The window manager gives it to the window that is asked for, some time later.
static void give_focus(const std::string &title) {
    screen::window_id window = screen::window(title);
    if (screen::has_focus(window))
        return;
    xdotool({"windowactivate", std::to_string(window)});
    EXPECT_TRUE(wait_until([&] { return screen::has_focus(window); })) << title;
}

void keys_into(const std::string &title, const std::vector<std::string> &names) {
    ASSERT_TRUE(is_shown(title)) << title;
    give_focus(title);
    std::vector<std::string> words = {"key"};
    words.insert(words.end(), names.begin(), names.end());
    xdotool(words);
}

void keys(const std::vector<std::string> &names) { keys_into(MAIN, names); }

void type(const std::string &text) {
    give_focus(MAIN);
    xdotool({"type", "--delay", "1", text});
}

// As fast as a hand: a press that follows sooner, before the window manager has passed on the one before, can
// get lost in it.
constexpr const char *BETWEEN_CLICKS_MS = "120";

void click(screen::window_id window, int x, int y, int times) {
    std::vector<std::string> words = {"mousemove",       "--window",        std::to_string(window),
                                      std::to_string(x), std::to_string(y), "click"};
    if (times > 1)
        words.insert(words.end(), {"--repeat", std::to_string(times), "--delay", BETWEEN_CLICKS_MS});
    words.push_back("1");
    xdotool(words);
}

void click(const std::string &title, int x, int y, int times) {
    ASSERT_TRUE(is_shown(title)) << title;
    click(screen::window(title), x, y, times);
}

void move_window(const std::string &title, int x, int y) {
    xdotool({"windowmove", std::to_string(screen::window(title)), std::to_string(x), std::to_string(y)});
}

// ---- Eyes

bool is_shown(const std::string &title) {
    return wait_until([&] { return screen::window(title) != 0; });
}

bool is_gone(const std::string &title) {
    return wait_until([&] { return screen::window(title) == 0; });
}

// The tabs are 80 pixels wide; the one on top has the colour of the ground beside them.
constexpr int TABS_Y = 33; // above the texts
constexpr int PAGES = ALERT + 1;

static int tab_middle(int page) { return 41 + 80 * page; }

int page_on_top() {
    constexpr int BESIDE_TABS = 620;
    screen::window_id window = screen::window(MAIN);
    screen::picture line = screen::picture_of(window, {0, TABS_Y, 640, 1});
    if (line.empty())
        return -1;
    int found = -1;
    for (int page = 0; page < PAGES; page++)
        if (line[static_cast<size_t>(tab_middle(page))] == line[BESIDE_TABS])
            found = found == -1 ? page : PAGES;
    return found < PAGES ? found : -1;
}

bool has_opened(page page) {
    return wait_until([&] { return page_on_top() == page; });
}

bool open_page(page page) {
    click(MAIN, tab_middle(page), 41);
    return has_opened(page);
}

bool entry_shows(const std::string &text) {
    keys({"ctrl+a", "ctrl+c"});
    std::string shown;
    bool shows = wait_until([&] { return (shown = screen::copied_text()) == text; });
    EXPECT_EQ(shown, text);
    return shows;
}

// Whoever sees a dialog stay presses the key again: one that is pressed while the focus is on its way may
// reach nobody.
bool confirm_dialog() {
    for (int tries = 0; tries < 4 && is_shown(DIALOG); tries++) {
        keys_into(DIALOG, {"Return"});
        if (wait_until([] { return screen::window(DIALOG) == 0; }, 5))
            return true;
    }
    return false;
}

// ---- The X server

// Every run of this program gets one of its own, with a window manager.
int main(int argc, char **argv) {
    const char *own = getenv("KESTREL_OWN_DISPLAY");
    bool lists = argc > 1 && std::string(argv[1]) == "--gtest_list_tests";
    if (own == nullptr && !lists) {
        setenv("KESTREL_OWN_DISPLAY", "yes", 1);
        std::vector<char *> words = {const_cast<char *>(DISPLAY_SCRIPT), const_cast<char *>("run")};
        words.insert(words.end(), argv, argv + argc + 1);
        execv(words[0], words.data());
        return 1;
    }
    testing::InitGoogleTest(&argc, argv);
    if (!lists) {
        display = getenv("DISPLAY"); // which run() takes away
        screen::open(display);
    }
    int status = RUN_ALL_TESTS();
    end_unfinished();
    return status;
}
