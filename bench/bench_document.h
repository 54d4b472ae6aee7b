// The document of the large-value workloads: about 10 MB as typed dump
// text, built once and shared by the benchmarks.
#ifndef PZ_BENCH_DOCUMENT_H
#define PZ_BENCH_DOCUMENT_H

#include <cstdint>
#include <random>
#include <string>

#include "pzvariant/pz_variant.h"

namespace pz_bench {

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

inline const document &doc() {
    static const document d;
    return d;
}

}  // namespace pz_bench

#endif  // PZ_BENCH_DOCUMENT_H
