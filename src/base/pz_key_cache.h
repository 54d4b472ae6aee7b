// Private to the library: the keys a reader shares between the
// dictionaries it builds.
#ifndef PZ_KEY_CACHE_H
#define PZ_KEY_CACHE_H

#include <climits>
#include <cstring>

#include "pz_string.h"

namespace pz {

// The key strings of one read, shared by the entries with the same name:
// the records of a document repeat a few names many times, and a shared
// key saves a block per entry. One slot per hash bucket, the last name seen
// there; the cache's references go with it.
class key_cache {
public:
    key_cache() = default;
    key_cache(const key_cache &) = delete;
    key_cache &operator=(const key_cache &) = delete;
    ~key_cache() {
        for (pz_string_t *key : slots_) pz_string_unref(key);
    }

    // A new reference to the key of `len` bytes at `name`, whose hash is
    // `hash`; null when out of memory.
    pz_string_t *get(const char *name, uint32_t len, uint32_t hash) {
        pz_string_t *&slot = slots_[hash & (kSlots - 1)];
        const bool hit = slot != nullptr && static_cast<uint32_t>(slot->len) == len &&
                         std::memcmp(slot->cstr, name, len) == 0;
        if (!hit) {
            pz_string_t *made = len < INT32_MAX ? pz_string_new_len(name, static_cast<int>(len)) : nullptr;
            if (made == nullptr) return nullptr;
            pz_string_unref(slot);
            slot = made;
        }
        return pz_string_ref(slot);
    }

private:
    static constexpr uint32_t kSlots = 64;
    pz_string_t *slots_[kSlots] = {};
};

}  // namespace pz

#endif  // PZ_KEY_CACHE_H
