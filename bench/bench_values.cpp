// Making and releasing values: the cost of one block per value.
#include <benchmark/benchmark.h>

#include "pzvariant/pz_variant.h"

namespace {

void BM_MakeReleaseInt(benchmark::State &state) {
    for (auto _ : state) {
        pz_variant_t *v = pz_variant_int64_new(42);
        benchmark::DoNotOptimize(v);
        pz_variant_unref(v);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_MakeReleaseInt);

void BM_MakeReleaseString(benchmark::State &state) {
    for (auto _ : state) {
        pz_variant_t *v = pz_variant_str_new("a short text");
        benchmark::DoNotOptimize(v);
        pz_variant_unref(v);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_MakeReleaseString);

void BM_RefUnref(benchmark::State &state) {
    pz_variant_t *v = pz_variant_int32_new(1);
    for (auto _ : state) {
        pz_variant_ref(v);
        pz_variant_unref(v);
    }
    pz_variant_unref(v);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_RefUnref);

}  // namespace
