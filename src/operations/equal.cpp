// Deep equality: same kind and same value, containers compared element by
// element and entry by entry. One walk goes down both values at once,
// guarded on the first one's side: where the two stay equal they have the
// same shape, so a nesting too deep or a loop in either shows there (a loop
// in the second alone would need the first to be endless too). The walk
// takes no reference and allocates nothing.
#include "core/container_storage.h"
#include "operations/walk.h"

using namespace pz;

namespace {

// Kinds that live in the record: the same bits are the same value.
bool same_scalar(const pz_variant_t *a, const pz_variant_t *b) {
    switch (a->vt) {
        case vtype_string:
        case vtype_bytes:
            return a->len == b->len && (a->len == 0 || std::memcmp(a->ptr_val, b->ptr_val, a->len) == 0);
        case vtype_ptr:
            return a->ptr_val == b->ptr_val && a->len == b->len;
        default:
            // Unused bytes of the union stay zero, so NaN payloads and -0.0
            // count as they are stored.
            return a->uint64_val == b->uint64_val;
    }
}

class comparison {
public:
    bool equal(const pz_variant_t *a, const pz_variant_t *b) {
        if (a == nullptr || b == nullptr || a->vt != b->vt) return a == b && path_.fits(a);
        if (a->vt != vtype_array && a->vt != vtype_dict) return path_.fits(a) && same_scalar(a, b);
        if (!path_.enter(a)) return false;
        const bool same = a->vt == vtype_array ? equal_arrays(array_of(a), array_of(b))
                                               : equal_dicts(dict_of(a), dict_of(b));
        path_.leave();
        return same;
    }

private:
    bool equal_arrays(const pz_array_t *a, const pz_array_t *b) {
        const size_t n = a != nullptr ? a->len : 0;
        if (n != (b != nullptr ? b->len : 0)) return false;
        for (size_t i = 0; i < n; ++i) {
            if (!equal(array_slots(a)[i], array_slots(b)[i])) return false;
        }
        return true;
    }

    // Entries are paired by position while both tables have the same keys
    // in the same order (a copy shares even the key strings); from the first
    // that differ on, each of the rest of `a` is looked up in `b` by the
    // hash `a` stored. Sizes being equal, finding every key of `a` in `b`
    // means the keys are the same.
    bool equal_dicts(const pz_hash_table_t *a, const pz_hash_table_t *b) {
        if (a == nullptr || b == nullptr) return a == b;
        if (pz_hash_table_size(a) != pz_hash_table_size(b)) return false;
        uint32_t pos_a = 0, pos_b = 0, hash = 0;
        void *key = nullptr, *value = nullptr;
        bool in_order = true;
        while (pz_hash_table_next(a, &pos_a, &key, &value, &hash)) {
            const pz_variant_t *other = nullptr;
            in_order = in_order && same_key_next(b, &pos_b, key, hash, &other);
            if (!in_order && !find_in(b, key, hash, &other)) return false;
            if (!equal(static_cast<const pz_variant_t *>(value), other)) return false;
        }
        return true;
    }

    // Whether the entry of `b` at `*pos` has `key`; its value to `*value`.
    static bool same_key_next(const pz_hash_table_t *b, uint32_t *pos, const void *key, uint32_t hash,
                              const pz_variant_t **value) {
        void *other_key = nullptr, *other_value = nullptr;
        uint32_t other_hash = 0;
        if (!pz_hash_table_next(b, pos, &other_key, &other_value, &other_hash)) return false;
        if (other_hash != hash || (other_key != key && !pz_string_equal(other_key, key))) return false;
        *value = static_cast<const pz_variant_t *>(other_value);
        return true;
    }

    static bool find_in(const pz_hash_table_t *b, const void *key, uint32_t hash, const pz_variant_t **value) {
        *value = static_cast<const pz_variant_t *>(pz_hash_table_find_hashed(b, key, hash));
        // A stored empty value finds null as a missing key does.
        return *value != nullptr || pz_hash_table_contains(b, key);
    }

    walk_path path_;
};

}  // namespace

extern "C" bool pz_variant_equal(const pz_variant_t *a, const pz_variant_t *b) {
    comparison walk;
    return walk.equal(a, b);
}
