// Compact ordered hash table.
//
// Entries {key, value, hash} sit in a dense array in insertion order; a
// sparse index of int32 slots, probed by open addressing, points into it.
// Walks follow the dense array, so they see insertion order. Removing an
// entry marks its slot DUMMY and leaves a hole in the dense array; the next
// resize compacts. The stored hash means a resize never rehashes a key.
// Keys are never null: a null key marks a hole.
#include "base/pz_hash_table.h"

#include <cstring>

#include "base/pz_memory.h"

namespace {

struct entry {
    void *key;
    void *value;
    uint32_t hash;
};

constexpr int32_t kEmpty = -1;
constexpr int32_t kDummy = -2;
constexpr uint32_t kMinSlots = 8;

// Two thirds of the slots may be used, which keeps probe runs short.
constexpr uint32_t usable_for(uint64_t slots) { return static_cast<uint32_t>(slots * 2 / 3); }

}  // namespace

struct pz_hash_table_s {
    pz_equal_func_pt equal;
    pz_hash_func_pt hash;
    pz_dtor_pt key_dtor;
    pz_dtor_pt value_dtor;
    entry *entries;   // dense array; null until the first insert
    int32_t *index;   // mask + 1 slots, in the same block after the entries
    uint32_t mask;
    uint32_t used;    // dense entries in use, holes included
    uint32_t usable;  // dense capacity
    uint32_t size;    // live entries
    bool borrowed;    // the struct lives in a block of the caller's
};

namespace {

struct probe {
    uint32_t slot;  // where the key is, or the empty slot that ends its run
    int32_t ix;     // its entry, or kEmpty
};

// The slots a hash visits, in order: its home slot, then steps that mix in
// its higher bits. Lookups and inserts must walk the same sequence.
class probe_sequence {
public:
    probe_sequence(uint32_t hash, uint32_t mask) : slot_(hash & mask), perturb_(hash), mask_(mask) {}
    uint32_t slot() const { return slot_; }
    void next() {
        perturb_ >>= 5;
        slot_ = (slot_ * 5 + perturb_ + 1) & mask_;
    }

private:
    uint32_t slot_;
    uint32_t perturb_;
    uint32_t mask_;
};

probe lookup(const pz_hash_table_t *t, const void *key, uint32_t hash) {
    for (probe_sequence seq(hash, t->mask);; seq.next()) {
        const uint32_t i = seq.slot();
        const int32_t ix = t->index[i];
        if (ix == kEmpty) return {i, kEmpty};
        if (ix >= 0) {
            const entry &e = t->entries[ix];
            if (e.hash == hash && (e.key == key || t->equal(e.key, key))) return {i, ix};
        }
    }
}

// Up to this many dense entries, a lookup that only needs the entry scans
// them for the hash instead of probing: the entries are read in order, not
// after the index slot that names them, so a table out of the cache costs
// one wait fewer.
constexpr uint32_t kScanEntries = 8;

// The entry holding `key`, or kEmpty.
int32_t entry_of(const pz_hash_table_t *t, const void *key, uint32_t hash) {
    if (t->used > kScanEntries) return lookup(t, key, hash).ix;
    for (uint32_t i = 0; i < t->used; ++i) {
        const entry &e = t->entries[i];
        if (e.hash == hash && e.key != nullptr && (e.key == key || t->equal(e.key, key))) {
            return static_cast<int32_t>(i);
        }
    }
    return kEmpty;
}

uint32_t empty_slot(const pz_hash_table_t *t, uint32_t hash) {
    probe_sequence seq(hash, t->mask);
    while (t->index[seq.slot()] != kEmpty) seq.next();
    return seq.slot();
}

// Rebuilds the table with room for `wanted` live entries, moving them over
// in order; false (the table untouched) when out of memory. With `exact`
// the dense array holds `wanted` entries and no more: the caller knows how
// many there will be. Otherwise it fills the slots' usable share.
bool resize(pz_hash_table_t *t, uint64_t wanted, bool exact = false) {
    uint64_t slots = kMinSlots;
    while (usable_for(slots) < wanted) {
        slots *= 2;
        if (slots > (1ull << 31)) return false;
    }
    const uint32_t usable = exact ? static_cast<uint32_t>(wanted) : usable_for(slots);
    const size_t entry_bytes = sizeof(entry) * usable;
    void *block = HAL_Malloc(static_cast<unsigned long>(entry_bytes + sizeof(int32_t) * slots));
    if (block == nullptr) return false;

    auto *entries = static_cast<entry *>(block);
    uint32_t n = 0;
    for (uint32_t i = 0; i < t->used; ++i) {
        if (t->entries[i].key != nullptr) entries[n++] = t->entries[i];
    }
    HAL_Free(t->entries);
    t->entries = entries;
    t->index = reinterpret_cast<int32_t *>(static_cast<char *>(block) + entry_bytes);
    std::memset(t->index, 0xFF, sizeof(int32_t) * slots);  // every slot kEmpty
    t->mask = static_cast<uint32_t>(slots - 1);
    t->used = n;
    t->usable = usable;
    for (uint32_t i = 0; i < n; ++i) t->index[empty_slot(t, entries[i].hash)] = static_cast<int32_t>(i);
    return true;
}

// Hands a key and a value to the destructors. Both are read before either
// runs: a destructor may free the table itself.
void release(const pz_hash_table_t *t, void *key, void *value) {
    const pz_dtor_pt key_dtor = t->key_dtor;
    const pz_dtor_pt value_dtor = t->value_dtor;
    if (key_dtor != nullptr) key_dtor(key);
    if (value_dtor != nullptr) value_dtor(value);
}

// Empties the table and releases what it held. The entries are detached
// first, so a destructor that reaches this table finds it empty and whole.
void release_all(pz_hash_table_t *t) {
    entry *entries = t->entries;
    const uint32_t used = t->used;
    const pz_dtor_pt key_dtor = t->key_dtor;
    const pz_dtor_pt value_dtor = t->value_dtor;
    t->entries = nullptr;
    t->index = nullptr;
    t->mask = t->used = t->usable = t->size = 0;
    for (uint32_t i = 0; i < used; ++i) {
        if (entries[i].key == nullptr) continue;
        if (key_dtor != nullptr) key_dtor(entries[i].key);
        if (value_dtor != nullptr) value_dtor(entries[i].value);
    }
    HAL_Free(entries);
}

}  // namespace

