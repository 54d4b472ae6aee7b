// The peak heap of reading the NDJSON of the stream benchmarks through the
// stream reader fed 64 KiB pieces, each value released as it is read: the
// library's every block comes through the tests' counting platform layer,
// which keeps the most bytes live at once. Prints "<peak> <longest record>
// <its value's heap>" in bytes, for pz_bench's table.
#include <algorithm>
#include <cstdio>

#include "bench_stream_data.h"
#include "counting_hal.h"

int main() {
    size_t longest = 0;
    const std::string lines = pz_bench::ndjson_of_feed(&longest);
    // The heap of the longest record's value.
    long value = 0;
    for (size_t at = 0; at < lines.size();) {
        const size_t end = lines.find('\n', at);
        if (end - at == longest) {
            const long before = hal_live_bytes();
            pz_variant_t *v = pz_variant_from_json_n(lines.data() + at, end - at, nullptr);
            value = hal_live_bytes() - before;
            pz_variant_unref(v);
            break;
        }
        at = end + 1;
    }
    const long before = hal_live_bytes();
    hal_reset_peak();
    pz_stream_reader_t *r = pz_stream_reader_new(PZ_STREAM_NDJSON, 0);
    for (size_t at = 0; at < lines.size(); at += pz_bench::kPiece) {
        pz_stream_reader_feed(r, lines.data() + at, std::min(pz_bench::kPiece, lines.size() - at));
        pz_variant_t *v = nullptr;
        while (pz_stream_reader_next(r, &v, nullptr) == PZ_STREAM_VALUE) pz_variant_unref(v);
    }
    pz_stream_reader_free(r);
    std::printf("%ld %zu %ld\n", hal_peak_bytes() - before, longest, value);
    return 0;
}
