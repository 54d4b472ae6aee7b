// Runs every benchmark, then prints one table of the workloads run against
// the peers: our median time, each peer's, our ratio to the best peer and,
// for the text workloads, to the floor cJSON sets for our own format.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "bench_json_engine.h"
#include "bench_msgpack.h"
#include "bench_peers.h"
#include "bench_stream.h"

namespace {

// The columns a ratio can be taken against: the peers, then the floor.
constexpr int kColumns = 5;
const char *const kColumnNames[kColumns] = {"jansson", "json-c", "cJSON", "GLib", "floor"};

struct workload {
    const char *id;
    const char *what;
    // The ratio we aim at against each column; 0 where there is none. The
    // table shows the ratio that is nearest to (or furthest past) its target.
    double target[kColumns];
};

const workload kWorkloads[] = {
    {"W1", "make+release 1M ints", {1.0, 1.0, 1.0, 1.0, 0}},
    {"W2", "array 1M ints: append, index", {1.0, 1.0, 1.0, 1.0, 0}},
    {"W3", "dict 100k keys: put, get, erase", {1.0, 1.0, 1.0, 1.0, 0}},
    {"W4", "pack+unpack (int32, text) x1M", {1.0, 0, 1.2, 1.0, 0}},  // cJSON: by hand
    {"W5", "deep copy ~10 MB document", {1.0, 1.0, 1.3, 0, 0}},
    {"W6", "write document as text", {0, 0, 0, 0, 1.3}},
    {"W7", "read document from text", {0, 0, 0, 0, 1.5}},
    {"W8", "write document as plain JSON", {1.0, 1.0, 1.0, 0, 0}},
    {"W9", "read document from plain JSON", {1.0, 1.0, 1.0, 0, 0}},
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
            if (aggregate && run.aggregate_name != "median") {
                keep_aggregate(run);
                continue;
            }
            std::string name = run.run_name.function_name;
            if (!run.run_name.args.empty()) name += "/" + run.run_name.args;
            const auto alias = kAliases.find(name);
            if (alias != kAliases.end()) name = alias->second;
            // CPU time: the machine is shared, so wall time counts the neighbours.
            const double ms = run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e3;
            if (aggregate || ms_.find(name) == ms_.end()) ms_[name] = ms;
            if (aggregate) keep_aggregate(run);
        }
        ConsoleReporter::ReportRuns(runs);
    }

    double get(const std::string &name) const {
        const auto it = ms_.find(name);
        return it == ms_.end() ? -1.0 : it->second;
    }

    // Any aggregate (median, min, max, ...) of a benchmark, in ms; -1 when none.
    double get(const std::string &name, const std::string &aggregate) const {
        const auto it = by_aggregate_.find(name + "@" + aggregate);
        if (it == by_aggregate_.end()) return aggregate == "median" ? get(name) : -1.0;  // a single run
        return it->second;
    }

private:
    void keep_aggregate(const Run &run) {
        std::string name = run.run_name.function_name;
        if (!run.run_name.args.empty()) name += "/" + run.run_name.args;
        by_aggregate_[name + "@" + run.aggregate_name] =
            run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e3;
    }

    std::map<std::string, double> ms_;
    std::map<std::string, double> by_aggregate_;
};

void print_header(const char *what) {
    std::printf("\n%-4s %-34s %9s", "", what, "pz");
    for (const char *column : kColumnNames) std::printf(" %9s", column);
    std::printf(" %7s %6s %-8s %s\n", "ratio", "target", "against", "met");
}

// Prints our number, the columns', and the ratio nearest to (or furthest
// past) its target; "met" when every ratio is within its target.
void print_row(const char *id, const char *what, double ours, const double (&columns)[kColumns],
               const double (&target)[kColumns], const char *format) {
    std::printf("%-4s %-34s ", id, what);
    std::printf(format, ours);
    int binding = -1;
    double worst = 0.0;
    bool all_met = true;
    for (int c = 0; c < kColumns; ++c) {
        if (columns[c] < 0) {
            std::printf(" %9s", "-");
            continue;
        }
        std::printf(" ");
        std::printf(format, columns[c]);
        if (target[c] <= 0 || ours <= 0 || columns[c] <= 0) continue;
        const double ratio = ours / columns[c];
        all_met = all_met && ratio < target[c] + 0.005;  // as the ratio is shown
        if (binding < 0 || ratio / target[c] > worst) {
            binding = c;
            worst = ratio / target[c];
        }
    }
    if (binding < 0) {
        std::printf(" %7s %6s %-8s %s\n", "-", "-", "", all_met && ours > 0 ? "" : "?");
        return;
    }
    std::printf(" %7.2f %6.1f %-8s %s\n", ours / columns[binding], target[binding],
                kColumnNames[binding], all_met ? "yes" : "NO");
}

