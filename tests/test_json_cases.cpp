// The plain JSON texts of json_cases/, each giving what its .out file pins
// (its README.md says how); a value read also writes back both ways. And
// numbers with a fraction or an exponent, read to the nearest double: the
// short ones computed from their digits and the rest by the general path
// must both agree with the C library's strtod on every text.
#include <cstdlib>
#include <random>

#include "pz_test.h"

namespace {

namespace fs = std::filesystem;
using JsonCases = LeakCheckedTest;

// What reading `text` with the reading `flags` gives, spelt as `want` (a
// .out file) pins it: the dump of the value (or "accepted"), or where and
// why it was refused. The value, or null, in `*v`.
std::string outcome(const std::string &text, unsigned flags, const std::string &want, pz_variant_t **v) {
    pz_read_error_t error;
    std::memset(&error, 'x', sizeof error);
    // Read from its length: a case may hold a NUL byte.
    *v = pz_variant_from_json_opts(text.data(), text.size(), flags, &error);
    if (*v != nullptr) {
        EXPECT_TRUE(error.reason[0] == '\0' && error.offset == 0 && error.code == PZ_READ_OK && error.line == 0)
            << "a value read leaves no reason";
        return want == "accepted" ? want : dumped(*v);
    }
    const size_t reason = strnlen(error.reason, sizeof error.reason);
    EXPECT_TRUE(reason > 0 && reason < sizeof error.reason) << "no reason";
    EXPECT_LE(error.offset, text.size());
    EXPECT_NE(error.code, PZ_READ_OK);
    if (want == "refused") return want;
    // The place as offset alone, or with its line and column.
    const std::string at = "refused at " + std::to_string(error.offset);
    const std::string place = want.find(" (") != std::string::npos
                                  ? at + " (" + std::to_string(error.line) + ":" + std::to_string(error.column) + ")"
                                  : at;
    return place + ": " + error.reason;
}

// Reads every case of `folder` with the reading `flags`: each gives its
// .out, or `expect` when it has none. A value read comes also from the
// prefix reader, taking the whole text, and from a terminated text when
// read without flags; written compact and indented (with the non-finite
// literals, under a flag) it reads back equal and writes the same again. A
// string that is not UTF-8 is not written unless escaped, which reads as
// other text.
void check_folder(const char *folder, unsigned flags, const std::string &expect) {
    const std::vector<fs::path> cases = json_cases(folder);
    EXPECT_GE(cases.size(), flags != 0 ? 5u : 16u) << folder;
    const unsigned literals = flags != 0 ? PZ_JSON_NONFINITE_LITERALS : 0;
    for (const fs::path &path : cases) {
        SCOPED_TRACE(path.filename().string());
        const std::string text = slurp(path);
        const fs::path out = fs::path(path).replace_extension(".out");
        const std::string want = fs::exists(out) ? slurp(out) : expect;
        ASSERT_NE(want, "no .out file");

        pz_variant_t *v;
        EXPECT_EQ(outcome(text, flags, want, &v), want);
        if (flags == 0 && text.find('\0') == std::string::npos) {
            pz_variant_t *terminated = pz_variant_from_json(text.c_str(), nullptr);
            EXPECT_EQ(terminated == nullptr, v == nullptr) << "both entries read alike";
            pz_variant_unref(terminated);
        }
        if (v == nullptr) continue;
        size_t used = 0;
        pz_variant_t *prefix = pz_variant_from_json_prefix_opts(text.data(), text.size(), flags, &used, nullptr);
        EXPECT_TRUE(pz_variant_equal(prefix, v));
        EXPECT_EQ(used, text.size());
        pz_variant_unref(prefix);
        if (taken(json_write(v)) == "NULL" && flags == 0) {
            pz_variant_t *escaped = json_read(taken(pz_variant_to_json(v, PZ_JSON_ESCAPE_INVALID)).c_str());
            EXPECT_NE(escaped, nullptr);
            EXPECT_FALSE(pz_variant_equal(v, escaped));
            for (pz_variant_t *w : {v, escaped}) pz_variant_unref(w);
            continue;
        }
        const auto read = [flags, literals](const char *t) {
            return pz_variant_from_json_opts(t, std::strlen(t), flags | (literals ? PZ_JSON_READ_NONFINITE : 0), nullptr);
        };
        for (const unsigned layout : {0u, unsigned{PZ_JSON_INDENT}}) {
            expect_round_trip(v, read, [&](const pz_variant_t *w) { return pz_variant_to_json(w, layout | literals); });
        }
        pz_variant_unref(v);
    }
}

TEST_F(JsonCases, EachFolderGivesWhatItsOutFilesPin) {
    const std::pair<const char *, unsigned> folders[] = {
        {"accept", 0},
        {"refuse", 0},
        {"implementation-defined", 0},
        {"with/comments", PZ_JSON_READ_COMMENTS},
        {"with/trailing_commas", PZ_JSON_READ_TRAILING_COMMAS},
        {"with/nonfinite", PZ_JSON_READ_NONFINITE},
        {"with/refuse_duplicates", PZ_JSON_READ_REFUSE_DUPLICATES},
        {"with/refuse_overflow", PZ_JSON_READ_REFUSE_OVERFLOW},
    };
    for (const auto &[folder, flags] : folders) {
        SCOPED_TRACE(folder);
        // Only a refused text may go without its .out file.
        check_folder(folder, flags, std::string(folder) == "refuse" ? "refused" : "no .out file");
    }
}

// `text` reads to the double strtod gives, bit for bit.
void expect_nearest(const std::string &text) {
    pz_variant_t *v = pz_variant_from_json(text.c_str(), nullptr);
    double got = 0;
    EXPECT_EQ(pz_variant_get_double(v, &got), PZ_GET_OK) << text;
    pz_variant_unref(v);
    const double want = std::strtod(text.c_str(), nullptr);
    EXPECT_EQ(std::memcmp(&got, &want, sizeof got), 0) << text << ": " << got << " against " << want;
}

// The texts of json_number_cases.txt, then random ones.
TEST_F(JsonCases, NumbersReadToTheNearestDouble) {
    for_each_case("json_number_cases.txt", [](const std::vector<std::string> &f) { expect_nearest(f.at(0)); });
    std::mt19937_64 rng(41);
    for (int i = 0; i < 20000; ++i) {
        std::string text = (rng() % 2 != 0 ? "-" : "") + std::to_string(rng() % 1000);
        text += "." + std::to_string(rng() >> (rng() % 64));
        if (rng() % 3 == 0) text += "e" + std::to_string(static_cast<int>(rng() % 61) - 30);
        expect_nearest(text);
    }
}

}  // namespace
