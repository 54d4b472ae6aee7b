/** @file pz_build.h
 * Building many records: shared key strings and room reserved ahead.
 * Part of the C API: include <pzvariant/pz_variant.h>. */
#ifndef PZ_BUILD_H
#define PZ_BUILD_H

#include "pz_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup pz_build Building many records
 * Every member of a dictionary holds its key as a string. A reader shares
 * one string among the members that have the same name; code that builds
 * records one by one makes a new string for every member, unless it uses a
 * key set: while a key set is in use on a thread, every key that a
 * dictionary stores from that thread (pz_variant_dict_put, the typed
 * setters, paths, the C++ set and pz::dict) is taken from the set, one
 * string per distinct name. 200,000 records of eight members then hold
 * eight key strings instead of 1.6 million, and a lookup compares with
 * strings that stay in the cache.
 *
 *     pz_keys_t *keys = pz_keys_new();
 *     pz_keys_t *before = pz_keys_use(keys);
 *     ... build the records ...
 *     pz_keys_use(before);
 *     pz_keys_free(keys);     // the records keep their keys
 *
 * A key set keeps up to a few thousand names; past that it starts over, so
 * that code storing endless distinct names holds a bounded set. A key set
 * is used by one thread at a time; the keys it hands out belong to the
 * dictionaries, which may go to any thread.
 *
 * Reserving room makes an array's storage or a dictionary's table once at
 * its final size, where appending or putting one by one grows it in steps.
 * @{ */

/** A set of shared key strings. */
typedef struct pz_keys_s pz_keys_t;

/** A new, empty key set; null when out of memory. Release it with
 * pz_keys_free. */
PZ_API pz_keys_t *pz_keys_new(void);

/** Makes `keys` the calling thread's key set (null: none, each key a string
 * of its own) and returns the set in use before, which the caller restores
 * when done. */
PZ_API pz_keys_t *pz_keys_use(pz_keys_t *keys);

/** Releases the key set; the keys that dictionaries took from it stay
 * theirs. A set still in use on the calling thread stops being used there
 * first; it must not be in use on another thread. Null is ignored. */
PZ_API void pz_keys_free(pz_keys_t *keys);

/** Gives the array `va` room for `count` elements in all, so that appending
 * up to that many makes no further allocation. True when the room is there
 * (also when it was already); false, with `va` unchanged, when `va` is not
 * an array or out of memory. */
PZ_API bool pz_variant_array_reserve(pz_variant_t *va, uint32_t count);

/** Gives the dictionary `dict` room for `count` entries in all, so that
 * putting up to that many makes no further allocation for its table. True
 * when the room is there; false, with `dict` unchanged, when `dict` is not
 * a dictionary or out of memory. */
PZ_API bool pz_variant_dict_reserve(pz_variant_t *dict, uint32_t count);

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* PZ_BUILD_H */
