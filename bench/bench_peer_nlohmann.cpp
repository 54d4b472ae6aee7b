// The C++ workloads against nlohmann/json, on 200,000 event records: a
// query (sum of amounts by tag), changing two nested fields of every record,
// and deep equality of two equal documents through the C++ operator== and
// through pz_variant_equal. Each runs on documents built in code (ours in a
// pz::shared_keys scope, with the array's room reserved) and on documents
// read from one JSON text and from one MessagePack form, which both
// libraries read. Ours walk the records through pz::view, which takes no
// reference per step. One more row builds the records in code.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "pzvariant/pz_variant.hpp"

namespace {

constexpr int kEvents = 200000;
const char *const kEventTags[] = {"checkout", "login", "logout", "search", "view", "cart", "refund", "error"};

// One event's fields, drawn once and handed to both builders.
struct event {
    int64_t id;
    int64_t ts;
    const char *tag;
    std::string user;
    double amount;
    bool ok;
    std::string host;
    int64_t retries;
    bool flagged;
};

const std::vector<event> &events() {
    static const std::vector<event> all = [] {
        std::vector<event> made;
        made.reserve(kEvents);
        std::mt19937_64 rng(23);
        for (int i = 0; i < kEvents; ++i) {
            made.push_back(event{i, 1700000000000 + 137 * i, kEventTags[rng() % 8], "user-" + std::to_string(rng() % 5000),
                                 static_cast<double>(rng() % 100000) / 100.0, rng() % 4 != 0,
                                 "web-" + std::to_string(rng() % 16), static_cast<int64_t>(rng() % 4), rng() % 2 == 0});
        }
        return made;
    }();
    return all;
}

nlohmann::json nlohmann_built() {
    nlohmann::json all = nlohmann::json::array();
    for (const event &e : events()) {
        all.push_back({{"id", e.id},
                       {"ts", e.ts},
                       {"tag", e.tag},
                       {"user", e.user},
                       {"amount", e.amount},
                       {"ok", e.ok},
                       {"meta", {{"host", e.host}, {"retries", e.retries}, {"flagged", e.flagged}}},
                       {"labels", {"web", e.tag}}});
    }
    return all;
}

// The same records through our C++ interface, as a user who knows how many
// there are and that they repeat their keys writes it.
pz::value pz_built() {
    pz::shared_keys keys;
    pz::value all = pz::array({});
    pz::reserve(all, kEvents);
    for (const event &e : events()) {
        all.push_back(pz::dict({{"id", e.id},
                                {"ts", e.ts},
                                {"tag", e.tag},
                                {"user", e.user},
                                {"amount", e.amount},
                                {"ok", e.ok},
                                {"meta", pz::dict({{"host", e.host}, {"retries", e.retries}, {"flagged", e.flagged}})},
                                {"labels", pz::array({"web", e.tag})}}));
    }
    return all;
}

// Both libraries read one JSON text and one MessagePack form, which
// nlohmann writes, as a store of events loaded from a file would: the same
// numbers, texts and key order.
const std::string &events_text() {
    static const std::string text = nlohmann_built().dump();
    return text;
}

const std::vector<uint8_t> &events_msgpack() {
    static const std::vector<uint8_t> bytes = nlohmann::json::to_msgpack(nlohmann_built());
    return bytes;
}

enum class source { built, json, msgpack };
constexpr source kSources[] = {source::built, source::json, source::msgpack};
const char *name_of(source s) { return s == source::built ? "built" : s == source::json ? "json" : "msgpack"; }

pz::value pz_events(source s) {
    switch (s) {
        case source::built: return pz_built();
        case source::json: return pz::from_json(events_text());
        default: return pz::from_msgpack(events_msgpack().data(), events_msgpack().size());
    }
}

nlohmann::json nlohmann_events(source s) {
    switch (s) {
        case source::built: return nlohmann_built();
        case source::json: return nlohmann::json::parse(events_text());
        default: return nlohmann::json::from_msgpack(events_msgpack());
    }
}

// One document of each source per library, made when first asked for.
const pz::value &pz_doc(source s) {
    static pz::value docs[3];
    pz::value &doc = docs[static_cast<int>(s)];
    if (!doc.has_value()) doc = pz_events(s);
    return doc;
}

const nlohmann::json &nlohmann_doc(source s) {
    static nlohmann::json docs[3];
    static bool made[3] = {};
    const int i = static_cast<int>(s);
    if (!made[i]) docs[i] = nlohmann_events(s), made[i] = true;
    return docs[i];
}

// The sums of the query, by tag; both libraries fill the same map.
using sums = std::map<std::string, double, std::less<>>;

void add(sums &out, std::string_view tag, double amount) {
    const auto it = out.find(tag);
    if (it != out.end()) {
        it->second += amount;
    } else {
        out.emplace(tag, amount);
    }
}

void C1_pz(benchmark::State &state, source s) {
    const pz::view events = pz_doc(s);
    for (auto _ : state) {
        sums out;
        for (pz::view e : events.elements()) add(out, *e["tag"].get<std::string_view>(), e["amount"].value_or(0.0));
        benchmark::DoNotOptimize(out);
    }
}

void C1_nlohmann(benchmark::State &state, source s) {
    const nlohmann::json &events = nlohmann_doc(s);
    for (auto _ : state) {
        sums out;
        for (const nlohmann::json &e : events) add(out, e["tag"].get_ref<const std::string &>(), e["amount"].get<double>());
        benchmark::DoNotOptimize(out);
    }
}

// The records this workload changes are a document of their own, made as
// the shared ones are (a copy would share its key strings with the
// original, and so read them from further away), so that those stay as
// made. Each round adds one to the counts and flips the flags.
void C2_pz(benchmark::State &state, source s) {
    const pz::value events = pz_events(s);
    for (auto _ : state) {
        for (pz::view e : pz::view(events).elements()) {
            const pz::view meta = e["meta"];
            pz::value(meta)
                .set("retries", meta["retries"].value_or(int64_t{0}) + 1)
                .set("flagged", !meta["flagged"].value_or(false));
        }
    }
}

void C2_nlohmann(benchmark::State &state, source s) {
    nlohmann::json events = nlohmann_events(s);
    for (auto _ : state) {
        for (nlohmann::json &e : events) {
            nlohmann::json &meta = e["meta"];
            meta["retries"] = meta["retries"].get<int64_t>() + 1;
            meta["flagged"] = !meta["flagged"].get<bool>();
        }
    }
}

// Equality of a document and its copy: C3 through the C++ operator== on
// handles, C4 through the C call on two documents read apart from the JSON
// text (sharing no key strings, which a copy shares).
void C3_pz(benchmark::State &state, source s) {
    const pz::value copy = pz_doc(s).copy();
    for (auto _ : state) benchmark::DoNotOptimize(pz_doc(s) == copy);
}

void C3_nlohmann(benchmark::State &state, source s) {
    const nlohmann::json copy = nlohmann_doc(s);
    for (auto _ : state) benchmark::DoNotOptimize(nlohmann_doc(s) == copy);
}

void C4_pz(benchmark::State &state) {
    const pz::value other = pz_events(source::json);
    for (auto _ : state) benchmark::DoNotOptimize(pz_variant_equal(pz_doc(source::json).get(), other.get()));
}

void C4_nlohmann(benchmark::State &state) { C3_nlohmann(state, source::json); }

// Building the records in code; what was built is released untimed.
template <class Build>
void build_rows(benchmark::State &state, Build build) {
    events();  // drawn before the first round
    for (auto _ : state) {
        auto doc = build();
        benchmark::DoNotOptimize(doc);
        state.PauseTiming();
        doc = decltype(doc)();
        state.ResumeTiming();
    }
}

void CB_pz(benchmark::State &state) { build_rows(state, pz_built); }
void CB_nlohmann(benchmark::State &state) { build_rows(state, nlohmann_built); }

template <class Fn, class... Args>
void add_row(const std::string &name, Fn fn, Args... args) {
    benchmark::RegisterBenchmark(name.c_str(), fn, args...)->Unit(benchmark::kMillisecond)->MinTime(0.3);
}

const bool registered = [] {
    for (const source s : kSources) {
        const std::string on = std::string("/") + name_of(s);
        add_row("C1" + on + "/pz", C1_pz, s);
        add_row("C1" + on + "/nlohmann", C1_nlohmann, s);
        add_row("C2" + on + "/pz", C2_pz, s);
        add_row("C2" + on + "/nlohmann", C2_nlohmann, s);
        add_row("C3" + on + "/pz", C3_pz, s);
        add_row("C3" + on + "/nlohmann", C3_nlohmann, s);
    }
    add_row("C4/json/pz", C4_pz);
    add_row("C4/json/nlohmann", C4_nlohmann);
    add_row("CB/built/pz", CB_pz);
    add_row("CB/built/nlohmann", CB_nlohmann);
    return true;
}();

}  // namespace
