/* pzvariant: options of the plain JSON writers and readers beyond the
 * strict defaults of pz_variant.h: indent width, sorted keys, canonical
 * JSON, and the NaN and infinity literals.
 *
 * Valid C11 and C++; included by pz_variant.h. */
#ifndef PZ_JSON_OPTIONS_H
#define PZ_JSON_OPTIONS_H

#include "pz_variant.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup pz_json_options Plain JSON options
 * Flags of the plain JSON writers beside PZ_JSON_INDENT,
 * PZ_JSON_REFUSE_POINTERS and PZ_JSON_ESCAPE_INVALID, for every writer that
 * takes them (pz_variant_to_json, _buf, _callback, the file and stream
 * writers).
 * @{ */

/** Writer flags, combined with the others by `|`:
 * - PZ_JSON_SORT_KEYS writes each dictionary's members in the order of
 *   their keys' bytes (for UTF-8, the order of the code points), a key
 *   before the longer keys it starts, instead of the order they were
 *   stored in: two equal dictionaries give the same text, however their
 *   keys were stored.
 * - PZ_JSON_CANONICAL writes the canonical form of RFC 8785 (the JSON
 *   Canonicalization Scheme), for hashing and signing: no whitespace (any
 *   indent flag is ignored), members sorted by their keys' UTF-16 code
 *   units, strings escaped only where JSON must (\\b \\t \\n \\f \\r \\" \\\\
 *   and \\u00xx for the other control characters), every number as
 *   ECMAScript writes a double (1e+21, 1e-7, 0.000001, 333333333.3333333,
 *   -0 as 0). The scheme knows only doubles: an integer of any kind is
 *   written as the double nearest to it, so one past 2^53 may change
 *   (9007199254740993 is written 9007199254740992), as every reader of the
 *   scheme would read it; keep such numbers in strings where they must not.
 *   It refuses what the form cannot hold: NaN and the infinities, and a
 *   string or key that is not UTF-8 (also with PZ_JSON_ESCAPE_INVALID).
 * - PZ_JSON_NONFINITE_LITERALS writes NaN, Infinity and -Infinity as those
 *   words, which are not JSON but which many readers take (this library's
 *   with PZ_JSON_READ_NONFINITE). Without it, NaN is written null and the
 *   infinities 1e999 and -1e999.
 * - PZ_JSON_INDENT_TABS lays the text out over lines as PZ_JSON_INDENT
 *   does, one tab a level.
 * They are macros of unsigned values, so that C++ may combine them with
 * the writer flags of pz_variant.h, which are of another enumeration. */
#define PZ_JSON_SORT_KEYS 8u
/** See PZ_JSON_SORT_KEYS. */
#define PZ_JSON_CANONICAL 16u
/** See PZ_JSON_SORT_KEYS. */
#define PZ_JSON_NONFINITE_LITERALS 32u
/** See PZ_JSON_SORT_KEYS. */
#define PZ_JSON_INDENT_TABS (64u | PZ_JSON_INDENT)

/** The writer flag that lays the text out over lines with `n` spaces a
 * level, from 0 (a line each, not indented) to 8 (more is taken as 8).
 * PZ_JSON_INDENT alone is PZ_JSON_INDENT_WIDTH(2). */
#define PZ_JSON_INDENT_WIDTH(n) (PZ_JSON_INDENT | ((n) > 8 ? 9u : (n) + 1u) << 8)

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* PZ_JSON_OPTIONS_H */
