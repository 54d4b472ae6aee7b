// The options of plain JSON beyond the cases of json_write_cases.txt: the
// canonical form against RFC 8785's own examples (json_cases/canonical/),
// deep indents, NaN as a literal, and the reading flags.
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
    const std::vector<fs::path> cases = json_cases("canonical");
    EXPECT_EQ(cases.size(), 2u);
    for (const fs::path &path : cases) {
        SCOPED_TRACE(path.filename().string());
        pz_variant_t *v = json_read(slurp(path).c_str());
        const auto write = [](const pz_variant_t *w) { return pz_variant_to_json(w, PZ_JSON_CANONICAL); };
        EXPECT_EQ(expect_round_trip(v, json_read, write, false), slurp(fs::path(path).replace_extension(".out")));
        pz_variant_unref(v);
    }
}

TEST_F(JsonOptions, CanonicalNumbersAreEcmaScripts) {
    for_each_case(kCanonical / "numbers_rfc8785.tsv", [](const std::vector<std::string> &f) {
        const uint64_t bits = std::stoull(f.at(0), nullptr, 16);
        double d;
        std::memcpy(&d, &bits, sizeof d);
        pz_variant_t *v = pz_variant_double_new(d);
        EXPECT_EQ(canonical(v), f.at(1));
        pz_variant_unref(v);
    });
    for_each_case(kCanonical / "numbers_read.tsv", [](const std::vector<std::string> &f) {
        pz_variant_t *v = json_read(f.at(0).c_str());
        ASSERT_NE(v, nullptr);
        EXPECT_EQ(canonical(v), f.at(1) == "refused" ? "NULL" : f.at(1));
        pz_variant_unref(v);
    });
    // pz::to_json maps the writer's refusal.
    EXPECT_THROW(pz::to_json(pz::array({1, NAN}), PZ_JSON_CANONICAL), pz::error);
}

// Indents longer than the writer's piece of padding, read back equal (the
// layouts themselves are in json_write_cases.txt).
TEST_F(JsonOptions, DeepIndentsOfWidthAndTabs) {
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

// NaN, which no case text reads to, as a literal only when asked.
TEST_F(JsonOptions, NanAsALiteralOnlyWhenAsked) {
    const pz::value v = pz::array({NAN, 1.5});
    EXPECT_EQ(pz::to_json(v, 0), "[null,1.5]");
    EXPECT_EQ(pz::to_json(v, PZ_JSON_NONFINITE_LITERALS), "[NaN,1.5]");
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
    EXPECT_THROW(pz::from_json(text, PZ_JSON_READ_TRAILING_COMMAS), pz::parse_error) << "comments only when asked";
    for (pz_variant_t *v : {cfg, streamed}) pz_variant_unref(v);
    std::remove(path.c_str());
}

}  // namespace
