/* Hashing values: a hash that agrees with pz_variant_equal, for hash tables
 * keyed by values (std::hash<pz::value> in C++). Included by pz_variant.h;
 * valid C11 and C++. */
#ifndef PZ_HASH_H
#define PZ_HASH_H

#include "pz_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup pz_hash Hashing
 * A hash of a whole value that agrees with pz_variant_equal.
 * @{ */

/** A hash of `v` such that values that pz_variant_equal finds equal hash
 * alike: the kind and the value's bits for numbers and pointers, the bytes
 * of strings and byte buffers, arrays element by element in order,
 * dictionaries entry by entry in any order (as equality ignores their
 * order). Null, and a value nested deeper than PZ_VARIANT_MAX_DEPTH or
 * containing itself (which equals nothing), hash to 0. Allocates nothing
 * and takes no reference. Stable within a process: not a form to store. */
PZ_API uint64_t pz_variant_hash(const pz_variant_t *v);

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* PZ_HASH_H */
