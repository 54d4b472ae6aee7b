/* Reading the typed dump from a pointer and a length, so that a text that is
 * not NUL-terminated (a view, a mapped file, a network buffer) is read
 * without a copy. Included by pz_variant.h; valid C11 and C++. */
#ifndef PZ_DUMP_N_H
#define PZ_DUMP_N_H

#include "pz_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup pz_dump_n Typed dump from a length
 * pz_variant_from_dump_ex over a text of a given length.
 * @{ */

/** A new value (count 1) read from the `len` bytes of a dump text at
 * `text`, as pz_variant_from_dump_ex reads a NUL-terminated one; no
 * terminator is needed, and a NUL byte among the `len` bytes is refused
 * where it stands ("NUL byte in the text"). Null when the text cannot be
 * read, with `error` (when not null) filled as pz_variant_from_dump_ex fills
 * it. */
PZ_API pz_variant_t *pz_variant_from_dump_n(const char *text, size_t len, pz_read_error_t *error);

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* PZ_DUMP_N_H */
