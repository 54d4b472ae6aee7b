// The table of kinds that fit in the value union. Every per-kind family
// (constructors, setters, typed getters and adders, dictionary accessors,
// format letters, kind names) is generated from this one list.
//
// X(name, ctype, code, va_type)
//   name    - the kind's name in function names and in the dump
//   ctype   - the C type of the value
//   code    - the pz_variant_type code
//   va_type - the type a variadic argument of ctype arrives as
#ifndef PZ_VARIANT_KINDS_H
#define PZ_VARIANT_KINDS_H

#define PZ_SCALAR_KINDS(X)                            \
    X(bool, bool, vtype_bool, int)                    \
    X(int8, int8_t, vtype_int8, int)                  \
    X(uint8, uint8_t, vtype_uint8, int)               \
    X(int16, int16_t, vtype_int16, int)               \
    X(uint16, uint16_t, vtype_uint16, int)            \
    X(int32, int32_t, vtype_int32, int32_t)           \
    X(uint32, uint32_t, vtype_uint32, uint32_t)       \
    X(int64, int64_t, vtype_int64, int64_t)           \
    X(uint64, uint64_t, vtype_uint64, uint64_t)       \
    X(float, float, vtype_float, double)              \
    X(double, double, vtype_double, double)           \
    X(ptr, void *, vtype_ptr, void *)

#ifdef __cplusplus
#include <array>
#include <string_view>

#include "pzvariant/pz_variant.h"

namespace pz {

struct kind_name {
    std::string_view name;  // a literal, so also NUL-terminated
    char vt;
};

// Every kind by its name, as the typed dump writes it and
// pz_variant_kind_name gives it: the scalar kinds as the table above names
// them, then the others.
inline constexpr kind_name kKindNames[] = {
#define PZ_KIND_NAME(name, ctype, code, va_type) {#name, code},
    PZ_SCALAR_KINDS(PZ_KIND_NAME)
#undef PZ_KIND_NAME
    {"null", vtype_null},
    {"string", vtype_string},
    {"bytes", vtype_bytes},
    {"autoptr", vtype_autoptr},
    {"sharedptr", vtype_sharedptr},
    {"array", vtype_array},
    {"dict", vtype_dict},
};

// The name of each kind code, null for a code that is not a kind.
inline constexpr std::array<const char *, 256> kKindNameOf = [] {
    std::array<const char *, 256> by_code{};
    for (const kind_name &kind : kKindNames) by_code[static_cast<unsigned char>(kind.vt)] = kind.name.data();
    return by_code;
}();

}  // namespace pz
#endif

#endif  // PZ_VARIANT_KINDS_H
