// Array values: element references, order, bounds and allocation failure.
#include <functional>
#include <vector>

#include "pz_test.h"

namespace {

class Arrays : public LeakCheckedTest {
protected:
    void SetUp() override {
        LeakCheckedTest::SetUp();
        CallbackLog::reset();
    }
};

// The elements of `va`, as pointers, without touching their counts.
std::vector<pz_variant_t *> slots(const pz_variant_t *va) {
    std::vector<pz_variant_t *> out;
    for (uint32_t i = 0; i < pz_variant_array_size(va); ++i) {
        pz_variant_t *e = pz_variant_array_index(va, i);
        out.push_back(e);
        pz_variant_unref(e);
    }
    return out;
}

TEST_F(Arrays, AppendAndIndexTakeOneReferenceEach) {
    pz_variant_t *arr = pz_variant_array_new();
    ASSERT_NE(arr, nullptr);
    EXPECT_EQ(arr->vt, vtype_array);
    EXPECT_NE(arr->ptr_val, nullptr);
    EXPECT_EQ(pz_variant_array_size(arr), 0u);

    pz_variant_t *a = pz_variant_int32_new(1);
    pz_variant_array_append(arr, a);
    EXPECT_EQ(refcount(a), 2);
    pz_variant_array_append(arr, nullptr);
    EXPECT_EQ(pz_variant_array_size(arr), 2u);

    const long mallocs = hal_malloc_calls();
    pz_variant_t *got = pz_variant_array_index(arr, 0);
    EXPECT_EQ(got, a);
    EXPECT_EQ(refcount(a), 3);
    pz_variant_unref(got);
    EXPECT_EQ(pz_variant_array_index(arr, 1), nullptr) << "a null slot";
    EXPECT_EQ(pz_variant_array_index(arr, 2), nullptr) << "index equal to the size";
    EXPECT_EQ(pz_variant_array_index(arr, UINT32_MAX), nullptr);
    EXPECT_EQ(hal_malloc_calls(), mallocs) << "reading allocates nothing";
    EXPECT_EQ(refcount(a), 2);

    pz_variant_unref(a);
    EXPECT_EQ(refcount(a), 1) << "the array keeps the value alive";
    pz_variant_unref(arr);
}

TEST_F(Arrays, PrependAndInsertKeepOrder) {
    pz_variant_t *v[4];
    for (int i = 0; i < 4; ++i) v[i] = pz_variant_int32_new(i);
    pz_variant_t *arr = pz_variant_array_new();
    pz_variant_array_append(arr, v[1]);
    pz_variant_array_append(arr, v[2]);
    pz_variant_array_prepend(arr, v[0]);
    EXPECT_EQ(slots(arr), (std::vector<pz_variant_t *>{v[0], v[1], v[2]}));
    pz_variant_array_insert(arr, 1, v[3]);
    EXPECT_EQ(slots(arr), (std::vector<pz_variant_t *>{v[0], v[3], v[1], v[2]}));
    pz_variant_array_insert(arr, 99, v[3]);
    EXPECT_EQ(slots(arr).back(), v[3]) << "an index past the end appends";
    EXPECT_EQ(refcount(v[3]), 3) << "one reference per slot";
    for (pz_variant_t *x : v) pz_variant_unref(x);
    pz_variant_unref(arr);
}

TEST_F(Arrays, RemoveDropsTheArraysReference) {
    static int object;
    pz_variant_t *owned = pz_variant_autoptr_new(&object, CallbackLog::dtor);
    pz_variant_t *b = pz_variant_int8_new(2);
    pz_variant_t *arr = pz_variant_array_new();
    pz_variant_array_append(arr, owned);
    pz_variant_array_append(arr, b);
    pz_variant_unref(owned);

    pz_variant_array_remove(arr, 2);  // out of range: nothing
    pz_variant_array_remove(arr, UINT32_MAX);
    EXPECT_EQ(pz_variant_array_size(arr), 2u);
    EXPECT_EQ(CallbackLog::dtor_calls, 0);

    pz_variant_array_remove(arr, 0);
    EXPECT_EQ(CallbackLog::dtor_calls, 1) << "the array held the last reference";
    EXPECT_EQ(slots(arr), std::vector<pz_variant_t *>{b});
    pz_variant_array_remove(arr, 0);
    EXPECT_EQ(refcount(b), 1);
    EXPECT_EQ(pz_variant_array_size(arr), 0u);
    pz_variant_unref(b);
    pz_variant_unref(arr);
}

TEST_F(Arrays, SetReplacesInPlace) {
    pz_variant_t *a = pz_variant_int32_new(1);
    pz_variant_t *b = pz_variant_int32_new(2);
    pz_variant_t *arr = pz_variant_array_new();
    pz_variant_array_append(arr, a);
    pz_variant_array_set(arr, 0, b);
    EXPECT_EQ(refcount(a), 1);
    EXPECT_EQ(refcount(b), 2);
    EXPECT_EQ(pz_variant_array_size(arr), 1u);

    pz_variant_unref(b);  // the array holds b's only reference now
    pz_variant_array_set(arr, 0, b);
    EXPECT_EQ(refcount(b), 1) << "setting the element already there keeps it alive";
    EXPECT_EQ(b->int32_val, 2);

    pz_variant_array_set(arr, 1, a);  // out of range: nothing
    EXPECT_EQ(refcount(a), 1);
    EXPECT_EQ(pz_variant_array_size(arr), 1u);

    pz_variant_array_set(arr, 0, nullptr);
    EXPECT_EQ(pz_variant_array_size(arr), 1u);
    EXPECT_EQ(pz_variant_array_index(arr, 0), nullptr);
    pz_variant_unref(a);
    pz_variant_unref(arr);
}

TEST_F(Arrays, ClearReleasesElementsAndKeepsStorage) {
    pz_variant_t *a = pz_variant_int32_new(1);
    pz_variant_t *arr = pz_variant_array_new();
    pz_variant_array_append(arr, a);
    pz_variant_array_append(arr, a);
    pz_variant_array_append(arr, nullptr);
    const long blocks = hal_live_blocks();
    EXPECT_EQ(pz_variant_array_clear(arr), arr);
    EXPECT_EQ(refcount(a), 1);
    EXPECT_EQ(pz_variant_array_size(arr), 0u);
    EXPECT_EQ(arr->vt, vtype_array);
    EXPECT_EQ(hal_live_blocks(), blocks) << "the storage stays";
    pz_variant_array_append(arr, a);
    EXPECT_EQ(pz_variant_array_size(arr), 1u);
    pz_variant_unref(a);
    pz_variant_unref(arr);
}

// A destructor that looks into the array being cleared sees it empty, not
// slots whose elements are already gone.
TEST_F(Arrays, ClearIsEmptyBeforeDestructorsRun) {
    static pz_variant_t *arr;
    static uint32_t size_seen;
    arr = pz_variant_array_new();
    size_seen = UINT32_MAX;
    varray_add_str(arr, "released by the clear");
    varray_add_autoptr(arr, nullptr, [](void *) {
        size_seen = pz_variant_array_size(arr);
        pz_variant_unref(pz_variant_array_index(arr, 0));
    });
    pz_variant_array_clear(arr);
    EXPECT_EQ(size_seen, 0u);
    pz_variant_unref(arr);
}

TEST_F(Arrays, NonArraysAndMissingStorageAreLeftAlone) {
    pz_variant_t *value = pz_variant_int32_new(7);
    pz_variant_t *dict = pz_variant_dict_new();
    hal_fail_nth(2, 0);  // the storage, after the record
    pz_variant_t *bare = pz_variant_array_new();
    ASSERT_NE(bare, nullptr);
    EXPECT_EQ(bare->ptr_val, nullptr);

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

// Filling past the initial capacity with each way of adding, under every
// allocation failure: whatever was stored holds exactly one reference.
TEST_F(Arrays, GrowingUnderAllocationFailureKeepsCountsExact) {
    using add_fn = std::function<void(pz_variant_t *, pz_variant_t *)>;
    const add_fn adders[] = {
        pz_variant_array_append,
        pz_variant_array_prepend,
        [](pz_variant_t *a, pz_variant_t *v) { pz_variant_array_insert(a, 1, v); },
    };
    pz_variant_t *value = pz_variant_str_new("element");
    for (const add_fn &add : adders) {
        const int failures = sweep_alloc_failures([&] {
            pz_variant_t *arr = pz_variant_array_new();
            for (int i = 0; i < 20; ++i) add(arr, value);
            EXPECT_EQ(refcount(value), 1 + static_cast<long>(pz_variant_array_size(arr)));
            pz_variant_unref(arr);
        });
        EXPECT_GE(failures, 3) << "record, storage and growth can each fail";
    }
    EXPECT_EQ(refcount(value), 1);
    pz_variant_unref(value);
}

}  // namespace
