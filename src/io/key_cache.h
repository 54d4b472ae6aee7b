// Private to the library: the key strings of one read (or of one builder),
// shared by the members that have the same name.
#ifndef PZ_KEY_CACHE_H
#define PZ_KEY_CACHE_H

#include <cstdint>
#include <cstring>

#include "base/pz_memory.h"
#include "pzvariant/pz_string.h"

namespace pz {

// A text of many records repeats its names thousands of times, and a shared
// key saves a block per member. A feed of posts has some seventy distinct
// names, many of 20 to 35 bytes, and a catalog indexed by id thousands that
// appear once: the cache keeps every name it sees, in an open-addressed
// table that starts inside the cache (no block for a small text) and doubles
// as names come, up to kMaxNames. A new name past that bound empties the
// table first: the names a text repeats come back at their next use, and a
// text of endless distinct names costs a bounded table and one pass over it
// per kMaxNames names. Each kept name holds one reference, dropped with the
// cache or when the table is emptied.
class key_cache {
public:
    key_cache() = default;
    key_cache(const key_cache &) = delete;
    key_cache &operator=(const key_cache &) = delete;
    ~key_cache();

    // A new reference to a key holding `name` of `len` bytes, whose hash is
    // `hash` (pz_hash_bytes of the name); null when out of memory.
    pz_string_t *key(const char *name, size_t len, uint32_t hash) {
        for (uint32_t i = hash & mask_;; i = (i + 1) & mask_) {
            const slot &s = slots_[i];
            if (s.key == nullptr) return miss(name, len, hash, i);
            if (s.hash == hash && static_cast<size_t>(s.key->len) == len && std::memcmp(s.key->cstr, name, len) == 0) {
                pz_atomic_ref(pz_ref_count(s.key));
                return s.key;
            }
        }
    }

    // Distinct names kept.
    uint32_t size() const { return count_; }

    // Names kept at most: a table of 64 KiB.
    static constexpr uint32_t kMaxNames = 2048;

private:
    struct slot {
        pz_string_t *key;
        uint32_t hash;
    };

    // A new key for a name not kept, put in the empty slot `at` when there
    // is room.
    pz_string_t *miss(const char *name, size_t len, uint32_t hash, uint32_t at);
    bool grow();
    void empty();

    // At most half the slots are used, so a probe for a name not kept
    // soon meets an empty one.
    static constexpr uint32_t kInlineSlots = 32;
    slot inline_[kInlineSlots] = {};
    slot *slots_ = inline_;
    uint32_t mask_ = kInlineSlots - 1;
    uint32_t count_ = 0;
};

}  // namespace pz

#endif  // PZ_KEY_CACHE_H
