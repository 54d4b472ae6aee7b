// Checked reads: a value of the asked kind, or of another number kind whose
// value the asked type holds exactly; a status says why nothing was read.
// Every typed family below goes through read_exact, the one conversion.
#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

#include "containers/arrays.h"
#include "containers/dicts.h"
#include "core/kinds.h"

using namespace pz;

namespace {

// A stored number widened without loss: signed integers to int64, unsigned
// ones to uint64, floats to double.
struct number {
    enum { none, sint, uint, real } form = none;
    int64_t s = 0;
    uint64_t u = 0;
    double d = 0;
};

number number_of(const pz_variant_t *v) {
    number n;
    switch (v->vt) {
    case vtype_int8: n = {number::sint, v->int8_val}; break;
    case vtype_int16: n = {number::sint, v->int16_val}; break;
    case vtype_int32: n = {number::sint, v->int32_val}; break;
    case vtype_int64: n = {number::sint, v->int64_val}; break;
    case vtype_uint8: n = {number::uint, 0, v->uint8_val}; break;
    case vtype_uint16: n = {number::uint, 0, v->uint16_val}; break;
    case vtype_uint32: n = {number::uint, 0, v->uint32_val}; break;
    case vtype_uint64: n = {number::uint, 0, v->uint64_val}; break;
    case vtype_float: n = {number::real, 0, 0, v->float_val}; break;
    case vtype_double: n = {number::real, 0, 0, v->double_val}; break;
    default: break;
    }
    return n;
}

// A double to the integer type T when it is integral and T holds it. The
// bounds are powers of two, exact as doubles, so the test itself never
// rounds; NaN fails every comparison.
template <class T>
bool real_to_integer(double d, T *out) {
    constexpr int bits = std::numeric_limits<T>::digits;
    const double high = std::ldexp(1.0, bits);
    const double low = std::is_signed_v<T> ? -high : 0.0;
    if (!(d >= low && d < high) || std::trunc(d) != d) return false;
    *out = static_cast<T>(d);
    return true;
}

// The round trips below go through memory (volatile): x87 registers (i386)
// would otherwise keep the bits the narrower type drops, and call a
// rounded value exact.

// A double to float when the float holds the same number; a NaN stays a
// NaN, and the infinities are exact.
bool real_to_float(double d, float *out) {
    const bool finite_in_range = std::fabs(d) <= std::numeric_limits<float>::max();
    if (!finite_in_range && std::isfinite(d)) return false;
    const volatile float f = static_cast<float>(d);
    if (finite_in_range && static_cast<double>(f) != d) return false;
    *out = f;
    return true;
}

// An integer to a floating type when the conversion back gives it again.
template <class T, class I>
bool integer_to_real(I x, T *out) {
    const volatile T r = static_cast<T>(x);
    I back;
    if (!real_to_integer(static_cast<double>(r), &back) || back != x) return false;
    *out = r;
    return true;
}

template <class T>
bool convert(const number &n, T *out) {
    if constexpr (std::is_floating_point_v<T>) {
        if (n.form == number::sint) return integer_to_real(n.s, out);
        if (n.form == number::uint) return integer_to_real(n.u, out);
        if constexpr (std::is_same_v<T, float>) {
            return real_to_float(n.d, out);
        } else {
            *out = n.d;
            return true;
        }
    } else {
        if (n.form == number::real) return real_to_integer(n.d, out);
        const bool fits = n.form == number::sint ? std::in_range<T>(n.s) : std::in_range<T>(n.u);
        if (fits) *out = n.form == number::sint ? static_cast<T>(n.s) : static_cast<T>(n.u);
        return fits;
    }
}

// Nothing to read: no value, an empty slot or a value of kind null (as a
// JSON null stands for a field left out).
bool absent(const pz_variant_t *v) { return v == nullptr || v->vt == vtype_null; }

// The one conversion of the checked family. `*out` is written only on OK,
// so a caller may put its default there first.
template <class T>
pz_get_status read_exact(const pz_variant_t *v, T *out) {
    if (absent(v)) return PZ_GET_ABSENT;
    T ignored;
    T *target = out != nullptr ? out : &ignored;
    if constexpr (std::is_same_v<T, bool> || std::is_pointer_v<T>) {
        constexpr char kind = std::is_same_v<T, bool> ? vtype_bool : vtype_ptr;
        if (v->vt != kind) return PZ_GET_WRONG_KIND;
        *target = load<T>(v);
        return PZ_GET_OK;
    } else {
        const number n = number_of(v);
        if (n.form == number::none) return PZ_GET_WRONG_KIND;
        return convert(n, target) ? PZ_GET_OK : PZ_GET_OUT_OF_RANGE;
    }
}

// A text or byte buffer with its length, only from its own kind. An empty
// string reads as "" (never null), an empty buffer as null with length 0.
template <class T>
pz_get_status read_span(const pz_variant_t *v, char kind, const T **out, uint32_t *len) {
    if (absent(v)) return PZ_GET_ABSENT;
    if (v->vt != kind) return PZ_GET_WRONG_KIND;
    const T *data = static_cast<const T *>(v->ptr_val);
    if constexpr (std::is_same_v<T, char>) {
        if (data == nullptr) data = "";
    }
    if (out != nullptr) *out = data;
    if (len != nullptr) *len = v->len;
    return PZ_GET_OK;
}

}  // namespace

extern "C" {

#define PZ_DEFINE_CHECKED_GET(name, ctype, code, va_type)                                        \
    pz_get_status pz_variant_get_##name(const pz_variant_t *v, ctype *out) {                     \
        return read_exact(v, out);                                                               \
    }                                                                                            \
    pz_get_status varray_get_##name(const pz_variant_t *va, uint32_t index, ctype *out) {        \
        return read_exact(array_at(va, index), out);                                             \
    }                                                                                            \
    pz_get_status vdict_get_##name(const pz_variant_t *dict, const char *key, ctype *out) {      \
        return read_exact(dict_find(dict, key), out);                                            \
    }
PZ_SCALAR_KINDS(PZ_DEFINE_CHECKED_GET)
#undef PZ_DEFINE_CHECKED_GET

#define PZ_DEFINE_CHECKED_SPAN(name, ctype, code)                                                        \
    pz_get_status pz_variant_get_##name(const pz_variant_t *v, const ctype **out, uint32_t *len) {       \
        return read_span(v, code, out, len);                                                             \
    }                                                                                                    \
    pz_get_status varray_get_##name(const pz_variant_t *va, uint32_t index, const ctype **out,           \
                                    uint32_t *len) {                                                     \
        return read_span(array_at(va, index), code, out, len);                                           \
    }                                                                                                    \
    pz_get_status vdict_get_##name(const pz_variant_t *dict, const char *key, const ctype **out,         \
                                   uint32_t *len) {                                                      \
        return read_span(dict_find(dict, key), code, out, len);                                          \
    }
PZ_DEFINE_CHECKED_SPAN(str, char, vtype_string)
PZ_DEFINE_CHECKED_SPAN(bytes, uint8_t, vtype_bytes)
#undef PZ_DEFINE_CHECKED_SPAN

}  // extern "C"
