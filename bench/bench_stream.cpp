// Streams: NDJSON and MessagePack read through the stream reader fed 64 KiB
// pieces, beside the same values read one by one from one buffer with the
// prefix reader, beside pz_variant_dup of the same messages (what making
// them costs at least), and beside msgpack-c's unpacker fed the same
// pieces. Every value is released as it is read, in every column.
#include <benchmark/benchmark.h>
#include <msgpack.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include "bench_stream.h"
#include "bench_stream_data.h"

namespace pz_bench {
namespace {

const std::string &ndjson() {
    static size_t longest = 0;
    static const std::string lines = ndjson_of_feed(&longest);
    return lines;
}

const std::string &packed_messages() {
    static const std::string bytes = messages();
    return bytes;
}

size_t through_reader(pz_stream_format format, const std::string &bytes) {
    pz_stream_reader_t *r = pz_stream_reader_new(format, 0);
    size_t values = 0;
    for (size_t at = 0; at < bytes.size(); at += kPiece) {
        pz_stream_reader_feed(r, bytes.data() + at, std::min(kPiece, bytes.size() - at));
        pz_variant_t *v = nullptr;
        while (pz_stream_reader_next(r, &v, nullptr) == PZ_STREAM_VALUE) {
            pz_variant_unref(v);
            ++values;
        }
    }
    pz_stream_reader_finish(r);
    pz_stream_reader_free(r);
    return values;
}

size_t through_prefix(bool msgpack, const std::string &bytes) {
    size_t values = 0;
    for (size_t at = 0; at < bytes.size();) {
        if (!msgpack && bytes[at] == '\n') {
            ++at;
            continue;
        }
        size_t used = 0;
        const char *front = bytes.data() + at;
        pz_variant_t *v = msgpack ? pz_variant_from_msgpack_prefix(front, bytes.size() - at, &used, nullptr)
                                  : pz_variant_from_json_prefix(front, bytes.size() - at, &used, nullptr);
        if (v == nullptr) break;
        pz_variant_unref(v);
        at += used;
        ++values;
    }
    return values;
}

size_t through_unpacker(const std::string &bytes) {
    msgpack_unpacker unpacker;
    msgpack_unpacker_init(&unpacker, kPiece);
    msgpack_unpacked message;
    msgpack_unpacked_init(&message);
    size_t values = 0;
    for (size_t at = 0; at < bytes.size(); at += kPiece) {
        const size_t n = std::min(kPiece, bytes.size() - at);
        msgpack_unpacker_reserve_buffer(&unpacker, n);
        std::memcpy(msgpack_unpacker_buffer(&unpacker), bytes.data() + at, n);
        msgpack_unpacker_buffer_consumed(&unpacker, n);
        while (msgpack_unpacker_next(&unpacker, &message) == MSGPACK_UNPACK_SUCCESS) ++values;
    }
    msgpack_unpacked_destroy(&message);
    msgpack_unpacker_destroy(&unpacker);
    return values;
}

template <class Read>
void read_all(benchmark::State &state, const std::string &bytes, Read read) {
    const size_t want = read();
    for (auto _ : state) {
        if (read() != want || want == 0) state.SkipWithError("the values do not read");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes.size()));
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(want));
}

void BM_StreamNdjson(benchmark::State &state) {
    read_all(state, ndjson(), [] { return through_reader(PZ_STREAM_NDJSON, ndjson()); });
}
void BM_StreamNdjsonPrefix(benchmark::State &state) {
    read_all(state, ndjson(), [] { return through_prefix(false, ndjson()); });
}
void BM_StreamMsgpack(benchmark::State &state) {
    read_all(state, packed_messages(), [] { return through_reader(PZ_STREAM_MSGPACK, packed_messages()); });
}
void BM_StreamMsgpackPrefix(benchmark::State &state) {
    read_all(state, packed_messages(), [] { return through_prefix(true, packed_messages()); });
}
void BM_StreamMsgpackPeer_Unpacker(benchmark::State &state) {
    read_all(state, packed_messages(), [] { return through_unpacker(packed_messages()); });
}

// The same number of messages made by pz_variant_dup, from 100,000 read
// ones (about 60 MB of values, past the caches as the stream is), each
// copied 10 times. They are read one by one with the prefix reader.
void BM_StreamMsgpackFloor_Dup(benchmark::State &state) {
    std::vector<pz_variant_t *> pool;
    const std::string &bytes = packed_messages();
    for (size_t at = 0, used = 0; pool.size() < kMessages / 10; at += used) {
        pool.push_back(pz_variant_from_msgpack_prefix(bytes.data() + at, bytes.size() - at, &used, nullptr));
    }
    for (auto _ : state) {
        for (int round = 0; round < 10; ++round) {
            for (pz_variant_t *v : pool) pz_variant_unref(pz_variant_dup(v));
        }
    }
    for (pz_variant_t *v : pool) pz_variant_unref(v);
    state.SetItemsProcessed(state.iterations() * 10 * static_cast<int64_t>(pool.size()));
}

