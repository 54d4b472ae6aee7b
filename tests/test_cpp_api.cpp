// The C++ interface: reference handling, exact-kind reads, iteration order,
// copies, merges, dumps, packing and allocation failure.
#include "pz_variant.hpp"

#include <sstream>
#include <string>
#include <vector>

#include "pz_test.h"

namespace {

using CppApi = LeakCheckedTest;

TEST_F(CppApi, CopiesShareAndMovesTransferTheReference) {
    pz::value a = int32_t{7};
    {
        pz::value b = a;
        EXPECT_EQ(b.get(), a.get());
        EXPECT_EQ(refcount(a.get()), 2);
        pz::value c = std::move(b);
        EXPECT_FALSE(b);
        EXPECT_EQ(refcount(a.get()), 2);
        c = pz::value(int8_t{1});  // assignment drops the old reference
        EXPECT_EQ(refcount(a.get()), 1);
    }
    pz_variant_t *raw = a.release();
    EXPECT_FALSE(a);
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
    EXPECT_EQ(v.value_or<int64_t>(9), 9);
    EXPECT_EQ(pz::value(std::string("a\0b", 3)).get<std::string_view>(), std::string_view("a\0b", 3));
}

TEST_F(CppApi, ContainersIterateInInsertionOrder) {
    pz::value rec = pz::dict({{"zeta", 1}, {"alpha", pz::array({1, "two", 3.0})}, {"mid", true}});
    std::vector<std::string> keys;
    for (const auto &[key, element] : rec.entries()) keys.emplace_back(key);
    EXPECT_EQ(keys, (std::vector<std::string>{"zeta", "alpha", "mid"}));
    std::vector<pz::kind> kinds;
    for (const pz::value &e : rec["alpha"]) kinds.push_back(e.kind());
    EXPECT_EQ(kinds, (std::vector<pz::kind>{pz::kind::int32, pz::kind::string, pz::kind::float64}));
    EXPECT_FALSE(rec["alpha"][3]) << "past the end";
    EXPECT_FALSE(rec["missing"]);
}

TEST_F(CppApi, CopyMergeDumpAndPack) {
    pz::value a = pz::dict({{"id", uint64_t{UINT64_MAX}}, {"list", pz::array({int8_t{-1}, 0.1})}});
    pz::value b = a.copy();
    b["list"].push_back(2);  // not seen in `a`: the copy shares nothing
    a.merge(pz::dict({{"id", 2}, {"j", 3}}));
    EXPECT_EQ(a.dump(), R"({"dict":{"id":{"int32":2},"list":{"array":[{"int8":-1},{"double":0.1}]},"j":{"int32":3}}})");
    EXPECT_EQ(pz::from_dump(b.dump()), b);
    try {
        pz::from_dump(R"({"int8":1)");
        ADD_FAILURE() << "read an unfinished text";
    } catch (const pz::parse_error &e) {
        EXPECT_STREQ(e.what(), "unexpected end of text");
        EXPECT_EQ(e.offset(), 9u);
    }
    EXPECT_EQ(pz::from_json(R"({"a":[1,2.5]})"), pz::dict({{"a", pz::array({int64_t{1}, 2.5})}}));
    EXPECT_THROW(pz::from_json("[1,]"), pz::parse_error);
    EXPECT_THROW(pz::from_json(std::string_view("1\0", 2)), pz::parse_error);
    const pz::value nul(std::string("a\0b", 3));
    EXPECT_EQ(pz::from_dump(nul.dump()).get<std::string_view>(), std::string_view("a\0b", 3));
    EXPECT_EQ(pz::array({int8_t{1}, "x", 0.5f}).to_json(), R"([1,"x",0.5])");
    std::ostringstream shown;
    shown << pz::dict({{"k", true}});
    EXPECT_EQ(shown.str(), "{\n  \"k\": true\n}");
    EXPECT_THROW(pz::value().to_json(), pz::error);
    shown << pz::value();
    EXPECT_TRUE(shown.fail());
    pz::value loop = pz::array({1});
    loop.push_back(loop);
    EXPECT_THROW(loop.dump(), std::bad_alloc);
    EXPECT_THROW(loop.to_json(), pz::error);
    pz_variant_clear(loop.get());  // breaks the loop

    pz::value packed = pz::pack(int32_t{-7}, "text", int8_t{3}, 2.5f);
    EXPECT_EQ(packed[3].kind(), pz::kind::float32);
    EXPECT_EQ((packed.unpack<int32_t, std::string_view, int8_t>()), std::make_tuple(-7, std::string_view("text"), int8_t{3}));
    EXPECT_FALSE((packed.unpack<int64_t, std::string_view>())) << "kind mismatch";
}

TEST_F(CppApi, AllocationFailureThrowsAndLeaksNothing) {
    auto build = [] {
        try {
            pz::dict({{"list", pz::array({1, "two"})}, {"flag", false}}).set("more", "text").dump();
        } catch (const std::bad_alloc &) {
        }
    };
    EXPECT_GT(sweep_alloc_failures(build), 5);
}

}  // namespace
