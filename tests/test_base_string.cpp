// Counted strings, the byte hash and text helpers. Hexadecimal conversion is
// tested through the dumps that use it.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <unordered_set>

#include "pz_memory.h"
#include "pz_string.h"
#include "pz_test.h"

namespace {

using StringTest = LeakCheckedTest;

// The text with the byte after it, the terminator.
std::string text_of(const pz_string_t *s) { return std::string(s->cstr, static_cast<size_t>(s->len) + 1); }

TEST_F(StringTest, NewCopiesIntoOneCountedBlock) {
    const long blocks = hal_live_blocks();
    char src[] = "abc";
    pz_string_t *s = pz_string_new(src);
    src[0] = 'x';  // a copy, not a view
    EXPECT_EQ(hal_live_blocks(), blocks + 1);
    EXPECT_EQ(text_of(s), std::string("abc", 4)) << "terminated";
    EXPECT_EQ(*pz_ref_count(s), 1);
    EXPECT_EQ(pz_string_new(nullptr), nullptr);
    EXPECT_EQ(pz_string_ref(s), s);
    pz_string_unref(s);
    EXPECT_EQ(hal_live_blocks(), blocks + 1);
    pz_string_unref(s);
    pz_string_unref(nullptr);

    pz_string_t *nuls = pz_string_new_len("a\0b\0cdef", 5);
    pz_string_t *zeros = pz_string_new_len(nullptr, 4);
    EXPECT_EQ(text_of(nuls), std::string("a\0b\0c\0", 6));
    EXPECT_EQ(text_of(zeros), std::string(5, '\0'));
    pz_string_unref(nuls);
    pz_string_unref(zeros);
}

TEST_F(StringTest, FormatMatchesSnprintf) {
    const std::string wide(3000, 'w');
    char expect[4000];
    std::snprintf(expect, sizeof expect, "%s|%d|%.2f|%s", "x", -42, 1.5, wide.c_str());
    pz_string_t *s = pz_string_format("%s|%d|%.2f|%s", "x", -42, 1.5, wide.c_str());
    EXPECT_STREQ(s->cstr, expect);
    EXPECT_EQ(s->len, static_cast<int>(std::strlen(expect)));
    pz_string_unref(s);
    pz_string_t *e = pz_string_format("%s", "");
    EXPECT_EQ(e->len, 0);
    pz_string_unref(e);
    EXPECT_GT(sweep_alloc_failures([] { pz_string_unref(pz_string_format("n=%d", 7)); }), 0);
}

TEST_F(StringTest, EqualAndHash) {
    pz_string_t *a = pz_string_new("hello world, long key");
    pz_string_t *b = pz_string_format("hello %s, long key", "world");
    pz_string_t *prefix = pz_string_new("hello");
    pz_string_t *nul = pz_string_new_len("hello\0", 6);
    const pz_string_t borrowed = pz_string_borrow(a->cstr, static_cast<size_t>(a->len));
    EXPECT_TRUE(pz_string_equal(a, b));
    EXPECT_TRUE(pz_string_equal(a, &borrowed));
    EXPECT_EQ(pz_string_hash(a), pz_string_hash(b));
    EXPECT_EQ(pz_string_hash(a), pz_hash_bytes(a->cstr, static_cast<size_t>(a->len)));
    EXPECT_FALSE(pz_string_equal(prefix, a));
    EXPECT_FALSE(pz_string_equal(prefix, nul));
    EXPECT_NE(pz_string_hash(prefix), pz_string_hash(nul));
    for (pz_string_t *s : {a, b, prefix, nul}) pz_string_unref(s);
}

TEST_F(StringTest, HashSeesEveryByteAndSpreads) {
    // Changing any one byte, at any length, changes the hash.
    unsigned char buf[40] = {};
    for (size_t len = 1; len <= sizeof buf; ++len) {
        const uint32_t base = pz_hash_bytes(buf, len);
        for (size_t i = 0; i < len; ++i) {
            buf[i] = 1;
            EXPECT_NE(pz_hash_bytes(buf, len), base) << "len " << len << " byte " << i;
            buf[i] = 0;
        }
    }
    // Sequential keys spread over the low bits a table masks with.
    std::unordered_set<uint32_t> buckets;
    char key[32];
    for (int i = 0; i < 4096; ++i) {
        const int n = std::snprintf(key, sizeof key, "key%d", i);
        buckets.insert(pz_hash_bytes(key, static_cast<size_t>(n)) & 0xFFFF);
    }
    EXPECT_GT(buckets.size(), 3900u);
}

// Public text helpers: null reads as empty; a copy never writes past
// `count`, terminates when there is room and never pads.
TEST_F(StringTest, CstrCmpAndStrncpy) {
    EXPECT_EQ(pz_cstr_cmp(nullptr, ""), 0);
    EXPECT_EQ(pz_cstr_cmp("", nullptr), 0);
    EXPECT_LT(pz_cstr_cmp(nullptr, "a"), 0);
    EXPECT_GT(pz_cstr_cmp("a", nullptr), 0);
    EXPECT_LT(pz_cstr_cmp("abc", "abd"), 0);
    for (size_t count : {0, 3, 6, 8}) {
        char buf[10];
        std::memset(buf, 'X', sizeof buf);
        EXPECT_EQ(pz_strncpy(buf, "hello", count), buf);
        const size_t n = std::min<size_t>(count, 6);
        EXPECT_EQ(std::string(buf, sizeof buf), std::string("hello", 6).substr(0, n) + std::string(10 - n, 'X'));
    }
}

}  // namespace
