// Typed array and dictionary accessors: round trips per kind, raw reads,
// bad arguments, pointer callbacks and allocation failure.
#include <cstring>
#include <type_traits>

#include "pz_test.h"
#include "pz_variant_kinds.h"

namespace {

class TypedAccess : public LeakCheckedTest {
protected:
    void SetUp() override {
        LeakCheckedTest::SetUp();
        CallbackLog::reset();
    }
};

int object;

// A value of T with every byte non-zero, so that a read of the wrong width
// or from the wrong place shows.
template <class T>
T sample() {
    if constexpr (std::is_same_v<T, bool>) {
        return true;
    } else if constexpr (std::is_pointer_v<T>) {
        return &object;
    } else {
        const uint64_t bits = 0xF1E2D3C4B5A69788ull;
        T value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
}

// A default distinct from sample<T>().
int other_object;
template <class T>
T other() {
    if constexpr (std::is_pointer_v<T>) {
        return &other_object;
    } else {
        return T{};
    }
}

TEST_F(TypedAccess, EveryKindRoundTripsThroughAnArray) {
    pz_variant_t *arr = pz_variant_array_new();
    pz_variant_t *dict = pz_variant_dict_new();
    pz_variant_array_append(arr, nullptr);
#define CHECK_KIND(name, ctype, code, va_type)                                          \
    {                                                                                   \
        using T = ctype;                                                                \
        const T value = sample<T>();                                                    \
        varray_add_##name(arr, value);                                                  \
        const uint32_t last = pz_variant_array_size(arr) - 1;                           \
        EXPECT_EQ(varray_##name(arr, last), value) << #name;                            \
        pz_variant_t *e = pz_variant_array_index(arr, last);                            \
        EXPECT_EQ(e->vt, code) << #name;                                                \
        EXPECT_EQ(refcount(e), 2) << #name << ": the array's and ours";                 \
        pz_variant_unref(e);                                                            \
        EXPECT_EQ(varray_##name(arr, last + 1), T{}) << #name;                      \
        EXPECT_EQ(varray_##name(arr, 0), T{}) << #name << ": a null slot";          \
        EXPECT_EQ(varray_##name(nullptr, 0), T{}) << #name;                         \
        EXPECT_EQ(varray_##name(dict, 0), T{}) << #name;                            \
        varray_add_##name(nullptr, value);                                              \
        varray_add_##name(dict, value);                                                 \
        hal_fail_nth(1, 0);                                                             \
        varray_add_##name(arr, value);                                                  \
        EXPECT_EQ(pz_variant_array_size(arr), last + 2) << #name;                       \
        EXPECT_EQ(pz_variant_array_index(arr, last + 1), nullptr) << #name;             \
    }
    PZ_SCALAR_KINDS(CHECK_KIND)
#undef CHECK_KIND
    EXPECT_EQ(pz_variant_dict_size(dict), 0u);
    pz_variant_unref(arr);
    pz_variant_unref(dict);
}

TEST_F(TypedAccess, EveryKindRoundTripsThroughADictionary) {
    pz_variant_t *dict = pz_variant_dict_new();
    pz_variant_t *arr = pz_variant_array_new();
#define CHECK_KIND(name, ctype, code, va_type)                                          \
    {                                                                                   \
        using T = ctype;                                                                \
        const T value = sample<T>();                                                    \
        const T def = other<T>();                                                       \
        vdict_set_str(dict, #name, "replaced by any kind");                             \
        vdict_set_##name(dict, #name, value);                                           \
        EXPECT_EQ(vdict_##name##_default(dict, #name, def), value) << #name;            \
        pz_variant_t *e = pz_variant_dict_get(dict, #name);                             \
        EXPECT_EQ(e->vt, code) << #name;                                                \
        EXPECT_EQ(refcount(e), 2) << #name << ": the dictionary's and ours";            \
        pz_variant_unref(e);                                                            \
        EXPECT_EQ(vdict_##name##_default(dict, "absent", def), def) << #name;           \
        EXPECT_EQ(vdict_##name##_default(dict, "", def), def) << #name;                 \
        EXPECT_EQ(vdict_##name##_default(dict, nullptr, def), def) << #name;            \
        EXPECT_EQ(vdict_##name##_default(nullptr, #name, def), def) << #name;           \
        EXPECT_EQ(vdict_##name##_default(arr, #name, def), def) << #name;               \
        vdict_set_##name(nullptr, #name, value);                                        \
        vdict_set_##name(arr, #name, value);                                            \
        vdict_set_##name(dict, "", value);                                              \
        hal_fail_nth(1, 0);                                                             \
        vdict_set_##name(dict, #name, def);                                             \
        EXPECT_EQ(vdict_##name##_default(dict, #name, def), value)                      \
            << #name << ": a value that cannot be made replaces nothing";               \
    }
    PZ_SCALAR_KINDS(CHECK_KIND)
#undef CHECK_KIND
    EXPECT_EQ(pz_variant_dict_size(dict), 12u);
    EXPECT_EQ(pz_variant_array_size(arr), 0u);
    pz_variant_unref(arr);
    pz_variant_unref(dict);
}

TEST_F(TypedAccess, GettersReadRawBitsWithoutConversion) {
    pz_variant_t *arr = pz_variant_array_new();
    pz_variant_t *dict = pz_variant_dict_new();
    varray_add_int8(arr, -1);
    varray_add_int8(arr, 2);
    varray_add_int32(arr, 256);
    varray_add_float(arr, 0.1f);
    EXPECT_EQ(varray_int64(arr, 0), 255);
    EXPECT_TRUE(varray_bool(arr, 1));
    EXPECT_FALSE(varray_bool(arr, 2)) << "only the first byte counts";
    EXPECT_EQ(varray_float(arr, 3), 0.1f) << "kept in single precision";

    vdict_set_int8(dict, "k", -1);
    EXPECT_EQ(vdict_int32_default(dict, "k", 5), 255);
    vdict_set_int8(dict, "k", 2);
    EXPECT_TRUE(vdict_bool_default(dict, "k", false));
    vdict_set_int32(dict, "k", 256);
    EXPECT_FALSE(vdict_bool_default(dict, "k", true));

    const long mallocs = hal_malloc_calls();
    const long incs = hal_atomic_incs();
    EXPECT_EQ(vdict_int32_default(dict, "k", 0), 256);
    EXPECT_EQ(varray_int32(arr, 2), 256);
    EXPECT_EQ(hal_malloc_calls(), mallocs);
    EXPECT_EQ(hal_atomic_incs(), incs) << "getters take no reference";
    pz_variant_unref(arr);
    pz_variant_unref(dict);
}

TEST_F(TypedAccess, StringsAndBytes) {
    pz_variant_t *arr = pz_variant_array_new();
    varray_add_str(arr, "text");
    varray_add_str(arr, "");
    varray_add_str(arr, nullptr);
    varray_add_sized_str(arr, "a\0b", 3);
    EXPECT_STREQ(varray_str(arr, 0), "text");
    EXPECT_EQ(varray_str(arr, 1), nullptr);
    EXPECT_EQ(varray_str(arr, 2), nullptr);
    pz_variant_t *sized = pz_variant_array_index(arr, 3);
    EXPECT_EQ(sized->len, 3u);
    EXPECT_EQ(std::memcmp(varray_str(arr, 3), "a\0b", 4), 0);
    pz_variant_unref(sized);
    varray_add_sized_str(nullptr, "lost", 4);  // made, then released

    pz_variant_t *dict = pz_variant_dict_new();
    vdict_set_str(dict, "name", "north");
    EXPECT_STREQ(vdict_str_default(dict, "name", "?"), "north");
    vdict_set_str(dict, "name", "");
    EXPECT_EQ(vdict_str_default(dict, "name", "?"), nullptr) << "an entry without text";
    EXPECT_STREQ(vdict_str_default(dict, "absent", "?"), "?");

    uint8_t raw[4] = {1, 2, 3, 4};
    vdict_set_bytes(dict, "copy", raw, 4);
    const uint8_t *copy = vdict_bytes(dict, "copy");
    EXPECT_NE(copy, raw);
    EXPECT_EQ(std::memcmp(copy, raw, 4), 0);
    EXPECT_EQ(vdict_bytes(dict, "absent"), nullptr);

    auto *owned = static_cast<uint8_t *>(HAL_Malloc(4));
    vdict_set_bytes_owned(dict, "owned", owned, 4);
    EXPECT_EQ(vdict_bytes(dict, "owned"), owned) << "taken over, not copied";
    vdict_set_bytes_owned(nullptr, "owned", static_cast<uint8_t *>(HAL_Malloc(4)), 4);
    const long blocks = hal_live_blocks();
    vdict_set_bytes_owned(nullptr, "owned", raw, 0);  // neither stored nor freed
    EXPECT_EQ(hal_live_blocks(), blocks);

    static int target;
    vdict_set_sized_ptr(dict, "sized", &target, 12);
    pz_variant_t *sp = pz_variant_dict_get(dict, "sized");
    EXPECT_EQ(sp->vt, vtype_ptr);
    EXPECT_EQ(sp->len, 12u);
    EXPECT_EQ(vdict_ptr_default(dict, "sized", nullptr), &target);
    pz_variant_unref(sp);
    EXPECT_TRUE(pz_variant_dict_erase(dict, "sized"));  // nothing of target is freed
    pz_variant_unref(arr);
    pz_variant_unref(dict);
}

TEST_F(TypedAccess, OwnedAndSharedPointersThroughContainers) {
    pz_variant_t *arr = pz_variant_array_new();
    varray_add_autoptr(arr, &object, CallbackLog::dtor);
    varray_add_sharedptr(arr, &object, CallbackLog::ref, CallbackLog::unref);
    EXPECT_EQ(CallbackLog::ref_calls, 1);
    EXPECT_EQ(CallbackLog::dtor_calls + CallbackLog::unref_calls, 0);
    pz_variant_unref(arr);
    EXPECT_EQ(CallbackLog::dtor_calls, 1);
    EXPECT_EQ(CallbackLog::unref_calls, 1);
    EXPECT_EQ(CallbackLog::last_unref_arg, &object);

    // Nowhere to store them: the element goes at once, with its callbacks.
    varray_add_autoptr(nullptr, &object, CallbackLog::dtor);
    varray_add_sharedptr(nullptr, &object, CallbackLog::ref, CallbackLog::unref);
    pz_variant_t *dict = pz_variant_dict_new();
    vdict_set_autoptr(nullptr, "k", &object, CallbackLog::dtor);
    vdict_set_autoptr(dict, "", &object, CallbackLog::dtor);
    vdict_set_sharedptr(nullptr, "k", &object, CallbackLog::ref, CallbackLog::unref);
    EXPECT_EQ(CallbackLog::dtor_calls, 4);
    EXPECT_EQ(CallbackLog::ref_calls, 3);
    EXPECT_EQ(CallbackLog::unref_calls, 3);

    CallbackLog::reset();
    vdict_set_autoptr(dict, "owned", &object, CallbackLog::dtor);
    vdict_set_autoptr(dict, "owned", &object, CallbackLog::dtor);
    EXPECT_EQ(CallbackLog::dtor_calls, 1) << "the replaced owner is destroyed at once";
    vdict_set_sharedptr(dict, "shared", &object, CallbackLog::ref, CallbackLog::unref);
    EXPECT_EQ(CallbackLog::ref_calls, 1);
    pz_variant_dict_erase(dict, "shared");
    EXPECT_EQ(CallbackLog::unref_calls, 1);
    pz_variant_unref(dict);
    EXPECT_EQ(CallbackLog::dtor_calls, 2);
}

// What the setters that take something over do at each failing allocation:
// the value's record (nothing taken, nothing called), the key, the table.
TEST_F(TypedAccess, TakenOverArgumentsUnderAllocationFailure) {
    for (long n = 1; n <= 3; ++n) {
        CallbackLog::reset();
        pz_variant_t *dict = pz_variant_dict_new();
        auto *buf = static_cast<uint8_t *>(HAL_Malloc(8));
        const long blocks = hal_live_blocks();
        hal_fail_nth(n, 0);
        vdict_set_bytes_owned(dict, "bytes", buf, 8);
        hal_fail_nth(n, 0);
        vdict_set_autoptr(dict, "owned", &object, CallbackLog::dtor);
        hal_fail_nth(n, 0);
        vdict_set_sharedptr(dict, "shared", &object, CallbackLog::ref, CallbackLog::unref);
        hal_fail_nth(0, 0);
        EXPECT_EQ(pz_variant_dict_size(dict), 0u) << "failing allocation " << n;
        const bool made = n > 1;
        EXPECT_EQ(hal_live_blocks(), made ? blocks - 1 : blocks) << "failing allocation " << n;
        EXPECT_EQ(CallbackLog::dtor_calls, made ? 1 : 0) << "failing allocation " << n;
        EXPECT_EQ(CallbackLog::ref_calls, CallbackLog::unref_calls);
        if (!made) HAL_Free(buf);
        pz_variant_unref(dict);
    }
}

TEST_F(TypedAccess, ChildContainersAreLentToTheCaller) {
    pz_variant_t *arr = pz_variant_array_new();
    pz_variant_t *d = varray_add_dict(arr);
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(refcount(d), 1) << "the array holds the only reference";
    vdict_set_int32(d, "x", 4);
    pz_variant_t *inner = varray_add_array(arr);
    ASSERT_NE(inner, nullptr);
    EXPECT_EQ(inner->vt, vtype_array);
    varray_add_str(inner, "deep");

    pz_variant_t *got = pz_variant_array_index(arr, 0);
    EXPECT_EQ(got, d);
    EXPECT_EQ(vdict_int32_default(got, "x", 0), 4) << "filled in place";
    pz_variant_unref(got);
    pz_variant_t *again = pz_variant_array_index(arr, 1);
    EXPECT_STREQ(varray_str(again, 0), "deep");
    pz_variant_unref(again);

    const long mallocs = hal_malloc_calls();
    EXPECT_EQ(varray_add_dict(nullptr), nullptr);
    EXPECT_EQ(varray_add_array(d), nullptr);
    EXPECT_EQ(hal_malloc_calls(), mallocs) << "nothing made for a non-array";

    sweep_alloc_failures([] {
        pz_variant_t *a = pz_variant_array_new();
        for (int i = 0; i < 10; ++i) {
            const uint32_t before = pz_variant_array_size(a);
            pz_variant_t *child = i % 2 ? varray_add_dict(a) : varray_add_array(a);
            if (child != nullptr) {
                pz_variant_t *last = pz_variant_array_index(a, before);
                EXPECT_EQ(last, child);
                EXPECT_EQ(refcount(child), 2);
                pz_variant_unref(last);
            }
        }
        pz_variant_unref(a);
    });
    pz_variant_unref(arr);
}

}  // namespace
