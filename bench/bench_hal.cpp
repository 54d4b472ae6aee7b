// The library's platform layer for the benchmarks: glibc's malloc and the
// GCC atomics, as in src/hal/hal_posix.cpp, plus a count of allocations in
// a thread-local word (one add per block, no lock), so that the tables can
// say how many blocks a read makes beside a copy.
#include "bench_hal.h"

#include <cstdlib>

#include "pzvariant/hal/pz_hal.h"

namespace {

thread_local unsigned long mallocs = 0;

}  // namespace

unsigned long pz_bench::hal_mallocs() { return mallocs; }

extern "C" {

void *HAL_Malloc(unsigned long size) {
    ++mallocs;
    return std::malloc(size);
}

void HAL_Free(void *ptr) { std::free(ptr); }

long HAL_AtomicIncLong(volatile long *val) { return __atomic_add_fetch(val, 1, __ATOMIC_RELAXED); }

long HAL_AtomicDecLong(volatile long *val) { return __atomic_sub_fetch(val, 1, __ATOMIC_ACQ_REL); }

}  // extern "C"
