// The MessagePack rows of the benchmark table (bench_msgpack.cpp).
#ifndef PZ_BENCH_MSGPACK_H
#define PZ_BENCH_MSGPACK_H

#include <functional>
#include <string>

namespace pz_bench {

// Prints rows P1-P6 from the median CPU milliseconds that `ms` gives for a
// benchmark's name (negative when it did not run).
void print_msgpack_table(const std::function<double(const std::string &)> &ms);

}  // namespace pz_bench

#endif  // PZ_BENCH_MSGPACK_H
