// Deep equality.
#include <cmath>

#include "pz_test.h"

namespace {

using Equal = LeakCheckedTest;

pz_variant_t *list_of(pz_variant_t *a, pz_variant_t *b) {
    pz_variant_t *va = pz_variant_array_new();
    pz_variant_array_append(va, a);
    pz_variant_array_append(va, b);
    return va;
}

TEST_F(Equal, PairsCompareByKindAndContent) {
    pz_variant_t *one = pz_variant_int32_new(1);
    pz_variant_t *x = pz_variant_dict_new(), *y = pz_variant_dict_new(), *z = pz_variant_dict_new();
    pz_variant_dict_put(x, "a", one);
    put_new(x, "l", list_of(one, nullptr));
    put_new(y, "l", list_of(one, nullptr));  // other insertion order
    pz_variant_dict_put(y, "a", one);
    put_new(z, "a", pz_variant_int32_new(2));
    put_new(z, "l", list_of(one, nullptr));
    const struct {
        pz_variant_t *a, *b;
        bool equal;
    } cases[] = {
        {pz_variant_int8_new(1), pz_variant_int8_new(1), true},
        {pz_variant_int8_new(1), pz_variant_uint8_new(1), false},  // same bits, other kind
        {pz_variant_double_new(std::nan("")), pz_variant_double_new(std::nan("")), true},
        {pz_variant_double_new(0.0), pz_variant_double_new(-0.0), false},
        {pz_variant_str_new("abc"), vstr_sized_new("abcd", 3), true},
        {pz_variant_str_new(nullptr), pz_variant_str_set(pz_variant_int8_new(0), ""), true},
        {pz_variant_str_new("abc"), vstr_buf_new(reinterpret_cast<const uint8_t *>("abc"), 3), false},
        {pz_variant_ref(x), pz_variant_ref(y), true},
        {pz_variant_ref(x), pz_variant_ref(z), false},
        {list_of(one, nullptr), list_of(nullptr, one), false},
        {pz_variant_int8_new(0), nullptr, false},
        {nullptr, nullptr, true},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(pz_variant_equal(c.a, c.b), c.equal) << (c.a ? c.a->vt : '0');
        EXPECT_EQ(pz_variant_equal(c.b, c.a), c.equal) << (c.a ? c.a->vt : '0');
        pz_variant_unref(c.a);
        pz_variant_unref(c.b);
    }
    put_new(y, "b", pz_variant_int32_new(1));
    EXPECT_FALSE(pz_variant_equal(x, y)) << "an extra entry";
    for (pz_variant_t *v : {x, y, z, one}) pz_variant_unref(v);
}

TEST_F(Equal, SelfContainingValuesEqualNothing) {
    pz_variant_t *a = pz_variant_array_new();
    pz_variant_array_append(a, a);
    EXPECT_FALSE(pz_variant_equal(a, a));
    pz_variant_array_clear(a);  // break the cycle
    EXPECT_TRUE(pz_variant_equal(a, a));
    pz_variant_unref(a);
}

}  // namespace
