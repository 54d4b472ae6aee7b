// The three documents of the JSON engine's benchmarks, generated once as
// plain JSON text: every library reads and writes the same bytes.
//   geometry: about 100k coordinate pairs of 15 to 17 significant digits
//   catalog:  about 50k small objects with the same keys and integer ids
//   feed:     about 20k records with long texts, non-ASCII characters and
//             escapes (\n, \", \u00e9, surrogate pairs)
#ifndef PZ_BENCH_JSON_DOCUMENTS_H
#define PZ_BENCH_JSON_DOCUMENTS_H

#include <charconv>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace pz_bench {

struct json_document {
    const char *name;
    std::string text;
};

namespace documents {

inline void real(std::string &out, double d) {
    char text[32];
    out.append(text, std::to_chars(text, text + sizeof text, d).ptr);
}

inline void integer(std::string &out, uint64_t i) { out += std::to_string(i); }

inline std::string geometry() {
    std::mt19937_64 rng(11);
    std::uniform_real_distribution<double> lon(-180.0, 180.0), lat(-90.0, 90.0);
    std::string out = R"({"type":"FeatureCollection","features":[)";
    for (int f = 0; f < 200; ++f) {
        if (f != 0) out += ',';
        out += R"({"type":"Feature","properties":{"name":"region )" + std::to_string(f) +
               R"(","admin_level":4},"geometry":{"type":"Polygon","coordinates":[[)";
        for (int p = 0; p < 500; ++p) {
            out += p != 0 ? ",[" : "[";
            real(out, lon(rng));
            out += ',';
            real(out, lat(rng));
            out += ']';
        }
        out += "]]}}";
    }
    return out + "]}";
}

inline std::string catalog() {
    static const char *const kCategories[] = {"tools", "garden", "kitchen", "toys", "books"};
    std::mt19937_64 rng(12);
    std::string out = R"({"products":[)";
    for (uint64_t i = 0; i < 50000; ++i) {
        if (i != 0) out += ',';
        out += R"({"id":)";
        integer(out, 100000 + i);
        out += R"(,"sku":"SKU-)" + std::to_string(rng() % 1000000) + R"(","price":)";
        integer(out, rng() % 100000);
        out += R"(,"stock":)";
        integer(out, rng() % 500);
        out += R"(,"category":")" + std::string(kCategories[rng() % 5]) + R"(","active":)";
        out += rng() % 2 != 0 ? "true" : "false";
        out += "}";
    }
    return out + "]}";
}

inline std::string feed() {
    // Words as they stand in the text: some need escapes, some are not ASCII.
    static const char *const kWords[] = {
        "the", "weather", "today", "is", "caf\\u00e9", "na\xc3\xafve", "\xd0\xbf\xd1\x80\xd0\xb8\xd0\xb2\xd0\xb5\xd1\x82",
        "\xce\xba\xce\xb1\xce\xbb\xce\xb7\xce\xbc\xce\xad\xcf\x81\xce\xb1", "\xe6\x97\xa5\xe6\x9c\xac\xe8\xaa\x9e",
        "\\\"quoted\\\"", "line\\nbreak", "tab\\tstop", "\xf0\x9f\x98\x80", "\\ud83c\\udf89", "back\\\\slash",
        "and", "a", "long", "sentence", "about", "nothing"};
    static const char *const kNames[] = {"Zo\xc3\xab", "\xc5\x81ukasz", "\xe5\xb1\xb1\xe7\x94\xb0", "Ana", "O'Brien"};
    std::mt19937_64 rng(13);
    std::string out = "[";
    for (uint64_t i = 0; i < 20000; ++i) {
        if (i != 0) out += ',';
        out += R"({"id":)";
        integer(out, uint64_t{1300000000000000000} + i * 7919);
        out += R"(,"created_at":"2026-11-24T21:)" + std::to_string(10 + rng() % 50) + R"(:00Z","user":{"id":)";
        integer(out, rng() % 100000000);
        out += R"(,"name":")" + std::string(kNames[rng() % 5]) + R"(","followers":)";
        integer(out, rng() % 100000);
        out += R"(},"text":")";
        const uint64_t words = 20 + rng() % 30;
        for (uint64_t w = 0; w < words; ++w) {
            if (w != 0) out += ' ';
            out += kWords[rng() % (sizeof kWords / sizeof *kWords)];
        }
        out += R"(","lang":"en","retweets":)";
        integer(out, rng() % 1000);
        out += R"(,"favorited":false,"score":)";
        real(out, static_cast<double>(rng() % 100000) / 100.0);
        out += "}";
    }
    return out + "]";
}

}  // namespace documents

inline const std::vector<json_document> &json_documents() {
    static const std::vector<json_document> docs = {
        {"geometry", documents::geometry()}, {"catalog", documents::catalog()}, {"feed", documents::feed()}};
    return docs;
}

}  // namespace pz_bench

#endif  // PZ_BENCH_JSON_DOCUMENTS_H
