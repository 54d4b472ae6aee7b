// The plain JSON texts of json_cases/, each giving what its .out file pins
// (its README.md says how); a value read also writes back both ways.
#include <memory>

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

// Reads every case of `folder`; one without a .out file gives `expect`.
void check_folder(const char *folder, const std::string &expect = "no .out file") {
    const std::vector<fs::path> cases = json_cases(folder);
    EXPECT_GT(cases.size(), 15u) << folder;
    for (const fs::path &path : cases) {
        SCOPED_TRACE(path.filename().string());
        const std::string text = slurp(path);
        const fs::path out = fs::path(path).replace_extension(".out");
        const std::string want = fs::exists(out) ? slurp(out) : expect;
        ASSERT_NE(want, "no .out file");

        pz_variant_t *v;
        EXPECT_EQ(outcome(text, 0, want, &v), want);
        if (text.find('\0') == std::string::npos) {
            pz_variant_t *terminated = pz_variant_from_json(text.c_str(), nullptr);
            EXPECT_EQ(terminated == nullptr, v == nullptr) << "both entries read alike";
            pz_variant_unref(terminated);
        }
        if (v == nullptr) continue;
        // Written both ways, each text reads back equal. A string that is
        // not UTF-8 is not written unless escaped, which reads as other text.
        if (taken(json_write(v)) == "NULL") {
            pz_variant_t *escaped = json_read(taken(pz_variant_to_json(v, PZ_JSON_ESCAPE_INVALID)).c_str());
            EXPECT_NE(escaped, nullptr);
            EXPECT_FALSE(pz_variant_equal(v, escaped));
            for (pz_variant_t *w : {v, escaped}) pz_variant_unref(w);
            continue;
        }
        expect_round_trip(v, json_read, json_write);
        expect_round_trip(v, json_read, [](const pz_variant_t *w) { return pz_variant_to_json(w, PZ_JSON_INDENT); });
        pz_variant_unref(v);
    }
}

// Reads every case of with/`flag` with the reading `flags`: each gives its
// .out; a value read also comes from the prefix reader, taking the whole
// text, and written with the non-finite literals reads back equal.
void check_flag_folder(const char *flag, unsigned flags) {
    const std::vector<fs::path> cases = json_cases(fs::path("with") / flag);
    EXPECT_GE(cases.size(), 5u) << flag;
    for (const fs::path &path : cases) {
        SCOPED_TRACE(path.filename().string());
        const std::string text = slurp(path);
        const std::string want = slurp(fs::path(path).replace_extension(".out"));
        pz_variant_t *v;
        EXPECT_EQ(outcome(text, flags, want, &v), want);
        if (v == nullptr) continue;
        size_t used = 0;
        pz_variant_t *prefix = pz_variant_from_json_prefix_opts(text.data(), text.size(), flags, &used, nullptr);
        EXPECT_TRUE(pz_variant_equal(prefix, v));
        EXPECT_EQ(used, text.size());
        const std::string written = taken(pz_variant_to_json(v, PZ_JSON_NONFINITE_LITERALS));
        pz_variant_t *back = pz_variant_from_json_opts(written.data(), written.size(), flags | PZ_JSON_READ_NONFINITE, nullptr);
        EXPECT_TRUE(pz_variant_equal(back, v)) << written;
        for (pz_variant_t *w : {v, prefix, back}) pz_variant_unref(w);
    }
}

// Every prefix of every case, each in a block of exactly its length: the
// sanitizer catches a read past the end, which a terminated text hides.
TEST_F(JsonCases, ReadsNoByteBeyondTheLengthItIsGiven) {
    for (const char *folder : {"accept", "refuse", "implementation-defined", "with/comments",
                               "with/trailing_commas", "with/nonfinite", "with/refuse_overflow",
                               "with/refuse_duplicates"}) {
        for (const fs::path &path : json_cases(folder)) {
            const std::string text = slurp(path);
            if (text.size() > 400) continue;
            SCOPED_TRACE(path.filename().string());
            for (size_t len = 0; len <= text.size(); ++len) {
                const std::unique_ptr<char[]> exact(new char[len == 0 ? 1 : len]);
                std::memcpy(exact.get(), text.data(), len);
                // Strict, and with every reading flag.
                for (const unsigned flags : {0u, PZ_JSON_READ_COMMENTS | PZ_JSON_READ_TRAILING_COMMAS |
                                                     PZ_JSON_READ_NONFINITE | PZ_JSON_READ_REFUSE_OVERFLOW |
                                                     PZ_JSON_READ_REFUSE_DUPLICATES}) {
                    pz_read_error_t error;
                    pz_variant_t *v = pz_variant_from_json_opts(exact.get(), len, flags, &error);
                    EXPECT_TRUE(v != nullptr || (error.offset <= len && error.line > 0)) << len;
                    pz_variant_unref(v);
                }
            }
        }
    }
}

TEST_F(JsonCases, AcceptedTextsReadAsPinnedAndWriteBack) { check_folder("accept"); }
TEST_F(JsonCases, RefusedTextsGiveNoValueButAReasonAndOffset) { check_folder("refuse", "refused"); }
TEST_F(JsonCases, TheParsersOwnChoicesComeOutAsPinned) { check_folder("implementation-defined"); }
TEST_F(JsonCases, CommentsReadUnderTheirFlag) { check_flag_folder("comments", PZ_JSON_READ_COMMENTS); }
TEST_F(JsonCases, TrailingCommasReadUnderTheirFlag) { check_flag_folder("trailing_commas", PZ_JSON_READ_TRAILING_COMMAS); }
TEST_F(JsonCases, NonFiniteLiteralsReadUnderTheirFlag) { check_flag_folder("nonfinite", PZ_JSON_READ_NONFINITE); }
TEST_F(JsonCases, DuplicateKeysRefusedUnderTheFlag) {
    check_flag_folder("refuse_duplicates", PZ_JSON_READ_REFUSE_DUPLICATES);
}
TEST_F(JsonCases, NumbersPastTheDoublesRefusedUnderTheFlag) {
    check_flag_folder("refuse_overflow", PZ_JSON_READ_REFUSE_OVERFLOW);
}

}  // namespace
