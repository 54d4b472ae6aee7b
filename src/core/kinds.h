// The table of kinds that fit in the value union. Every per-kind family
// (constructors, setters, typed getters and adders, dictionary accessors,
// format letters, dump names) is generated from this one list.
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

#endif  // PZ_VARIANT_KINDS_H
