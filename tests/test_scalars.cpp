// Scalar constructors and setters, checked across the whole family.
#include <cstring>

#include "pz_test.h"
#include "pz_variant_kinds.h"

namespace {

class Scalars : public LeakCheckedTest {
protected:
    void SetUp() override {
        LeakCheckedTest::SetUp();
        CallbackLog::reset();
    }
};

// The union bytes past the first `width` are zero, and `len` is 0.
void expect_rest_zero(const pz_variant_t *v, size_t width) {
    unsigned char bytes[8];
    std::memcpy(bytes, v, 8);
    for (size_t i = width; i < 8; ++i) EXPECT_EQ(bytes[i], 0) << "union byte " << i;
    EXPECT_EQ(v->len, 0u);
}

// One constructor/setter round per kind, with an extreme value of its type.
TEST_F(Scalars, EveryKindStoresItsValueAtItsWidth) {
    int object = 0;
#define CHECK_KIND(name, ctype, code, va_type)                                             \
    {                                                                                      \
        ctype sample = far_from_zero<ctype>(&object);                                      \
        pz_variant_t *v = pz_variant_##name##_new(sample);                                 \
        ASSERT_NE(v, nullptr) << #name;                                                    \
        EXPECT_EQ(v->vt, code) << #name;                                                   \
        EXPECT_EQ(refcount(v), 1) << #name;                                                \
        EXPECT_EQ(hal_last_size(), 24u) << #name;                                          \
        ctype got;                                                                         \
        std::memcpy(&got, v, sizeof got);                                                  \
        EXPECT_EQ(got, sample) << #name;                                                   \
        expect_rest_zero(v, sizeof(ctype));                                                \
        pz_variant_t *s = pz_variant_str_new("previous");                                  \
        EXPECT_EQ(pz_variant_##name##_set(s, sample), s) << #name;                         \
        EXPECT_EQ(s->vt, code) << #name;                                                   \
        std::memcpy(&got, s, sizeof got);                                                  \
        EXPECT_EQ(got, sample) << #name;                                                   \
        expect_rest_zero(s, sizeof(ctype));                                                \
        EXPECT_EQ(pz_variant_##name##_set(nullptr, sample), nullptr) << #name;             \
        pz_variant_unref(v);                                                               \
        pz_variant_unref(s);                                                               \
    }
    PZ_SCALAR_KINDS(CHECK_KIND)
#undef CHECK_KIND
}

TEST_F(Scalars, NarrowValuesLeaveTheRestOfTheUnionZero) {
    pz_variant_t *v = pz_variant_int8_new(-1);
    EXPECT_EQ(v->int8_val, -1);
    EXPECT_EQ(v->int64_val, 255) << "read wider, a narrow value shows its own bits only";
    pz_variant_t *f = pz_variant_float_new(1.5f);
    EXPECT_EQ(f->float_val, 1.5f);
    expect_rest_zero(f, 4);
    pz_variant_unref(v);
    pz_variant_unref(f);
}

TEST_F(Scalars, SettersReleaseWhatTheValueHeld) {
    pz_variant_t *arr = pz_variant_array_new();
    pz_variant_t *elem = pz_variant_int16_new(3);
    pz_variant_array_append(arr, elem);
    EXPECT_EQ(pz_variant_int32_set(arr, 9), arr);
    EXPECT_EQ(refcount(elem), 1);
    EXPECT_EQ(arr->int32_val, 9);

    pz_variant_t *owned = pz_variant_autoptr_new(&elem, CallbackLog::dtor);
    pz_variant_bool_set(owned, true);
    EXPECT_EQ(CallbackLog::dtor_calls, 1);
    EXPECT_TRUE(owned->bool_val);
    pz_variant_clear(owned);
    EXPECT_EQ(CallbackLog::dtor_calls, 1) << "the destructor ran once only";

    pz_variant_t *s = pz_variant_str_new("abc");
    pz_variant_uint64_set(s, 7);
    EXPECT_EQ(s->len, 0u);
    EXPECT_EQ(s->uint64_val, 7u);

    for (pz_variant_t *v : {arr, elem, owned, s}) pz_variant_unref(v);
}

TEST_F(Scalars, SetterKeepsAddressAndCount) {
    pz_variant_t *v = pz_variant_int32_new(1);
    pz_variant_ref(v);
    EXPECT_EQ(pz_variant_double_set(v, 2.5), v);
    EXPECT_EQ(refcount(v), 2);
    pz_variant_unref(v);
    pz_variant_unref(v);
}

TEST_F(Scalars, ConstructorsReturnNullWhenOutOfMemory) {
    hal_fail_nth(1, 1);
#define CHECK_FAILS(name, ctype, code, va_type) \
    EXPECT_EQ(pz_variant_##name##_new(far_from_zero<ctype>(nullptr)), nullptr) << #name;
    PZ_SCALAR_KINDS(CHECK_FAILS)
#undef CHECK_FAILS
    hal_fail_nth(0, 0);
}

}  // namespace
