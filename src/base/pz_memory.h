/* Block helpers over the platform allocator, including the reference-counted
 * block: a long count immediately followed by the record whose address the
 * callers hold. */
#ifndef PZ_MEMORY_H
#define PZ_MEMORY_H

#include <string.h>

#include "hal/pz_hal.h"
#include "pz_atomic.h"

#ifdef __cplusplus
extern "C" {
#endif

/* HAL_Malloc(size), zero-filled; null on failure. */
static inline void *pz_zalloc(size_t size) {
    void *p = HAL_Malloc((unsigned long)size);
    if (p != NULL) memset(p, 0, size);
    return p;
}

/* A zero-filled counted block of `size` bytes after its count, with the count
 * set to 1. Returns the address after the count, or null. */
static inline void *pz_zalloc_ref(size_t size) {
    char *block = (char *)pz_zalloc(size + sizeof(long));
    if (block == NULL) return NULL;
    *(long *)block = 1; /* nobody else sees the block yet: no atomic needed */
    return block + sizeof(long);
}

/* The count of a block made by pz_zalloc_ref. */
static inline volatile long *pz_ref_count(const void *ptr) {
    return (volatile long *)((char *)(uintptr_t)ptr - sizeof(long));
}

/* Frees a block made by pz_zalloc_ref, given the address it returned. */
static inline void pz_free_ref(void *ptr) { HAL_Free((char *)ptr - sizeof(long)); }

/* HAL_Malloc(size) holding a copy of `size` bytes of `ptr`; null on failure. */
static inline void *pz_mem_dup(const void *ptr, size_t size) {
    void *out = HAL_Malloc((unsigned long)size);
    if (out != NULL && size != 0) memcpy(out, ptr, size);
    return out;
}

#ifdef __cplusplus
}
#endif

#endif /* PZ_MEMORY_H */
