// MessagePack on the bench document: our writer and reader beside the typed
// dump, beside a deep copy of the same value, and beside msgpack-c packing
// and unpacking its own object tree of the same bytes.
#include <benchmark/benchmark.h>
#include <msgpack.h>

#include <cstdio>

#include "bench_document.h"
#include "bench_msgpack.h"

namespace {

using pz_bench::doc;

// The document's MessagePack, made once.
struct packed_document {
    packed_document() {
        uint8_t *made = pz_variant_to_msgpack(doc().root(), 0, &len);
        bytes.assign(reinterpret_cast<const char *>(made), len);
        HAL_Free(made);
    }
    std::string bytes;
    size_t len = 0;
};

const packed_document &packed() {
    static const packed_document p;
    return p;
}

void report(benchmark::State &state) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(packed().len));
    state.SetItemsProcessed(state.iterations() * doc().values());
}

void BM_MsgpackWrite(benchmark::State &state) {
    const pz_variant_t *root = doc().root();
    for (auto _ : state) {
        size_t len = 0;
        uint8_t *bytes = pz_variant_to_msgpack(root, 0, &len);
        benchmark::DoNotOptimize(bytes);
        HAL_Free(bytes);
    }
    report(state);
}
BENCHMARK(BM_MsgpackWrite)->Unit(benchmark::kMillisecond);

// Times `make` alone; what it made is released by `release`, untimed:
// releasing is not reading.
template <class Make, class Release>
void time_making(benchmark::State &state, Make make, Release release) {
    for (auto _ : state) {
        auto made = make();
        benchmark::DoNotOptimize(made);
        state.PauseTiming();
        release(made);
        state.ResumeTiming();
    }
    report(state);
}

void BM_MsgpackRead(benchmark::State &state) {
    const std::string &bytes = packed().bytes;
    time_making(state, [&] { return pz_variant_from_msgpack(bytes.data(), bytes.size(), nullptr); }, pz_variant_unref);
}
BENCHMARK(BM_MsgpackRead)->Unit(benchmark::kMillisecond);

// The same value made by a deep copy: what building it costs at least.
void BM_MsgpackReadFloor_Dup(benchmark::State &state) {
    auto *root = const_cast<pz_variant_t *>(doc().root());
    time_making(state, [root] { return pz_variant_dup(root); }, pz_variant_unref);
}
BENCHMARK(BM_MsgpackReadFloor_Dup)->Unit(benchmark::kMillisecond);

// msgpack-c packing its object tree of the document into its growing buffer.
void BM_MsgpackPeer_Pack(benchmark::State &state) {
    msgpack_unpacked tree;
    msgpack_unpacked_init(&tree);
    size_t offset = 0;
    msgpack_unpack_next(&tree, packed().bytes.data(), packed().len, &offset);
    for (auto _ : state) {
        msgpack_sbuffer buffer;
        msgpack_sbuffer_init(&buffer);
        msgpack_packer pk;
        msgpack_packer_init(&pk, &buffer, msgpack_sbuffer_write);
        msgpack_pack_object(&pk, tree.data);
        benchmark::DoNotOptimize(buffer.data);
        msgpack_sbuffer_destroy(&buffer);
    }
    msgpack_unpacked_destroy(&tree);
    report(state);
}
BENCHMARK(BM_MsgpackPeer_Pack)->Unit(benchmark::kMillisecond);

// msgpack-c unpacking the bytes into its object tree (in its zone).
void BM_MsgpackPeer_Unpack(benchmark::State &state) {
    const std::string &bytes = packed().bytes;
    time_making(
        state,
        [&] {
            auto *tree = new msgpack_unpacked;
            msgpack_unpacked_init(tree);
            size_t offset = 0;
            msgpack_unpack_next(tree, bytes.data(), bytes.size(), &offset);
            return tree;
        },
        [](msgpack_unpacked *tree) {
            msgpack_unpacked_destroy(tree);
            delete tree;
        });
}
BENCHMARK(BM_MsgpackPeer_Unpack)->Unit(benchmark::kMillisecond);

}  // namespace

void pz_bench::print_msgpack_table(const std::function<double(const std::string &)> &ms) {
    const double dump_bytes = static_cast<double>(doc().text().size());
    const double our_bytes = static_cast<double>(packed().len);
    const struct {
        const char *id;
        const char *what;
        double ours;
        double against;
        const char *against_what;
        double target;
    } rows[] = {
        {"P1", "write document (ms)", ms("BM_MsgpackWrite"), ms("W6/pz"), "dump", 0.2},
        {"P2", "read document (ms)", ms("BM_MsgpackRead"), ms("W7/pz"), "from_dump", 0.2},
        {"P3", "document size (MB)", our_bytes / 1e6, dump_bytes / 1e6, "dump", 0.5},
        {"P4", "read document (ms)", ms("BM_MsgpackRead"), ms("BM_MsgpackReadFloor_Dup"), "dup", 1.5},
        {"P5", "write document (ms)", ms("BM_MsgpackWrite"), ms("BM_MsgpackPeer_Pack"), "msgpack-c", 1.0},
        {"P6", "read document (ms)", ms("BM_MsgpackRead"), ms("BM_MsgpackPeer_Unpack"), "msgpack-c", 1.0},
    };
    std::printf("\n%-4s %-22s %9s %9s %-10s %7s %6s %s\n", "", "MessagePack (median CPU)", "pz", "against", "", "ratio",
                "target", "met");
    for (const auto &row : rows) {
        if (row.ours <= 0 || row.against <= 0) {
            std::printf("%-4s %-22s %9s\n", row.id, row.what, "-");
            continue;
        }
        const double ratio = row.ours / row.against;
        std::printf("%-4s %-22s %9.2f %9.2f %-10s %7.2f %6.1f %s\n", row.id, row.what, row.ours, row.against,
                    row.against_what, ratio, row.target, ratio < row.target + 0.005 ? "yes" : "NO");
    }
    std::printf("(P1-P3 against the typed dump of the same document; P4 a deep copy of the value\n"
                " read; P5-P6 msgpack-c packing and unpacking its own object tree of the same bytes)\n");
}
