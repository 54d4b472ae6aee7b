/* Dynamic array of fixed-size elements.
 *
 * The header and the elements share one block, so a call that grows the
 * array may move it: every call that changes the length returns the array to
 * use from then on. `data` and `len` may be read directly between calls.
 *
 * An array may also be laid out inside a block that belongs to its caller
 * (pz_array_init_in), to save an allocation for a container whose size is
 * known when it is made. Such an array never frees that block: growing it
 * moves the elements to a block of the array's own, and freeing it before it
 * has grown does nothing. */
#ifndef PZ_ARRAY_H
#define PZ_ARRAY_H

#include "pzvariant/basictypes.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct pz_array_s {
    char *data;         /* the elements, contiguous */
    size_t len;         /* number of elements */
    size_t capacity;    /* elements that fit before the block must move */
    size_t elt_size;    /* bytes per element */
    bool borrowed;      /* the block is the caller's (pz_array_init_in) */
} pz_array_t;

/* A new empty array of `elt_size`-byte elements with room for `reserve`;
 * null when out of memory or for a zero element size. */
pz_array_t *pz_array_new(unsigned long elt_size, unsigned long reserve);

/* Bytes that pz_array_init_in needs for `capacity` elements of `elt_size`
 * bytes; 0 when that does not fit in a size_t. */
size_t pz_array_footprint(unsigned long elt_size, unsigned long capacity);

/* An empty array with room for `capacity` elements laid out at `block`,
 * which is aligned as HAL_Malloc aligns and has pz_array_footprint bytes.
 * The caller frees the block after pz_array_free. */
pz_array_t *pz_array_init_in(void *block, unsigned long elt_size, unsigned long capacity);

/* Each call below returns the array to use afterwards. When the array cannot
 * grow, it is returned unchanged (its `len` tells the caller nothing was
 * added). A null array gives null. */

/* Appends `count` elements copied from `data`. */
pz_array_t *pz_array_append_vals(pz_array_t *array, const void *data, size_t count);

/* Puts `count` elements before the first one. */
pz_array_t *pz_array_prepend_vals(pz_array_t *array, const void *data, size_t count);

/* Puts `count` elements at `index`; the later ones move up. An index past the
 * end appends. */
pz_array_t *pz_array_insert_vals(pz_array_t *array, unsigned long index, const void *data,
                                 size_t count);

/* Takes out the element at `index`; the later ones move down. An index at or
 * past the end changes nothing. */
pz_array_t *pz_array_remove_index(pz_array_t *array, unsigned long index);

/* Sets the length; new elements are zero. */
pz_array_t *pz_array_set_size(pz_array_t *array, size_t len);

/* Makes room for `capacity` elements in all. */
pz_array_t *pz_array_reserve(pz_array_t *array, size_t capacity);

/* Frees the array (an array in its caller's block: only what it grew into);
 * null is ignored. Elements are not looked at. */
void pz_array_free(pz_array_t *array);

#ifdef __cplusplus
}
#endif

#endif /* PZ_ARRAY_H */
