// Orders of dictionary keys for the plain JSON writer.
#include "text/key_order.h"

#include <algorithm>
#include <cstring>

namespace {

// The length of the common start of the two keys, in bytes.
size_t common_start(const pz_string_t *a, const pz_string_t *b) {
    const size_t n = static_cast<size_t>(std::min(a->len, b->len));
    size_t i = 0;
    while (i < n && a->cstr[i] == b->cstr[i]) ++i;
    return i;
}

// The code point whose well-formed UTF-8 starts at `p`, as a key that sorts
// as its UTF-16 code units do: a character of the basic plane is its value
// shifted past the ten bits that a low surrogate adds, one past it the
// high surrogate shifted so, plus the ten bits.
uint32_t utf16_rank(const unsigned char *p) {
    if (p[0] < 0x80) return uint32_t{p[0]} << 10;
    if (p[0] < 0xE0) return (uint32_t{p[0] & 0x1Fu} << 6 | (p[1] & 0x3Fu)) << 10;
    if (p[0] < 0xF0) return (uint32_t{p[0] & 0x0Fu} << 12 | (p[1] & 0x3Fu) << 6 | (p[2] & 0x3Fu)) << 10;
    const uint32_t cp = uint32_t{p[0] & 0x07u} << 18 | (p[1] & 0x3Fu) << 12 | (p[2] & 0x3Fu) << 6 | (p[3] & 0x3Fu);
    const uint32_t high = 0xD800 + ((cp - 0x10000) >> 10);
    return high << 10 | ((cp - 0x10000) & 0x3FF);
}

}  // namespace

bool pz::key_before_bytes(const pz_string_t *a, const pz_string_t *b) {
    const size_t i = common_start(a, b);
    if (i == static_cast<size_t>(a->len) || i == static_cast<size_t>(b->len)) return a->len < b->len;
    return static_cast<unsigned char>(a->cstr[i]) < static_cast<unsigned char>(b->cstr[i]);
}

bool pz::key_before_utf16(const pz_string_t *a, const pz_string_t *b) {
    size_t i = common_start(a, b);
    if (i == static_cast<size_t>(a->len) || i == static_cast<size_t>(b->len)) return a->len < b->len;
    // The keys differ inside one character: back to where it starts.
    while (i > 0 && (static_cast<unsigned char>(a->cstr[i]) & 0xC0) == 0x80) --i;
    return utf16_rank(reinterpret_cast<const unsigned char *>(a->cstr + i)) <
           utf16_rank(reinterpret_cast<const unsigned char *>(b->cstr + i));
}
