/* Operations that say why they did nothing. Each function here does what its
 * namesake in pz_variant.h does and returns a pz_status instead of a plain
 * null, false or nothing, so that a caller (the C++ interface among them)
 * can tell misuse from a value that cannot be written and both from a lack
 * of memory without looking again. Keys come with their length: no
 * terminator is needed, and a key holding a NUL byte is refused, not cut
 * short. Included by pz_variant.h; valid C11 and C++. */
#ifndef PZ_STATUS_H
#define PZ_STATUS_H

#include "pz_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup pz_status Statuses
 * Why an operation did nothing, the name of every kind, and the operations
 * that report a status.
 * @{ */

/** Why an operation did nothing. New codes are only ever added at the end. */
typedef enum pz_status_e {
    PZ_STATUS_OK = 0,           /**< done */
    PZ_STATUS_NO_VALUE,         /**< a null value or container where one is needed */
    PZ_STATUS_WRONG_KIND,       /**< a value of a kind the operation does not take (not an array, not a
                                     dictionary, a record of no kind) */
    PZ_STATUS_INVALID_KEY,      /**< an empty key or one holding a NUL byte, which no dictionary holds */
    PZ_STATUS_NOT_FOUND,        /**< no entry under the key, no element at the index, an empty slot */
    PZ_STATUS_OCCUPIED,         /**< the key holds a value of another kind than the one asked for */
    PZ_STATUS_TOO_DEEP,         /**< nested deeper than PZ_VARIANT_MAX_DEPTH, or containing itself */
    PZ_STATUS_POINTER,          /**< a pointer kind that the operation cannot take */
    PZ_STATUS_INVALID_UTF8,     /**< a string or key that is not UTF-8, which JSON cannot carry */
    PZ_STATUS_TOO_LARGE,        /**< more elements or bytes than the format can count */
    PZ_STATUS_OUT_OF_MEMORY,    /**< out of memory */
    PZ_STATUS_STOPPED,          /**< the caller's callback said stop */
    PZ_STATUS_CANNOT_OPEN,      /**< a file could not be opened (errno says why) */
    PZ_STATUS_CANNOT_WRITE,     /**< a file could not be written (errno says why) */
    PZ_STATUS_INVALID_ARGUMENT, /**< an argument the function cannot use, such as an unknown format */
    PZ_STATUS_NOT_FINITE        /**< a NaN or an infinity, which canonical JSON cannot hold */
} pz_status;

/** A short text for people: "" for PZ_STATUS_OK, "not a kind it takes",
 * "an empty key or one holding a NUL byte", "nested deeper than
 * PZ_VARIANT_MAX_DEPTH or containing itself", "out of memory", ... (a
 * static string, never null; "unknown status" for a code not listed). */
PZ_API const char *pz_status_text(pz_status status);

/** The name of a kind, as the typed dump writes it: "null", "bool", "int8",
 * "uint8", ... "uint64", "float", "double", "string", "bytes", "ptr",
 * "autoptr", "sharedptr", "array", "dict". A static string; null for a code
 * that is no kind. */
PZ_API const char *pz_variant_kind_name(pz_variant_type vt);

/** A new value of kind vtype_null (count 1), to store where a null belongs;
 * null when out of memory. */
PZ_API pz_variant_t *pz_variant_null_new(void);

/** @name Containers
 * Writes and lookups that say why they did nothing. PZ_STATUS_WRONG_KIND for
 * a container of another kind (or an array or dictionary without storage),
 * PZ_STATUS_NO_VALUE for a null one. */
/** @{ */

/** Appends `value` as pz_variant_array_append does (null: an empty slot);
 * the array takes its own reference. PZ_STATUS_OUT_OF_MEMORY when it cannot
 * grow, with nothing changed. */
PZ_API pz_status pz_variant_array_append_ex(pz_variant_t *va, pz_variant_t *value);

/** Stores `value` under the `len` bytes of `key` as pz_variant_dict_put
 * does, taking its own reference. PZ_STATUS_NO_VALUE for a null `value`,
 * PZ_STATUS_INVALID_KEY for an empty key or one holding a NUL byte,
 * PZ_STATUS_OUT_OF_MEMORY; nothing changes on any of them. */
PZ_API pz_status pz_variant_dict_put_ex(pz_variant_t *dict, const char *key, size_t len, pz_variant_t *value);

/** Stores a number, flag or raw pointer from the record `scalar` (only read,
 * it may live on the caller's stack) under the `len` bytes of `key`, as
 * pz_variant_dict_put_scalar does: in place, allocating nothing, where the
 * dictionary alone holds a number, flag, raw pointer or null there.
 * PZ_STATUS_WRONG_KIND also for a `scalar` of a kind that does not live in
 * the record; statuses as pz_variant_dict_put_ex otherwise. */
PZ_API pz_status pz_variant_dict_put_scalar_ex(pz_variant_t *dict, const char *key, size_t len,
                                               const pz_variant_t *scalar);

/** Removes the entry under the `len` bytes of `key` as pz_variant_dict_erase
 * does. PZ_STATUS_NOT_FOUND when there is none, PZ_STATUS_INVALID_KEY for
 * an empty key or one holding a NUL byte. */
PZ_API pz_status pz_variant_dict_erase_ex(pz_variant_t *dict, const char *key, size_t len);

/** The dictionary under the `len` bytes of `key`, made and stored there
 * when the key is absent, as vdict_child does; `*child` (when not null)
 * receives it borrowed: the dictionary holds it. PZ_STATUS_OCCUPIED when the
 * key holds a value of another kind, which stays and which `*child` then
 * receives (borrowed), so that a caller can say what is there;
 * PZ_STATUS_INVALID_KEY, PZ_STATUS_OUT_OF_MEMORY (nothing stored). `*child`
 * is written only on those two. */
PZ_API pz_status vdict_child_ex(pz_variant_t *dict, const char *key, size_t len, pz_variant_t **child);

/** The value under the `len` bytes of `key`, borrowed into `*found` (when
 * not null) as pz_variant_dict_find_len finds it. PZ_STATUS_NOT_FOUND when
 * there is no entry, PZ_STATUS_INVALID_KEY for an empty key or one holding a
 * NUL byte. Allocates nothing; `*found` is written only on PZ_STATUS_OK. */
PZ_API pz_status pz_variant_dict_find_ex(const pz_variant_t *dict, const char *key, size_t len,
                                         pz_variant_t **found);

/** The element at `index`, borrowed into `*found` (when not null) as
 * pz_variant_array_at finds it. PZ_STATUS_NOT_FOUND for an index at or past
 * the end and for an empty slot. Allocates nothing; `*found` is written only
 * on PZ_STATUS_OK. */
PZ_API pz_status pz_variant_array_at_ex(const pz_variant_t *va, uint32_t index, pz_variant_t **found);

/** @} */

/** @name Paths */
/** @{ */

/** The value the JSON Pointer of `len` bytes at `pointer` names inside
 * `root`, borrowed into `*found` (when not null) as pz_variant_path_find
 * finds it, and why there is none: PZ_PATH_MISSING (a missing key, an index
 * past the end or "-", an index that is not a number, an empty slot) or
 * PZ_PATH_BLOCKED (a step into a value that is not a container), with the
 * number of the step at fault in `*step` (when not null; from 1, the first
 * token after the first "/"), and in `*found` the last value reached: the
 * container in which the step found nothing, or the value that is not a
 * container. A null `root` holds nothing: PZ_PATH_MISSING at step 0.
 * PZ_PATH_INVALID for a null `pointer` and a malformed one (not "" and not
 * starting with "/", a "~" followed by neither "0" nor "1", a NUL byte),
 * PZ_PATH_OUT_OF_MEMORY when a pointer longer than 256 bytes cannot be
 * decoded; `*step` is then 0 and `*found` untouched. */
PZ_API pz_path_status pz_variant_path_find_ex(const pz_variant_t *root, const char *pointer, size_t len,
                                              pz_variant_t **found, size_t *step);

/** As pz_variant_path_set, with a pointer of `len` bytes (a NUL byte among
 * them is malformed: PZ_PATH_INVALID). */
PZ_API pz_path_status pz_variant_path_set_ex(pz_variant_t *root, const char *pointer, size_t len,
                                             pz_variant_t *value);

/** @} */

/** @name Whole values */
/** @{ */

/** A deep copy of `v` into `*copy` (a new reference), as pz_variant_dup
 * makes it. PZ_STATUS_NO_VALUE for a null `v`, PZ_STATUS_TOO_DEEP,
 * PZ_STATUS_OUT_OF_MEMORY; `*copy` is written only on PZ_STATUS_OK. */
PZ_API pz_status pz_variant_dup_ex(pz_variant_t *v, pz_variant_t **copy);

/** Copies `other` into `*v` as pz_variant_concat(*v, other) does, and makes
 * `*v` the value that now holds the copy: for a shared-pointer `other` into
 * a `*v` of another kind, a new record (the caller's reference to the old
 * one consumed; null when out of memory). PZ_STATUS_NO_VALUE for a null `v`,
 * `*v` or `other`; PZ_STATUS_POINTER for an owned-pointer `other`, which has
 * one owner; PZ_STATUS_TOO_DEEP; all three leave `*v` untouched.
 * PZ_STATUS_OUT_OF_MEMORY leaves it as pz_variant_concat says. */
PZ_API pz_status pz_variant_concat_ex(pz_variant_t **v, pz_variant_t *other);

/** Merges `patch` into `target` as pz_variant_merge_patch does, all or
 * nothing. PZ_STATUS_NO_VALUE for a null argument, PZ_STATUS_POINTER for an
 * owned or shared pointer patch, PZ_STATUS_TOO_DEEP,
 * PZ_STATUS_OUT_OF_MEMORY; `target` is as it was on each. */
PZ_API pz_status pz_variant_merge_patch_ex(pz_variant_t *target, pz_variant_t *patch);

/** @} */

/** @name Writers
 * The text or bytes of a value handed to `fn` in chunks (with `data`), and
 * why they could not be made. A value refused part way may have given `fn`
 * part of its text. PZ_STATUS_NO_VALUE for a null `v` or `fn`,
 * PZ_STATUS_TOO_DEEP, PZ_STATUS_OUT_OF_MEMORY, PZ_STATUS_STOPPED when `fn`
 * returned non-zero. */
/** @{ */

/** The plain JSON of `v` as pz_variant_to_json_callback writes it; also
 * PZ_STATUS_POINTER for a pointer kind with PZ_JSON_REFUSE_POINTERS,
 * PZ_STATUS_INVALID_UTF8 for a string or key that is not UTF-8 (without
 * PZ_JSON_ESCAPE_INVALID, or with PZ_JSON_CANONICAL) and
 * PZ_STATUS_NOT_FINITE for a NaN or an infinity with PZ_JSON_CANONICAL. */
PZ_API pz_status pz_variant_to_json_callback_ex(const pz_variant_t *v, pz_write_callback_t fn, void *data,
                                                unsigned flags);

/** The typed dump of `v` as pz_variant_dump makes it (no terminator). */
PZ_API pz_status pz_variant_dump_callback(const pz_variant_t *v, pz_write_callback_t fn, void *data);

/** The MessagePack of `v` as pz_variant_to_msgpack makes it; also
 * PZ_STATUS_POINTER for a pointer kind without PZ_MSGPACK_POINTERS_AS_NIL
 * and PZ_STATUS_TOO_LARGE for a container or text past 2^32 - 1. */
PZ_API pz_status pz_variant_to_msgpack_callback(const pz_variant_t *v, unsigned flags, pz_write_callback_t fn,
                                                void *data);

#ifndef PZ_NO_STDIO
/** Writes `v` to the file at `path` as pz_variant_write_file does (the text
 * made first, so that a value that cannot be written leaves the file as it
 * was). The statuses of the writers above, PZ_STATUS_INVALID_ARGUMENT for a
 * null `path` or an unknown format, and PZ_STATUS_CANNOT_OPEN or
 * PZ_STATUS_CANNOT_WRITE with the system's errno in `*sys_errno` (when not
 * null; 0 for every other status). */
PZ_API pz_status pz_variant_write_file_ex(const pz_variant_t *v, const char *path, pz_text_format format,
                                          unsigned flags, int *sys_errno);

/** As pz_variant_write_file_ex, for pz_variant_write_msgpack_file. */
PZ_API pz_status pz_variant_write_msgpack_file_ex(const pz_variant_t *v, const char *path, unsigned flags,
                                                  int *sys_errno);
#endif

/** @} */

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* PZ_STATUS_H */
