#include "config/generate.h"

#include <cerrno>
#include <gtest/gtest.h>

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
