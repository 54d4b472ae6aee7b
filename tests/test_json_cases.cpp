// The plain JSON texts of json_cases/ (see its README.md). A text in accept/
// reads, and the value written compact or indented reads back equal, kinds
// included, and writes again to the same text; the compact text is the same
// JSON as the input. A text in refuse/ gives no value, a reason and an
// offset within the text. A text in implementation-defined/ gives what its
// .out file pins and, when it reads, round-trips like an accepted one. A .out
// file holds the typed dump of the value read, which shows its kinds, or
// "refused at <offset>: <reason>" (a bare "refused" leaves both unpinned).
#include <cjson/cJSON.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

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

// Deletes every object member that a later one of the same name overrides,
// as our reader does, so that cJSON's comparison can see the same JSON.
void keep_last_members(cJSON *item) {
    for (cJSON *child = item->child, *next; child != nullptr; child = next) {
        next = child->next;
        keep_last_members(child);
        for (cJSON *later = next; cJSON_IsObject(item) && later != nullptr; later = later->next) {
            if (std::strcmp(later->string, child->string) == 0) {
                cJSON_Delete(cJSON_DetachItemViaPointer(item, child));
                break;
            }
        }
    }
}

// Numbers compare by value, objects by their members whatever the order.
bool same_json(const std::string &a, const std::string &b) {
    cJSON *x = cJSON_Parse(a.c_str()), *y = cJSON_Parse(b.c_str());
    if (x != nullptr) keep_last_members(x);
    const bool same = x != nullptr && y != nullptr && cJSON_Compare(x, y, true);
    cJSON_Delete(x);
    cJSON_Delete(y);
    return same;
}

// Writes `v` both ways; each text reads back equal and writes again the
// same. Returns the compact text.
std::string written_and_reread(const pz_variant_t *v) {
    std::string compact;
    for (const unsigned flags : {0u, static_cast<unsigned>(PZ_JSON_INDENT)}) {
        const std::string text = taken(pz_variant_to_json(v, flags));
        pz_variant_t *back = pz_variant_from_json(text.c_str(), nullptr);
        EXPECT_TRUE(pz_variant_equal(v, back)) << text;
        EXPECT_EQ(taken(pz_variant_to_json(back, flags)), text);
        pz_variant_unref(back);
        if (flags == 0) compact = text;
    }
    return compact;
}

// Reads every case of `folder`: `expect` is "accepted", "refused" or
// "pinned" (as its .out file says, which every case then has).
void check_folder(const char *folder, const std::string &expect) {
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
        ASSERT_TRUE(want != "pinned") << "no .out file";

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
        EXPECT_NE(want.substr(0, 7), "refused") << "read as " << taken(pz_variant_dump(v));
        EXPECT_TRUE(error.reason[0] == '\0' && error.offset == 0) << "a value read leaves no reason";
        if (want.substr(0, 7) != "refused" && want != "accepted") {
            EXPECT_EQ(taken(pz_variant_dump(v)), want);
        }
        const std::string written = written_and_reread(v);
        if (expect == "accepted") {
            EXPECT_TRUE(same_json(text, written)) << written;
        }
        pz_variant_unref(v);
    }
}

TEST_F(JsonCases, AcceptedTextsReadAndWriteBackAsTheSameJson) { check_folder("accept", "accepted"); }
TEST_F(JsonCases, RefusedTextsGiveNoValueButAReasonAndOffset) { check_folder("refuse", "refused"); }
TEST_F(JsonCases, TheParsersOwnChoicesComeOutAsPinned) { check_folder("implementation-defined", "pinned"); }

}  // namespace
