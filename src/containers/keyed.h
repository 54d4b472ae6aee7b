// Private to the library: dictionary operations on a key given with its
// length, as the reporting family and the C++ interface pass it, and the
// one test that says why a keyed operation cannot go ahead.
#ifndef PZ_CONTAINERS_KEYED_H
#define PZ_CONTAINERS_KEYED_H

#include <cstdint>
#include <cstring>

#include "containers/dicts.h"

namespace pz {

// Whether a dictionary can hold the `len` bytes at `key` as a key: not
// empty, no NUL byte (a stored key is a C string), within a string's count.
inline bool key_usable(const char *key, size_t len) {
    return key != nullptr && len != 0 && len <= INT32_MAX && std::memchr(key, '\0', len) == nullptr;
}

// Why a keyed operation on `dict` cannot go ahead, or PZ_STATUS_OK.
inline pz_status keyed_status(const pz_variant_t *dict, const char *key, size_t len) {
    if (dict == nullptr) return PZ_STATUS_NO_VALUE;
    if (dict_of(dict) == nullptr) return PZ_STATUS_WRONG_KIND;
    return key_usable(key, len) ? PZ_STATUS_OK : PZ_STATUS_INVALID_KEY;
}

// The value under a usable key of `len` bytes, borrowed; null when absent.
inline pz_variant_t *dict_find_usable(const pz_variant_t *dict, const char *key, size_t len) {
    const pz_string_t lookup = pz_string_borrow(key, len);
    return static_cast<pz_variant_t *>(pz_hash_table_find(dict_of(dict), &lookup));
}

// As dict_put_moved, for a dictionary and a key of `len` bytes that
// keyed_status accepts.
bool dict_put_moved_len(pz_variant_t *dict, const char *key, size_t len, pz_variant_t *value);

}  // namespace pz

#endif  // PZ_CONTAINERS_KEYED_H
