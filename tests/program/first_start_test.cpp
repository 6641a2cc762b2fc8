// The first start of a board: it is identified, its section of the master file copied, what it lacks hidden.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "boards.h"

static const std::string EXPECT = BOARDS "/first-start/expect/";

static const std::string NOT_FOUND = "Error: The initial file for this motherboard is not found!\n";
static const std::string NOT_CREATED = "Error: Cannot create the initial file for Kestrel!\n";

static const std::vector<std::string> NO_BMC_OPENS = {"open /dev/qxbmc failed", "open /dev/ipmidev/0 failed",
                                                      "open /dev/ipmi/0 failed", "open /dev/ipmi0 failed"};

// The DMI table, 88 bytes at 0xE0010, mapped from the start of its page on: structures of 24 (BIOS), 27
// (system), 31 (board: 8 bytes, "Brigantine", "N6SE-F", "1.1" with their NULs, and a NUL) and 6 (end) bytes.
static const std::vector<std::string> IDENTIFICATION = {"open /dev/mem", "seek f0000", "map e0000 68"};

static void append(std::vector<std::string> *lines, const std::vector<std::string> &more) {
    lines->insert(lines->end(), more.begin(), more.end());
}

// Every function of bus 0 up to the controller's, device 31 function 3; then its base register 0x20.
static void append_scan(std::vector<std::string> *lines) {
    constexpr unsigned CONTROLLER = 31 * 8 + 3;
    char line[32];
    for (unsigned slot = 0; slot <= CONTROLLER; slot++) {
        snprintf(line, sizeof line, "outl 0cf8 %08x", 0x80000000 | slot << 8);
        lines->push_back(line);
        lines->push_back(slot == CONTROLLER ? "inl 0cfc 1e228086" : "inl 0cfc ffffffff");
    }
    append(lines, {"outl 0cf8 8000fb20", "inl 0cfc 00001101"});
}

TEST(FirstStart, GeneratesHidesAndReports) {
    std::string kept = scratch_directory() + "/kept";
    run_result result = run_virtual({"--keep", kept, "first-start", "-t"});
    EXPECT_EQ(result.out, file_contents(EXPECT + "report.txt"));
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(file_contents(kept + "/etc/Kestrel.ini"), file_contents(EXPECT + "Kestrel.ini"));
    EXPECT_EQ(file_contents(kept + "/etc/Kestrel.ini.old"), file_contents(EXPECT + "Kestrel.ini.old"));
}

// Fan 4 reads 0 rpm, which is not above its limit: not activated. Nothing answers for the riser: not
// available. An empty line follows what is hidden.
TEST(FirstStart, SaysWhatItHides) {
    run_result result = run_virtual({"first-start", "-t"});
    std::string said = BANNER + ">> Disable monitoring of non-activated item: Fan 4\n"
                                ">> Disable monitoring of non-available item: Riser Temperature\n"
                                "\n"
                                "Monitored Item ";
    EXPECT_EQ(result.out.substr(0, said.size()), said);
    EXPECT_EQ(count_of(result.out, "\nFan 4 "), 0);
    EXPECT_EQ(count_of(result.out, "\nRiser Temperature "), 0);
}

// What was generated is the board's section of the master file, and the hidden items' MONITOR lines are all
// that is rewritten.
TEST(FirstStart, RewritesTwoLinesOfItsSection) {
    std::string kept = scratch_directory() + "/kept";
    run_virtual({"--keep", kept, "first-start", "-t"});
    std::string master = file_contents(BOARDS "/../../data/AllKestrel.ini");
    std::string head = "[_N6SE-F_]\n";
    size_t begin = master.find(head);
    ASSERT_NE(begin, std::string::npos);
    begin = master.find("[System]\n", begin);
    size_t end = master.find("\n[_", begin) + 1;
    EXPECT_EQ(file_contents(kept + "/etc/Kestrel.ini.old"), master.substr(begin, end - begin));

    std::vector<std::string> before = lines_of(file_contents(kept + "/etc/Kestrel.ini.old"));
    std::vector<std::string> after = lines_of(file_contents(kept + "/etc/Kestrel.ini"));
    ASSERT_EQ(before.size(), after.size());
    std::vector<std::string> changed_items;
    std::string item;
    for (size_t i = 0; i < before.size(); i++) {
        if (before[i].compare(0, 10, "ITEM_NAME=") == 0)
            item = before[i].substr(10);
        if (before[i] == after[i])
            continue;
        EXPECT_EQ(before[i], "MONITOR=TRUE");
        EXPECT_EQ(after[i], "MONITOR=FALSE");
        changed_items.push_back(item);
    }
    EXPECT_EQ(changed_items, (std::vector<std::string>{"Fan 4", "Riser Temperature"}));
}

