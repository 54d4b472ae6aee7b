// The peer workloads for json-c.
#include <benchmark/benchmark.h>
#include <json-c/json.h>

#include <cstdlib>
#include <string>

#include "bench_peers.h"

using namespace pz_bench;

namespace {

struct jsonc_converter final : converter<json_object *> {
    json_object *scalar(const pz_variant_t *v) override {
        return scalar_of<json_object *>(
            v, [](int64_t i) { return json_object_new_int64(i); },
            [](double d) { return json_object_new_double(d); },
            [](const char *s) { return json_object_new_string(s); },
            [](bool b) { return json_object_new_boolean(b); });
    }
    json_object *array() override { return json_object_new_array(); }
    void append(json_object *a, json_object *item) override { json_object_array_add(a, item); }
    json_object *object() override { return json_object_new_object(); }
    void set(json_object *o, const char *key, json_object *item) override {
        json_object_object_add(o, key, item);
    }
};

json_object *jsonc_doc() {
    static json_object *d = jsonc_converter{}.convert(doc().root());
    return d;
}

const std::string &jsonc_text() {
    static const std::string t = json_object_to_json_string_ext(jsonc_doc(), JSON_C_TO_STRING_PLAIN);
    return t;
}

void W1_jsonc(benchmark::State &state) {
    for (auto _ : state) {
        for (int i = 0; i < kScalars; ++i) {
            json_object *v = json_object_new_int64(i);
            benchmark::DoNotOptimize(v);
            json_object_put(v);
        }
    }
}

void W2_jsonc(benchmark::State &state) {
    for (auto _ : state) {
        json_object *a = json_object_new_array();
        for (int i = 0; i < kElements; ++i) json_object_array_add(a, json_object_new_int64(i));
        int64_t sum = 0;
        for (size_t i = 0; i < kElements; ++i) {
            sum += json_object_get_int64(json_object_array_get_idx(a, i));
        }
        benchmark::DoNotOptimize(sum);
        json_object_put(a);
    }
}

void W3_jsonc(benchmark::State &state) {
    const auto &k = keys();
    for (auto _ : state) {
        json_object *d = json_object_new_object();
        for (int i = 0; i < kKeys; ++i) json_object_object_add(d, k[i].c_str(), json_object_new_int64(i));
        int64_t sum = 0;
        for (int i = 0; i < kKeys; ++i) {
            json_object *v = nullptr;
            if (json_object_object_get_ex(d, k[i].c_str(), &v)) sum += json_object_get_int64(v);
        }
        for (int i = 0; i < kKeys; ++i) json_object_object_del(d, k[i].c_str());
        benchmark::DoNotOptimize(sum);
        json_object_put(d);
    }
}

void W5_jsonc(benchmark::State &state) {
    json_object *source = jsonc_doc();
    for (auto _ : state) {
        json_object *copy = nullptr;
        json_object_deep_copy(source, &copy, nullptr);
        benchmark::DoNotOptimize(copy);
        state.PauseTiming();
        json_object_put(copy);
        state.ResumeTiming();
    }
}

void W6_jsonc(benchmark::State &state) {
    json_object *source = jsonc_doc();
    for (auto _ : state) {
        // The text belongs to the object and is rewritten by each call.
        benchmark::DoNotOptimize(json_object_to_json_string_ext(source, JSON_C_TO_STRING_PLAIN));
    }
}

void W7_jsonc(benchmark::State &state) {
    const char *text = jsonc_text().c_str();
    for (auto _ : state) {
        json_object *v = json_tokener_parse(text);
        benchmark::DoNotOptimize(v);
        state.PauseTiming();
        json_object_put(v);
        state.ResumeTiming();
    }
}

PZ_W(W1_jsonc, "W1/json-c");
PZ_W(W2_jsonc, "W2/json-c");
PZ_W(W3_jsonc, "W3/json-c");
PZ_W(W5_jsonc, "W5/json-c");
PZ_W(W6_jsonc, "W6/json-c");
PZ_W(W7_jsonc, "W7/json-c");

}  // namespace

pz_bench::memory_bytes pz_bench::memory_jsonc() {
    const auto &k = keys();
    (void)k;
    auto scalars = [](auto make, auto drop) { return bytes_per_scalar(make, drop); };
    auto arrays = [](auto make) { return bytes_per_item(make); };
    return {scalars([](int i) { return json_object_new_int64(i); }, [](json_object *v) { json_object_put(v); }),
            arrays([] {
                          json_object *a = json_object_new_array();
                          for (int i = 0; i < kMemItems; ++i) json_object_array_add(a, json_object_new_int64(i));
                          return [a] { json_object_put(a); };
                      }),
            arrays([&] {
                          json_object *d = json_object_new_object();
                          for (int i = 0; i < kMemItems; ++i) json_object_object_add(d, k[i].c_str(), json_object_new_int64(i));
                          return [d] { json_object_put(d); };
                      })};
}

pz_bench::plain_json pz_bench::plain_json_jsonc() {
    return {[](const char *text) -> void * { return json_tokener_parse(text); },
            [](void *tree) { json_object_put(static_cast<json_object *>(tree)); },
            [](void *tree) {
                // The text belongs to the object and is rewritten by each call.
                benchmark::DoNotOptimize(
                    json_object_to_json_string_ext(static_cast<json_object *>(tree), JSON_C_TO_STRING_PLAIN));
            }};
}
