// JSON Patch and diff: the public json-patch-tests suite and the library's
// own cases in its form (patch_cases/), what neither can say about this
// library (all or nothing, records kept, kinds), and diff round trips over
// random pairs of values.
#include <cjson/cJSON.h>

#include <functional>
#include <random>

#include "pz_test.h"
#include "pzvariant/pz_variant.hpp"

namespace {

using Patch = LeakCheckedTest;

pz::value json(const char *text) { return pz::from_json(text); }

struct SuiteCount {
    int run = 0, disabled = 0, empty_key = 0;
};

// One case: with "expected", applied it gives that value (and the diff of
// the document before and after turns one into the other); with "error",
// refused in C and in C++ alike and the document untouched, with the
// "code", "reason" and operation "index" given; with neither, applied.
// With "is_diff", the patch is the diff of the document before and after.
// Members our reader could not take (they hold an empty key) are named
// under "unreadable".
void run_case(pz::view c, SuiteCount &count) {
    SCOPED_TRACE(c["comment"].value_or("(no comment)"));
    const auto has = [&](const char *name) {
        return c.contains(name) || std::ranges::any_of(c["unreadable"], [&](pz::view v) { return v == name; });
    };
    if (c["disabled"] == true) {
        ++count.disabled;
        return;
    }
    pz::value doc = c["doc"];
    const pz::value patch = c["patch"], expected = c["expected"], code = c["code"], reason = c["reason"], index = c["index"];
    if (!doc.has_value() || !patch.has_value()) {
        ++count.empty_key;  // the document itself holds an empty key
        return;
    }
    doc = doc.copy();
    const pz::value before = doc.copy();
    pz_patch_error_t error;
    const bool applied = pz_variant_patch(doc.get(), patch.get(), &error);
    if (has("expected") && !expected.has_value()) {
        // The result would hold an empty key: refused as such.
        ++count.empty_key;
        EXPECT_FALSE(applied);
        EXPECT_EQ(error.code, PZ_PATCH_CANNOT_STORE);
        EXPECT_STREQ(error.reason, "an empty key");
        EXPECT_EQ(doc, before);
        return;
    }
    ++count.run;
    if (has("error")) {
        static const char *const kCodes[] = {"OK", "MALFORMED", "NO_TARGET", "CANNOT_STORE", "TEST_FAILED"};
        EXPECT_FALSE(applied) << doc.to_json();
        EXPECT_LT(error.index, std::max<size_t>(patch.size(), 1));
        EXPECT_NE(error.code, PZ_PATCH_OK);
        EXPECT_NE(error.reason[0], '\0');
        EXPECT_TRUE(!code.has_value() || (error.code < std::size(kCodes) && code == kCodes[error.code])) << error.code;
        EXPECT_TRUE(!reason.has_value() || reason == error.reason) << error.reason;
        EXPECT_TRUE(!index.has_value() || index == static_cast<int64_t>(error.index)) << error.index;
        const auto e = caught<pz::patch_error>([&] { pz::apply_patch(doc, patch); });
        EXPECT_TRUE(e && e->index() == error.index && e->code() == error.code && e->what() == std::string(error.reason));
        EXPECT_EQ(doc, before) << "a refused patch changes nothing, in C or C++";
        return;
    }
    ASSERT_TRUE(applied) << error.index << ": " << error.reason;
    EXPECT_TRUE(error.code == PZ_PATCH_OK && error.reason[0] == '\0');
    if (expected.has_value()) {
        EXPECT_EQ(doc, expected) << doc.to_json();
    }
    if (c["is_diff"] == true) {
        EXPECT_EQ(pz::diff(before, doc), patch);
    }
    pz::value again = before.copy();
    pz::apply_patch(again, pz::diff(before, doc));
    EXPECT_EQ(again, doc);
}

// The records of `file`, read whole by our reader; one that holds an empty
// key anywhere is refused whole, and is split with cJSON, each member read
// on its own.
SuiteCount run_suite(const char *file) {
    const std::string text = slurp(std::filesystem::path(PZ_PATCH_CASES_DIR) / file);
    pz::value records = pz::value::adopt(pz_variant_from_json(text.c_str(), nullptr));
    if (!records.has_value()) {
        cJSON *cases = cJSON_Parse(text.c_str());
        EXPECT_TRUE(cJSON_IsArray(cases)) << file;
        records = pz::array({});
        for (const cJSON *c = cases != nullptr ? cases->child : nullptr; c != nullptr; c = c->next) {
            pz::value record = pz::dict({{"unreadable", pz::array({})}});
            for (const cJSON *m = c->child; m != nullptr; m = m->next) {
                char *member = cJSON_PrintUnformatted(m);
                pz_variant_t *v = pz_variant_from_json(member, nullptr);
                cJSON_free(member);
                if (v != nullptr) {
                    record.set(m->string, pz::value::adopt(v));
                } else {
                    record["unreadable"].push_back(m->string);
                }
            }
            records.push_back(record);
        }
        cJSON_Delete(cases);
    }
    SuiteCount count;
    for (pz::view c : records.elements()) run_case(c, count);
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
    EXPECT_EQ(run_suite("library_cases.json").run, 24);
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

// (library_cases.json holds the rest.)
TEST_F(Patch, TestComparesNumbersByValueAndEverythingElseByKind) {
    pz::value doc = json(R"({"n": 1})");
    doc.set("byte", uint8_t{1});
    EXPECT_TRUE(pz_variant_patch(doc.get(), json(R"([{"op": "test", "path": "/byte", "value": 1},
                                                    {"op": "test", "path": "", "value": {"byte": 1, "n": 1.0}}])").get(),
                                 nullptr));
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

// (library_cases.json holds the other malformed operations.)
TEST_F(Patch, MalformedOperationsAreNamed) {
    pz_patch_error_t error;
    EXPECT_FALSE(pz_variant_patch(json(R"({"a": {"x": 1}})").get(),
                                  json(R"([{"op": "add", "path": "/a\u0000b", "value": 1}])").get(), &error));
    EXPECT_EQ(error.code, PZ_PATCH_MALFORMED);
    EXPECT_STREQ(error.reason, "path is not a string");
    EXPECT_FALSE(pz_variant_patch(nullptr, nullptr, &error));
    EXPECT_EQ(error.code, PZ_PATCH_INVALID_ARGUMENT);
}

// ---------------------------------------------------------------------------
// Diff
// ---------------------------------------------------------------------------

// (library_cases.json has diffs short where the values agree.)
TEST_F(Patch, DiffRefusesAValueHoldingItself) {
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
