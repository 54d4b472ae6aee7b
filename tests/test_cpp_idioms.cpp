// The everyday C++ idioms: standard iteration and algorithms, lookups that
// throw, hashing, conversions of the standard containers and of a user's
// struct, converting reads, comparisons in place, and paths that say why
// they found nothing (files are in test_writers.cpp). Each failure is the C library's status, mapped.
#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <ranges>
#include <span>
#include <unordered_map>
#include <unordered_set>

#include "pz_test.h"
#include "pzvariant/pz_variant.hpp"

namespace app {

struct position {
    double lat = 0, lon = 0;
};
PZ_FIELDS(position, lat, lon)

struct event {
    std::string tag;
    int64_t amount = 0;
    position where;
    std::vector<std::string> labels;
    std::optional<std::string> note;
};
PZ_FIELDS(event, tag, amount, where, labels, note)

bool operator==(const position &a, const position &b) { return a.lat == b.lat && a.lon == b.lon; }
bool operator==(const event &a, const event &b) {
    return a.tag == b.tag && a.amount == b.amount && a.where == b.where && a.labels == b.labels && a.note == b.note;
}

}  // namespace app

namespace {

using CppIdioms = LeakCheckedTest;

// The E that `f` throws, which must say `what`; nothing when it throws none.
template <class E, class F>
std::optional<E> thrown(F f, const char *what) {
    const std::optional<E> e = caught<E>(f);
    EXPECT_STREQ(e ? e->what() : "nothing thrown", what);
    return e;
}

static_assert(std::forward_iterator<pz::element_iterator> && std::forward_iterator<pz::entry_iterator> &&
              std::forward_iterator<pz::item_iterator>);
static_assert(std::ranges::forward_range<pz::value> && std::ranges::sized_range<pz::element_range> &&
              std::ranges::borrowed_range<pz::view> && std::ranges::borrowed_range<pz::entry_view> &&
              !std::ranges::borrowed_range<pz::element_range>);
static_assert(!std::is_convertible_v<pz::value, int> && !std::is_convertible_v<pz::value, std::string> &&
              !std::is_convertible_v<pz::value, bool>);

const char kEvents[] = R"([{"tag":"checkout","amount":120,"where":{"lat":59.3,"lon":18.1},"labels":["a"]},
                          {"tag":"alert","amount":7,"where":{"lat":1,"lon":2},"labels":[],"note":"n"},
                          {"tag":"checkout","amount":30,"where":{"lat":0,"lon":0},"labels":["b","c"]}])";

TEST_F(CppIdioms, IterationBindsReferencesAndServesTheStandardAlgorithms) {
    const pz::value doc = pz::from_json(kEvents);
    std::vector<std::string> keys;
    for (auto &[key, v] : doc[0].entries()) keys.emplace_back(key), (void)v;
    EXPECT_EQ(keys, (std::vector<std::string>{"tag", "amount", "where", "labels"}));
    int64_t total = 0;
    for (auto &e : doc.elements()) total += e["amount"].value_or(int64_t{0});
    EXPECT_EQ(total, 157);
    keys.clear();
    for (auto [key, v] : doc[1]) keys.emplace_back(key), (void)v;  // a dictionary walks its entries
    EXPECT_EQ(keys.size(), 5u);
    int tags = 0;
    for (auto e : doc) tags += e["tag"] == "checkout";  // an array its elements
    EXPECT_EQ(tags, 2);
    for (auto e : doc[0]["tag"]) ADD_FAILURE() << "a string has nothing to walk" << e.key();

    const pz::view events = doc;
    const auto alert = std::ranges::find_if(events, [](pz::view e) { return e["tag"] == "alert"; });
    ASSERT_NE(alert, events.end());
    EXPECT_EQ((*alert)["amount"], 7);
    EXPECT_EQ(std::ranges::count_if(events.elements(), [](pz::view e) { return e["amount"] == 30; }), 1);
    auto amounts = events.elements() | std::views::filter([](pz::view e) { return e["tag"] == "checkout"; }) |
                   std::views::transform([](pz::view e) { return e["amount"].as<int>(); });
    EXPECT_EQ(std::vector<int>(amounts.begin(), amounts.end()), (std::vector<int>{120, 30}));
    const auto keyed = doc[1].entries();
    EXPECT_EQ(std::find_if(keyed.begin(), keyed.end(), [](const pz::entry &e) { return e.first == "note"; })->second,
              "n");
    auto it = keyed.begin();
    EXPECT_EQ((*it++).first, "tag");
    EXPECT_EQ((*it).first, "amount");
    EXPECT_EQ(keyed.size(), 5u);
}

