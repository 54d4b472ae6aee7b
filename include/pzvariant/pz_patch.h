/* pzvariant: JSON Patch (RFC 6902) over values, and the patch that turns one
 * value into another.
 *
 * A patch is an array of operations, each a dictionary: {"op": "add",
 * "path": "/a/b", "value": ...}, with "op" one of add, remove, replace,
 * move, copy and test; move and copy name their source in "from". Paths
 * are JSON Pointers, as in pz_variant_path_find. A patch is usually read
 * from JSON text (pz_variant_from_json) but any value of that shape is one.
 *
 * Valid C11 and C++; included by pz_variant.h. */
#ifndef PZ_PATCH_H
#define PZ_PATCH_H

#include "pz_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup pz_patch JSON Patch and diff
 * Applying a JSON Patch all or nothing, and the diff of two values as a
 * patch.
 * @{ */

/** Why a patch was not applied, or a diff not made. New codes are only
 * ever added at the end. */
typedef enum pz_patch_code_e {
    PZ_PATCH_OK = 0,        /**< applied (or the diff made) */
    PZ_PATCH_MALFORMED,     /**< the patch is no array of operations, or an operation lacks a
                                 member or has one of the wrong kind, names no known op, or
                                 holds a malformed pointer */
    PZ_PATCH_NO_TARGET,     /**< "path" or "from" names nothing that is there: a missing key or
                                 element, an index out of range or not an index, a step into a
                                 value that is not a container */
    PZ_PATCH_CANNOT_STORE,  /**< the target is there but cannot take the change: an empty key
                                 (a dictionary cannot hold one), a move into its own child, the
                                 document itself removed or replaced by an owned or shared pointer */
    PZ_PATCH_TEST_FAILED,   /**< a test operation found another value */
    PZ_PATCH_TOO_DEEP,      /**< a value nests deeper than PZ_VARIANT_MAX_DEPTH or contains itself */
    PZ_PATCH_OUT_OF_MEMORY, /**< out of memory */
    PZ_PATCH_INVALID_ARGUMENT /**< a null document, patch or result pointer */
} pz_patch_code;

/** Which operation of a patch failed, and why. */
typedef struct pz_patch_error_s {
    pz_patch_code code; /**< the reason as a code; PZ_PATCH_OK when the patch was applied */
    size_t index;       /**< the operation at fault, from 0 (0 also for a patch that is no array) */
    char reason[80];    /**< a short reason for people, NUL-terminated; "" when applied */
} pz_patch_error_t;

/** Applies the JSON Patch `patch` (an array of operation dictionaries) to
 * `doc`, in order, and returns true. Each operation sees what the ones
 * before it did:
 * - add: stores a copy of "value" at "path": under a key of a dictionary
 *   (replacing what is there), or into an array before the element at the
 *   index, at the index equal to the size or at "-" appended. The container
 *   must exist; "" replaces the whole document.
 * - remove: takes out the value at "path", which must be there.
 * - replace: as remove then add at "path", which must be there.
 * - move: takes the value at "from" out and adds it at "path" (the same
 *   value, not a copy); "from" may not be a parent of "path".
 * - copy: adds a copy of the value at "from" at "path".
 * - test: the value at "path" must equal "value": as pz_variant_equal
 *   compares, except that numbers of any kinds compare by their values
 *   (1 equals 1.0, as in JSON).
 * Members an operation does not use are ignored. Array indexes are decimal
 * without a leading zero.
 *
 * All or nothing: on false `doc` is exactly as it was, and `error` (when
 * not null) says which operation failed and why; on true `error` says
 * PZ_PATCH_OK. `doc` keeps its record and so do the containers inside it
 * that the patch changes, so handles to them see the change; the whole
 * document replaced at "" takes the new value into its record (except an
 * owned or shared pointer, which needs a larger record: refused). The work
 * is in proportion to the patch and the containers it changes, not to the
 * document. `patch` is only read, and may live inside `doc`. */
PZ_API bool pz_variant_patch(pz_variant_t *doc, const pz_variant_t *patch, pz_patch_error_t *error);

/** Makes in `*patch` a new array (count 1) of operations that turns `from`
 * into `to`: pz_variant_patch(copy of from, *patch) gives a value that
 * pz_variant_equal calls equal to `to`. Equal values give an empty array.
 * Dictionaries are compared key by key (their order is not part of a
 * value, so it is not patched), arrays element by element after their
 * common start and end, and a value of another kind or another scalar is
 * replaced whole. The operations are add, remove and replace, each "value"
 * a copy taken from `to` (an empty array slot is written as a null value).
 * Neither value is changed.
 *
 * Returns PZ_PATCH_OK; otherwise `*patch` is null and the code says why:
 * PZ_PATCH_INVALID_ARGUMENT for a null argument, PZ_PATCH_TOO_DEEP for a
 * value nested deeper than PZ_VARIANT_MAX_DEPTH or containing itself,
 * PZ_PATCH_OUT_OF_MEMORY. */
PZ_API pz_patch_code pz_variant_diff(const pz_variant_t *from, const pz_variant_t *to, pz_variant_t **patch);

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* PZ_PATCH_H */
