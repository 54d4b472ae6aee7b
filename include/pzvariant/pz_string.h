/* Reference-counted strings and helpers on zero-terminated texts. Part of
 * the public API: dictionary walks hand out their keys as pz_string_t.
 *
 * A pz_string_t lives in one block: the reference count, the header below
 * and the characters. Callers read `cstr` and `len` directly and never write
 * them. */
#ifndef PZ_STRING_H
#define PZ_STRING_H

#include <stdarg.h>
#include <string.h>

#include "basictypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup pz_base_string Reference-counted strings
 * The key strings that dictionary walks hand out, and the text helpers
 * beside them.
 * @{ */

/** A reference-counted string: the header in front of its text. */
typedef struct pz_string_s {
    char *cstr;            /**< the text, zero-terminated */
    int32_t len;           /**< its length in bytes, the terminator not counted */
    int32_t allocated_len; /**< bytes reserved for the text; 0 for a borrowed key */
} pz_string_t;

/** Length of a zero-terminated text; 0 for null. */
static inline size_t pz_strlen(const char *src) { return src == NULL ? 0 : strlen(src); }

/** True for a null pointer and for an empty text. */
static inline bool pz_cstr_empty(const char *s) { return s == NULL || s[0] == '\0'; }

/** A lookup key that wraps `text` without copying or allocating. It is only
 * for find/contains/remove, which never keep it; never ref or unref it. */
static inline pz_string_t pz_string_borrow(const char *text, size_t len) {
    pz_string_t s;
    s.cstr = (char *)(uintptr_t)text;
    s.len = (int32_t)len;
    s.allocated_len = 0;
    return s;
}

/** A new string (one reference) holding a copy of `text`; null on failure or
 * for a null text. */
PZ_API pz_string_t *pz_string_new(const char *text);

/** A new string holding a copy of `len` bytes of `text` (NULs included), or
 * `len` zero bytes when `text` is null; null when out of memory. */
PZ_API pz_string_t *pz_string_new_len(const char *text, int len);

/** A new string with the printf-style formatted text; null on failure. */
PZ_API pz_string_t *pz_string_format(const char *fmt, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

/** Takes one more reference; returns `s`. */
PZ_API pz_string_t *pz_string_ref(pz_string_t *s);

/** Drops one reference and frees the string at the last; null is ignored.
 * Takes void* so that it serves as a hash-table key destructor. */
PZ_API void pz_string_unref(void *s);

/** @name Hash-table key functions */
/** @{ */
/** Key equality and hash for hash tables keyed by pz_string_t*. */
PZ_API bool pz_string_equal(const void *a, const void *b);
PZ_API uint32_t pz_string_hash(const void *key);
/** @} */

/** Hash of `len` bytes; pz_string_hash of a string gives the hash of its text. */
PZ_API uint32_t pz_hash_bytes(const void *data, size_t len);

/** Compares two texts as strcmp does; a null text sorts as the empty text. */
PZ_API int pz_cstr_cmp(const char *a, const char *b);

/** Copies at most `count` bytes of `src` into `dst`, stopping after the
 * terminator when `src` is shorter; never writes past `count` bytes and does
 * not pad. Returns `dst`. */
PZ_API char *pz_strncpy(char *dst, const char *src, unsigned long count);

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* PZ_STRING_H */
