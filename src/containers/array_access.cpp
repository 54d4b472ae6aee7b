// Typed array accessors: elements appended from plain values and read back
// as plain values. Getters read the element's raw bits through the asked
// type and never convert between kinds.
#include "containers/arrays.h"
#include "core/kinds.h"

using namespace pz;

namespace {

// Zero (false, null) for anything but a non-null element in range, so a bad
// argument never reads out of bounds.
template <class T>
T element_value(const pz_variant_t *va, uint32_t index) {
    const pz_variant_t *element = array_at(va, index);
    return element != nullptr ? load<T>(element) : T{};
}

// Appends an empty container and lends it to the caller; null when `va` is
// not an array (nothing is made), when the child cannot be made, or when
// the array cannot grow (the child is then released, not returned).
pz_variant_t *append_child(pz_variant_t *va, pz_variant_t *(*make)()) {
    if (array_of(va) == nullptr) return nullptr;
    pz_variant_t *child = make();
    return array_append_moved(va, child) ? child : nullptr;
}

}  // namespace

extern "C" {

// An adder's new element goes into the array with the maker's reference, so
// the array is its only holder. A null element (out of memory) still takes a
// slot; when nothing can be appended, the element is released at once, and
// with it what it owns.

#define PZ_DEFINE_ARRAY_ACCESS(name, ctype, code, va_type)                  \
    ctype varray_##name(const pz_variant_t *v, uint32_t index) {            \
        return element_value<ctype>(v, index);                              \
    }                                                                       \
    void varray_add_##name(pz_variant_t *v, ctype value) {                  \
        array_append_moved(v, pz_variant_##name##_new(value));                     \
    }
PZ_SCALAR_KINDS(PZ_DEFINE_ARRAY_ACCESS)
#undef PZ_DEFINE_ARRAY_ACCESS

const char *varray_str(const pz_variant_t *v, uint32_t index) {
    return element_value<const char *>(v, index);
}

void varray_add_str(pz_variant_t *v, const char *value) {
    array_append_moved(v, pz_variant_str_new(value));
}

void varray_add_sized_str(pz_variant_t *v, const char *value, uint32_t len) {
    array_append_moved(v, vstr_sized_new(value, len));
}

void varray_add_autoptr(pz_variant_t *v, void *value, pz_dtor_pt dtor) {
    array_append_moved(v, pz_variant_autoptr_new(value, dtor));
}

void varray_add_sharedptr(pz_variant_t *v, void *value, pz_ref_pt ref, pz_unref_pt unref) {
    array_append_moved(v, pz_variant_sharedptr_new(value, ref, unref));
}

pz_variant_t *varray_add_dict(pz_variant_t *va) { return append_child(va, pz_variant_dict_new); }

pz_variant_t *varray_add_array(pz_variant_t *va) { return append_child(va, pz_variant_array_new); }

}  // extern "C"
