// The typed dump: the texts of dump_cases/ read and written back, what no
// text reads back to (also as plain JSON), the old buffer variant, the
// reader's nesting limits, and random values of every kind through a dump
// and back.
#include <charconv>
#include <cmath>
#include <cstdio>

#include "pz_test.h"
#include "writers.h"
#include "random_values.h"
#include "pzvariant/pz_variant.hpp"

namespace {

using Dump = LeakCheckedTest;

// What reading `input` and writing the value again, through each entry
// point, gives.
std::string reread(const char *input) {
    pz_variant_t *v = pz_variant_from_dump(input);
    const std::string out = written_or_null(writer::dump, v);
    pz_variant_unref(v);
    return out;
}

// Each case file's texts read by its reader, the lenient one also from the
// text's length: the value written back (by the lenient reader's files
// through every entry point), or NULL with the offset and the reason the
// reader gives; a value read leaves no reason. What the strict reader reads,
// the lenient reader reads the same (but for the empty slots that one leaves
// out).
TEST_F(Dump, CaseFilesComeBackAsListed) {
    for (const std::string name : {"read_cases.txt", "bad_cases.txt", "strict_read_cases.txt"}) {
        const bool strict = name == "strict_read_cases.txt";
        int cases = 0;
        for_each_case(name, [&](const std::vector<std::string> &f) {
            ASSERT_TRUE(f.size() == 2u || f.size() == 4u);
            pz_read_error_t error, from_length;
            std::memset(&error, '#', sizeof error);
            std::memset(&from_length, '#', sizeof from_length);
            pz_variant_t *v = strict ? pz_variant_from_dump_strict(f[0].data(), f[0].size(), &error)
                                     : pz_variant_from_dump_ex(f[0].c_str(), &error);
            pz_variant_t *lenient = pz_variant_from_dump_n(f[0].data(), f[0].size(), &from_length);
            EXPECT_EQ(strict ? dumped(v) : reread(f[0].c_str()), f[1]) << f[0];
            if (f.size() == 4u) {
                EXPECT_EQ(error.reason, f[3]) << f[0];
                EXPECT_EQ(error.offset, std::stoul(f[2])) << f[0];
                EXPECT_TRUE(!strict || error.line == 1u);
            } else if (f[1] != "NULL") {
                EXPECT_STREQ(error.reason, "") << f[0];
            }
            if (!strict) {
                EXPECT_TRUE(pz_variant_equal(lenient, v)) << f[0];
                EXPECT_EQ(std::string(from_length.reason) + std::to_string(from_length.offset),
                          std::string(error.reason) + std::to_string(error.offset)) << f[0];
            }
            const bool slots = f[0].find("{}") != std::string::npos;
            EXPECT_TRUE(!strict || v == nullptr || slots || pz_variant_equal(v, lenient)) << f[0];
            for (pz_variant_t *w : {v, lenient}) pz_variant_unref(w);
            ++cases;
        });
        EXPECT_GT(cases, strict ? 50 : 20) << name;
    }
    EXPECT_THROW(pz::from_dump_strict(R"({"uint8":300})"), pz::parse_error);
    const auto nul =
        caught<pz::parse_error>([] { pz::from_dump_strict(std::string_view("{\"string\":\"a\0b\"}", 16)); });
    EXPECT_TRUE(nul && nul->code() == PZ_READ_NUL_BYTE && nul->offset() == 12u) << "a raw NUL";
    EXPECT_EQ(pz::from_dump_strict(R"({"uint8":255})"), pz::value(uint8_t{255}));
}

// An empty slot, NaN, a cleared value and the pointer kinds: the dump
// writes their kind (a pointer with its address), plain JSON a null, or no
// text at all when pointers are refused.
TEST_F(Dump, ValuesNoTextReadsBackAreWrittenInBothFormats) {
    static int target;
    char at[32];
    std::snprintf(at, sizeof at, "\":\"%p\"}", static_cast<void *>(&target));
    pz_variant_t *holes = pz_variant_array_new(), *cleared = pz_variant_str_new("x");
    pz_variant_array_append(holes, nullptr);
    append_new(holes, pz_variant_float_new(-NAN));
    append_new(holes, pz_variant_double_new(NAN));
    pz_variant_clear(cleared);
    append_new(holes, cleared);
    EXPECT_EQ(dumped(holes), R"({"array":[{},{"float":null},{"double":null},{"null":null}]})");
    EXPECT_EQ(taken(pz_variant_to_json(holes, PZ_JSON_REFUSE_POINTERS)), "[null,null,null,null]");
    const std::pair<const char *, pz_variant_t *> pointers[] = {
        {"ptr", pz_variant_ptr_new(&target)},
        {"autoptr", pz_variant_autoptr_new(&target, nullptr)},
        {"sharedptr", pz_variant_sharedptr_new(&target, nullptr, nullptr)},
    };
    for (const auto &[kind, p] : pointers) {
        EXPECT_EQ(dumped(p), "{\"" + std::string(kind) + at);
        append_new(holes, p);
    }
    EXPECT_EQ(taken(pz_variant_to_json(holes, 0)), "[null,null,null,null,null,null,null]");
    EXPECT_EQ(taken(pz_variant_to_json(holes, PZ_JSON_REFUSE_POINTERS)), "NULL");
    EXPECT_EQ(pz_variant_dump(nullptr), nullptr);
    EXPECT_EQ(pz_variant_to_json(nullptr, 0), nullptr);
    pz_variant_unref(holes);
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

// One level past the deepest value (which test_nesting.cpp reads back), or
// far past the parser's own limit, closed or not, gives no value and says
// why; so does no text, in either format. The text ends at its first NUL.
TEST_F(Dump, ReaderRefusesTooDeepAndOddTexts) {
    pz_read_error_t error;
    for (const std::string &text : {nested_text(PZ_VARIANT_MAX_DEPTH + 1), nested_text(100000),
                                    std::string(100000, '['), nested_text(100000).substr(0, 1000000)}) {
        EXPECT_EQ(pz_variant_from_dump_ex(text.c_str(), &error), nullptr) << text.size();
        EXPECT_STREQ(error.reason, "nested too deep") << text.size();
    }
    EXPECT_EQ(pz_variant_from_dump(nullptr), nullptr);
    EXPECT_EQ(pz_variant_from_json(nullptr, &error), nullptr);
    EXPECT_STREQ(error.reason, "no text");
    EXPECT_EQ(reread("{\"int8\":1}\0{\"int8\":2}"), R"({"int8":1})");
    EXPECT_EQ(reread("{\"int\0\":1}"), "NULL");
}

// Writes `f` as its own kind and reads it back: the same bits (values
// compare bit for bit), in a text no longer than the shortest for them (the
// double's, also for a float, which is written as the double it widens to).
template <class F>
void exact_and_shortest(F f) {
    pz_variant_t *v = sizeof f == 4 ? pz_variant_float_new(static_cast<float>(f)) : pz_variant_double_new(f);
    // {"float":<number>} or {"double":<number>}
    const std::string text = expect_round_trip(v, pz_variant_from_dump, pz_variant_dump);
    char shortest[64];
    const auto shortest_len = std::to_chars(shortest, std::end(shortest), static_cast<double>(f)).ptr - shortest;
    EXPECT_LE(text.size() - text.find(':') - 2, static_cast<size_t>(shortest_len)) << text;
    pz_variant_unref(v);
}

// Values of every kind, through a dump and through plain JSON; and floating
// point numbers, each written as its own kind, come back bit for bit in the
// shortest text.
TEST_F(Dump, RandomValuesReadBackEqualAndNumbersExactInTheShortestText) {
    random_values gen(20240611);
    for (int i = 0; i < 3000 && !HasFailure(); ++i) {
        pz_variant_t *v = gen.value(i % 5);
        const std::string text = expect_round_trip(v, pz_variant_from_dump, pz_variant_dump);
        // As plain JSON, read back by the rule of kinds: the same JSON again.
        SCOPED_TRACE(text);
        pz_variant_t *strict = pz_variant_from_dump_strict(text.data(), text.size(), nullptr);
        EXPECT_TRUE(pz_variant_equal(strict, v)) << "read strictly";
        pz_variant_unref(strict);
        expect_round_trip(v, json_read, json_write, false);
        pz_variant_unref(v);
        for (int j = 0; j < 30; ++j) {
            exact_and_shortest(gen.number<double>());
            exact_and_shortest(gen.number<float>());
        }
    }
}

}  // namespace
