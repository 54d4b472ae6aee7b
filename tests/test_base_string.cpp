// Text helpers and formatting that the value API does not reach.
#include <algorithm>
#include <cstdio>

#include "pzvariant/pz_string.h"
#include "pz_test.h"

namespace {

using StringTest = LeakCheckedTest;

TEST_F(StringTest, FormatMatchesSnprintfPastAnyFirstGuessAtTheLength) {
    const std::string wide(3000, 'w');
    char expect[4000];
    std::snprintf(expect, sizeof expect, "%s|%d|%.2f|%s", "x", -42, 1.5, wide.c_str());
    pz_string_t *s = pz_string_format("%s|%d|%.2f|%s", "x", -42, 1.5, wide.c_str());
    EXPECT_STREQ(s->cstr, expect);
    EXPECT_EQ(s->len, static_cast<int>(std::strlen(expect)));
    pz_string_unref(s);
}

// Null reads as empty; a copy never writes past `count`, terminates when
// there is room and never pads.
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
