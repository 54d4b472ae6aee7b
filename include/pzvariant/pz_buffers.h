/* pzvariant: writing into the caller's buffer.
 *
 * Every writer into a buffer the caller owns keeps one contract, that of
 * pz_variant_to_json_buf: it writes in place and returns the full size of
 * what it writes, so that a caller whose buffer was short learns the size to
 * pass and calls again. This header brings the typed dump under it.
 * Included by pz_variant.h; valid C11 and C++. */
#ifndef PZ_BUFFERS_H
#define PZ_BUFFERS_H

#include "pz_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @addtogroup pz_dump
 * @{ */

/** Writes the typed dump of `v` (the text of pz_variant_dump) into the
 * caller's `buf` of `size` bytes and returns the text's full length,
 * terminator not counted, as pz_variant_to_json_buf does. The text and its
 * terminator are in `buf` when that length is below `size`; otherwise `buf`
 * holds as much of it as fits, terminated, and the caller retries with
 * length + 1 bytes (a null `buf` or a `size` of 0 asks for the length
 * alone). 0, with `buf` emptied, for a null `v` or when the dump cannot be
 * made: a value nested deeper than PZ_VARIANT_MAX_DEPTH or containing
 * itself, or out of memory (a dump is never empty). The text is printed
 * straight into `buf` where it has room; what does not fit is printed in a
 * scratch block first, one element of a top-level container at a time. The
 * value is only read. (pz_variant_dump_buf keeps its own contract.) */
PZ_API size_t pz_variant_to_dump_buf(const pz_variant_t *v, char *buf, size_t size);

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* PZ_BUFFERS_H */
