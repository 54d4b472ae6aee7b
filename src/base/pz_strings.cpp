// Reference-counted strings: [count][pz_string_t][text + NUL] in one block.
#include "pzvariant/pz_string.h"

#include <cstdio>
#include <cstring>

#include "base/pz_memory.h"

namespace {

pz_string_t *string_alloc(size_t len) {
    if (len > static_cast<size_t>(INT32_MAX) - 1) return nullptr;
    auto *s = static_cast<pz_string_t *>(pz_zalloc_ref(sizeof(pz_string_t) + len + 1));
    if (s == nullptr) return nullptr;
    s->cstr = reinterpret_cast<char *>(s + 1);
    s->len = static_cast<int32_t>(len);
    s->allocated_len = static_cast<int32_t>(len + 1);
    return s;
}

}  // namespace

extern "C" {

pz_string_t *pz_string_new(const char *text) {
    return text == nullptr ? nullptr : pz_string_new_len(text, static_cast<int>(std::strlen(text)));
}

pz_string_t *pz_string_new_len(const char *text, int len) {
    if (len < 0) return nullptr;
    pz_string_t *s = string_alloc(static_cast<size_t>(len));
    if (s != nullptr && text != nullptr && len != 0) std::memcpy(s->cstr, text, static_cast<size_t>(len));
    return s;
}

pz_string_t *pz_string_format(const char *fmt, ...) {
    va_list args;
    va_start(args, fmt);
    va_list again;
    va_copy(again, args);
    const int len = std::vsnprintf(nullptr, 0, fmt, args);
    va_end(args);
    pz_string_t *s = len < 0 ? nullptr : string_alloc(static_cast<size_t>(len));
    if (s != nullptr) std::vsnprintf(s->cstr, static_cast<size_t>(len) + 1, fmt, again);
    va_end(again);
    return s;
}

pz_string_t *pz_string_ref(pz_string_t *s) {
    if (s != nullptr) pz_atomic_ref(pz_ref_count(s));
    return s;
}

void pz_string_unref(void *s) {
    if (s != nullptr && pz_atomic_unref(pz_ref_count(s)) == 0) pz_free_ref(s);
}

bool pz_string_equal(const void *a, const void *b) {
    const auto *x = static_cast<const pz_string_t *>(a);
    const auto *y = static_cast<const pz_string_t *>(b);
    return x->len == y->len && std::memcmp(x->cstr, y->cstr, static_cast<size_t>(x->len)) == 0;
}

uint32_t pz_string_hash(const void *key) {
    const auto *s = static_cast<const pz_string_t *>(key);
    return pz_hash_bytes(s->cstr, static_cast<size_t>(s->len));
}

// Multiply-xorshift over 8-byte words with a murmur-style finaliser: fast
// on short keys and well mixed in the low bits that the table masks with.
uint32_t pz_hash_bytes(const void *data, size_t len) {
    constexpr uint64_t kMul = 0x9E3779B97F4A7C15ull;
    const auto *p = static_cast<const unsigned char *>(data);
    uint64_t h = len * kMul;
    while (len >= 8) {
        uint64_t w;
        std::memcpy(&w, p, 8);
        h = (h ^ w) * kMul;
        h ^= h >> 29;
        p += 8;
        len -= 8;
    }
    // The last 1-7 bytes in two fixed-size loads (overlapping when short),
    // which compile to moves where a copy of variable length is a call.
    if (len >= 4) {
        uint32_t a, b;
        std::memcpy(&a, p, 4);
        std::memcpy(&b, p + len - 4, 4);
        h = (h ^ (static_cast<uint64_t>(a) << 32 | b)) * kMul;
    } else if (len != 0) {
        const uint64_t w = p[0] | static_cast<uint64_t>(p[len / 2]) << 8 | static_cast<uint64_t>(p[len - 1]) << 16;
        h = (h ^ w) * kMul;
    }
    h ^= h >> 33;
    h *= 0xFF51AFD7ED558CCDull;
    h ^= h >> 33;
    h *= 0xC4CEB9FE1A85EC53ull;
    h ^= h >> 33;
    return static_cast<uint32_t>(h);
}

int pz_cstr_cmp(const char *a, const char *b) {
    return std::strcmp(a != nullptr ? a : "", b != nullptr ? b : "");
}

char *pz_strncpy(char *dst, const char *src, unsigned long count) {
    unsigned long i = 0;
    for (; i < count && src[i] != '\0'; ++i) dst[i] = src[i];
    if (i < count) dst[i] = '\0';
    return dst;
}

}  // extern "C"
