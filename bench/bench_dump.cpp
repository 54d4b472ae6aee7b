// Typed dump throughput on a generated document of about 10 MB, beside the
// floor that cJSON sets for the same text: printing a tree already built as
// the writer builds it, and parsing the text.
#include <benchmark/benchmark.h>

#include <cstring>

#include "bench_document.h"
#include "bench_peers.h"
#include "pzvariant/pz_variant.h"
#include "text/dump.h"

namespace {

using pz_bench::doc;

void report(benchmark::State &state) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(doc().text().size()));
    state.SetItemsProcessed(state.iterations() * doc().values());
}

void BM_Dump(benchmark::State &state) {
    const pz_variant_t *root = doc().root();  // made before the timing starts
    for (auto _ : state) {
        char *text = pz_variant_dump(root);
        benchmark::DoNotOptimize(text);
        HAL_Free(text);
    }
    report(state);
}
BENCHMARK(BM_Dump)->Unit(benchmark::kMillisecond);

void BM_DumpFloor_cJSONPrint(benchmark::State &state) {
    pz::dump_arena arena;
    cJSON *tree = pz::dump_tree(doc().root(), arena);
    for (auto _ : state) {
        char *text = cJSON_PrintUnformatted(tree);
        benchmark::DoNotOptimize(text);
        cJSON_free(text);
    }
    report(state);
}
BENCHMARK(BM_DumpFloor_cJSONPrint)->Unit(benchmark::kMillisecond);

void BM_Read(benchmark::State &state) {
    const char *text = doc().text().c_str();
    for (auto _ : state) {
        pz_variant_t *v = pz_variant_from_dump(text);
        benchmark::DoNotOptimize(v);
        state.PauseTiming();  // releasing the value is not reading
        pz_variant_unref(v);
        state.ResumeTiming();
    }
    report(state);
}
BENCHMARK(BM_Read)->Unit(benchmark::kMillisecond);

// The reader deletes its tree, so the floor does too.
void BM_ReadFloor_cJSONParse(benchmark::State &state) {
    const char *text = doc().text().c_str();
    for (auto _ : state) {
        cJSON *tree = cJSON_Parse(text);
        benchmark::DoNotOptimize(tree);
        cJSON_Delete(tree);
    }
    report(state);
}
BENCHMARK(BM_ReadFloor_cJSONParse)->Unit(benchmark::kMillisecond);

}  // namespace

pz_bench::peak_bytes pz_bench::read_peak() {
    const char *text = doc().text().c_str();
    return {resident_peak([text] { pz_variant_unref(pz_variant_from_dump(text)); }),
            resident_peak([text] { cJSON_Delete(cJSON_Parse(text)); })};
}
