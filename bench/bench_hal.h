// The benchmarks' platform layer: the C allocator, as the library's own
// layer for Linux has it, with a count of the blocks asked for.
#ifndef PZ_BENCH_HAL_H
#define PZ_BENCH_HAL_H

namespace pz_bench {

// HAL_Malloc calls made so far by the calling thread.
unsigned long hal_mallocs();

}  // namespace pz_bench

#endif  // PZ_BENCH_HAL_H
