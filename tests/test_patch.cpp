// JSON Patch and diff: the public json-patch-tests suite (patch_cases/),
// what the suite cannot say about this library (all or nothing, records
// kept, kinds), and diff round trips over random pairs of values.
#include <cjson/cJSON.h>

#include <functional>
#include <random>

#include "pz_test.h"
#include "pzvariant/pz_variant.hpp"

namespace {

using Patch = LeakCheckedTest;

pz::value json(const char *text) { return pz::from_json(text); }

// The value of a case's member, written by cJSON and read by our reader;
// empty when absent or when our reader refuses it (a dictionary holds no
// empty key).
pz::value member(const cJSON *c, const char *name) {
    const cJSON *item = cJSON_GetObjectItemCaseSensitive(c, name);
    if (item == nullptr) return {};
    char *text = cJSON_PrintUnformatted(item);
    pz_variant_t *v = pz_variant_from_json(text, nullptr);
    cJSON_free(text);
    return pz::value::adopt(v);
}

struct SuiteCount {
    int run = 0, disabled = 0, empty_key = 0;
};

// One case: with "expected", applied it gives that value (and the diff of
// the document before and after turns one into the other); with "error",
// refused and the document untouched; with neither, applied.
void run_case(const cJSON *c, SuiteCount &count) {
    const cJSON *comment = cJSON_GetObjectItemCaseSensitive(c, "comment");
    SCOPED_TRACE(cJSON_IsString(comment) ? comment->valuestring : "(no comment)");
    if (cJSON_IsTrue(cJSON_GetObjectItemCaseSensitive(c, "disabled"))) {
        ++count.disabled;
        return;
    }
    pz::value doc = member(c, "doc"), patch = member(c, "patch"), expected = member(c, "expected");
    const bool wants_error = cJSON_GetObjectItemCaseSensitive(c, "error") != nullptr;
    const bool wants_value = cJSON_GetObjectItemCaseSensitive(c, "expected") != nullptr;
    if (!doc.has_value() || !patch.has_value()) {
        ++count.empty_key;  // the document itself holds an empty key
        return;
    }
    const pz::value before = doc.copy();
    pz_patch_error_t error;
    const bool applied = pz_variant_patch(doc.get(), patch.get(), &error);
    if (wants_value && !expected.has_value()) {
        // The result would hold an empty key: refused as such.
        ++count.empty_key;
        EXPECT_FALSE(applied);
        EXPECT_EQ(error.code, PZ_PATCH_CANNOT_STORE);
        EXPECT_STREQ(error.reason, "an empty key");
        EXPECT_EQ(doc, before);
        return;
    }
    ++count.run;
    if (wants_error) {
        EXPECT_FALSE(applied) << doc.to_json();
        EXPECT_LT(error.index, std::max<size_t>(patch.size(), 1));
        EXPECT_NE(error.code, PZ_PATCH_OK);
        EXPECT_NE(error.reason[0], '\0');
        EXPECT_EQ(doc, before) << "a refused patch changes nothing";
        return;
    }
    ASSERT_TRUE(applied) << error.index << ": " << error.reason;
    EXPECT_TRUE(error.code == PZ_PATCH_OK && error.reason[0] == '\0');
    if (wants_value) {
        EXPECT_EQ(doc, expected) << doc.to_json();
    }
    pz::value again = before.copy();
    pz::apply_patch(again, pz::diff(before, doc));
    EXPECT_EQ(again, doc);
}

SuiteCount run_suite(const char *file) {
    cJSON *cases = cJSON_Parse(slurp(std::filesystem::path(PZ_PATCH_CASES_DIR) / file).c_str());
    SuiteCount count;
    EXPECT_TRUE(cJSON_IsArray(cases)) << file;
    for (const cJSON *c = cases != nullptr ? cases->child : nullptr; c != nullptr; c = c->next) run_case(c, count);
    cJSON_Delete(cases);
    std::printf("%s: %d cases run, %d disabled, %d with an empty key (refused or unreadable)\n", file,
                count.run, count.disabled, count.empty_key);
    return count;
}

TEST_F(Patch, PassesThePublicSuite) {
    const SuiteCount tests = run_suite("tests.json");
    const SuiteCount rfc = run_suite("rfc_examples.json");
    // 95 and 17 records, as SOURCE.md counts them.
    EXPECT_EQ(tests.run + tests.disabled + tests.empty_key, 95);
    EXPECT_EQ(rfc.run + rfc.disabled + rfc.empty_key, 17);
    EXPECT_LE(tests.empty_key + rfc.empty_key, 4);
}

// ---------------------------------------------------------------------------
// What the suite does not show
// ---------------------------------------------------------------------------

TEST_F(Patch, AFailingOperationLeavesTheDocumentAndItsRecordsAsTheyWere) {
    pz::value doc = json(R"({"a": {"b": [1, 2]}, "c": "x"})");
    const pz::value inner = doc["a"]["b"];
    const pz::value before = doc.copy();
    const pz::value patch = json(R"([{"op": "add", "path": "/a/b/-", "value": 3},
                                     {"op": "remove", "path": "/c"},
                                     {"op": "move", "from": "/a/b", "path": "/d"},
                                     {"op": "test", "path": "/a/b", "value": [1, 2, 3]}])");
    pz_patch_error_t error;
    EXPECT_FALSE(pz_variant_patch(doc.get(), patch.get(), &error));
    EXPECT_EQ(error.code, PZ_PATCH_NO_TARGET);
    EXPECT_EQ(error.index, 3u);
    EXPECT_STREQ(error.reason, "path names no value");
    EXPECT_EQ(doc, before);
    EXPECT_EQ(inner.size(), 2u);
    EXPECT_EQ(doc["a"]["b"].get(), inner.get());
    try {
        pz::apply_patch(doc, json(R"([{"op": "remove", "path": "/c"}, {"op": "test", "path": "/c", "value": 1}])"));
        ADD_FAILURE() << "applied";
    } catch (const pz::patch_error &e) {
        EXPECT_EQ(e.index(), 1u);
        EXPECT_EQ(e.code(), PZ_PATCH_NO_TARGET);
    }
    EXPECT_EQ(doc, before);
}

