// Dictionary values: a pz_hash_table_t from pz_string_t keys to values, one
// reference held per entry. Lookups wrap the caller's key without copying
// it, so a get allocates nothing.
#include "containers/dicts.h"
#include "containers/keyed.h"

using namespace pz;

namespace {

void unref_value(void *value) { pz_variant_unref(static_cast<pz_variant_t *>(value)); }

}  // namespace

pz_hash_table_t *pz::dict_table_new() {
    pz_hash_table_t *table = pz_hash_table_new(pz_string_equal, pz_string_hash);
    pz_hash_table_set_dtor(table, pz_string_unref, unref_value);
    return table;
}

pz_variant_t *pz::dict_new_for(size_t count) {
    pz_variant_t *dict = pz_variant_dict_new();
    // Without the room, each insert grows the table as it needs.
    if (count != 0 && count <= UINT32_MAX) pz_hash_table_reserve(dict_of(dict), static_cast<uint32_t>(count));
    return dict;
}

bool pz::dict_put_moved(pz_variant_t *dict, const char *key, pz_variant_t *value) {
    if (!dict_test(dict, key)) {
        pz_variant_unref(value);
        return false;
    }
    return dict_put_moved_len(dict, key, std::strlen(key), value);
}

bool pz::dict_put_moved_len(pz_variant_t *dict, const char *key, size_t len, pz_variant_t *value) {
    if (value == nullptr) return false;
    const pz_string_t lookup = pz_string_borrow(key, len);
    const uint32_t hash = pz_string_hash(&lookup);
    // A key already there keeps its stored string: replacing a value makes
    // no copy of the key.
    if (pz_hash_table_replace_hashed(dict_of(dict), &lookup, value, hash)) return true;
    pz_string_t *stored_key = pz_string_new_len(key, static_cast<int>(len));
    if (stored_key == nullptr) {
        pz_variant_unref(value);
        return false;
    }
    // The table takes over the key and the reference even when it cannot
    // grow, releasing both.
    return pz_hash_table_insert_hashed(dict_of(dict), stored_key, value, hash);
}

extern "C" {

pz_variant_t *pz_variant_dict_new(void) {
    // The table's header lives in the record's block: one allocation fewer
    // for every dictionary. Its entries come with the first insert.
    constexpr size_t kRecord = PZ_ALIGN_UP(sizeof(pz_variant_t));
    pz_variant_t *dict = new_record_with_tail(vtype_dict, kRecord + pz_hash_table_footprint(), layout_plain);
    if (dict == nullptr) return nullptr;
    pz_hash_table_t *table =
        pz_hash_table_init_in(reinterpret_cast<char *>(dict) + kRecord, pz_string_equal, pz_string_hash);
    pz_hash_table_set_dtor(table, pz_string_unref, unref_value);
    dict->ptr_val = table;
    return dict;
}

void pz_variant_dict_put(pz_variant_t *dict, const char *key, pz_variant_t *value) {
    if (!dict_test(dict, key) || value == nullptr) return;
    // The reference is taken before the table sees the value, so putting the
    // value already stored under the key never frees it.
    dict_put_moved(dict, key, pz_variant_ref(value));
}

pz_variant_t *pz_variant_dict_get(const pz_variant_t *dict, const char *key) {
    return pz_variant_ref(dict_find(dict, key));
}

bool pz_variant_dict_contains(const pz_variant_t *dict, const char *key) {
    return dict_find(dict, key) != nullptr;
}

void pz_variant_dict_foreach(pz_variant_t *dict, pz_key_value_pt foreach, void *data) {
    pz_hash_table_t *table = dict_of(dict);
    if (table != nullptr && foreach != nullptr) pz_hash_table_foreach(table, foreach, data);
}

bool pz_variant_dict_erase(pz_variant_t *dict, const char *key) {
    if (!dict_test(dict, key)) return false;
    const pz_string_t lookup = pz_string_borrow(key, std::strlen(key));
    return pz_hash_table_remove(dict_of(dict), &lookup);
}

uint32_t pz_variant_dict_size(const pz_variant_t *dict) {
    return pz_hash_table_size(dict_of(dict));
}

pz_variant_t *pz_variant_dict_clear(pz_variant_t *dict) {
    pz_hash_table_t *table = dict_of(dict);
    if (table != nullptr) in_release_scope([table] { pz_hash_table_remove_all(table); });
    return dict;
}

pz_variant_t *vdict_child(pz_variant_t *dict, const char *key) {
    pz_variant_t *found = dict_find(dict, key);
    if (found != nullptr) return found->vt == vtype_dict ? pz_variant_ref(found) : nullptr;
    pz_variant_t *child = pz_variant_dict_new();
    pz_variant_dict_put(dict, key, child);
    return child;
}

pz_status pz_variant_dict_put_ex(pz_variant_t *dict, const char *key, size_t len, pz_variant_t *value) {
    const pz_status usable = keyed_status(dict, key, len);
    if (usable != PZ_STATUS_OK) return usable;
    if (value == nullptr) return PZ_STATUS_NO_VALUE;
    // As pz_variant_dict_put: the reference first, so that storing the
    // value already under the key never frees it.
    return dict_put_moved_len(dict, key, len, pz_variant_ref(value)) ? PZ_STATUS_OK : PZ_STATUS_OUT_OF_MEMORY;
}

pz_status pz_variant_dict_erase_ex(pz_variant_t *dict, const char *key, size_t len) {
    const pz_status usable = keyed_status(dict, key, len);
    if (usable != PZ_STATUS_OK) return usable;
    const pz_string_t lookup = pz_string_borrow(key, len);
    return pz_hash_table_remove(dict_of(dict), &lookup) ? PZ_STATUS_OK : PZ_STATUS_NOT_FOUND;
}

pz_status vdict_child_ex(pz_variant_t *dict, const char *key, size_t len, pz_variant_t **child) {
    const pz_status usable = keyed_status(dict, key, len);
    if (usable != PZ_STATUS_OK) return usable;
    pz_variant_t *found = dict_find_usable(dict, key, len);
    if (found == nullptr) {
        found = pz_variant_dict_new();
        // The dictionary holds the one reference; the caller borrows it.
        if (found == nullptr || !dict_put_moved_len(dict, key, len, found)) return PZ_STATUS_OUT_OF_MEMORY;
    }
    if (child != nullptr) *child = found;
    return found->vt == vtype_dict ? PZ_STATUS_OK : PZ_STATUS_OCCUPIED;
}

}  // extern "C"