TEST(FirstStart, TakesItsStepsInTheirOrder) {
    run_result result;
    std::vector<std::string> trace = trace_of({"first-start", "-t"}, &result);
    std::vector<std::string> expected = NO_BMC_OPENS;
    append(&expected, {"fopen /etc/Kestrel.ini r failed"});
    append(&expected, IDENTIFICATION);
    append(&expected, {"open /dev/mem", "map ff000 1000"}); // the BIOS byte that shows its revision
    append(&expected, {"fopen /etc/AllKestrel.ini r", "create /etc/Kestrel.ini.new 0644", "fsync",
                       "rename /etc/Kestrel.ini.new /etc/Kestrel.ini"});
    append(&expected, {"fopen /etc/Kestrel.ini r"}); // loaded
    append(&expected,
           {"fopen /proc/bus/pci/devices r", "fopen /proc/modules r", "system modprobe i2c-i801 2>/dev/null",
            "system modprobe i2c-dev 2>/dev/null", "fopen /proc/bus/i2c r failed", "fopen /proc/mounts r",
            "list /sys/class/i2c-dev", "fopen /sys/class/i2c-dev/i2c-0/name r"});
    append(&expected, {"iopl 3"});
    append_scan(&expected);
    append(&expected, {"iopl 3"});
    append(&expected, IDENTIFICATION); // for the family that is revised
    append(&expected, {"open /dev/i2c-0", "i2c-0 force 2d", "i2c-0 write 2d ff 01"}); // the first limit
    ASSERT_GE(trace.size(), expected.size());
    EXPECT_EQ(std::vector<std::string>(trace.begin(), trace.begin() + static_cast<long>(expected.size())),
              expected);

    // Then the readings; of files only those of the rewriting.
    std::vector<std::string> files;
    for (auto line = trace.begin() + static_cast<long>(expected.size()); line != trace.end(); line++)
        for (const char *call : {"create", "fopen", "fsync", "link", "open", "rename", "system", "unlink"})
            if (line->compare(0, line->find(' '), call) == 0)
                files.push_back(*line);
    EXPECT_EQ(files,
              (std::vector<std::string>{"unlink /etc/Kestrel.ini.old.new failed",
                                        "link /etc/Kestrel.ini /etc/Kestrel.ini.old.new",
                                        "rename /etc/Kestrel.ini.old.new /etc/Kestrel.ini.old",
                                        "unlink /etc/Kestrel.ini.old.new failed",
                                        "fopen /etc/Kestrel.ini.old r", "create /etc/Kestrel.ini.new 0644",
                                        "fsync", "rename /etc/Kestrel.ini.new /etc/Kestrel.ini"}));
}

// From the second start on the file is used as it is: nothing is hidden and nothing is written.
TEST(FirstStart, TheSecondStartUsesTheFile) {
    std::string configuration = file_contents(EXPECT + "Kestrel.ini");
    std::string board = make_board(shipped("first-start"), &configuration);
    std::string kept = scratch_directory() + "/kept";
    run_result result;
    std::vector<std::string> trace = trace_of({"--keep", kept, board, "-t"}, &result);
    std::string report = file_contents(EXPECT + "report.txt");
    EXPECT_EQ(result.out, BANNER + report.substr(report.find("Monitored Item")));
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(file_contents(kept + "/etc/Kestrel.ini"), configuration);
    EXPECT_FALSE(std::filesystem::exists(kept + "/etc/Kestrel.ini.old"));
    std::vector<std::string> expected = NO_BMC_OPENS;
    append(&expected,
           {"fopen /etc/Kestrel.ini r", "fopen /etc/Kestrel.ini r", "fopen /proc/bus/pci/devices r"});
    ASSERT_GE(trace.size(), expected.size());
    EXPECT_EQ(std::vector<std::string>(trace.begin(), trace.begin() + static_cast<long>(expected.size())),
              expected);
}

