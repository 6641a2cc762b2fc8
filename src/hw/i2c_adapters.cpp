#include "hw/i2c_adapters.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "hw/os.h"
#include "hw/text.h"

struct pci_device {
    uint32_t irq;
    uint32_t base[6];
    uint32_t rom;
    uint32_t bus;
    uint32_t device;
    uint32_t function;
    uint32_t vendor;
    uint32_t device_id;
};

struct adapter_row {
    uint32_t vendor;
    uint32_t device_id;
    uint32_t function;
    const char *description;
    const char *module;        // with a hyphen
    const char *loaded_module; // with an underscore, as the kernel lists it
    const char *adapter_prefix;
};

#define I801 "i2c-i801", "i2c_i801", "SMBus I801 adapter at"
#define PIIX4 "i2c-piix4", "i2c_piix4", "SMBus PIIX4 adapter at"
#define AMD8111 "i2c-amd8111", "i2c_amd8111", "SMBus2 AMD8111 adapter at"
#define NFORCE2 "i2c-nforce2", "i2c_nforce2", "SMBus nForce2 adapter at"

static const adapter_row pci_adapters[] = {
    {0x8086, 0x2413, 3, "Intel 82801AA ICH", I801},
    {0x8086, 0x2423, 3, "Intel 82801AB ICH0", I801},
    {0x8086, 0x2443, 3, "Intel 82801BA ICH2", I801},
    {0x8086, 0x2483, 3, "Intel 82801CA/CAM ICH3", I801},
    {0x8086, 0x24C3, 3, "Intel 82801DB ICH4", I801},
    {0x8086, 0x24D3, 3, "Intel 82801EB ICH5", I801},
    {0x8086, 0x25A4, 3, "Intel 6300ESB", I801},
    {0x8086, 0x266A, 3, "Intel ICH6", I801},
    {0x8086, 0x269B, 3, "Intel Enterprise Southbridge - ESB2", I801},
    {0x8086, 0x27DA, 3, "Intel ICH7", I801},
    {0x8086, 0x283E, 3, "Intel ICH8", I801},
    {0x8086, 0x2930, 3, "Intel ICH9", I801},
    {0x8086, 0x3A30, 3, "Intel ICH10", I801},
    {0x8086, 0x3B30, 3, "Intel PCH", I801},
    {0x8086, 0x1C22, 3, "Intel Cougar Point", I801},
    {0x8086, 0x1D22, 3, "Intel Patsburg", I801},
    {0x8086, 0x1E22, 3, "Intel Panther Point", I801},
    {0x1166, 0x0200, 0, "ServerWorks OSB4 South Bridge", PIIX4},
    {0x1166, 0x0201, 0, "ServerWorks CSB5 South Bridge", PIIX4},
    {0x1166, 0x0203, 0, "ServerWorks CSB6 South Bridge", PIIX4},
    {0x1166, 0x0205, 0, "Broadcom HT1000 legacy South Bridge", PIIX4},
    {0x1002, 0x4385, 0, "ATI Technologies Inc SB600 SMBus", PIIX4},
    {0x1022, 0x746A, 2, "AMD-8111 SMBus 2.0", AMD8111},
    {0x10DE, 0x0052, 1, "nVidia Corporation nForce4 SMBus (MCP)", NFORCE2},
    {0x10DE, 0x0368, 1, "nVidia Corporation MCP55 SMBus ", NFORCE2}, // the blank at the end is part of it
    {0, 0, 0, "", "", "", ""},
};

struct driver {
    const char *module;
    const char *loaded_module;
};

constexpr int MOST_PCI_DEVICES = 100;
constexpr int MOST_DRIVERS = 10;
constexpr int MOST_MODULES = 100;
constexpr size_t MODULE_NAME_SIZE = 64; // the kernel's names have at most 55 characters

static pci_device pci_list[MOST_PCI_DEVICES];
static int counter_pci_list;
static driver driver_list[MOST_DRIVERS];
static int counter_driver_list;
static char modules_list[MOST_MODULES][MODULE_NAME_SIZE];
static int counter_modules_list;
std::vector<i2c_bus> i2c_bus_list;
int counter_i2c_bus_list;

static const char *modules_conf; // chosen, but nothing reads it; kept on purpose
static const char *dev_i2c;      // likewise: buses are opened as /dev/i2c-N whatever was chosen

