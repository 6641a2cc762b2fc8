#include "config/generate.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "support/os_test.h"

TEST(ExistFile, ReadableFileGivesZeroAndStaysAsItIs) {
    test_door::reset();
    test_door::put_file("/etc/AllKestrel.ini", "[_BOARD-1_]\n");
    EXPECT_EQ(existFile("/etc/AllKestrel.ini"), 0u);
    EXPECT_EQ(test_door::file("/etc/AllKestrel.ini"), "[_BOARD-1_]\n");
}

TEST(ExistFile, EmptyFileExists) {
    test_door::reset();
    test_door::put_file("/etc/Kestrel.ini", "");
    EXPECT_EQ(existFile("/etc/Kestrel.ini"), 0u);
}

TEST(ExistFile, MissingFileIsNotMade) {
    test_door::reset();
    EXPECT_EQ(existFile("/etc/Kestrel.ini"), 0xFFFFFFFFu);
    EXPECT_FALSE(test_door::has_file("/etc/Kestrel.ini"));
    EXPECT_EQ(existFile("/nowhere/Kestrel.ini"), 0xFFFFFFFFu);
}

TEST(ExistFile, FileThatCannotBeReadDoesNotExist) {
    test_door::reset();
    test_door::put_file("/etc/Kestrel.ini", "[System]\n");
    test_door::fail_call("fopen", 1, EACCES);
    EXPECT_EQ(existFile("/etc/Kestrel.ini"), 0xFFFFFFFFu);
    EXPECT_EQ(existFile("/etc/Kestrel.ini"), 0u) << "the next try finds it";
}

// ---- Generation. BOARD-1 has no rule about revisions, so its master is the file of all boards.

static const char NOT_FOUND[] = "Error: The initial file for this motherboard is not found!\n";
static const char CANNOT_CREATE[] = "Error: Cannot create the file '/etc/Kestrel.ini'.\n";

static void put_master(const std::string &contents) {
    test_door::reset();
    test_door::put_file("/etc/AllKestrel.ini", contents);
}

// The file generated for BOARD-1 from a master.
static std::string generated(const std::string &master) {
    put_master(master);
    std::string errors =
        test_door::captured_stderr([] { EXPECT_EQ(produce_kestrel_ini("BOARD-1", "1.0"), 0u); });
    EXPECT_EQ(errors, "") << master;
    return test_door::file("/etc/Kestrel.ini");
}

// Fails with `message` and leaves no file.
static void expect_failure(const char *message, const std::string &what) {
    std::string errors =
        test_door::captured_stderr([] { EXPECT_NE(produce_kestrel_ini("BOARD-1", "1.0"), 0u); });
    EXPECT_EQ(errors, message) << what;
    EXPECT_FALSE(test_door::has_file("/etc/Kestrel.ini")) << what;
}

TEST(Generate, CopiesFromSystemToTheNextBoard) {
    EXPECT_EQ(
        generated("[_BOARD-0_]\n[SYSTEM]\nBUSTYPE=0\n\n"
                  "[_BOARD-1_]\n[SYSTEM]\nBUSTYPE=1\n\n[Item]\nITEM_NAME=CPU Fan\n\n[Parameter]\nSLAVE=2D\n"
                  "[_BOARD-2_]\n[SYSTEM]\nBUSTYPE=2\n"),
        "[SYSTEM]\nBUSTYPE=1\n\n[Item]\nITEM_NAME=CPU Fan\n\n[Parameter]\nSLAVE=2D\n");
}

TEST(Generate, MasterIsLeftAsItIs) {
    const std::string master = "[_BOARD-1_]\r\n[SYSTEM]\r\n;; about\r\nBUSTYPE=1";
    generated(master);
    EXPECT_EQ(test_door::file("/etc/AllKestrel.ini"), master);
}

