// Format-driven append, pack and unpack.
#include <cmath>
#include <cstring>

#include "pz_test.h"
#include "va_entry.h"
#include "pz_variant_internal.h"
#include "pz_variant_kinds.h"

namespace {

using Format = LeakCheckedTest;

const pz_variant_t *at(const pz_variant_t *va, uint32_t i) { return pz::array_at(va, i); }

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
    for (pz_variant_t *va : built) {
        ASSERT_EQ(pz_variant_array_size(va), 3u);
        EXPECT_EQ(at(va, 0)->int64_val, INT64_MIN);
        EXPECT_STREQ(at(va, 1)->str_val, "text");
        EXPECT_EQ(at(va, 2)->double_val, -0.5);
        pz_variant_unref(va);
    }
}

TEST_F(Format, EveryScalarLetterReadsItsPromotedTypeAndUnpacksBack) {
    int object = 0;
#define ROUND_TRIP(name, ctype, code, va_type)                                            \
    {                                                                                     \
        using T = ctype;                                                                  \
        const T sample = far_from_zero<T>(&object);                                       \
        const char fmt[] = {static_cast<char>(code), 'i', '\0'};                          \
        pz_variant_t *va = pz_variant_pack(fmt, static_cast<va_type>(sample), int32_t{77}); \
        ASSERT_EQ(pz_variant_array_size(va), 2u) << #name;                                \
        EXPECT_EQ(at(va, 0)->vt, code) << #name;                                          \
        EXPECT_EQ(refcount(at(va, 0)), 1) << #name;                                       \
        EXPECT_EQ(std::memcmp(at(va, 0), &sample, sizeof sample), 0) << #name;            \
        T back{};                                                                         \
        int32_t tail = 0;                                                                 \
        EXPECT_EQ(pz_variant_unpack(va, fmt, &back, &tail), 2) << #name;                  \
        EXPECT_EQ(back, sample) << #name;                                                 \
        EXPECT_EQ(tail, 77) << #name << ": the next letter got its own argument";         \
        pz_variant_unref(va);                                                             \
    }
    PZ_SCALAR_KINDS(ROUND_TRIP)
#undef ROUND_TRIP
}

TEST_F(Format, NarrowLettersConvertTheirPromotedArgument) {
    pz_variant_t *va = pz_variant_pack("bboyoynqff", 2, 0, 200, -1, 300, 256, 70000, -1, 0.1, -1e300);
    ASSERT_EQ(pz_variant_array_size(va), 10u);
    EXPECT_TRUE(at(va, 0)->bool_val);
    EXPECT_FALSE(at(va, 1)->bool_val);
    EXPECT_EQ(at(va, 2)->int8_val, -56);
    EXPECT_EQ(at(va, 3)->uint8_val, 255);
    EXPECT_EQ(at(va, 4)->int8_val, 44);
    EXPECT_EQ(at(va, 5)->uint8_val, 0);
    EXPECT_EQ(at(va, 6)->int16_val, 4464);
    EXPECT_EQ(at(va, 7)->uint64_val, 65535u) << "the rest of the union stays zero";
    EXPECT_EQ(at(va, 8)->float_val, 0.1f);
    EXPECT_TRUE(std::isinf(at(va, 9)->float_val) && at(va, 9)->float_val < 0);
    pz_variant_unref(va);
}

TEST_F(Format, SlotsLineUpWithLetters) {
    // "m", "[" and "{" are kinds but not letters; a null text is a value.
    const char text[] = "hello";
    pz_variant_t *va = pz_variant_pack("m[c{ \xff" "c", text, static_cast<const char *>(nullptr));
    ASSERT_EQ(pz_variant_array_size(va), 7u);
    for (uint32_t i : {0, 1, 3, 4, 5}) EXPECT_EQ(at(va, i), nullptr) << "slot " << i;
    EXPECT_STREQ(at(va, 2)->str_val, "hello");
    EXPECT_NE(at(va, 2)->str_val, text);
    ASSERT_NE(at(va, 6), nullptr);
    EXPECT_EQ(at(va, 6)->vt, vtype_string);

    const char *out[2] = {"x", "x"};
    EXPECT_EQ(pz_variant_unpack(va, "--c---c-", &out[0], &out[1]), 0) << "one letter too many";
    EXPECT_EQ(out[0], at(va, 2)->str_val) << "unpack lends the element's own text";
    EXPECT_EQ(out[1], nullptr);
    pz_variant_unref(va);
}