TEST_F(Patch, AppliedChangesShowThroughHandlesIntoTheDocument) {
    pz::value doc = json(R"({"a": {"b": [1, 2]}, "list": [{"k": 1}], "c": "x"})");
    pz_variant_t *const record = doc.get();
    const pz::value a = doc["a"], b = doc["a"]["b"], element = doc["list"][0];
    pz::apply_patch(doc, json(R"([{"op": "add", "path": "/a/b/1", "value": 9},
                                 {"op": "add", "path": "/a/new", "value": true},
                                 {"op": "move", "from": "/list/0", "path": "/a/moved"},
                                 {"op": "replace", "path": "/a/moved/k", "value": 2},
                                 {"op": "copy", "from": "/a/b", "path": "/c"}])"));
    EXPECT_EQ(doc.get(), record);
    EXPECT_EQ(b, json("[1, 9, 2]"));
    EXPECT_EQ(a["new"], pz::value(true));
    // A moved value is the same record, changed where it went.
    EXPECT_EQ(doc["a"]["moved"].get(), element.get());
    EXPECT_EQ(element, json(R"({"k": 2})"));
    EXPECT_EQ(doc["list"].size(), 0u);
    // A copy is a value of its own.
    EXPECT_EQ(doc["c"], b);
    EXPECT_NE(doc["c"].get(), b.get());
    EXPECT_EQ(doc, json(R"({"a": {"b": [1, 9, 2], "new": true, "moved": {"k": 2}}, "list": [], "c": [1, 9, 2]})"));
}

TEST_F(Patch, TheWholeDocumentIsReplacedInItsRecord) {
    pz::value doc = json(R"({"a": [1]})");
    pz_variant_t *const record = doc.get();
    const pz::value held = doc["a"];
    pz::apply_patch(doc, json(R"([{"op": "replace", "path": "", "value": "text"}])"));
    EXPECT_EQ(doc.get(), record);
    EXPECT_EQ(doc, pz::value("text"));
    EXPECT_EQ(held, json("[1]")) << "a handle to what was removed keeps it";
    pz::apply_patch(doc, json(R"([{"op": "add", "path": "", "value": {"x": [1]}},
                                 {"op": "move", "from": "/x", "path": ""},
                                 {"op": "add", "path": "/-", "value": 2}])"));
    EXPECT_EQ(doc.get(), record);
    EXPECT_EQ(doc, json("[1, 2]"));
    pz_patch_error_t error;
    EXPECT_FALSE(pz_variant_patch(doc.get(), json(R"([{"op": "remove", "path": ""}])").get(), &error));
    EXPECT_EQ(error.code, PZ_PATCH_CANNOT_STORE);
    // An owned or shared pointer needs a record of its own size.
    pz::value patch = json(R"([{"op": "replace", "path": "", "value": null}])");
    int object = 0;
    patch[0].set("value", pz::value::adopt(pz_variant_sharedptr_new(&object, CallbackLog::ref, CallbackLog::unref)));
    EXPECT_FALSE(pz_variant_patch(doc.get(), patch.get(), &error));
    EXPECT_EQ(error.code, PZ_PATCH_CANNOT_STORE);
    EXPECT_EQ(doc, json("[1, 2]"));
}

