#include "boards.h"

#include <gtest/gtest.h>
#include <sstream>

const std::string BANNER = "Kestrel II hardware-health monitor\n"
                           "Kestrel II watches Brigantine server boards\n";
const std::string NO_DISPLAY =
    "Error: The graphical mode cannot be started: no display can be opened; use -t for the text report.\n";

const std::string NO_BMC = "absent = [\"/dev/qxbmc\", \"/dev/ipmidev/0\", \"/dev/ipmi/0\", \"/dev/ipmi0\"]\n";
const std::string THE_MAKER =
    NO_BMC + "[dmi]\nmanufacturer = \"Brigantine\"\nproduct = \"H2SB-I\"\nversion = \"2.2\"\n";

std::string shipped(const std::string &board) { return file_contents(BOARDS "/" + board + "/board.toml"); }

std::string shared_file(const std::string &name) { return file_contents(BOARDS "/../shared/" + name); }

std::string section_of(const std::string &board) {
    std::string kept = scratch_directory() + "/kept";
    run_virtual({"--keep", kept, board, "-v"});
    return file_contents(kept + "/etc/Kestrel.ini");
}

std::string changed(const std::string &text, const std::string &from, const std::string &to) {
    EXPECT_EQ(count_of(text, from), 1) << from;
    std::string result = text;
    size_t at = result.find(from);
    if (at != std::string::npos)
        result.replace(at, from.size(), to);
    return result;
}

int count_of(const std::string &text, const std::string &part) {
    int count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        count++;
    return count;
}

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::string text_of(const std::vector<std::string> &lines) {
    std::string text;
    for (const std::string &line : lines)
        text += line + "\n";
    return text;
}

std::vector<std::string> trace_of(const std::vector<std::string> &words, run_result *result) {
    std::string trace = scratch_directory() + "/trace";
    std::vector<std::string> all = {"--trace", trace};
    all.insert(all.end(), words.begin(), words.end());
    *result = run_virtual(all);
    return lines_of(file_contents(trace));
}
