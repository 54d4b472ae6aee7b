// Private to the library: the array helpers shared by the source files.
#ifndef PZ_CONTAINERS_ARRAYS_H
#define PZ_CONTAINERS_ARRAYS_H

#include "core/container_storage.h"

namespace pz {

// The room a new array has before its first growth.
inline constexpr unsigned long kArrayReserve = 8;
// The most slots that array_new_for puts in the record's block: an array that
// grows past them leaves them unused, so this bounds what that wastes.
inline constexpr size_t kEmbeddedSlots = 64;

// The element at `index`, bounds-checked; null for an empty slot, an index
// out of range or a value that is not an array with storage.
inline pz_variant_t *array_at(const pz_variant_t *va, uint32_t index) {
    const pz_array_t *a = array_of(va);
    return a != nullptr && index < a->len ? array_slots(a)[index] : nullptr;
}

// Appends `value` (null: an empty slot) handing the caller's reference to
// the array instead of taking another; the reference is dropped when nothing
// can be appended. True when the slot was added.
bool array_append_moved(pz_variant_t *va, pz_variant_t *value);

// A new array value with storage for `count` elements (a small one in the
// record's block); null when out of memory.
pz_variant_t *array_new_for(size_t count);

}  // namespace pz

#endif  // PZ_CONTAINERS_ARRAYS_H