TEST_F(Patch, TestComparesNumbersByValueAndEverythingElseByKind) {
    pz::value doc = json(R"({"n": 1, "d": 1.0, "big": 18446744073709551615, "s": "1", "x": null})");
    doc.set("byte", uint8_t{1});
    auto passes = [&](const char *path, const char *value) {
        const std::string text = std::string(R"([{"op": "test", "path": ")") + path + R"(", "value": )" + value + "}]";
        return pz_variant_patch(doc.get(), json(text.c_str()).get(), nullptr);
    };
    EXPECT_TRUE(passes("/n", "1.0"));
    EXPECT_TRUE(passes("/d", "1"));
    EXPECT_TRUE(passes("/byte", "1"));
    EXPECT_TRUE(passes("/big", "18446744073709551615"));
    EXPECT_FALSE(passes("/big", "-1"));
    EXPECT_FALSE(passes("/big", "18446744073709551614"));
    EXPECT_FALSE(passes("/n", "1.5"));
    EXPECT_FALSE(passes("/s", "1"));
    EXPECT_FALSE(passes("/n", "\"1\""));
    EXPECT_TRUE(passes("/x", "null"));
    EXPECT_FALSE(passes("/x", "false"));
    EXPECT_TRUE(passes("", R"({"x": null, "s": "1", "big": 18446744073709551615, "d": 1, "n": 1.0, "byte": 1})"));
}

TEST_F(Patch, AContainerHeldTwiceChangesInBothPlaces) {
    pz::value shared = json("[1]");
    pz::value doc = pz::dict({{"a", shared}, {"b", shared}});
    pz::apply_patch(doc, json(R"([{"op": "add", "path": "/a/-", "value": 2},
                                 {"op": "test", "path": "/b", "value": [1, 2]},
                                 {"op": "add", "path": "/b/-", "value": 3}])"));
    EXPECT_EQ(shared, json("[1, 2, 3]"));
    EXPECT_EQ(doc["a"].get(), shared.get());
    EXPECT_EQ(doc["b"].get(), shared.get());
}

TEST_F(Patch, MalformedOperationsAreNamed) {
    const struct {
        const char *patch;
        pz_patch_code code;
        const char *reason;
    } cases[] = {
        {R"({"op": "add"})", PZ_PATCH_MALFORMED, "the patch is not an array"},
        {R"([1])", PZ_PATCH_MALFORMED, "an operation is not a dictionary"},
        {R"([{"path": "/a"}])", PZ_PATCH_MALFORMED, "missing op"},
        {R"([{"op": 1, "path": "/a"}])", PZ_PATCH_MALFORMED, "op is not a string"},
        {R"([{"op": "add", "path": "a", "value": 1}])", PZ_PATCH_MALFORMED, "malformed pointer"},
        {R"([{"op": "add", "path": "/a~2", "value": 1}])", PZ_PATCH_MALFORMED, "malformed pointer"},
        {R"([{"op": "add", "path": "/a\u0000b", "value": 1}])", PZ_PATCH_MALFORMED, "path is not a string"},
        {R"([{"op": "move", "from": "/a", "path": "/a/b"}])", PZ_PATCH_CANNOT_STORE, "move into its own child"},
        {R"([{"op": "copy", "from": "/zz", "path": "/b"}])", PZ_PATCH_NO_TARGET, "from names no value"},
        {R"([{"op": "add", "path": "/a/x/y", "value": 1}])", PZ_PATCH_NO_TARGET, "path names no place in a container"},
        {R"([{"op": "add", "path": "/l/3", "value": 1}])", PZ_PATCH_NO_TARGET, "index out of range"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.patch);
        pz::value doc = json(R"({"a": {"x": 1}, "l": [1]})");
        pz_patch_error_t error;
        EXPECT_FALSE(pz_variant_patch(doc.get(), json(c.patch).get(), &error));
        EXPECT_EQ(error.code, c.code);
        EXPECT_STREQ(error.reason, c.reason);
    }
    pz_patch_error_t error;
    EXPECT_FALSE(pz_variant_patch(nullptr, nullptr, &error));
    EXPECT_EQ(error.code, PZ_PATCH_INVALID_ARGUMENT);
}

// ---------------------------------------------------------------------------
// Diff
// ---------------------------------------------------------------------------

TEST_F(Patch, DiffIsShortWhereTheValuesAgree) {
    EXPECT_EQ(pz::diff(json(R"({"a": [1, 2]})"), json(R"({"a": [1, 2]})")).size(), 0u);
    EXPECT_EQ(pz::diff(json(R"([1, 2, 3, 4])"), json(R"([1, 2, 9, 3, 4])")),
              json(R"([{"op": "add", "path": "/2", "value": 9}])"));
    EXPECT_EQ(pz::diff(json(R"([1, 2, 3, 4])"), json(R"([1, 4])")),
              json(R"([{"op": "remove", "path": "/1"}, {"op": "remove", "path": "/1"}])"));
    EXPECT_EQ(pz::diff(json(R"({"a/b": {"~": 1}, "gone": 0})"), json(R"({"a/b": {"~": 1.0}, "new": 0})")),
              json(R"([{"op": "replace", "path": "/a~1b/~0", "value": 1.0},
                       {"op": "remove", "path": "/gone"}, {"op": "add", "path": "/new", "value": 0}])"));
    EXPECT_EQ(pz::diff(json("[1]"), json(R"({"0": 1})")), json(R"([{"op": "replace", "path": "", "value": {"0": 1}}])"));
    pz::value loop = json("{}");
    loop.set("self", loop);
    EXPECT_THROW(pz::diff(json("{}"), loop), pz::error);
    EXPECT_THROW(pz::diff(loop, loop), pz::error);
    loop.erase("self");
}

// A random value of the kinds plain JSON keeps (with `other_kinds`, some
// that only MessagePack and the dump keep), `depth` levels at most.
class value_maker {
public:
    explicit value_maker(unsigned seed, bool other_kinds) : rng_(seed), other_kinds_(other_kinds) {}

    pz::value make(int depth) {
        switch (pick(depth > 0 ? 9 : 7)) {
            case 0: return pz::value::null();
            case 1: return pz::value(pick(2) == 1);
            case 2: return pz::value(static_cast<int64_t>(pick(7)) - 3);
            case 3: return pz::value(static_cast<double>(pick(5)) / 4);
            case 4: return pz::value(std::string(pick(3), static_cast<char>('a' + pick(3))));
            case 5: return other_kinds_ ? pz::value(static_cast<int8_t>(pick(3))) : pz::value(int64_t{7});
            case 6: return other_kinds_ ? pz::value::bytes("\x01\x02", pick(3)) : pz::value("~/");
            case 7: {
                pz::value a = pz::array({});
                for (int n = pick(5); n > 0; --n) a.push_back(make(depth - 1));
                return a;
            }
            default: {
                pz::value d = pz::dict({});
                for (int n = pick(5); n > 0; --n) d.set(key(), make(depth - 1));
                return d;
            }
        }
    }

    // A changed copy of `v`: a few edits at random places, or anything.
    pz::value changed(const pz::value &v, int depth) {
        if (pick(8) == 0) return make(depth);
        pz::value out = v.copy();
        if (out.kind() == pz::kind::array && out.size() > 0) {
            const uint32_t i = pick(out.size());
            pz_variant_t *slot = pz_variant_array_index(out.get(), i);
            pz::value element = pz::value::adopt(slot);
            switch (pick(3)) {
                case 0: pz_variant_array_remove(out.get(), i); break;
                case 1: pz_variant_array_insert(out.get(), i, make(depth - 1).get()); break;
                default: pz_variant_array_set(out.get(), i, changed(element, depth - 1).get()); break;
            }
        } else if (out.kind() == pz::kind::dict) {
            const std::string k = key();
            if (pick(3) == 0) {
                out.erase(k);
            } else {
                out.set(k, out.contains(k) ? changed(out[k], depth - 1) : make(depth - 1));
            }
        } else if (pick(2) == 0) {
            return make(depth);
        }
        return out;
    }

private:
    uint32_t pick(uint32_t n) { return std::uniform_int_distribution<uint32_t>(0, n - 1)(rng_); }
    std::string key() { return std::string(1, "ab/~"[pick(4)]) + std::string(pick(2), 'k'); }

    std::mt19937 rng_;
    bool other_kinds_;
};

// diff(a, b) applied to a gives b, for a and b alike and unlike; the patch
// also goes through its JSON text when the values are plain JSON.
void expect_diff_round_trips(bool other_kinds) {
    value_maker maker(other_kinds ? 7 : 11, other_kinds);
    for (int i = 0; i < 1500; ++i) {
        const pz::value a = maker.make(4);
        pz::value b = maker.changed(a, 4);
        for (int n = i % 4; n > 0; --n) b = maker.changed(b, 4);
        SCOPED_TRACE(a.dump() + " to " + b.dump());
        const pz::value patch = pz::diff(a, b);
        pz::value patched = a.copy();
        pz::apply_patch(patched, patch);
        ASSERT_EQ(patched, b) << patch.to_json();
        EXPECT_EQ(pz::diff(b, b).size(), 0u);
        if (other_kinds) continue;
        patched = a.copy();
        pz::apply_patch(patched, pz::from_json(patch.to_json()));
        ASSERT_EQ(patched, b);
    }
}

TEST_F(Patch, DiffThenPatchGivesTheSecondValueOfRandomPairs) { expect_diff_round_trips(false); }
TEST_F(Patch, DiffThenPatchKeepsEveryKind) { expect_diff_round_trips(true); }

}  // namespace