int init_conf() {
    modules_conf = os_exists("/etc/modules.conf") ? "/etc/modules.conf" : "/etc/conf.modules";
    if (os_exists("/dev/i2c-0"))
        dev_i2c = "/dev/i2c-";
    else if (os_exists("/dev/i2c"))
        dev_i2c = "/dev/i2c/";
    else if (os_exists("/dev/i2c0"))
        dev_i2c = "/dev/i2c";
    else {
        fprintf(stderr, "Error: no i2c device files found. Please use mkdev.sh to create them.\n");
        return -1;
    }
    return 0;
}

// ---- PCI devices

// The ten hexadecimal numbers of a line: bus/device/function, vendor/device, IRQ, six bases, ROM. False when
// even the first two are not there.
static bool parse_pci_line(const char *line, pci_device *device) {
    uint32_t words[10] = {};
    int count = 0;
    for (; count < 10; count++) {
        char *end = nullptr;
        words[count] = static_cast<uint32_t>(strtoull(line, &end, 16));
        if (end == line)
            break;
        line = end;
    }
    if (count < 2)
        return false;
    *device = {};
    device->bus = words[0] >> 8;
    device->device = (words[0] & 0xF8) >> 3;
    device->function = words[0] & 7;
    device->vendor = words[1] >> 16;
    device->device_id = words[1] & 0xFFFF;
    device->irq = words[2];
    memcpy(device->base, words + 3, sizeof device->base);
    device->rom = words[9];
    return true;
}

static int read_proc_dev_pci() {
    FILE *stream = os_fopen("/proc/bus/pci/devices", "r");
    if (stream == nullptr) {
        fprintf(stderr, "Error: cannot open file /proc/bus/pci/devices\n");
        return -1;
    }
    counter_pci_list = 0;
    char line[512];
    while (fgets(line, sizeof line, stream) != nullptr && counter_pci_list < MOST_PCI_DEVICES)
        if (parse_pci_line(line, &pci_list[counter_pci_list]))
            counter_pci_list++;
    os_fclose(stream);
    return 0;
}

// The older list has not been there for a long time: always a failure.
static int read_proc_pci() { return -1; }

int init_proc_pci() {
    if (read_proc_dev_pci() == 0 || read_proc_pci() == 0)
        return 0;
    fprintf(stderr, "Error: cannot access either /proc/bus/pci/ or /proc/pci!\n");
    return -1;
}

// ---- Modules and drivers

int init_modules_list() {
    FILE *stream = os_fopen("/proc/modules", "r");
    if (stream == nullptr)
        return -1;
    counter_modules_list = 0;
    char line[512];
    while (fgets(line, sizeof line, stream) != nullptr && counter_modules_list < MOST_MODULES)
        if (sscanf(line, "%63s", modules_list[counter_modules_list]) == 1)
            counter_modules_list++;
    os_fclose(stream);
    return 0;
}

static bool is_loaded(const driver *wanted) {
    for (int i = 0; i < counter_modules_list; i++)
        if (strcmp(modules_list[i], wanted->module) == 0 ||
            strcmp(modules_list[i], wanted->loaded_module) == 0)
            return true;
    return false;
}

static void load_unless_loaded(const driver *wanted) {
    if (is_loaded(wanted))
        return;
    std::string command = std::string("modprobe ") + wanted->module + " 2>/dev/null";
    os_system(command.c_str()); // whatever came of it
}

int adapter_pci_detection() {
    counter_driver_list = 0;
    for (int i = 0; i < counter_pci_list; i++) {
        const pci_device *device = &pci_list[i];
        for (const adapter_row *row = pci_adapters; row->vendor != 0 || row->device_id != 0; row++) {
            if (row->vendor != device->vendor || row->device_id != device->device_id ||
                row->function != device->function || counter_driver_list == MOST_DRIVERS)
                continue;
            driver_list[counter_driver_list++] = {row->module, row->loaded_module};
        }
    }
    return 0;
}

int dump_modules_list() { return 0; }

int dump_driver_list() { return 0; }

// ---- Buses

// Counts one more bus. Its slot is empty, or as an earlier search left it. A server with graphics cards has
// dozens of buses, and the one that is needed may be the last.
static i2c_bus *count_bus() {
    auto place = static_cast<size_t>(counter_i2c_bus_list++);
    if (place == i2c_bus_list.size())
        i2c_bus_list.emplace_back();
    return &i2c_bus_list[place];
}

static void read_proc_bus_i2c(FILE *stream, int fill) {
    char line[100];
    while (fgets(line, sizeof line, stream) != nullptr) {
        i2c_bus read = {};
        sscanf(line, "i2c-%15s %31s %99[a-zA-Z0-9/() -] %99[a-zA-Z0-9/() -]", read.number, read.type,
               read.adapter, read.algorithm);
        i2c_bus *slot = count_bus();
        if (fill != 0)
            *slot = read;
    }
}

