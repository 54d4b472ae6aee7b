// Private to the library: the dictionary helpers shared by the source files.
#ifndef PZ_CONTAINERS_DICTS_H
#define PZ_CONTAINERS_DICTS_H

#include <cstring>

#include "core/container_storage.h"
#include "pzvariant/pz_string.h"

namespace pz {

// The guard of the keyed dictionary operations.
inline bool dict_test(const pz_variant_t *dict, const char *key) {
    return dict_of(dict) != nullptr && !pz_cstr_empty(key);
}

// The value under `key`, borrowed (no reference taken); null when absent or
// when the dictionary test fails. The key is wrapped, not copied, so a
// lookup allocates nothing.
inline pz_variant_t *dict_find(const pz_variant_t *dict, const char *key) {
    if (!dict_test(dict, key)) return nullptr;
    const pz_string_t lookup = pz_string_borrow(key, std::strlen(key));
    return static_cast<pz_variant_t *>(pz_hash_table_find(dict_of(dict), &lookup));
}

// Puts `value` under `key` handing the caller's reference to the table
// instead of taking another; the reference is dropped when nothing can be
// stored (dictionary test failed, null value, out of memory). True when
// the entry was stored.
bool dict_put_moved(pz_variant_t *dict, const char *key, pz_variant_t *value);

// A new table made the one way every dictionary table is made: string keys
// released with pz_string_unref, values with pz_variant_unref. Null when out
// of memory.
pz_hash_table_t *dict_table_new();

// A new dictionary value whose table has room for `count` entries (when
// that room can be had); null when out of memory.
pz_variant_t *dict_new_for(size_t count);

}  // namespace pz

#endif  // PZ_CONTAINERS_DICTS_H
