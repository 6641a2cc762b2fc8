// The master files as they are delivered: each board's section must load as its configuration.

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <string>
#include <strings.h>
#include <vector>

#include "config/generate.h"
#include "config/ini_read.h"
#include "config/name_index.h"
#include "config/revision_rules.h"
#include "support/os_test.h"

static const char *const masters[] = {MASTER_INI, OLD_REVISION_INI, OLD_REVISION_2_INI, OLD_REVISION_3_INI};

// The file of the source tree that is installed as `master`.
static std::string contents_of(const std::string &master) {
    std::ifstream file(std::string(KESTREL_DATA_DIR) + master.substr(master.rfind('/')), std::ios::binary);
    EXPECT_TRUE(file.is_open()) << master;
    std::ostringstream contents;
    contents << file.rdbuf();
    return contents.str();
}

static std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// The products of a file, in its order.
static std::vector<std::string> products_of(const std::string &master) {
    std::vector<std::string> products;
    for (const std::string &line : lines_of(contents_of(master)))
        if (line.compare(0, 2, "[_") == 0)
            products.push_back(line.substr(2, line.size() - 4));
    return products;
}

struct configuration {
    system_settings *system = nullptr;
    item_record *items = nullptr;
    parameter_record *parameters = nullptr;
    int32_t item_count = 0;
    int32_t parameter_count = 0;
};

// The section of a board, generated and loaded. The file serves as all four, so that the section is that
// of this file whatever the rules choose. Messages are failures.
static configuration load(const std::string &master, const std::string &product) {
    test_door::reset();
    test_door::put_memory(0xFFA40, std::string(2, '\0'));
    std::string contents = contents_of(master);
    for (const char *path : masters)
        test_door::put_file(path, contents);
    configuration loaded;
    std::string printed;
    std::string errors = test_door::captured_stderr([&] {
        printed = test_door::captured_stdout([&] {
            EXPECT_EQ(produce_kestrel_ini(product.c_str(), "1.0"), 0u) << product;
            uint32_t count =
                loadKestrelINI_and_getItemCount(&loaded.system, &loaded.items, &loaded.parameters);
            if (count != 0xFFFFFFFF)
                loaded.item_count = static_cast<int32_t>(count);
        });
    });
    EXPECT_EQ(errors + printed, "") << master << " " << product;
    EXPECT_GE(loaded.item_count, 1) << master << " " << product;
    loaded.parameter_count = 2 * loaded.item_count;
    return loaded;
}

static void unload(configuration *loaded) {
    index_names(nullptr, 0, nullptr, 0); // before the names go
    free(loaded->system);
    free(loaded->items);
    free(loaded->parameters);
}

static void for_each_board(void (*check)(const configuration &loaded, const std::string &where)) {
    for (const char *master : masters)
        for (const std::string &product : products_of(master)) {
            configuration loaded = load(master, product);
            if (loaded.item_count > 0)
                check(loaded, std::string(master) + " " + product);
            unload(&loaded);
        }
}

// ---- The text

TEST(MasterFiles, LinesFitTheBufferWithTheirNewline) {
    for (const char *master : masters)
        for (const std::string &line : lines_of(contents_of(master)))
            EXPECT_LE(line.size(), 78u) << master << ": " << line;
}

TEST(MasterFiles, LinesArePlain) {
    for (const char *master : masters) {
        std::string contents = contents_of(master);
        EXPECT_FALSE(contents.empty()) << master;
        EXPECT_EQ(contents.back(), '\n') << master;
        for (const std::string &line : lines_of(contents)) {
            EXPECT_EQ(line.find('\r'), std::string::npos) << master << ": " << line;
            EXPECT_TRUE(line.empty() || line.back() != ' ') << master << ": '" << line << "'";
            EXPECT_TRUE(line.empty() || line[0] == '[' || line.compare(0, 2, ";;") == 0 ||
                        line.find('=') != std::string::npos)
                << master << ": " << line;
        }
    }
}

