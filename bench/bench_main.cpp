// Runs every benchmark, then prints one table of the workloads run against
// the peers: our median time, each peer's, our ratio to the best peer and,
// for the text workloads, to the floor cJSON sets for our own format.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <malloc.h>
#include <map>
#include <string>
#include <vector>

#include "bench_peers.h"

namespace {

const char *const kPeers[] = {"jansson", "json-c", "cJSON", "GLib"};

struct workload {
    const char *id;
    const char *what;
    double target;  // the ratio we aim at
    bool floor;     // measured against cJSON's floor rather than the best peer
};

const workload kWorkloads[] = {
    {"W1", "make+release 1M ints", 1.0, false},
    {"W2", "array 1M ints: append, index", 1.0, false},
    {"W3", "dict 100k keys: put, get, erase", 1.0, false},
    {"W4", "pack+unpack (int32, text) x1M", 1.0, false},
    {"W5", "deep copy ~10 MB document", 1.0, false},
    {"W6", "write document as text", 1.3, true},
    {"W7", "read document from text", 1.3, true},
    {"W8", "write document as plain JSON", 1.0, false},
    {"W9", "read document from plain JSON", 1.0, false},
};

// The typed dump benchmarks of bench_dump.cpp stand for us and the floor.
const std::map<std::string, std::string> kAliases = {
    {"BM_Dump", "W6/pz"},
    {"BM_DumpFloor_cJSONPrint", "W6/floor"},
    {"BM_Read", "W7/pz"},
    {"BM_ReadFloor_cJSONParse", "W7/floor"},
};

// Keeps the median of each benchmark (or its only run), in milliseconds.
class table_reporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            if (run.error_occurred) continue;
            const bool aggregate = run.run_type == Run::RT_Aggregate;
            if (aggregate && run.aggregate_name != "median") continue;
            std::string name = run.run_name.function_name;
            if (!run.run_name.args.empty()) name += "/" + run.run_name.args;
            const auto alias = kAliases.find(name);
            if (alias != kAliases.end()) name = alias->second;
            // CPU time: the machine is shared, so wall time counts the neighbours.
            const double ms = run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e3;
            if (aggregate || ms_.find(name) == ms_.end()) ms_[name] = ms;
        }
        ConsoleReporter::ReportRuns(runs);
    }

    double get(const std::string &name) const {
        const auto it = ms_.find(name);
        return it == ms_.end() ? -1.0 : it->second;
    }

private:
    std::map<std::string, double> ms_;
};

void print_table(const table_reporter &r) {
    std::printf("\n%-4s %-34s %9s", "", "workload (median CPU ms)", "pz");
    for (const char *peer : kPeers) std::printf(" %9s", peer);
    std::printf(" %9s %7s %6s %s\n", "floor", "ratio", "target", "met");
    for (const workload &w : kWorkloads) {
        const std::string id = w.id;
        const double ours = r.get(id + "/pz");
        std::printf("%-4s %-34s %9.2f", w.id, w.what, ours);
        double best = -1.0;
        for (const char *peer : kPeers) {
            const double t = r.get(id + "/" + peer);
            if (t < 0) {
                std::printf(" %9s", "-");
            } else {
                std::printf(" %9.2f", t);
                if (best < 0 || t < best) best = t;
            }
        }
        const double floor = r.get(id + "/floor");
        if (floor < 0) std::printf(" %9s", "-");
        else std::printf(" %9.2f", floor);
        const double against = w.floor ? floor : best;
        const double ratio = against > 0 && ours > 0 ? ours / against : -1.0;
        std::printf(" %7.2f %6.1f %s\n", ratio, w.target,
                    ratio < 0 ? "?" : ratio <= w.target ? "yes" : "NO");
    }
    std::printf("(ratio: pz / best peer for W1-W5 and W8-W9, pz / cJSON floor for W6-W7)\n");

    std::printf("\n%-4s %-34s %9s", "", "memory (bytes in use per item)", "pz");
    for (const char *peer : kPeers) std::printf(" %9s", peer);
    std::printf(" %9s %7s %6s %s\n", "", "ratio", "target", "met");
    using pz_bench::memory_bytes;
    const memory_bytes ours = pz_bench::memory_pz();
    const memory_bytes peers[] = {pz_bench::memory_jansson(), pz_bench::memory_jsonc(),
                                  pz_bench::memory_cjson(), pz_bench::memory_glib()};
    const struct {
        const char *what;
        double memory_bytes::*field;
        bool target;
    } rows[] = {{"bytes/scalar", &memory_bytes::scalar, true},
                {"bytes/array element", &memory_bytes::element, false},
                {"bytes/dict entry", &memory_bytes::entry, false}};
    for (const auto &row : rows) {
        std::printf("%-4s %-34s %9.1f", "M", row.what, ours.*row.field);
        double best = -1.0;
        for (const memory_bytes &peer : peers) {
            std::printf(" %9.1f", peer.*row.field);
            if (best < 0 || peer.*row.field < best) best = peer.*row.field;
        }
        const double ratio = ours.*row.field / best;
        std::printf(" %9s %7.2f %6s %s\n", "", ratio, row.target ? "1.0" : "-",
                    row.target ? (ratio <= 1.0 ? "yes" : "NO") : "");
    }
    std::printf("(glibc mallinfo2 in-use bytes, block headers included, over 100k items)\n");
}

}  // namespace

int main(int argc, char **argv) {
    // Every library here takes its memory from glibc's malloc. Left to its
    // defaults, malloc hands large frees back to the kernel and the next run
    // faults the pages in again, which on a virtual machine costs more than
    // the work measured and varies from run to run. Keeping the memory makes
    // the numbers the libraries' own, for us and the peers alike.
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    // Medians of a few repetitions unless the caller asks otherwise.
    std::vector<char *> args(argv, argv + argc);
    bool reps = false;
    for (int i = 1; i < argc; ++i) reps = reps || std::strncmp(argv[i], "--benchmark_repetitions", 23) == 0;
    std::string rep_arg = "--benchmark_repetitions=5";
    std::string agg_arg = "--benchmark_report_aggregates_only=true";
    if (!reps) {
        args.push_back(rep_arg.data());
        args.push_back(agg_arg.data());
    }
    int n = static_cast<int>(args.size());
    benchmark::Initialize(&n, args.data());
    if (benchmark::ReportUnrecognizedArguments(n, args.data())) return 1;
    table_reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    print_table(reporter);
    return 0;
}
