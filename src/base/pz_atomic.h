/* Atomic reference counters over the platform layer. */
#ifndef PZ_ATOMIC_H
#define PZ_ATOMIC_H

#include "pzvariant/hal/pz_hal.h"

/* Thread checkers that do not see the counters' ordering (helgrind, which
 * knows locks but not atomics) are told it: every drop of a reference
 * happens before the free that the last drop leads to. Compiled in only
 * with PZ_HELGRIND_ANNOTATIONS; outside valgrind each request is a few
 * instructions that do nothing. */
#if defined(PZ_HELGRIND_ANNOTATIONS)
#include <valgrind/helgrind.h>
#define PZ_HAPPENS_BEFORE(addr) ANNOTATE_HAPPENS_BEFORE(addr)
#define PZ_HAPPENS_AFTER(addr) ANNOTATE_HAPPENS_AFTER(addr)
#else
#define PZ_HAPPENS_BEFORE(addr) ((void)0)
#define PZ_HAPPENS_AFTER(addr) ((void)0)
#endif

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
    PZ_HAPPENS_BEFORE(val);
#if defined(__GNUC__)
    if (__atomic_load_n(val, __ATOMIC_ACQUIRE) == 1) {
        PZ_HAPPENS_AFTER(val);
        return 0;
    }
#endif
    const long left = HAL_AtomicDecLong(val);
    if (left == 0) PZ_HAPPENS_AFTER(val);
    return left;
}

#ifdef __cplusplus
}
#endif

#endif /* PZ_ATOMIC_H */
