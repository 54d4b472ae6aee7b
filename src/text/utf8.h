// Private to the library: UTF-8 as RFC 3629 defines it, shared by the text
// readers and writers.
#ifndef PZ_UTF8_H
#define PZ_UTF8_H

#include <cstddef>
#include <cstdint>

namespace pz {

// The length of the longest prefix of the `n` bytes at `p` that is
// well-formed UTF-8: no overlong forms, no surrogates (U+D800 to U+DFFF),
// nothing past U+10FFFF, no sequence cut short. `n` when all of it is.
size_t utf8_valid_prefix(const char *p, size_t n);

inline bool utf8_valid(const char *p, size_t n) { return utf8_valid_prefix(p, n) == n; }

// Whether the `n` bytes at `p` start a well-formed sequence that needs more
// bytes than `n`: what an input cut inside a character ends with.
bool utf8_cut_short(const char *p, size_t n);

// Writes the code point `cp` (at most U+10FFFF, not a surrogate) as UTF-8
// into `out`, which has room for 4 bytes; returns how many it wrote.
size_t utf8_encode(uint32_t cp, char *out);

}  // namespace pz

#endif  // PZ_UTF8_H
