// Property: for random values of every kind the dump can read back, reading
// the dump gives an equal value (kinds, widths and bits), and dumping that
// gives the same text again.
#include <bit>
#include <charconv>
#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

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
            case 12: return bytes();
            case 13: return pz_variant_change_type(pz_variant_array_new(), vtype_null);
            case 14: return container(pz_variant_array_new(), depth);
            default: return container(pz_variant_dict_new(), depth);
        }
    }

private:
    uint32_t below(uint32_t n) { return static_cast<uint32_t>(rng_() % n); }

    // Integers: the extremes, small values and anything at all, equally
    // often. Floating point: any finite number, from random bit patterns.
    template <class T>
    T number() {
        using limits = std::numeric_limits<T>;
        if constexpr (std::is_floating_point_v<T>) {
            using Bits = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
            for (;;) {
                const T f = std::bit_cast<T>(static_cast<Bits>(rng_()));
                if (std::isfinite(f)) return f;
            }
        } else {
            switch (below(6)) {
                case 0: return limits::min();
                case 1: return limits::max();
                case 2: return static_cast<T>(static_cast<T>(below(3)) - static_cast<T>(1));
                case 3: return static_cast<T>(limits::max() - static_cast<T>(below(3)));
                default: return static_cast<T>(rng_());
            }
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
            c->vt == vtype_array ? append_new(c, element) : put_new(c, text(1).c_str(), element);
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

// The number in a dump of one scalar, {"<kind>":<number>}.
std::string number_in(const char *dump) {
    const std::string text = dump;
    const size_t colon = text.find(':');
    return text.substr(colon + 1, text.size() - colon - 2);
}

template <class F>
std::string shortest(F f) {
    char text[64];
    return std::string(text, std::to_chars(text, text + sizeof text, f).ptr);
}

// Writes `f` as the kind F, reads it back: the same bits, and a text no
// longer than the shortest that reads back to them (the double's, also for
// a float, which is written as the double it widens to).
template <class F, class Bits>
bool exact_and_shortest(F f, std::string *why) {
    pz_variant_t *v = std::is_same_v<F, float> ? pz_variant_float_new(static_cast<float>(f))
                                               : pz_variant_double_new(static_cast<double>(f));
    char *text = pz_variant_dump(v);
    pz_variant_t *back = pz_variant_from_dump(text);
    const std::string number = text != nullptr ? number_in(text) : "";
    bool ok = back != nullptr && back->vt == v->vt;
    if (ok) {
        const F got = std::is_same_v<F, float> ? static_cast<F>(back->float_val) : static_cast<F>(back->double_val);
        ok = std::bit_cast<Bits>(got) == std::bit_cast<Bits>(f) &&
             number.size() <= shortest(static_cast<double>(f)).size();
    }
    if (!ok) *why = text != nullptr ? text : "no dump";
    HAL_Free(text);
    pz_variant_unref(back);
    pz_variant_unref(v);
    return ok;
}

TEST_F(DumpRoundTrip, FiniteDoublesAndFloatsComeBackBitForBitInTheShortestText) {
    std::vector<double> doubles = {0.0, -0.0, 0.1 + 0.2, 1e23, 5e-324, -5e-324,
                                   std::bit_cast<double>(uint64_t{0x000fffffffffffff}),  // largest subnormal
                                   DBL_MIN, -DBL_MIN, DBL_MAX, -DBL_MAX, 9007199254740993.0, 1e21, 1e-7};
    std::vector<float> floats = {0.0f, -0.0f, 0.1f, FLT_TRUE_MIN, -FLT_TRUE_MIN, FLT_MIN, FLT_MAX, -FLT_MAX,
                                 std::bit_cast<float>(uint32_t{0x007fffff}), 16777217.0f};
    std::mt19937_64 rng(7);
    while (doubles.size() < 100000) {
        const double d = std::bit_cast<double>(rng());
        if (std::isfinite(d)) doubles.push_back(d);
    }
    while (floats.size() < 100000) {
        const float f = std::bit_cast<float>(static_cast<uint32_t>(rng()));
        if (std::isfinite(f)) floats.push_back(f);
    }
    std::string why;
    int wrong = 0;
    for (double d : doubles) wrong += !exact_and_shortest<double, uint64_t>(d, &why);
    EXPECT_EQ(wrong, 0) << "e.g. " << why;
    wrong = 0;
    for (float f : floats) wrong += !exact_and_shortest<float, uint32_t>(f, &why);
    EXPECT_EQ(wrong, 0) << "e.g. " << why;
}

// The texts of NaN and the infinities are in the dump cases; here, in a list.
TEST_F(DumpRoundTrip, NanIsLeftOutAndInfinitiesComeBack) {
    pz_variant_t *list = pz_variant_array_new();
    for (double d : {double{NAN}, double{INFINITY}, -double{INFINITY}, 1.0}) append_new(list, pz_variant_double_new(d));
    append_new(list, pz_variant_float_new(-NAN));
    char *text = pz_variant_dump(list);
    ASSERT_NE(text, nullptr);
    pz_variant_t *back = pz_variant_from_dump(text);
    ASSERT_EQ(pz_variant_array_size(back), 3u) << "the NaN slots are left out";
    pz_variant_t *pos = pz_variant_array_index(back, 0);
    pz_variant_t *neg = pz_variant_array_index(back, 1);
    EXPECT_EQ(pos->double_val, INFINITY);
    EXPECT_EQ(neg->double_val, -INFINITY);
    for (pz_variant_t *v : {neg, pos, back, list}) pz_variant_unref(v);
    HAL_Free(text);
}

}  // namespace