double lowest(const std::vector<double> &v) { return *std::min_element(v.begin(), v.end()); }
double highest(const std::vector<double> &v) { return *std::max_element(v.begin(), v.end()); }

#define PZ_STREAM_BENCHMARK(fn) \
    BENCHMARK(fn)->Unit(benchmark::kMillisecond)->ComputeStatistics("min", lowest)->ComputeStatistics("max", highest)
PZ_STREAM_BENCHMARK(BM_StreamNdjson);
PZ_STREAM_BENCHMARK(BM_StreamNdjsonPrefix);
PZ_STREAM_BENCHMARK(BM_StreamMsgpack);
PZ_STREAM_BENCHMARK(BM_StreamMsgpackPrefix);
PZ_STREAM_BENCHMARK(BM_StreamMsgpackFloor_Dup);
PZ_STREAM_BENCHMARK(BM_StreamMsgpackPeer_Unpacker);

// The peak program's line: "<peak> <longest record> <its value's heap>".
bool peak_of(const std::string &program, double *peak, double *longest, double *value) {
    FILE *out = popen(program.c_str(), "r");
    if (out == nullptr) return false;
    const bool read = std::fscanf(out, "%lf %lf %lf", peak, longest, value) == 3;
    return pclose(out) == 0 && read;
}

}  // namespace

void print_stream_table(const result_of &result, const std::string &peak_program) {
    const auto ms = [&result](const std::string &name) { return result(name, "median"); };
    // The spread of a benchmark's repetitions, max - min over the median.
    const auto spread = [&result](const std::string &name) {
        const double median = result(name, "median"), low = result(name, "min"), high = result(name, "max");
        return median > 0 && low > 0 && high > 0 ? 100.0 * (high - low) / median : 0.0;
    };
    const struct {
        const char *id;
        const char *what;
        const char *ours;
        const char *against;
        const char *against_what;
        double target;
    } rows[] = {
        {"S1", "NDJSON 100 MB (ms)", "BM_StreamNdjson", "BM_StreamNdjsonPrefix", "prefix", 1.1},
        {"S2", "1M messages (ms)", "BM_StreamMsgpack", "BM_StreamMsgpackPrefix", "prefix", 1.2},
        {"S3", "1M messages (ms)", "BM_StreamMsgpack", "BM_StreamMsgpackFloor_Dup", "dup", 2.0},
        {"S4", "1M messages (ms)", "BM_StreamMsgpack", "BM_StreamMsgpackPeer_Unpacker", "msgpack-c", 0},
    };
    std::printf("\n%-4s %-26s %14s %14s %-10s %7s %6s %s\n", "", "streams, 64 KiB pieces", "stream", "against", "",
                "ratio", "target", "met");
    for (const auto &row : rows) {
        const double ours = ms(row.ours), against = ms(row.against);
        if (ours <= 0 || against <= 0) continue;  // filtered out of this run
        const double ratio = ours / against;
        std::printf("%-4s %-26s %9.1f %3.0f%% %9.1f %3.0f%% %-10s %7.2f", row.id, row.what, ours, spread(row.ours), against,
                    spread(row.against), row.against_what, ratio);
        if (row.target > 0) {
            std::printf(" %6.1f %s\n", row.target, ratio < row.target + 0.005 ? "yes" : "NO");
        } else {
            std::printf(" %6s (reported)\n", "-");
        }
    }
    double peak = 0, longest = 0, value = 0;
    if (ms("BM_StreamNdjson") > 0 && peak_of(peak_program, &peak, &longest, &value)) {
        const double bound = 2 * longest + static_cast<double>(kPiece);
        std::printf("%-4s %-26s %14.0f %14.0f %-10s %7.2f %6.1f %s\n", "S5", "NDJSON peak heap (bytes)", peak, bound,
                    "2 rec+piece", peak / bound, 1.0, peak < bound ? "yes" : "NO");
        std::printf("(S5: the most HAL bytes live at once while the 100 MB are read, each value released as\n"
                    " read; its longest record is %.0f bytes of text, %.0f bytes of heap as a value)\n",
                    longest, value);
    }
    std::printf("(median CPU ms of the repetitions and their spread, max - min over the median;\n"
                " S1-S2 against the same values read one by one from one buffer with the prefix reader;\n"
                " S3 pz_variant_dup of 100,000 read messages 10 times each; S4 msgpack-c's unpacker fed\n"
                " the same pieces, its objects in its zone; every value released as read)\n");
}

}  // namespace pz_bench
