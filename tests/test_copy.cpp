// Deep copy and merge: independence of the copy, pointer rules, self-copies
// and what a copied container does with an element it cannot copy.

#include "pz_test.h"
#include "containers/arrays.h"
#include "containers/dicts.h"

namespace {

using Copy = LeakCheckedTest;
using pz::array_at;

// Copies own their bytes and leaves, leave empty slots out and give a raw
// pointer no length; merging a text into a value stops at its first NUL.
TEST_F(Copy, CopiesShareNothingAndDropWhatCannotBeWritten) {
    int object = 0;
    pz_variant_t *sized = pz_variant_ptr_new(&object), *text = vstr_sized_new("ab\0cd", 5);
    sized->len = 9;
    pz_variant_t *src = pz_variant_pack("i-c", int32_t{7}, "t");
    pz_variant_array_append(src, sized);
    append_new(src, pz_variant_pack("i", int32_t{1}));
    pz_variant_array_append(src, text);
    pz_variant_t *d = pz_variant_dup(src);
    ASSERT_EQ(pz_variant_array_size(d), 5u) << "the empty slot is left out";
    EXPECT_TRUE(pz_variant_equal(array_at(d, 4), text)) << "every byte, past the NUL too";
    EXPECT_STREQ(array_at(d, 1)->str_val, "t");
    EXPECT_NE(array_at(d, 1)->str_val, array_at(src, 2)->str_val);
    EXPECT_TRUE(array_at(d, 2)->ptr_val == &object && array_at(d, 2)->len == 0u);
    EXPECT_NE(array_at(array_at(d, 3), 0), array_at(array_at(src, 4), 0));
    pz_variant_t *target = pz_variant_int32_new(1);
    EXPECT_EQ(pz_variant_concat(target, text), target);
    EXPECT_EQ(std::string(target->str_val, target->len + 1), std::string("ab", 3));
    EXPECT_EQ(pz_variant_dup(nullptr), nullptr);
    EXPECT_EQ(pz_variant_concat(target, nullptr), nullptr);
    for (pz_variant_t *v : {d, src, target, text, sized}) pz_variant_unref(v);
    // A table copied as it stands, and one with the hole an erase leaves:
    // each copy finds every key and still grows.
    pz_variant_t *dict = pz_variant_dict_new();
    vdict_set_int32(dict, "a", 1);
    vdict_set_int32(dict, "b", 2);
    for (const char *erased : {"", "a"}) {
        pz_variant_dict_erase(dict, erased);
        pz_variant_t *copy = pz_variant_dup(dict);
        vdict_set_int32(copy, "c", 3);
        EXPECT_EQ(vdict_int32_default(copy, "b", 0) + vdict_int32_default(copy, "c", 0), 5);
        EXPECT_EQ(pz_variant_dict_size(copy), *erased != '\0' ? 2u : 3u);
        pz_variant_unref(copy);
    }
    pz_variant_unref(dict);
}

TEST_F(Copy, OwnedPointersAreSharedAndSharedPointersReferenced) {
    int a = 0, b = 0;
    pz_variant_t *owned = pz_variant_autoptr_new(&a, CallbackLog::dtor);
    pz_variant_t *list = pz_variant_array_new();
    pz_variant_array_append(list, owned);
    pz_variant_t *list_copy = pz_variant_dup(list);
    EXPECT_EQ(array_at(list_copy, 0), owned) << "one owner: the copy holds the same record";
    pz_variant_t *number = pz_variant_int32_new(5);
    EXPECT_EQ(pz_variant_concat(number, owned), nullptr);
    EXPECT_EQ(pz_variant_concat(owned, owned), nullptr);
    EXPECT_EQ(number->int32_val, 5);
    for (pz_variant_t *v : {list_copy, list, owned, number}) pz_variant_unref(v);
    EXPECT_EQ(CallbackLog::dtor_calls, 1);

    pz_variant_t *shared = pz_variant_sharedptr_new(&a, CallbackLog::ref, CallbackLog::unref);
    pz_variant_t *d = pz_variant_dup(shared);
    EXPECT_EQ(CallbackLog::ref_calls, 2);
    EXPECT_EQ(pz_variant_concat(shared, shared), shared);
    // Into a shared pointer: the same record drops b and takes a.
    pz_variant_t *holds_b = pz_variant_sharedptr_new(&b, CallbackLog::ref, CallbackLog::unref);
    EXPECT_EQ(pz_variant_concat(holds_b, shared), holds_b);
    EXPECT_EQ(CallbackLog::last_unref_arg, &b);
    EXPECT_EQ(holds_b->ptr_val, &a);
    for (pz_variant_t *v : {holds_b, d, shared}) pz_variant_unref(v);
    EXPECT_EQ(CallbackLog::unref_calls, CallbackLog::ref_calls);
}

// The concat and merge rules, on values read from dump texts, some merged
// into themselves.
TEST_F(Copy, CaseFilesMergeAsListed) {
    for (const bool patch : {false, true}) {
        for_each_case(patch ? "merge_cases.txt" : "concat_cases.txt", [patch](const std::vector<std::string> &f) {
            ASSERT_EQ(f.size(), 3u);
            pz_variant_t *target = case_value(f[0]);
            pz_variant_t *other = f[1] == "self" ? pz_variant_ref(target) : case_value(f[1]);
            ASSERT_TRUE(target != nullptr && other != nullptr);
            if (patch) {
                EXPECT_TRUE(pz_variant_merge_patch(target, other));
            } else {
                EXPECT_EQ(pz_variant_concat(target, other), target);
            }
            EXPECT_EQ(dumped(target), f[2]);
            for (pz_variant_t *v : {target, other}) pz_variant_unref(v);
        });
    }
}

// `other` inside `v`: the change of kind releases what `v` held, so the
// merge must not read `other` through it. Into another kind a shared pointer
// takes a new record and consumes the caller's reference to the target.
TEST_F(Copy, MergingAValueFromInsideTheTarget) {
    int object = 0;
    pz_variant_t *inner = pz_variant_pack("ii", int32_t{1}, int32_t{2}), *v = pz_variant_dict_new();
    put_new(v, "k", inner);
    EXPECT_EQ(pz_variant_concat(v, inner), v);
    EXPECT_EQ(varray_int32(v, 1), 2);
    EXPECT_EQ(pz_variant_concat(v, v), v);
    EXPECT_NE(array_at(v, 2), array_at(v, 0)) << "merged into itself, an array appends copies";
    pz_variant_array_clear(v);
    append_new(v, pz_variant_sharedptr_new(&object, CallbackLog::ref, CallbackLog::unref));
    pz_variant_t *replacement = pz_variant_concat(v, array_at(v, 0));
    ASSERT_NE(replacement, nullptr);
    EXPECT_EQ(replacement->ptr_val, &object);
    pz_variant_unref(replacement);
    EXPECT_EQ(CallbackLog::ref_calls, CallbackLog::unref_calls);
}

// A new array has its storage or is not made (the allocation sweep checks
// that a copy is whole or none).
TEST_F(Copy, ANewArrayShortOfMemoryIsNoArray) {
    EXPECT_GT(sweep_alloc_failures([] {
                  pz_variant_t *a = pz_variant_array_new();
                  EXPECT_TRUE(a == nullptr || pz::array_of(a) != nullptr);
                  pz_variant_unref(a);
              }),
              0);
}

// What a copy rightly leaves out (an empty slot, a raw pointer's length) is
// no reason to refuse a patch: stored under a key, replacing the target, or
// merged into itself.
TEST_F(Copy, MergePatchTakesWhatACopyLeavesOut) {
    int object = 0;
    pz_variant_t *target = pz_variant_dict_new(), *patch = pz_variant_dict_new();
    vdict_set_sized_ptr(patch, "p", &object, 12);
    put_new(patch, "l", pz_variant_pack("i-", int32_t{5}));
    ASSERT_TRUE(pz_variant_merge_patch(target, patch));
    EXPECT_EQ(vdict_ptr_default(target, "p", nullptr), &object);
    EXPECT_EQ(dumped(pz::dict_find(target, "l")), R"({"array":[{"int32":5}]})");
    pz_variant_t *number = pz_variant_int32_new(1), *hole = pz_variant_pack("-");
    ASSERT_TRUE(pz_variant_merge_patch(number, hole));
    EXPECT_EQ(dumped(number), R"({"array":[]})");
    pz_variant_t *slots = pz_variant_pack("i-", int32_t{1});
    ASSERT_TRUE(pz_variant_merge_patch(slots, slots));
    EXPECT_EQ(dumped(slots), R"({"array":[{"int32":1}]})");
    for (pz_variant_t *v : {target, patch, number, hole, slots}) pz_variant_unref(v);
}

// One dictionary under two keys of the target: the merge goes entry by entry,
// each step seeing what the ones before it changed, removals included.
TEST_F(Copy, MergePatchThroughTwoKeysToOneDictionary) {
    for_each_case("merge_shared_cases.txt", [](const std::vector<std::string> &s) {
        ASSERT_EQ(s.size(), 3u);
        // All or nothing also when the n-th allocation fails.
        for (long n = 1, failed = 1; failed != 0; ++n) {
            pz_variant_t *target = pz_variant_dict_new(), *shared = case_value(s[0]), *patch = case_value(s[1]);
            pz_variant_dict_put(target, "x", shared);
            pz_variant_dict_put(target, "y", shared);
            failed = hal_failed_mallocs();
            hal_fail_nth(n, 0);
            const bool merged = pz_variant_merge_patch(target, patch);
            hal_fail_nth(0, 0);
            failed = hal_failed_mallocs() - failed;
            EXPECT_EQ(dumped(shared), merged ? s[2] : s[0]) << "allocation " << n << " failing";
            EXPECT_EQ(pz::dict_find(target, "x"), shared);
            for (pz_variant_t *v : {target, shared, patch}) pz_variant_unref(v);
        }
    });
}

}  // namespace
