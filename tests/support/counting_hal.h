/* A platform layer for tests: counts every call, tracks live blocks and
 * bytes, and can make chosen allocations fail. Linked into the test programs
 * in place of the library's own platform layer. Thread-safe. */
#ifndef PZ_COUNTING_HAL_H
#define PZ_COUNTING_HAL_H

#ifdef __cplusplus
extern "C" {
#endif

long hal_live_blocks(void);          /* HAL_Malloc blocks not yet freed */
long hal_live_bytes(void);           /* their sizes added up */
long hal_peak_bytes(void);           /* the most live bytes since hal_reset_peak */
void hal_reset_peak(void);           /* the peak from now: the live bytes now */
long hal_malloc_calls(void);         /* HAL_Malloc calls, failed ones included */
long hal_failed_mallocs(void);       /* HAL_Malloc calls made to fail */
unsigned long hal_last_size(void);   /* size asked by the latest HAL_Malloc */
long hal_atomic_incs(void);

/* The n-th HAL_Malloc from now fails (1: the next one); 0 stops failing.
 * With `persist`, every allocation from the n-th on fails. */
void hal_fail_nth(long n, int persist);

#ifdef __cplusplus
}
#endif

#endif /* PZ_COUNTING_HAL_H */
