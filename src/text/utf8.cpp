// UTF-8 checked and made.
#include "text/utf8.h"

#include <cstring>

namespace {

// Eight ASCII bytes at a time: none has its top bit set.
bool ascii8(const char *p) {
    uint64_t word;
    std::memcpy(&word, p, sizeof word);
    return (word & 0x8080808080808080ull) == 0;
}

bool continuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// The length of the well-formed sequence starting at `s` (whose first byte
// is not ASCII) within `left` bytes; 0 when there is none.
size_t sequence(const unsigned char *s, size_t left) {
    const unsigned char b0 = s[0];
    size_t need;
    unsigned char lo = 0x80;  // the range of the second byte
    unsigned char hi = 0xBF;
    if (b0 >= 0xC2 && b0 <= 0xDF) {
        need = 2;
    } else if (b0 >= 0xE0 && b0 <= 0xEF) {
        need = 3;
        if (b0 == 0xE0) lo = 0xA0;  // overlong
        if (b0 == 0xED) hi = 0x9F;  // surrogates
    } else if (b0 >= 0xF0 && b0 <= 0xF4) {
        need = 4;
        if (b0 == 0xF0) lo = 0x90;  // overlong
        if (b0 == 0xF4) hi = 0x8F;  // past U+10FFFF
    } else {
        return 0;  // a continuation byte, C0, C1 or F5 to FF
    }
    if (left < need || s[1] < lo || s[1] > hi) return 0;
    for (size_t i = 2; i < need; ++i) {
        if (!continuation(s[i])) return 0;
    }
    return need;
}

}  // namespace

size_t pz::utf8_valid_prefix(const char *p, size_t n) {
    const auto *s = reinterpret_cast<const unsigned char *>(p);
    size_t i = 0;
    while (i < n) {
        if (n - i >= 8 && ascii8(p + i)) {
            i += 8;
        } else if (s[i] < 0x80) {
            ++i;
        } else {
            const size_t len = sequence(s + i, n - i);
            if (len == 0) return i;
            i += len;
        }
    }
    return n;
}

bool pz::utf8_cut_short(const char *p, size_t n) {
    if (n == 0 || n >= 4) return false;
    // The bytes there, completed by continuation bytes that the first byte
    // allows after it.
    const auto *s = reinterpret_cast<const unsigned char *>(p);
    const unsigned char second = s[0] == 0xE0 ? 0xA0 : s[0] == 0xF0 ? 0x90 : 0x80;
    unsigned char full[4] = {s[0], second, 0x80, 0x80};
    std::memcpy(full, s, n);
    return sequence(full, sizeof full) > n;
}

size_t pz::utf8_encode(uint32_t cp, char *out) {
    auto *o = reinterpret_cast<unsigned char *>(out);
    if (cp < 0x80) {
        o[0] = static_cast<unsigned char>(cp);
        return 1;
    }
    if (cp < 0x800) {
        o[0] = static_cast<unsigned char>(0xC0 | (cp >> 6));
        o[1] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
        return 2;
    }
    if (cp < 0x10000) {
        o[0] = static_cast<unsigned char>(0xE0 | (cp >> 12));
        o[1] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
        o[2] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
        return 3;
    }
    o[0] = static_cast<unsigned char>(0xF0 | (cp >> 18));
    o[1] = static_cast<unsigned char>(0x80 | ((cp >> 12) & 0x3F));
    o[2] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
    o[3] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
    return 4;
}