// If the file says that an item is monitored, it is, whatever it reads.
TEST(FirstStart, AnExistingFileHidesNothing) {
    std::string configuration = file_contents(EXPECT + "Kestrel.ini.old");
    run_result result = run_virtual({make_board(shipped("first-start"), &configuration), "-t"});
    EXPECT_EQ(count_of(result.out, ">> "), 0);
    EXPECT_EQ(count_of(result.out, "Fan 4                                       675          0   Warning!\n"),
              1)
        << result.out;
    EXPECT_EQ(count_of(result.out, "Riser Temperature               0/32                   N/A   Warning!\n"),
              1)
        << result.out;
}

// Nothing to hide: the file stays as it was generated, without an old one.
TEST(FirstStart, WithNothingToHideTheFileIsWrittenOnce) {
    std::string chip = shared_file("nct7904d-i801.toml");
    chip = changed(changed(chip, "0x86 = 255\n", "0x86 = 7\n"), "silent = true",
                   "[smbus.slave.common]\n0x00 = 30\n0x01 = 60");
    std::string toml = changed(shipped("first-start"), "include = [\"../../shared/nct7904d-i801.toml\"]",
                               "include = [\"chip.toml\"]");
    std::string board = make_board(toml, nullptr);
    std::ofstream(board + "/chip.toml") << chip;
    std::string kept = scratch_directory() + "/kept";
    run_result result = run_virtual({"--keep", kept, board, "-t"});
    EXPECT_EQ(result.out.find(BANNER + "Monitored Item "), 0u) << result.out;
    // Count 7 * 32 + 31 = 255: 1350000 / 255 = 5294 rpm.
    EXPECT_EQ(count_of(result.out, "Fan 4                                       675       5294           \n"),
              1)
        << result.out;
    EXPECT_EQ(count_of(result.out, "Riser Temperature             60/140                 30/86           \n"),
              1)
        << result.out;
    EXPECT_EQ(file_contents(kept + "/etc/Kestrel.ini"), file_contents(EXPECT + "Kestrel.ini.old"));
    EXPECT_FALSE(std::filesystem::exists(kept + "/etc/Kestrel.ini.old"));
}

// ---- Whose board it is

static std::string dmi(const std::string &manufacturer, const std::string &product,
                       const std::string &version) {
    return "[dmi]\nmanufacturer = \"" + manufacturer + "\"\nproduct = \"" + product + "\"\nversion = \"" +
           version + "\"\n";
}

static const std::string MASTER = "[copies]\n\"/etc/AllKestrel.ini\" = \"AllKestrel.ini\"\n";

// A first start of a board without any device: it ends after the board's own description.
static run_result refused_start(const std::string &toml) {
    std::string kept = scratch_directory() + "/kept";
    run_result result = run_virtual({"--keep", kept, make_board(NO_BMC + toml, nullptr), "-t"});
    EXPECT_EQ(result.out, BANNER) << toml;
    EXPECT_EQ(result.status, 255) << toml;
    EXPECT_FALSE(std::filesystem::exists(kept + "/etc/Kestrel.ini")) << toml;
    return result;
}

TEST(FirstStart, OnlyTheMakersBoardsAreServed) {
    for (const char *maker : {"Somebody", "Brigantine Inc", "Brigantin", ""})
        EXPECT_EQ(refused_start(dmi(maker, "N6SE-F", "1.1") + MASTER).err,
                  "Warn: This is not Brigantine's motherboard!\n")
            << maker;
}

TEST(FirstStart, ABoardNeedsAProductName) {
    for (const char *product : {" ", "\\t ", ""}) // blanks are trimmed
        EXPECT_EQ(refused_start(dmi("BRIGANTINE", product, "1.1") + MASTER).err,
                  "Warn: There is no Product name!\n")
            << product;
}

