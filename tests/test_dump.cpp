// The typed dump: the texts of dump_cases/ read and written back, what no
// text reads back to, the buffer variant and the reader's nesting limits.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "pz_test.h"

namespace {

using Dump = LeakCheckedTest;

// The dump as a string, "NULL" when there is none.
std::string dump_text(const pz_variant_t *v) {
    char *text = pz_variant_dump(v);
    std::string out = text != nullptr ? text : "NULL";
    HAL_Free(text);
    return out;
}

// What reading `input` and writing the value again gives.
std::string reread(const char *input) {
    pz_variant_t *v = pz_variant_from_dump(input);
    std::string out = v != nullptr ? dump_text(v) : "NULL";
    pz_variant_unref(v);
    return out;
}

TEST_F(Dump, CaseFilesComeBackAsListed) {
    for (const char *name : {"read_cases.txt", "bad_cases.txt"}) {
        int cases = 0;
        for_each_case(name, [&](const std::vector<std::string> &f) {
            ASSERT_EQ(f.size(), 2u);
            EXPECT_EQ(reread(f[0].c_str()), f[1]) << f[0];
            ++cases;
        });
        EXPECT_GT(cases, 20) << name;
    }
}

// NaN, an empty slot, a cleared value and the pointer kinds (their address).
TEST_F(Dump, ValuesNoTextReadsBackAreWrittenToo) {
    static int target;
    char at[32];
    std::snprintf(at, sizeof at, "\":\"%p\"}", static_cast<void *>(&target));
    pz_variant_t *holes = pz_variant_array_new(), *cleared = pz_variant_str_new("x");
    pz_variant_array_append(holes, nullptr);
    append_new(holes, pz_variant_float_new(-NAN));
    append_new(holes, pz_variant_double_new(NAN));
    pz_variant_clear(cleared);
    const std::pair<pz_variant_t *, std::string> cases[] = {
        {holes, R"({"array":[{},{"float":null},{"double":null}]})"},
        {cleared, R"({"null":null})"},
        {pz_variant_ptr_new(&target), R"({"ptr)" + std::string(at)},
        {pz_variant_autoptr_new(&target, nullptr), R"({"autoptr)" + std::string(at)},
        {pz_variant_sharedptr_new(&target, nullptr, nullptr), R"({"sharedptr)" + std::string(at)},
    };
    for (const auto &[v, text] : cases) {
        EXPECT_EQ(dump_text(v), text);
        pz_variant_unref(v);
    }
    EXPECT_EQ(pz_variant_dump(nullptr), nullptr);
}

// Every max_len from 0 to one past the need: the dump when its terminator
// fits, otherwise the message cut to fit; never a byte past max_len.
TEST_F(Dump, BufferGetsTheDumpOrTheMessageAndNothingPastMaxLen) {
    const std::string message = "not enough buffer";
    pz_variant_t *v = pz_variant_str_new("hello world");
    const std::string text = R"({"string":"hello world"})";
    const auto n = static_cast<uint32_t>(text.size());
    char buf[64];
    for (uint32_t max_len = 0; max_len <= n + 1; ++max_len) {
        std::memset(buf, '#', sizeof buf);
        const int32_t result = pz_variant_dump_buf(v, buf, max_len);
        EXPECT_EQ(result, max_len > n ? static_cast<int32_t>(n) : -2) << max_len;
        if (max_len > 0) {
            EXPECT_EQ(std::string(buf), max_len > n ? text : message.substr(0, max_len - 1));
        }
        EXPECT_EQ(std::string(buf + max_len, sizeof buf - max_len), std::string(sizeof buf - max_len, '#'))
            << "written past max_len " << max_len;
    }
    EXPECT_EQ(pz_variant_dump_buf(v, nullptr, 3), static_cast<int32_t>(n));
    std::memset(buf, '#', sizeof buf);
    EXPECT_EQ(pz_variant_dump_buf(nullptr, buf, sizeof buf), -1);
    EXPECT_EQ(buf[0], '#');
    pz_variant_unref(v);
}

// Arrays and dictionaries alternating around a uint64, `levels` deep
// counting the scalar.
std::string nested_text(int levels) {
    std::string open, close;
    for (int i = 1; i < levels; ++i) open += i % 2 != 0 ? R"({"array":[)" : R"({"dict":{"k":)";
    for (int i = levels - 1; i >= 1; --i) close += i % 2 != 0 ? "]}" : "}}";
    return open + R"({"uint64":18446744073709551615})" + close;
}

// The deepest value's dump reads back (checked with the other shapes in
// test_nesting.cpp); one level more, or far past the parser's own limit,
// closed or not, gives no value. The text ends at its first NUL.
TEST_F(Dump, ReaderRefusesTooDeepAndOddTexts) {
    const std::string deepest = nested_text(PZ_VARIANT_MAX_DEPTH);
    EXPECT_EQ(reread(deepest.c_str()), deepest);
    for (const std::string &text : {nested_text(PZ_VARIANT_MAX_DEPTH + 1), nested_text(100000),
                                    std::string(100000, '['), nested_text(100000).substr(0, 1000000)}) {
        EXPECT_EQ(reread(text.c_str()), "NULL") << text.size();
    }
    EXPECT_EQ(pz_variant_from_dump(nullptr), nullptr);
    EXPECT_EQ(reread("{\"int8\":1}\0{\"int8\":2}"), R"({"int8":1})");
    EXPECT_EQ(reread("{\"int\0\":1}"), "NULL");
}

}  // namespace
