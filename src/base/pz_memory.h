/* Block helpers over the platform allocator, including the reference-counted
 * block: a long count immediately followed by the record whose address the
 * callers hold. The record must be aligned for its widest members (64-bit
 * integers, doubles, pointers); where those need 8 bytes and a long has 4
 * (32-bit ARM, MIPS) the count gets padding in front of it. */
#ifndef PZ_MEMORY_H
#define PZ_MEMORY_H

#include <string.h>

#include "pzvariant/hal/pz_hal.h"
#include "base/pz_atomic.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The widest alignment any record or carved-up block needs; HAL_Malloc
 * returns memory aligned at least this much. */
typedef union {
    long l;
    int64_t i;
    double d;
    void *p;
} pz_max_align_u;
#ifdef __cplusplus
#define PZ_MAX_ALIGN alignof(pz_max_align_u)
#else
#define PZ_MAX_ALIGN _Alignof(pz_max_align_u)
#endif

/* `size` rounded up to a multiple of PZ_MAX_ALIGN. */
#define PZ_ALIGN_UP(size) (((size) + PZ_MAX_ALIGN - 1) / PZ_MAX_ALIGN * PZ_MAX_ALIGN)

/* Bytes in front of a counted record: the count, and the padding before it
 * that keeps the record aligned. */
#define PZ_REF_HEADER PZ_ALIGN_UP(sizeof(long))

/* HAL_Malloc(size), zero-filled; null on failure. */
static inline void *pz_zalloc(size_t size) {
    void *p = HAL_Malloc((unsigned long)size);
    if (p != NULL) memset(p, 0, size);
    return p;
}

/* A counted block of `size` bytes after its count, with the count set to 1
 * and the bytes unspecified. Returns the address after the count, or null. */
static inline void *pz_alloc_ref(size_t size) {
    char *record = (char *)HAL_Malloc((unsigned long)(size + PZ_REF_HEADER));
    if (record == NULL) return NULL;
    record += PZ_REF_HEADER;
    *((long *)record - 1) = 1; /* nobody else sees the block yet: no atomic needed */
    return record;
}

/* As pz_alloc_ref, the `size` bytes zero-filled. */
static inline void *pz_zalloc_ref(size_t size) {
    void *record = pz_alloc_ref(size);
    if (record != NULL) memset(record, 0, size);
    return record;
}

/* The count of a block made by pz_zalloc_ref. */
static inline volatile long *pz_ref_count(const void *ptr) {
    return (volatile long *)((char *)(uintptr_t)ptr - sizeof(long));
}

/* Frees a block made by pz_zalloc_ref, given the address it returned. */
static inline void pz_free_ref(void *ptr) { HAL_Free((char *)ptr - PZ_REF_HEADER); }

/* HAL_Malloc(size) holding a copy of `size` bytes of `ptr`; null on failure. */
static inline void *pz_mem_dup(const void *ptr, size_t size) {
    void *out = HAL_Malloc((unsigned long)size);
    if (out != NULL && size != 0) memcpy(out, ptr, size);
    return out;
}

/* A block from HAL_Malloc moved to a new one of `size` bytes: the first
 * `used` bytes of `block` (null when `used` is 0) are copied over and
 * `block` is freed. Null, with `block` untouched, when out of memory or when
 * `size` is more than the allocator can be asked for. Every growing buffer
 * of the library goes through here, so that none holds two blocks but
 * for the copy. */
static inline void *pz_mem_move(void *block, size_t used, size_t size) {
    if ((size_t)(unsigned long)size != size) return NULL;
    void *moved = HAL_Malloc((unsigned long)size);
    if (moved == NULL) return NULL;
    if (used != 0) memcpy(moved, block, used);
    HAL_Free(block);
    return moved;
}

#ifdef __cplusplus
}
#endif

#endif /* PZ_MEMORY_H */
