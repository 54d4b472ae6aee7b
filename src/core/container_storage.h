// Private to the library: how array and dictionary values keep what they
// hold, and the release of that storage. The core releases every kind, so
// it knows this much of the containers; building and changing them is the
// containers' own.
#ifndef PZ_CORE_CONTAINER_STORAGE_H
#define PZ_CORE_CONTAINER_STORAGE_H

#include "base/pz_array.h"
#include "base/pz_hash_table.h"
#include "core/record.h"
#include "core/release.h"

namespace pz {

// An array's storage is a pz_array_t of element pointers (null: an empty slot).
inline constexpr unsigned long kElementSize = sizeof(pz_variant_t *);

// The storage of an array value, or null for anything else.
inline pz_array_t *array_of(const pz_variant_t *v) {
    return v != nullptr && v->vt == vtype_array ? static_cast<pz_array_t *>(v->ptr_val) : nullptr;
}

inline pz_variant_t **array_slots(const pz_array_t *a) {
    return reinterpret_cast<pz_variant_t **>(a->data);
}

// The table of a dictionary value, or null for anything else.
inline pz_hash_table_t *dict_of(const pz_variant_t *v) {
    return v != nullptr && v->vt == vtype_dict ? static_cast<pz_hash_table_t *>(v->ptr_val)
                                               : nullptr;
}

// Frees the storage of the array or dictionary `v`, dropping a reference to
// each element, and resets it to the empty null value. Run inside a release
// scope.
inline void release_container(pz_variant_t *v) {
    const char vt = v->vt;
    void *const held = v->ptr_val;
    reset_record(v);
    if (vt == vtype_dict) {
        // The table's value destructor drops the references.
        pz_hash_table_free(static_cast<pz_hash_table_t *>(held));
        return;
    }
    auto *a = static_cast<pz_array_t *>(held);
    if (a == nullptr) return;
    // The elements whose last reference goes are queued rather than freed
    // here, so that the storage is freed before them: freed after a run of
    // small blocks, a large one makes glibc merge them all and hand the heap
    // back to the kernel, which the next program step then faults back in
    // page by page.
    for (size_t i = 0; i < a->len; ++i) release_later(array_slots(a)[i]);
    pz_array_free(a);
}

}  // namespace pz

#endif  // PZ_CORE_CONTAINER_STORAGE_H
