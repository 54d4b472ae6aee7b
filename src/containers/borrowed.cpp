// Reads that take no reference: the element, the value under a key and the
// entries of a dictionary, handed out borrowed from their container. They
// let a walk over a large value (the C++ views among them) touch no
// reference count at all.
#include "containers/arrays.h"
#include "containers/dicts.h"
#include "containers/keyed.h"

using namespace pz;

extern "C" {

pz_variant_t *pz_variant_array_at(const pz_variant_t *va, uint32_t index) { return array_at(va, index); }

pz_variant_t *pz_variant_dict_find(const pz_variant_t *dict, const char *key) { return dict_find(dict, key); }

pz_variant_t *pz_variant_dict_find_len(const pz_variant_t *dict, const char *key, size_t len) {
    // A stored key is never empty and never holds a NUL byte, so a key that
    // is or does finds nothing (it is not cut short at its NUL).
    return keyed_status(dict, key, len) == PZ_STATUS_OK ? dict_find_usable(dict, key, len) : nullptr;
}

bool pz_variant_dict_next(const pz_variant_t *dict, uint32_t *pos, const pz_string_t **key, pz_variant_t **value) {
    void *k = nullptr;
    void *v = nullptr;
    if (!pz_hash_table_next(dict_of(dict), pos, &k, &v, nullptr)) return false;
    if (key != nullptr) *key = static_cast<const pz_string_t *>(k);
    if (value != nullptr) *value = static_cast<pz_variant_t *>(v);
    return true;
}

pz_status pz_variant_dict_find_ex(const pz_variant_t *dict, const char *key, size_t len, pz_variant_t **found) {
    const pz_status usable = keyed_status(dict, key, len);
    if (usable != PZ_STATUS_OK) return usable;
    pz_variant_t *v = dict_find_usable(dict, key, len);
    if (v == nullptr) return PZ_STATUS_NOT_FOUND;
    if (found != nullptr) *found = v;
    return PZ_STATUS_OK;
}

pz_status pz_variant_array_at_ex(const pz_variant_t *va, uint32_t index, pz_variant_t **found) {
    if (va == nullptr) return PZ_STATUS_NO_VALUE;
    if (array_of(va) == nullptr) return PZ_STATUS_WRONG_KIND;
    pz_variant_t *v = array_at(va, index);
    if (v == nullptr) return PZ_STATUS_NOT_FOUND;
    if (found != nullptr) *found = v;
    return PZ_STATUS_OK;
}

}  // extern "C"
