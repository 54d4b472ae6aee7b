// The streams of the stream benchmarks, made once: NDJSON of 100 MB whose
// records are those of the feed document (bench_json_documents.h), each on
// a line as it stands in the feed's text; and 1,000,000 small
// MessagePack messages, each a dictionary of six members of mixed kinds.
#ifndef PZ_BENCH_STREAM_DATA_H
#define PZ_BENCH_STREAM_DATA_H

#include <cstdint>
#include <random>
#include <string>

#include "bench_json_documents.h"
#include "pzvariant/pz_variant.h"
#include "stream/json_scanner.h"

namespace pz_bench {

inline constexpr size_t kNdjsonBytes = size_t{100} << 20;
inline constexpr size_t kMessages = 1000000;
inline constexpr size_t kPiece = size_t{64} << 10;

// The feed's records, one a line, repeated to kNdjsonBytes; the longest
// record's length in `*longest`.
inline std::string ndjson_of_feed(size_t *longest) {
    const std::string feed = documents::feed();
    std::string lines;
    lines.reserve(kNdjsonBytes + feed.size());
    *longest = 0;
    while (lines.size() < kNdjsonBytes) {
        const char *p = feed.data() + 1;  // past the '['
        const char *end = feed.data() + feed.size();
        while (p < end && *p == '{' && lines.size() < kNdjsonBytes) {
            pz::stream::json_scanner record;
            record.start();
            const char *stop = record.scan(p, end);
            lines.append(p, stop);
            lines += '\n';
            if (static_cast<size_t>(stop - p) > *longest) *longest = static_cast<size_t>(stop - p);
            p = stop + 1;  // past the ',' or the ']'
        }
    }
    return lines;
}

// Message `i`: {"id", "user", "score", "active", "tags", "at"}.
inline pz_variant_t *message(std::mt19937_64 &rng, uint64_t i) {
    pz_variant_t *m = pz_variant_dict_new();
    vdict_set_uint32(m, "id", static_cast<uint32_t>(i));
    vdict_set_str(m, "user", ("user-" + std::to_string(rng() % 100000)).c_str());
    vdict_set_double(m, "score", static_cast<double>(rng() % 100000) / 100.0);
    vdict_set_bool(m, "active", rng() % 2 != 0);
    pz_variant_t *tags = pz_variant_pack("cc", rng() % 3 != 0 ? "red" : "green", "sale");
    pz_variant_dict_put(m, "tags", tags);
    pz_variant_unref(tags);
    vdict_set_int64(m, "at", 1700000000000 + static_cast<int64_t>(rng() % 1000000));
    return m;
}

// kMessages messages back to back, written as other programs write them
// (integers in the fewest bytes).
inline std::string messages() {
    std::mt19937_64 rng(21);
    pz_stream_writer_t *w = pz_stream_writer_new(PZ_STREAM_MSGPACK, PZ_MSGPACK_SMALLEST);
    for (uint64_t i = 0; i < kMessages; ++i) {
        pz_variant_t *m = message(rng, i);
        pz_stream_write(w, m);
        pz_variant_unref(m);
    }
    size_t len = 0;
    void *bytes = pz_stream_writer_take(w, &len);
    std::string out(static_cast<const char *>(bytes), len);
    HAL_Free(bytes);
    pz_stream_writer_free(w);
    return out;
}

}  // namespace pz_bench

#endif  // PZ_BENCH_STREAM_DATA_H
