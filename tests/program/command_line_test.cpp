// Every row of the option table, with the exact texts.
#include <gtest/gtest.h>

#include "boards.h"

static std::string usage_page(const std::string &program) {
    return "Usage:\n" + program + "                         -> full function\n" + program +
           " -t                      -> text mode, running only once\n" + program +
           " -t -i 5                 -> text mode, running every 5 seconds\n" + program +
           " -r \"Chassis Intrusion\"  -> reset the chassis intrusion\n" + program +
           " -h                      -> showing this page\n" + program +
           " -v                      -> showing version information\n" + "\n";
}

TEST(CommandLine, TheInstalledProgramPrintsItsVersion) {
    run_result result = run({KESTREL, "-v"});
    EXPECT_EQ(result.out, BANNER + KESTREL + " version 2.87(120421)\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
}

TEST(CommandLine, TheInstalledProgramPrintsItsUsagePage) {
    run_result result = run({KESTREL, "-h"});
    EXPECT_EQ(result.out, BANNER + usage_page(KESTREL));
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
}

TEST(CommandLine, WhatCannotBeReadGivesTheUsagePage) {
    const std::vector<std::vector<std::string>> lines = {
        {"-h"},
        {"-help"},
        {"-x"},
        {"-"},
        {""},
        {"t"},
        {"-t", "report"},
        {"-t", "-i"},
        {"-t", "-i", "0"},
        {"-t", "-i", "abc"},
        {"-t", "-i", ""},
        {"-t", "-i", "-5"},
        {"-t", "-i", " 5"},
        {"-t", "-i", "+5"},
        {"-i"},
        {"-r"},
        {"-t", "-r"},
        {"-h", "-v"},
        {"-t", "-h"},
        {"-M", "-x"},
        {"--t"},
        {"-T"},
        {"-t", "-i", "0x5"},
    };
    for (const auto &line : lines) {
        std::vector<std::string> words = {"--uid", "1000", "w83627hf"};
        words.insert(words.end(), line.begin(), line.end());
        std::string shown;
        for (const std::string &word : line)
            shown += "[" + word + "]";
        run_result result = run_virtual(words);
        EXPECT_EQ(result.out, BANNER + usage_page("kestrel-virtual w83627hf")) << shown;
        EXPECT_EQ(result.err, "") << shown;
        EXPECT_EQ(result.status, 0) << shown;
    }
}

TEST(CommandLine, VersionComesBeforeTheRootCheckAndEndsTheParsing) {
    for (const std::vector<std::string> &options :
         {std::vector<std::string>{"-v"}, {"-version"}, {"-v", "-h"}, {"-t", "-v"}, {"-M", "-v"}}) {
        std::vector<std::string> words = {"--uid", "1000", "w83627hf"};
        words.insert(words.end(), options.begin(), options.end());
        run_result result = run_virtual(words);
        EXPECT_EQ(result.out, BANNER + "kestrel-virtual w83627hf version 2.87(120421)\n") << options[0];
        EXPECT_EQ(result.status, 0) << options[0];
    }
}

TEST(CommandLine, OnlyTheSecondCharacterCounts) {
    std::string report = file_contents(BOARDS "/w83627hf/expect/report.txt");
    EXPECT_EQ(run_virtual({"w83627hf", "-t"}).out, report);
    EXPECT_EQ(run_virtual({"w83627hf", "-text"}).out, report);
    EXPECT_EQ(run_virtual({"w83627hf", "-M", "-t", "-Many"}).out, report);
}

TEST(CommandLine, PeriodIsReadFromItsLeadingDigits) {
    run_result result = run_virtual({"--sleeps", "3", "w83627hf", "-i", "7s", "-t"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(count_of(result.out, "Monitored Item"), 3);
    EXPECT_EQ(count_of(result.out, "Mon Jan  5 10:00:00 2026\n"), 1);
    EXPECT_EQ(count_of(result.out, "Mon Jan  5 10:00:07 2026\n"), 1);
    EXPECT_EQ(count_of(result.out, "Mon Jan  5 10:00:14 2026\n"), 1);
    EXPECT_EQ(count_of(result.out, "Kestrel II hardware-health monitor"), 1);
}

TEST(CommandLine, AHugePeriodIsASleepNotAnError) {
    run_result result = run_virtual({"--sleeps", "1", "w83627hf", "-t", "-i", "99999999999999999999"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(count_of(result.out, "Monitored Item"), 1);
}

TEST(CommandLine, APeriodAloneIsStillTheGraphicalMode) {
    run_result result = run_virtual({"w83627hf", "-i", "5"});
    EXPECT_EQ(result.out, BANNER);
    EXPECT_EQ(result.err, NO_DISPLAY);
    EXPECT_EQ(result.status, 255);
}

TEST(CommandLine, ResetOfAnUnknownSwitchEndsWithStatusZero) {
    // "CPU Fan" exists, but is not a switch.
    for (const char *name : {"No Such Switch", "CPU Fan", "-t"}) {
        run_result result = run_virtual({"w83627hf", "-r", name});
        EXPECT_EQ(result.out, BANNER) << name;
        EXPECT_EQ(result.err, std::string("Warning! \"") + name + "\" is not found.\n\n") << name;
        EXPECT_EQ(result.status, 0) << name;
    }
}

TEST(CommandLine, ResetNamesItsSwitchWithoutRegardToCase) {
    run_result result = run_virtual({"w83627hf", "-r", "CHASSIS intrusion"});
    EXPECT_EQ(result.out, BANNER + "Done.\n\"CHASSIS intrusion\" is reset!\n\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
}
