#pragma once
// The small functions that the rows of the chip table point to: readers of raw values and limits
// (raw_read.cpp), voltage formulas (voltage_formulas.cpp), thermal words (thermal_text.cpp), latches
// (intrusion.cpp), wanted banks (bank_select.cpp).

#include <cstdint>

#include "config/settings.h"
#include "items/chips.h"

// The bus of an item's chip.
bool on_smbus(const item_record *item);
bool on_superio(const item_record *item);

// Raw values. The bus condition is a reader's first line, with what happens without that bus.
int read_plain(const system_settings *system, const item_record *item, uint32_t *raw);
int read_fan_low_high(const system_settings *system, const item_record *item, uint32_t *raw);
int read_fan_w83793g(const system_settings *system, const item_record *item, uint32_t *raw);
int read_fan_nct7904d(const system_settings *system, const item_record *item, uint32_t *raw);
int read_fan_ns87427(const system_settings *system, const item_record *item, uint32_t *raw);
int read_fan_it8720f(const system_settings *system, const item_record *item, uint32_t *raw);
int read_fan_nct6776f(const system_settings *system, const item_record *item, uint32_t *raw);
int read_switch_superio_gpio(const system_settings *system, const item_record *item, uint32_t *raw);
int read_switch_ns87427(const system_settings *system, const item_record *item, uint32_t *raw);
int read_switch_southbridge_gpio(const system_settings *system, const item_record *item, uint32_t *raw);
int read_switch_nct7904d(const system_settings *system, const item_record *item, uint32_t *raw);
int read_switch_absent(const system_settings *system, const item_record *item, uint32_t *raw);
int read_temp_w83793g(const system_settings *system, const item_record *item, uint32_t *raw);
int read_temp_graphics_card(const system_settings *system, const item_record *item, uint32_t *raw);
int read_bmc_sensor(const system_settings *system, const item_record *item, uint32_t *raw);
int read_smbus_nct7904d(const system_settings *system, const item_record *item, uint32_t *raw);
int read_smbus_me_nct7904d(const system_settings *system, const item_record *item, uint32_t *raw);

// Raw limits.
int limit_plain(const system_settings *system, const item_record *item, const parameter_record *record,
                uint32_t *raw);
int limit_fan_low_high(const system_settings *system, const item_record *item, const parameter_record *record,
                       uint32_t *raw);
int limit_fan_w83793g(const system_settings *system, const item_record *item, const parameter_record *record,
                      uint32_t *raw);
int limit_fan_ns87427(const system_settings *system, const item_record *item, const parameter_record *record,
                      uint32_t *raw);
int limit_fan_it8720f(const system_settings *system, const item_record *item, const parameter_record *record,
                      uint32_t *raw);
int limit_fan_nct6776f(const system_settings *system, const item_record *item, const parameter_record *record,
                       uint32_t *raw);
int limit_fan_nct7904d(const system_settings *system, const item_record *item, const parameter_record *record,
                       uint32_t *raw);
int limit_temp_graphics_card(const system_settings *system, const item_record *item,
                             const parameter_record *record, uint32_t *raw);
int limit_temp_bank_7(const system_settings *system, const item_record *item, const parameter_record *record,
                      uint32_t *raw);
int limit_temp_bmc_sensor(const system_settings *system, const item_record *item,
                          const parameter_record *record, uint32_t *raw);
int limit_smbus_nct7904d(const system_settings *system, const item_record *item,
                         const parameter_record *record, uint32_t *raw);
int limit_smbus_me_nct7904d(const system_settings *system, const item_record *item,
                            const parameter_record *record, uint32_t *raw);

// Clears of latched switches (intrusion.cpp).
int clear_in_register(const system_settings *system, item_record *item, const parameter_record *record);
int clear_w83627hf(const system_settings *system, item_record *item, const parameter_record *record);
int clear_ns87427(const system_settings *system, item_record *item, const parameter_record *record);
int clear_in_configuration(const system_settings *system, item_record *item, const parameter_record *record);
int clear_by_pulse(const system_settings *system, item_record *item, const parameter_record *record);
int clear_over_smbus(const system_settings *system, item_record *item, const parameter_record *record);
int clear_nct7904d(const system_settings *system, item_record *item, const parameter_record *record);

int64_t speed_chip_6(uint32_t raw); // rpm

// Voltage formulas, one set per family of chips.
extern const voltage_formulas volts_0;
extern const voltage_formulas volts_1; // also 2
extern const voltage_formulas volts_7;
extern const voltage_formulas volts_9; // also 14
extern const voltage_formulas volts_10;
extern const voltage_formulas volts_12; // also 15
extern const voltage_formulas volts_13;
extern const voltage_formulas volts_16;
extern const voltage_formulas volts_17;
extern const voltage_formulas volts_19;
extern const voltage_formulas volts_21;
extern const voltage_formulas volts_22; // also 28
extern const voltage_formulas volts_23; // also 29
extern const voltage_formulas volts_24;
extern const voltage_formulas volts_25;
extern const voltage_formulas volts_30;

uint32_t wanted_bank_nct7904d(uint32_t kind, uint32_t reg);

// Thermal words.
bool supportThermalText_W83793G(const system_settings *system, const item_record *item);
bool supportThermalText_W83627DHG(const system_settings *system, const item_record *item);
bool supportThermalText_W83795ADG(const system_settings *system, const item_record *item);
bool supportThermalText_IT8720F(const system_settings *system, const item_record *item);
bool supportThermalText_NCT6776F(const system_settings *system, const item_record *item);
bool supportThermalText_NCT7904D(const system_settings *system, const item_record *item);
int getThermalText_W83793G(const system_settings *system, const item_record *item, char *text);
int getThermalText_W83627DHG(const system_settings *system, const item_record *item, char *text);
int getThermalText_W83795ADG(const system_settings *system, const item_record *item, char *text);
int getThermalText_IT8720F(const system_settings *system, const item_record *item, char *text);
int getThermalText_NCT6776F(const system_settings *system, const item_record *item, char *text);
int getThermalText_ME_NCT6776F(const system_settings *system, const item_record *item, char *text);
int getThermalText_NCT7904D(const system_settings *system, const item_record *item, char *text);
int getThermalText_ME_NCT7904D(const system_settings *system, const item_record *item, char *text);
