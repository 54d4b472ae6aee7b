// Plain JSON of the benchmark document, one text for every library: the
// compact text we write for it. Each library reads that text (W9) and writes
// the tree it read back as compact text (W8), so that all of them print the
// same document.
#include <benchmark/benchmark.h>

#include <string>
#include <utility>

#include "bench_peers.h"

namespace {

using pz_bench::plain_json;

const std::string &plain_text() {
    static const std::string t = [] {
        char *s = pz_variant_to_json(pz_bench::doc().root(), 0);
        std::string out = s;
        HAL_Free(s);
        return out;
    }();
    return t;
}

void report(benchmark::State &state) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(plain_text().size()));
}

void read_plain(benchmark::State &state, plain_json lib) {
    const char *text = plain_text().c_str();
    for (auto _ : state) {
        void *tree = lib.read(text);
        benchmark::DoNotOptimize(tree);
        state.PauseTiming();  // releasing the tree is not reading
        lib.release(tree);
        state.ResumeTiming();
    }
    report(state);
}

void write_plain(benchmark::State &state, plain_json lib) {
    void *tree = lib.read(plain_text().c_str());
    if (tree == nullptr) state.SkipWithError("the plain text does not read");
    for (auto _ : state) lib.write(tree);
    if (tree != nullptr) lib.release(tree);
    report(state);
}

const bool registered = [] {
    const std::pair<std::string, plain_json> libraries[] = {{"pz", pz_bench::plain_json_pz()},
                                                            {"jansson", pz_bench::plain_json_jansson()},
                                                            {"json-c", pz_bench::plain_json_jsonc()},
                                                            {"cJSON", pz_bench::plain_json_cjson()}};
    for (const auto &[name, lib] : libraries) {
        benchmark::RegisterBenchmark(("W8/" + name).c_str(), write_plain, lib)
            ->Unit(benchmark::kMillisecond)->MinTime(0.3);
        benchmark::RegisterBenchmark(("W9/" + name).c_str(), read_plain, lib)
            ->Unit(benchmark::kMillisecond)->MinTime(0.3);
    }
    return true;
}();

}  // namespace
