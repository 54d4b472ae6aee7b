// The JSON engine's benchmarks: each library reads the three documents and
// writes the tree it read as compact text; our read beside pz_variant_dup of
// the value it makes and beside counting the values through the event
// readers; its peak heap; two threads reading at once.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>
#include <vector>

#include "bench_hal.h"
#include "bench_json_documents.h"
#include "bench_json_engine.h"
#include "bench_peers.h"

namespace pz_bench {
namespace {

struct library {
    const char *name;
    plain_json json;
};

const std::vector<library> &libraries() {
    static const std::vector<library> libs = {{"pz", plain_json_pz()},
                                              {"jansson", plain_json_jansson()},
                                              {"json-c", plain_json_jsonc()},
                                              {"cJSON", plain_json_cjson()}};
    return libs;
}

constexpr const char *kPeers[] = {"jansson", "json-c", "cJSON"};

void report(benchmark::State &state, const json_document &doc) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(doc.text.size()));
}

// Read and release, both timed: what a caller pays for a document it reads.
void read_release(benchmark::State &state, const json_document *doc, plain_json lib) {
    for (auto _ : state) {
        void *tree = lib.read(doc->text.c_str());
        if (tree == nullptr) {
            state.SkipWithError("the document does not read");
            break;
        }
        lib.release(tree);
    }
    report(state, *doc);
}

void compact_write(benchmark::State &state, const json_document *doc, plain_json lib) {
    void *tree = lib.read(doc->text.c_str());
    if (tree == nullptr) state.SkipWithError("the document does not read");
    for (auto _ : state) lib.write(tree);
    if (tree != nullptr) lib.release(tree);
    report(state, *doc);
}

// The copy of the value our read makes: the cost of making our values at all.
void dup_release(benchmark::State &state, const json_document *doc) {
    pz_variant_t *v = pz_variant_from_json(doc->text.c_str(), nullptr);
    if (v == nullptr) state.SkipWithError("the document does not read");
    for (auto _ : state) {
        pz_variant_t *copy = pz_variant_dup(v);
        benchmark::DoNotOptimize(copy);
        pz_variant_unref(copy);
    }
    pz_variant_unref(v);
    report(state, *doc);
}

// The same value read from its MessagePack form, and released.
void msgpack_read_release(benchmark::State &state, const json_document *doc) {
    pz_variant_t *v = pz_variant_from_json(doc->text.c_str(), nullptr);
    size_t len = 0;
    uint8_t *bytes = pz_variant_to_msgpack(v, 0, &len);
    pz_variant_unref(v);
    if (bytes == nullptr) state.SkipWithError("the document does not write");
    for (auto _ : state) {
        pz_variant_t *back = pz_variant_from_msgpack(bytes, len, nullptr);
        benchmark::DoNotOptimize(back);
        pz_variant_unref(back);
    }
    HAL_Free(bytes);
    report(state, *doc);
}

// The values of the document counted through the event callbacks, with no
// value made: what a program that reads a file as events pays. Counting
// needs no number's value, so numbers come as text, unconverted.
int count_value(void *n) { return ++*static_cast<size_t *>(n), 0; }
constexpr pz_events_t kCounting = {
    [](void *n, size_t) { return count_value(n); },
    nullptr,
    [](void *n, size_t) { return count_value(n); },
    nullptr,
    nullptr,
    [](void *n, const pz_variant_t *) { return count_value(n); },
    [](void *n, const char *, size_t) { return count_value(n); },
    [](void *n, const uint8_t *, size_t) { return count_value(n); },
    [](void *n, const char *, size_t) { return count_value(n); },
};

void count_events(benchmark::State &state, const json_document *doc) {
    for (auto _ : state) {
        size_t values = 0;
        if (pz_events_read_json(doc->text.data(), doc->text.size(), 0, &kCounting, &values, nullptr, nullptr) !=
            PZ_EVENTS_READ) {
            state.SkipWithError("the document does not read");
            break;
        }
        benchmark::DoNotOptimize(values);
    }
    report(state, *doc);
}

double lowest(const std::vector<double> &v) { return *std::min_element(v.begin(), v.end()); }
double highest(const std::vector<double> &v) { return *std::max_element(v.begin(), v.end()); }

template <class Fn, class... Args>
void add(const std::string &name, Fn fn, Args... args) {
    benchmark::RegisterBenchmark(name.c_str(), fn, args...)
        ->Unit(benchmark::kMillisecond)
        ->MinTime(0.3)
        ->ComputeStatistics("min", lowest)
        ->ComputeStatistics("max", highest);
}

