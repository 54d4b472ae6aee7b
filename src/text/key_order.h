// Private to the library: the orders in which the plain JSON writer sorts
// the members of a dictionary.
#ifndef PZ_KEY_ORDER_H
#define PZ_KEY_ORDER_H

#include "pzvariant/pz_string.h"

namespace pz {

// Whether key `a` sorts before key `b` by their bytes, as memcmp compares
// them (for UTF-8, the order of the code points), a key before the longer
// keys it starts.
bool key_before_bytes(const pz_string_t *a, const pz_string_t *b);

// Whether key `a` sorts before key `b` by their UTF-16 code units, the
// order of canonical JSON: a character past U+FFFF, written as a pair of
// surrogates (U+D800 to U+DFFF), sorts before U+E000 to U+FFFF. Both keys
// must be well-formed UTF-8, which makes this a total order.
bool key_before_utf16(const pz_string_t *a, const pz_string_t *b);

}  // namespace pz

#endif  // PZ_KEY_ORDER_H
