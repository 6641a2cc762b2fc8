#include "config/name_index.h"

#include <cstddef>
#include <cstdlib>

#include "hw/text.h"

struct first_and_last {
    int32_t first;
    int32_t last;
};

struct name_slot {
    const char *name; // nullptr: free
    first_and_last places;
};

// The names of a table: an open hash table, of which at most half of the slots are used. A container of the
// library would end the program when there is no memory for it.
struct name_index {
    const void *table; // known by its address and size; the loaded ones are never freed
    int32_t count;
    name_slot *slots;
    size_t mask; // their number, a power of two, less one
};

static name_index item_ids;
static name_index parameter_names;

// FNV-1a over the bytes with bit 5 set, which makes letters of either case the same.
static size_t folded_hash(const char *name) {
    uint64_t hash = 14695981039346656037u;
    for (; *name != '\0'; name++)
        hash = (hash ^ (static_cast<unsigned char>(*name) | 0x20)) * 1099511628211u;
    return hash ^ hash >> 32;
}

// The slot of a name, or the free one that it would take.
static name_slot *slot_of(const name_index *index, const char *name) {
    size_t at = folded_hash(name) & index->mask;
    while (index->slots[at].name != nullptr && !equal_ignoring_case(index->slots[at].name, name))
        at = (at + 1) & index->mask;
    return &index->slots[at];
}

static void add_name(name_index *index, const char *name, int32_t place) {
    if (name[0] == '\0')
        return;
    name_slot *slot = slot_of(index, name);
    if (slot->name == nullptr)
        *slot = {name, {place, place}};
    slot->places.last = place;
}

// An index without names, with room for those of `count` records. Without memory there is none.
static name_index new_index(const void *table, int32_t count) {
    size_t slots = 2;
    while (slots < 2 * static_cast<size_t>(count))
        slots *= 2;
    auto *memory = static_cast<name_slot *>(calloc(slots, sizeof(name_slot)));
    return memory != nullptr ? name_index{table, count, memory, slots - 1} : name_index{};
}

static bool is_indexed(const name_index *index, const void *table, int32_t count) {
    return index->slots != nullptr && index->table == table && index->count == count;
}

static void drop_indexes() {
    free(item_ids.slots);
    free(parameter_names.slots);
    item_ids = {};
    parameter_names = {};
}

bool index_names(const item_record *items, int32_t item_count, const parameter_record *parameters,
                 int32_t parameter_count) {
    drop_indexes();
    item_ids = new_index(items, item_count);
    parameter_names = new_index(parameters, parameter_count);
    if (item_ids.slots == nullptr || parameter_names.slots == nullptr) {
        drop_indexes();
        return false;
    }
    for (int32_t i = 0; i < item_count; i++)
        add_name(&item_ids, items[i].ItemId, i);
    for (int32_t i = 0; i < parameter_count; i++)
        add_name(&parameter_names, parameters[i].szKeyName, i);
    return true;
}

static bool find_parameter(const parameter_record *parameters, int32_t count, const char *name,
                           first_and_last *found) {
    if (name[0] == '\0')
        return false;
    if (is_indexed(&parameter_names, parameters, count)) {
        const name_slot *slot = slot_of(&parameter_names, name);
        if (slot->name != nullptr)
            *found = slot->places;
        return slot->name != nullptr;
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
    if (is_indexed(&item_ids, items, count)) {
        const name_slot *slot = slot_of(&item_ids, id);
        return slot->name == nullptr ? nullptr : &items[slot->places.first];
    }
    for (int32_t i = 0; i < count; i++)
        if (equal_ignoring_case(items[i].ItemId, id))
            return &items[i];
    return nullptr;
}
