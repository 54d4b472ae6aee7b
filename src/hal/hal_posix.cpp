// Platform layer for Linux/POSIX: the C allocator and GCC atomic builtins.
#include "pzvariant/hal/pz_hal.h"

#include <cstdlib>

extern "C" {

void *HAL_Malloc(unsigned long size) { return std::malloc(size); }

void HAL_Free(void *ptr) { std::free(ptr); }

// Taking a reference needs no ordering: the taker already holds one.
long HAL_AtomicIncLong(volatile long *val) {
    return __atomic_add_fetch(val, 1, __ATOMIC_RELAXED);
}

// Release so that every write made through a reference happens before the
// free; acquire so that the thread that frees sees all of them.
long HAL_AtomicDecLong(volatile long *val) {
    return __atomic_sub_fetch(val, 1, __ATOMIC_ACQ_REL);
}

}  // extern "C"
