/* Platform layer: the only way the library obtains memory and updates
 * reference counts. A port to another platform supplies these four. */
#ifndef PZ_HAL_H
#define PZ_HAL_H

#include "../basictypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup pz_hal Platform layer
 * Memory and atomic counters: every block the library uses comes from
 * HAL_Malloc and goes back through HAL_Free; a port supplies these four.
 * @{ */

/** Allocates `size` bytes aligned for any long, int64_t, double or pointer
 * (as malloc is); null when out of memory. Contents are unspecified. */
PZ_API void *HAL_Malloc(unsigned long size);

/** Releases a block from HAL_Malloc; a null pointer is ignored. Release the
 * text returned by pz_variant_dump with this. */
PZ_API void HAL_Free(void *ptr);

/** @name Atomic counters */
/** @{ */
/** Add / subtract one in a single indivisible step and return the new count.
 * Of concurrent decrements exactly one sees 0. */
PZ_API long HAL_AtomicIncLong(volatile long *val);
PZ_API long HAL_AtomicDecLong(volatile long *val);
/** @} */

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* PZ_HAL_H */
