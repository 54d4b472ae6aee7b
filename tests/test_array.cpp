// Array values: element references, order, bounds and clearing (calls on
// what is no array: test_dict.cpp).

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

}  // namespace
