// The C++ workloads against nlohmann/json, on 200,000 event records read
// by both from one JSON text: a query (sum of amounts by tag), changing two nested
// fields of every record, and deep equality of two equal documents through
// the C++ operator== and through pz_variant_equal. Ours walk the records
// through pz::view, which takes no reference per step.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <string_view>

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

template <class Build>
void each_event(Build build) {
    std::mt19937_64 rng(23);
    for (int i = 0; i < kEvents; ++i) {
        build(event{i, 1700000000000 + 137 * i, kEventTags[rng() % 8], "user-" + std::to_string(rng() % 5000),
                    static_cast<double>(rng() % 100000) / 100.0, rng() % 4 != 0,
                    "web-" + std::to_string(rng() % 16), static_cast<int64_t>(rng() % 4), rng() % 2 == 0});
    }
}

nlohmann::json nlohmann_events() {
    nlohmann::json all = nlohmann::json::array();
    each_event([&](const event &e) {
        all.push_back({{"id", e.id},
                       {"ts", e.ts},
                       {"tag", e.tag},
                       {"user", e.user},
                       {"amount", e.amount},
                       {"ok", e.ok},
                       {"meta", {{"host", e.host}, {"retries", e.retries}, {"flagged", e.flagged}}},
                       {"labels", {"web", e.tag}}});
    });
    return all;
}

// Both libraries read their documents from one JSON text, as a store of
// events loaded from a file would: the same numbers, texts and key order.
const std::string &events_text() {
    static const std::string text = nlohmann_events().dump();
    return text;
}

pz::value pz_events() { return pz::from_json(events_text()); }

nlohmann::json nlohmann_read() { return nlohmann::json::parse(events_text()); }

const pz::value &pz_doc() {
    static const pz::value doc = pz_events();
    return doc;
}

const nlohmann::json &nlohmann_doc() {
    static const nlohmann::json doc = nlohmann_read();
    return doc;
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

void C1_pz(benchmark::State &state) {
    const pz::view events = pz_doc();
    for (auto _ : state) {
        sums out;
        for (pz::view e : events.elements()) add(out, *e["tag"].get<std::string_view>(), e["amount"].value_or(0.0));
        benchmark::DoNotOptimize(out);
    }
}

void C1_nlohmann(benchmark::State &state) {
    const nlohmann::json &events = nlohmann_doc();
    for (auto _ : state) {
        sums out;
        for (const nlohmann::json &e : events) add(out, e["tag"].get_ref<const std::string &>(), e["amount"].get<double>());
        benchmark::DoNotOptimize(out);
    }
}

// The records this workload changes are a document of its own, read once
// as the shared ones are (a copy would share its key strings with the
// original, and so read them from further away), so that those stay as
// read. Each round adds one to the counts and flips the flags.
void C2_pz(benchmark::State &state) {
    static const pz::value events = pz_events();
    for (auto _ : state) {
        for (pz::view e : pz::view(events).elements()) {
            const pz::view meta = e["meta"];
            pz::value(meta)
                .set("retries", meta["retries"].value_or(int64_t{0}) + 1)
                .set("flagged", !meta["flagged"].value_or(false));
        }
    }
}

void C2_nlohmann(benchmark::State &state) {
    static nlohmann::json events = nlohmann_read();
    for (auto _ : state) {
        for (nlohmann::json &e : events) {
            nlohmann::json &meta = e["meta"];
            meta["retries"] = meta["retries"].get<int64_t>() + 1;
            meta["flagged"] = !meta["flagged"].get<bool>();
        }
    }
}

// Equality of a document and its copy: C3 through the C++ operator== on
// handles, C4 through the C call on two documents read apart (sharing no
// key strings, which a copy shares).
void C3_pz(benchmark::State &state) {
    const pz::value copy = pz_doc().copy();
    for (auto _ : state) benchmark::DoNotOptimize(pz_doc() == copy);
}

void C4_pz(benchmark::State &state) {
    const pz::value other = pz_events();
    for (auto _ : state) benchmark::DoNotOptimize(pz_variant_equal(pz_doc().get(), other.get()));
}

void C3_nlohmann(benchmark::State &state) {
    const nlohmann::json copy = nlohmann_doc();
    for (auto _ : state) benchmark::DoNotOptimize(nlohmann_doc() == copy);
}

}  // namespace

#define PZ_C(fn, name) BENCHMARK(fn)->Name(name)->Unit(benchmark::kMillisecond)->MinTime(0.3)
PZ_C(C1_pz, "C1/pz");
PZ_C(C1_nlohmann, "C1/nlohmann");
PZ_C(C2_pz, "C2/pz");
PZ_C(C2_nlohmann, "C2/nlohmann");
PZ_C(C3_pz, "C3/pz");
PZ_C(C3_nlohmann, "C3/nlohmann");
PZ_C(C4_pz, "C4/pz");
PZ_C(C3_nlohmann, "C4/nlohmann");
