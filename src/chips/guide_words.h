#pragma once
// The words that stand for a temperature, by rules that several chips share. A word is put into the caller's
// text only when all that it is made of could be read: made from anything else it would be a lie.

#include <cstdint>

#include "config/settings.h"

// The processor that an item measures, by its name: 1 to 4, 0 for none.
uint32_t getPeciAgentIndex(const item_record *item);
bool is_agent_1_or_2(uint32_t agent);

void put_word(char *text, const char *word);

constexpr uint32_t CALIBRATED = 0x64; // 100: the processor's target temperature is known

struct guide_values {
    uint32_t high; // thresholds
    uint32_t middle;
    uint32_t margin; // below the target temperature
    uint32_t temperature;
};

bool is_calibrated(const guide_values *values); // the thresholds were set from the target temperature

// By the system's guide type; a type beyond 1 puts no word.
void guide_word(const system_settings *system, const guide_values *values, char *text);
void guide_1_word(uint32_t temperature, char *text);

void three_words(uint32_t temperature, char *text); // up to 60, up to 85 and above
void four_words(uint32_t temperature, char *text);  // and "Overheat" from 95 on
