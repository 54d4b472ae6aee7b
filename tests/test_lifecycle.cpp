// Reference counting, clearing and change of kind.
#include <pthread.h>

#include <vector>

#include "pz_test.h"

namespace {

using Lifecycle = LeakCheckedTest;

TEST_F(Lifecycle, ClearReleasesEachElementOnceAndNullIsIgnored) {
    EXPECT_EQ(pz_variant_ref(nullptr), nullptr);
    pz_variant_unref(nullptr);
    pz_variant_clear(nullptr);
    EXPECT_EQ(pz_variant_change_type(nullptr, vtype_array), nullptr);
    pz_variant_t *arr = pz_variant_array_new(), *kept = pz_variant_int32_new(1);
    pz_variant_array_append(arr, kept);
    append_new(arr, pz_variant_autoptr_new(&kept, CallbackLog::dtor));
    pz_variant_array_append(arr, nullptr);
    for (int round = 0; round < 2; ++round) {  // a second clear only resets the record
        pz_variant_clear(arr);
        EXPECT_EQ(arr->vt, vtype_null);
        EXPECT_EQ(arr->uint64_val, 0u);
        EXPECT_EQ(refcount(kept), 1);
        EXPECT_EQ(CallbackLog::dtor_calls, 1);
    }
    for (pz_variant_t *v : {arr, kept}) pz_variant_unref(v);
}

// Elements go in slot order, after the array's record and storage (a large
// block freed after many small ones costs glibc a merge and a trim).
TEST_F(Lifecycle, ReleasedArrayFreesItsStorageThenItsElementsInOrder) {
    static std::vector<int> order;
    static long live_at_first = 0;
    order.clear();
    const pz_dtor_pt log = [](void *p) {
        if (order.empty()) live_at_first = hal_live_blocks();
        order.push_back(*static_cast<int *>(p));
    };
    int ids[2] = {0, 2};
    pz_variant_t *va = pz_variant_array_new();
    varray_add_autoptr(va, &ids[0], log);
    varray_add_int32(va, 1);
    varray_add_autoptr(va, &ids[1], log);
    const long live = hal_live_blocks();
    pz_variant_unref(va);
    EXPECT_EQ(order, (std::vector<int>{0, 2}));
    EXPECT_EQ(live_at_first, live - 2) << "record and storage gone, the later scalar not yet";
}

TEST_F(Lifecycle, ChangeTypeKeepsTheSameKindAndEmptiesOthers) {
    pz_variant_t *v = pz_variant_int32_new(5);
    EXPECT_EQ(pz_variant_change_type(v, vtype_int32), v);
    EXPECT_EQ(v->int32_val, 5);
    EXPECT_EQ(pz_variant_change_type(v, vtype_int64), v);
    EXPECT_TRUE(v->vt == vtype_int64 && v->int64_val == 0);
    pz_variant_t *elem = pz_variant_int8_new(1);
    ASSERT_EQ(pz_variant_change_type(v, vtype_array), v);
    pz_variant_array_append(v, elem);
    ASSERT_EQ(pz_variant_change_type(v, vtype_dict), v);
    EXPECT_EQ(refcount(elem), 1) << "leaving the array kind releases every element";
    put_new(v, "k", pz_variant_int8_new(2));
    EXPECT_EQ(pz_variant_dict_size(v), 1u) << "the dictionary got storage";
    for (pz_variant_t *x : {elem, v}) pz_variant_unref(x);
}

TEST_F(Lifecycle, ChangeTypeToAPointerKindReplacesTheRecord) {
    int object = 0;
    for (pz_variant_type kind : {vtype_autoptr, vtype_sharedptr}) {
        pz_variant_t *v = pz_variant_int32_new(5);
        pz_variant_t *other_holder = pz_variant_ref(v);
        pz_variant_t *rep = pz_variant_change_type(v, kind);
        ASSERT_NE(rep, nullptr);
        EXPECT_NE(rep, v);
        EXPECT_EQ(rep->vt, vtype_null);
        EXPECT_EQ(refcount(other_holder), 1) << "the caller's reference was consumed";
        EXPECT_EQ(kind == vtype_autoptr
                      ? pz_variant_autoptr_set(rep, &object, CallbackLog::dtor)
                      : pz_variant_sharedptr_set(rep, &object, nullptr, CallbackLog::unref),
                  rep);
        for (pz_variant_t *v : {other_holder, rep}) pz_variant_unref(v);
    }
    EXPECT_EQ(CallbackLog::dtor_calls + CallbackLog::unref_calls, 2);
}

// Releasing is iterative and allocates nothing: a million nested containers
// go from a thread with a 256 KiB stack while every allocation fails.
TEST_F(Lifecycle, DeepNestingIsReleasedOnASmallStackWithoutMemory) {
    pz_variant_t *deep = chain(1000000, pz_variant_autoptr_new(nullptr, CallbackLog::dtor));
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setstacksize(&attr, 256 * 1024);
    pthread_t thread;
    auto release = [](void *v) -> void * {
        hal_fail_nth(1, 1);
        pz_variant_unref(static_cast<pz_variant_t *>(v));
        hal_fail_nth(0, 0);
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attr, release, deep), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attr);
    EXPECT_EQ(CallbackLog::dtor_calls, 1);
}

}  // namespace
