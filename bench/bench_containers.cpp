// Containers at sizes from 10 to a million: appending and indexing arrays,
// putting, getting and erasing dictionary entries, through the typed
// accessors where there is one. Items are elements or entries touched.
#include <benchmark/benchmark.h>

#include <chrono>
#include <string>
#include <vector>

#include "pzvariant/pz_variant.h"

namespace {

std::vector<std::string> make_keys(int64_t n) {
    std::vector<std::string> keys;
    keys.reserve(static_cast<size_t>(n));
    for (int64_t i = 0; i < n; ++i) keys.push_back("key-" + std::to_string(i));
    return keys;
}

// Wall-clock seconds taken by `body`, so that building and releasing the
// containers around it stay outside the measurement.
template <class F>
double seconds_of(F body) {
    const auto start = std::chrono::steady_clock::now();
    body();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

pz_variant_t *make_dict(const std::vector<std::string> &keys) {
    pz_variant_t *dict = pz_variant_dict_new();
    int64_t i = 0;
    for (const std::string &key : keys) vdict_set_int64(dict, key.c_str(), i++);
    return dict;
}

void BM_ArrayAppend(benchmark::State &state) {
    const auto n = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        pz_variant_t *arr = pz_variant_array_new();
        state.SetIterationTime(seconds_of([&] {
            for (uint32_t i = 0; i < n; ++i) varray_add_int64(arr, i);
        }));
        pz_variant_unref(arr);
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void BM_ArrayIndex(benchmark::State &state) {
    const auto n = static_cast<uint32_t>(state.range(0));
    pz_variant_t *arr = pz_variant_array_new();
    for (uint32_t i = 0; i < n; ++i) varray_add_int64(arr, i);
    for (auto _ : state) {
        int64_t sum = 0;
        for (uint32_t i = 0; i < n; ++i) sum += varray_int64(arr, i);
        benchmark::DoNotOptimize(sum);
    }
    pz_variant_unref(arr);
    state.SetItemsProcessed(state.iterations() * n);
}

void BM_DictPut(benchmark::State &state) {
    const std::vector<std::string> keys = make_keys(state.range(0));
    for (auto _ : state) {
        pz_variant_t *dict = nullptr;
        state.SetIterationTime(seconds_of([&] { dict = make_dict(keys); }));
        pz_variant_unref(dict);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_DictGet(benchmark::State &state) {
    const std::vector<std::string> keys = make_keys(state.range(0));
    pz_variant_t *dict = make_dict(keys);
    for (auto _ : state) {
        int64_t sum = 0;
        for (const std::string &key : keys) sum += vdict_int64_default(dict, key.c_str(), 0);
        benchmark::DoNotOptimize(sum);
    }
    pz_variant_unref(dict);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_DictErase(benchmark::State &state) {
    const std::vector<std::string> keys = make_keys(state.range(0));
    for (auto _ : state) {
        pz_variant_t *dict = make_dict(keys);
        state.SetIterationTime(seconds_of([&] {
            for (const std::string &key : keys) pz_variant_dict_erase(dict, key.c_str());
        }));
        pz_variant_unref(dict);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

}  // namespace

// All in wall-clock time, the building ones timing only their operation.
BENCHMARK(BM_ArrayAppend)->RangeMultiplier(10)->Range(10, 1000000)->UseManualTime();
BENCHMARK(BM_ArrayIndex)->RangeMultiplier(10)->Range(10, 1000000)->UseRealTime();
BENCHMARK(BM_DictPut)->RangeMultiplier(10)->Range(10, 1000000)->UseManualTime();
BENCHMARK(BM_DictGet)->RangeMultiplier(10)->Range(10, 1000000)->UseRealTime();
BENCHMARK(BM_DictErase)->RangeMultiplier(10)->Range(10, 1000000)->UseManualTime();
