// The peer workloads for GLib: GVariant values in a GPtrArray and a GHashTable (no JSON, no deep copy of immutable values).
#include <benchmark/benchmark.h>
#include <glib.h>

#include <cstdlib>
#include <string>

#include "bench_peers.h"

using namespace pz_bench;

namespace {

void W1_glib(benchmark::State &state) {
    for (auto _ : state) {
        for (int i = 0; i < kScalars; ++i) {
            GVariant *v = g_variant_ref_sink(g_variant_new_int64(i));
            benchmark::DoNotOptimize(v);
            g_variant_unref(v);
        }
    }
}

void W2_glib(benchmark::State &state) {
    for (auto _ : state) {
        GPtrArray *a = g_ptr_array_new_with_free_func(reinterpret_cast<GDestroyNotify>(g_variant_unref));
        for (int i = 0; i < kElements; ++i) g_ptr_array_add(a, g_variant_ref_sink(g_variant_new_int64(i)));
        int64_t sum = 0;
        for (guint i = 0; i < kElements; ++i) {
            sum += g_variant_get_int64(static_cast<GVariant *>(g_ptr_array_index(a, i)));
        }
        benchmark::DoNotOptimize(sum);
        g_ptr_array_unref(a);
    }
}

void W3_glib(benchmark::State &state) {
    const auto &k = keys();
    for (auto _ : state) {
        GHashTable *d = g_hash_table_new_full(g_str_hash, g_str_equal, g_free,
                                              reinterpret_cast<GDestroyNotify>(g_variant_unref));
        for (int i = 0; i < kKeys; ++i) {
            g_hash_table_insert(d, g_strdup(k[i].c_str()), g_variant_ref_sink(g_variant_new_int64(i)));
        }
        int64_t sum = 0;
        for (int i = 0; i < kKeys; ++i) {
            sum += g_variant_get_int64(static_cast<GVariant *>(g_hash_table_lookup(d, k[i].c_str())));
        }
        for (int i = 0; i < kKeys; ++i) sum += g_hash_table_remove(d, k[i].c_str());
        benchmark::DoNotOptimize(sum);
        g_hash_table_unref(d);
    }
}

void W4_glib(benchmark::State &state) {
    for (auto _ : state) {
        for (int i = 0; i < kScalars; ++i) {
            GVariant *r = g_variant_ref_sink(g_variant_new("(is)", gint32{i}, kName));
            gint32 id = 0;
            const char *name = nullptr;
            g_variant_get(r, "(i&s)", &id, &name);
            benchmark::DoNotOptimize(id);
            benchmark::DoNotOptimize(name);
            g_variant_unref(r);
        }
    }
}

PZ_W(W1_glib, "W1/GLib");
PZ_W(W2_glib, "W2/GLib");
PZ_W(W3_glib, "W3/GLib");
PZ_W(W4_glib, "W4/GLib");

}  // namespace

pz_bench::memory_bytes pz_bench::memory_glib() {
    const auto &k = keys();
    (void)k;
    auto scalars = [](auto make, auto drop) { return bytes_per_scalar(make, drop); };
    auto arrays = [](auto make) { return bytes_per_item(make); };
    return {scalars([](int i) { return g_variant_ref_sink(g_variant_new_int64(i)); }, g_variant_unref),
            arrays([] {
                          GPtrArray *a = g_ptr_array_new_with_free_func(reinterpret_cast<GDestroyNotify>(g_variant_unref));
                          for (int i = 0; i < kMemItems; ++i) g_ptr_array_add(a, g_variant_ref_sink(g_variant_new_int64(i)));
                          return [a] { g_ptr_array_unref(a); };
                      }),
            arrays([&] {
                          GHashTable *d = g_hash_table_new_full(g_str_hash, g_str_equal, g_free,
                                                                reinterpret_cast<GDestroyNotify>(g_variant_unref));
                          for (int i = 0; i < kMemItems; ++i) {
                              g_hash_table_insert(d, g_strdup(k[i].c_str()), g_variant_ref_sink(g_variant_new_int64(i)));
                          }
                          return [d] { g_hash_table_unref(d); };
                      })};
}