TEST(Generate, Sections) {
    const struct {
        const char *what;
        std::string master;
        std::string expected;
    } rows[] = {
        {"lines between the head and [SYSTEM] are dropped",
         "[_BOARD-1_]\n\nMADE=2006\n[Item]\nITEM_NAME=lost\n[SYSTEM]\nBUSTYPE=1\n", "[SYSTEM]\nBUSTYPE=1\n"},
        {"the head in another case", "[_board-1_]\n[SYSTEM]\nA=1\n", "[SYSTEM]\nA=1\n"},
        {"[System] in another case is copied as it stands", "[_BOARD-1_]\n[sYsTeM]\nA=1\n",
         "[sYsTeM]\nA=1\n"},
        {"a second [System] belongs to the copy", "[_BOARD-1_]\n[SYSTEM]\nA=1\n[System]\nB=2\n",
         "[SYSTEM]\nA=1\n[System]\nB=2\n"},
        {"the last line needs no end", "[_BOARD-1_]\n[SYSTEM]\nA=1", "[SYSTEM]\nA=1\n"},
        {"[SYSTEM] itself is the last line", "[_BOARD-1_]\n[SYSTEM]", "[SYSTEM]\n"},
        {"anything after [_ ends it", "[_BOARD-1_]\n[SYSTEM]\nA=1\n[_\nB=2\n", "[SYSTEM]\nA=1\n"},
        {"nothing is taken up again",
         "[_BOARD-1_]\n[SYSTEM]\nA=1\n[_BOARD-2_]\n[SYSTEM]\nB=2\n"
         "[_BOARD-1_]\n[SYSTEM]\nC=3\n",
         "[SYSTEM]\nA=1\n"},
        {"[ _ is not a head", "[_BOARD-1_]\n[SYSTEM]\n[ _BOARD-2_]\n [_BOARD-2_]\nB=2\n",
         "[SYSTEM]\n[ _BOARD-2_]\n [_BOARD-2_]\nB=2\n"},
        {"longer and shorter names are other boards",
         "[_BOARD-10_]\n[SYSTEM]\nA=1\n[_BOARD-_]\n[SYSTEM]\nA=2\n[_BOARD-1_]\n[SYSTEM]\nA=3\n",
         "[SYSTEM]\nA=3\n"},
        {"a head with something after it is another line",
         "[_BOARD-1_] \n[SYSTEM]\nA=1\n[_BOARD-1_]\n[SYSTEM]\nA=2\n", "[SYSTEM]\nA=2\n"},
        {"[SYSTEM] before the head is another board's", "[SYSTEM]\nA=1\n[_BOARD-1_]\n[SYSTEM]\nA=2\n",
         "[SYSTEM]\nA=2\n"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(generated(row.master), row.expected) << row.what;
}

TEST(Generate, CommentsAreNotCopied) {
    EXPECT_EQ(
        generated(";; all boards\n;;\n[_BOARD-1_]\n;; its layout\n[SYSTEM]\n;;A\nA=1\n;;\n;; \n;B\n ;; C\n"
                  "A=2;;\n;;[_BOARD-2_]\n;;[SYSTEM]\n;\n"),
        "[SYSTEM]\nA=1\n;;\n;B\n ;; C\nA=2;;\n;\n"); // two characters alone are not a comment
    EXPECT_EQ(generated(";;[_BOARD-1_]\n;;[SYSTEM]\nA=1\n[_BOARD-1_]\n[SYSTEM]\nA=2\n"), "[SYSTEM]\nA=2\n");
}

TEST(Generate, CarriageReturnsGo) {
    EXPECT_EQ(generated("[_BOARD-1_]\r\n;; about\r\n[SYSTEM]\r\nA=1\r\n\r\n;;\r\nB=\r2\r\nC=3\r\r\nD=4\r"),
              "[SYSTEM]\nA=1\n\n;;\nB=\r2\nC=3\r\nD=4\n"); // one at the end of each line
    EXPECT_EQ(generated("[_BOARD-1_]\r\n[SYSTEM]\nA=1\n[_BOARD-2_]\r\nB=2\r\n"), "[SYSTEM]\nA=1\n");
}

// The buffer takes 79 characters; a line of 79 and its newline are two lines.
TEST(Generate, LongLinesAreSeveral) {
    const struct {
        size_t length;
        std::string expected;
    } rows[] = {
        {78, std::string(78, 'x') + "\n"},
        {79, std::string(79, 'x') + "\n\n"},
        {80, std::string(79, 'x') + "\nx\n"},
        {100, std::string(79, 'x') + "\n" + std::string(21, 'x') + "\n"},
        {200, std::string(79, 'x') + "\n" + std::string(79, 'x') + "\n" + std::string(42, 'x') + "\n"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(generated("[_BOARD-1_]\n[SYSTEM]\n" + std::string(row.length, 'x') + "\nA=1\n"),
                  "[SYSTEM]\n" + row.expected + "A=1\n")
            << row.length;
    // A board's head is seen at the beginning of a piece.
    EXPECT_EQ(generated("[_BOARD-1_]\n[SYSTEM]\n" + std::string(79, 'x') + "[_BOARD-2_]\nB=2\n"),
              "[SYSTEM]\n" + std::string(79, 'x') + "\n");
}

TEST(Generate, LongProductNameIsNoBoard) {
    put_master("[_BOARD-1_]\n[SYSTEM]\nA=1\n");
    std::string product(300, 'p');
    EXPECT_EQ(test_door::captured_stderr([&] { EXPECT_NE(produce_kestrel_ini(product.c_str(), ""), 0u); }),
              NOT_FOUND);
}

// It gets its name when it is complete and on the disk.
TEST(Generate, StepsComeInTheirOrder) {
    put_master("[_BOARD-1_]\n[SYSTEM]\nA=1\n");
    EXPECT_EQ(produce_kestrel_ini("BOARD-1", "1.0"), 0u);
    EXPECT_EQ(test_door::take_log(), "create /etc/Kestrel.ini.new 0644\n"
                                     "fsync\n"
                                     "fclose\n"
                                     "rename /etc/Kestrel.ini.new /etc/Kestrel.ini\n");
}

static void put_all_masters() {
    test_door::reset();
    for (const char *name : {"AllKestrel", "OldRevMB", "OldRevMB_2", "OldRevMB_3"})
        test_door::put_file((std::string("/etc/") + name + ".ini").c_str(),
                            "[_H4DG-T_]\n[SYSTEM]\nMACHINENAME=" + std::string(name) + "\n");
}

TEST(Generate, MasterIsThatOfTheRevision) {
    const struct {
        const char *version;
        const char *master;
    } rows[] = {{"1.0", "OldRevMB"}, {"1.1", "OldRevMB_2"}, {"1.2", "OldRevMB_3"}, {"2.0", "AllKestrel"}};
    for (const auto &row : rows) {
        put_all_masters();
        EXPECT_EQ(produce_kestrel_ini("H4DG-T", row.version), 0u) << row.version;
        EXPECT_EQ(test_door::file("/etc/Kestrel.ini"),
                  "[SYSTEM]\nMACHINENAME=" + std::string(row.master) + "\n");
    }
}

// ---- Failures

TEST(GenerateFailure, BoardIsNotInTheMaster) {
    for (const char *master : {"", "\n", "[_BOARD-2_]\n[SYSTEM]\nA=1\n", "[BOARD-1]\n[SYSTEM]\nA=1\n",
                               "_BOARD-1_\n[SYSTEM]\nA=1\n", ";;[_BOARD-1_]\n[SYSTEM]\nA=1\n"}) {
        put_master(master);
        expect_failure(NOT_FOUND, master);
    }
}

TEST(GenerateFailure, HeadWithoutSystem) {
    for (const char *master :
         {"[_BOARD-1_]\n", "[_BOARD-1_]\nA=1\n[Item]\nITEM_NAME=x\n", "[_BOARD-1_]\n[SYSTEM] \nA=1\n",
          "[_BOARD-1_]\n;;[SYSTEM]\nA=1\n",
          "[_BOARD-1_]\nA=1\n[_BOARD-2_]\n[SYSTEM]\nA=1\n"}) { // the next board's is not this one's
        put_master(master);
        expect_failure(NOT_FOUND, master);
    }
}

TEST(GenerateFailure, MissingMasterIsNamed) {
    test_door::reset();
    expect_failure("Error: Cannot find the file '/etc/AllKestrel.ini'. \n", "no master file");
    const struct {
        const char *version;
        const char *message;
    } rows[] = {
        {"1.0", "Error: Cannot find the file '/etc/OldRevMB.ini'. \n"},
        {"1.1", "Error: Cannot find the file '/etc/OldRevMB_2.ini'. \n"},
        {"1.2", "Error: Cannot find the file '/etc/OldRevMB_3.ini'. \n"},
    };
    for (const auto &row : rows) {
        put_master("[_H4DG-T_]\n[SYSTEM]\nA=1\n"); // the file of all boards does not help
        EXPECT_EQ(
            test_door::captured_stderr([&] { EXPECT_NE(produce_kestrel_ini("H4DG-T", row.version), 0u); }),
            row.message);
        EXPECT_FALSE(test_door::has_file("/etc/Kestrel.ini"));
    }
}

// It is there, but could not be opened a moment ago: too many open files, a disk that stalls.
TEST(GenerateFailure, FileThatIsThereStays) {
    put_master("[_BOARD-1_]\n[SYSTEM]\nA=1\n");
    test_door::put_file("/etc/Kestrel.ini", "[System]\nA=old\n");
    test_door::fail_call("fopen", 2, EMFILE); // the first one is the master's
    EXPECT_EQ(test_door::captured_stderr([] { EXPECT_NE(produce_kestrel_ini("BOARD-1", "1.0"), 0u); }),
              CANNOT_CREATE);
    EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), "[System]\nA=old\n");
    EXPECT_FALSE(test_door::has_file("/etc/Kestrel.ini.new"));
}

// Of two copies that start at once, the second one finds it made when its turn comes.
TEST(Generate, FileThatAnotherCopyMadeIsFound) {
    put_master("[_BOARD-1_]\n[SYSTEM]\nA=1\n");
    test_door::put_file("/etc/Kestrel.ini", "[System]\nA=old\n");
    EXPECT_EQ(
        test_door::captured_stderr([] { EXPECT_EQ(produce_kestrel_ini("BOARD-1", "1.0"), INI_FOUND_MADE); }),
        "");
    EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), "[System]\nA=old\n");
}

