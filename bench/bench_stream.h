// The stream rows of the benchmark table (bench_stream.cpp).
#ifndef PZ_BENCH_STREAM_H
#define PZ_BENCH_STREAM_H

#include <functional>
#include <string>

#include "bench_json_engine.h"

namespace pz_bench {

// Prints rows S1-S5 from the CPU milliseconds that `result` gives for a
// benchmark's name and aggregate (negative when it did not run), and the
// peak heap that the program `peak_program` measures in a process of its
// own.
void print_stream_table(const result_of &result, const std::string &peak_program);

}  // namespace pz_bench

#endif  // PZ_BENCH_STREAM_H
