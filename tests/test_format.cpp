// Format-driven append, pack and unpack (each scalar letter is checked with
// its kind's other accessors).
#include <cmath>

#include "pz_test.h"
#include "containers/arrays.h"
#include "va_entry.h"

namespace {

using Format = LeakCheckedTest;
using pz::array_at;

// The five entry points differ only in how they find the format and the
// arguments: each must read the same values from the same call.
TEST_F(Format, EveryEntryPointReadsTheFormatAndItsArguments) {
#define ARGS "xcd", int64_t{INT64_MIN}, "text", -0.5
    pz_variant_t *built[5] = {pz_variant_pack(ARGS), pack_arg_from(0, ARGS), pz_variant_array_new(),
                              pz_variant_array_new(), pz_variant_array_new()};
    pz_variant_array_append_vals(built[2], ARGS);
    append_args_from(built[3], ARGS);
    append_internal_from(built[4], ARGS);
#undef ARGS
    // Pack's storage holds the letters' elements and no more.
    for (pz_variant_t *packed : {built[0], built[1]}) EXPECT_EQ(pz::array_of(packed)->capacity, 3u);
    for (pz_variant_t *va : built) {
        ASSERT_EQ(pz_variant_array_size(va), 3u);
        EXPECT_EQ(array_at(va, 0)->int64_val, INT64_MIN);
        EXPECT_STREQ(array_at(va, 1)->str_val, "text");
        EXPECT_EQ(array_at(va, 2)->double_val, -0.5);
        pz_variant_unref(va);
    }
}

TEST_F(Format, NarrowLettersConvertTheirPromotedArgument) {
    pz_variant_t *va = pz_variant_pack("boynqf", 2, 200, 300, 70000, -1, -1e300);
    EXPECT_TRUE(array_at(va, 0)->bool_val);
    EXPECT_EQ(array_at(va, 1)->int8_val, -56);
    EXPECT_EQ(array_at(va, 2)->uint8_val, 44);
    EXPECT_EQ(array_at(va, 3)->int16_val, 4464);
    EXPECT_EQ(array_at(va, 4)->uint64_val, union_read<uint64_t>(uint16_t{65535}))
        << "the rest of the union stays zero";
    EXPECT_TRUE(std::isinf(array_at(va, 5)->float_val) && array_at(va, 5)->float_val < 0);
    pz_variant_unref(va);
}

TEST_F(Format, SlotsLineUpWithLettersAndPointerLettersReadSeveralArguments) {
    // "m", "[" and "{" are kinds but not letters; a null text is a value.
    int owned = 0, shared = 0;
    pz_variant_t *va = pz_variant_pack("m[c{\xff" "cas*", "hello", static_cast<const char *>(nullptr),
                                       static_cast<void *>(&owned), CallbackLog::dtor,
                                       static_cast<void *>(&shared), CallbackLog::ref,
                                       CallbackLog::unref, static_cast<void *>(&owned));
    ASSERT_EQ(pz_variant_array_size(va), 9u);
    for (uint32_t i : {0, 1, 3, 4}) EXPECT_EQ(array_at(va, i), nullptr) << "slot " << i;
    EXPECT_STREQ(array_at(va, 2)->str_val, "hello");
    for (uint32_t i : {5, 6, 7}) EXPECT_EQ(array_at(va, i)->vt, "cas"[i - 5]);
    EXPECT_EQ(CallbackLog::ref_calls, 1);

    const char *text = "x";
    void *got[3] = {};
    EXPECT_EQ(pz_variant_unpack(va, "--c---as*", &text, &got[0], &got[1], &got[2]), 9);
    EXPECT_EQ(text, array_at(va, 2)->str_val) << "unpack lends the element's own text";
    EXPECT_TRUE(got[0] == &owned && got[1] == &shared && got[2] == &owned);
    EXPECT_EQ(CallbackLog::dtor_calls + CallbackLog::unref_calls, 0) << "unpack only lends";
    EXPECT_EQ(pz_variant_unpack(va, "--c------c", &text, &text), 0) << "one letter too many";
    pz_variant_unref(va);
    EXPECT_EQ(CallbackLog::last_dtor_arg, &owned);
    EXPECT_EQ(CallbackLog::last_unref_arg, &shared);
}

// An empty format, or none, reads nothing and packs nothing, not []. (The
// entry points share their checks, on targets too: test_dict.cpp.)
TEST_F(Format, NothingIsReadWithoutAFormat) {
    pz_variant_t *va = pz_variant_array_new();
    for (const char *fmt : {"", static_cast<const char *>(nullptr)}) {
        pz_variant_array_append_vals(va, fmt, 1);
        EXPECT_EQ(pz_variant_pack(fmt), nullptr);
    }
    EXPECT_EQ(pz_variant_array_size(va), 0u);
    pz_variant_unref(va);
}

// Short of memory, letter n is still element n: every element is appended
// (one that cannot be made left empty) or, without room, none.
TEST_F(Format, ShortOfMemoryLettersStillLineUp) {
    int object = 0;
    sweep_alloc_failures([&] {
        pz_variant_t *a = pz_variant_array_new();
        for (int i = 0; i < 8; ++i) varray_add_int8(a, 1);  // its reserve is full
        const uint32_t before = pz_variant_array_size(a);
        pz_variant_array_append_vals(a, "ixa", int32_t{7}, int64_t{9}, &object, CallbackLog::dtor);
        const uint32_t n = pz_variant_array_size(a);
        EXPECT_TRUE(n == before || n == before + 3);
        const char kinds[] = {vtype_int32, vtype_int64, vtype_autoptr};
        for (uint32_t i = before; i < n; ++i) {
            EXPECT_TRUE(array_at(a, i) == nullptr || array_at(a, i)->vt == kinds[i - before]);
        }
        pz_variant_unref(a);
    });
}

TEST_F(Format, UnpackResultCodesAndReinterpretedBytes) {
    pz_variant_t *va = pz_variant_pack("mii", int32_t{-1}, int32_t{5});
    int32_t skipped = 42, i = 0;
    int64_t wide = 0;
    int8_t narrow = 0;
    EXPECT_EQ(pz_variant_unpack(va, "ii", &skipped, &i), 2) << "a shorter format is fine";
    EXPECT_EQ(skipped, 42) << "an empty slot takes its pointer and writes nothing";
    EXPECT_EQ(i, -1);
    EXPECT_EQ(pz_variant_unpack(va, "-xo", &wide, &narrow), 3);
    EXPECT_EQ(wide, union_read<int64_t>(int32_t{-1}));
    EXPECT_EQ(narrow, union_read<int8_t>(int32_t{5}));
    for (const char *fmt : {"", static_cast<const char *>(nullptr)}) EXPECT_EQ(pz_variant_unpack(va, fmt, &i), 0);
    EXPECT_EQ(pz_variant_unpack(nullptr, "i", &i), 0);
    EXPECT_EQ(pz_variant_unpack(array_at(va, 1), "i", &i), 0) << "not an array";
    pz_variant_unref(va);
}

}  // namespace