TEST(FirstStart, WithoutAMasterFileNothingIsGenerated) {
    EXPECT_EQ(refused_start(dmi("Brigantine", "H2SB-X", "2.2")).err,
              "Error: Cannot find the file '/etc/AllKestrel.ini'. \n" + NOT_CREATED);
    // The first revision has a master file of its own.
    EXPECT_EQ(refused_start(dmi("Brigantine", "H2SB-I", "1.0")).err,
              "Error: Cannot find the file '/etc/OldRevMB.ini'. \n" + NOT_CREATED);
}

TEST(FirstStart, ABoardThatTheMasterFileDoesNotKnowIsRefused) {
    EXPECT_EQ(refused_start(dmi("Brigantine", "H9XX", "2.2") + MASTER).err, NOT_FOUND + NOT_CREATED);
    // A head without a [SYSTEM] line before the next board.
    EXPECT_EQ(
        refused_start(dmi("Brigantine", "Half", "2.2") +
                      "[files]\n\"/etc/AllKestrel.ini\" = \"[_Half_]\\n[Item]\\n[_Next_]\\n[System]\\n\"\n")
            .err,
        NOT_FOUND + NOT_CREATED);
}

// Without a DMI table dmidecode is asked, by one pipeline for each name.
TEST(FirstStart, DmidecodeIsAskedWhenThereIsNoTable) {
    auto pipeline = [](const std::string &what, const std::string &label) {
        return "dmidecode|grep -i 'DMI type 2,' -A 6 | grep " + what + " | sed 's/" + label +
               ": //g' | sed 's/\t//g'";
    };
    auto answer = [&](const std::string &what, const std::string &label, const std::string &output) {
        std::string command = pipeline(what, label);
        command.replace(command.find('\t'), 1, "\\t");
        return "\"" + command + "\" = { output = \"" + output + "\\n\" }\n";
    };
    std::string toml = NO_BMC + "[[memory]]\naddress = 0\nbytes = [0]\n" + "[commands]\n" +
                       answer("Manufacturer", "Manufacturer", "Brigantine") +
                       answer("Product", "Product Name", "H9XX") + answer("Version", "Version", "1.0") +
                       MASTER;
    run_result result;
    std::vector<std::string> trace = trace_of({make_board(toml, nullptr), "-t"}, &result);
    EXPECT_EQ(result.err, NOT_FOUND + NOT_CREATED); // so the maker and a product were found
    std::vector<std::string> asked;
    for (const std::string &line : trace)
        if (line.compare(0, 5, "popen") == 0)
            asked.push_back(line);
    EXPECT_EQ(asked, (std::vector<std::string>{"popen " + pipeline("Manufacturer", "Manufacturer"),
                                               "popen " + pipeline("Product", "Product Name"),
                                               "popen " + pipeline("Version", "Version")}));
}

TEST(FirstStart, WithoutPhysicalMemoryTheBoardIsNobodys) {
    std::string absent = changed(NO_BMC, "\"/dev/ipmi0\"]", "\"/dev/ipmi0\", \"/dev/mem\"]");
    run_result result = run_virtual({make_board(absent, nullptr), "-t"});
    EXPECT_EQ(result.err, "Error: open (\"/dev/mem\")\nWarn: This is not Brigantine's motherboard!\n");
    EXPECT_EQ(result.out, BANNER);
    EXPECT_EQ(result.status, 255);
}

TEST(FirstStart, MemoryThatCannotBeMappedLeavesTheBoardUnknown) {
    run_result result =
        refused_start("[[memory]]\nmap_refused = true\n" + dmi("Brigantine", "N6SE-F", "1.1"));
    EXPECT_EQ(result.err, "Error: mmap\nWarn: This is not Brigantine's motherboard!\n");
}

// A record of the maker's in the BIOS area goes before the table's.
static std::string record_in_bios(const std::string &maker) {
    return "[[memory]]\naddress = 0xF2000\ntext = \"\\u0000\\u0000\\u0002\\u0008\\u0002\\u0000"
           "\\u0001\\u0002\\u0003\\u0000" +
           maker + "\\u0000H9XX\\u00001.1\\u0000\\u0000\"\n";
}

