// Dictionary values: entry references, replacement, order, guards (with
// the arrays') and nested children.

#include "pz_test.h"

namespace {

using Dicts = LeakCheckedTest;

std::vector<std::string> keys_of(pz_variant_t *dict) {
    std::vector<std::string> keys;
    auto collect = [](void *key, void *, void *out) {
        static_cast<std::vector<std::string> *>(out)->push_back(static_cast<pz_string_t *>(key)->cstr);
        return true;
    };
    pz_variant_dict_foreach(dict, collect, &keys);
    return keys;
}

TEST_F(Dicts, PutTakesItsOwnReferenceAndReplaces) {
    pz_variant_t *d = pz_variant_dict_new();
    pz_variant_t *first = pz_variant_int32_new(1), *second = pz_variant_int32_new(2);
    pz_variant_dict_put(d, "k", first);
    pz_variant_dict_put(d, "k", second);
    EXPECT_EQ(pz_variant_dict_size(d), 1u);
    EXPECT_EQ(refcount(first), 1) << "the replaced value lost the dictionary's reference";
    pz_variant_unref(second);  // the dictionary holds its only reference
    pz_variant_dict_put(d, "k", second);
    EXPECT_EQ(second->int32_val, 2) << "putting the stored value again keeps it alive";
    const long mallocs = hal_malloc_calls();
    pz_variant_t *got = pz_variant_dict_get(d, "k");
    EXPECT_EQ(got, second);
    EXPECT_EQ(refcount(second), 2);
    pz_variant_unref(got);
    EXPECT_FALSE(pz_variant_dict_contains(d, "absent") || pz_variant_dict_erase(d, "absent"));
    EXPECT_EQ(pz_variant_dict_get(d, "absent"), nullptr);
    EXPECT_TRUE(pz_variant_dict_contains(d, "k") && pz_variant_dict_erase(d, "k"));
    EXPECT_EQ(hal_malloc_calls(), mallocs) << "lookups and erasing allocate nothing";
    for (pz_variant_t *v : {first, d}) pz_variant_unref(v);
}

// Calls on no value, on another kind or on a container whose storage could
// not be had change nothing and make nothing: the dictionary calls on all
// but a whole dictionary, the array calls (the format's too, for every entry
// point) on all but a whole array. Nor do bad keys and values.
TEST_F(Dicts, CallsOnTheWrongKindOrWithoutStorageChangeNothing) {
    pz_variant_t *v = pz_variant_int32_new(3), *arr = pz_variant_array_new(), *d = pz_variant_dict_new();
    pz_variant_t *no_table = pz_variant_int32_new(0), *no_storage = pz_variant_int32_new(0);
    hal_fail_nth(1, 0);  // the table
    ASSERT_EQ(pz_variant_change_type(no_table, vtype_dict)->ptr_val, nullptr);
    hal_fail_nth(1, 0);  // the storage
    ASSERT_EQ(pz_variant_change_type(no_storage, vtype_array)->ptr_val, nullptr);
    pz_variant_dict_put(d, "k", nullptr);
    pz_variant_dict_put(d, nullptr, v);
    pz_variant_dict_put(d, "", v);
    EXPECT_EQ(pz_variant_dict_get(d, ""), nullptr);
    EXPECT_FALSE(pz_variant_dict_contains(d, nullptr) || pz_variant_dict_erase(d, nullptr));
    pz_variant_dict_foreach(d, nullptr, nullptr);
    int calls = 0, object = 0;
    auto count = [](void *, void *, void *n) { return ++*static_cast<int *>(n) > 0; };
    const long mallocs = hal_malloc_calls();
    for (pz_variant_t *bad : {static_cast<pz_variant_t *>(nullptr), v, arr, no_table, no_storage, d}) {
        if (bad != d) pz_variant_dict_put(bad, "k", v);
        EXPECT_EQ(pz_variant_dict_get(bad, "k"), nullptr);
        EXPECT_FALSE(pz_variant_dict_contains(bad, "k") || pz_variant_dict_erase(bad, "k"));
        EXPECT_EQ(pz_variant_dict_size(bad), 0u);
        EXPECT_EQ(pz_variant_dict_clear(bad), bad);
        pz_variant_dict_foreach(bad, count, &calls);
        if (bad == arr) continue;
        pz_variant_array_append(bad, v);
        pz_variant_array_prepend(bad, v);
        pz_variant_array_insert(bad, 0, v);
        pz_variant_array_set(bad, 0, v);
        pz_variant_array_remove(bad, 0);
        EXPECT_EQ(pz_variant_array_index(bad, 0), nullptr);
        EXPECT_EQ(pz_variant_array_size(bad), 0u);
        EXPECT_EQ(pz_variant_array_clear(bad), bad);
        pz_variant_array_append_vals(bad, "s", &object, CallbackLog::ref, CallbackLog::unref);
        EXPECT_TRUE(varray_add_dict(bad) == nullptr && varray_add_array(bad) == nullptr);
    }
    EXPECT_EQ(hal_malloc_calls(), mallocs) << "a call that stores nothing makes nothing";
    EXPECT_EQ(CallbackLog::ref_calls, 0) << "nor reads its format's arguments";
    // A pointer given where it cannot be stored goes at once, with its
    // callbacks.
    for (pz_variant_t *bad : {static_cast<pz_variant_t *>(nullptr), v}) {
        varray_add_autoptr(bad, &object, CallbackLog::dtor);
        varray_add_sharedptr(bad, &object, CallbackLog::ref, CallbackLog::unref);
        vdict_set_autoptr(bad, "k", &object, CallbackLog::dtor);
        vdict_set_sharedptr(bad, "k", &object, CallbackLog::ref, CallbackLog::unref);
    }
    vdict_set_autoptr(d, "", &object, CallbackLog::dtor);
    EXPECT_TRUE(CallbackLog::dtor_calls == 5 && CallbackLog::ref_calls == 4 && CallbackLog::unref_calls == 4);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(refcount(v), 1);
    EXPECT_EQ(v->int32_val, 3);
    EXPECT_TRUE(d->vt == vtype_dict && arr->vt == vtype_array);
    for (pz_variant_t *x : {v, arr, d, no_table, no_storage}) pz_variant_unref(x);
}

TEST_F(Dicts, WalksFollowInsertionOrderThroughEraseReplaceAndClear) {
    pz_variant_t *d = pz_variant_dict_new();
    pz_variant_t *v = pz_variant_int8_new(1);
    for (const char *k : {"a", "b", "c", "d"}) pz_variant_dict_put(d, k, v);
    EXPECT_TRUE(pz_variant_dict_erase(d, "b"));
    pz_variant_dict_put(d, "a", v);  // a replaced key keeps its place
    pz_variant_dict_put(d, "b", v);  // a key put back goes last
    EXPECT_EQ(keys_of(d), (std::vector<std::string>{"a", "c", "d", "b"}));
    int seen = 0;
    pz_variant_dict_foreach(d, [](void *, void *, void *n) { return ++*static_cast<int *>(n) < 2; }, &seen);
    EXPECT_EQ(seen, 2) << "a false result ends the walk";
    EXPECT_EQ(pz_variant_dict_clear(d), d);
    EXPECT_EQ(refcount(v), 1) << "clearing drops every entry's reference";
    pz_variant_dict_put(d, "again", v);
    EXPECT_EQ(keys_of(d), std::vector<std::string>{"again"});
    for (pz_variant_t *x : {v, d}) pz_variant_unref(x);
}

TEST_F(Dicts, ChildIsFoundOrMadeAndAttached) {
    pz_variant_t *d = pz_variant_dict_new(), *arr = pz_variant_array_new();
    pz_variant_t *child = vdict_child(d, "sub");
    ASSERT_NE(child, nullptr);
    EXPECT_EQ(child->vt, vtype_dict);
    EXPECT_EQ(vdict_child(d, "sub"), child) << "the second call finds it";
    EXPECT_EQ(refcount(child), 3);
    put_new(d, "number", pz_variant_int32_new(9));
    EXPECT_EQ(vdict_child(d, "number"), nullptr);
    EXPECT_EQ(vdict_int32_default(d, "number", 0), 9) << "the integer stays stored";
    for (pz_variant_t *parent : {static_cast<pz_variant_t *>(nullptr), arr, d}) {
        pz_variant_t *loose = vdict_child(parent, parent == d ? "" : "sub");
        EXPECT_EQ(refcount(loose), 1) << "attached to nothing";
        EXPECT_EQ(loose->vt, vtype_dict);
        pz_variant_unref(loose);
    }
    EXPECT_EQ(pz_variant_dict_size(d), 2u);
    for (pz_variant_t *x : {child, child, arr, d}) pz_variant_unref(x);
}

// A scalar stored from a record of the caller's: only its kind's bytes are
// taken, and a number the dictionary alone holds is rewritten in place. (A
// value held elsewhere too is replaced, not changed under its holder: the
// typed setters decide that alike, checked with the scalars.)
TEST_F(Dicts, PutScalarFromARecordOfTheCallers) {
    pz_variant_t *d = pz_variant_dict_new();
    pz_variant_t junk{};
    junk.uint64_val = ~0ull;
    junk.vt = vtype_int8;
    junk.len = 9;
    ASSERT_TRUE(pz_variant_dict_put_scalar(d, "n", &junk));
    pz_variant_t *stored = pz_variant_dict_find(d, "n");
    const unsigned char zero[7] = {};
    EXPECT_EQ(stored->int8_val, -1);
    EXPECT_EQ(std::memcmp(reinterpret_cast<const char *>(stored) + 1, zero, 7), 0) << "no bytes past an int8";
    EXPECT_EQ(stored->len, 0u);
    pz_variant_t pointer{};
    pointer.ptr_val = d;
    pointer.vt = vtype_ptr;
    pointer.len = 12;
    EXPECT_TRUE(pz_variant_dict_put_scalar(d, "n", &pointer));
    EXPECT_EQ(pz_variant_dict_find(d, "n"), stored) << "rewritten in place";
    EXPECT_TRUE(stored->vt == vtype_ptr && stored->ptr_val == d && stored->len == 12u);


    pz_variant_t *text = pz_variant_str_new("x");
    const std::pair<pz_variant_t *, const char *> refused[] = {{d, ""}, {text, "n"}, {nullptr, "n"}};
    for (const auto &[dict, key] : refused) EXPECT_FALSE(pz_variant_dict_put_scalar(dict, key, &junk));
    EXPECT_FALSE(pz_variant_dict_put_scalar(d, "s", text)) << "a string lives outside the union";
    EXPECT_FALSE(pz_variant_dict_put_scalar(d, "s", nullptr));
    EXPECT_EQ(pz_variant_dict_size(d), 1u);
    for (pz_variant_t *v : {text, d}) pz_variant_unref(v);
}

}  // namespace
