// The options of plain JSON: the writer's layouts, sorted keys, canonical
// form (against RFC 8785's own examples, in json_cases/canonical/) and
// literals for the non-finite numbers.
#include <cmath>

#include "pz_test.h"
#include "pzvariant/pz_variant.hpp"

namespace {

namespace fs = std::filesystem;
using JsonOptions = LeakCheckedTest;

const fs::path kCanonical = fs::path(PZ_JSON_CASES_DIR) / "canonical";

std::string canonical(const pz_variant_t *v) { return taken(pz_variant_to_json(v, PZ_JSON_CANONICAL)); }

// Each .json of canonical/ written canonically is its .out (less the final
// newline), and that text reads back to a value whose canonical text it is.
TEST_F(JsonOptions, CanonicalFormOfTheRfcExamples) {
    int cases = 0;
    for (const fs::path &path : json_cases("canonical")) {
        SCOPED_TRACE(path.filename().string());
        ++cases;
        const std::string want = slurp(fs::path(path).replace_extension(".out"));
        pz_variant_t *v = json_read(slurp(path).c_str());
        EXPECT_EQ(canonical(v), want);
        pz_variant_t *back = json_read(want.c_str());
        EXPECT_EQ(canonical(back), want);
        pz_variant_unref(back);
        pz_variant_unref(v);
    }
    EXPECT_EQ(cases, 2);
}

template <class Check>
void for_each_line(const char *file, Check check) {
    std::ifstream in(kCanonical / file);
    ASSERT_TRUE(in) << file;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        SCOPED_TRACE(line);
        const size_t tab = line.find('\t');
        check(line.substr(0, tab), line.substr(tab + 1));
    }
}

TEST_F(JsonOptions, CanonicalNumbersAreEcmaScripts) {
    for_each_line("numbers_rfc8785.tsv", [](const std::string &hex, const std::string &want) {
        const uint64_t bits = std::stoull(hex, nullptr, 16);
        double d;
        std::memcpy(&d, &bits, sizeof d);
        pz_variant_t *v = pz_variant_double_new(d);
        EXPECT_EQ(canonical(v), want);
        pz_variant_unref(v);
    });
    for_each_line("numbers_read.tsv", [](const std::string &text, const std::string &want) {
        pz_variant_t *v = json_read(text.c_str());
        ASSERT_NE(v, nullptr);
        EXPECT_EQ(canonical(v), want == "refused" ? "NULL" : want);
        pz_variant_unref(v);
    });
    // Every integer kind as the double it equals, a float as its double.
    const pz::value kinds = pz::array({int8_t{-5}, uint16_t{65535}, uint32_t{4000000000u}, 0.1f, 0.5f});
    EXPECT_EQ(pz::to_json(kinds, PZ_JSON_CANONICAL), "[-5,65535,4000000000,0.10000000149011612,0.5]");
    for (const double refused : {NAN, INFINITY, -INFINITY}) {
        EXPECT_THROW(pz::to_json(pz::array({1, refused}), PZ_JSON_CANONICAL), pz::error);
        EXPECT_THROW(pz::to_json(pz::array({static_cast<float>(refused)}), PZ_JSON_CANONICAL), pz::error);
    }
    EXPECT_EQ(pz::to_json(pz::value::bytes("\xff", 1), PZ_JSON_CANONICAL), R"("ff")");
}

TEST_F(JsonOptions, CanonicalRefusesWhatItCannotHoldAndIgnoresLayout) {
    pz::value v = pz::dict({{"b", pz::array({1, 2})}, {"a", pz::dict({{"d", true}, {"c", pz::value::null()}})}});
    const std::string want = R"({"a":{"c":null,"d":true},"b":[1,2]})";
    EXPECT_EQ(pz::to_json(v, PZ_JSON_CANONICAL), want);
    EXPECT_EQ(pz::to_json(v, PZ_JSON_CANONICAL | PZ_JSON_INDENT_WIDTH(4) | PZ_JSON_NONFINITE_LITERALS), want);
    v.set("s", std::string_view("\xC3\x28", 2));  // not UTF-8
    EXPECT_THROW(pz::to_json(v, PZ_JSON_CANONICAL | PZ_JSON_ESCAPE_INVALID), pz::error);
    v.erase("s");
    v.set("\xC3\x28", 1);  // a key that is not UTF-8
    EXPECT_THROW(pz::to_json(v, PZ_JSON_CANONICAL), pz::error);
    EXPECT_EQ(pz_variant_to_json_buf(v.get(), nullptr, 0, PZ_JSON_CANONICAL), 0u);
}

// ---------------------------------------------------------------------------
// Sorted keys and layouts
// ---------------------------------------------------------------------------

TEST_F(JsonOptions, SortedKeysGiveOneTextForEqualDictionaries) {
    const pz::value one = pz::from_json(
        R"({"b": 1, "a": {"y": [1, {"k": 2, "j": 3}], "x": 2}, "ab": 4, "\u00e9": 5, "\ufb33": 6, "\ud83d\ude00": 7})");
    const pz::value two = pz::from_json(
        R"({"\ud83d\ude00": 7, "ab": 4, "\ufb33": 6, "a": {"x": 2, "y": [1, {"j": 3, "k": 2}]}, "\u00e9": 5, "b": 1})");
    ASSERT_EQ(one, two);
    const std::string sorted = pz::to_json(one, PZ_JSON_SORT_KEYS);
    EXPECT_EQ(sorted, pz::to_json(two, PZ_JSON_SORT_KEYS));
    const std::string nested = R"({"a":{"x":2,"y":[1,{"j":3,"k":2}]},"ab":4,"b":1,)";
    EXPECT_EQ(sorted, nested + "\"\u00e9\":5,\"\ufb33\":6,\"\U0001F600\":7}");
    // By UTF-16 code units a character past U+FFFF sorts before U+FB33.
    EXPECT_EQ(pz::to_json(one, PZ_JSON_CANONICAL), nested + "\"\u00e9\":5,\"\U0001F600\":7,\"\ufb33\":6}");
    EXPECT_EQ(pz::to_json(one, 0).substr(0, 5), R"({"b":)") << "the dictionary keeps its order";
}

