// Deep equality.
#include <cmath>

#include "pz_test.h"

namespace {

using Equal = LeakCheckedTest;

TEST_F(Equal, KindsAndWidthsMustMatch) {
    pz_variant_t *i8 = pz_variant_int8_new(1);
    pz_variant_t *u8 = pz_variant_uint8_new(1);
    pz_variant_t *i8b = pz_variant_int8_new(1);
    EXPECT_TRUE(pz_variant_equal(i8, i8b));
    EXPECT_FALSE(pz_variant_equal(i8, u8)) << "same bits, other kind";
    EXPECT_TRUE(pz_variant_equal(nullptr, nullptr));
    EXPECT_FALSE(pz_variant_equal(i8, nullptr));
    for (pz_variant_t *v : {i8, u8, i8b}) pz_variant_unref(v);
}

TEST_F(Equal, FloatingPointComparesBits) {
    pz_variant_t *nan1 = pz_variant_double_new(std::nan(""));
    pz_variant_t *nan2 = pz_variant_double_new(std::nan(""));
    pz_variant_t *zero = pz_variant_double_new(0.0);
    pz_variant_t *minus_zero = pz_variant_double_new(-0.0);
    EXPECT_TRUE(pz_variant_equal(nan1, nan2));
    EXPECT_FALSE(pz_variant_equal(zero, minus_zero));
    for (pz_variant_t *v : {nan1, nan2, zero, minus_zero}) pz_variant_unref(v);
}

TEST_F(Equal, TextsAndBytesCompareContent) {
    pz_variant_t *a = pz_variant_str_new("abc");
    pz_variant_t *b = vstr_sized_new("abcd", 3);
    pz_variant_t *empty_null = pz_variant_str_new(nullptr);
    pz_variant_t *empty_text = pz_variant_str_set(pz_variant_int8_new(0), "");
    pz_variant_t *bytes = vstr_buf_new(reinterpret_cast<const uint8_t *>("abc"), 3);
    EXPECT_TRUE(pz_variant_equal(a, b));
    EXPECT_TRUE(pz_variant_equal(empty_null, empty_text));
    EXPECT_FALSE(pz_variant_equal(a, bytes));
    for (pz_variant_t *v : {a, b, empty_null, empty_text, bytes}) pz_variant_unref(v);
}

TEST_F(Equal, ContainersCompareDeeply) {
    pz_variant_t *x = pz_variant_dict_new();
    pz_variant_t *y = pz_variant_dict_new();
    pz_variant_t *one = pz_variant_int32_new(1);
    pz_variant_t *two = pz_variant_int32_new(2);
    pz_variant_t *list = pz_variant_array_new();
    pz_variant_array_append(list, one);
    pz_variant_array_append(list, nullptr);
    pz_variant_dict_put(x, "a", one);
    pz_variant_dict_put(x, "l", list);
    pz_variant_dict_put(y, "l", list);  // other insertion order
    pz_variant_dict_put(y, "a", one);
    EXPECT_TRUE(pz_variant_equal(x, y));
    pz_variant_dict_put(y, "a", two);
    EXPECT_FALSE(pz_variant_equal(x, y));
    pz_variant_dict_put(y, "a", one);
    pz_variant_dict_put(y, "b", one);
    EXPECT_FALSE(pz_variant_equal(x, y)) << "an extra entry";
    for (pz_variant_t *v : {x, y, one, two, list}) pz_variant_unref(v);
}

}  // namespace
