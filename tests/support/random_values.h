// Random values of every kind but the pointers, with the numbers and texts
// that try a writer or reader hardest: the extremes and their neighbours,
// escapes, control characters, NUL and multi-byte UTF-8.
#ifndef PZ_RANDOM_VALUES_H
#define PZ_RANDOM_VALUES_H

#include <bit>
#include <cmath>
#include <random>

#include "pz_test.h"
#include "core/kinds.h"

class random_values {
public:
    explicit random_values(uint64_t seed) : rng_(seed) {}

    // The scalar kinds but the raw pointer (the last in the table), texts,
    // buffers, the null kind and, above depth 0, containers.
    pz_variant_t *value(int depth) {
#define MAKER(name, ctype, code, va_type) [](random_values &g) { return pz_variant_##name##_new(g.number<ctype>()); },
        static pz_variant_t *(*const scalars[])(random_values &) = {PZ_SCALAR_KINDS(MAKER)};
#undef MAKER
        const uint32_t n = std::size(scalars) - 1, pick = below(n + (depth > 0 ? 5 : 3));
        if (pick < n) return scalars[pick](*this);
        if (pick <= n + 1) {  // a text, or bytes: a text, a NUL and any byte
            const std::string t = pick == n ? text(0) : text(0) + '\0' + static_cast<char>(rng_());
            const auto len = static_cast<uint32_t>(t.size());
            return pick == n ? vstr_sized_new(t.data(), len) : vstr_buf_new(reinterpret_cast<const uint8_t *>(t.data()), len);
        }
        return pick == n + 2 ? pz_variant_change_type(pz_variant_array_new(), vtype_null) : container(depth);
    }

    // Integers: the extremes, near them, near zero or anything. Floating
    // point: signed zeros, subnormals, the extremes, sums that round, or any
    // finite bit pattern.
    template <class T>
    T number() {
        using limits = std::numeric_limits<T>;
        if constexpr (std::is_pointer_v<T>) {
            return nullptr;
        } else if constexpr (std::is_floating_point_v<T>) {
            using Bits = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
            const T special[] = {T(0), -T(0), T(0.1) + T(0.2), limits::denorm_min(), -limits::denorm_min(),
                                 std::nextafter(limits::min(), T(0)), limits::min(), limits::max(),
                                 limits::lowest(), T(1e23), T(16777217.0), T(9007199254740993.0)};
            if (below(8) == 0) return special[below(std::size(special))];
            for (;;) {
                const T f = std::bit_cast<T>(static_cast<Bits>(rng_()));
                if (std::isfinite(f)) return f;
            }
        } else {
            const T near[] = {limits::min(), static_cast<T>(limits::min() + 1), limits::max(),
                              static_cast<T>(limits::max() - 1), T(0), T(1), static_cast<T>(-1)};
            return below(3) == 0 ? static_cast<T>(rng_()) : near[below(std::size(near))];
        }
    }

private:
    uint32_t below(uint32_t n) { return static_cast<uint32_t>(rng_() % n); }

    // Escapes, control characters, NUL, multi-byte UTF-8 (a key ends at
    // its first NUL).
    std::string text(uint32_t min_len) {
        using namespace std::string_view_literals;
        static const std::string_view pieces[] = {"a", "7", " ", "\"", "\\", "/", "\n", "\t", "\x01", "\x1f",
                                                  "\0"sv, "\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80",
                                                  "{\"int8\":1}"};
        std::string out;
        for (uint32_t len = min_len + below(12); len > 0; --len) out += pieces[below(std::size(pieces))];
        return out;
    }

    pz_variant_t *container(int depth) {
        pz_variant_t *c = below(2) != 0 ? pz_variant_array_new() : pz_variant_dict_new();
        for (uint32_t n = below(6); n > 0; --n) {
            pz_variant_t *element = value(depth - 1);
            c->vt == vtype_array ? append_new(c, element) : put_new(c, text(1).c_str(), element);
        }
        return c;
    }

    std::mt19937_64 rng_;
};

#endif  // PZ_RANDOM_VALUES_H
