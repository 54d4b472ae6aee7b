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

    // A new reference to a key holding `name` of `len` bytes, and in
    // `*hash` the name's hash (pz_hash_bytes), which a dictionary stores
    // with the key; null when out of memory. A name kept is found by a
    // locator made of its length and first and last eight bytes, and its
    // hash is the one kept with it: a name that a text repeats is hashed
    // once, not at every member.
    pz_string_t *key(const char *name, size_t len, uint32_t *hash) {
        const uint32_t at = locator(name, len);
        for (uint32_t i = at & mask_;; i = (i + 1) & mask_) {
            const slot &s = slots_[i];
            if (s.key == nullptr) {
                *hash = pz_hash_bytes(name, len);
                return miss(name, len, slot{nullptr, at, *hash}, i);
            }
            if (s.locator == at && static_cast<size_t>(s.key->len) == len && std::memcmp(s.key->cstr, name, len) == 0) {
                *hash = s.hash;
                pz_atomic_ref(pz_ref_count(s.key));
                return s.key;
            }
        }
    }

    // As key(name, len, &hash) for a caller that has the hash already.
    pz_string_t *key(const char *name, size_t len, uint32_t /*hash*/) {
        uint32_t same;
        return key(name, len, &same);
    }

    // Distinct names kept.
    uint32_t size() const { return count_; }

    // Names kept at most: a table of 64 KiB.
    static constexpr uint32_t kMaxNames = 2048;

private:
    struct slot {
        pz_string_t *key;
        uint32_t locator;
        uint32_t hash;
    };

    // Where a name is looked for: its length and its first and last eight
    // bytes (fewer for a short name, overlapping when shorter than 16),
    // mixed by one multiplication. Names that share it are told apart by
    // their bytes.
    static uint32_t locator(const char *name, size_t len) {
        uint64_t head = 0, tail = 0;
        if (len >= 8) {
            std::memcpy(&head, name, 8);
            std::memcpy(&tail, name + len - 8, 8);
        } else if (len >= 4) {
            uint32_t a, b;
            std::memcpy(&a, name, 4);
            std::memcpy(&b, name + len - 4, 4);
            head = a;
            tail = b;
        } else if (len != 0) {
            head = static_cast<unsigned char>(name[0]) | static_cast<unsigned>(static_cast<unsigned char>(name[len / 2])) << 8 |
                   static_cast<unsigned>(static_cast<unsigned char>(name[len - 1])) << 16;
        }
        const uint64_t mixed = (head ^ (tail * 0x9E3779B97F4A7C15ull) ^ len) * 0xC2B2AE3D27D4EB4Full;
        return static_cast<uint32_t>(mixed >> 32);
    }

    // A new key for a name not kept, put with `found` (its locator and
    // hash) in the empty slot `at` when there is room.
    pz_string_t *miss(const char *name, size_t len, slot found, uint32_t at);
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
