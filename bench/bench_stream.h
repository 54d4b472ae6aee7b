// The stream rows of the benchmark table (bench_stream.cpp).
#ifndef PZ_BENCH_STREAM_H
#define PZ_BENCH_STREAM_H

#include <functional>
#include <string>

namespace pz_bench {

// Prints rows S1-S5 from the median CPU milliseconds that `ms` gives for a
// benchmark's name (negative when it did not run), and the peak heap that
// the program `peak_program` measures in a process of its own.
void print_stream_table(const std::function<double(const std::string &)> &ms, const std::string &peak_program);

}  // namespace pz_bench

#endif  // PZ_BENCH_STREAM_H