extern "C" {

size_t pz_hash_table_footprint(void) { return sizeof(pz_hash_table_t); }

pz_hash_table_t *pz_hash_table_init_in(void *block, pz_equal_func_pt equal, pz_hash_func_pt hash) {
    if (block == nullptr || equal == nullptr || hash == nullptr) return nullptr;
    auto *t = static_cast<pz_hash_table_t *>(std::memset(block, 0, sizeof(pz_hash_table_t)));
    t->equal = equal;
    t->hash = hash;
    t->borrowed = true;
    return t;
}

pz_hash_table_t *pz_hash_table_new(pz_equal_func_pt equal, pz_hash_func_pt hash) {
    if (equal == nullptr || hash == nullptr) return nullptr;
    pz_hash_table_t *t = pz_hash_table_init_in(HAL_Malloc(sizeof(pz_hash_table_t)), equal, hash);
    if (t != nullptr) t->borrowed = false;
    return t;
}

pz_hash_table_t *pz_hash_table_move_out(pz_hash_table_t *table) {
    if (table == nullptr) return nullptr;
    auto *own = static_cast<pz_hash_table_t *>(HAL_Malloc(sizeof(pz_hash_table_t)));
    if (own == nullptr) return nullptr;
    *own = *table;
    own->borrowed = false;
    table->entries = nullptr;
    table->index = nullptr;
    table->mask = table->used = table->usable = table->size = 0;
    return own;
}

bool pz_hash_table_in_own_block(const pz_hash_table_t *table) { return table != nullptr && !table->borrowed; }

void pz_hash_table_set_dtor(pz_hash_table_t *table, pz_dtor_pt key_dtor, pz_dtor_pt value_dtor) {
    if (table == nullptr) return;
    table->key_dtor = key_dtor;
    table->value_dtor = value_dtor;
}

bool pz_hash_table_insert(pz_hash_table_t *table, void *key, void *value) {
    if (table == nullptr) return false;
    return pz_hash_table_insert_hashed(table, key, value, key != nullptr ? table->hash(key) : 0);
}

bool pz_hash_table_insert_hashed(pz_hash_table_t *table, void *key, void *value, uint32_t hash) {
    if (table == nullptr) return false;
    if (key == nullptr) {
        release(table, key, value);
        return false;
    }
    uint32_t slot = 0;
    if (table->entries != nullptr) {
        const probe p = lookup(table, key, hash);
        if (p.ix >= 0) {
            // The stored key keeps its place; the new key and old value go.
            entry &e = table->entries[p.ix];
            void *old = e.value;
            e.value = value;
            release(table, key, old);  // last: it may run arbitrary code
            return true;
        }
        slot = p.slot;
    }
    if (table->used == table->usable) {
        if (!resize(table, static_cast<uint64_t>(table->size) + table->size / 2 + 1)) {
            release(table, key, value);
            return false;
        }
        slot = empty_slot(table, hash);
    }
    const uint32_t ix = table->used++;
    table->entries[ix] = entry{key, value, hash};
    table->index[slot] = static_cast<int32_t>(ix);
    ++table->size;
    return true;
}

bool pz_hash_table_copy_entries(pz_hash_table_t *table, const pz_hash_table_t *from,
                                bool (*copy)(void **key, void **value, void *user), void *user) {
    if (table == nullptr || from == nullptr || copy == nullptr || table->used != 0 || from->used != from->size) {
        return false;
    }
    if (from->size == 0) return true;
    // The same slots as `from` and room for its entries alone: when every
    // entry is copied, its index serves as it is.
    const uint32_t slots = from->mask + 1;
    const size_t entry_bytes = sizeof(entry) * from->size;
    void *block = HAL_Malloc(static_cast<unsigned long>(entry_bytes + sizeof(int32_t) * slots));
    if (block == nullptr) return false;
    HAL_Free(table->entries);  // an empty table may hold reserved room
    table->entries = static_cast<entry *>(block);
    table->index = reinterpret_cast<int32_t *>(static_cast<char *>(block) + entry_bytes);
    table->mask = from->mask;
    table->usable = from->size;
    uint32_t n = 0;
    bool go = true;
    for (uint32_t i = 0; i < from->size && go; ++i) {
        void *key = from->entries[i].key;
        void *value = from->entries[i].value;
        go = copy(&key, &value, user);
        if (key != nullptr) table->entries[n++] = entry{key, value, from->entries[i].hash};
    }
    table->used = table->size = n;
    if (n == from->size) {
        std::memcpy(table->index, from->index, sizeof(int32_t) * slots);
    } else {
        std::memset(table->index, 0xFF, sizeof(int32_t) * slots);
        for (uint32_t i = 0; i < n; ++i) table->index[empty_slot(table, table->entries[i].hash)] = static_cast<int32_t>(i);
    }
    return true;
}

bool pz_hash_table_reserve(pz_hash_table_t *table, uint32_t count) {
    if (table == nullptr) return false;
    if (table->usable - table->used >= count) return true;
    return resize(table, static_cast<uint64_t>(table->size) + count, true);
}

void *pz_hash_table_find(const pz_hash_table_t *table, const void *key) {
    if (table == nullptr || table->size == 0 || key == nullptr) return nullptr;
    return pz_hash_table_find_hashed(table, key, table->hash(key));
}

void *pz_hash_table_find_hashed(const pz_hash_table_t *table, const void *key, uint32_t hash) {
    if (table == nullptr || table->size == 0 || key == nullptr) return nullptr;
    const int32_t ix = entry_of(table, key, hash);
    return ix >= 0 ? table->entries[ix].value : nullptr;
}

bool pz_hash_table_replace_hashed(pz_hash_table_t *table, const void *key, void *value, uint32_t hash) {
    if (table == nullptr || table->size == 0 || key == nullptr) return false;
    const int32_t ix = entry_of(table, key, hash);
    if (ix < 0) return false;
    void *old = table->entries[ix].value;
    table->entries[ix].value = value;
    const pz_dtor_pt value_dtor = table->value_dtor;
    if (value_dtor != nullptr) value_dtor(old);  // last: it may run arbitrary code
    return true;
}

bool pz_hash_table_next(const pz_hash_table_t *table, uint32_t *pos, void **key, void **value, uint32_t *hash) {
    if (table == nullptr || pos == nullptr) return false;
    for (uint32_t i = *pos; i < table->used; ++i) {
        const entry &e = table->entries[i];
        if (e.key == nullptr) continue;
        if (key != nullptr) *key = e.key;
        if (value != nullptr) *value = e.value;
        if (hash != nullptr) *hash = e.hash;
        *pos = i + 1;
        return true;
    }
    *pos = table->used;
    return false;
}

bool pz_hash_table_contains(const pz_hash_table_t *table, const void *key) {
    if (table == nullptr || table->size == 0 || key == nullptr) return false;
    return entry_of(table, key, table->hash(key)) >= 0;
}

bool pz_hash_table_remove(pz_hash_table_t *table, const void *key) {
    if (table == nullptr || table->size == 0 || key == nullptr) return false;
    const probe p = lookup(table, key, table->hash(key));
    if (p.ix < 0) return false;
    entry &e = table->entries[p.ix];
    void *old_key = e.key;
    void *old_value = e.value;
    e.key = nullptr;
    e.value = nullptr;
    table->index[p.slot] = kDummy;
    --table->size;
    release(table, old_key, old_value);  // last: it may run arbitrary code
    return true;
}

void pz_hash_table_remove_all(pz_hash_table_t *table) {
    if (table != nullptr) release_all(table);
}

void pz_hash_table_foreach(pz_hash_table_t *table, pz_key_value_pt fn, void *user) {
    if (table == nullptr || fn == nullptr) return;
    // Storage and bounds are read afresh each step: the callback may change
    // the table.
    for (uint32_t i = 0; i < table->used; ++i) {
        const entry e = table->entries[i];
        if (e.key != nullptr && !fn(e.key, e.value, user)) break;
    }
}

unsigned int pz_hash_table_size(const pz_hash_table_t *table) {
    return table != nullptr ? table->size : 0;
}

void pz_hash_table_free(pz_hash_table_t *table) {
    if (table == nullptr) return;
    // A destructor may have stored new entries meanwhile; release those too.
    while (table->entries != nullptr) release_all(table);
    if (!table->borrowed) HAL_Free(table);
}

}  // extern "C"
