// Array values: element references, order, bounds and clearing.

#include "pz_test.h"

namespace {

using Arrays = LeakCheckedTest;

// The elements of `va`, as pointers, without touching their counts.
std::vector<pz_variant_t *> slots(const pz_variant_t *va) {
    std::vector<pz_variant_t *> out;
    for (uint32_t i = 0; i < pz_variant_array_size(va); ++i) {
        out.push_back(pz_variant_array_index(va, i));
        pz_variant_unref(out.back());
    }
    return out;
}

TEST_F(Arrays, EditsKeepOrderAndOneReferencePerSlot) {
    pz_variant_t *v[4];
    for (int i = 0; i < 4; ++i) v[i] = pz_variant_int32_new(i);
    pz_variant_t *arr = pz_variant_array_new();
    pz_variant_array_append(arr, v[1]);
    pz_variant_array_append(arr, nullptr);
    pz_variant_array_prepend(arr, v[0]);
    pz_variant_array_insert(arr, 1, v[3]);
    pz_variant_array_insert(arr, 99, v[3]);  // past the end: appends
    using S = std::vector<pz_variant_t *>;
    EXPECT_EQ(slots(arr), (S{v[0], v[3], v[1], nullptr, v[3]}));
    EXPECT_EQ(refcount(v[3]), 3);
    pz_variant_array_remove(arr, 5);  // out of range: nothing
    pz_variant_array_remove(arr, 0);
    pz_variant_array_set(arr, 5, v[0]);  // out of range: nothing
    pz_variant_array_set(arr, 1, v[2]);
    pz_variant_array_set(arr, 3, nullptr);
    EXPECT_EQ(slots(arr), (S{v[3], v[2], nullptr, nullptr}));
    EXPECT_EQ(pz_variant_array_index(arr, UINT32_MAX), nullptr);
    pz_variant_unref(v[2]);  // the array holds its only reference now
    pz_variant_array_set(arr, 1, v[2]);
    EXPECT_EQ(v[2]->int32_val, 2) << "setting the element already there keeps it alive";
    for (int i : {0, 1, 3}) {
        EXPECT_EQ(refcount(v[i]), i == 3 ? 2 : 1);
        pz_variant_unref(v[i]);
    }
    pz_variant_unref(arr);
}

TEST_F(Arrays, ClearReleasesElementsFirstAndKeepsStorage) {
    static pz_variant_t *arr;
    static uint32_t size_seen;
    arr = pz_variant_array_new();
    size_seen = UINT32_MAX;
    varray_add_str(arr, "released by the clear");
    pz_variant_array_append(arr, nullptr);
    // A destructor that looks into the array sees it empty.
    varray_add_autoptr(arr, nullptr, [](void *) {
        size_seen = pz_variant_array_size(arr);
        pz_variant_unref(pz_variant_array_index(arr, 0));
    });
    const long blocks = hal_live_blocks();
    EXPECT_EQ(pz_variant_array_clear(arr), arr);
    EXPECT_EQ(size_seen, 0u);
    EXPECT_EQ(hal_live_blocks(), blocks - 2) << "the elements go, the storage stays";
    varray_add_int8(arr, 1);
    EXPECT_EQ(varray_int8(arr, 0), 1);
    pz_variant_unref(arr);
}

TEST_F(Arrays, NonArraysAndMissingStorageAreLeftAlone) {
    pz_variant_t *value = pz_variant_int32_new(7), *dict = pz_variant_dict_new();
    pz_variant_t *bare = pz_variant_int32_new(0);
    hal_fail_nth(1, 0);  // an array kind whose storage cannot be had
    pz_variant_change_type(bare, vtype_array);
    ASSERT_TRUE(bare->vt == vtype_array && bare->ptr_val == nullptr);
    for (pz_variant_t *target : {static_cast<pz_variant_t *>(nullptr), value, dict, bare}) {
        pz_variant_array_append(target, value);
        pz_variant_array_prepend(target, value);
        pz_variant_array_insert(target, 0, value);
        pz_variant_array_set(target, 0, value);
        pz_variant_array_remove(target, 0);
        EXPECT_EQ(pz_variant_array_index(target, 0), nullptr);
        EXPECT_EQ(pz_variant_array_size(target), 0u);
        EXPECT_EQ(pz_variant_array_clear(target), target);
    }
    EXPECT_EQ(refcount(value), 1);
    EXPECT_EQ(value->int32_val, 7);
    EXPECT_EQ(dict->vt, vtype_dict);
    for (pz_variant_t *v : {value, dict, bare}) pz_variant_unref(v);
}

}  // namespace