TEST_F(CppIdioms, AtThrowsWithTheReasonAndTheStep) {
    const pz::value cfg = pz::from_json(R"({"server":{"tls":{"port":8443}},"hosts":["a"],"name":"db"})");
    EXPECT_EQ(cfg.at("server").at("tls").at("port"), 8443);
    EXPECT_EQ(cfg.at("hosts").at(0), "a");
    EXPECT_EQ(cfg.at(pz::pointer("/server/tls/port")), 8443);
    const struct {
        std::function<void()> lookup;
        pz_path_status status;
        size_t step;
        const char *what;
    } failures[] = {
        {[&] { cfg.at("missing"); }, PZ_PATH_MISSING, 1, "pzvariant: at(\"missing\"): no entry under the key"},
        {[&] { cfg.at("hosts").at(1); }, PZ_PATH_MISSING, 1, "pzvariant: at(1): no element there"},
        {[&] { cfg.at("name").at(0); }, PZ_PATH_BLOCKED, 1, "pzvariant: at(0): a string, not an array"},
        {[&] { cfg.at("hosts").at("x"); }, PZ_PATH_BLOCKED, 1, "pzvariant: at(\"x\"): an array, not a dict"},
        {[&] { cfg.at(pz::pointer("/server/ssl/port")); }, PZ_PATH_MISSING, 2,
         "pzvariant: at(\"/server/ssl/port\"): step 2 finds nothing in a dict"},
        {[&] { cfg.at(pz::pointer("/name/first")); }, PZ_PATH_BLOCKED, 2,
         "pzvariant: at(\"/name/first\"): step 2 meets a string, not a container"},
        {[&] { cfg.at(pz::pointer("server")); }, PZ_PATH_INVALID, 0,
         "pzvariant: at(\"server\"): a malformed JSON Pointer"},
    };
    for (const auto &f : failures) {
        const auto e = thrown<pz::path_error>(f.lookup, f.what);
        EXPECT_TRUE(e && e->status() == f.status && e->step() == f.step) << f.what;
    }
    EXPECT_FALSE(cfg.at_path("/server/ssl").has_value()) << "at_path gives nothing instead";
    EXPECT_THROW(cfg.at_path("server"), pz::error);
    EXPECT_TRUE(pz::value().empty() && pz::value(nullptr).empty() && pz::array({}).empty());
    EXPECT_FALSE(pz::value("").empty() || pz::value(0).empty() || cfg.empty());
    EXPECT_TRUE(cfg.contains("name") && cfg.contains(std::string("hosts")) && !cfg.contains("port"));
}

// (The C hash is checked with the reporting family, test_status.cpp.)
TEST_F(CppIdioms, HashesAgreeWithEquality) {
    const std::unordered_set<pz::value> seen = {pz::from_json(R"({"a":1,"b":[true,null]})"),
                                                pz::from_json(R"({"b":[true,null],"a":1})"), pz::value(1),
                                                pz::value(int64_t{1}), pz::value(1)};
    EXPECT_EQ(seen.size(), 3u) << "entries in another order are equal; an int32 1 and an int64 1 are not";
    const pz::value v = pz::array({1, "x"});
    EXPECT_EQ(std::hash<pz::view>{}(v), std::hash<pz::value>{}(v.copy()));
}