TEST(FirstStart, ARecordOfTheMakersInTheBIOSCounts) {
    for (const char *maker : {"Brigantine", "BRIGANTINE", "brigantine"})
        EXPECT_EQ(refused_start(record_in_bios(maker) + dmi("Else", "X", "Y") + MASTER).err,
                  NOT_FOUND + NOT_CREATED)
            << maker;
    EXPECT_EQ(refused_start(record_in_bios("BriGantine") + dmi("Else", "X", "Y") + MASTER).err,
              "Warn: This is not Brigantine's motherboard!\n");
}

// A longer name's tail stays after the shorter one that is written over it: "Brigantine" over "Somebody
// Else" gives "Brigantinelse".
TEST(FirstStart, ALongerForeignNameIsNotWhollyOverwritten) {
    EXPECT_EQ(refused_start(record_in_bios("Brigantine") + dmi("Somebody Else", "X", "Y") + MASTER).err,
              "Warn: This is not Brigantine's motherboard!\n");
}

// ---- A generated file is removed again when there is no way to the bus

static const std::string NO_NODES = "Error: no i2c device files found. Please use mkdev.sh to create them.\n";
static const std::string NO_PCI_LIST = "Error: cannot open file /proc/bus/pci/devices\n"
                                       "Error: cannot access either /proc/bus/pci/ or /proc/pci!\n";

TEST(FirstStart, AFailedAdapterSearchRemovesTheGeneratedFile) {
    const struct {
        std::string toml;
        std::string said;
    } table[] = {
        {"", NO_NODES},
        {"[[smbus]]\nnumber = 0\n", NO_PCI_LIST},
        {"[[smbus]]\nnumber = 0\n[files]\n\"/proc/bus/pci/devices\" = \"\"\n", ""}, // no /proc/modules
    };
    for (const auto &row : table) {
        std::string board =
            make_board(NO_BMC + dmi("Brigantine", "N6DR-i", "1.3") + MASTER + row.toml, nullptr);
        std::string kept = scratch_directory() + "/kept";
        run_result result;
        std::vector<std::string> trace = trace_of({"--keep", kept, board, "-t"}, &result);
        EXPECT_EQ(result.out, BANNER) << row.toml;
        EXPECT_EQ(result.err, row.said) << row.toml;
        EXPECT_EQ(result.status, 255) << row.toml;
        EXPECT_FALSE(std::filesystem::exists(kept + "/etc/Kestrel.ini")) << row.toml;
        EXPECT_EQ(trace.back(), "system rm -f /etc/Kestrel.ini") << row.toml;
        EXPECT_EQ(count_of(text_of(trace), "rename /etc/Kestrel.ini.new /etc/Kestrel.ini\n"), 1) << row.toml;
    }
}

TEST(FirstStart, AFailedAdapterSearchLeavesAnExistingFileAlone) {
    std::string configuration = file_contents(EXPECT + "Kestrel.ini");
    std::string kept = scratch_directory() + "/kept";
    run_result result;
    std::vector<std::string> trace =
        trace_of({"--keep", kept, make_board(NO_BMC, &configuration), "-t"}, &result);
    EXPECT_EQ(result.err, NO_NODES);
    EXPECT_EQ(result.status, 255);
    EXPECT_EQ(file_contents(kept + "/etc/Kestrel.ini"), configuration);
    EXPECT_EQ(count_of(text_of(trace), "system "), 0);
}

// A first start without options hides what the board lacks, too: the next start finds a finished
// configuration.
TEST(FirstStart, WithoutOptionsTheConfigurationIsFinishedAllTheSame) {
    std::string kept = scratch_directory() + "/kept";
    run_result result = run_virtual({"--keep", kept, "first-start"});
    EXPECT_EQ(result.status, 255);
    EXPECT_EQ(result.err, NO_DISPLAY);
    EXPECT_EQ(file_contents(kept + "/etc/Kestrel.ini"),
              file_contents(BOARDS "/first-start/expect/Kestrel.ini"));
}