const bool registered = [] {
    for (const json_document &doc : json_documents()) {
        for (const library &lib : libraries()) {
            add(std::string("JR/") + doc.name + "/" + lib.name, read_release, &doc, lib.json);
            add(std::string("JW/") + doc.name + "/" + lib.name, compact_write, &doc, lib.json);
        }
        add(std::string("JD/") + doc.name + "/pz", dup_release, &doc);
        add(std::string("JM/") + doc.name + "/pz", msgpack_read_release, &doc);
        add(std::string("JE/") + doc.name + "/pz", count_events, &doc);
    }
    return true;
}();

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

// Wall time of `threads` threads each reading and releasing its own copy of
// `text` `rounds` times.
double wall_ms(const plain_json &lib, const std::string &text, int threads, int rounds) {
    std::vector<std::string> copies(static_cast<size_t>(threads), text);
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> running;
    for (const std::string &copy : copies) {
        running.emplace_back([&lib, &copy, rounds] {
            for (int i = 0; i < rounds; ++i) lib.release(lib.read(copy.c_str()));
        });
    }
    for (std::thread &t : running) t.join();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

// Reads done by two threads in a time over those of one thread: 2.0 when
// they do not hinder each other. One and two threads alternate, five times
// each; the medians are compared.
double two_thread_scaling(const plain_json &lib, const std::string &text) {
    constexpr int kRounds = 3;
    std::vector<double> one, two;
    for (int i = 0; i < 5; ++i) {
        one.push_back(wall_ms(lib, text, 1, kRounds));
        two.push_back(wall_ms(lib, text, 2, kRounds));
    }
    return 2.0 * median(one) / median(two);
}

// The rise of the resident set while our read runs, over the heap the value
// holds once read.
double peak_over_held(const std::string &text) {
    malloc_trim(0);
    const size_t before = heap_in_use();
    pz_variant_t *v = pz_variant_from_json(text.c_str(), nullptr);
    const double held = static_cast<double>(heap_in_use() - before);
    pz_variant_unref(v);
    const double peak = resident_peak([&text] { pz_variant_unref(pz_variant_from_json(text.c_str(), nullptr)); });
    return peak > 0 && held > 0 ? peak / held : -1.0;
}

const library &find(const char *name) {
    for (const library &lib : libraries()) {
        if (std::string(lib.name) == name) return lib;
    }
    return libraries().front();
}

// One row: our median, each peer's with its spread, our ratio to the
// fastest peer. Returns that ratio (0 when a time is missing).
double print_race(const result_of &ms, const std::string &row, const json_document &doc) {
    auto cell = [&](const char *lib) {
        const std::string name = row + "/" + doc.name + "/" + lib;
        const double mid = ms(name, "median");
        const double spread = mid > 0 ? (ms(name, "max") - ms(name, "min")) / mid * 100 : 0;
        std::printf(" %9.2f %3.0f%%", mid, spread);
        return mid;
    };
    std::printf("%-9s", doc.name);
    const double ours = cell("pz");
    double best = -1;
    for (const char *peer : kPeers) {
        const double t = cell(peer);
        if (t > 0 && (best < 0 || t < best)) best = t;
    }
    const double ratio = ours > 0 && best > 0 ? ours / best : 0;
    std::printf(" %7.2f\n", ratio);
    return ratio;
}

void print_races(const result_of &ms, const char *what, const std::string &row, double mean_target,
                 double each_target) {
    std::printf("\n%-9s %15s %15s %15s %15s %7s   (%s: median CPU ms, spread max-min)\n", "", "pz", "jansson",
                "json-c", "cJSON", "ratio", what);
    double log_sum = 0;
    double worst = 0;
    int n = 0;
    for (const json_document &doc : json_documents()) {
        const double r = print_race(ms, row, doc);
        if (r <= 0) continue;
        log_sum += std::log(r);
        worst = std::max(worst, r);
        ++n;
    }
    const double mean = n > 0 ? std::exp(log_sum / n) : 0;
    const bool met = n > 0 && mean < mean_target + 0.005 && worst < each_target + 0.005;
    std::printf("%s: geometric mean %.2f (target %.1f), worst %.2f (target %.1f): %s\n", what, mean, mean_target,
                worst, each_target, met ? "met" : "NOT met");
}

// The blocks asked for by our read of the document, by a copy of the value
// it makes, and by the read of that value's MessagePack form.
struct block_counts {
    unsigned long read, dup, msgpack;
};

block_counts count_blocks(const json_document &doc) {
    block_counts n{};
    unsigned long before = pz_bench::hal_mallocs();
    pz_variant_t *v = pz_variant_from_json(doc.text.c_str(), nullptr);
    n.read = pz_bench::hal_mallocs() - before;
    before = pz_bench::hal_mallocs();
    pz_variant_t *copy = pz_variant_dup(v);
    n.dup = pz_bench::hal_mallocs() - before;
    size_t len = 0;
    uint8_t *bytes = pz_variant_to_msgpack(v, 0, &len);
    before = pz_bench::hal_mallocs();
    pz_variant_t *back = pz_variant_from_msgpack(bytes, len, nullptr);
    n.msgpack = pz_bench::hal_mallocs() - before;
    for (pz_variant_t *made : {v, copy, back}) pz_variant_unref(made);
    HAL_Free(bytes);
    return n;
}

// Our reads beside the copy of the value they make, the floor of any
// reader: times (read + release over dup + release) and blocks.
void print_read_floor(const result_of &ms) {
    std::printf("\n%-9s %9s %9s %9s %9s %10s %10s %10s %10s %7s %7s\n", "", "read", "msgpack", "dup", "read/dup",
                "mp/dup", "blk read", "blk mp", "blk dup", "read", "mp");
    bool met = true;
    for (const json_document &doc : json_documents()) {
        const std::string suffix = std::string("/") + doc.name + "/pz";
        const double read = ms("JR" + suffix, "median"), mp = ms("JM" + suffix, "median"), dup = ms("JD" + suffix, "median");
        const block_counts n = count_blocks(doc);
        const double read_ratio = read / dup, mp_ratio = mp / dup;
        const double read_blocks = static_cast<double>(n.read) / static_cast<double>(n.dup);
        const double mp_blocks = static_cast<double>(n.msgpack) / static_cast<double>(n.dup);
        std::printf("%-9s %9.2f %9.2f %9.2f %9.2f %10.2f %10lu %10lu %10lu %7.3f %7.3f\n", doc.name, read, mp, dup,
                    read_ratio, mp_ratio, n.read, n.msgpack, n.dup, read_blocks, mp_blocks);
        met = met && read_ratio < 1.305 && mp_ratio < 1.105 && read_blocks <= 1.05 && mp_blocks <= 1.05;
    }
    std::printf("(median CPU ms of read + release, MessagePack read + release and pz_variant_dup + release of\n"
                " the value read; blocks: HAL_Malloc calls of one read or copy, and their ratios to the copy's.\n"
                " targets: read/dup at most 1.3, mp/dup at most 1.1, blocks within 5%% of the copy's): %s\n",
                met ? "met" : "NOT met");
}

}  // namespace