TEST_F(CppIdioms, StandardContainersConvertBothWays) {
    pz::value list = {1, "two", 3.0};
    EXPECT_EQ(list, pz::array({1, "two", 3.0}));
    pz::value null = nullptr;
    EXPECT_TRUE(null.is_null() && null.has_value());
    pz::value nested = std::vector<std::vector<int>>{{1, 2}, {3}};
    EXPECT_EQ(nested.to_json(), "[[1,2],[3]]");
    EXPECT_EQ(nested.as<std::vector<std::vector<long>>>(), (std::vector<std::vector<long>>{{1, 2}, {3}}));
    pz::value fixed = std::array<double, 2>{0.5, 1.5};
    EXPECT_EQ((fixed.as<std::array<double, 2>>()), (std::array<double, 2>{0.5, 1.5}));
    const std::map<std::string, int> ordered{{"b", 2}, {"a", 1}};
    pz::value dict = ordered;
    EXPECT_EQ(dict.to_json(), R"({"a":1,"b":2})");
    EXPECT_EQ((dict.as<std::unordered_map<std::string, int64_t>>()),
              (std::unordered_map<std::string, int64_t>{{"a", 1}, {"b", 2}}));
    const std::unordered_map<std::string_view, std::optional<int>> sparse{{"x", std::nullopt}};
    EXPECT_EQ(pz::value(sparse).to_json(), R"({"x":null})");
    EXPECT_EQ(pz::value(sparse)["x"].as<std::optional<int>>(), std::nullopt);
    EXPECT_EQ(pz::value(std::optional<int>(4)).as<std::optional<int>>(), 4);
    const std::byte raw[] = {std::byte{0}, std::byte{0xff}};
    pz::value bytes = std::span<const std::byte>(raw);
    EXPECT_EQ(bytes.kind(), pz::kind::bytes);
    EXPECT_EQ(bytes.as<std::vector<std::byte>>(), (std::vector<std::byte>{std::byte{0}, std::byte{0xff}}));
    EXPECT_EQ(pz::value(bytes.as<std::vector<std::byte>>()), bytes);
    EXPECT_EQ(pz::value("text").as<std::string_view>(), "text");

    const struct {
        std::function<void()> convert;
        const char *what;
        pz_get_status status;
    } refused[] = {
        {[&] { list.as<std::vector<int>>(); }, "pzvariant: at [1]: a string does not convert to int32", PZ_GET_WRONG_KIND},
        {[&] { fixed.as<std::array<double, 3>>(); }, "pzvariant: an array of 2 elements where 3 were wanted",
         PZ_GET_OUT_OF_RANGE},
        {[&] { pz::value(std::map<std::string, double>{{"k", 1.5}}).as<std::map<std::string, int>>(); },
         "pzvariant: at k: a double that int32 cannot hold exactly", PZ_GET_OUT_OF_RANGE},
        {[&] { dict.as<std::vector<int>>(); }, "pzvariant: a dict does not convert to array", PZ_GET_WRONG_KIND},
        {[&] { null.as<std::string>(); }, "pzvariant: no value where string was wanted", PZ_GET_ABSENT},
    };
    for (const auto &r : refused) {
        const auto e = thrown<pz::conversion_error>(r.convert, r.what);
        EXPECT_TRUE(e && e->status() == r.status) << r.what;
    }
}

TEST_F(CppIdioms, AUsersStructConvertsBothWaysAndNamesTheFieldThatFails) {
    const app::event e{"checkout", 120, {59.5, 18.25}, {"a", "b"}, std::nullopt};
    pz::value v = e;
    EXPECT_EQ(v.to_json(), R"({"tag":"checkout","amount":120,"where":{"lat":59.5,"lon":18.25},)"
                           R"("labels":["a","b"],"note":null})");
    EXPECT_EQ(v.as<app::event>(), e);
    const std::vector<app::event> read = pz::from_json(kEvents).as<std::vector<app::event>>();
    ASSERT_EQ(read.size(), 3u);
    EXPECT_EQ(read[1].note, "n");
    EXPECT_EQ(read[2].labels, (std::vector<std::string>{"b", "c"}));
    EXPECT_EQ(pz::value(read), pz::value(pz::from_json(kEvents).as<std::vector<app::event>>()));

    for_each_case("struct_conversion_cases.txt", [](const std::vector<std::string> &f) {
        ASSERT_EQ(f.size(), 2u);
        thrown<pz::conversion_error>([&] { pz::from_json(f[0]).as<std::vector<app::event>>(); }, f[1].c_str());
    });
}

// get_as is checked with the C checked reads (test_checked_reads.cpp);
// value_or gives the default where get_as gives nothing, as<T> says why.
TEST_F(CppIdioms, ValueOrAndAsFollowGetAs) {
    const pz::value doc = pz::from_json(R"({"n":5,"big":9007199254740993,"half":1.5})");
    EXPECT_EQ(doc["n"].value_or(0.0), 5.0);
    EXPECT_EQ(doc["big"].value_or(0.0), 0.0) << "2^53 + 1 has no double";
    EXPECT_EQ(doc["half"].value_or(0), 0) << "1.5 has no int";
    const auto e = thrown<pz::conversion_error>([&] { doc["big"].as<double>(); },
                                                "pzvariant: an int64 that double cannot hold exactly");
    EXPECT_TRUE(e && e->status() == PZ_GET_OUT_OF_RANGE);
}

