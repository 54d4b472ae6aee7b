/* pzvariant: the typed dump read strictly, refusing with place and reason
 * what pz_variant_from_dump skips or wraps.
 *
 * Valid C11 and C++; included by pz_variant.h. */
#ifndef PZ_DUMP_STRICT_H
#define PZ_DUMP_STRICT_H

#include "pz_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup pz_dump_strict Strict typed dump
 * A second reader of the typed dump, beside pz_variant_from_dump (which
 * stays as it is): for a program that wants to know when a text does not
 * read back whole.
 * @{ */

/** A new value (count 1) read from the typed dump in the `len` bytes at
 * `text` (no terminator needed), which must be exactly what the dump's
 * form allows; null, with `error` (when not null) filled at the place and
 * with the reason, for anything pz_variant_from_dump would leave out, wrap
 * or ignore:
 * - a kind name that is not exactly one of the dump's (`{"itn8": 2}`,
 *   `{"int8x": 2}`): PZ_READ_INVALID_KIND, `unknown kind "itn8"`, at the name;
 * - a number its kind cannot hold: out of its range (`{"uint8": 300}`,
 *   `{"int8": 1.5}`), or not held exactly (`{"float": 0.1}`, an integer past
 *   2^53 as a double): PZ_READ_OUT_OF_RANGE, "number its kind cannot hold",
 *   at the number;
 * - a member that cannot be made: an empty key or one holding a NUL byte
 *   (PZ_READ_INVALID_KEY), a key given twice (PZ_READ_DUPLICATE_KEY), a
 *   pointer kind (PZ_READ_INVALID_KIND, "a pointer is not read back"), a
 *   payload of another kind, such as the null a NaN is written as
 *   ("value does not match its kind"), bytes not in hex digits;
 * - a typed object of more than one member, a value that is no typed
 *   object, text after the value, a raw NUL byte anywhere
 *   (PZ_READ_NUL_BYTE; the dump writes `\u0000`), and whatever strict JSON
 *   refuses (as pz_variant_from_json_n gives it, except that strings keep
 *   raw control bytes and bytes that are not UTF-8, as the dump's writer
 *   leaves them).
 * An empty typed object `{}` in an array is an empty slot, as the dump
 * writes one (the lenient reader leaves it out); anywhere else it is
 * refused. So every value the dump writes reads back equal, but for a NaN
 * and the pointer kinds, which are refused. */
PZ_API pz_variant_t *pz_variant_from_dump_strict(const char *text, size_t len, pz_read_error_t *error);

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* PZ_DUMP_STRICT_H */
