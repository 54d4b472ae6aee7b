// Reading without reference traffic: the C borrowed reads, pz::view, the
// ranges of elements and entries (string_view keys), byte spans, and the
// error texts that name kinds.
#include <cstddef>
#include <functional>
#include <span>

#include "pz_test.h"
#include "pzvariant/pz_variant.hpp"

namespace {

using Views = LeakCheckedTest;

pz::value record() {
    return pz::dict({{"name", "sensor-7"},
                     {"port", int32_t{8080}},
                     {"tags", pz::array({"a", 2.5, pz::dict({{"deep", true}})})},
                     {"blob", pz::value::bytes("\x00\xff", 2)}});
}

TEST_F(Views, BorrowedCReadsTakeNoReferenceAndRefuseWhatNoEntryCanHold) {
    pz::value rec = record();
    const pz_variant_t *d = rec.get();
    const long incs = hal_atomic_incs();
    EXPECT_EQ(pz_variant_dict_find(d, "port")->int32_val, 8080);
    EXPECT_EQ(pz_variant_dict_find_len(d, "portable", 4), pz_variant_dict_find(d, "port")) << "no terminator needed";
    EXPECT_EQ(pz_variant_array_at(pz_variant_dict_find(d, "tags"), 1)->double_val, 2.5);
    const std::pair<const char *, size_t> absent[] = {{"port\0x", 6}, {"", 0}, {nullptr, 3}, {"nope", 4}};
    for (const auto &[key, len] : absent) EXPECT_EQ(pz_variant_dict_find_len(d, key, len), nullptr) << len;
    EXPECT_EQ(pz_variant_dict_find(d, ""), nullptr);
    EXPECT_EQ(pz_variant_array_at(d, 0), nullptr) << "not an array";
    EXPECT_EQ(pz_variant_array_at(pz_variant_dict_find(d, "tags"), 3), nullptr) << "past the end";
    EXPECT_EQ(hal_atomic_incs(), incs);
    EXPECT_EQ(refcount(pz_variant_dict_find(d, "tags")), 1);

    // The walk skips the hole an erase leaves and keeps the others' order.
    rec.erase("port");
    std::vector<std::string> keys;
    uint32_t pos = 0;
    const pz_string_t *key = nullptr;
    pz_variant_t *value = nullptr;
    while (pz_variant_dict_next(d, &pos, &key, &value)) keys.emplace_back(key->cstr, key->len);
    EXPECT_EQ(keys, (std::vector<std::string>{"name", "tags", "blob"}));
    EXPECT_FALSE(pz_variant_dict_next(d, &pos, &key, &value)) << "stays at the end";
    pos = 0;
    EXPECT_FALSE(pz_variant_dict_next(pz_variant_dict_find(d, "tags"), &pos, nullptr, nullptr));
}

TEST_F(Views, AViewReadsAsTheHandleDoesWithoutTouchingACount) {
    const pz::value rec = record();
    const long incs = hal_atomic_incs();
    const pz::view v = rec;
    EXPECT_EQ(v["name"].get<std::string_view>(), "sensor-7");
    EXPECT_EQ(v[std::string("port")].get_as<uint16_t>(), 8080);
    EXPECT_EQ(v["port"].value_or(0), 8080);
    EXPECT_EQ(v["tags"][2]["deep"].value_or(false), true);
    EXPECT_TRUE(v.contains("tags") && !v.contains("x"));
    EXPECT_FALSE(v["tags"][-1].has_value() || v["tags"][7].has_value() || v["missing"]["x"].has_value());
    EXPECT_TRUE(v["missing"].is_null() && pz::view().is_null());
    EXPECT_TRUE(v == rec && rec == v && v["tags"] != rec) << "mixed comparisons";
    EXPECT_EQ(hal_atomic_incs(), incs) << "reads through views take no reference (walks: test_cpp_idioms.cpp)";
    EXPECT_EQ(refcount(rec.get()), 1);

    EXPECT_FALSE(v[std::string_view("na\0me", 5)].has_value()) << "no key holds a NUL byte";
    EXPECT_FALSE(v.contains(std::string_view("na\0me", 5)));
    EXPECT_THROW(v.elements(), pz::error);
    EXPECT_THROW(v["tags"].entries(), pz::error);
    EXPECT_TRUE(pz::view().elements().begin() == pz::view().elements().end());
}

TEST_F(Views, AValueMadeFromAViewKeepsItAfterItsOwnerGoes) {
    pz::value kept;
    {
        pz::value rec = record();
        kept = pz::view(rec)["tags"];
        EXPECT_EQ(refcount(kept.get()), 2);
    }
    EXPECT_EQ(refcount(kept.get()), 1);
    EXPECT_EQ(kept[0].value_or("?"), "a");
    for (const pz::value &e : kept.elements()) EXPECT_TRUE(e.has_value()) << "owned handles still bind";
}

TEST_F(Views, RangesOfATemporaryKeepItWhileTheLoopRuns) {
    // Keys are string_views into the dictionary: ASan reports a read of a
    // freed key if the range let the temporary go.
    std::vector<std::string> seen;
    for (auto [key, v] : pz::from_json(R"({"first-key-longer-than-sso":{"x":1},"b":[true]})").entries()) {
        seen.emplace_back(key);
        seen.emplace_back(1, static_cast<char>(v.kind()));
    }
    EXPECT_EQ(seen, (std::vector<std::string>{"first-key-longer-than-sso", "{", "b", "["}));
    int count = 0;
    for (pz::view e : pz::from_json("[1,[2],null]").elements()) count += e.has_value();
    EXPECT_EQ(count, 3);
    const pz::value rec = record();
    const long incs = hal_atomic_incs();
    for (auto [key, v] : rec.entries()) count += static_cast<int>(key.size()) + v.has_value();
    EXPECT_EQ(hal_atomic_incs(), incs + 1) << "one reference for the whole walk";
}

// (What reads as a span, and what not: the checked-read cases, through
// get_as.)
TEST_F(Views, ByteBuffersReadAsSpansOfTheStoredBytes) {
    const pz::value rec = record();
    const auto blob = rec["blob"].get<std::span<const std::byte>>();
    ASSERT_TRUE(blob.has_value());
    EXPECT_EQ(blob->size(), 2u);
    EXPECT_EQ(blob->data(), static_cast<const std::byte *>(pz::view(rec)["blob"].get()->ptr_val)) << "not a copy";
}

TEST_F(Views, ErrorTextsNameKindsWithTheirArticle) {
    pz::value rec = record();
    const std::pair<std::function<void()>, const char *> cases[] = {
        {[&] { rec.push_back(1); }, "pzvariant: push_back of a dict, not an array"},
        {[&] { rec["tags"].entries(); }, "pzvariant: entries() of an array, not a dict"},
        {[&] { rec.child("port"); }, "pzvariant: child(\"port\") holds an int32, not a dict"},
        {[&] { pz::value(uint8_t{1}).set("k", 1); }, "pzvariant: set of a uint8, not a dict"},
    };
    for (const auto &[op, text] : cases) {
        try {
            op();
            ADD_FAILURE() << text;
        } catch (const pz::error &e) {
            EXPECT_STREQ(e.what(), text);
        }
    }
}

// A value stored again under a key it already has takes that entry's place
// and keeps its key: nothing to allocate, so it cannot fail for memory.
TEST_F(Views, ReplacingAnEntryAllocatesNothing) {
    pz::value rec = record();
    pz::value port = int64_t{443};
    hal_fail_nth(1, 1);
    rec.set("port", port);
    hal_fail_nth(0, 0);
    EXPECT_EQ(rec["port"].get<int64_t>(), 443);
    EXPECT_EQ((*rec.entries().begin()).first, "name") << "the order stays";
    EXPECT_EQ(rec.size(), 4u);
}

}  // namespace
