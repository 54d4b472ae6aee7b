// The peer workloads for this library.
#include <benchmark/benchmark.h>
#include "pzvariant/pz_variant.h"

#include <cstdlib>
#include <string>

#include "bench_peers.h"

using namespace pz_bench;

namespace {

void W1_pz(benchmark::State &state) {
    for (auto _ : state) {
        for (int i = 0; i < kScalars; ++i) {
            pz_variant_t *v = pz_variant_int64_new(i);
            benchmark::DoNotOptimize(v);
            pz_variant_unref(v);
        }
    }
}

// W2 and W3 use the typed accessors, which hand a new element to the
// container and read one in place, as the peers' "steal" and "borrow" calls
// do; the reference-taking calls cost two atomic operations more each.
void W2_pz(benchmark::State &state) {
    for (auto _ : state) {
        pz_variant_t *a = pz_variant_array_new();
        for (int i = 0; i < kElements; ++i) varray_add_int64(a, i);
        int64_t sum = 0;
        for (uint32_t i = 0; i < kElements; ++i) sum += varray_int64(a, i);
        benchmark::DoNotOptimize(sum);
        pz_variant_unref(a);
    }
}

void W3_pz(benchmark::State &state) {
    const auto &k = keys();
    for (auto _ : state) {
        pz_variant_t *d = pz_variant_dict_new();
        for (int i = 0; i < kKeys; ++i) vdict_set_int64(d, k[i].c_str(), i);
        int64_t sum = 0;
        for (int i = 0; i < kKeys; ++i) sum += vdict_int64_default(d, k[i].c_str(), 0);
        for (int i = 0; i < kKeys; ++i) sum += pz_variant_dict_erase(d, k[i].c_str());
        benchmark::DoNotOptimize(sum);
        pz_variant_unref(d);
    }
}

void W4_pz(benchmark::State &state) {
    for (auto _ : state) {
        for (int i = 0; i < kScalars; ++i) {
            pz_variant_t *r = pz_variant_pack("ic", int32_t{i}, kName);
            int32_t id = 0;
            const char *name = nullptr;
            benchmark::DoNotOptimize(pz_variant_unpack(r, "ic", &id, &name));
            benchmark::DoNotOptimize(name);
            pz_variant_unref(r);
        }
    }
}

void W5_pz(benchmark::State &state) {
    pz_variant_t *source = const_cast<pz_variant_t *>(doc().root());
    for (auto _ : state) {
        pz_variant_t *copy = pz_variant_dup(source);
        benchmark::DoNotOptimize(copy);
        state.PauseTiming();
        pz_variant_unref(copy);
        state.ResumeTiming();
    }
}

PZ_W(W1_pz, "W1/pz");
PZ_W(W2_pz, "W2/pz");
PZ_W(W3_pz, "W3/pz");
PZ_W(W4_pz, "W4/pz");
PZ_W(W5_pz, "W5/pz");

}  // namespace

pz_bench::memory_bytes pz_bench::memory_pz() {
    const auto &k = keys();
    (void)k;
    auto scalars = [](auto make, auto drop) { return bytes_per_scalar(make, drop); };
    auto arrays = [](auto make) { return bytes_per_item(make); };
    return {scalars([](int i) { return pz_variant_int64_new(i); }, pz_variant_unref),
            arrays([] {
                          pz_variant_t *a = pz_variant_array_new();
                          for (int i = 0; i < kMemItems; ++i) {
                              pz_variant_t *v = pz_variant_int64_new(i);
                              pz_variant_array_append(a, v);
                              pz_variant_unref(v);
                          }
                          return [a] { pz_variant_unref(a); };
                      }),
            arrays([&] {
                          pz_variant_t *d = pz_variant_dict_new();
                          for (int i = 0; i < kMemItems; ++i) {
                              pz_variant_t *v = pz_variant_int64_new(i);
                              pz_variant_dict_put(d, k[i].c_str(), v);
                              pz_variant_unref(v);
                          }
                          return [d] { pz_variant_unref(d); };
                      })};
}

pz_bench::plain_json pz_bench::plain_json_pz() {
    return {[](const char *text) -> void * { return pz_variant_from_json(text, nullptr); },
            [](void *tree) { pz_variant_unref(static_cast<pz_variant_t *>(tree)); },
            [](void *tree) {
                char *text = pz_variant_to_json(static_cast<pz_variant_t *>(tree), 0);
                benchmark::DoNotOptimize(text);
                HAL_Free(text);
            }};
}
