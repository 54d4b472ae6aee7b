// String and byte-buffer values: copies, take-overs, setters, comparison.

#include "pz_test.h"

namespace {

using Strings = LeakCheckedTest;

// The value's kind, its len bytes (or "NULL" when it holds no buffer) and
// the byte after them for a string. Appended to one string: GCC 12 warns
// falsely (-Wrestrict) about adding to a temporary.
std::string shape(const pz_variant_t *v) {
    const char *p = static_cast<const char *>(v->ptr_val);
    std::string out(1, v->vt);
    if (p == nullptr) return out.append("NULL").append(std::to_string(v->len));
    return out.append(p, v->len + (v->vt == vtype_string));
}

TEST_F(Strings, ConstructorsAndSettersCopyExactlyOrTakeOver) {
    uint8_t bytes[5] = {1, 2, 0, 4, 5};
    const long live = hal_live_blocks();
    pz_variant_t *self = pz_variant_str_new("self");
    EXPECT_EQ(hal_live_blocks(), live + 1) << "the text shares the record's block";
    pz_variant_t *b = vstr_buf_new(bytes, 5);
    EXPECT_EQ(hal_last_size(), 5u) << "no terminator is added to bytes";
    pz_variant_unref(b);
    pz_variant_str_set(self, self->str_val + 1);  // copying from the value itself
    pz_variant_t *self_bytes = pz_variant_str_new("self");
    vstr_buf_set(self_bytes, reinterpret_cast<uint8_t *>(self_bytes->str_val) + 1, 2);
    using S = std::string;
    const struct {
        pz_variant_t *v;
        std::string shape;
    } cases[] = {
        {self, S("celf\0", 5)},
        {self_bytes, "mel"},
        {vstr_buf_new(bytes, 5), S("m\1\2\0\4\5", 6)},
        {pz_variant_str_new(nullptr), "cNULL0"},
        {pz_variant_str_new(""), "cNULL0"},
        {vstr_sized_new("abcdef", 3), S("cabc\0", 5)},
        {vstr_sized_new("a\0b", 3), S("ca\0b\0", 5)},
        {vstr_sized_new("abc", 0), "cNULL0"},
        {vstr_buf_new(nullptr, 4), S("m\0\0\0\0", 5)},
        {vstr_buf_new(bytes, 0), "mNULL0"},
        {pz_variant_str_set(pz_variant_int32_new(1), ""), S("c\0", 2)},
        {pz_variant_str_set(pz_variant_str_new("x"), nullptr), "cNULL0"},
        {vstr_buf_set(pz_variant_str_new("x"), bytes, 2), "m\1\2"},
        {vstr_buf_set(pz_variant_str_new("x"), nullptr, 2), S("m\0\0", 3)},
        {vstr_buf_set(pz_variant_str_new("x"), bytes, 0), "mNULL0"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(shape(c.v), c.shape);
        pz_variant_unref(c.v);
    }
    EXPECT_EQ(vstr_sized_new("abc", UINT32_MAX), nullptr) << "len + 1 would not fit";
    EXPECT_EQ(pz_variant_str_set(nullptr, "x"), nullptr);
    EXPECT_EQ(vstr_buf_set(nullptr, nullptr, 1), nullptr);
    // An owned text is taken over only when not empty (byte buffers taken
    // over are checked through vdict_set_bytes_owned).
    auto *buf = static_cast<char *>(pz_mem_dup("xyz", 3));
    pz_variant_unref(vstr_new_owned(buf, 0));
    pz_variant_t *owner = vstr_new_owned(buf, 3);
    EXPECT_TRUE(owner->ptr_val == buf && owner->len == 3u);
    pz_variant_unref(owner);  // frees the buffer
}

TEST_F(Strings, CompareFollowsStrcmpAndTreatsEmptyAsEqual) {
    for_each_case("str_cmp_cases.txt", [](const std::vector<std::string> &f) {
        ASSERT_EQ(f.size(), 3u);
        pz_variant_t *v = f[0] == "NULL" ? nullptr : case_value(f[0]);
        const int32_t r = pz_variant_str_cmp(v, f[1] == "NULL" ? nullptr : f[1].c_str());
        EXPECT_EQ((r > 0) - (r < 0), std::stoi(f[2]));
        pz_variant_unref(v);
    });
}

}  // namespace
