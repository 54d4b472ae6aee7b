// The peer workloads for cJSON (its index and key lookups walk a list, so no W2, W3).
#include <benchmark/benchmark.h>
#include <cjson/cJSON.h>

#include <cstdlib>
#include <string>

#include "bench_peers.h"

using namespace pz_bench;

namespace {

struct cjson_converter final : converter<cJSON *> {
    cJSON *scalar(const pz_variant_t *v) override {
        return scalar_of<cJSON *>(
            v, [](int64_t i) { return cJSON_CreateNumber(static_cast<double>(i)); },
            [](double d) { return cJSON_CreateNumber(d); },
            [](const char *s) { return cJSON_CreateString(s); },
            [](bool b) { return cJSON_CreateBool(b); });
    }
    cJSON *array() override { return cJSON_CreateArray(); }
    void append(cJSON *a, cJSON *item) override { cJSON_AddItemToArray(a, item); }
    cJSON *object() override { return cJSON_CreateObject(); }
    void set(cJSON *o, const char *key, cJSON *item) override { cJSON_AddItemToObject(o, key, item); }
};

cJSON *cjson_doc() {
    static cJSON *d = cjson_converter{}.convert(doc().root());
    return d;
}

const std::string &cjson_text() {
    static const std::string t = [] {
        char *s = cJSON_PrintUnformatted(cjson_doc());
        std::string out = s;
        cJSON_free(s);
        return out;
    }();
    return t;
}

void W1_cjson(benchmark::State &state) {
    for (auto _ : state) {
        for (int i = 0; i < kScalars; ++i) {
            cJSON *v = cJSON_CreateNumber(i);
            benchmark::DoNotOptimize(v);
            cJSON_Delete(v);
        }
    }
}

// cJSON has no pack: the record is a 2-element array built and read by hand.
void W4_cjson(benchmark::State &state) {
    for (auto _ : state) {
        for (int i = 0; i < kScalars; ++i) {
            cJSON *r = cJSON_CreateArray();
            cJSON_AddItemToArray(r, cJSON_CreateNumber(i));
            cJSON_AddItemToArray(r, cJSON_CreateString(kName));
            const int id = static_cast<int>(cJSON_GetNumberValue(cJSON_GetArrayItem(r, 0)));
            const char *name = cJSON_GetStringValue(cJSON_GetArrayItem(r, 1));
            benchmark::DoNotOptimize(id);
            benchmark::DoNotOptimize(name);
            cJSON_Delete(r);
        }
    }
}

void W5_cjson(benchmark::State &state) {
    cJSON *source = cjson_doc();
    for (auto _ : state) {
        cJSON *copy = cJSON_Duplicate(source, 1);
        benchmark::DoNotOptimize(copy);
        state.PauseTiming();
        cJSON_Delete(copy);
        state.ResumeTiming();
    }
}

void W6_cjson(benchmark::State &state) {
    cJSON *source = cjson_doc();
    for (auto _ : state) {
        char *text = cJSON_PrintUnformatted(source);
        benchmark::DoNotOptimize(text);
        cJSON_free(text);
    }
}

void W7_cjson(benchmark::State &state) {
    const char *text = cjson_text().c_str();
    for (auto _ : state) {
        cJSON *v = cJSON_Parse(text);
        benchmark::DoNotOptimize(v);
        state.PauseTiming();
        cJSON_Delete(v);
        state.ResumeTiming();
    }
}

PZ_W(W1_cjson, "W1/cJSON");
PZ_W(W4_cjson, "W4/cJSON");
PZ_W(W5_cjson, "W5/cJSON");
PZ_W(W6_cjson, "W6/cJSON");
PZ_W(W7_cjson, "W7/cJSON");

}  // namespace

pz_bench::memory_bytes pz_bench::memory_cjson() {
    const auto &k = keys();
    (void)k;
    auto scalars = [](auto make, auto drop) { return bytes_per_scalar(make, drop); };
    auto arrays = [](auto make) { return bytes_per_item(make); };
    return {scalars([](int i) { return cJSON_CreateNumber(i); }, cJSON_Delete),
            arrays([] {
                          cJSON *a = cJSON_CreateArray();
                          for (int i = 0; i < kMemItems; ++i) cJSON_AddItemToArray(a, cJSON_CreateNumber(i));
                          return [a] { cJSON_Delete(a); };
                      }),
            arrays([&] {
                          // Appends without a lookup: cJSON does not check for a key twice.
                          cJSON *d = cJSON_CreateObject();
                          for (int i = 0; i < kMemItems; ++i) cJSON_AddItemToObject(d, k[i].c_str(), cJSON_CreateNumber(i));
                          return [d] { cJSON_Delete(d); };
                      })};
}

pz_bench::plain_json pz_bench::plain_json_cjson() {
    return {[](const char *text) -> void * { return cJSON_Parse(text); },
            [](void *tree) { cJSON_Delete(static_cast<cJSON *>(tree)); },
            [](void *tree) {
                char *text = cJSON_PrintUnformatted(static_cast<cJSON *>(tree));
                benchmark::DoNotOptimize(text);
                cJSON_free(text);
            }};
}
