// The peer workloads for jansson.
#include <benchmark/benchmark.h>
#include <jansson.h>

#include <cstdlib>
#include <string>

#include "bench_peers.h"

using namespace pz_bench;

namespace {

struct jansson_converter final : converter<json_t *> {
    json_t *scalar(const pz_variant_t *v) override {
        return scalar_of<json_t *>(
            v, [](int64_t i) { return json_integer(i); }, [](double d) { return json_real(d); },
            [](const char *s) { return json_string(s); }, [](bool b) { return json_boolean(b); });
    }
    json_t *array() override { return json_array(); }
    void append(json_t *a, json_t *item) override { json_array_append_new(a, item); }
    json_t *object() override { return json_object(); }
    void set(json_t *o, const char *key, json_t *item) override { json_object_set_new(o, key, item); }
};

json_t *jansson_doc() {
    static json_t *d = jansson_converter{}.convert(doc().root());
    return d;
}

const std::string &jansson_text() {
    static const std::string t = [] {
        char *s = json_dumps(jansson_doc(), JSON_COMPACT);
        std::string out = s;
        free(s);
        return out;
    }();
    return t;
}

void W1_jansson(benchmark::State &state) {
    for (auto _ : state) {
        for (int i = 0; i < kScalars; ++i) {
            json_t *v = json_integer(i);
            benchmark::DoNotOptimize(v);
            json_decref(v);
        }
    }
}

void W2_jansson(benchmark::State &state) {
    for (auto _ : state) {
        json_t *a = json_array();
        for (int i = 0; i < kElements; ++i) json_array_append_new(a, json_integer(i));
        int64_t sum = 0;
        for (size_t i = 0; i < kElements; ++i) sum += json_integer_value(json_array_get(a, i));
        benchmark::DoNotOptimize(sum);
        json_decref(a);
    }
}

void W3_jansson(benchmark::State &state) {
    const auto &k = keys();
    for (auto _ : state) {
        json_t *d = json_object();
        for (int i = 0; i < kKeys; ++i) json_object_set_new(d, k[i].c_str(), json_integer(i));
        int64_t sum = 0;
        for (int i = 0; i < kKeys; ++i) sum += json_integer_value(json_object_get(d, k[i].c_str()));
        for (int i = 0; i < kKeys; ++i) sum += json_object_del(d, k[i].c_str());
        benchmark::DoNotOptimize(sum);
        json_decref(d);
    }
}

void W4_jansson(benchmark::State &state) {
    for (auto _ : state) {
        for (int i = 0; i < kScalars; ++i) {
            json_t *r = json_pack("[is]", i, kName);
            int id = 0;
            const char *name = nullptr;
            benchmark::DoNotOptimize(json_unpack(r, "[is]", &id, &name));
            benchmark::DoNotOptimize(name);
            json_decref(r);
        }
    }
}

void W5_jansson(benchmark::State &state) {
    json_t *source = jansson_doc();
    for (auto _ : state) {
        json_t *copy = json_deep_copy(source);
        benchmark::DoNotOptimize(copy);
        state.PauseTiming();
        json_decref(copy);
        state.ResumeTiming();
    }
}

void W6_jansson(benchmark::State &state) {
    json_t *source = jansson_doc();
    for (auto _ : state) {
        char *text = json_dumps(source, JSON_COMPACT);
        benchmark::DoNotOptimize(text);
        free(text);
    }
}

void W7_jansson(benchmark::State &state) {
    const char *text = jansson_text().c_str();
    for (auto _ : state) {
        json_error_t error;
        json_t *v = json_loads(text, 0, &error);
        benchmark::DoNotOptimize(v);
        state.PauseTiming();
        json_decref(v);
        state.ResumeTiming();
    }
}

PZ_W(W1_jansson, "W1/jansson");
PZ_W(W2_jansson, "W2/jansson");
PZ_W(W3_jansson, "W3/jansson");
PZ_W(W4_jansson, "W4/jansson");
PZ_W(W5_jansson, "W5/jansson");
PZ_W(W6_jansson, "W6/jansson");
PZ_W(W7_jansson, "W7/jansson");

}  // namespace

pz_bench::memory_bytes pz_bench::memory_jansson() {
    const auto &k = keys();
    (void)k;
    auto scalars = [](auto make, auto drop) { return bytes_per_scalar(make, drop); };
    auto arrays = [](auto make) { return bytes_per_item(make); };
    return {scalars([](int i) { return json_integer(i); }, [](json_t *v) { json_decref(v); }),
            arrays([] {
                          json_t *a = json_array();
                          for (int i = 0; i < kMemItems; ++i) json_array_append_new(a, json_integer(i));
                          return [a] { json_decref(a); };
                      }),
            arrays([&] {
                          json_t *d = json_object();
                          for (int i = 0; i < kMemItems; ++i) json_object_set_new(d, k[i].c_str(), json_integer(i));
                          return [d] { json_decref(d); };
                      })};
}

pz_bench::plain_json pz_bench::plain_json_jansson() {
    return {[](const char *text) -> void * { return json_loads(text, 0, nullptr); },
            [](void *tree) { json_decref(static_cast<json_t *>(tree)); },
            [](void *tree) {
                char *text = json_dumps(static_cast<json_t *>(tree), JSON_COMPACT);
                benchmark::DoNotOptimize(text);
                free(text);
            }};
}
