// Random values of every kind the dump reads back: reading the dump gives
// an equal value (kinds, widths and bits) that dumps the same again. And
// floating point: exact bits in the shortest text.
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include "pz_test.h"

namespace {

class generator {
public:
    explicit generator(uint64_t seed) : rng_(seed) {}

    pz_variant_t *value(int depth) {
        switch (below(depth > 0 ? 16 : 14)) {
            case 0: return pz_variant_bool_new(number<bool>());
            case 1: return pz_variant_int8_new(number<int8_t>());
            case 2: return pz_variant_uint8_new(number<uint8_t>());
            case 3: return pz_variant_int16_new(number<int16_t>());
            case 4: return pz_variant_uint16_new(number<uint16_t>());
            case 5: return pz_variant_int32_new(number<int32_t>());
            case 6: return pz_variant_uint32_new(number<uint32_t>());
            case 7: return pz_variant_int64_new(number<int64_t>());
            case 8: return pz_variant_uint64_new(number<uint64_t>());
            case 9: return pz_variant_float_new(number<float>());
            case 10: return pz_variant_double_new(number<double>());
            case 11: return pz_variant_str_new(text(0).c_str());
            case 12: {  // a text, a NUL and any byte
                const std::string raw = text(0) + '\0' + static_cast<char>(rng_());
                return vstr_buf_new(reinterpret_cast<const uint8_t *>(raw.data()), static_cast<uint32_t>(raw.size()));
            }
            case 13: return pz_variant_change_type(pz_variant_array_new(), vtype_null);
            default: return container(depth);
        }
    }

    // Integers: the extremes, near them, near zero or anything. Floating
    // point: signed zeros, subnormals, the extremes, sums that round, or any
    // finite bit pattern.
    template <class T>
    T number() {
        using limits = std::numeric_limits<T>;
        if constexpr (std::is_floating_point_v<T>) {
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

    // Escapes, control characters, multi-byte UTF-8; never a NUL.
    std::string text(uint32_t min_len) {
        static const char *const pieces[] = {"a", "7", " ", "\"", "\\", "/", "\n", "\t", "\x01", "\x1f",
                                             "\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80", "{\"int8\":1}"};
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

// Writes `f` as its own kind and reads it back: the same bits, in a text no
// longer than the shortest for them (the double's, also for a float, which
// is written as the double it widens to).
template <class F>
void exact_and_shortest(F f) {
    pz_variant_t *v = sizeof f == 4 ? pz_variant_float_new(static_cast<float>(f)) : pz_variant_double_new(f);
    char *text = pz_variant_dump(v), shortest[64];
    pz_variant_t *back = pz_variant_from_dump(text);
    const auto shortest_len = std::to_chars(shortest, std::end(shortest), static_cast<double>(f)).ptr - shortest;
    const F got = back == nullptr || back->vt != v->vt ? F(NAN)
                  : sizeof f == 4                      ? static_cast<F>(back->float_val)
                                                       : static_cast<F>(back->double_val);
    EXPECT_TRUE(std::memcmp(&got, &f, sizeof f) == 0 &&  // then `text` is {"kind":number}
                std::strlen(std::strchr(text, ':')) - 2 <= static_cast<size_t>(shortest_len))
        << text;
    HAL_Free(text);
    pz_variant_unref(back);
    pz_variant_unref(v);
}

using DumpRoundTrip = LeakCheckedTest;

// Values of every kind; and floating point numbers, each written as its
// own kind, come back bit for bit in the shortest text.
TEST_F(DumpRoundTrip, RandomValuesReadBackEqualAndNumbersExactInTheShortestText) {
    generator gen(20240611);
    for (int i = 0; i < 3000; ++i) {
        pz_variant_t *v = gen.value(i % 5);
        char *text = pz_variant_dump(v);
        ASSERT_NE(text, nullptr);
        pz_variant_t *back = pz_variant_from_dump(text);
        EXPECT_TRUE(pz_variant_equal(v, back)) << "value " << i << ": " << text;
        char *again = pz_variant_dump(back);
        EXPECT_STREQ(again, text);
        for (char *t : {again, text}) HAL_Free(t);
        pz_variant_unref(back);
        pz_variant_unref(v);
        for (int j = 0; j < 30 && !HasFailure(); ++j) {
            exact_and_shortest(gen.number<double>());
            exact_and_shortest(gen.number<float>());
        }
    }
}


}  // namespace
