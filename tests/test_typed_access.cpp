// Typed array and dictionary accessors: raw reads and the hand-written
// members (the generated ones are checked per kind with the scalars; those
// given nowhere to store: test_dict.cpp).
#include "pz_test.h"

namespace {

using TypedAccess = LeakCheckedTest;

int object;

// Both families read through the same raw load; the array's is checked here.
// (A child container is made only in an array: test_dict.cpp.)
TEST_F(TypedAccess, GettersReadRawBitsAndAllocateNothing) {
    pz_variant_t *arr = pz_variant_pack("oofi", -1, 2, 0.1, int32_t{256});
    const long mallocs = hal_malloc_calls(), incs = hal_atomic_incs();
    EXPECT_EQ(varray_int64(arr, 0), union_read<int64_t>(int8_t{-1}));
    EXPECT_TRUE(varray_bool(arr, 1));
    EXPECT_EQ(varray_float(arr, 2), 0.1f) << "kept in single precision";
    EXPECT_FALSE(varray_bool(arr, 3)) << "only the first byte counts";
    EXPECT_EQ(hal_malloc_calls(), mallocs);
    EXPECT_EQ(hal_atomic_incs(), incs) << "getters take no reference";
    pz_variant_unref(arr);
}

TEST_F(TypedAccess, StringsBytesAndSizedPointers) {
    pz_variant_t *arr = pz_variant_array_new(), *dict = pz_variant_dict_new();
    varray_add_str(arr, "");
    varray_add_sized_str(arr, "a\0b", 3);
    varray_add_sized_str(nullptr, "lost", 4);  // made, then released
    EXPECT_EQ(varray_str(arr, 0), nullptr);
    EXPECT_EQ(std::memcmp(varray_str(arr, 1), "a\0b", 4), 0);

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
    pz_variant_t *sized = pz_variant_dict_get(dict, "sized");
    EXPECT_TRUE(sized->vt == vtype_ptr && sized->ptr_val == &object && sized->len == 12u);
    for (pz_variant_t *v : {sized, arr, dict}) pz_variant_unref(v);
}

}  // namespace
