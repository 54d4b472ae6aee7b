// Typed dump throughput on a generated document of about 10 MB, beside the
// floor that cJSON sets for the same text: printing a tree already built as
// the writer builds it, and parsing the text.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <string>

#include "pz_variant.h"
#include "pz_variant_dump.h"

namespace {

// Records of the kinds a typical caller stores: texts, integers of several
// widths, doubles, flags, short lists and a nested record.
class document {
public:
    document() {
        std::mt19937_64 rng(7);
        root_ = pz_variant_array_new();
        for (int i = 0; i < kRecords; ++i) {
            pz_variant_t *rec = pz_variant_dict_new();
            put(rec, "id", pz_variant_uint32_new(static_cast<uint32_t>(i)));
            put(rec, "name", pz_variant_str_new(("user " + std::to_string(rng() % 100000)).c_str()));
            put(rec, "email", pz_variant_str_new("someone.else@example.org"));
            put(rec, "balance", pz_variant_int64_new(static_cast<int64_t>(rng())));
            put(rec, "level", pz_variant_int8_new(static_cast<int8_t>(rng() % 100)));
            put(rec, "port", pz_variant_uint16_new(static_cast<uint16_t>(rng())));
            put(rec, "score", pz_variant_double_new(static_cast<double>(rng() % 1000000) / 1000.0));
            put(rec, "ratio", pz_variant_float_new(static_cast<float>(rng() % 1000) / 7.0f));
            put(rec, "active", pz_variant_bool_new(rng() % 2 != 0));
            pz_variant_t *tags = pz_variant_array_new();
            for (int t = 0; t < 3; ++t) add(tags, pz_variant_str_new(kTags[rng() % 4]));
            put(rec, "tags", tags);
            pz_variant_t *samples = pz_variant_array_new();
            for (int s = 0; s < 4; ++s) add(samples, pz_variant_double_new(static_cast<double>(rng() % 10000) / 100.0));
            put(rec, "samples", samples);
            pz_variant_t *where = pz_variant_dict_new();
            put(where, "x", pz_variant_int32_new(static_cast<int32_t>(rng())));
            put(where, "y", pz_variant_int32_new(static_cast<int32_t>(rng())));
            put(rec, "where", where);
            add(root_, rec);
        }
        ++values_;
        char *text = pz_variant_dump(root_);
        text_ = text;
        HAL_Free(text);
    }
    ~document() { pz_variant_unref(root_); }

    const pz_variant_t *root() const { return root_; }
    const std::string &text() const { return text_; }
    int64_t values() const { return values_; }

private:
    static constexpr int kRecords = 20000;  // about 10 MB of text
    static constexpr const char *kTags[] = {"red", "green", "blue", "with \"quotes\""};

    void put(pz_variant_t *dict, const char *key, pz_variant_t *v) {
        pz_variant_dict_put(dict, key, v);
        pz_variant_unref(v);
        ++values_;
    }
    void add(pz_variant_t *array, pz_variant_t *v) {
        pz_variant_array_append(array, v);
        pz_variant_unref(v);
        ++values_;
    }

    pz_variant_t *root_;
    std::string text_;
    int64_t values_ = 0;
};

const document &doc() {
    static const document d;
    return d;
}

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
    cJSON *tree = pz::dump_tree(doc().root());
    for (auto _ : state) {
        char *text = cJSON_PrintUnformatted(tree);
        benchmark::DoNotOptimize(text);
        cJSON_free(text);
    }
    cJSON_Delete(tree);
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
