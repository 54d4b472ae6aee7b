// Private to the library: the key strings of one read, shared by the
// members that have the same name.
#ifndef PZ_KEY_CACHE_H
#define PZ_KEY_CACHE_H

#include <cstdint>
#include <cstring>

#include "pzvariant/pz_string.h"

namespace pz {

// A text of many records repeats a few names thousands of times, and a
// shared key saves a block per member. A small table by hash, each slot
// keeping the last name that fell into it; its references go when the read
// ends.
class key_cache {
public:
    key_cache() = default;
    key_cache(const key_cache &) = delete;
    key_cache &operator=(const key_cache &) = delete;
    ~key_cache() {
        for (pz_string_t *key : slots_) pz_string_unref(key);
    }

    // A new reference to a key holding `name` of `len` bytes and hash
    // `hash`; null when out of memory.
    pz_string_t *key(const char *name, size_t len, uint32_t hash) {
        pz_string_t *&slot = slots_[hash % kSlots];
        if (slot != nullptr && static_cast<size_t>(slot->len) == len && std::memcmp(slot->cstr, name, len) == 0) {
            return pz_string_ref(slot);
        }
        pz_string_t *made = len < INT32_MAX ? pz_string_new_len(name, static_cast<int>(len)) : nullptr;
        if (made == nullptr) return nullptr;
        pz_string_unref(slot);
        slot = pz_string_ref(made);
        return made;
    }

private:
    static constexpr unsigned kSlots = 64;
    pz_string_t *slots_[kSlots] = {};
};

}  // namespace pz

#endif  // PZ_KEY_CACHE_H
