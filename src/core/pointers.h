// Private to the library: the larger records of the owned and shared
// pointers, which keep their callbacks after the value record, and their
// release. The release is inline so that the lifecycle reaches it without
// linking to the constructors and setters, which use the lifecycle.
#ifndef PZ_CORE_POINTERS_H
#define PZ_CORE_POINTERS_H

#include "core/record.h"

// The owned-pointer record: the value record, then the destructor.
struct v_autoptr_s {
    pz_variant_t base;
    pz_dtor_pt dtor;
};

// The shared-pointer record: the value record, then the two callbacks.
typedef struct v_sharedptr_s {
    pz_variant_t base;
    pz_ref_pt ref;
    pz_unref_pt unref;
} v_sharedptr_t;

namespace pz {

static_assert(PZ_REF_HEADER % alignof(v_autoptr_s) == 0 && PZ_REF_HEADER % alignof(v_sharedptr_t) == 0,
              "counted records start aligned after their header");

// Whether `v`'s block has room for an owned pointer's destructor.
inline bool has_dtor_room(const pz_variant_t *v) {
    return v->layout == layout_autoptr || v->layout == layout_sharedptr;
}

// Releases what an owned or shared pointer `v` holds and resets it to the
// empty null value. The record is reset before the callback runs, so that it
// sees a consistent, empty value.
inline void release_pointer(pz_variant_t *v) {
    void *const held = v->ptr_val;
    if (v->vt == vtype_autoptr) {
        auto *rec = reinterpret_cast<v_autoptr_s *>(v);
        const pz_dtor_pt dtor = rec->dtor;
        rec->dtor = nullptr;
        reset_record(v);
        if (dtor != nullptr) dtor(held);  // a null destructor owns nothing to call
        return;
    }
    auto *rec = reinterpret_cast<v_sharedptr_t *>(v);
    const pz_unref_pt unref = rec->unref;
    rec->ref = nullptr;
    rec->unref = nullptr;
    reset_record(v);
    if (unref != nullptr) unref(held);
}

}  // namespace pz

#endif  // PZ_CORE_POINTERS_H
