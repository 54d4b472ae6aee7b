// Scalar constructors, setters and copies, checked across the whole family.
#include <cstring>

#include "pz_test.h"
#include "pz_variant_internal.h"
#include "pz_variant_kinds.h"

namespace {

using Scalars = LeakCheckedTest;

// Holds `sample` as kind `code`: union bytes past its width zero, len 0.
template <class T>
void expect_holds(const pz_variant_t *v, char code, T sample) {
    unsigned char bytes[8], zero[8] = {};
    std::memcpy(bytes, v, 8);
    EXPECT_EQ(v->vt, code);
    EXPECT_EQ(pz::load<T>(v), sample);
    EXPECT_EQ(std::memcmp(bytes + sizeof(T), zero, 8 - sizeof(T)), 0) << "stale union bytes";
    EXPECT_EQ(v->len, 0u);
}

// Each kind with an extreme value of its type: made, set over a string
// (keeping address and count), copied, and merged over a string.
TEST_F(Scalars, EveryKindStoresCopiesAndMergesItsValueAtItsWidth) {
    int object = 0;
#define CHECK_KIND(name, ctype, code, va_type)                                    \
    {                                                                             \
        SCOPED_TRACE(#name);                                                      \
        using T = ctype;                                                          \
        const T sample = far_from_zero<T>(&object);                               \
        pz_variant_t *v = pz_variant_##name##_new(sample);                        \
        ASSERT_NE(v, nullptr);                                                    \
        EXPECT_EQ(refcount(v), 1);                                                \
        EXPECT_EQ(hal_last_size(), 24u);                                          \
        expect_holds(v, code, sample);                                            \
        pz_variant_t *s = pz_variant_ref(pz_variant_str_new("previous"));         \
        EXPECT_EQ(pz_variant_##name##_set(s, sample), s);                         \
        EXPECT_EQ(refcount(s), 2);                                                \
        expect_holds(s, code, sample);                                            \
        EXPECT_EQ(pz_variant_##name##_set(nullptr, sample), nullptr);             \
        pz_variant_t *d = pz_variant_dup(v);                                      \
        ASSERT_NE(d, nullptr);                                                    \
        EXPECT_NE(d, v);                                                          \
        EXPECT_EQ(refcount(d), 1);                                                \
        expect_holds(d, code, sample);                                            \
        pz_variant_str_set(s, "again");                                           \
        EXPECT_EQ(pz_variant_concat(s, v), s);                                    \
        expect_holds(s, code, sample);                                            \
        hal_fail_nth(1, 0);                                                       \
        EXPECT_EQ(pz_variant_##name##_new(sample), nullptr);                      \
        for (pz_variant_t *x : {d, s, s, v}) pz_variant_unref(x);                 \
    }
    PZ_SCALAR_KINDS(CHECK_KIND)
#undef CHECK_KIND
}

TEST_F(Scalars, SettersReleaseWhatTheValueHeld) {
    pz_variant_t *arr = pz_variant_array_new();
    pz_variant_t *elem = pz_variant_int16_new(3);
    pz_variant_array_append(arr, elem);
    EXPECT_EQ(pz_variant_int32_set(arr, 9), arr);
    EXPECT_EQ(refcount(elem), 1);

    pz_variant_t *owned = pz_variant_autoptr_new(&elem, CallbackLog::dtor);
    pz_variant_bool_set(owned, true);
    EXPECT_EQ(CallbackLog::dtor_calls, 1);
    pz_variant_clear(owned);
    EXPECT_EQ(CallbackLog::dtor_calls, 1) << "the destructor ran once only";
    for (pz_variant_t *v : {arr, elem, owned}) pz_variant_unref(v);
}

}  // namespace