TEST(MasterFiles, HeadsAreWhole) {
    for (const char *master : masters) {
        EXPECT_FALSE(products_of(master).empty()) << master;
        for (const std::string &line : lines_of(contents_of(master)))
            if (line.compare(0, 2, "[_") == 0) {
                EXPECT_GT(line.size(), 4u) << line;
                EXPECT_EQ(line.substr(line.size() - 2), "_]") << line;
            }
    }
}

TEST(MasterFiles, NoProductStandsTwiceInAFile) {
    for (const char *master : masters) {
        std::set<std::string> seen;
        for (std::string product : products_of(master)) {
            for (char &c : product)
                c = static_cast<char>(toupper(c));
            EXPECT_TRUE(seen.insert(product).second) << master << " " << product;
        }
    }
}

// ---- The boards

static bool has_product(const std::string &master, const char *product) {
    for (const std::string &other : products_of(master))
        if (other == product)
            return true;
    return false;
}

TEST(MasterFiles, EveryRulesProductIsInItsFileAndInThatOfAllBoards) {
    for (const revision_rule &rule : revision_rules) {
        EXPECT_TRUE(has_product(rule.master, rule.product)) << rule.master << " " << rule.product;
        EXPECT_TRUE(has_product(MASTER_INI, rule.product)) << rule.product;
    }
}

TEST(MasterFiles, OldRevisionsAreAllChosenByARule) {
    for (const char *master : {OLD_REVISION_INI, OLD_REVISION_2_INI, OLD_REVISION_3_INI})
        for (const std::string &product : products_of(master)) {
            bool chosen = false;
            for (const revision_rule &rule : revision_rules)
                chosen = chosen || (product == rule.product && strcmp(rule.master, master) == 0);
            EXPECT_TRUE(chosen) << master << " " << product;
        }
}

TEST(MasterFiles, OneBoardIsOfTheRevisedFamily) {
    int revised = 0;
    for (const std::string &product : products_of(MASTER_INI)) {
        if (strncasecmp(product.c_str(), "R2M", 3) != 0)
            continue;
        configuration loaded = load(MASTER_INI, product);
        revised += loaded.system != nullptr && loaded.system->CoreTempChipCode == 0x11 ? 1 : 0;
        unload(&loaded);
    }
    EXPECT_GE(revised, 1);
}

// ---- The sections as they load

TEST(MasterFiles, SystemSettingsAreThere) {
    for_each_board([](const configuration &loaded, const std::string &where) {
        EXPECT_EQ(loaded.system->BusType & ~0xBu, 0u) << where;
        EXPECT_GE(loaded.system->Polling, 1u) << where;
        if ((loaded.system->BusType & BUS_SUPERIO) != 0) {
            EXPECT_NE(loaded.system->IndexReg, 0u) << where;
            EXPECT_NE(loaded.system->DataReg, loaded.system->IndexReg) << where;
        }
    });
}

// Of 300 boards of one kind each would send mails of the same name; a save writes only a key that is there.
TEST(MasterFiles, NoMachineHasANameAndMailIsOff) {
    for_each_board([](const configuration &loaded, const std::string &where) {
        EXPECT_STREQ(loaded.system->MachineName, "") << where;
        EXPECT_EQ(loaded.system->MailAlert, 0u) << where;
        std::string section = test_door::file("/etc/Kestrel.ini");
        for (const char *key : {"\nMACHINENAME=", "\nMAILBOX=", "\nMAILALERT="})
            EXPECT_NE(section.find(key), std::string::npos) << where << key;
    });
}

TEST(MasterFiles, ItemsAreWhole) {
    for_each_board([](const configuration &loaded, const std::string &where) {
        std::set<std::string> ids;
        for (int32_t i = 0; i < loaded.item_count; i++) {
            const item_record &item = loaded.items[i];
            std::string what = where + " '" + item.Name + "'";
            EXPECT_STRNE(item.Name, "") << where << " item " << i;
            EXPECT_LE(item.Cat, CAT_SWITCH) << what;
            EXPECT_LT(item.ChipCode, 35u) << what;
            EXPECT_NE(item.Offset, 0xFFFFFFFFu) << what;
            EXPECT_TRUE(item.Monitor == 0 || item.Monitor == 1) << what;
            EXPECT_TRUE(ids.insert(item.ItemId).second) << what << " has another item's id " << item.ItemId;
            EXPECT_EQ(item.BusType & ~loaded.system->BusType & ~BUS_SMBUS_HOST, 0u)
                << what << " is on a bus that the board does not name";
            if (item.Cat == CAT_VOLTAGE) {
                EXPECT_LE(item.VolFunc, 9u) << what;
            }
        }
    });
}

