// Array values: an ordered run of element pointers in a pz_array_t, one
// reference held per non-null element. Every operation checks that it was
// given an array with storage and that the index is in range.
#include "containers/arrays.h"

using namespace pz;

namespace {

// Puts `value` in a new slot at `index` (past the end: appended); true when
// the slot was really added, so that the array holds a reference only on
// what it stores.
bool insert_slot(pz_variant_t *va, size_t index, pz_variant_t *value) {
    pz_array_t *a = array_of(va);
    if (a == nullptr) return false;
    const size_t before = a->len;
    a = pz_array_insert_vals(a, index, &value, 1);
    va->ptr_val = a;
    return a->len != before;
}

// The new array record `va` given storage for `count` elements; null, and
// the record freed, when either cannot be had (an array without storage is
// no array a caller asked for).
pz_variant_t *with_storage(pz_variant_t *va, size_t count) {
    if (va != nullptr) va->ptr_val = pz_array_new(kElementSize, count);
    if (va != nullptr && va->ptr_val == nullptr) {
        pz_variant_unref(va);
        return nullptr;
    }
    return va;
}

}  // namespace

pz_variant_t *pz::array_new_for(size_t count) {
    if (count > kEmbeddedSlots) return with_storage(new_record(vtype_array), count);
    // A small array whose size is known keeps its slots in the record's own
    // block: one allocation instead of two, and one free.
    constexpr size_t kRecord = PZ_ALIGN_UP(sizeof(pz_variant_t));
    pz_variant_t *va = new_record_with_tail(
        vtype_array, kRecord + pz_array_footprint(kElementSize, count), layout_plain);
    if (va != nullptr) {
        va->ptr_val = pz_array_init_in(reinterpret_cast<char *>(va) + kRecord, kElementSize, count);
    }
    return va;
}

bool pz::array_append_moved(pz_variant_t *va, pz_variant_t *value) {
    // Where there is room the slot is filled in place, the common case.
    pz_array_t *a = array_of(va);
    if (a != nullptr && a->len < a->capacity) {
        array_slots(a)[a->len++] = value;
        return true;
    }
    if (insert_slot(va, SIZE_MAX, value)) return true;
    pz_variant_unref(value);
    return false;
}

extern "C" {

pz_variant_t *pz_variant_array_new(void) { return with_storage(new_record(vtype_array), kArrayReserve); }

uint32_t pz_variant_array_size(const pz_variant_t *va) {
    const pz_array_t *a = array_of(va);
    return a != nullptr ? static_cast<uint32_t>(a->len) : 0;
}

void pz_variant_array_append(pz_variant_t *va, pz_variant_t *value) {
    if (insert_slot(va, SIZE_MAX, value)) pz_variant_ref(value);
}

void pz_variant_array_prepend(pz_variant_t *va, pz_variant_t *value) {
    if (insert_slot(va, 0, value)) pz_variant_ref(value);
}

void pz_variant_array_insert(pz_variant_t *va, uint32_t index, pz_variant_t *value) {
    if (insert_slot(va, index, value)) pz_variant_ref(value);
}

void pz_variant_array_remove(pz_variant_t *va, uint32_t index) {
    pz_array_t *a = array_of(va);
    if (a == nullptr || index >= a->len) return;
    pz_variant_t *gone = array_slots(a)[index];
    va->ptr_val = pz_array_remove_index(a, index);
    pz_variant_unref(gone);
}

void pz_variant_array_set(pz_variant_t *va, uint32_t index, pz_variant_t *value) {
    pz_array_t *a = array_of(va);
    if (a == nullptr || index >= a->len) return;
    // The new reference first, so that setting a slot to the element it
    // already holds never frees that element.
    pz_variant_t *old = array_slots(a)[index];
    array_slots(a)[index] = pz_variant_ref(value);
    pz_variant_unref(old);
}

pz_variant_t *pz_variant_array_index(const pz_variant_t *va, uint32_t index) {
    return pz_variant_ref(array_at(va, index));
}

pz_variant_t *pz_variant_array_clear(pz_variant_t *va) {
    pz_array_t *a = array_of(va);
    if (a == nullptr) return va;
    // Emptied first (shrinking never moves the block, so the slots stay
    // readable): the destructors that the release scope defers then find
    // the array empty instead of slots whose elements are gone.
    const size_t count = a->len;
    va->ptr_val = pz_array_set_size(a, 0);
    pz_variant_t *const *slots = array_slots(a);
    in_release_scope([slots, count] {
        for (size_t i = 0; i < count; ++i) pz_variant_unref(slots[i]);
    });
    return va;
}

pz_status pz_variant_array_append_ex(pz_variant_t *va, pz_variant_t *value) {
    if (va == nullptr) return PZ_STATUS_NO_VALUE;
    if (array_of(va) == nullptr) return PZ_STATUS_WRONG_KIND;
    if (!insert_slot(va, SIZE_MAX, value)) return PZ_STATUS_OUT_OF_MEMORY;
    pz_variant_ref(value);
    return PZ_STATUS_OK;
}

}  // extern "C"