TEST_F(Format, PointerLettersReadTwoAndThreeArguments) {
    int owned = 0, shared = 0;
    pz_variant_t *va = pz_variant_array_new();
    pz_variant_array_append_vals(va, "asi*", static_cast<void *>(&owned), CallbackLog::dtor,
                                 static_cast<void *>(&shared), CallbackLog::ref,
                                 CallbackLog::unref, int32_t{5}, static_cast<void *>(&owned));
    ASSERT_EQ(pz_variant_array_size(va), 4u);
    EXPECT_EQ(at(va, 0)->vt, vtype_autoptr);
    EXPECT_EQ(at(va, 1)->vt, vtype_sharedptr);
    EXPECT_EQ(at(va, 2)->int32_val, 5);
    EXPECT_EQ(CallbackLog::ref_calls, 1);

    void *got[3] = {};
    EXPECT_EQ(pz_variant_unpack(va, "as-*", &got[0], &got[1], &got[2]), 4);
    EXPECT_EQ(got[0], &owned);
    EXPECT_EQ(got[1], &shared);
    EXPECT_EQ(got[2], &owned);
    EXPECT_EQ(CallbackLog::dtor_calls + CallbackLog::unref_calls, 0) << "unpack only lends";

    pz_variant_unref(va);
    EXPECT_EQ(CallbackLog::last_dtor_arg, &owned);
    EXPECT_EQ(CallbackLog::last_unref_arg, &shared);
    EXPECT_EQ(CallbackLog::dtor_calls + CallbackLog::unref_calls, 2);
}

// Under every allocation failure: nothing leaks, a shared object gets back
// every reference it gave, and a slot is either a whole element or empty.
TEST_F(Format, AllocationFailuresLeaveEmptySlotsAndLeakNothing) {
    int shared = 0;
    void *object = &shared;
#define ARGS "csi", "text", object, CallbackLog::ref, CallbackLog::unref, int32_t{3}
    for (bool pack : {true, false}) {
        EXPECT_GE(sweep_alloc_failures([&] {
                      CallbackLog::reset();
                      pz_variant_t *va = pack ? pz_variant_pack(ARGS) : pz_variant_array_new();
                      if (!pack) pz_variant_array_append_vals(va, ARGS);
                      const uint32_t n = pz_variant_array_size(va);
                      EXPECT_LE(n, 3u);
                      if (n == 3 && at(va, 2) != nullptr) {
                          EXPECT_EQ(at(va, 2)->int32_val, 3);
                      }
                      pz_variant_unref(va);
                      EXPECT_EQ(CallbackLog::ref_calls, CallbackLog::unref_calls);
                  }),
                  4);
    }
#undef ARGS
}

TEST_F(Format, NothingIsReadWithoutAnArrayOrAFormat) {
    int shared = 0;
    pz_variant_t *dict = pz_variant_dict_new();
    pz_variant_t *bare = pz_variant_array_new();
    pz_array_free(static_cast<pz_array_t *>(bare->ptr_val));
    bare->ptr_val = nullptr;  // an array whose storage could not be made
    void *object = &shared;
    for (pz_variant_t *target : {static_cast<pz_variant_t *>(nullptr), dict, bare}) {
        pz_variant_array_append_vals(target, "s", object, CallbackLog::ref, CallbackLog::unref);
        append_args_from(target, "s", object, CallbackLog::ref, CallbackLog::unref);
        append_internal_from(target, "s", object, CallbackLog::ref, CallbackLog::unref);
    }
    EXPECT_EQ(CallbackLog::ref_calls, 0);
    EXPECT_EQ(pz_variant_dict_size(dict), 0u);

    pz_variant_t *va = pz_variant_array_new();
    pz_variant_array_append_vals(va, "", 1);
    pz_variant_array_append_vals(va, nullptr, 1);
    append_args_from(va, static_cast<const char *>(nullptr), 1);
    EXPECT_EQ(pz_variant_array_size(va), 0u);
    EXPECT_EQ(pz_variant_pack(""), nullptr) << "an empty format packs nothing, not []";
    EXPECT_EQ(pz_variant_pack(nullptr), nullptr);
    EXPECT_EQ(pack_arg_from(0, ""), nullptr);
    for (pz_variant_t *v : {va, dict, bare}) pz_variant_unref(v);
}

TEST_F(Format, UnpackResultCodesAndReinterpretedBytes) {
    pz_variant_t *va = pz_variant_pack("mii", int32_t{-1}, int32_t{5});
    pz_variant_t *dict = pz_variant_dict_new();
    int32_t skipped = 42, i = 0;
    int64_t wide = 0;
    int8_t narrow = 0;
    EXPECT_EQ(pz_variant_unpack(va, "ii", &skipped, &i), 2) << "a shorter format is fine";
    EXPECT_EQ(skipped, 42) << "an empty slot takes its pointer and writes nothing";
    EXPECT_EQ(i, -1);
    EXPECT_EQ(pz_variant_unpack(va, "-xo", &wide, &narrow), 3);
    EXPECT_EQ(wide, 4294967295);
    EXPECT_EQ(narrow, 5);
    EXPECT_EQ(pz_variant_unpack(nullptr, "i", &skipped), 0);
    EXPECT_EQ(pz_variant_unpack(dict, "i", &skipped), 0);
    EXPECT_EQ(pz_variant_unpack(va, "", &skipped), 0);
    EXPECT_EQ(pz_variant_unpack(va, nullptr, &skipped), 0);
    EXPECT_EQ(skipped, 42);
    pz_variant_unref(dict);
    pz_variant_unref(va);
}

}  // namespace
