// Variadic front ends for the entry points that take a va_list, so that
// tests can call them with argument lists written out.
#ifndef PZ_VA_ENTRY_H
#define PZ_VA_ENTRY_H

#include <cstdarg>

#include "pzvariant/pz_variant.h"

// The format is the first of the variadic arguments.
inline void append_args_from(pz_variant_t *va, ...) {
    va_list args;
    va_start(args, va);
    pz_variant_array_append_args(va, args);
    va_end(args);
}

inline void append_internal_from(pz_variant_t *va, const char *fmt, ...) {
    va_list args;
    va_start(args, fmt);
    pz_variant_array_append_vals_internal(va, fmt, args);
    va_end(args);
}

// `unused` only anchors the list; the format is the first variadic argument.
inline pz_variant_t *pack_arg_from(int unused, ...) {
    va_list args;
    va_start(args, unused);
    pz_variant_t *v = pz_variant_pack_arg(args);
    va_end(args);
    return v;
}

#endif  // PZ_VA_ENTRY_H