TEST(GenerateFailure, FileThatCannotBeCreated) {
    put_master("[_BOARD-1_]\n[SYSTEM]\nA=1\n");
    test_door::fail_call("create", 1, EACCES);
    expect_failure(CANNOT_CREATE, "not created");
}

// The master is read at once; its second reading is that of its end.
TEST(GenerateFailure, FileThatIsNotWholeNeverGetsItsName) {
    const struct {
        const char *call;
        int nth;
    } rows[] = {{"fread", 2}, {"fwrite", 1}, {"fsync", 1}, {"fclose", 1}, {"rename", 1}};
    for (const auto &row : rows) {
        put_master("[_BOARD-1_]\n[SYSTEM]\nA=1\n");
        test_door::fail_call(row.call, row.nth, ENOSPC);
        expect_failure(CANNOT_CREATE, row.call);
        EXPECT_FALSE(test_door::has_file("/etc/Kestrel.ini.new")) << row.call;
    }
}

TEST(GenerateFailure, HeadWithoutSystemLeavesNothing) {
    put_master("[_BOARD-1_]\nA=1\n");
    expect_failure(NOT_FOUND, "no [SYSTEM]");
    EXPECT_FALSE(test_door::has_file("/etc/Kestrel.ini.new"));
}

TEST(GenerateFailure, NothingIsCreatedForAnUnknownBoard) {
    put_master("[_BOARD-2_]\n[SYSTEM]\nA=1\n");
    test_door::put_file("/etc/Kestrel.ini", "[System]\n"); // an older one stays
    EXPECT_EQ(test_door::captured_stderr([] { EXPECT_NE(produce_kestrel_ini("BOARD-1", "1.0"), 0u); }),
              NOT_FOUND);
    EXPECT_EQ(test_door::file("/etc/Kestrel.ini"), "[System]\n");
}
