#include "config/name_index.h"

#include <string>
#include <string_view>
#include <unordered_map>

#include "hw/text.h"

struct first_and_last {
    int32_t first;
    int32_t last;
};

struct folded_hash { // FNV-1a over the bytes with bit 5 set, which makes letters of either case the same
    size_t operator()(std::string_view name) const {
        uint64_t hash = 14695981039346656037u;
        for (char c : name)
            hash = (hash ^ (static_cast<unsigned char>(c) | 0x20)) * 1099511628211u;
        return hash;
    }
};

struct folded_equal {
    bool operator()(std::string_view a, std::string_view b) const {
        return equal_ignoring_case(a.data(), b.data()); // all names here are terminated texts of records
    }
};

using name_map = std::unordered_map<std::string_view, first_and_last, folded_hash, folded_equal>;

// The table that a map speaks of is known by its address and size; the loaded ones are never freed.
static const item_record *indexed_items;
static int32_t indexed_item_count;
static name_map item_ids;
static const parameter_record *indexed_parameters;
static int32_t indexed_parameter_count;
static name_map parameter_names;

static void add_name(name_map *map, const char *name, int32_t place) {
    if (name[0] == '\0')
        return;
    auto [entry, added] = map->try_emplace(name, first_and_last{place, place});
    if (!added)
        entry->second.last = place;
}

void index_names(const item_record *items, int32_t item_count, const parameter_record *parameters,
                 int32_t parameter_count) {
    item_ids.clear();
    item_ids.reserve(static_cast<size_t>(item_count));
    for (int32_t i = 0; i < item_count; i++)
        add_name(&item_ids, items[i].ItemId, i);
    indexed_items = items;
    indexed_item_count = item_count;

    parameter_names.clear();
    parameter_names.reserve(static_cast<size_t>(parameter_count));
    for (int32_t i = 0; i < parameter_count; i++)
        add_name(&parameter_names, parameters[i].szKeyName, i);
    indexed_parameters = parameters;
    indexed_parameter_count = parameter_count;
}

static bool find_parameter(const parameter_record *parameters, int32_t count, const char *name,
                           first_and_last *found) {
    if (name[0] == '\0')
        return false;
    if (parameters == indexed_parameters && count == indexed_parameter_count) {
        auto entry = parameter_names.find(name);
        if (entry == parameter_names.end())
            return false;
        *found = entry->second;
        return true;
    }
    bool any = false;
    for (int32_t i = 0; i < count; i++) {
        if (!equal_ignoring_case(parameters[i].szKeyName, name))
            continue;
        if (!any)
            found->first = i;
        found->last = i;
        any = true;
    }
    return any;
}

const parameter_record *find_first_parameter(const parameter_record *parameters, int32_t count,
                                             const char *name) {
    first_and_last found;
    return find_parameter(parameters, count, name, &found) ? &parameters[found.first] : nullptr;
}

const parameter_record *find_last_parameter(const parameter_record *parameters, int32_t count,
                                            const char *name) {
    first_and_last found;
    return find_parameter(parameters, count, name, &found) ? &parameters[found.last] : nullptr;
}

const item_record *find_item_by_id(const item_record *items, int32_t count, const char *id) {
    if (id[0] == '\0')
        return nullptr;
    if (items == indexed_items && count == indexed_item_count) {
        auto entry = item_ids.find(id);
        return entry == item_ids.end() ? nullptr : &items[entry->second.first];
    }
    for (int32_t i = 0; i < count; i++)
        if (equal_ignoring_case(items[i].ItemId, id))
            return &items[i];
    return nullptr;
}
