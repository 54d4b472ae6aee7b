// String and byte-buffer values: copies, take-overs, setters, comparison.
#include <cstring>

#include "pz_test.h"

namespace {

using Strings = LeakCheckedTest;

TEST_F(Strings, NewCopiesTheTextWithItsTerminator) {
    const char text[] = "abc";
    pz_variant_t *v = pz_variant_str_new(text);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->vt, vtype_string);
    EXPECT_EQ(v->len, 3u);
    EXPECT_NE(v->str_val, text);
    EXPECT_STREQ(v->str_val, "abc");
    EXPECT_EQ(hal_last_size(), 4u);
    pz_variant_unref(v);

    for (const char *empty : {static_cast<const char *>(nullptr), ""}) {
        pz_variant_t *e = pz_variant_str_new(empty);
        EXPECT_EQ(e->str_val, nullptr);
        EXPECT_EQ(e->len, 0u);
        pz_variant_unref(e);
    }
}

TEST_F(Strings, SizedNewCopiesExactlyLenBytes) {
    pz_variant_t *v = vstr_sized_new("abcdef", 3);
    EXPECT_STREQ(v->str_val, "abc");
    EXPECT_EQ(v->len, 3u);
    pz_variant_t *nul = vstr_sized_new("a\0b", 3);
    EXPECT_EQ(nul->len, 3u);
    EXPECT_EQ(std::memcmp(nul->str_val, "a\0b\0", 4), 0);
    pz_variant_t *empty = vstr_sized_new("abc", 0);
    EXPECT_EQ(empty->str_val, nullptr);
    EXPECT_EQ(vstr_sized_new("abc", UINT32_MAX), nullptr) << "len + 1 would not fit";
    for (pz_variant_t *x : {v, nul, empty}) pz_variant_unref(x);
}

TEST_F(Strings, SetDistinguishesNullFromEmptyText) {
    pz_variant_t *v = pz_variant_int32_new(1);
    pz_variant_str_set(v, "");
    ASSERT_NE(v->str_val, nullptr);
    EXPECT_EQ(v->str_val[0], '\0');
    EXPECT_EQ(v->len, 0u);
    pz_variant_str_set(v, nullptr);
    EXPECT_EQ(v->vt, vtype_string);
    EXPECT_EQ(v->str_val, nullptr);
    EXPECT_EQ(pz_variant_str_set(nullptr, "x"), nullptr);
    pz_variant_unref(v);
}

TEST_F(Strings, SettersMayCopyFromTheValueItself) {
    pz_variant_t *v = pz_variant_str_new("self");
    pz_variant_str_set(v, v->str_val + 1);
    EXPECT_STREQ(v->str_val, "elf");
    vstr_buf_set(v, reinterpret_cast<uint8_t *>(v->str_val), 2);
    EXPECT_EQ(v->vt, vtype_bytes);
    EXPECT_EQ(std::memcmp(v->ptr_val, "el", 2), 0);
    pz_variant_unref(v);
}

TEST_F(Strings, ByteBuffersCopyOrZeroFill) {
    const uint8_t bytes[5] = {1, 2, 0, 4, 5};
    pz_variant_t *zero = vstr_buf_new(nullptr, 4);
    EXPECT_EQ(zero->len, 4u);
    EXPECT_EQ(std::memcmp(zero->ptr_val, "\0\0\0\0", 4), 0);
    pz_variant_t *empty = vstr_buf_new(bytes, 0);
    EXPECT_EQ(empty->ptr_val, nullptr);
    EXPECT_EQ(empty->len, 0u);

    vstr_buf_set(zero, const_cast<uint8_t *>(bytes), 5);
    EXPECT_EQ(zero->len, 5u);
    EXPECT_NE(zero->ptr_val, bytes);
    EXPECT_EQ(std::memcmp(zero->ptr_val, bytes, 5), 0);
    EXPECT_EQ(hal_last_size(), 5u) << "no terminator is added to bytes";
    vstr_buf_set(zero, const_cast<uint8_t *>(bytes), 0);
    EXPECT_EQ(zero->ptr_val, nullptr);
    pz_variant_unref(zero);
    pz_variant_unref(empty);
}

TEST_F(Strings, OwnedConstructorsTakeTheBufferOnlyWhenNonEmpty) {
    auto *text = static_cast<char *>(HAL_Malloc(3));
    std::memcpy(text, "xyz", 3);
    pz_variant_t *s = vstr_new_owned(text, 3);
    EXPECT_EQ(s->str_val, text);
    EXPECT_EQ(s->len, 3u);
    pz_variant_unref(s);  // frees `text`

    auto *buf = static_cast<uint8_t *>(HAL_Malloc(2));
    pz_variant_t *b = vstr_buf_new_owned(buf, 0);
    EXPECT_EQ(b->ptr_val, nullptr);
    pz_variant_unref(b);
    EXPECT_EQ(hal_live_blocks(), 1) << "a zero length leaves the buffer with the caller";

    hal_fail_nth(1, 0);
    EXPECT_EQ(vstr_buf_new_owned(buf, 2), nullptr);
    EXPECT_EQ(hal_live_blocks(), 1) << "a failed constructor leaves the buffer with the caller";
    HAL_Free(buf);
}

TEST_F(Strings, CompareFollowsStrcmpAndTreatsEmptyAsEqual) {
    pz_variant_t *v = pz_variant_str_new("abc");
    EXPECT_EQ(pz_variant_str_cmp(v, "abc"), 0);
    EXPECT_LT(pz_variant_str_cmp(v, "abd"), 0);
    EXPECT_NE(pz_variant_str_cmp(v, ""), 0);
    pz_variant_t *empty = pz_variant_str_new(nullptr);
    EXPECT_EQ(pz_variant_str_cmp(empty, ""), 0);
    EXPECT_EQ(pz_variant_str_cmp(empty, nullptr), 0);
    EXPECT_LT(pz_variant_str_cmp(empty, "a"), 0);
    pz_variant_t *number = pz_variant_int64_new(0x61);
    EXPECT_EQ(pz_variant_str_cmp(number, "a"), 1) << "a number is never read as text";
    EXPECT_EQ(pz_variant_str_cmp(number, nullptr), 1);
    EXPECT_EQ(pz_variant_str_cmp(nullptr, "a"), 1);
    for (pz_variant_t *x : {v, empty, number}) pz_variant_unref(x);
}

TEST_F(Strings, AllocationFailuresLeakNothing) {
    EXPECT_GT(sweep_alloc_failures([] { pz_variant_unref(pz_variant_str_new("hello")); }), 0);
    sweep_alloc_failures([] { pz_variant_unref(vstr_sized_new("hello", 4)); });
    sweep_alloc_failures([] { pz_variant_unref(vstr_buf_new(nullptr, 16)); });

    pz_variant_t *v = pz_variant_str_new("old");
    hal_fail_nth(1, 0);
    pz_variant_str_set(v, "new");
    EXPECT_EQ(v->vt, vtype_string);
    EXPECT_EQ(v->str_val, nullptr) << "a failed copy leaves the empty string";
    hal_fail_nth(1, 0);
    vstr_buf_set(v, nullptr, 8);
    EXPECT_EQ(v->vt, vtype_bytes);
    EXPECT_EQ(v->ptr_val, nullptr);
    EXPECT_EQ(v->len, 0u);
    pz_variant_unref(v);
}

}  // namespace