void print_table(const table_reporter &r, const pz_bench::peak_bytes &peak) {
    print_header("workload (median CPU ms)");
    for (const workload &w : kWorkloads) {
        const std::string id = w.id;
        double columns[kColumns];
        for (int c = 0; c < kColumns; ++c) columns[c] = r.get(id + "/" + kColumnNames[c]);
        print_row(w.id, w.what, r.get(id + "/pz"), columns, w.target, "%9.2f");
    }
    std::printf("(W4 cJSON: a 2-element array built and read by hand; W8-W9: every library on the\n"
                " one plain JSON text we write; floor: cJSON printing and\n"
                " parsing our own text, which our writer and reader cannot beat)\n");

    print_header("peak memory (MB above the start)");
    const double none = -1.0;
    print_row("W7", "read document from text", peak.ours / 1e6, {none, none, none, none, peak.floor / 1e6},
              {0, 0, 0, 0, 1.5}, "%9.1f");
    std::printf("(resident set high-water mark while reading, over what was resident before)\n");

    print_header("memory (bytes in use per item)");
    using pz_bench::memory_bytes;
    const memory_bytes ours = pz_bench::memory_pz();
    const memory_bytes peers[] = {pz_bench::memory_jansson(), pz_bench::memory_jsonc(),
                                  pz_bench::memory_cjson(), pz_bench::memory_glib()};
    const struct {
        const char *what;
        double memory_bytes::*field;
        double target;
    } rows[] = {{"bytes/scalar", &memory_bytes::scalar, 1.0},
                {"bytes/array element", &memory_bytes::element, 0},
                {"bytes/dict entry", &memory_bytes::entry, 0}};
    for (const auto &row : rows) {
        double columns[kColumns] = {-1.0, -1.0, -1.0, -1.0, -1.0};
        for (int c = 0; c < 4; ++c) columns[c] = peers[c].*row.field;
        const double t = row.target;
        print_row("M", row.what, ours.*row.field, columns, {t, t, t, t, 0}, "%9.1f");
    }
    std::printf("(glibc mallinfo2 in-use bytes, block headers included, over 100k items)\n");
}

// The C++ handles against nlohmann/json (bench_peer_nlohmann.cpp): one
// column, the target of each row at most 1.0 on documents built in code and
// 0.7 on documents read from JSON or MessagePack.
void print_cpp_table(const table_reporter &r) {
    const struct {
        const char *id;
        const char *what;
        const char *source;
        double target;
    } rows[] = {{"C1", "C++ query: sum by tag, 200k events", "built", 1.0},
                {"C1", "", "json", 0.7},
                {"C1", "", "msgpack", 0.7},
                {"C2", "C++ change 2 nested fields each", "built", 1.0},
                {"C2", "", "json", 0.7},
                {"C2", "", "msgpack", 0.7},
                {"C3", "C++ == of a document and its copy", "built", 1.0},
                {"C3", "", "json", 0.7},
                {"C3", "", "msgpack", 0.7},
                {"C4", "C pz_variant_equal, read apart", "json", 0.7},
                {"CB", "C++ build the 200k records", "built", 1.0}};
    std::printf("\n%-4s %-34s %-8s %9s %9s %7s %6s %s\n", "", "against nlohmann/json (median CPU ms)", "document",
                "pz", "nlohmann", "ratio", "target", "met");
    for (const auto &row : rows) {
        const std::string name = std::string(row.id) + "/" + row.source;
        const double ours = r.get(name + "/pz");
        const double theirs = r.get(name + "/nlohmann");
        if (ours <= 0 || theirs <= 0) continue;  // filtered out of this run
        const double ratio = ours / theirs;
        std::printf("%-4s %-34s %-8s %9.2f %9.2f %7.2f %6.1f %s\n", row.id, row.what, row.source, ours, theirs, ratio,
                    row.target, ratio < row.target + 0.005 ? "yes" : "NO");
    }
    std::printf("(built: records made in code, ours in a pz::shared_keys scope; json, msgpack: read by each\n"
                " library from one text or one MessagePack form; nlohmann's == serves C3 and C4 alike)\n");
}

// `--sample`: only the benchmarks asked for, in Google Benchmark's own
// output (e.g. --benchmark_format=json), without the tables and the memory
// rows. bench/fresh_samples.py runs each sample this way in a process of
// its own, so that no library starts on the heap another left behind.
int run_samples(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc > 1 && std::strcmp(argv[1], "--sample") == 0) {
        argv[1] = argv[0];
        return run_samples(argc - 1, argv + 1);
    }
    // glibc's malloc runs with its default settings, as in the programs that
    // link us: its trimming and fast-bin merging are part of what they pay.
    // Medians of a few repetitions unless the caller asks otherwise.
    std::vector<char *> args(argv, argv + argc);
    bool reps = false;
    for (int i = 1; i < argc; ++i) reps = reps || std::strncmp(argv[i], "--benchmark_repetitions", 23) == 0;
    std::string rep_arg = "--benchmark_repetitions=5";
    std::string agg_arg = "--benchmark_report_aggregates_only=true";
    // Rounds in turn rather than each benchmark's back to back, so that a
    // busy spell on the machine spreads over every column.
    std::string interleave_arg = "--benchmark_enable_random_interleaving=true";
    if (!reps) {
        args.push_back(rep_arg.data());
        args.push_back(agg_arg.data());
        args.push_back(interleave_arg.data());
    }
    int n = static_cast<int>(args.size());
    benchmark::Initialize(&n, args.data());
    if (benchmark::ReportUnrecognizedArguments(n, args.data())) return 1;
    // Before the benchmarks, while the heap holds little but the document.
    const pz_bench::peak_bytes peak = pz_bench::read_peak();
    table_reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    print_table(reporter, peak);
    pz_bench::print_json_engine_table(
        [&reporter](const std::string &name, const char *aggregate) { return reporter.get(name, aggregate); });
    pz_bench::print_msgpack_table([&reporter](const std::string &name) { return reporter.get(name); });
    // The peak program lies beside this one.
    std::string peak_program = argv[0];
    peak_program = peak_program.substr(0, peak_program.find_last_of('/') + 1) + "pz_stream_peak";
    pz_bench::print_stream_table(
        [&reporter](const std::string &name, const char *aggregate) { return reporter.get(name, aggregate); },
        peak_program);
    print_cpp_table(reporter);
    return 0;
}
