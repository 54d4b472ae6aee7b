// The C++ interface: reference handling, exact reads, writes and their
// misuse, copies, merges, dumps and packing.
#include "pz_test.h"
#include "pzvariant/pz_variant.hpp"

namespace {

using CppApi = LeakCheckedTest;

TEST_F(CppApi, CopiesShareAndMovesTransferTheReference) {
    pz::value a = int32_t{7};
    {
        pz::value b = a;
        EXPECT_EQ(b.get(), a.get());
        EXPECT_EQ(refcount(a.get()), 2);
        pz::value c = std::move(b);
        EXPECT_FALSE(b.has_value());
        EXPECT_EQ(refcount(a.get()), 2);
        c = pz::value(int8_t{1});  // assignment drops the old reference
        EXPECT_EQ(refcount(a.get()), 1);
    }
    pz_variant_t *raw = a.release();
    EXPECT_FALSE(a.has_value());
    pz::value adopted = pz::value::adopt(raw);
    pz::value borrowed = pz::value::borrow(raw);
    EXPECT_EQ(refcount(raw), 2);
}

TEST_F(CppApi, ConstructionPicksTheKindAndGetMatchesItExactly) {
    using k = pz::kind;
    const std::pair<pz::value, k> kinds[] = {
        {int8_t{-1}, k::int8}, {uint16_t{1}, k::uint16}, {1, k::int32},      {1LL, k::int64},
        {1ull, k::uint64},     {true, k::boolean},       {1.5f, k::float32}, {1.5, k::float64},
        {"text", k::string},   {pz::value::bytes("\x01", 1), k::bytes},      {pz::value::null(), k::null},
        {pz::value(), k::null}};
    for (const auto &[v, kind] : kinds) EXPECT_EQ(v.kind(), kind) << static_cast<char>(kind);
    pz::value v = int32_t{-5};
    EXPECT_EQ(v.get<int32_t>(), -5);
    EXPECT_FALSE(v.get<int64_t>()) << "no widening";
    EXPECT_FALSE(v.get<uint32_t>()) << "no change of sign";
    const pz::value text = std::string("a\0b", 3);
    EXPECT_EQ(text.get<std::string_view>(), std::string_view("a\0b", 3));
    EXPECT_EQ(text.value_or("none"), std::string("a\0b", 3));
    EXPECT_TRUE(pz::value::null().is_null() && pz::value().is_null() && !pz::value(false).is_null());
}

TEST_F(CppApi, WritesGoWhereTheySayOrThrow) {
    pz::value cfg = pz::dict({{"server", pz::dict({{"host", "a"}})}, {"port", 1}});
    cfg.child("server").set("port", 9443);  // into the stored dictionary
    cfg.child(std::string("log")).child("file").set(std::string_view("level"), 2);  // made on the way
    EXPECT_EQ(cfg, pz::dict({{"server", pz::dict({{"host", "a"}, {"port", 9443}})}, {"port", 1},
                             {"log", pz::dict({{"file", pz::dict({{"level", 2}})}})}}));
    EXPECT_TRUE(cfg.contains(std::string("log")) && cfg[std::string_view("log")].has_value());
    EXPECT_TRUE(cfg.erase(std::string("log")));

    pz::value list = pz::array({});
    const auto misuse = {
        +[](pz::value &c, pz::value &) { c["missing"].set("k", 1); },
        +[](pz::value &c, pz::value &) { c["missing"].push_back(1); },
        +[](pz::value &c, pz::value &) { c["missing"].erase("k"); },
        +[](pz::value &c, pz::value &) { c.push_back(1); },
        +[](pz::value &, pz::value &l) { l.set("k", 1); },
        +[](pz::value &c, pz::value &) { c.set("", 1); },
        +[](pz::value &c, pz::value &) { c.set("k", c["missing"]); },
        +[](pz::value &c, pz::value &) { c.child("port"); },
        +[](pz::value &c, pz::value &) { c.set(std::string("a\0b", 3), 1); },
        +[](pz::value &c, pz::value &) { c.child(std::string("a\0b", 3)); },
        +[](pz::value &c, pz::value &) { c.erase(""); },
        +[](pz::value &c, pz::value &) { c["missing"].concat(c); },
        +[](pz::value &c, pz::value &) { c.merge_patch(c["missing"]); },
    };
    const pz::value before = cfg.copy();
    for (auto f : misuse) EXPECT_THROW(f(cfg, list), pz::error);
    EXPECT_EQ(cfg, before);
    EXPECT_EQ(list.size(), 0u);
}

TEST_F(CppApi, CopyMergeDumpAndPack) {
    pz::value a = pz::dict({{"id", uint64_t{UINT64_MAX}}, {"list", pz::array({int8_t{-1}, 0.1})}});
    pz::value b = a.copy();
    b["list"].push_back(2);  // not seen in `a`: the copy shares nothing
    a.concat(pz::dict({{"id", 2}, {"j", 3}}));
    EXPECT_EQ(a.dump(), R"({"dict":{"id":{"int32":2},"list":{"array":[{"int8":-1},{"double":0.1}]},"j":{"int32":3}}})");
    EXPECT_EQ(pz::from_dump(b.dump()), b);
    EXPECT_EQ(pz::from_json(R"({"a":[1,2.5]})"), pz::dict({{"a", pz::array({int64_t{1}, 2.5})}}));
    EXPECT_EQ(pz::from_json(std::string_view("[7]xyz", 3)), pz::array({int64_t{7}})) << "only the view is read";
    EXPECT_EQ(pz::array({int8_t{1}, "x", 0.5f}).to_json(), R"([1,"x",0.5])");
    std::ostringstream shown;
    shown << pz::dict({{"list", pz::array({})}, {"a", pz::array({true, "x y"})}, {"o", pz::dict({})}});
    EXPECT_EQ(shown.str(), "{\n  \"list\": [],\n  \"a\": [\n    true,\n    \"x y\"\n  ],\n  \"o\": {}\n}");
    shown << pz::value();
    EXPECT_TRUE(shown.fail());
    pz::value loop = pz::array({1});
    loop.push_back(loop);
    EXPECT_THROW(loop.dump(), pz::error);
    EXPECT_THROW(loop.to_json(), pz::error);
    EXPECT_THROW(loop.copy(), pz::error);
    EXPECT_THROW(pz::array({}).concat(loop), pz::error);
    pz_variant_clear(loop.get());  // breaks the loop
    EXPECT_THROW(pz::value().dump(), pz::error);
    EXPECT_THROW(pz::pack(), std::invalid_argument);
    EXPECT_EQ(pz::pack(std::string("a\0b", 3))[0].get<std::string_view>(), std::string_view("a\0b", 3));

    pz::value packed = pz::pack(int32_t{-7}, "text", int8_t{3}, 2.5f);
    EXPECT_EQ(packed[3].kind(), pz::kind::float32);
    EXPECT_EQ((packed.unpack<int32_t, std::string_view, int8_t>()), std::make_tuple(-7, std::string_view("text"), int8_t{3}));
    EXPECT_FALSE((packed.unpack<int64_t, std::string_view>())) << "kind mismatch";
}

// The rules of the merge are the C merge's (dump_cases/merge_cases.txt):
// here what the member adds to them.
TEST_F(CppApi, MergePatchKeepsNestedRecordsAndThrowsWhatItRefuses) {
    pz::value cfg = pz::dict({{"srv", pz::dict({{"host", "a"}, {"port", 1}})}, {"tls", true}});
    const pz::value srv = cfg["srv"];
    cfg.merge_patch(pz::dict({{"srv", pz::dict({{"port", 2}})}, {"tls", pz::value::null()}}));
    EXPECT_EQ(cfg, pz::dict({{"srv", pz::dict({{"host", "a"}, {"port", 2}})}}));
    EXPECT_EQ(srv.get(), cfg["srv"].get()) << "a nested dictionary keeps its record";
    EXPECT_EQ(cfg.copy().merge_patch(7), pz::value(7)) << "a patch that is no dictionary replaces";
    pz::value owner = pz::value::adopt(pz_variant_autoptr_new(nullptr, nullptr));
    EXPECT_THROW(cfg.merge_patch(owner), pz::error);
}

}  // namespace
