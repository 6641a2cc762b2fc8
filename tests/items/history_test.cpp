#include "items/history.h"

#include <gtest/gtest.h>

// The k-th sample of a row is k.
static void fill(float history[HISTORY_LENGTH]) {
    for (unsigned i = 0; i < HISTORY_LENGTH; i++)
        history[i] = static_cast<float>(i);
}

TEST(Histories, RowsAndLengthOfTheCharts) {
    EXPECT_EQ(sizeof vectorFan, 6400u);
    EXPECT_EQ(sizeof vectorVoltage, 24000u);
    EXPECT_EQ(sizeof vectorThermal, 6400u);
    EXPECT_EQ(sizeof vectorFan[0] / sizeof vectorFan[0][0], 100u);
}

TEST(VectorAppend, DropsTheOldestAndPutsTheNewestLast) {
    float history[HISTORY_LENGTH];
    fill(history);
    vector_append(history, 5000);
    for (unsigned i = 0; i < 99; i++)
        EXPECT_EQ(history[i], static_cast<float>(i + 1)) << i;
    EXPECT_EQ(history[99], 5000);
}

TEST(VectorAppend, FirstSamplesStandAtTheEndOfZeros) {
    float history[HISTORY_LENGTH] = {};
    for (int sample : {7, 8, 9})
        vector_append(history, static_cast<float>(sample));
    for (unsigned i = 0; i < 97; i++)
        EXPECT_EQ(history[i], 0) << i;
    EXPECT_EQ(history[97], 7);
    EXPECT_EQ(history[98], 8);
    EXPECT_EQ(history[99], 9);
}

TEST(VectorAppend, HoldsTheLastHundred) {
    float history[HISTORY_LENGTH] = {};
    for (int sample = 1; sample <= 250; sample++)
        vector_append(history, static_cast<float>(sample));
    for (unsigned i = 0; i < 100; i++)
        EXPECT_EQ(history[i], static_cast<float>(i + 151)) << i;
}

TEST(VectorAppend, ValuesAreNotScaled) {
    float history[HISTORY_LENGTH] = {};
    for (float value : {0.0f, -12096.0f, 0.5f, 675000.0f, 2147483648.0f}) {
        vector_append(history, value);
        EXPECT_EQ(history[99], value);
    }
}

TEST(VectorAppend, NeighbouringRowsStay) {
    clear_histories();
    for (auto &row : vectorVoltage)
        fill(row);
    vector_append(vectorVoltage[30], 12000);
    for (unsigned row : {29u, 31u})
        for (unsigned i = 0; i < 100; i++)
            EXPECT_EQ(vectorVoltage[row][i], static_cast<float>(i)) << row << ' ' << i;
    EXPECT_EQ(vectorVoltage[30][0], 1);
    EXPECT_EQ(vectorVoltage[30][99], 12000);
}

template <size_t ROWS> static void expect_zeros(const float (&rows)[ROWS][HISTORY_LENGTH], const char *what) {
    for (size_t row = 0; row < ROWS; row++)
        for (unsigned i = 0; i < HISTORY_LENGTH; i++)
            EXPECT_EQ(rows[row][i], 0) << what << ' ' << row << ' ' << i;
}

TEST(ClearHistories, EveryRowBecomesZero) {
    for (auto &row : vectorFan)
        fill(row);
    for (auto &row : vectorVoltage)
        fill(row);
    for (auto &row : vectorThermal)
        fill(row);
    clear_histories();
    expect_zeros(vectorFan, "fan");
    expect_zeros(vectorVoltage, "voltage");
    expect_zeros(vectorThermal, "temperature");
}
