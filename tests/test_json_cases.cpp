// The plain JSON texts of json_cases/, each giving what its .out file pins
// (its README.md says how); a value read also writes back both ways.
#include <algorithm>
#include <filesystem>
#include <iterator>

#include "pz_test.h"

namespace {

namespace fs = std::filesystem;
using JsonCases = LeakCheckedTest;

std::string slurp(const fs::path &path) {
    std::ifstream in(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (path.extension() == ".out" && !text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

// Reads every case of `folder`; one without a .out file gives `expect`.
void check_folder(const char *folder, const std::string &expect = "no .out file") {
    std::vector<fs::path> cases;
    for (const auto &entry : fs::directory_iterator(fs::path(PZ_JSON_CASES_DIR) / folder)) {
        if (entry.path().extension() == ".json") cases.push_back(entry.path());
    }
    std::sort(cases.begin(), cases.end());
    EXPECT_GT(cases.size(), 15u) << folder;
    for (const fs::path &path : cases) {
        SCOPED_TRACE(path.filename().string());
        const std::string text = slurp(path);
        const fs::path out = fs::path(path).replace_extension(".out");
        const std::string want = fs::exists(out) ? slurp(out) : expect;
        ASSERT_NE(want, "no .out file");

        pz_read_error_t error;
        std::memset(&error, 'x', sizeof error);
        pz_variant_t *v = pz_variant_from_json(text.c_str(), &error);
        if (v == nullptr) {
            const size_t reason = strnlen(error.reason, sizeof error.reason);
            ASSERT_TRUE(reason > 0 && reason < sizeof error.reason) << "no reason";
            EXPECT_LE(error.offset, text.size());
            const std::string got = "refused at " + std::to_string(error.offset) + ": " + error.reason;
            EXPECT_EQ(want, want == "refused" ? want : got);
            EXPECT_EQ(pz_variant_from_json(text.c_str(), nullptr), nullptr);
            continue;
        }
        EXPECT_TRUE(error.reason[0] == '\0' && error.offset == 0) << "a value read leaves no reason";
        EXPECT_EQ(want == "accepted" ? want : dumped(v), want);
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

TEST_F(JsonCases, AcceptedTextsReadAsPinnedAndWriteBack) { check_folder("accept"); }
TEST_F(JsonCases, RefusedTextsGiveNoValueButAReasonAndOffset) { check_folder("refuse", "refused"); }
TEST_F(JsonCases, TheParsersOwnChoicesComeOutAsPinned) { check_folder("implementation-defined"); }

}  // namespace