TEST_F(JsonOptions, IndentWidthsAndTabs) {
    const pz::value v = pz::from_json(R"({"a": [1, {}], "b": []})");
    EXPECT_EQ(pz::to_json(v, PZ_JSON_INDENT), "{\n  \"a\": [\n    1,\n    {}\n  ],\n  \"b\": []\n}");
    EXPECT_EQ(pz::to_json(v, PZ_JSON_INDENT_WIDTH(2)), pz::to_json(v, PZ_JSON_INDENT));
    EXPECT_EQ(pz::to_json(v, PZ_JSON_INDENT_WIDTH(0)), "{\n\"a\": [\n1,\n{}\n],\n\"b\": []\n}");
    EXPECT_EQ(pz::to_json(v, PZ_JSON_INDENT_WIDTH(8)),
              "{\n        \"a\": [\n                1,\n                {}\n        ],\n        \"b\": []\n}");
    EXPECT_EQ(pz::to_json(v, PZ_JSON_INDENT_WIDTH(12)), pz::to_json(v, PZ_JSON_INDENT_WIDTH(8)));
    EXPECT_EQ(pz::to_json(v, PZ_JSON_INDENT_TABS), "{\n\t\"a\": [\n\t\t1,\n\t\t{}\n\t],\n\t\"b\": []\n}");
    // Indents longer than the writer's piece of padding, read back equal.
    pz_variant_t *deep = chain(40, pz_variant_int32_new(7));
    for (const unsigned flags : {unsigned{PZ_JSON_INDENT_WIDTH(8)}, unsigned{PZ_JSON_INDENT_TABS}}) {
        const std::string text = taken(pz_variant_to_json(deep, flags));
        const char pad = flags == PZ_JSON_INDENT_TABS ? '\t' : ' ';
        size_t widest = 0;
        for (size_t line = 0; line != std::string::npos; line = text.find('\n', line + 1)) {
            const size_t start = line == 0 ? 0 : line + 1;
            widest = std::max(widest, text.find_first_not_of(pad, start) - start);
        }
        EXPECT_EQ(widest, (pad == ' ' ? 8u : 1u) * 39);
        pz_variant_t *back = json_read(text.c_str());
        EXPECT_EQ(taken(pz_variant_to_json(back, 0)), taken(pz_variant_to_json(deep, 0)));
        pz_variant_unref(back);
    }
    pz_variant_unref(deep);
}

TEST_F(JsonOptions, NonFiniteNumbersAsLiteralsOnlyWhenAsked) {
    const pz::value v = pz::array({NAN, INFINITY, -INFINITY, static_cast<float>(-INFINITY), 1.5});
    EXPECT_EQ(pz::to_json(v, 0), "[null,1e999,-1e999,-1e999,1.5]");
    EXPECT_EQ(pz::to_json(v, PZ_JSON_NONFINITE_LITERALS), "[NaN,Infinity,-Infinity,-Infinity,1.5]");
}

// ---------------------------------------------------------------------------
// Reading flags (their cases are in json_cases/with/)
// ---------------------------------------------------------------------------

TEST_F(JsonOptions, AConfigurationFileWithCommentsReadsUnderTheFlag) {
    const std::string text = "// service settings\n{\n  \"port\": 8080,  /* the default */\n  \"hosts\": [\"a\", \"b\",],\n}\n";
    const std::string path = ::testing::TempDir() + "pz_options_config.json";
    std::ofstream(path) << text;
    const unsigned flags = PZ_JSON_READ_COMMENTS | PZ_JSON_READ_TRAILING_COMMAS;
    pz_read_error_t why;
    EXPECT_EQ(pz_variant_read_file(path.c_str(), PZ_TEXT_JSON, &why), nullptr);
    EXPECT_EQ(why.code, PZ_READ_INVALID_SYNTAX);
    EXPECT_EQ(why.line, 1u);
    EXPECT_EQ(pz_variant_read_json_file(path.c_str(), PZ_JSON_READ_COMMENTS, &why), nullptr);
    EXPECT_EQ(why.code, PZ_READ_TRAILING_COMMA);
    EXPECT_EQ(why.line, 4u);
    pz_variant_t *cfg = pz_variant_read_json_file(path.c_str(), flags, &why);
    EXPECT_EQ(taken(pz_variant_to_json(cfg, 0)), R"({"port":8080,"hosts":["a","b"]})");
    FILE *stream = std::fopen(path.c_str(), "rb");
    pz_variant_t *streamed = pz_variant_read_json_stream(stream, flags, nullptr);
    std::fclose(stream);
    EXPECT_TRUE(pz_variant_equal(streamed, cfg));
    EXPECT_EQ(pz::from_json(text, flags), pz::value::borrow(cfg));
    try {
        pz::from_json(text, PZ_JSON_READ_TRAILING_COMMAS);
        ADD_FAILURE() << "read";
    } catch (const pz::parse_error &e) {
        EXPECT_EQ(e.code(), PZ_READ_INVALID_SYNTAX);
        EXPECT_EQ(e.offset(), 0u);
    }
    for (pz_variant_t *v : {cfg, streamed}) pz_variant_unref(v);
    std::remove(path.c_str());
}

}  // namespace
