// Dictionary values: entry references, replacement, order, guards, nested
// children and allocation failure.
#include <string>
#include <vector>

#include "pz_test.h"

namespace {

class Dicts : public LeakCheckedTest {
protected:
    void SetUp() override {
        LeakCheckedTest::SetUp();
        CallbackLog::reset();
    }
};

bool collect_key(void *key, void *, void *user) {
    static_cast<std::vector<std::string> *>(user)->push_back(static_cast<pz_string_t *>(key)->cstr);
    return true;
}

std::vector<std::string> keys_of(pz_variant_t *dict) {
    std::vector<std::string> keys;
    pz_variant_dict_foreach(dict, collect_key, &keys);
    return keys;
}

TEST_F(Dicts, PutTakesItsOwnReferenceAndReplaces) {
    pz_variant_t *d = pz_variant_dict_new();
    ASSERT_NE(d, nullptr);
    pz_variant_t *first = pz_variant_int32_new(1);
    pz_variant_t *second = pz_variant_int32_new(2);
    pz_variant_dict_put(d, "k", first);
    EXPECT_EQ(refcount(first), 2);
    pz_variant_dict_put(d, "k", second);
    EXPECT_EQ(pz_variant_dict_size(d), 1u);
    EXPECT_EQ(refcount(first), 1) << "the replaced value lost the dictionary's reference";

    pz_variant_unref(second);  // the dictionary holds its only reference
    pz_variant_dict_put(d, "k", second);
    EXPECT_EQ(refcount(second), 1) << "putting the stored value again keeps it alive";

    pz_variant_t *got = pz_variant_dict_get(d, "k");
    EXPECT_EQ(got, second);
    EXPECT_EQ(refcount(second), 2);
    pz_variant_unref(got);
    EXPECT_EQ(refcount(second), 1);
    pz_variant_unref(first);
    pz_variant_unref(d);
}

TEST_F(Dicts, LookupsAllocateNothing) {
    pz_variant_t *d = pz_variant_dict_new();
    pz_variant_t *v = pz_variant_bool_new(true);
    pz_variant_dict_put(d, "present", v);
    const long mallocs = hal_malloc_calls();
    pz_variant_unref(pz_variant_dict_get(d, "present"));
    EXPECT_TRUE(pz_variant_dict_contains(d, "present"));
    EXPECT_FALSE(pz_variant_dict_contains(d, "absent"));
    EXPECT_EQ(pz_variant_dict_get(d, "absent"), nullptr);
    EXPECT_FALSE(pz_variant_dict_erase(d, "absent"));
    EXPECT_TRUE(pz_variant_dict_erase(d, "present"));
    EXPECT_EQ(hal_malloc_calls(), mallocs);
    EXPECT_EQ(refcount(v), 1);
    EXPECT_EQ(pz_variant_dict_size(d), 0u);
    pz_variant_unref(v);
    pz_variant_unref(d);
}

TEST_F(Dicts, BadArgumentsChangeNothing) {
    pz_variant_t *v = pz_variant_int32_new(3);
    pz_variant_t *arr = pz_variant_array_new();
    pz_variant_t *d = pz_variant_dict_new();
    hal_fail_nth(2, 0);  // the table, after the record
    pz_variant_t *tableless = pz_variant_dict_new();
    ASSERT_NE(tableless, nullptr);
    EXPECT_EQ(tableless->ptr_val, nullptr);

    pz_variant_dict_put(d, "k", nullptr);
    pz_variant_dict_put(d, nullptr, v);
    pz_variant_dict_put(d, "", v);
    EXPECT_EQ(pz_variant_dict_size(d), 0u);
    EXPECT_EQ(pz_variant_dict_get(d, ""), nullptr);
    EXPECT_FALSE(pz_variant_dict_contains(d, nullptr));
    EXPECT_FALSE(pz_variant_dict_erase(d, nullptr));

    int calls = 0;
    auto count = [](void *, void *, void *user) {
        ++*static_cast<int *>(user);
        return true;
    };
    for (pz_variant_t *bad : {static_cast<pz_variant_t *>(nullptr), v, arr, tableless}) {
        pz_variant_dict_put(bad, "k", v);
        EXPECT_EQ(pz_variant_dict_get(bad, "k"), nullptr);
        EXPECT_FALSE(pz_variant_dict_contains(bad, "k"));
        EXPECT_FALSE(pz_variant_dict_erase(bad, "k"));
        EXPECT_EQ(pz_variant_dict_size(bad), 0u);
        EXPECT_EQ(pz_variant_dict_clear(bad), bad);
        pz_variant_dict_foreach(bad, count, &calls);
    }
    pz_variant_dict_foreach(d, nullptr, nullptr);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(refcount(v), 1);
    EXPECT_EQ(v->int32_val, 3);
    for (pz_variant_t *x : {v, arr, d, tableless}) pz_variant_unref(x);
}

TEST_F(Dicts, WalksFollowInsertionOrderThroughEraseAndReplace) {
    pz_variant_t *d = pz_variant_dict_new();
    pz_variant_t *v = pz_variant_int8_new(1);
    for (const char *k : {"a", "b", "c", "d"}) pz_variant_dict_put(d, k, v);
    EXPECT_EQ(refcount(v), 5);
    EXPECT_TRUE(pz_variant_dict_erase(d, "b"));
    EXPECT_EQ(refcount(v), 4);
    pz_variant_dict_put(d, "a", v);  // a replaced key keeps its place
    pz_variant_dict_put(d, "b", v);  // a key put back goes last
    EXPECT_EQ(keys_of(d), (std::vector<std::string>{"a", "c", "d", "b"}));

    int seen = 0;
    pz_variant_dict_foreach(
        d,
        [](void *, void *, void *user) {
            ++*static_cast<int *>(user);
            return false;
        },
        &seen);
    EXPECT_EQ(seen, 1) << "a false result ends the walk";

    EXPECT_EQ(pz_variant_dict_clear(d), d);
    EXPECT_EQ(pz_variant_dict_size(d), 0u);
    EXPECT_EQ(refcount(v), 1);
    pz_variant_dict_put(d, "again", v);
    EXPECT_EQ(keys_of(d), std::vector<std::string>{"again"});
    pz_variant_unref(v);
    pz_variant_unref(d);
}

TEST_F(Dicts, ReplacedAndErasedPointersRunTheirCallbacks) {
    static int object;
    pz_variant_t *d = pz_variant_dict_new();
    pz_variant_t *owned = pz_variant_autoptr_new(&object, CallbackLog::dtor);
    pz_variant_t *shared = pz_variant_sharedptr_new(&object, CallbackLog::ref, CallbackLog::unref);
    pz_variant_dict_put(d, "owned", owned);
    pz_variant_dict_put(d, "shared", shared);
    pz_variant_unref(owned);
    pz_variant_unref(shared);
    EXPECT_EQ(CallbackLog::dtor_calls + CallbackLog::unref_calls, 0);

    pz_variant_t *other = pz_variant_int32_new(0);
    pz_variant_dict_put(d, "owned", other);
    EXPECT_EQ(CallbackLog::dtor_calls, 1) << "replacing the last reference destroys";
    pz_variant_dict_erase(d, "shared");
    EXPECT_EQ(CallbackLog::unref_calls, 1);
    EXPECT_EQ(CallbackLog::ref_calls, 1);
    pz_variant_unref(other);
    pz_variant_unref(d);
}

TEST_F(Dicts, ChildIsFoundOrMadeAndAttached) {
    pz_variant_t *d = pz_variant_dict_new();
    pz_variant_t *child = vdict_child(d, "sub");
    ASSERT_NE(child, nullptr);
    EXPECT_EQ(child->vt, vtype_dict);
    EXPECT_EQ(refcount(child), 2);
    EXPECT_EQ(vdict_child(d, "sub"), child) << "the second call finds it";
    EXPECT_EQ(refcount(child), 3);
    pz_variant_unref(child);
    pz_variant_unref(child);

    pz_variant_t *n = pz_variant_int32_new(9);
    pz_variant_dict_put(d, "number", n);
    EXPECT_EQ(vdict_child(d, "number"), nullptr);
    EXPECT_EQ(refcount(n), 2) << "the integer stays stored";

    pz_variant_t *arr = pz_variant_array_new();
    for (pz_variant_t *parent : {static_cast<pz_variant_t *>(nullptr), arr, d}) {
        pz_variant_t *loose = vdict_child(parent, parent == d ? "" : "sub");
        ASSERT_NE(loose, nullptr);
        EXPECT_EQ(refcount(loose), 1) << "attached to nothing";
        EXPECT_EQ(pz_variant_dict_size(loose), 0u);
        pz_variant_unref(loose);
    }
    EXPECT_EQ(pz_variant_dict_size(d), 2u);
    for (pz_variant_t *x : {n, arr, d}) pz_variant_unref(x);
}

// Under every allocation failure, the dictionary holds exactly one
// reference per entry, and a child is attached or returned alone.
TEST_F(Dicts, AllocationFailureLeavesCountsExact) {
    pz_variant_t *value = pz_variant_str_new("value");
    const int put_failures = sweep_alloc_failures([&] {
        pz_variant_t *d = pz_variant_dict_new();
        for (int i = 0; i < 12; ++i) pz_variant_dict_put(d, std::to_string(i).c_str(), value);
        EXPECT_EQ(refcount(value), 1 + static_cast<long>(pz_variant_dict_size(d)));
        pz_variant_unref(d);
    });
    EXPECT_GE(put_failures, 4) << "record, table, keys and growth can each fail";

    const int child_failures = sweep_alloc_failures([&] {
        pz_variant_t *d = pz_variant_dict_new();
        pz_variant_t *child = vdict_child(d, "sub");
        if (child != nullptr) {
            EXPECT_EQ(refcount(child), pz_variant_dict_contains(d, "sub") ? 2 : 1);
        }
        pz_variant_unref(child);
        pz_variant_unref(d);
    });
    EXPECT_GE(child_failures, 4);
    EXPECT_EQ(refcount(value), 1);
    pz_variant_unref(value);
}

}  // namespace
