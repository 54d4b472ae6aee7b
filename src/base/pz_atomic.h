/* Atomic reference counters over the platform layer. */
#ifndef PZ_ATOMIC_H
#define PZ_ATOMIC_H

#include "hal/pz_hal.h"

#ifdef __cplusplus
extern "C" {
#endif

static inline long pz_atomic_inc_long(volatile long *val) { return HAL_AtomicIncLong(val); }
static inline long pz_atomic_dec_long(volatile long *val) { return HAL_AtomicDecLong(val); }

/* Takes one reference; returns the new count. */
static inline long pz_atomic_ref(volatile long *val) { return pz_atomic_inc_long(val); }
/* Drops one reference; returns the new count (0: the caller frees). */
static inline long pz_atomic_unref(volatile long *val) { return pz_atomic_dec_long(val); }

#ifdef __cplusplus
}
#endif

#endif /* PZ_ATOMIC_H */
