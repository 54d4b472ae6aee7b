// Typed dictionary accessors: a dictionary used as a record of plain
// fields. Getters read the stored value's raw bits through the asked type,
// never converting between kinds, and fall back to the caller's default.
#include "containers/dicts.h"
#include "containers/keyed.h"
#include "core/kinds.h"

using namespace pz;

namespace {

// A borrowed read: no reference is taken for the moment of reading, so a
// getter neither allocates nor touches the count.
template <class T>
T entry_value(const pz_variant_t *dict, const char *key, T def) {
    const pz_variant_t *found = dict_find(dict, key);
    return found != nullptr ? load<T>(found) : def;
}

// `found`, a dictionary's entry, when the dictionary is its only holder and
// it is a scalar: a typed setter may then write the new value into that
// record in place, an exchange nobody can tell from a replacement, without
// allocating. Null when the entry is absent, of a kind that holds something
// to release, or shared.
pz_variant_t *sole_scalar_of(pz_variant_t *found) {
#if defined(__GNUC__)
    // Another thread may drop its own reference meanwhile: the count is read
    // as the last release reads it.
    if (found == nullptr || __atomic_load_n(pz_ref_count(found), __ATOMIC_ACQUIRE) != 1) return nullptr;
#else
    return nullptr;  // no way here to read the count as the releases write it
#endif
    switch (found->vt) {
#define PZ_SCALAR_CASE(name, ctype, code, va_type) case code:
        PZ_SCALAR_KINDS(PZ_SCALAR_CASE)
#undef PZ_SCALAR_CASE
        case vtype_null:
            return found;
        default:
            return nullptr;
    }
}

// The scalar stored under `key` when this dictionary is its only holder.
pz_variant_t *sole_scalar(const pz_variant_t *dict, const char *key) { return sole_scalar_of(dict_find(dict, key)); }

// The bytes of the union that a kind living in it occupies; 0 for the other
// kinds.
size_t scalar_width(char vt) {
    switch (vt) {
#define PZ_SCALAR_WIDTH(name, ctype, code, va_type) \
    case code:                                      \
        return sizeof(ctype);
        PZ_SCALAR_KINDS(PZ_SCALAR_WIDTH)
#undef PZ_SCALAR_WIDTH
        default:
            return 0;
    }
}

}  // namespace

extern "C" {

bool pz_variant_dict_put_scalar(pz_variant_t *dict, const char *key, const pz_variant_t *scalar) {
    return pz_variant_dict_put_scalar_ex(dict, key, pz_strlen(key), scalar) == PZ_STATUS_OK;
}

pz_status pz_variant_dict_put_scalar_ex(pz_variant_t *dict, const char *key, size_t len, const pz_variant_t *scalar) {
    const pz_status usable = keyed_status(dict, key, len);
    if (usable != PZ_STATUS_OK) return usable;
    if (scalar == nullptr) return PZ_STATUS_NO_VALUE;
    const size_t width = scalar_width(scalar->vt);
    if (width == 0) return PZ_STATUS_WRONG_KIND;
    pz_variant_t *target = sole_scalar_of(dict_find_usable(dict, key, len));
    const bool in_place = target != nullptr;
    if (!in_place) target = new_record(scalar->vt);
    if (target == nullptr) return PZ_STATUS_OUT_OF_MEMORY;
    // Only the kind's own bytes are taken: the rest of the union stays zero
    // whatever the caller's record holds there.
    target->uint64_val = 0;
    std::memcpy(target, scalar, width);
    target->vt = scalar->vt;
    target->len = scalar->vt == vtype_ptr ? scalar->len : 0;
    return in_place || dict_put_moved_len(dict, key, len, target) ? PZ_STATUS_OK : PZ_STATUS_OUT_OF_MEMORY;
}

// A setter's new value goes into the dictionary with the maker's reference,
// so the dictionary is its only holder. A null value (out of memory) stores
// nothing and has taken nothing of the caller's; a value that cannot be
// stored is released at once, and with it what it took over.

#define PZ_DEFINE_DICT_ACCESS(name, ctype, code, va_type)                         \
    ctype vdict_##name##_default(const pz_variant_t *v, const char *key, ctype def) { \
        return entry_value<ctype>(v, key, def);                                   \
    }                                                                             \
    void vdict_set_##name(pz_variant_t *v, const char *key, ctype value) {        \
        if (pz_variant_t *held = sole_scalar(v, key)) {                           \
            pz_variant_##name##_set(held, value);                                 \
            return;                                                               \
        }                                                                         \
        dict_put_moved(v, key, pz_variant_##name##_new(value));                   \
    }
PZ_SCALAR_KINDS(PZ_DEFINE_DICT_ACCESS)
#undef PZ_DEFINE_DICT_ACCESS

// A string value without text gives null, not `def`: the entry exists.
const char *vdict_str_default(const pz_variant_t *v, const char *key, const char *def) {
    return entry_value<const char *>(v, key, def);
}

const uint8_t *vdict_bytes(pz_variant_t *v, const char *key) {
    return entry_value<const uint8_t *>(v, key, nullptr);
}

void vdict_set_sized_ptr(pz_variant_t *v, const char *key, void *ptr, uint32_t len) {
    pz_variant_t *value = pz_variant_ptr_new(ptr);
    if (value != nullptr) value->len = len;
    dict_put_moved(v, key, value);
}

void vdict_set_str(pz_variant_t *v, const char *key, const char *value) {
    dict_put_moved(v, key, pz_variant_str_new(value));
}

void vdict_set_bytes(pz_variant_t *v, const char *key, const uint8_t *value, uint32_t len) {
    dict_put_moved(v, key, vstr_buf_new(value, len));
}

void vdict_set_bytes_owned(pz_variant_t *v, const char *key, uint8_t *value, uint32_t len) {
    dict_put_moved(v, key, vstr_buf_new_owned(value, len));
}

void vdict_set_autoptr(pz_variant_t *v, const char *key, void *value, pz_dtor_pt dtor) {
    dict_put_moved(v, key, pz_variant_autoptr_new(value, dtor));
}

void vdict_set_sharedptr(pz_variant_t *v, const char *key, void *value, pz_ref_pt ref,
                         pz_unref_pt unref) {
    dict_put_moved(v, key, pz_variant_sharedptr_new(value, ref, unref));
}

}  // extern "C"
