// The C++ interface: reference handling, exact-kind reads, iteration,
// equality and allocation failure.
#include "pz_variant.hpp"

#include <string>
#include <vector>

#include "pz_test.h"

namespace {

using CppApi = LeakCheckedTest;

TEST_F(CppApi, CopiesShareAndMovesTransferTheReference) {
    pz::value a = int32_t{7};
    EXPECT_EQ(refcount(a.get()), 1);
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
    pz::value again = pz::value::adopt(raw);
    pz::value borrowed = pz::value::borrow(raw);
    EXPECT_EQ(refcount(raw), 2);
}

TEST_F(CppApi, ConstructionPicksTheExactKind) {
    EXPECT_EQ(pz::value(int8_t{-1}).kind(), pz::kind::int8);
    EXPECT_EQ(pz::value(uint16_t{1}).kind(), pz::kind::uint16);
    EXPECT_EQ(pz::value(1).kind(), pz::kind::int32);
    EXPECT_EQ(pz::value(1LL).kind(), pz::kind::int64);
    EXPECT_EQ(pz::value(1ull).kind(), pz::kind::uint64);
    EXPECT_EQ(pz::value(true).kind(), pz::kind::boolean);
    EXPECT_EQ(pz::value(1.5f).kind(), pz::kind::float32);
    EXPECT_EQ(pz::value(1.5).kind(), pz::kind::float64);
    EXPECT_EQ(pz::value("text").kind(), pz::kind::string);
    EXPECT_EQ(pz::value::bytes("\x01\x02", 2).kind(), pz::kind::bytes);
    EXPECT_EQ(pz::value::null().kind(), pz::kind::null);
    EXPECT_EQ(pz::value().kind(), pz::kind::null) << "an empty handle reads as null";
}

TEST_F(CppApi, GetMatchesTheKindExactly) {
    pz::value v = int32_t{-5};
    EXPECT_EQ(v.get<int32_t>(), -5);
    EXPECT_FALSE(v.get<int64_t>()) << "no widening";
    EXPECT_FALSE(v.get<uint32_t>()) << "no change of sign";
    EXPECT_EQ(v.value_or<int64_t>(9), 9);
    pz::value s = std::string("a\0b", 3);
    EXPECT_EQ(s.get<std::string_view>(), std::string_view("a\0b", 3));
    EXPECT_FALSE(s.get<int32_t>());
}

TEST_F(CppApi, ContainersFromInitializerListsIterateInOrder) {
    pz::value rec = pz::dict({{"zeta", 1}, {"alpha", pz::array({1, "two", 3.0})}, {"mid", true}});
    std::vector<std::string> keys;
    for (const auto &[key, element] : rec.entries()) keys.emplace_back(key);
    EXPECT_EQ(keys, (std::vector<std::string>{"zeta", "alpha", "mid"}));

    pz::value list = rec["alpha"];
    ASSERT_EQ(list.size(), 3u);
    std::vector<pz::kind> kinds;
    for (const pz::value &e : list) kinds.push_back(e.kind());
    EXPECT_EQ(kinds, (std::vector<pz::kind>{pz::kind::int32, pz::kind::string, pz::kind::float64}));
    EXPECT_EQ(list[1].get<std::string_view>(), "two");
    EXPECT_FALSE(list[7]) << "past the end";
    EXPECT_FALSE(rec["missing"]);
    EXPECT_TRUE(rec.erase("zeta"));
    EXPECT_EQ(rec.size(), 2u);
}

TEST_F(CppApi, AllocationFailureThrowsAndLeaksNothing) {
    const int failing_runs = sweep_alloc_failures([] {
        try {
            pz::value rec = pz::dict({{"list", pz::array({1, 2, "three"})}, {"flag", false}});
            rec.set("more", pz::value("text"));
        } catch (const std::bad_alloc &) {
        }
    });
    EXPECT_GT(failing_runs, 5);
}

TEST_F(CppApi, PackAndUnpackCheckTheKinds) {
    pz::value rec = pz::pack(int32_t{-7}, "text", int8_t{3}, 2.5f, std::string("s"));
    ASSERT_EQ(rec.size(), 5u);
    EXPECT_EQ(rec[2].kind(), pz::kind::int8);
    EXPECT_EQ(rec[3].kind(), pz::kind::float32);
    auto got = rec.unpack<int32_t, std::string_view, int8_t>();
    ASSERT_TRUE(got);
    EXPECT_EQ(std::get<0>(*got), -7);
    EXPECT_EQ(std::get<1>(*got), "text");
    EXPECT_EQ(std::get<2>(*got), 3);
    EXPECT_FALSE((rec.unpack<int64_t, std::string_view>())) << "kind mismatch";
    EXPECT_FALSE((pz::pack(1).unpack<int32_t, int32_t>())) << "too few elements";
}

TEST_F(CppApi, CopyIsDeepAndMergeCombines) {
    pz::value a = pz::dict({{"k", 1}, {"list", pz::array({1})}});
    pz::value b = a.copy();
    EXPECT_EQ(a, b);
    EXPECT_NE(pz::array({1, "x"}), pz::array({1LL, "x"})) << "equality compares kinds";
    b["list"].push_back(2);
    EXPECT_EQ(a["list"].size(), 1u) << "the copy shares nothing";
    a.merge(pz::dict({{"k", 2}, {"j", 3}}));
    EXPECT_EQ(a["k"].get<int32_t>(), 2);
    EXPECT_EQ(a["j"].get<int32_t>(), 3);
    pz::value n = 5;
    n.merge(pz::value("now text"));
    EXPECT_EQ(n.get<std::string_view>(), "now text");
}

TEST_F(CppApi, DumpAndReloadGiveAnEqualValue) {
    pz::value rec = pz::dict({{"id", uint64_t{18446744073709551615ull}}, {"list", pz::array({int8_t{-1}, 0.1})}});
    const std::string text = rec.dump();
    EXPECT_EQ(text, R"({"dict":{"id":{"uint64":18446744073709551615},"list":{"array":[{"int8":-1},{"double":0.1}]}}})");
    EXPECT_EQ(pz::from_dump(text), rec);
    EXPECT_FALSE(pz::from_dump("not json"));
    pz::value loop = pz::array({1});
    loop.push_back(loop);
    EXPECT_THROW(loop.dump(), std::bad_alloc);
    pz_variant_array_remove(loop.get(), 1);  // break the cycle
}

}  // namespace
