// Reads that take no reference: the element, the value under a key and the
// entries of a dictionary, handed out borrowed from their container. They
// let a walk over a large value (the C++ views among them) touch no
// reference count at all.
#include "containers/arrays.h"
#include "containers/dicts.h"

using namespace pz;

extern "C" {

pz_variant_t *pz_variant_array_at(const pz_variant_t *va, uint32_t index) { return array_at(va, index); }

pz_variant_t *pz_variant_dict_find(const pz_variant_t *dict, const char *key) { return dict_find(dict, key); }

pz_variant_t *pz_variant_dict_find_len(const pz_variant_t *dict, const char *key, size_t len) {
    // A stored key is never empty and never holds a NUL byte, so a key that
    // is or does finds nothing (it is not cut short at its NUL).
    if (dict_of(dict) == nullptr || key == nullptr || len == 0 || len > INT32_MAX ||
        std::memchr(key, '\0', len) != nullptr) {
        return nullptr;
    }
    const pz_string_t lookup = pz_string_borrow(key, len);
    return static_cast<pz_variant_t *>(pz_hash_table_find(dict_of(dict), &lookup));
}

bool pz_variant_dict_next(const pz_variant_t *dict, uint32_t *pos, const pz_string_t **key, pz_variant_t **value) {
    void *k = nullptr;
    void *v = nullptr;
    if (!pz_hash_table_next(dict_of(dict), pos, &k, &v, nullptr)) return false;
    if (key != nullptr) *key = static_cast<const pz_string_t *>(k);
    if (value != nullptr) *value = static_cast<pz_variant_t *>(v);
    return true;
}

}  // extern "C"