void print_json_engine_table(const result_of &ms) {
    std::printf("\nJSON engine: three documents");
    for (const json_document &doc : json_documents()) std::printf(", %s %.1f MB", doc.name, doc.text.size() / 1e6);
    std::printf("\n(ratio: ours over the fastest of jansson, json-c and cJSON on the same text)\n");
    print_races(ms, "read + release", "JR", 0.6, 1.0);
    print_read_floor(ms);
    print_races(ms, "compact write", "JW", 0.6, 1.5);

    std::printf("\n%-9s %12s %12s %12s %12s\n", "", "peak/held", "2thr pz", "2thr json-c", "read/events");
    for (const json_document &doc : json_documents()) {
        const std::string suffix = std::string("/") + doc.name + "/pz";
        const double read = ms("JR" + suffix, "median");
        const double events = ms("JE" + suffix, "median");
        std::printf("%-9s %12.2f %12.2f %12.2f %12.2f\n", doc.name, peak_over_held(doc.text),
                    two_thread_scaling(find("pz").json, doc.text), two_thread_scaling(find("json-c").json, doc.text),
                    read > 0 && events > 0 ? read / events : -1.0);
    }
    std::printf("(targets: peak heap during our read at most 1.2x what the value holds after it; two threads\n"
                " reading their own texts at least 1.85x one thread, wall time on an idle 2-core machine;\n"
                " counting the values through the event readers at least 3x as fast as reading them)\n");
}

}  // namespace pz_bench
