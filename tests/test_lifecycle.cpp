// Reference counting, clearing and change of kind.
#include <pthread.h>

#include "pz_test.h"

namespace {

class Lifecycle : public LeakCheckedTest {
protected:
    void SetUp() override {
        LeakCheckedTest::SetUp();
        CallbackLog::reset();
    }
};

TEST_F(Lifecycle, CountStartsAtOneAndLastUnrefFrees) {
    pz_variant_t *v = pz_variant_int32_new(5);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(refcount(v), 1);
    EXPECT_EQ(pz_variant_ref(v), v);
    pz_variant_ref(v);
    EXPECT_EQ(refcount(v), 3);
    pz_variant_unref(v);
    pz_variant_unref(v);
    EXPECT_EQ(hal_live_blocks(), 1);
    EXPECT_EQ(v->int32_val, 5) << "references never change the value";
    pz_variant_unref(v);
    EXPECT_EQ(hal_live_blocks(), 0);
}

TEST_F(Lifecycle, NullArgumentsAreHarmless) {
    EXPECT_EQ(pz_variant_ref(nullptr), nullptr);
    pz_variant_unref(nullptr);
    pz_variant_clear(nullptr);
    EXPECT_EQ(pz_variant_change_type(nullptr, vtype_array), nullptr);
    EXPECT_EQ(hal_malloc_calls(), 0);
}

TEST_F(Lifecycle, ClearingAnArrayReleasesEachElementOnce) {
    pz_variant_t *arr = pz_variant_array_new();
    pz_variant_t *kept = pz_variant_int32_new(1);
    pz_variant_t *owned = pz_variant_autoptr_new(&kept, CallbackLog::dtor);
    pz_variant_array_append(arr, kept);
    pz_variant_array_append(arr, owned);
    pz_variant_array_append(arr, nullptr);
    pz_variant_unref(owned);
    EXPECT_EQ(refcount(kept), 2);

    pz_variant_clear(arr);
    EXPECT_EQ(arr->vt, vtype_null);
    EXPECT_EQ(arr->uint64_val, 0u);
    EXPECT_EQ(arr->len, 0u);
    EXPECT_EQ(refcount(kept), 1);
    EXPECT_EQ(CallbackLog::dtor_calls, 1);

    pz_variant_clear(arr);  // a second clear only resets the record again
    EXPECT_EQ(arr->vt, vtype_null);
    EXPECT_EQ(CallbackLog::dtor_calls, 1);
    pz_variant_unref(arr);
    pz_variant_unref(kept);
}

TEST_F(Lifecycle, ClearingAnEmptyStringFreesItsNullText) {
    pz_variant_t *s = pz_variant_str_new(nullptr);
    const long frees = hal_free_calls();
    pz_variant_clear(s);
    EXPECT_EQ(hal_free_calls(), frees + 1);
    pz_variant_unref(s);
}

TEST_F(Lifecycle, ChangeTypeToTheSameKindKeepsTheValue) {
    pz_variant_t *v = pz_variant_int32_new(5);
    EXPECT_EQ(pz_variant_change_type(v, vtype_int32), v);
    EXPECT_EQ(v->int32_val, 5);
    EXPECT_EQ(pz_variant_change_type(v, vtype_int64), v);
    EXPECT_EQ(v->vt, vtype_int64);
    EXPECT_EQ(v->int64_val, 0);
    pz_variant_unref(v);
}

TEST_F(Lifecycle, ChangeTypeToContainersGivesEmptyStorage) {
    pz_variant_t *v = pz_variant_str_new("text");
    ASSERT_EQ(pz_variant_change_type(v, vtype_array), v);
    EXPECT_NE(v->ptr_val, nullptr);
    EXPECT_EQ(pz_variant_array_size(v), 0u);

    pz_variant_t *elem = pz_variant_int8_new(1);
    pz_variant_array_append(v, elem);
    ASSERT_EQ(pz_variant_change_type(v, vtype_dict), v);
    EXPECT_EQ(refcount(elem), 1) << "leaving the array kind releases every element";
    EXPECT_NE(v->ptr_val, nullptr);
    EXPECT_EQ(pz_variant_dict_size(v), 0u);
    pz_variant_unref(elem);
    pz_variant_unref(v);
}

TEST_F(Lifecycle, ChangeTypeToAPointerKindReplacesTheRecord) {
    for (pz_variant_type kind : {vtype_autoptr, vtype_sharedptr}) {
        pz_variant_t *v = pz_variant_int32_new(5);
        pz_variant_t *other_holder = pz_variant_ref(v);
        pz_variant_t *rep = pz_variant_change_type(v, kind);
        ASSERT_NE(rep, nullptr);
        EXPECT_NE(rep, v);
        EXPECT_EQ(rep->vt, vtype_null);
        EXPECT_EQ(refcount(rep), 1);
        EXPECT_EQ(refcount(other_holder), 1) << "the caller's reference was consumed";
        EXPECT_EQ(other_holder->vt, vtype_null);
        pz_variant_unref(other_holder);
        pz_variant_unref(rep);
    }
}

TEST_F(Lifecycle, ChangeTypeToAPointerKindFillsTheNewRecord) {
    int object = 0;
    pz_variant_t *v = pz_variant_change_type(pz_variant_bool_new(true), vtype_autoptr);
    ASSERT_EQ(pz_variant_autoptr_set(v, &object, CallbackLog::dtor), v);
    pz_variant_unref(v);
    EXPECT_EQ(CallbackLog::dtor_calls, 1);
    EXPECT_EQ(CallbackLog::last_dtor_arg, &object);
}

TEST_F(Lifecycle, ChangeTypeSurvivesAllocationFailure) {
    EXPECT_GT(sweep_alloc_failures([] {
        pz_variant_t *v = pz_variant_int32_new(1);
        if (v == nullptr) return;
        v = pz_variant_change_type(v, vtype_dict);
        pz_variant_t *elem = pz_variant_uint8_new(2);
        pz_variant_dict_put(v, "k", elem);
        pz_variant_unref(elem);
        pz_variant_unref(v);
    }), 0);
    sweep_alloc_failures([] {
        pz_variant_t *v = pz_variant_int32_new(1);
        pz_variant_unref(pz_variant_change_type(v, vtype_sharedptr));
    });
}

// A chain of `depth` containers, alternating arrays and dictionaries, whose
// innermost holds an owned pointer that logs its destruction.
pz_variant_t *nested_chain(int depth) {
    pz_variant_t *outer = pz_variant_array_new();
    pz_variant_t *cur = outer;
    for (int i = 0; i <= depth; ++i) {
        pz_variant_t *next = i == depth ? pz_variant_autoptr_new(nullptr, CallbackLog::dtor)
                             : i % 2 == 0 ? pz_variant_dict_new()
                                          : pz_variant_array_new();
        if (cur->vt == vtype_array) {
            pz_variant_array_append(cur, next);
        } else {
            pz_variant_dict_put(cur, "k", next);
        }
        pz_variant_unref(next);
        cur = next;
    }
    return outer;
}

// Releasing is iterative and allocates nothing: a million nested containers
// go from a thread with a 256 KiB stack while every allocation fails.
TEST_F(Lifecycle, DeepNestingIsReleasedOnASmallStackWithoutMemory) {
    pz_variant_t *chain = nested_chain(1000000);
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
    ASSERT_EQ(pthread_create(&thread, &attr, release, chain), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attr);
    EXPECT_EQ(CallbackLog::dtor_calls, 1);
}

}  // namespace
