// Format-driven append, pack and unpack, through every entry point.
#include <cmath>
#include <cstring>

#include "pz_test.h"
#include "va_entry.h"
#include "pz_variant_internal.h"
#include "pz_variant_kinds.h"

namespace {

// The five ways to turn a format and arguments into array elements.
enum class Entry { AppendVals, AppendArgs, AppendInternal, Pack, PackArg };

// A new array holding what `entry` made of `fmt` and `args`. The caller
// passes each argument at the type its letter reads.
template <class... A>
pz_variant_t *build(Entry entry, const char *fmt, A... args) {
    if (entry == Entry::Pack) return pz_variant_pack(fmt, args...);
    if (entry == Entry::PackArg) return pack_arg_from(0, fmt, args...);
    pz_variant_t *va = pz_variant_array_new();
    if (entry == Entry::AppendVals) pz_variant_array_append_vals(va, fmt, args...);
    if (entry == Entry::AppendArgs) append_args_from(va, fmt, args...);
    if (entry == Entry::AppendInternal) append_internal_from(va, fmt, args...);
    return va;
}

const pz_variant_t *at(const pz_variant_t *va, uint32_t i) { return pz::array_at(va, i); }

class FormatTargets : public LeakCheckedTest {
protected:
    void SetUp() override {
        LeakCheckedTest::SetUp();
        CallbackLog::reset();
    }
};

class Format : public FormatTargets, public ::testing::WithParamInterface<Entry> {};

INSTANTIATE_TEST_SUITE_P(Entries, Format,
                         ::testing::Values(Entry::AppendVals, Entry::AppendArgs,
                                           Entry::AppendInternal, Entry::Pack, Entry::PackArg));

TEST_P(Format, EveryScalarLetterReadsItsPromotedTypeAndUnpacksBack) {
    int object = 0;
#define ROUND_TRIP(name, ctype, code, va_type)                                           \
    {                                                                                    \
        using T = ctype;                                                                 \
        const T sample = far_from_zero<T>(&object);                                      \
        const char fmt[] = {static_cast<char>(code), 'i', '\0'};                         \
        pz_variant_t *va = build(GetParam(), fmt, static_cast<va_type>(sample),          \
                                 int32_t{77});                                           \
        ASSERT_EQ(pz_variant_array_size(va), 2u) << #name;                               \
        EXPECT_EQ(at(va, 0)->vt, code) << #name;                                         \
        EXPECT_EQ(refcount(at(va, 0)), 1) << #name;                                      \
        EXPECT_EQ(std::memcmp(at(va, 0), &sample, sizeof sample), 0) << #name;           \
        T back{};                                                                        \
        int32_t tail = 0;                                                                \
        EXPECT_EQ(pz_variant_unpack(va, fmt, &back, &tail), 2) << #name;                 \
        EXPECT_EQ(back, sample) << #name;                                                \
        EXPECT_EQ(tail, 77) << #name << ": the next letter got its own argument";        \
        pz_variant_unref(va);                                                            \
    }
    PZ_SCALAR_KINDS(ROUND_TRIP)
#undef ROUND_TRIP
}

TEST_P(Format, NarrowLettersConvertTheirPromotedArgument) {
    pz_variant_t *va = build(GetParam(), "bboyoynqff", 2, 0, 200, -1, 300, 256, 70000, -1, 0.1,
                             -1e300);
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

TEST_P(Format, SlotsLineUpWithLetters) {
    // "m", "[" and "{" are kinds but not letters; a null text is a value.
    const char text[] = "hello";
    pz_variant_t *va = build(GetParam(), "m[c{ \xff" "c", static_cast<const char *>(text),
                             static_cast<const char *>(nullptr));
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

TEST_P(Format, PointerLettersReadTwoAndThreeArguments) {
    int owned = 0;
    int shared = 0;
    pz_variant_t *va = build(GetParam(), "asi*", static_cast<void *>(&owned), CallbackLog::dtor,
                             static_cast<void *>(&shared), CallbackLog::ref, CallbackLog::unref,
                             int32_t{5}, static_cast<void *>(&owned));
    ASSERT_EQ(pz_variant_array_size(va), 4u);
    EXPECT_EQ(at(va, 0)->vt, vtype_autoptr);
    EXPECT_EQ(at(va, 1)->vt, vtype_sharedptr);
    EXPECT_EQ(at(va, 2)->int32_val, 5);
    EXPECT_EQ(at(va, 3)->ptr_val, &owned);
    EXPECT_EQ(CallbackLog::ref_calls, 1);

    void *got[3] = {};
    EXPECT_EQ(pz_variant_unpack(va, "as-*", &got[0], &got[1], &got[2]), 4);
    EXPECT_EQ(got[0], &owned);
    EXPECT_EQ(got[1], &shared);
    EXPECT_EQ(got[2], &owned);
    EXPECT_EQ(CallbackLog::dtor_calls + CallbackLog::unref_calls, 0) << "unpack only lends";

    pz_variant_unref(va);
    EXPECT_EQ(CallbackLog::dtor_calls, 1);
    EXPECT_EQ(CallbackLog::last_dtor_arg, &owned);
    EXPECT_EQ(CallbackLog::unref_calls, 1);
    EXPECT_EQ(CallbackLog::last_unref_arg, &shared);
}

// Under every allocation failure: nothing leaks, a shared object gets back
// every reference it gave, and a slot is either a whole element or empty.
TEST_P(Format, AllocationFailuresLeaveEmptySlotsAndLeakNothing) {
    int shared = 0;
    const int failing_runs = sweep_alloc_failures([&] {
        CallbackLog::reset();
        pz_variant_t *va = build(GetParam(), "csi", "text", static_cast<void *>(&shared),
                                 CallbackLog::ref, CallbackLog::unref, int32_t{3});
        const uint32_t n = pz_variant_array_size(va);
        EXPECT_LE(n, 3u);
        if (n == 3 && at(va, 2) != nullptr) {
            EXPECT_EQ(at(va, 2)->int32_val, 3);
        }
        pz_variant_unref(va);
        EXPECT_EQ(CallbackLog::ref_calls, CallbackLog::unref_calls);
    });
    EXPECT_GE(failing_runs, 5);
}

TEST_F(FormatTargets, NothingIsReadWithoutAnArrayOrAFormat) {
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

    pz_variant_array_append_vals(va, "i", int32_t{1});
    pz_variant_array_append_vals(va, "ii", int32_t{2}, int32_t{3});
    ASSERT_EQ(pz_variant_array_size(va), 3u);
    for (uint32_t i = 0; i < 3; ++i) EXPECT_EQ(at(va, i)->int32_val, static_cast<int32_t>(i + 1));
    for (pz_variant_t *v : {va, dict, bare}) pz_variant_unref(v);
}

TEST_F(FormatTargets, UnpackResultCodesAndReinterpretedBytes) {
    pz_variant_t *va = pz_variant_pack("mii", int32_t{-1}, int32_t{5});
    int32_t skipped = 42, i = 0;
    int64_t wide = 0;
    int8_t narrow = 0;
    EXPECT_EQ(pz_variant_unpack(va, "ii", &skipped, &i), 2) << "a shorter format is fine";
    EXPECT_EQ(skipped, 42) << "an empty slot takes its pointer and writes nothing";
    EXPECT_EQ(i, -1);
    EXPECT_EQ(pz_variant_unpack(va, "-xo", &wide, &narrow), 3);
    EXPECT_EQ(wide, 4294967295);
    EXPECT_EQ(narrow, 5);

    pz_variant_t *dict = pz_variant_dict_new();
    for (const pz_variant_t *v : {static_cast<const pz_variant_t *>(nullptr),
                                  static_cast<const pz_variant_t *>(dict)}) {
        EXPECT_EQ(pz_variant_unpack(v, "i", &skipped), 0);
    }
    EXPECT_EQ(pz_variant_unpack(va, "", &skipped), 0);
    EXPECT_EQ(pz_variant_unpack(va, nullptr, &skipped), 0);
    EXPECT_EQ(pz_variant_unpack(va, "-o", &narrow), 2);
    EXPECT_EQ(narrow, -1);
    EXPECT_EQ(skipped, 42);
    pz_variant_unref(dict);
    pz_variant_unref(va);
}

}  // namespace
