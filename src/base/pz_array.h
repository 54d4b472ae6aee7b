/* Dynamic array of fixed-size elements.
 *
 * The header and the elements share one block, so a call that grows the
 * array may move it: every call that changes the length returns the array to
 * use from then on. `data` and `len` may be read directly between calls. */
#ifndef PZ_ARRAY_H
#define PZ_ARRAY_H

#include "basictypes.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct pz_array_s {
    char *data;         /* the elements, contiguous */
    size_t len;         /* number of elements */
    size_t capacity;    /* elements that fit before the block must move */
    size_t elt_size;    /* bytes per element */
} pz_array_t;

/* A new empty array of `elt_size`-byte elements with room for `reserve`;
 * null when out of memory or for a zero element size. */
pz_array_t *pz_array_new(unsigned long elt_size, unsigned long reserve);

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

/* Frees the array; null is ignored. Elements are not looked at. */
void pz_array_free(pz_array_t *array);

#ifdef __cplusplus
}
#endif

#endif /* PZ_ARRAY_H */
