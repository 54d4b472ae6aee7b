// Constructors and setters of the kinds that live inside the value union,
// generated from the table of kinds.
#include "core/record.h"
#include "core/kinds.h"

namespace {

template <class T>
pz_variant_t *scalar_new(char vt, T value) {
    pz_variant_t *v = pz::new_record(vt);
    if (v != nullptr) pz::store(v, value);
    return v;
}

template <class T>
pz_variant_t *scalar_set(pz_variant_t *v, char vt, T value) {
    if (v == nullptr) return nullptr;
    pz_variant_clear(v);
    v->vt = vt;
    pz::store(v, value);
    return v;
}

}  // namespace

extern "C" {

#define PZ_DEFINE_SCALAR(name, ctype, code, va_type)                        \
    pz_variant_t *pz_variant_##name##_new(ctype value) {                    \
        return scalar_new<ctype>(code, value);                              \
    }                                                                       \
    pz_variant_t *pz_variant_##name##_set(pz_variant_t *v, ctype value) {   \
        return scalar_set<ctype>(v, code, value);                           \
    }
PZ_SCALAR_KINDS(PZ_DEFINE_SCALAR)
#undef PZ_DEFINE_SCALAR

}  // extern "C"