// Where sysfs is mounted; false when it is nowhere.
static bool find_sysfs(std::string *mount_point) {
    FILE *stream = os_fopen("/proc/mounts", "r");
    if (stream == nullptr)
        return false;
    bool found = false;
    char line[255];
    while (!found && fgets(line, sizeof line, stream) != nullptr) {
        char device[255];
        char point[255];
        char type[255];
        if (sscanf(line, "%254[^ ] %254[^ ] %254[^ ]", device, point, type) != 3)
            continue;
        found = equal_ignoring_case(type, "sysfs");
        if (found)
            *mount_point = point;
    }
    os_fclose(stream);
    return found;
}

// The file with the adapter's name, nullptr when there is none.
static FILE *open_name_file(const std::string &adapter) {
    FILE *stream = os_fopen((adapter + "/name").c_str(), "r");
    if (stream == nullptr)
        stream = os_fopen((adapter + "/device/name").c_str(), "r");
    if (stream != nullptr)
        return stream;
    std::vector<std::string> entries;
    os_list_directory((adapter + "/device").c_str(), &entries);
    for (const std::string &entry : entries) {
        if (entry.compare(0, 4, "i2c-") != 0)
            continue;
        stream = os_fopen((adapter + "/device/" + entry + "/name").c_str(), "r");
        if (stream != nullptr)
            return stream;
    }
    return nullptr;
}

// The number in "i2c-7"; false for another name, or a number that is not a bus's.
static bool parse_bus_number(const char *entry, int *number) {
    constexpr size_t PREFIX = sizeof "i2c-" - 1;
    if (strncmp(entry, "i2c-", PREFIX) != 0)
        return false;
    char *end = nullptr;
    long read = strtol(entry + PREFIX, &end, 10);
    if (end == entry + PREFIX || read != static_cast<int>(read))
        return false;
    *number = static_cast<int>(read);
    return true;
}

// An adapter on the ISA bus and an entry that is not a bus are counted all the same, and their slot stays as
// it was; kept on purpose.
static void fill_from_name(const std::string &entry, const char *name, i2c_bus *slot) {
    int number;
    if (strncmp(name, "ISA ", 4) == 0 || !parse_bus_number(entry.c_str(), &number))
        return;
    snprintf(slot->number, sizeof slot->number, "%d", number);
    copy_text(slot->type, sizeof slot->type, "unknown");
    copy_text(slot->adapter, sizeof slot->adapter, name);
    copy_text(slot->algorithm, sizeof slot->algorithm, "Algorithm unavailable");
}

static void read_sysfs(int fill) {
    std::string mount_point;
    if (!find_sysfs(&mount_point))
        return;
    std::string directory = mount_point + "/class/i2c-dev";
    std::vector<std::string> entries;
    if (os_list_directory(directory.c_str(), &entries) != 0)
        return;
    for (const std::string &entry : entries) {
        FILE *stream = open_name_file(directory + "/" + entry);
        if (stream == nullptr)
            continue; // not counted
        char name[121] = "";
        if (fgets(name, sizeof name, stream) != nullptr)
            name[strcspn(name, "\n")] = '\0';
        os_fclose(stream);
        i2c_bus *slot = count_bus();
        if (fill != 0)
            fill_from_name(entry, name, slot);
    }
}

int print_i2c_busses(int fill) {
    counter_i2c_bus_list = 0;
    FILE *stream = os_fopen("/proc/bus/i2c", "r");
    if (stream == nullptr) {
        read_sysfs(fill);
        return counter_i2c_bus_list;
    }
    read_proc_bus_i2c(stream, fill);
    os_fclose(stream);
    return counter_i2c_bus_list;
}

int init_i2c_bus_list() {
    print_i2c_busses(1);
    return 0; // that there is no bus at all is not a failure
}

int dump_i2c_bus_list() { return 0; }

int i2cdetect() {
    static const driver i2c_dev = {"i2c-dev", "i2c_dev"};
    if (init_conf() != 0 || init_proc_pci() != 0 || init_modules_list() != 0 || adapter_pci_detection() != 0)
        return -1;
    for (int i = 0; i < counter_driver_list; i++)
        load_unless_loaded(&driver_list[i]);
    load_unless_loaded(&i2c_dev);
    return init_i2c_bus_list();
}