TEST(MasterFiles, ItemsFitThePages) {
    for_each_board([](const configuration &loaded, const std::string &where) {
        int counts[4] = {};
        for (int32_t i = 0; i < loaded.item_count; i++)
            if (loaded.items[i].Cat <= CAT_SWITCH)
                counts[loaded.items[i].Cat]++;
        EXPECT_LE(counts[CAT_FAN], 16) << where;
        EXPECT_LE(counts[CAT_VOLTAGE], 60) << where;
        EXPECT_LE(counts[CAT_TEMP], 16) << where;
        EXPECT_LE(counts[CAT_SWITCH], 16) << where;
    });
}

TEST(MasterFiles, NamesOfRecordsAreThere) {
    for_each_board([](const configuration &loaded, const std::string &where) {
        for (int32_t i = 0; i < loaded.item_count; i++) {
            const item_record &item = loaded.items[i];
            for (const char *name : {item.ParaIndex1, item.ParaIndex2})
                EXPECT_TRUE(name[0] == '\0' ||
                            find_first_parameter(loaded.parameters, loaded.parameter_count, name) != nullptr)
                    << where << " '" << item.Name << "' names " << name;
            EXPECT_TRUE(item.RefItemId[0] == '\0' ||
                        find_item_by_id(loaded.items, loaded.item_count, item.RefItemId) != nullptr)
                << where << " '" << item.Name << "' refers to " << item.RefItemId;
        }
    });
}

TEST(MasterFiles, ParametersFitTheTable) {
    for_each_board([](const configuration &loaded, const std::string &where) {
        int32_t heads = 0;
        for (const std::string &line : lines_of(test_door::file("/etc/Kestrel.ini"))) {
            heads += strcasecmp(line.c_str(), "[Parameter]") == 0 ? 1 : 0;
            if (strncasecmp(line.c_str(), "PARAMETER=", 10) == 0) {
                EXPECT_LE(line.size() - 10, 11u) << where << " " << line << " would be cut";
            }
        }
        EXPECT_LE(heads, loaded.parameter_count) << where;
    });
}

TEST(MasterFiles, SectionsHoldNothingThatIsIgnored) {
    const std::set<std::string> keys = {"BUSTYPE",
                                        "DATAREG",
                                        "INDEXREG",
                                        "MACHINENAME",
                                        "MAILALERT",
                                        "MAILBOX",
                                        "MAILSERVER",
                                        "OUTLINE",
                                        "PAGERALERT",
                                        "PAGERID",
                                        "PHONENUMBER",
                                        "POLLING",
                                        "SERVERPORT",
                                        "ITEM_NAME",
                                        "ITEM_CAT",
                                        "VOL_FUNC",
                                        "ITEM_ID",
                                        "CHIPCODE",
                                        "SLAVE",
                                        "OFFSET",
                                        "ACTIVATE",
                                        "MONITOR",
                                        "SOURCE",
                                        "PARAINDEX1",
                                        "PARAINDEX2",
                                        "PARAMETER",
                                        "REF_ITEM_ID",
                                        "BITMASK",
                                        "CORETEMPCHIPCODE",
                                        "W83793GTEMPLEVELTYPE",
                                        "THERMALGUIDECHIPTYPE"};
    for (const char *master : masters)
        for (const std::string &line : lines_of(contents_of(master))) {
            if (line.compare(0, 2, ";;") == 0 || line.find('=') == std::string::npos)
                continue;
            std::string key = line.substr(0, line.find('='));
            for (char &c : key)
                c = static_cast<char>(toupper(c));
            EXPECT_EQ(keys.count(key), 1u) << master << ": " << line;
        }
}
