#pragma once
// The records that the configuration file fills: system settings, items, parameters, and the shared context
// by which the timer, the handlers and the save reach them. Their lifetime is the process's.

#include <cstddef>
#include <cstdint>

#define KESTREL_INI "/etc/Kestrel.ini"
#define KESTREL_INI_OLD "/etc/Kestrel.ini.old"
#define KESTREL_INI_NEW "/etc/Kestrel.ini.new" // while it is written

// The value of number fields of items and parameters whose key is not in the file.
constexpr uint32_t NOT_GIVEN = 0xFF;

// Bits of a BusType: of the system (buses the board needs) and of an item (bus of its chip).
constexpr uint32_t BUS_SMBUS = 1;      // through the i2c-dev devices
constexpr uint32_t BUS_SUPERIO = 2;    // index/data ports
constexpr uint32_t BUS_SMBUS_HOST = 8; // SMBus host controller reached through its I/O base
constexpr uint32_t BUS_SMBUS_ANY = BUS_SMBUS | BUS_SMBUS_HOST;

// Category codes of an item's Cat. Drive, memory and divisor (4 to 6) exist as names only.
enum item_category : uint32_t { CAT_FAN = 0, CAT_VOLTAGE = 1, CAT_TEMP = 2, CAT_SWITCH = 3 };

struct system_settings {
    uint32_t BusType;
    uint32_t DataReg;  // I/O port
    uint32_t IndexReg; // I/O port
    char MachineName[40];
    uint32_t MailAlert;
    char MailBox[100];
    char MailServer[40];
    char Outline[40];
    uint32_t PagerAlert;
    char PagerId[40];
    char PhoneNumber[40];
    uint32_t Polling; // seconds
    uint32_t CoreTempChipCode;
    char ServerPort[84];
    uint32_t W83793GTempLevelType;
    uint32_t ThermalGuideChipType;
};

struct item_record {
    char Name[80];
    uint32_t Cat;     // item_category
    uint32_t VolFunc; // voltage function, 0 (P12V) to 8 (P5VSB)
    char ItemId[80];
    uint32_t BusType; // BUS_... bits
    uint32_t ChipCode;
    uint32_t Slave; // SMBus address (7 bits), or bank on a Super I/O chip
    uint32_t Offset;
    uint32_t Activate;
    uint32_t Monitor; // 1: the user monitors the item
    uint32_t Source;
    char ParaIndex1[80]; // parameter names: high limit, divisor or switch mask,
    char ParaIndex2[80]; // low limit or intrusion clear
    char RefItemId[80];
};

struct parameter_record {
    char szKeyName[12];
    uint32_t Slave;
    uint32_t Offset;
    uint32_t BitMask;
};

struct kestrel_context {
    system_settings *system;
    item_record *items;
    int32_t item_count;
    parameter_record *parameters;
    int32_t parameter_count; // always twice the item count
};

extern kestrel_context *myspKestrel;
