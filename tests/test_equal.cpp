// Deep equality: the cases readable from dump texts in dump_cases/, then
// what no text reads back to.
#include <cmath>
#include <tuple>

#include "pz_test.h"

namespace {

using Equal = LeakCheckedTest;

TEST_F(Equal, CaseFilePairsCompareAsListed) {
    for_each_case("equal_cases.txt", [](const std::vector<std::string> &f) {
        ASSERT_EQ(f.size(), 3u);
        pz_variant_t *a = case_value(f[0]);
        pz_variant_t *b = case_value(f[1]);
        ASSERT_TRUE(a != nullptr && b != nullptr);
        EXPECT_EQ(pz_variant_equal(a, b), f[2] == "equal") << f[0] << " " << f[1];
        EXPECT_EQ(pz_variant_equal(b, a), f[2] == "equal") << f[1] << " " << f[0];
        for (pz_variant_t *v : {a, b}) pz_variant_unref(v);
    });
}

TEST_F(Equal, UnreadableValuesAndNulls) {
    int object = 0;
    pz_variant_t *hole = pz_variant_array_new(), *one = pz_variant_pack("i", int32_t{1});
    pz_variant_array_append(hole, nullptr);
    const std::tuple<pz_variant_t *, pz_variant_t *, bool> cases[] = {
        {pz_variant_double_new(std::nan("")), pz_variant_double_new(std::nan("")), true},
        {pz_variant_str_new(nullptr), pz_variant_str_set(pz_variant_int8_new(0), ""), true},
        {pz_variant_ptr_new(&object), pz_variant_ptr_new(&object), true},
        {pz_variant_ptr_new(&object), pz_variant_ptr_new(nullptr), false},
        {pz_variant_ref(hole), pz_variant_pack("*", nullptr), false},
        {pz_variant_ref(hole), pz_variant_array_new(), false},
        {pz_variant_ref(hole), pz_variant_ref(one), false},
        {pz_variant_int8_new(0), nullptr, false},
        {nullptr, nullptr, true},
    };
    for (const auto &[a, b, equal] : cases) {
        EXPECT_EQ(pz_variant_equal(a, b), equal) << (a ? a->vt : '0');
        EXPECT_EQ(pz_variant_equal(b, a), equal) << (a ? a->vt : '0');
        for (pz_variant_t *v : {a, b}) pz_variant_unref(v);
    }
    for (pz_variant_t *v : {hole, one}) pz_variant_unref(v);
}

// One walk goes down both values at once: the limits hold whichever side
// is too deep or loops, and the walk takes no reference. (Equal values at
// the limit, past it and looping: test_nesting.cpp.)
TEST_F(Equal, TwoValuesOfOneShapeAtAndPastTheLimit) {
    const auto nan_bits = [](uint64_t bits) {
        double d;
        std::memcpy(&d, &bits, sizeof d);
        return pz_variant_double_new(d);
    };
    const auto hole_at = [](int levels) {  // an empty slot `levels` deep
        pz_variant_t *holder = pz_variant_array_new();
        pz_variant_array_append(holder, nullptr);
        return chain(levels - 1, holder);
    };
    const auto self_holding = [] {
        pz_variant_t *a = pz_variant_array_new();
        pz_variant_array_append(a, a);
        return a;
    };
    const std::tuple<pz_variant_t *, pz_variant_t *, bool> cases[] = {
        {chain(PZ_VARIANT_MAX_DEPTH, pz_variant_int8_new(1)), chain(PZ_VARIANT_MAX_DEPTH, pz_variant_int8_new(2)), false},
        {hole_at(PZ_VARIANT_MAX_DEPTH), hole_at(PZ_VARIANT_MAX_DEPTH), true},
        {hole_at(PZ_VARIANT_MAX_DEPTH + 1), hole_at(PZ_VARIANT_MAX_DEPTH + 1), false},
        {self_holding(), chain(3, pz_variant_array_new()), false},
        {nan_bits(0x7ff8000000000001ull), nan_bits(0x7ff8000000000001ull), true},
        {nan_bits(0x7ff8000000000001ull), nan_bits(0x7ff8000000000002ull), false},
    };
    const long incs = hal_atomic_incs();
    for (const auto &[a, b, equal] : cases) {
        EXPECT_EQ(pz_variant_equal(a, b), equal) << (&a - &std::get<0>(cases[0])) / 3;
        EXPECT_EQ(pz_variant_equal(b, a), equal) << (&a - &std::get<0>(cases[0])) / 3;
    }
    EXPECT_EQ(hal_atomic_incs(), incs);
    for (const auto &[a, b, equal] : cases) {
        for (pz_variant_t *v : {a, b}) {
            if (v->vt == vtype_array && pz_variant_array_at(v, 0) == v) pz_variant_clear(v);  // the loop
            pz_variant_unref(v);
        }
    }
}

}  // namespace
