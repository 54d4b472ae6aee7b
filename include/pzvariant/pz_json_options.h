/* pzvariant: options of the plain JSON writers and readers beyond the
 * strict defaults of pz_variant.h: indent width, sorted keys, canonical
 * JSON, and the NaN and infinity literals.
 *
 * Valid C11 and C++; included by pz_variant.h. */
#ifndef PZ_JSON_OPTIONS_H
#define PZ_JSON_OPTIONS_H

#ifndef PZ_NO_STDIO
#include <stdio.h>
#endif

#include "pz_types.h"

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
 *   units, strings escaped only where JSON must (`\b` `\t` `\n` `\f`
 *   `\r` `\"` `\\` and `\u00xx` for the other control characters), every
 *   number as ECMAScript writes a double (1e+21, 1e-7, 0.000001, 333333333.3333333,
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

/** Reading flags, for the readers below; 0 reads strict JSON as
 * pz_variant_from_json_n does, and each flag loosens or tightens one rule:
 * - PZ_JSON_READ_COMMENTS takes comments wherever whitespace may stand:
 *   from // to the end of the line, and from a slash-star to the next
 *   star-slash (not nested). One cut off by the end of the text is
 *   refused as "unexpected end of text".
 * - PZ_JSON_READ_TRAILING_COMMAS takes one comma after the last element
 *   of an array or member of an object: [1, 2,] and {"a": 1,}. [,] and
 *   [1,,] are still refused.
 * - PZ_JSON_READ_NONFINITE takes the words NaN, Infinity and -Infinity as
 *   doubles (as PZ_JSON_NONFINITE_LITERALS writes them).
 * - PZ_JSON_READ_REFUSE_DUPLICATES refuses an object that holds a key
 *   twice (after decoding: "a" and "\u0061" are one key), with
 *   PZ_READ_DUPLICATE_KEY at the second and the key in the reason
 *   (duplicate key "port"), where by default the later member takes the
 *   first one's place.
 * - PZ_JSON_READ_REFUSE_OVERFLOW refuses a number written in digits that
 *   is past the range of a double (1e400, or an integer of 310 digits),
 *   which is otherwise read as an infinity of its sign, with
 *   PZ_READ_OUT_OF_RANGE, "number past the range of a double", at the
 *   number. (A number below the smallest double still reads as a zero.)
 *
 * Macros of unsigned values, as the writer flags above. The event reader
 * of plain JSON (pz_events_read_json) takes them too, beside
 * PZ_EVENTS_PREFIX. */
#define PZ_JSON_READ_COMMENTS 0x100u
/** See PZ_JSON_READ_COMMENTS. */
#define PZ_JSON_READ_TRAILING_COMMAS 0x200u
/** See PZ_JSON_READ_COMMENTS. */
#define PZ_JSON_READ_NONFINITE 0x400u
/** See PZ_JSON_READ_COMMENTS. */
#define PZ_JSON_READ_REFUSE_DUPLICATES 0x800u
/** See PZ_JSON_READ_COMMENTS. */
#define PZ_JSON_READ_REFUSE_OVERFLOW 0x1000u

/** As pz_variant_from_json_n, reading the `len` bytes at `text` with the
 * reading `flags` (PZ_JSON_READ_COMMENTS, ...): a new value (count 1), or
 * null with `error` (when not null) filled where reading stopped. */
PZ_API pz_variant_t *pz_variant_from_json_opts(const char *text, size_t len, unsigned flags,
                                               pz_read_error_t *error);

/** As pz_variant_from_json_prefix, with the reading `flags`: the value at
 * the front of the `len` bytes at `text`, `*used` the bytes it took
 * (comments after it included, when they are allowed). */
PZ_API pz_variant_t *pz_variant_from_json_prefix_opts(const char *text, size_t len, unsigned flags,
                                                      size_t *used, pz_read_error_t *error);

#ifndef PZ_NO_STDIO
/** Reads the whole file at `path` as plain JSON with the reading `flags`,
 * as pz_variant_read_file reads PZ_TEXT_JSON: a configuration file with
 * comments is read with PZ_JSON_READ_COMMENTS. Null with `error` filled
 * when it cannot be opened, read or parsed. */
PZ_API pz_variant_t *pz_variant_read_json_file(const char *path, unsigned flags, pz_read_error_t *error);

/** As pz_variant_read_json_file, reading `stream` from where it stands to
 * its end; the stream stays open. */
PZ_API pz_variant_t *pz_variant_read_json_stream(FILE *stream, unsigned flags, pz_read_error_t *error);
#endif

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* PZ_JSON_OPTIONS_H */
