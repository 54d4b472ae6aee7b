/* Basic types shared by the base library and the variant library: the
 * callback signatures and the export marker of the public API. Valid C11
 * and C++. */
#ifndef PZ_BASICTYPES_H
#define PZ_BASICTYPES_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

/* Marks a function that the shared library exports; everything else is
 * built with hidden visibility. */
#if defined(_WIN32)
#define PZ_API
#elif defined(__GNUC__) || defined(__clang__)
#define PZ_API __attribute__((visibility("default")))
#else
#define PZ_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup pz_callbacks Callback types
 * The signatures of the callbacks that values and walks call.
 * @{ */

/** Destroys the pointer held by an owned-pointer value. */
typedef void (*pz_dtor_pt)(void *ptr);
/** Takes a reference on a shared object; returns the pointer to store. */
typedef void *(*pz_ref_pt)(void *ptr);
/** Drops a reference on a shared object. */
typedef void (*pz_unref_pt)(void *ptr);
/** Key equality of a hash table. */
typedef bool (*pz_equal_func_pt)(const void *a, const void *b);
/** Key hash of a hash table; equal keys must give equal hashes. */
typedef uint32_t (*pz_hash_func_pt)(const void *key);
/** Per-entry callback of a table walk; returning false ends the walk. */
typedef bool (*pz_key_value_pt)(void *key, void *value, void *user);

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* PZ_BASICTYPES_H */