TEST_F(CppIdioms, ReadsComparisonsAndWalksThroughViewsAllocateNothing) {
    const pz::value doc = pz::from_json(R"({"tag":"alert","n":5,"x":2.5,"ok":true,"none":null,"nul":"a\u0000b","l":[1,[]]})");
    const pz::view v = doc;
    const long mallocs = hal_malloc_calls(), incs = hal_atomic_incs();
    EXPECT_TRUE(v["tag"] == "alert" && "alert" == v["tag"] && v["tag"] != "alarm");
    EXPECT_TRUE(v["tag"] == std::string_view("alert") && v["tag"] == std::string("alert"));
    EXPECT_TRUE(v["nul"] == std::string_view("a\0b", 3) && v["nul"] != "a");
    EXPECT_TRUE(v["n"] == 5 && 5 == v["n"] && v["n"] == 5.0 && v["n"] == uint8_t{5} && v["n"] != 6);
    EXPECT_TRUE(v["x"] == 2.5 && v["x"] != 2 && v["n"] != "5" && v["tag"] != 0);
    EXPECT_TRUE(v["ok"] == true && v["ok"] != 1 && v["n"] != true);
    EXPECT_TRUE(v["none"] == nullptr && v["missing"] == nullptr && v["n"] != nullptr);
    EXPECT_EQ(v.at("n").get_as<double>(), 5.0);
    EXPECT_EQ(v.at(pz::pointer("/x")).value_or(0), 0);
    EXPECT_EQ(v["tag"].as<std::string_view>(), "alert");
    EXPECT_TRUE(v.contains(std::string_view("ok")) && !v["n"].empty() && v.size() == 7);
    EXPECT_TRUE(doc["tag"] == "alert" && doc["n"] == 5);
    int seen = 0;
    for (auto [key, e] : v) {
        for (auto element : e) seen += element.has_value();  // (a scalar has nothing to walk)
        seen += e.has_value() && !key.empty();
    }
    EXPECT_EQ(seen, 9);
    EXPECT_EQ(hal_malloc_calls(), mallocs) << "compared and walked in place";
    EXPECT_EQ(hal_atomic_incs(), incs + 2) << "only the two handles doc[...] made";
}

TEST_F(CppIdioms, WritersRefuseWhatTheCWritersRefuse) {
    const pz::value bad = std::string_view("\xff");
    thrown<pz::error>([&] { bad.to_json(); }, "pzvariant: to_json: a string that is not UTF-8");
    EXPECT_EQ(bad.dump(), "{\"string\":\"\xff\"}") << "the dump keeps every byte";
    EXPECT_EQ(pz::from_dump(std::string_view(R"({"int8":5}xx)", 11)), pz::value(int8_t{5})) << "read from the length";
}

// Building, merging, conversions and files under every allocation failure:
// std::bad_alloc and nothing else, and no leak (the allocation sweep checks
// that a failed merge leaves its target as it was).
TEST_F(CppIdioms, AllocationFailureOnlyThrowsBadAlloc) {
    const std::string path = ::testing::TempDir() + "pz_cpp_sweep";
    auto run = [&] {
        try {
            pz::value cfg = pz::dict({{"list", pz::array({1, "two"})}, {"flag", false}}).set("more", "text");
            cfg.set("n", 5).set("n", int64_t{6}).set("more", "text");  // a number made, then rewritten
            EXPECT_EQ(cfg.merge_patch(pz::dict({{"flag", pz::value::null()}, {"new", pz::dict({{"k", 1}})}})),
                      pz::dict({{"list", pz::array({1, "two"})}, {"more", "text"}, {"n", int64_t{6}},
                                {"new", pz::dict({{"k", 1}})}}));
            const app::event e{"t", 1, {1, 2}, {"a"}, "n"};
            pz::value v = std::map<std::string, app::event>{{"k", e}};
            (void)v.as<std::map<std::string, app::event>>();
            pz::write_file(path, v, pz::file_format::dump);
            (void)pz::read_file(path, pz::file_format::dump);
            (void)v.to_json();
            (void)v.at(pz::pointer("/k/where/lat"));
        } catch (const std::bad_alloc &) {
        }
    };
    EXPECT_GT(sweep_alloc_failures(run), 15);
}

}  // namespace
