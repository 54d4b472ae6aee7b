// Typed array and dictionary accessors: raw reads and the hand-written
// members (the generated ones are checked per kind with the scalars).
#include <cstring>

#include "pz_test.h"

namespace {

using TypedAccess = LeakCheckedTest;

int object;
pz_variant_t not_an_array{};  // a vtype_null record

// An element (a new reference) of kind `code` whose container holds the
// only other reference.
void expect_held(pz_variant_t *e, char code) {
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->vt, code);
    EXPECT_EQ(refcount(e), 2);
    pz_variant_unref(e);
}

TEST_F(TypedAccess, GettersReadRawBitsWithoutConversionOrAllocation) {
    pz_variant_t *arr = pz_variant_pack("oofi", -1, 2, 0.1, int32_t{256});
    pz_variant_t *dict = pz_variant_dict_new();
    const long mallocs = hal_malloc_calls(), incs = hal_atomic_incs();
    EXPECT_EQ(varray_int64(arr, 0), 255);
    EXPECT_TRUE(varray_bool(arr, 1));
    EXPECT_EQ(varray_float(arr, 2), 0.1f) << "kept in single precision";
    EXPECT_FALSE(varray_bool(arr, 3)) << "only the first byte counts";
    EXPECT_EQ(hal_malloc_calls(), mallocs);
    EXPECT_EQ(hal_atomic_incs(), incs) << "getters take no reference";
    vdict_set_int8(dict, "k", -1);
    EXPECT_EQ(vdict_int32_default(dict, "k", 5), 255);
    vdict_set_int32(dict, "k", 256);
    EXPECT_FALSE(vdict_bool_default(dict, "k", true));
    pz_variant_unref(arr);
    pz_variant_unref(dict);
}

TEST_F(TypedAccess, StringsBytesAndSizedPointers) {
    pz_variant_t *arr = pz_variant_array_new();
    varray_add_str(arr, "text");
    varray_add_str(arr, "");
    varray_add_sized_str(arr, "a\0b", 3);
    varray_add_sized_str(nullptr, "lost", 4);  // made, then released
    EXPECT_STREQ(varray_str(arr, 0), "text");
    EXPECT_EQ(varray_str(arr, 1), nullptr);
    EXPECT_EQ(std::memcmp(varray_str(arr, 2), "a\0b", 4), 0);

    pz_variant_t *dict = pz_variant_dict_new();
    vdict_set_str(dict, "name", "north");
    EXPECT_STREQ(vdict_str_default(dict, "name", "?"), "north");
    vdict_set_str(dict, "name", "");
    EXPECT_EQ(vdict_str_default(dict, "name", "?"), nullptr) << "an entry without text";
    EXPECT_STREQ(vdict_str_default(dict, "absent", "?"), "?");

    uint8_t raw[4] = {1, 2, 3, 4};
    vdict_set_bytes(dict, "copy", raw, 4);
    EXPECT_NE(vdict_bytes(dict, "copy"), raw);
    EXPECT_EQ(std::memcmp(vdict_bytes(dict, "copy"), raw, 4), 0);
    EXPECT_EQ(vdict_bytes(dict, "absent"), nullptr);
    auto *owned = static_cast<uint8_t *>(HAL_Malloc(4));
    vdict_set_bytes_owned(dict, "owned", owned, 4);
    EXPECT_EQ(vdict_bytes(dict, "owned"), owned) << "taken over, not copied";
    vdict_set_bytes_owned(nullptr, "k", static_cast<uint8_t *>(HAL_Malloc(4)), 4);  // freed
    vdict_set_bytes_owned(dict, "k", raw, 0);  // neither taken nor freed

    vdict_set_sized_ptr(dict, "sized", &object, 12);
    EXPECT_EQ(vdict_ptr_default(dict, "sized", nullptr), &object);
    pz_variant_t *sized = pz_variant_dict_get(dict, "sized");
    EXPECT_TRUE(sized->vt == vtype_ptr && sized->len == 12u);
    pz_variant_unref(sized);
    pz_variant_unref(arr);
    pz_variant_unref(dict);
}

// Nowhere to store them: the element goes at once, with its callbacks; a
// replaced owner is destroyed at once.
TEST_F(TypedAccess, OwnedAndSharedPointersThroughContainers) {
    pz_variant_t *dict = pz_variant_dict_new();
    varray_add_autoptr(nullptr, &object, CallbackLog::dtor);
    varray_add_sharedptr(dict, &object, CallbackLog::ref, CallbackLog::unref);
    vdict_set_autoptr(nullptr, "k", &object, CallbackLog::dtor);
    vdict_set_autoptr(dict, "", &object, CallbackLog::dtor);
    vdict_set_sharedptr(nullptr, "k", &object, CallbackLog::ref, CallbackLog::unref);
    EXPECT_EQ(CallbackLog::dtor_calls, 3);
    EXPECT_EQ(CallbackLog::ref_calls, 2);
    EXPECT_EQ(CallbackLog::unref_calls, 2);
    vdict_set_autoptr(dict, "owned", &object, CallbackLog::dtor);
    vdict_set_autoptr(dict, "owned", &object, CallbackLog::dtor);
    EXPECT_EQ(CallbackLog::dtor_calls, 4);
    vdict_set_sharedptr(dict, "shared", &object, CallbackLog::ref, CallbackLog::unref);
    pz_variant_dict_erase(dict, "shared");
    EXPECT_EQ(CallbackLog::unref_calls, 3);
    pz_variant_unref(dict);
    EXPECT_EQ(CallbackLog::dtor_calls, 5);
}

// A child is the array's last element, which holds its only reference,
// also when allocations fail.
TEST_F(TypedAccess, ChildContainersAreLentToTheCaller) {
    const long mallocs = hal_malloc_calls();
    EXPECT_EQ(varray_add_dict(nullptr), nullptr);
    EXPECT_EQ(varray_add_array(&not_an_array), nullptr);
    EXPECT_EQ(hal_malloc_calls(), mallocs) << "nothing made for a non-array";
    sweep_alloc_failures([] {
        pz_variant_t *a = pz_variant_array_new();
        for (int i = 0; i < 10; ++i) {
            pz_variant_t *child = i % 2 ? varray_add_dict(a) : varray_add_array(a);
            if (child == nullptr) continue;
            EXPECT_EQ(child->vt, i % 2 ? vtype_dict : vtype_array);
            pz_variant_t *last = pz_variant_array_index(a, pz_variant_array_size(a) - 1);
            EXPECT_EQ(last, child);
            expect_held(last, child->vt);
        }
        pz_variant_unref(a);
    });
}

}  // namespace
