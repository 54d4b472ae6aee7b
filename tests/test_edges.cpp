// Arguments at the edges of what the library takes: one-byte and
// one-megabyte keys, texts of several megabytes, and, in the Slow suites
// that only `make test-slow` runs, containers of ten million entries. Each
// works or fails cleanly; the fixture checks that nothing leaks.
#include <charconv>
#include <cstring>
#include <string>

#include "pz_test.h"

namespace {

using Edges = LeakCheckedTest;

// The dump of `v` read back: true when it gives an equal value.
bool survives_dump(const pz_variant_t *v, size_t *text_len) {
    char *text = pz_variant_dump(v);
    if (text == nullptr) return false;
    *text_len = std::strlen(text);
    pz_variant_t *back = pz_variant_from_dump(text);
    const bool same = pz_variant_equal(back, v);
    pz_variant_unref(back);
    HAL_Free(text);
    return same;
}

int32_t int32_at(const pz_variant_t *dict, const std::string &key) {
    pz_variant_t *got = pz_variant_dict_get(dict, key.c_str());
    const int32_t value = got != nullptr && got->vt == vtype_int32 ? got->int32_val : -1;
    pz_variant_unref(got);
    return value;
}

TEST_F(Edges, KeysOfOneByteAndOfOneMegabyte) {
    std::string big_a(1 << 20, 'x');
    std::string big_b = big_a;
    big_a.back() = 'a';
    big_b.back() = 'b';  // differs only in its last byte
    const std::string keys[] = {"k", "\xc3\xa9", big_a, big_b};

    pz_variant_t *dict = pz_variant_dict_new();
    for (int32_t i = 0; i < 4; ++i) put_new(dict, keys[i].c_str(), pz_variant_int32_new(i));
    ASSERT_EQ(pz_variant_dict_size(dict), 4u);
    for (int32_t i = 0; i < 4; ++i) EXPECT_EQ(int32_at(dict, keys[i]), i) << keys[i].size();

    size_t text_len = 0;
    EXPECT_TRUE(survives_dump(dict, &text_len));
    EXPECT_GT(text_len, 2u << 20);

    EXPECT_TRUE(pz_variant_dict_erase(dict, big_a.c_str()));
    EXPECT_FALSE(pz_variant_dict_erase(dict, big_a.c_str()));
    EXPECT_TRUE(pz_variant_dict_erase(dict, "k"));
    EXPECT_EQ(pz_variant_dict_size(dict), 2u);
    EXPECT_EQ(int32_at(dict, big_b), 3) << "the neighbour of an erased key stays";
    pz_variant_unref(dict);
}

// A list of `n` strings with escapes, several megabytes when dumped.
pz_variant_t *long_list(int n) {
    pz_variant_t *list = pz_variant_array_new();
    for (int i = 0; i < n; ++i) {
        const std::string s = "line \"" + std::to_string(i) + "\"\n\t\xe2\x82\xac";
        append_new(list, pz_variant_str_new(s.c_str()));
    }
    return list;
}

TEST_F(Edges, TextsOfSeveralMegabytes) {
    pz_variant_t *list = long_list(100000);
    size_t text_len = 0;
    EXPECT_TRUE(survives_dump(list, &text_len));
    EXPECT_GT(text_len, 3u << 20);
    EXPECT_EQ(pz_variant_dump_buf(list, nullptr, 0), static_cast<int32_t>(text_len));
    char small[8];
    EXPECT_EQ(pz_variant_dump_buf(list, small, sizeof small), -2);

    char *text = pz_variant_dump(list);
    ASSERT_NE(text, nullptr);
    text[text_len - 1] = '\0';  // one closing brace short
    EXPECT_EQ(pz_variant_from_dump(text), nullptr);
    HAL_Free(text);

    // One string value of several megabytes.
    const std::string huge(6 << 20, 'z');
    pz_variant_t *s = pz_variant_str_new(huge.c_str());
    EXPECT_TRUE(survives_dump(s, &text_len));
    EXPECT_EQ(text_len, huge.size() + std::strlen(R"({"string":""})"));
    pz_variant_unref(s);
    pz_variant_unref(list);
}

using SlowEdges = LeakCheckedTest;

constexpr uint32_t kTenMillion = 10'000'000;

TEST_F(SlowEdges, ArrayOfTenMillionElements) {
    pz_variant_t *arr = pz_variant_array_new();
    for (uint32_t i = 0; i < kTenMillion; ++i) append_new(arr, pz_variant_uint32_new(i));
    ASSERT_EQ(pz_variant_array_size(arr), kTenMillion);
    pz_variant_t *last = pz_variant_array_index(arr, kTenMillion - 1);
    EXPECT_EQ(last->uint32_val, kTenMillion - 1);
    EXPECT_EQ(pz_variant_array_index(arr, kTenMillion), nullptr);
    pz_variant_t *copy = pz_variant_dup(arr);
    EXPECT_TRUE(pz_variant_equal(copy, arr));
    size_t text_len = 0;
    EXPECT_TRUE(survives_dump(arr, &text_len));
    for (pz_variant_t *v : {last, copy, arr}) pz_variant_unref(v);
}

TEST_F(SlowEdges, DictionaryOfTenMillionEntries) {
    pz_variant_t *dict = pz_variant_dict_new();
    char key[16];
    for (uint32_t i = 0; i < kTenMillion; ++i) {
        *std::to_chars(key, key + sizeof key - 1, i).ptr = '\0';
        put_new(dict, key, pz_variant_uint32_new(i));
    }
    ASSERT_EQ(pz_variant_dict_size(dict), kTenMillion);
    for (uint32_t i = 0; i < kTenMillion; i += 2) {
        *std::to_chars(key, key + sizeof key - 1, i).ptr = '\0';
        EXPECT_TRUE(pz_variant_dict_erase(dict, key));
    }
    EXPECT_EQ(pz_variant_dict_size(dict), kTenMillion / 2);
    pz_variant_t *odd = pz_variant_dict_get(dict, "9999999");
    ASSERT_NE(odd, nullptr);
    EXPECT_EQ(odd->uint32_val, 9999999u);
    pz_variant_t *copy = pz_variant_dup(dict);
    EXPECT_TRUE(pz_variant_equal(copy, dict));
    size_t text_len = 0;
    EXPECT_TRUE(survives_dump(dict, &text_len));
    for (pz_variant_t *v : {odd, copy, dict}) pz_variant_unref(v);
}

}  // namespace
