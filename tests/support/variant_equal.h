// Deep equality of two values for the tests: same kinds, widths and lengths;
// scalars compared by their bits (so -0.0 differs from 0.0), texts and bytes
// by content, arrays element by element, dictionaries entry by entry.
#ifndef PZ_VARIANT_EQUAL_H
#define PZ_VARIANT_EQUAL_H

#include <cstring>

#include "pz_variant_internal.h"

inline bool variant_equal(const pz_variant_t *a, const pz_variant_t *b);

namespace variant_equal_detail {

struct entries {
    const pz_variant_t *other;
    bool same;
};

inline bool entry_in_other(void *key, void *value, void *user) {
    auto *walk = static_cast<entries *>(user);
    pz_variant_t *there = pz_variant_dict_get(walk->other, static_cast<pz_string_t *>(key)->cstr);
    walk->same = variant_equal(static_cast<const pz_variant_t *>(value), there);
    pz_variant_unref(there);
    return walk->same;
}

}  // namespace variant_equal_detail

inline bool variant_equal(const pz_variant_t *a, const pz_variant_t *b) {
    if (a == nullptr || b == nullptr) return a == b;
    if (a->vt != b->vt || a->len != b->len) return false;
    switch (a->vt) {
        case vtype_string:
        case vtype_bytes:
            return a->len == 0 || std::memcmp(a->ptr_val, b->ptr_val, a->len) == 0;
        case vtype_array: {
            const uint32_t n = pz_variant_array_size(a);
            if (n != pz_variant_array_size(b)) return false;
            for (uint32_t i = 0; i < n; ++i) {
                if (!variant_equal(pz::array_at(a, i), pz::array_at(b, i))) return false;
            }
            return true;
        }
        case vtype_dict: {
            if (pz_variant_dict_size(a) != pz_variant_dict_size(b)) return false;
            variant_equal_detail::entries walk{b, true};
            pz_variant_dict_foreach(const_cast<pz_variant_t *>(a),
                                    variant_equal_detail::entry_in_other, &walk);
            return walk.same;
        }
        default:  // everything else lives in the 8 bytes of the union
            return a->uint64_val == b->uint64_val;
    }
}

#endif  // PZ_VARIANT_EQUAL_H
