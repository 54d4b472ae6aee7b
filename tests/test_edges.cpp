// Arguments at the edges: megabyte keys and texts and, in the Slow suite
// that only `make test-slow` runs, containers of ten million entries. Each
// works or fails cleanly; the fixture checks that nothing leaks.
#include "pz_test.h"

namespace {

using Edges = LeakCheckedTest;

// The dump of `v` reads back equal, and dump_buf agrees on its size.
void expect_dump_survives(const pz_variant_t *v, size_t min_len) {
    std::string text = expect_round_trip(v, pz_variant_from_dump, pz_variant_dump);
    EXPECT_GE(text.size(), min_len);
    EXPECT_EQ(pz_variant_dump_buf(v, nullptr, 0), static_cast<int32_t>(text.size()));
    text.pop_back();  // one closing brace short
    EXPECT_EQ(pz_variant_from_dump(text.c_str()), nullptr);
}

TEST_F(Edges, MegabyteKeysAndTexts) {
    std::string big_a(1 << 20, 'x'), big_b = big_a;
    big_a.back() = 'a', big_b.back() = 'b';  // keys that differ only in their last byte
    const std::string keys[] = {"k", "\xc3\xa9", big_a, big_b};
    pz_variant_t *dict = pz_variant_dict_new();
    for (int32_t i = 0; i < 4; ++i) put_new(dict, keys[i].c_str(), pz_variant_int32_new(i));
    ASSERT_EQ(pz_variant_dict_size(dict), 4u);
    expect_dump_survives(dict, 2u << 20);
    EXPECT_TRUE(pz_variant_dict_erase(dict, big_a.c_str()));
    EXPECT_FALSE(pz_variant_dict_erase(dict, big_a.c_str()));
    EXPECT_EQ(vdict_int32_default(dict, big_b.c_str(), -1), 3) << "the erased key's neighbour stays";

    pz_variant_t *list = pz_variant_array_new();  // many short escaped strings
    for (int i = 0; i < 100000; ++i) {
        append_new(list, pz_variant_str_new(("line \"" + std::to_string(i) + "\"\n\t\xe2\x82\xac").c_str()));
    }
    expect_dump_survives(list, 3u << 20);
    pz_variant_t *huge = pz_variant_str_new(std::string(6 << 20, 'z').c_str());  // one long string
    expect_dump_survives(huge, 6u << 20);
    for (pz_variant_t *v : {dict, list, huge}) pz_variant_unref(v);
}

using SlowEdges = LeakCheckedTest;

TEST_F(SlowEdges, ContainersOfTenMillionEntries) {
    constexpr uint32_t kTenMillion = 10'000'000;
    pz_variant_t *arr = pz_variant_array_new(), *dict = pz_variant_dict_new();
    for (uint32_t i = 0; i < kTenMillion; ++i) {
        append_new(arr, pz_variant_uint32_new(i));
        put_new(dict, std::to_string(i).c_str(), pz_variant_uint32_new(i));
    }
    EXPECT_EQ(varray_uint32(arr, kTenMillion - 1), kTenMillion - 1);
    EXPECT_EQ(pz_variant_array_index(arr, kTenMillion), nullptr);
    for (uint32_t i = 0; i < kTenMillion; i += 2) {
        EXPECT_TRUE(pz_variant_dict_erase(dict, std::to_string(i).c_str()));
    }
    EXPECT_EQ(pz_variant_dict_size(dict), kTenMillion / 2);
    EXPECT_EQ(vdict_uint32_default(dict, "9999999", 0), 9999999u);
    for (pz_variant_t *v : {arr, dict}) {
        pz_variant_t *copy = pz_variant_dup(v);
        EXPECT_TRUE(pz_variant_equal(copy, v));
        expect_dump_survives(v, kTenMillion);
        for (pz_variant_t *x : {copy, v}) pz_variant_unref(x);
    }
}

}  // namespace
