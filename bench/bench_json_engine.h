// The JSON engine's rows: every library reading and writing the three
// documents of bench_json_documents.h, and what our read costs beside them.
#ifndef PZ_BENCH_JSON_ENGINE_H
#define PZ_BENCH_JSON_ENGINE_H

#include <functional>
#include <string>

namespace pz_bench {

// What the benchmark run gave for `name` and its aggregate (median, min,
// max) in ms; below 0 when there is none.
using result_of = std::function<double(const std::string &name, const char *aggregate)>;

// Prints the engine's table after the run: ratios to the fastest peer,
// their geometric means, peak heap, two threads and the copy.
void print_json_engine_table(const result_of &ms);

}  // namespace pz_bench

#endif  // PZ_BENCH_JSON_ENGINE_H
