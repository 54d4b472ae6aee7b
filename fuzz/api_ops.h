// Helpers shared by the operations of the stateful API target: the
// callbacks of owned and shared pointers, the scalar kinds, and models of a
// slot changed.
#ifndef PZ_FUZZ_API_OPS_H
#define PZ_FUZZ_API_OPS_H

#include <cstring>
#include <type_traits>

#include "api_harness.h"
#include "core/kinds.h"

namespace harness {

using model::kOwnedRoom;
using model::kSharedRoom;

/* ---------- callbacks ---------- */

inline model::Calls &calls_of(void *p) {
    const int o = model::object_of(p);
    if (o < 0) fail("a callback on a pointer never handed out");
    return model::calls[o];
}
inline void dtor(void *p) {
    if (++calls_of(p).dtor > 1) fail("an owned object destroyed twice");
}
inline void *ref(void *p) { return ++calls_of(p).ref, p; }
inline void unref(void *p) {
    model::Calls &c = calls_of(p);
    if (++c.unref > c.ref) fail("a shared object released more often than referenced");
}

template <class T>
uint64_t bits_of(T value) {
    uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof value);
    return bits;
}

template <class T>
T value_from(uint64_t bits) {
    if constexpr (std::is_same_v<T, bool>) {
        return (bits & 1) != 0;
    } else {
        T value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
}

constexpr char kScalarKinds[] = {
#define PZ_CODE(name, ctype, code, va_type) code,
    PZ_SCALAR_KINDS(PZ_CODE)
#undef PZ_CODE
};
constexpr int kScalarCount = sizeof kScalarKinds;

inline char scalar_kind(Harness &h) { return kScalarKinds[h.in.byte() % kScalarCount]; }

// A scalar of kind `vt` made from `bits`: the library's value and the bits
// the model keeps.
inline pz_variant_t *new_scalar(char vt, uint64_t bits) {
    switch (vt) {
#define PZ_NEW(name, ctype, code, va_type) \
    case code:                             \
        return pz_variant_##name##_new(value_from<ctype>(bits));
        PZ_SCALAR_KINDS(PZ_NEW)
#undef PZ_NEW
        default:
            return nullptr;
    }
}

inline void set_scalar(pz_variant_t *v, char vt, uint64_t bits) {
    switch (vt) {
#define PZ_SET(name, ctype, code, va_type) \
    case code:                             \
        pz_variant_##name##_set(v, value_from<ctype>(bits)); \
        break;
        PZ_SCALAR_KINDS(PZ_SET)
#undef PZ_SET
        default:
            break;
    }
}

inline void vdict_set_scalar(pz_variant_t *d, const char *key, char vt, uint64_t bits) {
    switch (vt) {
#define PZ_VSET(name, ctype, code, va_type) \
    case code:                              \
        vdict_set_##name(d, key, value_from<ctype>(bits)); \
        break;
        PZ_SCALAR_KINDS(PZ_VSET)
#undef PZ_VSET
        default:
            break;
    }
}

inline void varray_add_scalar(pz_variant_t *a, char vt, uint64_t bits) {
    switch (vt) {
#define PZ_VADD(name, ctype, code, va_type) \
    case code:                              \
        varray_add_##name(a, value_from<ctype>(bits)); \
        break;
        PZ_SCALAR_KINDS(PZ_VADD)
#undef PZ_VADD
        default:
            break;
    }
}

// The bits a scalar of kind `vt` made from `bits` holds.
inline uint64_t stored_bits(char vt, uint64_t bits) {
    switch (vt) {
#define PZ_BITS(name, ctype, code, va_type) \
    case code:                              \
        return bits_of(value_from<ctype>(bits));
        PZ_SCALAR_KINDS(PZ_BITS)
#undef PZ_BITS
        default:
            return 0;
    }
}

// What a typed getter of kind `vt` reads from raw union bits.
inline uint64_t read_bits(char vt, uint64_t bits) {
    if (vt == vtype_bool) return (bits & 0xff) != 0 ? 1 : 0;
    return stored_bits(vt, bits);
}

inline uint64_t typed_get(const pz_variant_t *c, const char *key, uint32_t index, char vt, uint64_t def) {
    switch (vt) {
#define PZ_GET(name, ctype, code, va_type)                                                       \
    case code:                                                                                   \
        return key != nullptr ? bits_of(vdict_##name##_default(c, key, value_from<ctype>(def))) \
                              : bits_of(varray_##name(c, index));
        PZ_SCALAR_KINDS(PZ_GET)
#undef PZ_GET
        default:
            return 0;
    }
}

inline int pointer_node(Model &m, char vt, void *object) {
    Node n;
    n.vt = vt;
    n.object = model::object_of(object);
    n.bits = bits_of(object);
    n.room = vt == vtype_autoptr ? kOwnedRoom : kSharedRoom;
    return m.add(std::move(n));
}

inline bool is_array(const Model &m, int n) { return n >= 0 && m.at(n).vt == vtype_array && m.at(n).storage; }
inline bool is_dict(const Model &m, int n) { return n >= 0 && m.at(n).vt == vtype_dict && m.at(n).storage; }

// The model with slot `s` holding `n` (-1: empty).
inline Model with_slot(const Model &m, int s, int n) {
    Model out = m;
    out.slots[static_cast<size_t>(s)] = n;
    return out;
}

void op_containers(Harness &h, int which);
void op_typed(Harness &h, int which);
void op_copies(Harness &h, int which);

}  // namespace harness

#endif  // PZ_FUZZ_API_OPS_H
