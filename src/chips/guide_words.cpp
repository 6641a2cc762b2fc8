#include "chips/guide_words.h"

#include <cstring>

#include "hw/text.h"

uint32_t getPeciAgentIndex(const item_record *item) {
    static const struct {
        const char *part;
        uint32_t agent;
    } names[] = {{"CPU1", 1}, {"PECI Agent1", 1}, {"CPU2", 2}, {"PECI Agent2", 2},
                 {"CPU3", 3}, {"PECI Agent3", 3}, {"CPU4", 4}, {"PECI Agent4", 4},
                 {"CPU", 1},  {"PECI Agent", 1}};
    for (const auto &name : names) // in this order: "CPU12" is agent 1
        if (strstr(item->Name, name.part) != nullptr)
            return name.agent;
    return 0;
}

bool is_agent_1_or_2(uint32_t agent) { return agent == 1 || agent == 2; }

void put_word(char *text, const char *word) {
    constexpr size_t ROOM = 9; // what a caller's text holds at least: the longest word
    copy_text(text, ROOM, word);
}

void guide_1_word(uint32_t temperature, char *text) {
    put_word(text, temperature < 46 ? "Low" : temperature <= 60 ? "Medium" : "High");
}

static void calibrated_word(uint32_t temperature, uint32_t margin, char *text) {
    int64_t top = 100 - static_cast<int64_t>(margin);
    put_word(text, temperature <= top - 10 ? "Low" : temperature > top ? "High" : "Medium");
}

static void uncalibrated_word(uint32_t temperature, char *text) {
    put_word(text, temperature < 71 ? "Low" : temperature <= 85 ? "Medium" : "High");
}

bool is_calibrated(const guide_values *values) {
    constexpr uint32_t GAP = 5; // between thresholds that were set from the target temperature
    return values->high - GAP == values->middle;
}

void guide_word(const system_settings *system, const guide_values *values, char *text) {
    if (system->ThermalGuideChipType == 1)
        guide_1_word(values->temperature, text);
    else if (system->ThermalGuideChipType == 0 && is_calibrated(values))
        calibrated_word(values->temperature, values->margin, text);
    else if (system->ThermalGuideChipType == 0)
        uncalibrated_word(values->temperature, text);
}

void three_words(uint32_t temperature, char *text) {
    put_word(text, temperature <= 60 ? "Low" : temperature <= 85 ? "Medium" : "High");
}

void four_words(uint32_t temperature, char *text) {
    if (temperature >= 95)
        put_word(text, "Overheat");
    else
        three_words(temperature, text);
}
