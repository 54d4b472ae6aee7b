/* Atomic reference counters over the platform layer. */
#ifndef PZ_ATOMIC_H
#define PZ_ATOMIC_H

#include "hal/pz_hal.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Takes one reference; returns the new count. */
static inline long pz_atomic_ref(volatile long *val) { return HAL_AtomicIncLong(val); }
/* Drops one reference; returns the new count (0: the caller frees). A holder
 * of the only reference skips the locked decrement: nobody else can take one
 * from it, and the acquiring load orders the free after every other holder's
 * last writes, as the decrement would. */
static inline long pz_atomic_unref(volatile long *val) {
#if defined(__GNUC__)
    if (__atomic_load_n(val, __ATOMIC_ACQUIRE) == 1) return 0;
#endif
    return HAL_AtomicDecLong(val);
}

#ifdef __cplusplus
}
#endif

#endif /* PZ_ATOMIC_H */
