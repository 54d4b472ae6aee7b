// Deep equality: same kind and same value, containers compared element by
// element and entry by entry.
#include "pz_variant_internal.h"

using namespace pz;

namespace {

bool equal(const pz_variant_t *a, const pz_variant_t *b);

struct dict_compare {
    const pz_hash_table_t *other;
    bool same;
};

bool entry_in_other(void *key, void *value, void *user) {
    auto *cmp = static_cast<dict_compare *>(user);
    const auto *found = static_cast<const pz_variant_t *>(pz_hash_table_find(cmp->other, key));
    // A missing key and a key stored with a null value both find null.
    cmp->same = (found != nullptr || pz_hash_table_contains(cmp->other, key)) &&
                equal(static_cast<const pz_variant_t *>(value), found);
    return cmp->same;
}

bool equal_dicts(const pz_hash_table_t *a, const pz_hash_table_t *b) {
    if (a == nullptr || b == nullptr) return a == b;
    if (pz_hash_table_size(a) != pz_hash_table_size(b)) return false;
    dict_compare cmp{b, true};
    pz_hash_table_foreach(const_cast<pz_hash_table_t *>(a), entry_in_other, &cmp);
    return cmp.same;
}

bool equal_arrays(const pz_array_t *a, const pz_array_t *b) {
    const size_t na = a != nullptr ? a->len : 0;
    const size_t nb = b != nullptr ? b->len : 0;
    if (na != nb) return false;
    for (size_t i = 0; i < na; ++i) {
        if (!equal(array_slots(a)[i], array_slots(b)[i])) return false;
    }
    return true;
}

bool equal(const pz_variant_t *a, const pz_variant_t *b) {
    if (a == nullptr || b == nullptr) return a == b;
    if (a->vt != b->vt) return false;
    switch (a->vt) {
        case vtype_string:
        case vtype_bytes:
            return a->len == b->len && (a->len == 0 || std::memcmp(a->ptr_val, b->ptr_val, a->len) == 0);
        case vtype_array:
            return equal_arrays(array_of(a), array_of(b));
        case vtype_dict:
            return equal_dicts(dict_of(a), dict_of(b));
        case vtype_ptr:
            return a->ptr_val == b->ptr_val && a->len == b->len;
        default:
            // Every other kind lives in the union, unused bytes zero: the
            // same bits are the same value (so NaN payloads and -0.0 count).
            return a->uint64_val == b->uint64_val;
    }
}

}  // namespace

extern "C" bool pz_variant_equal(const pz_variant_t *a, const pz_variant_t *b) {
    return nesting_within(a) && nesting_within(b) &&
           equal(a, b);
}
