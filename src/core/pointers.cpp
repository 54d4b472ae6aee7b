// Owned pointers (one owner, a destructor) and shared pointers (reference
// callbacks). Their callbacks live in the larger records, after the value
// record; `layout` tells whether a block has that room.
#include "core/pointers.h"

using namespace pz;

extern "C" {

pz_variant_t *pz_variant_autoptr_new(void *value, pz_dtor_pt dtor) {
    pz_variant_t *v = new_record(vtype_autoptr, sizeof(v_autoptr_s), layout_autoptr);
    if (v == nullptr) return nullptr;
    v->ptr_val = value;
    reinterpret_cast<v_autoptr_s *>(v)->dtor = dtor;
    return v;
}

pz_variant_t *pz_variant_autoptr_set(pz_variant_t *v, void *value, pz_dtor_pt dtor) {
    // Both larger layouts keep the destructor right after the record.
    if (v == nullptr || !has_dtor_room(v)) return nullptr;
    pz_variant_clear(v);
    v->vt = vtype_autoptr;
    v->ptr_val = value;
    reinterpret_cast<v_autoptr_s *>(v)->dtor = dtor;
    return v;
}

pz_variant_t *pz_variant_sharedptr_new(void *value, pz_ref_pt ref, pz_unref_pt unref) {
    pz_variant_t *v = new_record(vtype_sharedptr, sizeof(v_sharedptr_t), layout_sharedptr);
    if (v == nullptr) return nullptr;
    auto *rec = reinterpret_cast<v_sharedptr_t *>(v);
    v->ptr_val = ref != nullptr ? ref(value) : value;
    rec->ref = ref;
    rec->unref = unref;
    return v;
}

pz_variant_t *pz_variant_sharedptr_set(pz_variant_t *v, void *value, pz_ref_pt ref,
                                       pz_unref_pt unref) {
    if (v == nullptr || v->layout != layout_sharedptr) return nullptr;
    // The new reference first: when `value` is the object `v` already holds,
    // dropping the old reference first could free it.
    void *held = ref != nullptr ? ref(value) : value;
    pz_variant_clear(v);
    auto *rec = reinterpret_cast<v_sharedptr_t *>(v);
    v->vt = vtype_sharedptr;
    v->ptr_val = held;
    rec->ref = ref;
    rec->unref = unref;
    return v;
}

}  // extern "C"
