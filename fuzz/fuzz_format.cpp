// Fuzzed formats through append, pack and unpack.
//
// Why the argument lists below are safe for any format: a format is cut to
// kMaxLetters letters, and a letter reads at most three arguments ("s"), so
// no call reads more than 3 * kMaxLetters of them. Every call passes eight
// doubles and then 3 * kMaxLetters + 1 pointer-sized arguments, all of them
// `any_arg`, the address of `callback`.
//
// On x86-64 (System V) the eight doubles fill the vector registers, so every
// argument that va_arg finds past the registers, whatever type it asks for,
// is one of the pointers. A letter reading an integer gets the low bits of
// `any_arg`; "f"/"d" read one of the doubles or reinterpret a pointer's bits;
// "c" reads text at `callback`'s code, which is mapped and ends at some zero
// byte; "*" stores it; "a" and "s" store `callback` as dtor, ref and unref,
// and `callback` has the shape of all three (it takes a pointer and returns
// it, which a caller expecting void ignores). Calls through that pointer use
// a type other than the function's own, hence -fno-sanitize=function.
//
// Unpack reads one pointer per letter; each points at its own 8-byte slot,
// wide enough for any letter.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "pzvariant/hal/pz_hal.h"
#include "pzvariant/pz_variant.h"
#include "va_entry.h"

#if !defined(__x86_64__)
#error "the argument reasoning above holds for x86-64 only"
#endif

namespace {

constexpr size_t kMaxLetters = 16;

long callbacks = 0;

void *callback(void *p) {
    ++callbacks;
    return p;
}

void *const any_arg = reinterpret_cast<void *>(&callback);

#define PZ_D8 0.5, -1.0, 3.0e38, 1.0e300, 0.1, -0.0, 7.0, 2.5
#define PZ_A4 any_arg, any_arg, any_arg, any_arg
#define PZ_A16 PZ_A4, PZ_A4, PZ_A4, PZ_A4
// 3 * kMaxLetters + 1 pointer arguments.
#define PZ_ARGS PZ_D8, PZ_A16, PZ_A16, PZ_A16, any_arg
static_assert(3 * kMaxLetters + 1 == 49);

pz_variant_t *build(uint8_t entry, const char *fmt) {
    switch (entry % 5) {
        case 0: return pz_variant_pack(fmt, PZ_ARGS);
        case 1: return pack_arg_from(0, fmt, PZ_ARGS);
        default: break;
    }
    pz_variant_t *va = pz_variant_array_new();
    if (entry % 5 == 2) {
        pz_variant_array_append_vals(va, fmt, PZ_ARGS);
    } else if (entry % 5 == 3) {
        append_args_from(va, fmt, PZ_ARGS);
    } else {
        append_internal_from(va, fmt, PZ_ARGS);
    }
    return va;
}

int32_t unpack(const pz_variant_t *v, const char *fmt) {
    uint64_t slots[kMaxLetters] = {};
#define PZ_S4(i) &slots[i], &slots[i + 1], &slots[i + 2], &slots[i + 3]
    return pz_variant_unpack(v, fmt, PZ_S4(0), PZ_S4(4), PZ_S4(8), PZ_S4(12));
#undef PZ_S4
}

// Cuts a piece of the input at a NUL or at kMaxLetters letters.
size_t take_format(const uint8_t *data, size_t size, char *out) {
    size_t n = 0;
    while (n < size && n < kMaxLetters && data[n] != 0) {
        out[n] = static_cast<char>(data[n]);
        ++n;
    }
    out[n] = '\0';
    return n;
}

}  // namespace

// Input: one byte choosing the entry point, a format, a NUL, then a second
// format to unpack the result with.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    char fmt[kMaxLetters + 1];
    char other[kMaxLetters + 1];
    const size_t len = take_format(data + 1, size - 1, fmt);
    const size_t rest = 1 + len + (1 + len < size ? 1 : 0);
    const size_t other_len = take_format(data + rest, size - rest, other);

    long letters_a = 0;
    long letters_s = 0;
    for (size_t i = 0; i < len; ++i) {
        letters_a += fmt[i] == 'a' ? 1 : 0;
        letters_s += fmt[i] == 's' ? 1 : 0;
    }

    callbacks = 0;
    pz_variant_t *v = build(data[0], fmt);
    const bool packed = data[0] % 5 < 2;
    if (packed && len == 0) {
        if (v != nullptr) std::abort();
        return 0;
    }
    // One element per letter, null elements included; "s" called ref once.
    if (pz_variant_array_size(v) != len || callbacks != letters_s) std::abort();

    if (unpack(v, fmt) != static_cast<int32_t>(len)) std::abort();
    const int32_t want = other_len == 0 || other_len > len ? 0 : static_cast<int32_t>(other_len);
    if (unpack(v, other) != want) std::abort();

    // A copy leaves null elements out, so compare two generations of copies.
    pz_variant_t *copy = pz_variant_dup(v);
    pz_variant_t *copy2 = pz_variant_dup(copy);
    if (!pz_variant_equal(copy, copy2)) std::abort();
    char *text = pz_variant_dump(v);
    if (text == nullptr) std::abort();
    HAL_Free(text);

    pz_variant_unref(copy2);
    pz_variant_unref(copy);
    pz_variant_unref(v);
    // Copies share owned pointers, so each "a" is destroyed once; each "s"
    // was referenced by v and both copies, and released as often.
    if (callbacks != letters_a + 6 * letters_s) std::abort();
    return 0;
}
