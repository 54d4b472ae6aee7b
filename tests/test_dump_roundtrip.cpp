// Property: for random values of every kind the dump can read back, reading
// the dump gives an equal value (kinds, widths and bits), and dumping that
// gives the same text again.
#include <bit>
#include <cmath>
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
            case 0: return pz_variant_bool_new(below(2) != 0);
            case 1: return pz_variant_int8_new(integer<int8_t>());
            case 2: return pz_variant_uint8_new(integer<uint8_t>());
            case 3: return pz_variant_int16_new(integer<int16_t>());
            case 4: return pz_variant_uint16_new(integer<uint16_t>());
            case 5: return pz_variant_int32_new(integer<int32_t>());
            case 6: return pz_variant_uint32_new(integer<uint32_t>());
            case 7: return pz_variant_int64_new(integer<int64_t>());
            case 8: return pz_variant_uint64_new(integer<uint64_t>());
            case 9: return pz_variant_float_new(finite<float, uint32_t>());
            case 10: return pz_variant_double_new(finite<double, uint64_t>());
            case 11: return pz_variant_str_new(text(0).c_str());
            case 12: return bytes();
            case 13: {
                pz_variant_t *v = pz_variant_str_new("");
                pz_variant_clear(v);  // the null kind
                return v;
            }
            case 14: return container(pz_variant_array_new(), depth);
            default: return container(pz_variant_dict_new(), depth);
        }
    }

private:
    uint32_t below(uint32_t n) { return static_cast<uint32_t>(rng_() % n); }

    // The extremes, small values and anything at all, equally often.
    template <class T>
    T integer() {
        using limits = std::numeric_limits<T>;
        switch (below(6)) {
            case 0: return limits::min();
            case 1: return limits::max();
            case 2: return static_cast<T>(below(3)) - static_cast<T>(1);
            case 3: return static_cast<T>(limits::max() - static_cast<T>(below(3)));
            default: return static_cast<T>(rng_());
        }
    }

    // Any finite number, from random bit patterns.
    template <class F, class Bits>
    F finite() {
        for (;;) {
            const F f = std::bit_cast<F>(static_cast<Bits>(rng_()));
            if (std::isfinite(f)) return f;
        }
    }

    // Escapes, control characters, multi-byte UTF-8; never a NUL.
    std::string text(uint32_t min_len) {
        static const char *const pieces[] = {"a", "Z", "7", " ", "\"", "\\", "/", "\n", "\t",
                                             "\x01", "\x1f", "\xc3\xa9", "\xe2\x82\xac",
                                             "\xf0\x9f\x98\x80", "{\"int8\":1}", "-12"};
        std::string out;
        const uint32_t len = min_len + below(12);
        for (uint32_t i = 0; i < len; ++i) out += pieces[below(std::size(pieces))];
        return out;
    }

    pz_variant_t *bytes() {
        uint8_t raw[24];
        const uint32_t len = below(sizeof raw + 1);
        for (uint32_t i = 0; i < len; ++i) raw[i] = static_cast<uint8_t>(rng_());
        return vstr_buf_new(raw, len);
    }

    pz_variant_t *container(pz_variant_t *c, int depth) {
        for (uint32_t n = below(6); n > 0; --n) {
            pz_variant_t *element = value(depth - 1);
            if (c->vt == vtype_array) {
                pz_variant_array_append(c, element);
            } else {
                pz_variant_dict_put(c, text(1).c_str(), element);
            }
            pz_variant_unref(element);
        }
        return c;
    }

    std::mt19937_64 rng_;
};

using DumpRoundTrip = LeakCheckedTest;

TEST_F(DumpRoundTrip, RandomValuesReadBackEqualAndDumpTheSame) {
    generator gen(20240611);
    for (int i = 0; i < 3000; ++i) {
        pz_variant_t *v = gen.value(i % 5);
        char *text = pz_variant_dump(v);
        ASSERT_NE(text, nullptr);
        pz_variant_t *back = pz_variant_from_dump(text);
        EXPECT_TRUE(pz_variant_equal(v, back)) << "value " << i << ": " << text;
        char *again = pz_variant_dump(back);
        ASSERT_NE(again, nullptr);
        EXPECT_STREQ(again, text);
        HAL_Free(again);
        HAL_Free(text);
        pz_variant_unref(back);
        pz_variant_unref(v);
    }
}

}  // namespace
