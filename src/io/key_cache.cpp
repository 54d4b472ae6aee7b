// The key cache's slow path: names seen for the first time and the growth
// of its table.
#include "io/key_cache.h"

namespace pz {

key_cache::~key_cache() {
    for (uint32_t i = 0; i <= mask_; ++i) pz_string_unref(slots_[i].key);
    if (slots_ != inline_) HAL_Free(slots_);
}

void key_cache::empty() {
    for (uint32_t i = 0; i <= mask_; ++i) {
        pz_string_unref(slots_[i].key);
        slots_[i].key = nullptr;
    }
    count_ = 0;
}

pz_string_t *key_cache::miss(const char *name, size_t len, slot found, uint32_t at) {
    pz_string_t *made = len < INT32_MAX ? pz_string_new_len(name, static_cast<int>(len)) : nullptr;
    if (made == nullptr) return nullptr;
    if (count_ == kMaxNames) {
        empty();
        at = found.locator & mask_;
    } else if (2 * (count_ + 1) > mask_ + 1) {
        // A table that cannot grow keeps what it has: the key is still made.
        if (!grow()) return made;
        at = found.locator & mask_;
        while (slots_[at].key != nullptr) at = (at + 1) & mask_;
    }
    found.key = pz_string_ref(made);
    slots_[at] = found;
    ++count_;
    return made;
}

bool key_cache::grow() {
    const uint32_t slots = 2 * (mask_ + 1);
    auto *grown = static_cast<slot *>(pz_zalloc(sizeof(slot) * slots));
    if (grown == nullptr) return false;
    const uint32_t mask = slots - 1;
    for (uint32_t i = 0; i <= mask_; ++i) {
        if (slots_[i].key == nullptr) continue;
        uint32_t at = slots_[i].locator & mask;
        while (grown[at].key != nullptr) at = (at + 1) & mask;
        grown[at] = slots_[i];
    }
    if (slots_ != inline_) HAL_Free(slots_);
    slots_ = grown;
    mask_ = mask;
    return true;
}

}  // namespace pz
