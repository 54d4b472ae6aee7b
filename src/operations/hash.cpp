// A hash of a whole value that agrees with equality: what pz_variant_equal
// compares goes in, and nothing else. Arrays are hashed in order,
// dictionaries as a sum over their entries, so that their order (which
// equality ignores) does not count. The walk takes no reference and
// allocates nothing.
#include "core/container_storage.h"
#include "operations/walk.h"

using namespace pz;

namespace {

// Spreads every input bit over the whole result (the finaliser of
// SplitMix64), so that sums and sequences of hashes stay apart.
uint64_t mix(uint64_t x) {
    x ^= x >> 30;
    x *= 0xbf58476d1ce4e5b9ull;
    x ^= x >> 27;
    x *= 0x94d049bb133111ebull;
    return x ^ (x >> 31);
}

constexpr uint64_t kEmptySlot = 0x9e3779b97f4a7c15ull;

class hasher {
public:
    uint64_t hash(const pz_variant_t *v) {
        if (v != nullptr && (v->vt == vtype_array || v->vt == vtype_dict)) return container(v);
        if (!path_.fits(v)) return 0;
        if (v == nullptr) return kEmptySlot;
        const uint64_t kind = mix(static_cast<unsigned char>(v->vt));
        switch (v->vt) {
            case vtype_string:
            case vtype_bytes:
                return mix(kind ^ (uint64_t{v->len} << 32 | pz_hash_bytes(v->ptr_val, v->len)));
            case vtype_ptr:
                return mix(kind ^ mix(reinterpret_cast<uintptr_t>(v->ptr_val)) ^ v->len);
            default:
                // As equality compares them: the union's bits, unused bytes zero.
                return mix(kind ^ v->uint64_val);
        }
    }

    bool refused() const { return path_.refused(); }

private:
    uint64_t container(const pz_variant_t *v) {
        if (!path_.enter(v)) return 0;
        uint64_t h = mix(static_cast<unsigned char>(v->vt));
        if (const pz_array_t *a = array_of(v)) {
            for (size_t i = 0; i < a->len && !path_.refused(); ++i) h = mix(h + hash(array_slots(a)[i]));
        } else if (const pz_hash_table_t *table = dict_of(v)) {
            uint64_t sum = 0;
            uint32_t pos = 0;
            void *key = nullptr;
            void *value = nullptr;
            while (pz_hash_table_next(table, &pos, &key, &value, nullptr) && !path_.refused()) {
                sum += mix(pz_string_hash(key) ^ hash(static_cast<const pz_variant_t *>(value)));
            }
            h = mix(h ^ sum);
        }
        path_.leave();
        return h;
    }

    walk_path path_;
};

}  // namespace

extern "C" uint64_t pz_variant_hash(const pz_variant_t *v) {
    if (v == nullptr) return 0;
    hasher walk;
    const uint64_t h = walk.hash(v);
    return walk.refused() ? 0 : h;
}
