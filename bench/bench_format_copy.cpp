// Packing and unpacking a small record, and deep-copying a large value.
#include <benchmark/benchmark.h>

#include <malloc.h>

#include <cstdio>

#include "pzvariant/pz_variant.h"

namespace {

void BM_PackUnpackRecord(benchmark::State &state) {
    for (auto _ : state) {
        pz_variant_t *record = pz_variant_pack("ic", int32_t{42}, "a short name");
        int32_t id = 0;
        const char *name = nullptr;
        benchmark::DoNotOptimize(pz_variant_unpack(record, "ic", &id, &name));
        benchmark::DoNotOptimize(name);
        pz_variant_unref(record);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PackUnpackRecord);

// `records` dictionaries of numbers, texts, a nested dictionary and two
// arrays; counts the values made in `values`.
pz_variant_t *large_value(int records, long *values) {
    pz_variant_t *top = pz_variant_array_new();
    char text[32];
    for (int r = 0; r < records; ++r) {
        pz_variant_t *rec = pz_variant_dict_new();
        std::snprintf(text, sizeof text, "record number %d", r);
        pz_variant_t *scores = pz_variant_pack("dddddddddd", 1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0,
                                               8.0, 9.0, 10.0);
        pz_variant_t *tags = pz_variant_pack("ccccc", "red", "green", "blue", text, "tag");
        pz_variant_t *owner = pz_variant_pack("ixc", r, int64_t{r} * 1000, text);
        pz_variant_t *fields[] = {pz_variant_int32_new(r), pz_variant_str_new(text), scores,
                                  tags, owner, vdict_child(rec, "meta")};
        const char *keys[] = {"id", "name", "scores", "tags", "owner", "meta"};
        for (int i = 0; i < 6; ++i) {
            pz_variant_dict_put(rec, keys[i], fields[i]);
            pz_variant_unref(fields[i]);
        }
        pz_variant_t *meta = pz_variant_dict_get(rec, "meta");
        pz_variant_t *flag = pz_variant_bool_new(r % 2 == 0);
        pz_variant_dict_put(meta, "even", flag);
        pz_variant_unref(flag);
        pz_variant_unref(meta);
        pz_variant_array_append(top, rec);
        pz_variant_unref(rec);
        *values += 1 + 2 + 11 + 6 + 4 + 2;
    }
    return top;
}

void BM_DeepCopyLargeValue(benchmark::State &state) {
    long values = 1;
    const size_t heap_before = mallinfo2().uordblks;
    pz_variant_t *source = large_value(static_cast<int>(state.range(0)), &values);
    const size_t heap_bytes = mallinfo2().uordblks - heap_before;
    for (auto _ : state) {
        pz_variant_t *copy = pz_variant_dup(source);
        benchmark::DoNotOptimize(copy);
        state.PauseTiming();  // releasing is not copying
        pz_variant_unref(copy);
        state.ResumeTiming();
    }
    pz_variant_unref(source);
    state.SetItemsProcessed(state.iterations() * values);
    state.counters["values"] = static_cast<double>(values);
    state.counters["MB"] = static_cast<double>(heap_bytes) / 1e6;
}
BENCHMARK(BM_DeepCopyLargeValue)->Arg(2000)->Unit(benchmark::kMillisecond);

}  // namespace
