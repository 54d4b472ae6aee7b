// Owned and shared pointers: when their callbacks run, and record room.
#include "pz_test.h"

namespace {

using Pointers = LeakCheckedTest;

int object_a = 0, object_b = 0;

TEST_F(Pointers, OwnedPointerIsDestroyedOnceWhenReleasedOrReplaced) {
    pz_variant_t *v = pz_variant_autoptr_new(&object_a, CallbackLog::dtor);
    pz_variant_unref(pz_variant_ref(v));
    EXPECT_EQ(CallbackLog::dtor_calls, 0);
    EXPECT_EQ(pz_variant_autoptr_set(v, &object_b, CallbackLog::dtor), v);
    EXPECT_EQ(CallbackLog::last_dtor_arg, &object_a);
    pz_variant_int32_set(v, 3);
    EXPECT_EQ(CallbackLog::last_dtor_arg, &object_b);
    pz_variant_clear(v);
    EXPECT_EQ(CallbackLog::dtor_calls, 2);
    EXPECT_EQ(pz_variant_autoptr_set(v, nullptr, CallbackLog::dtor), v)
        << "the record keeps its room after holding another kind";
    pz_variant_unref(v);
    EXPECT_EQ(CallbackLog::dtor_calls, 3) << "a null pointer still goes to its destructor";
    pz_variant_unref(pz_variant_autoptr_new(&object_a, nullptr));  // nothing to call
}

TEST_F(Pointers, SharedPointerHoldsWhatRefReturnsUntilReleased) {
    auto ref_to_b = [](void *) -> void * { return ++CallbackLog::ref_calls, &object_b; };
    pz_variant_t *v = pz_variant_sharedptr_new(&object_a, ref_to_b, CallbackLog::unref);
    EXPECT_EQ(v->ptr_val, &object_b);
    pz_variant_clear(v);
    EXPECT_EQ(CallbackLog::last_unref_arg, &object_b);
    pz_variant_unref(v);
    EXPECT_EQ(CallbackLog::unref_calls, 1);

    // Setting the object the value holds: its last reference must not go
    // between the calls.
    static int refs;
    refs = 1;
    auto ref = [](void *p) -> void * { return ++refs, p; };
    auto unref = [](void *) { EXPECT_GT(--refs, 0) << "the object was freed while in use"; };
    v = pz_variant_sharedptr_new(&object_a, ref, unref);
    --refs;  // the creator's own reference goes; the value holds the last one
    EXPECT_EQ(pz_variant_sharedptr_set(v, &object_a, ref, unref), v);
    EXPECT_EQ(refs, 1);
    ++refs;
    pz_variant_unref(v);
}

TEST_F(Pointers, RecordsWithoutRoomRefuse) {
    pz_variant_t *plain = pz_variant_int32_new(4);
    pz_variant_t *owned = pz_variant_autoptr_new(&object_a, CallbackLog::dtor);
    pz_variant_t *text = pz_variant_str_new("t");  // its block: the record and two bytes
    EXPECT_EQ(pz_variant_autoptr_set(plain, &object_a, CallbackLog::dtor), nullptr);
    EXPECT_EQ(plain->int32_val, 4) << "a refused setter leaves the value as it was";
    EXPECT_EQ(pz_variant_autoptr_set(text, &object_a, CallbackLog::dtor), nullptr);
    EXPECT_EQ(pz_variant_autoptr_set(nullptr, &object_a, CallbackLog::dtor), nullptr);
    for (pz_variant_t *v : {plain, owned, text, static_cast<pz_variant_t *>(nullptr)}) {
        EXPECT_EQ(pz_variant_sharedptr_set(v, &object_b, CallbackLog::ref, CallbackLog::unref), nullptr);
    }
    EXPECT_EQ(CallbackLog::ref_calls + CallbackLog::dtor_calls, 0);
    for (pz_variant_t *v : {plain, owned, text}) pz_variant_unref(v);
    EXPECT_EQ(CallbackLog::dtor_calls, 1);
}

}  // namespace
