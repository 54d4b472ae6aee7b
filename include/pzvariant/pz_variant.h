/* pzvariant: reference-counted, dynamically typed values.
 *
 * A pz_variant_t holds one value of one of nineteen kinds. Every value lives
 * in one heap block behind an atomic reference count: a function that makes
 * a value returns a new reference (count 1) that the caller releases with
 * pz_variant_unref; a function handed a value borrows it, and a container
 * that keeps it takes its own reference.
 *
 * Threads: the library starts no threads. References to one value may be
 * taken and dropped from any thread. A value that no thread changes may be
 * read by several threads at once: getters, pz_variant_equal, dup, dumps,
 * and concat into a value of the reader's own. The readers (from_dump,
 * from_json, read_file and the others) may run at once: the plain JSON
 * readers take no lock; the dump's readers take one around cJSON's parser,
 * whose error position is process-wide (a host calling cJSON_Parse itself
 * from other threads races with them on it). Everything that changes a value must be
 * serialised by the callers with every other use of that value. cJSON's
 * allocation hooks are left as the host set them.
 *
 * Valid C11 and C++. */
#ifndef PZ_VARIANT_H
#define PZ_VARIANT_H

#include <stdarg.h>
#ifndef PZ_NO_STDIO
#include <stdio.h>
#endif

#include "basictypes.h"
#include "hal/pz_hal.h"
#include "pz_string.h"
/* The value record, its kinds and the other types that this header shares
 * with the feature headers included at its end. */
#include "pz_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------------- */
/* Lifecycle                                                               */
/* ---------------------------------------------------------------------- */

/** @defgroup pz_lifecycle Lifecycle
 * References, clearing and changing the kind, comparison.
 * @{ */

/** Takes one more reference on `v` and returns it (the caller's new
 * reference); null for null. */
PZ_API pz_variant_t *pz_variant_ref(pz_variant_t *v);

/** Drops one reference; the last one clears the value and frees it. Null is
 * ignored. Releasing is iterative: any depth of nesting is freed without
 * recursion and without allocating. */
PZ_API void pz_variant_unref(pz_variant_t *v);

/** Releases what `v` holds and leaves it an empty value of kind vtype_null;
 * `v` keeps its address and count. Null is ignored. */
PZ_API void pz_variant_clear(pz_variant_t *v);

/** Gives `v` kind `vt` with that kind's empty value (an array or dictionary
 * gets new, empty storage); a `v` already of that kind is returned as it is.
 * For vtype_autoptr and vtype_sharedptr the caller's reference to `v` is
 * consumed and a new, empty record (kind vtype_null) is returned in its
 * place, to be filled with pz_variant_autoptr_set / pz_variant_sharedptr_set;
 * null when it cannot be allocated. Null `v` gives null. */
PZ_API pz_variant_t *pz_variant_change_type(pz_variant_t *v, pz_variant_type vt);

/** True when `a` and `b` are the same kind holding the same value: numbers
 * by bit pattern, strings and byte buffers by content, pointers by address,
 * arrays element by element and dictionaries entry by entry (in any order).
 * Two nulls are equal. A value nested deeper than PZ_VARIANT_MAX_DEPTH, or
 * containing itself, is equal to nothing. */
PZ_API bool pz_variant_equal(const pz_variant_t *a, const pz_variant_t *b);

/** @} */

/* ---------------------------------------------------------------------- */
/* Scalars and raw pointers                                                */
/* ---------------------------------------------------------------------- */

/** @defgroup pz_scalars Scalars and raw pointers
 * Constructors and setters of the twelve kinds that live in the record.
 * @{ */

/** @name Constructors */
/** @{ */
/** Each pz_variant_<kind>_new makes a new value holding `value` (count 1), or
 * returns null when out of memory. A raw pointer is stored as given and
 * never owned. */
PZ_API pz_variant_t *pz_variant_bool_new(bool value);
PZ_API pz_variant_t *pz_variant_int8_new(int8_t value);
PZ_API pz_variant_t *pz_variant_uint8_new(uint8_t value);
PZ_API pz_variant_t *pz_variant_int16_new(int16_t value);
PZ_API pz_variant_t *pz_variant_uint16_new(uint16_t value);
PZ_API pz_variant_t *pz_variant_int32_new(int32_t value);
PZ_API pz_variant_t *pz_variant_uint32_new(uint32_t value);
PZ_API pz_variant_t *pz_variant_int64_new(int64_t value);
PZ_API pz_variant_t *pz_variant_uint64_new(uint64_t value);
PZ_API pz_variant_t *pz_variant_float_new(float value);
PZ_API pz_variant_t *pz_variant_double_new(double value);
PZ_API pz_variant_t *pz_variant_ptr_new(void *value);
/** @} */

/** @name Setters */
/** @{ */
/** Each pz_variant_<kind>_set releases what `v` held, whatever its kind,
 * stores `value` and returns `v` (no reference added); a null `v` gives
 * null. */
PZ_API pz_variant_t *pz_variant_bool_set(pz_variant_t *v, bool value);
PZ_API pz_variant_t *pz_variant_int8_set(pz_variant_t *v, int8_t value);
PZ_API pz_variant_t *pz_variant_uint8_set(pz_variant_t *v, uint8_t value);
PZ_API pz_variant_t *pz_variant_int16_set(pz_variant_t *v, int16_t value);
PZ_API pz_variant_t *pz_variant_uint16_set(pz_variant_t *v, uint16_t value);
PZ_API pz_variant_t *pz_variant_int32_set(pz_variant_t *v, int32_t value);
PZ_API pz_variant_t *pz_variant_uint32_set(pz_variant_t *v, uint32_t value);
PZ_API pz_variant_t *pz_variant_int64_set(pz_variant_t *v, int64_t value);
PZ_API pz_variant_t *pz_variant_uint64_set(pz_variant_t *v, uint64_t value);
PZ_API pz_variant_t *pz_variant_float_set(pz_variant_t *v, float value);
PZ_API pz_variant_t *pz_variant_double_set(pz_variant_t *v, double value);
PZ_API pz_variant_t *pz_variant_ptr_set(pz_variant_t *v, void *value);
/** @} */

/** @} */

/* ---------------------------------------------------------------------- */
/* Strings and byte buffers                                                */
/* ---------------------------------------------------------------------- */

/** @defgroup pz_strings Strings and byte buffers
 * Strings (NUL-terminated, NULs inside allowed) and byte buffers; copied
 * or taken over.
 * @{ */

/** A new string value holding a copy of `value`; a null or empty text gives
 * the empty string (null text, len 0). Null when out of memory. */
PZ_API pz_variant_t *pz_variant_str_new(const char *value);

/** A new string value holding the first `len` bytes of `value` (NULs
 * included) and a terminating NUL; empty when `value` is null or `len` 0.
 * Null when out of memory or `len` is UINT32_MAX. */
PZ_API pz_variant_t *vstr_sized_new(const char *value, uint32_t len);

/** A new string value that takes over `value` (a HAL_Malloc block holding
 * `len` bytes; nothing is copied or added) and frees it with HAL_Free. When
 * `value` is null or `len` 0, or on null result, the caller keeps `value`. */
PZ_API pz_variant_t *vstr_new_owned(char *value, uint32_t len);

/** A new byte-buffer value holding a copy of `len` bytes of `buf` (zero
 * bytes when `buf` is null); empty when `len` is 0. Null when out of memory. */
PZ_API pz_variant_t *vstr_buf_new(const uint8_t *buf, uint32_t len);

/** A new byte-buffer value that takes over `buf` (a HAL_Malloc block of
 * `len` bytes). When `buf` is null or `len` 0, or on null result, the caller
 * keeps `buf`. */
PZ_API pz_variant_t *vstr_buf_new_owned(uint8_t *buf, uint32_t len);

/** Makes `v` a string holding a copy of `value` and returns `v`. A null
 * `value` leaves the empty string; an empty one a one-byte text. When out of
 * memory `v` is left the empty string. Null `v` gives null. */
PZ_API pz_variant_t *pz_variant_str_set(pz_variant_t *v, const char *value);

/** Makes `v` a byte buffer holding a copy of `len` bytes of `buf` (zero
 * bytes when `buf` is null) and returns `v`; when out of memory `v` is left
 * the empty byte buffer. `buf` may point into `v`'s own buffer. Null `v`
 * gives null. */
PZ_API pz_variant_t *vstr_buf_set(pz_variant_t *v, uint8_t *buf, uint32_t len);

/** Compares the string value `v` with `value` as strcmp does: 0 when equal.
 * An empty `value` (null or "") equals a null `v`, a vtype_null value and an
 * empty string, and gives 1 for anything else; a `v` that is null or not a
 * string gives 1 for a non-empty `value`. */
PZ_API int32_t pz_variant_str_cmp(const pz_variant_t *v, const char *value);

/** @} */

/* ---------------------------------------------------------------------- */
/* Owned and shared pointers                                               */
/* ---------------------------------------------------------------------- */

/** @defgroup pz_pointers Owned and shared pointers
 * Pointers the value owns (with a destructor) or shares (with reference
 * callbacks).
 * @{ */

/** A new owned-pointer value: it owns `value` and calls `dtor(value)` once,
 * when the value is released (also for a null `value`; a null `dtor` calls
 * nothing). Null when out of memory; the caller then still owns `value`. */
PZ_API pz_variant_t *pz_variant_autoptr_new(void *value, pz_dtor_pt dtor);

/** Releases what `v` held and makes it own `value` with `dtor`; returns `v`.
 * Only a record made for a pointer kind (by the pointer constructors, a
 * change of kind to a pointer kind, or the library's copies) has room for
 * the destructor: any other `v` is left unchanged, null is returned and the
 * caller keeps `value`. Null `v` gives null. */
PZ_API pz_variant_t *pz_variant_autoptr_set(pz_variant_t *v, void *value, pz_dtor_pt dtor);

/** A new shared-pointer value holding `ref(value)` and the two callbacks;
 * `unref` is called once on that pointer when the value is released. A null
 * `ref` stores `value` as it is; a null `unref` calls nothing. Null when out
 * of memory, and `ref` has then not been called. */
PZ_API pz_variant_t *pz_variant_sharedptr_new(void *value, pz_ref_pt ref, pz_unref_pt unref);

/** Makes `v` hold `ref(value)` with the two callbacks, releasing what it
 * held (the new reference is taken before the old one is dropped, so
 * setting the same object again is safe); returns `v`. Only a record made
 * for a shared pointer has room for the callbacks: any other `v` is left
 * unchanged and null is returned, without calling `ref`. Null `v` gives
 * null. */
PZ_API pz_variant_t *pz_variant_sharedptr_set(pz_variant_t *v, void *value, pz_ref_pt ref,
                                              pz_unref_pt unref);

/** @} */

/* ---------------------------------------------------------------------- */
/* Arrays                                                                  */
/* ---------------------------------------------------------------------- */

/** @defgroup pz_arrays Arrays
 * An array holds one reference on each non-null element; a slot may be
 * null. Operations on something that is not an array with storage, and
 * indexes at or past the end, do nothing and give 0 or null.
 * @{ */

/** A new empty array; null when out of memory. */
PZ_API pz_variant_t *pz_variant_array_new(void);

/** The number of elements; 0 for null, other kinds and an array without
 * storage. */
PZ_API uint32_t pz_variant_array_size(const pz_variant_t *va);

/** Stores `value` (null allowed: an empty slot) after the last element; the
 * array takes its own reference. When the array cannot grow, nothing
 * changes. */
PZ_API void pz_variant_array_append(pz_variant_t *va, pz_variant_t *value);

/** Stores `value` before the first element. */
PZ_API void pz_variant_array_prepend(pz_variant_t *va, pz_variant_t *value);

/** Stores `value` at `index`, moving the later elements up; an index past
 * the end appends. */
PZ_API void pz_variant_array_insert(pz_variant_t *va, uint32_t index, pz_variant_t *value);

/** Takes out the element at `index`, moving the later ones down, and drops
 * the array's reference on it. */
PZ_API void pz_variant_array_remove(pz_variant_t *va, uint32_t index);

/** Replaces the element at `index` with `value`; the array takes a reference
 * on `value` before it drops the one on the old element. */
PZ_API void pz_variant_array_set(pz_variant_t *va, uint32_t index, pz_variant_t *value);

/** The element at `index` as a new reference that the caller releases; null
 * for an empty slot or an index at or past the end. */
PZ_API pz_variant_t *pz_variant_array_index(const pz_variant_t *va, uint32_t index);

/** Drops every element and leaves the array empty, keeping its storage;
 * returns `va` (no reference added). */
PZ_API pz_variant_t *pz_variant_array_clear(pz_variant_t *va);

/** @name Typed array getters */
/** @{ */
/** Typed getters: the element at `index` read through the named type, as
 * raw bits with no conversion between kinds (varray_int64 of an int8 -1
 * gives 255 on a little-endian target: the stored byte, then zeros;
 * varray_bool is true when the first byte is non-zero). Zero,
 * false or null when `v` is not an array with storage, `index` is at or
 * past the end or the slot is empty. varray_str borrows the element's text
 * (null for an empty string), valid while the element lives. They do not
 * check the kind: on values read from outside (plain JSON makes every
 * integer an int64), use the checked reads varray_get_<kind>. */
PZ_API bool varray_bool(const pz_variant_t *v, uint32_t index);
PZ_API int8_t varray_int8(const pz_variant_t *v, uint32_t index);
PZ_API uint8_t varray_uint8(const pz_variant_t *v, uint32_t index);
PZ_API int16_t varray_int16(const pz_variant_t *v, uint32_t index);
PZ_API uint16_t varray_uint16(const pz_variant_t *v, uint32_t index);
PZ_API int32_t varray_int32(const pz_variant_t *v, uint32_t index);
PZ_API uint32_t varray_uint32(const pz_variant_t *v, uint32_t index);
PZ_API int64_t varray_int64(const pz_variant_t *v, uint32_t index);
PZ_API uint64_t varray_uint64(const pz_variant_t *v, uint32_t index);
PZ_API float varray_float(const pz_variant_t *v, uint32_t index);
PZ_API double varray_double(const pz_variant_t *v, uint32_t index);
PZ_API void *varray_ptr(const pz_variant_t *v, uint32_t index);
PZ_API const char *varray_str(const pz_variant_t *v, uint32_t index);
/** @} */

/** @name Typed array adders */
/** @{ */
/** Typed adders: make a new element of the named kind from `value`, as its
 * constructor does, and append it; the array holds its only reference. When
 * the element cannot be made, an empty slot is appended. When `v` is not an
 * array with storage, or cannot grow, nothing is appended and the element
 * is released at once: varray_add_autoptr then destroys `value` with
 * `dtor`, and varray_add_sharedptr balances its `ref` with one `unref`. */
PZ_API void varray_add_bool(pz_variant_t *v, bool value);
PZ_API void varray_add_int8(pz_variant_t *v, int8_t value);
PZ_API void varray_add_uint8(pz_variant_t *v, uint8_t value);
PZ_API void varray_add_int16(pz_variant_t *v, int16_t value);
PZ_API void varray_add_uint16(pz_variant_t *v, uint16_t value);
PZ_API void varray_add_int32(pz_variant_t *v, int32_t value);
PZ_API void varray_add_uint32(pz_variant_t *v, uint32_t value);
PZ_API void varray_add_int64(pz_variant_t *v, int64_t value);
PZ_API void varray_add_uint64(pz_variant_t *v, uint64_t value);
PZ_API void varray_add_float(pz_variant_t *v, float value);
PZ_API void varray_add_double(pz_variant_t *v, double value);
PZ_API void varray_add_ptr(pz_variant_t *v, void *value);
PZ_API void varray_add_str(pz_variant_t *v, const char *value);
PZ_API void varray_add_sized_str(pz_variant_t *v, const char *value, uint32_t len);
PZ_API void varray_add_autoptr(pz_variant_t *v, void *value, pz_dtor_pt dtor);
PZ_API void varray_add_sharedptr(pz_variant_t *v, void *value, pz_ref_pt ref, pz_unref_pt unref);
/** @} */

/** @name Nested containers in place */
/** @{ */
/** Appends a new, empty dictionary (or array) and returns it borrowed: the
 * array holds its only reference, and the caller fills it in place without
 * releasing it. Null when `va` is not an array (nothing is made), when out
 * of memory (an empty slot is appended if the child could not be made), or
 * when the array cannot grow. */
PZ_API pz_variant_t *varray_add_dict(pz_variant_t *va);
PZ_API pz_variant_t *varray_add_array(pz_variant_t *va);
/** @} */

/** @} */

/* ---------------------------------------------------------------------- */
/* Dictionaries                                                            */
/* ---------------------------------------------------------------------- */

/** @defgroup pz_dicts Dictionaries
 * A dictionary maps non-empty text keys to values, holding one reference on
 * each value; walks follow insertion order. A null dictionary, another
 * kind, a dictionary without a table, or a null or empty key make an
 * operation do nothing and give null, false or 0.
 * @{ */

/** A new empty dictionary; null when out of memory. */
PZ_API pz_variant_t *pz_variant_dict_new(void);

/** Stores `value` under a copy of `key`, replacing any entry there; the
 * dictionary takes its own reference and the caller keeps its own. A null
 * `value` stores nothing. */
PZ_API void pz_variant_dict_put(pz_variant_t *dict, const char *key, pz_variant_t *value);

/** The value under `key` as a new reference that the caller releases, or
 * null. */
PZ_API pz_variant_t *pz_variant_dict_get(const pz_variant_t *dict, const char *key);

/** True when `key` has an entry. */
PZ_API bool pz_variant_dict_contains(const pz_variant_t *dict, const char *key);

/** Calls `foreach(key, value, data)` for each entry in insertion order, the
 * key a borrowed pz_string_t* and the value a borrowed pz_variant_t*, until
 * it returns false. The callback must not add or remove entries. Keys are
 * never changed once made, so copies and reads may share one key string
 * between dictionaries: take a reference with pz_string_ref to keep it. */
PZ_API void pz_variant_dict_foreach(pz_variant_t *dict, pz_key_value_pt foreach, void *data);

/** Removes the entry under `key`, dropping the dictionary's reference on its
 * value; true when there was one. The others keep their order. */
PZ_API bool pz_variant_dict_erase(pz_variant_t *dict, const char *key);

/** The number of entries. */
PZ_API uint32_t pz_variant_dict_size(const pz_variant_t *dict);

/** Removes every entry; returns `dict` (no reference added). */
PZ_API pz_variant_t *pz_variant_dict_clear(pz_variant_t *dict);

/** The dictionary under `key` as a new reference, made and stored there when
 * the key is absent; null when the key holds a value of another kind (which
 * stays stored) or when out of memory. When `dict` or `key` is unusable, a
 * new dictionary attached to nothing is returned. */
PZ_API pz_variant_t *vdict_child(pz_variant_t *dict, const char *key);

/** @name Typed dictionary getters */
/** @{ */
/** Typed getters: the value under `key` read through the named type, as
 * raw bits with no conversion between kinds (a stored int8 -1 read as int32
 * gives 255 on a little-endian target; bool is true when the first byte is
 * non-zero); `def` when the
 * dictionary or key is unusable or the key is absent. They allocate nothing
 * and take no reference. vdict_str_default borrows the stored text, valid
 * while the entry stays: null for an empty string, whatever `def` is. They
 * do not check the kind (a stored int64 42 read by vdict_str_default gives
 * the pointer 0x2a): on values read from outside, use the checked reads
 * vdict_get_<kind>. */
PZ_API bool vdict_bool_default(const pz_variant_t *v, const char *key, bool def);
PZ_API int8_t vdict_int8_default(const pz_variant_t *v, const char *key, int8_t def);
PZ_API uint8_t vdict_uint8_default(const pz_variant_t *v, const char *key, uint8_t def);
PZ_API int16_t vdict_int16_default(const pz_variant_t *v, const char *key, int16_t def);
PZ_API uint16_t vdict_uint16_default(const pz_variant_t *v, const char *key, uint16_t def);
PZ_API int32_t vdict_int32_default(const pz_variant_t *v, const char *key, int32_t def);
PZ_API uint32_t vdict_uint32_default(const pz_variant_t *v, const char *key, uint32_t def);
PZ_API int64_t vdict_int64_default(const pz_variant_t *v, const char *key, int64_t def);
PZ_API uint64_t vdict_uint64_default(const pz_variant_t *v, const char *key, uint64_t def);
PZ_API float vdict_float_default(const pz_variant_t *v, const char *key, float def);
PZ_API double vdict_double_default(const pz_variant_t *v, const char *key, double def);
PZ_API void *vdict_ptr_default(const pz_variant_t *v, const char *key, void *def);
PZ_API const char *vdict_str_default(const pz_variant_t *v, const char *key, const char *def);
/** @} */

/** Stores under `key` a value of the kind of `scalar` holding what it
 * holds, as the typed setter of that kind does (a number or flag that this
 * dictionary alone holds under the key is rewritten in place). `scalar` is
 * only read and may be a record of the caller's own, on its stack: of a
 * kind that lives in the union (bool to double, or a raw pointer with its
 * len). True when the value is stored; false, with nothing changed, for
 * an unusable dictionary or key, another kind, or when out of memory. */
PZ_API bool pz_variant_dict_put_scalar(pz_variant_t *dict, const char *key, const pz_variant_t *scalar);

/** The data pointer of the value under `key`, borrowed while the entry
 * stays; null when there is none. No length: read it from the value. */
PZ_API const uint8_t *vdict_bytes(pz_variant_t *v, const char *key);

/** @name Typed dictionary setters */
/** @{ */
/** Typed setters: make a new value of the named kind, as its constructor
 * does, and store it under `key`, replacing any entry there whatever its
 * kind; the dictionary holds the value's only reference. vdict_set_sized_ptr
 * stores a raw pointer with `len` beside it; vdict_set_bytes copies,
 * vdict_set_bytes_owned takes over a HAL_Malloc buffer (when `value` is
 * non-null and `len` non-zero) and vdict_set_autoptr the object.
 * When the value cannot be made, nothing is stored and nothing of the
 * caller's is taken over or called. When it cannot be stored (unusable
 * dictionary or key, out of memory), it is released at once: a taken-over
 * buffer is freed, `dtor` destroys the object, and `unref` balances `ref`.
 * A number, flag or raw pointer stored over a number, flag, raw pointer or
 * null that this dictionary alone holds is written into that record in
 * place, allocating nothing: no holder can tell it from a replacement. */
PZ_API void vdict_set_bool(pz_variant_t *v, const char *key, bool value);
PZ_API void vdict_set_int8(pz_variant_t *v, const char *key, int8_t value);
PZ_API void vdict_set_uint8(pz_variant_t *v, const char *key, uint8_t value);
PZ_API void vdict_set_int16(pz_variant_t *v, const char *key, int16_t value);
PZ_API void vdict_set_uint16(pz_variant_t *v, const char *key, uint16_t value);
PZ_API void vdict_set_int32(pz_variant_t *v, const char *key, int32_t value);
PZ_API void vdict_set_uint32(pz_variant_t *v, const char *key, uint32_t value);
PZ_API void vdict_set_int64(pz_variant_t *v, const char *key, int64_t value);
PZ_API void vdict_set_uint64(pz_variant_t *v, const char *key, uint64_t value);
PZ_API void vdict_set_float(pz_variant_t *v, const char *key, float value);
PZ_API void vdict_set_double(pz_variant_t *v, const char *key, double value);
PZ_API void vdict_set_ptr(pz_variant_t *v, const char *key, void *value);
PZ_API void vdict_set_sized_ptr(pz_variant_t *v, const char *key, void *ptr, uint32_t len);
PZ_API void vdict_set_str(pz_variant_t *v, const char *key, const char *value);
PZ_API void vdict_set_bytes(pz_variant_t *v, const char *key, const uint8_t *value, uint32_t len);
PZ_API void vdict_set_bytes_owned(pz_variant_t *v, const char *key, uint8_t *value, uint32_t len);
PZ_API void vdict_set_autoptr(pz_variant_t *v, const char *key, void *value, pz_dtor_pt dtor);
PZ_API void vdict_set_sharedptr(pz_variant_t *v, const char *key, void *value, pz_ref_pt ref,
                                pz_unref_pt unref);
/** @} */

/** @} */

/* ---------------------------------------------------------------------- */
/* Borrowed reads                                                          */
/* ---------------------------------------------------------------------- */

/** @defgroup pz_borrowed Borrowed reads
 * Elements, values under keys and dictionary entries read without taking a
 * reference: what they return is borrowed from its container and stays
 * valid while the container holds it (until the slot or entry is replaced
 * or removed, or the container is released). Never unref it; take a
 * reference with pz_variant_ref to keep it longer. They allocate nothing,
 * and change no count, so a walk through them costs no atomic operation.
 * @{ */

/** The element at `index`, borrowed; null for an empty slot, an index at or
 * past the end or a `va` that is not an array with storage. */
PZ_API pz_variant_t *pz_variant_array_at(const pz_variant_t *va, uint32_t index);

/** The value under `key`, borrowed; null when absent, for a null or empty
 * key and when `dict` is not a dictionary. */
PZ_API pz_variant_t *pz_variant_dict_find(const pz_variant_t *dict, const char *key);

/** As pz_variant_dict_find, with a key of `len` bytes that needs no
 * terminator. A key that is empty or holds a NUL byte finds nothing. */
PZ_API pz_variant_t *pz_variant_dict_find_len(const pz_variant_t *dict, const char *key, size_t len);

/** One step of a walk over the entries of `dict` in insertion order: start
 * with `*pos` 0; each call that returns true writes the next entry's key
 * and value (both borrowed) to the pointers that are not null and moves
 * `*pos` past it. False when there are no more entries or `dict` is not a
 * dictionary. Values may be changed in place between steps; an entry added
 * or removed meanwhile may be missed or seen, and nothing is read out of
 * bounds. */
PZ_API bool pz_variant_dict_next(const pz_variant_t *dict, uint32_t *pos, const pz_string_t **key,
                                 pz_variant_t **value);

/** @} */

/* ---------------------------------------------------------------------- */
/* Checked reads                                                           */
/* ---------------------------------------------------------------------- */

/** @defgroup pz_checked Checked reads
 * Reads for values that come from outside (a JSON file, a message): each
 * tests the stored kind and converts only where the value is kept exactly,
 * and says apart from the value why nothing was read. Use them rather than
 * the raw-bit getters (varray_<kind>, vdict_<kind>_default) on anything the
 * program did not store itself.
 *
 * What converts: any integer kind to an integer type that holds its value;
 * an integer to float or double when that type holds it exactly; a float or
 * double to an integer type when it is integral and in range; a float to
 * double; a double to float when the float holds the same number (NaN and
 * the infinities included). A bool only from a bool, a raw pointer only
 * from vtype_ptr, a text only from a string, bytes only from a byte buffer.
 *
 * Every function writes its out parameters only when it returns
 * PZ_GET_OK, so a default put there first stays when the read fails; a
 * null out parameter is allowed. They allocate nothing and take no
 * reference.
 * @{ */

/** Why a checked read gave no value. */
typedef enum pz_get_status_e {
    PZ_GET_OK = 0,       /**< read, and written to the out parameter */
    PZ_GET_ABSENT,       /**< nothing there: a null value pointer, an empty array slot, an index
                              at or past the end, a missing key, a container of another kind,
                              or a value of kind null (as JSON's null stands for a field left out) */
    PZ_GET_WRONG_KIND,   /**< a value of a kind that does not convert to the asked type */
    PZ_GET_OUT_OF_RANGE  /**< a number the asked type cannot hold exactly: too large or small,
                              a fraction for an integer type, NaN for an integer type */
} pz_get_status;

/** @name Checked reads of a value */
/** @{ */
/** Each pz_variant_get_<kind> reads `v` into `*out` under the rules above.
 * pz_variant_get_str gives the string's text (borrowed, valid while the
 * value lives and is not changed; "" for an empty string, never null) and
 * its length in bytes, NULs inside included; pz_variant_get_bytes gives the
 * buffer (borrowed; null for an empty one) and its length. */
PZ_API pz_get_status pz_variant_get_bool(const pz_variant_t *v, bool *out);
PZ_API pz_get_status pz_variant_get_int8(const pz_variant_t *v, int8_t *out);
PZ_API pz_get_status pz_variant_get_uint8(const pz_variant_t *v, uint8_t *out);
PZ_API pz_get_status pz_variant_get_int16(const pz_variant_t *v, int16_t *out);
PZ_API pz_get_status pz_variant_get_uint16(const pz_variant_t *v, uint16_t *out);
PZ_API pz_get_status pz_variant_get_int32(const pz_variant_t *v, int32_t *out);
PZ_API pz_get_status pz_variant_get_uint32(const pz_variant_t *v, uint32_t *out);
PZ_API pz_get_status pz_variant_get_int64(const pz_variant_t *v, int64_t *out);
PZ_API pz_get_status pz_variant_get_uint64(const pz_variant_t *v, uint64_t *out);
PZ_API pz_get_status pz_variant_get_float(const pz_variant_t *v, float *out);
PZ_API pz_get_status pz_variant_get_double(const pz_variant_t *v, double *out);
PZ_API pz_get_status pz_variant_get_ptr(const pz_variant_t *v, void **out);
PZ_API pz_get_status pz_variant_get_str(const pz_variant_t *v, const char **out, uint32_t *len);
PZ_API pz_get_status pz_variant_get_bytes(const pz_variant_t *v, const uint8_t **out, uint32_t *len);
/** @} */

/** @name Checked reads of an array element */
/** @{ */
/** Each varray_get_<kind> reads the element at `index` of the array `va`
 * as pz_variant_get_<kind> reads a value; PZ_GET_ABSENT when `va` is not an
 * array, `index` is at or past the end or the slot is empty. */
PZ_API pz_get_status varray_get_bool(const pz_variant_t *va, uint32_t index, bool *out);
PZ_API pz_get_status varray_get_int8(const pz_variant_t *va, uint32_t index, int8_t *out);
PZ_API pz_get_status varray_get_uint8(const pz_variant_t *va, uint32_t index, uint8_t *out);
PZ_API pz_get_status varray_get_int16(const pz_variant_t *va, uint32_t index, int16_t *out);
PZ_API pz_get_status varray_get_uint16(const pz_variant_t *va, uint32_t index, uint16_t *out);
PZ_API pz_get_status varray_get_int32(const pz_variant_t *va, uint32_t index, int32_t *out);
PZ_API pz_get_status varray_get_uint32(const pz_variant_t *va, uint32_t index, uint32_t *out);
PZ_API pz_get_status varray_get_int64(const pz_variant_t *va, uint32_t index, int64_t *out);
PZ_API pz_get_status varray_get_uint64(const pz_variant_t *va, uint32_t index, uint64_t *out);
PZ_API pz_get_status varray_get_float(const pz_variant_t *va, uint32_t index, float *out);
PZ_API pz_get_status varray_get_double(const pz_variant_t *va, uint32_t index, double *out);
PZ_API pz_get_status varray_get_ptr(const pz_variant_t *va, uint32_t index, void **out);
PZ_API pz_get_status varray_get_str(const pz_variant_t *va, uint32_t index, const char **out, uint32_t *len);
PZ_API pz_get_status varray_get_bytes(const pz_variant_t *va, uint32_t index, const uint8_t **out,
                                      uint32_t *len);
/** @} */

/** @name Checked reads of a dictionary entry */
/** @{ */
/** Each vdict_get_<kind> reads the value under `key` of the dictionary
 * `dict` as pz_variant_get_<kind> reads a value; PZ_GET_ABSENT when `dict`
 * is not a dictionary, `key` is null or empty or has no entry. */
PZ_API pz_get_status vdict_get_bool(const pz_variant_t *dict, const char *key, bool *out);
PZ_API pz_get_status vdict_get_int8(const pz_variant_t *dict, const char *key, int8_t *out);
PZ_API pz_get_status vdict_get_uint8(const pz_variant_t *dict, const char *key, uint8_t *out);
PZ_API pz_get_status vdict_get_int16(const pz_variant_t *dict, const char *key, int16_t *out);
PZ_API pz_get_status vdict_get_uint16(const pz_variant_t *dict, const char *key, uint16_t *out);
PZ_API pz_get_status vdict_get_int32(const pz_variant_t *dict, const char *key, int32_t *out);
PZ_API pz_get_status vdict_get_uint32(const pz_variant_t *dict, const char *key, uint32_t *out);
PZ_API pz_get_status vdict_get_int64(const pz_variant_t *dict, const char *key, int64_t *out);
PZ_API pz_get_status vdict_get_uint64(const pz_variant_t *dict, const char *key, uint64_t *out);
PZ_API pz_get_status vdict_get_float(const pz_variant_t *dict, const char *key, float *out);
PZ_API pz_get_status vdict_get_double(const pz_variant_t *dict, const char *key, double *out);
PZ_API pz_get_status vdict_get_ptr(const pz_variant_t *dict, const char *key, void **out);
PZ_API pz_get_status vdict_get_str(const pz_variant_t *dict, const char *key, const char **out, uint32_t *len);
PZ_API pz_get_status vdict_get_bytes(const pz_variant_t *dict, const char *key, const uint8_t **out,
                                     uint32_t *len);
/** @} */

/** @} */

/* ---------------------------------------------------------------------- */
/* Paths                                                                   */
/* ---------------------------------------------------------------------- */

/** @defgroup pz_paths Paths
 * Values named by a JSON Pointer (RFC 6901): "" is the root itself,
 * "/server/tls/port" a key in each dictionary on the way, "/hosts/0" an
 * array element (decimal, no leading zero), "~1" a "/" inside a key and
 * "~0" a "~". A checked read through a path is pz_variant_path_find
 * followed by a checked read of its result:
 * `pz_variant_get_uint16(pz_variant_path_find(cfg, "/server/port"), &port)`.
 * @{ */

/** The value `pointer` names inside `root`, borrowed: no reference is
 * taken, so it stays valid while `root` holds it unchanged (take one with
 * pz_variant_ref to keep it longer). Null when nothing is there (a missing
 * key, an index past the end or "-", an empty slot, a step into a value
 * that is not a container), when `root` or `pointer` is null, when
 * `pointer` is malformed (it is not "" and does not start with "/", or a
 * "~" is followed by neither "0" nor "1"), or when a pointer longer than
 * 256 bytes cannot get the memory to decode it (shorter ones allocate
 * nothing). As strchr does, it takes a const root and returns what it
 * finds without const: a caller that may change `root` may change it. */
PZ_API pz_variant_t *pz_variant_path_find(const pz_variant_t *root, const char *pointer);

/** Stores `value` where `pointer` names inside `root`; the container takes
 * its own reference and the caller keeps its own. A missing key, at any
 * step, gets a new dictionary (or, at the last step, the value); an array
 * step must name an existing element, except the last one, which replaces
 * the element at an index before the end and appends at the index equal to
 * the size or at "-". All or nothing: on any status but PZ_PATH_OK, `root`
 * is as it was (the dictionaries on the way are made apart and attached in
 * one step). */
PZ_API pz_path_status pz_variant_path_set(pz_variant_t *root, const char *pointer, pz_variant_t *value);

/** @} */

/* ---------------------------------------------------------------------- */
/* Format-driven building and reading                                      */
/* ---------------------------------------------------------------------- */

/** @defgroup pz_format Format-driven building and reading
 * Appending, packing and unpacking by a string of type letters.
 *
 * A format is a string of type letters, one element per byte, no byte
 * skipped. Appending reads each letter's arguments at their promoted widths
 * (an int for b o y n q, a double for f, int32/uint32 for i u, int64/uint64
 * for x t, const char* for c, void* for *) and makes one element of the
 * letter's kind; "a" reads a void* and a pz_dtor_pt (an owned pointer), "s" a
 * void* and a pz_ref_pt and a pz_unref_pt (a shared pointer, `ref` called
 * once). Every other byte ("m", "[", "{" included) reads nothing and appends
 * an empty slot, as does a letter whose element cannot be made (its
 * arguments are read all the same). So letter n always matches the n-th
 * element the call appended.
 * @{ */

/** Appends one element per letter of `fmt` to the array `va`, made from the
 * arguments that follow. Nothing happens (and nothing is read) when `va` is
 * not an array with storage or `fmt` is null or empty. When the array cannot
 * grow by the whole format, nothing is appended: the arguments are read and
 * what they made is released (an owned object destroyed, a shared one
 * given back). */
PZ_API void pz_variant_array_append_vals(pz_variant_t *va, const char *fmt, ...);

/** As pz_variant_array_append_vals, with the format as the first argument
 * of `args`. Reads from a copy of `args`; the caller still ends its list. */
PZ_API void pz_variant_array_append_args(pz_variant_t *va, va_list args);

/** As pz_variant_array_append_vals, with the values in `args` (started by the
 * caller, positioned at the first value). Reads from a copy of `args`. */
PZ_API void pz_variant_array_append_vals_internal(pz_variant_t *va, const char *fmt,
                                                  va_list args);

/** A new array holding one element per letter of `fmt`, made from the
 * arguments that follow as pz_variant_array_append_vals makes them. Null
 * for a null or empty format or when out of memory. */
PZ_API pz_variant_t *pz_variant_pack(const char *fmt, ...);

/** As pz_variant_pack, with the format as the first argument of `args`.
 * Reads from a copy of `args`; the caller still ends its list. */
PZ_API pz_variant_t *pz_variant_pack_arg(va_list args);

/** Copies element n of the array `v` to the n-th pointer argument, for each
 * letter n of `fmt`, at the letter's width and without looking at the
 * element's kind: bool* b, int8_t* o, uint8_t* y, int16_t* n, uint16_t* q,
 * int32_t* i, uint32_t* u, int64_t* x, uint64_t* t, float* f, double* d,
 * const char** c (the element's own text), void** for *, a and s. Other
 * letters take no pointer and skip their element. At an empty slot a
 * letter takes its pointer and writes nothing there. Returns the number of
 * letters, or 0 when `v` is not an array, `fmt` is null or empty, or the
 * array is shorter than `fmt` (the letters before the first missing element
 * have been written). Takes no reference: the pointers written stay valid
 * while the elements live. */
PZ_API int32_t pz_variant_unpack(const pz_variant_t *v, const char *fmt, ...);

/** @} */

/* ---------------------------------------------------------------------- */
/* Copy and merge                                                          */
/* ---------------------------------------------------------------------- */

/** @defgroup pz_copy Copy and merge
 * Deep copies, pz_variant_concat (arrays append, dictionaries take entries
 * one level deep) and pz_variant_merge_patch (dictionaries merge at every
 * level, anything else replaces).
 * @{ */

/** A deep copy of `v`: exactly pz_variant_concat(NULL, v). It is made
 * whole or not at all: null when out of memory at any point of it. */
PZ_API pz_variant_t *pz_variant_dup(pz_variant_t *v);

/** Copies `other` deeply into `v` and returns the value that now holds the
 * copy. Scalars, strings, byte buffers and pointers replace what `v` held;
 * an array's elements are appended to `v` as copies (a `v` of another kind
 * becomes an array first), a dictionary's entries merged into `v` as copies,
 * replacing `v`'s values under the same keys: one level only, a nested
 * dictionary is replaced whole (pz_variant_merge_patch merges it). Texts and buffers get their
 * own copies; owned pointers are shared, never copied; shared pointers are
 * shared through their `ref` callback. Empty array slots are left out of a
 * copy, and a raw pointer's length is not copied.
 *
 * With a null `v` the result is a new value (an owned pointer: `other`
 * itself with one more reference), or null when out of memory. With a
 * non-null `v` the result is `v` (no reference added), also when memory
 * runs out part way (`v` then keeps the elements and entries copied before,
 * each one whole, and lacks the rest; a text or buffer replacing what `v`
 * held leaves it empty), except: null, with
 * `v` untouched, for an owned-pointer `other`; and for a shared-pointer
 * `other` into a `v` of another kind, the caller's reference to `v` is
 * consumed and a new record returned (null when out of memory).
 *
 * Null when `other` is null, nests deeper than PZ_VARIANT_MAX_DEPTH or
 * contains itself; `v` is then untouched. `v` may be `other` or live inside
 * it. `other` is never changed. */
PZ_API pz_variant_t *pz_variant_concat(pz_variant_t *v, pz_variant_t *other);

/** Merges `patch` into `target` recursively, in the manner of a JSON merge
 * patch, and returns true; unlike pz_variant_concat, nested dictionaries are
 * merged rather than replaced, and arrays are replaced rather than appended
 * to. When `patch` is a dictionary, `target` becomes a dictionary (a
 * `target` of another kind is emptied first) and, for each entry of `patch`
 * in order, seeing what the entries before it changed (also through a
 * dictionary that `target` holds in two places):
 * a null value (kind vtype_null, or an empty entry) removes the key from
 * `target`; a dictionary merged into a dictionary already under the key is
 * merged the same way, keeping that dictionary's record; any other value
 * replaces the key's value with a copy (a dictionary copied so has its
 * nulls left out). Keys of `target` that `patch` lacks keep their values;
 * new keys follow the old ones. When `patch` is not a dictionary, `target`
 * is replaced by a copy of it, keeping its address and count. The work is
 * in proportion to the patch, not to the target.
 *
 * All or nothing: false, with `target` as it was, when either is null, when
 * `patch` nests deeper than PZ_VARIANT_MAX_DEPTH or contains itself, when
 * `patch` is an owned or shared pointer (it cannot replace a record in
 * place), or when out of memory. `patch` may be `target` or live inside it;
 * it is only read. Copies follow pz_variant_dup: owned pointers are shared,
 * shared pointers shared through `ref`. */
PZ_API bool pz_variant_merge_patch(pz_variant_t *target, pz_variant_t *patch);

/** @} */

/* ---------------------------------------------------------------------- */
/* Typed dump                                                              */
/* ---------------------------------------------------------------------- */

/** @defgroup pz_dump Typed dump
 * The one-line JSON text that records every value's kind, and reading it
 * back to an equal value.
 * @{ */

/* One line of JSON that records each value's kind beside it: every value is
 * an object with one member named after its kind, {"int8":-1},
 * {"array":[{"bool":true},{}]}, {"dict":{"key":{"string":"x"}}}. An empty
 * array slot is written {}. Integers of every width are written and read
 * exactly; doubles and floats as the shortest text that reads back to the
 * same bits (a float as the double it widens to, so it too reads back
 * exactly). JSON cannot spell NaN or the infinities: infinities are written
 * 1e999 and -1e999 and read back as such; NaN is written null, and its
 * element or member is left out when read. Pointer kinds are written as
 * their address text and not read back. The value is only read. */

/** The dump of `v` as a new HAL_Malloc block that the caller frees with
 * HAL_Free. Null for a null `v`, a value nested deeper than
 * PZ_VARIANT_MAX_DEPTH or containing itself, or when out of memory. */
PZ_API char *pz_variant_dump(const pz_variant_t *v);

/** Writes the dump of `v` and its terminating NUL into `buf` (`max_len`
 * bytes) and returns its length. -1 for a null `v`. -2 when the dump cannot
 * be made or does not fit: then "not enough buffer", cut to max_len - 1
 * characters and terminated, is written instead (nothing when `max_len` is
 * 0). A null `buf` writes nothing and returns the length, so that a caller
 * can learn the size to pass (length + 1). */
PZ_API int32_t pz_variant_dump_buf(const pz_variant_t *v, char *buf, uint32_t max_len);

/** A new value (count 1) rebuilt from a dump text, with its kinds and
 * widths. Integers are kept in their kind's width (the low bits); a text of
 * the wrong kind, an unknown name or unreadable hex gives null for that
 * value, and inside an array or dictionary it is left out. Duplicate keys:
 * the last wins. Null for a null text, one that is not JSON, or one that
 * describes no readable value. pz_variant_from_dump_strict
 * (pz_dump_strict.h) refuses, with place and reason, what this leaves out
 * or wraps. */
PZ_API pz_variant_t *pz_variant_from_dump(const char *dump);

/** As pz_variant_from_dump, and when `error` is not null it receives why
 * and where the text was refused (offset and reason "" when it was read).
 * A text that is not JSON is refused at its first fault with the reasons
 * of pz_variant_from_json_n ("unexpected end of text", "expected a value",
 * "invalid escape", "trailing comma", ...; "not valid JSON" for a text that
 * cJSON refuses all the same); a dump that is JSON but describes no
 * readable value with "not a typed object", "unknown kind", "value does not
 * match its kind", "a pointer is not read back", "bytes not in hex digits",
 * "nested too deep" or "out of memory"; a null text with "no text". */
PZ_API pz_variant_t *pz_variant_from_dump_ex(const char *text, pz_read_error_t *error);

/** @} */

/* ---------------------------------------------------------------------- */
/* Plain JSON                                                              */
/* ---------------------------------------------------------------------- */

/** @defgroup pz_json Plain JSON
 * Reading and writing ordinary JSON, with kinds by one stated rule.
 * @{ */

/* Plain JSON reads into kinds by one rule: true and false are bool, null is
 * the null kind, a number written as an integer (no fraction, no exponent)
 * is int64 when it fits, else uint64 when it fits, else double; any other
 * number is double (1e999 is infinite); a string is a string (every byte
 * kept, \u0000 included); an array is an array; an object is a dictionary
 * in the text's order, a later duplicate key winning (its value takes the
 * first one's place). Integers are exact over both 64-bit ranges. The text must be exactly one JSON value with
 * only whitespace around it (a UTF-8 byte order mark at its start is
 * skipped); numbers such as 01, 1. or -.5, control characters outside the
 * four whitespace characters and raw control characters in strings are
 * refused, as are a key that is empty or holds a NUL byte (a dictionary
 * cannot store it), a nesting deeper than PZ_VARIANT_MAX_DEPTH, and a string
 * that is not valid UTF-8 (an overlong form, an encoded surrogate, a stray
 * or missing continuation byte, a byte such as 0xFF): such a text is
 * refused with "invalid UTF-8" at the first byte at fault, so that every
 * string read is text that any other reader and writer of JSON accepts.
 * The reading flags of pz_json_options.h loosen this for comments, trailing
 * commas and NaN/Infinity, or refuse duplicate keys and numbers past the
 * doubles.
 *
 * Where other readers of JSON may differ by design: an integer beyond int64
 * reads as uint64 (up to 18446744073709551615) or, beyond that or below
 * INT64_MIN, as the nearest double, never as an error or a saturated
 * integer; "-0" is the int64 0; \u0000 is kept in a string but refused in a
 * key, as is an empty key; a raw NUL byte is refused wherever it stands;
 * a byte order mark at the start is skipped; a later duplicate key
 * replaces the earlier value in its place.
 *
 * Written, every kind maps back: bool, null, strings and containers as
 * themselves (an empty array slot as null); integers of every width exactly;
 * doubles and floats in the shortest text that reads back to the same bits,
 * with ".0" added to an integral one so that it reads back as a double; NaN
 * as null and the infinities as 1e999 and -1e999, as the dump writes them;
 * bytes as a string of lowercase hex digits, two a byte; the raw, owned and
 * shared pointer kinds as null, or refused with PZ_JSON_REFUSE_POINTERS. */

/** A new value (count 1) read from the plain JSON `text` (NUL-terminated)
 * by the rule above; as pz_variant_from_json_n over strlen(text) bytes. */
PZ_API pz_variant_t *pz_variant_from_json(const char *text, pz_read_error_t *error);

/** A new value (count 1) read from the `len` bytes of plain JSON at `text`
 * by the rule above; no terminator is needed, and a NUL byte among them is
 * refused where it stands. Null when the text cannot be read, with `error`
 * (when not null) filled at the byte where reading stopped: the code, the
 * reason, the offset, the line and the column ("", 0 and PZ_READ_OK when
 * the text was read). The reasons: "no text" (a null `text`), "no value",
 * "unexpected end of text" (at the end, whatever it cut short: a
 * container, a string, an escape, a UTF-8 character, a number, a literal),
 * "text after the value", "expected a value", "expected a key", "expected
 * ':'", "expected ',' or ']'", "expected ',' or '}'", "invalid literal",
 * "trailing comma" (at the comma), "malformed number", "leading zero",
 * "unterminated string" (at the raw line break that leaves it open),
 * "invalid escape" (such as `\q`), "malformed escape" (`\u` without four
 * hex digits), "lone surrogate", "control character in a string", "control
 * character outside a string", "NUL byte in the text", "invalid UTF-8",
 * "an empty key", "a key holds a NUL byte", "nested too deep", "string too
 * long" and "out of memory". The reader keeps no state between calls and
 * takes no lock: any number of threads may read at once. */
PZ_API pz_variant_t *pz_variant_from_json_n(const char *text, size_t len, pz_read_error_t *error);

/** A new value (count 1) read from the front of the `len` bytes of plain
 * JSON at `text`, by the rule above, for texts that hold values one after
 * the other: concatenated JSON (`{"a":1}{"a":2}`, `1 2`), NDJSON and JSON
 * Lines (a value a line), and JSON text sequences (RFC 7464: a record
 * separator byte, 0x1E, before each value).
 *
 * Before the value a UTF-8 byte order mark, whitespace (space, tab, CR,
 * LF) and record separators are passed over; after it, whitespace only.
 * `*used` (when `used` is not null) receives the bytes taken: those
 * separators, the value and the whitespace after it, so that the next value
 * or record separator starts at `text + *used`, and `*used == len` when
 * nothing else follows. Values whose last byte closes them need nothing
 * between them (`[1][2]`, `"a""b"`); a number needs whitespace or another
 * value's opening byte after it (`1 2`; `12` is one number).
 *
 * Null when no value can be read from the front, with `error` filled as
 * pz_variant_from_json_n fills it (offset, line and column counted from
 * `text`) and `*used` the separators before where the value starts (all
 * `len` bytes when there is nothing else). Two refusals matter to a caller
 * reading a stream:
 * - PZ_READ_NO_VALUE: nothing but separators, or nothing at all;
 * - PZ_READ_UNEXPECTED_END, always with offset == len: the text ends inside
 *   the value (a container, a string, an escape, a UTF-8 character, a
 *   literal such as "tr", a number such as "1e"), so that more bytes may
 *   complete it.
 * A number that runs to the very end is read as it stands: in a stream,
 * "12" at the end of what has come so far may be the start of "123", which
 * only the caller can know (whitespace after it, or the end of the stream,
 * says it is whole). Any other fault is where it stands, as for a whole
 * text. Keeps no state between calls, as pz_variant_from_json_n. */
PZ_API pz_variant_t *pz_variant_from_json_prefix(const char *text, size_t len, size_t *used, pz_read_error_t *error);

/** The plain JSON text of `v` as a new HAL_Malloc block that the caller
 * frees with HAL_Free; compact (one line, no spaces) unless `flags` holds
 * PZ_JSON_INDENT. Null for a null `v`, a value nested deeper than
 * PZ_VARIANT_MAX_DEPTH or containing itself, a pointer kind with
 * PZ_JSON_REFUSE_POINTERS, a string that is not UTF-8 (as the flags say),
 * or when out of memory. The value is only read. */
PZ_API char *pz_variant_to_json(const pz_variant_t *v, unsigned flags);

/** Writes the plain JSON text of `v` (as pz_variant_to_json) into the
 * caller's `buf` of `size` bytes, allocating nothing, and returns the
 * text's full length, terminator not counted. The text and its terminator
 * are in `buf` when that length is below `size`; otherwise `buf` holds as
 * much as fits, terminated, and the caller retries with length + 1 bytes
 * (a null `buf` or a `size` of 0 asks for the length alone). 0, with `buf`
 * emptied, when the value cannot be written (the text of a value is never
 * empty). */
PZ_API size_t pz_variant_to_json_buf(const pz_variant_t *v, char *buf, size_t size, unsigned flags);

/** Hands the plain JSON text of `v` (as pz_variant_to_json, no terminator)
 * to `fn` in chunks of a few KB, with `data`. True when all of it was
 * handed on; false for a null `v` or `fn`, a value that cannot be written
 * or when `fn` stopped the writer. The value is refused as it is walked, so
 * `fn` may have had part of the text by then. */
PZ_API bool pz_variant_to_json_callback(const pz_variant_t *v, pz_write_callback_t fn, void *data, unsigned flags);

/** @} */

/* ---------------------------------------------------------------------- */
/* MessagePack                                                             */
/* ---------------------------------------------------------------------- */

/** @defgroup pz_msgpack MessagePack
 * An exact, compact binary form of every value but the pointers, that any
 * language's MessagePack reader takes: the form to use where the typed
 * dump's limits matter (NaN, size, speed).
 * @{ */

/* Written, each kind has its own format, so that it reads back as itself:
 *
 *   kind            MessagePack                 read back as
 *   null            nil (0xc0)                  null (an empty slot in an array)
 *   empty slot      nil (0xc0)                  an empty slot
 *   bool            false/true (0xc2/0xc3)      bool
 *   int8..int64     int 8/16/32/64 (0xd0-0xd3)  int8..int64
 *   uint8..uint64   uint 8/16/32/64 (0xcc-0xcf) uint8..uint64
 *   float           float 32 (0xca)             float, bit for bit (NaN too)
 *   double          float 64 (0xcb)             double, bit for bit (NaN too)
 *   string          str (fixstr, str 8/16/32)   string, every byte (NUL too)
 *   bytes           bin 8/16/32                 bytes
 *   array           array (fix, 16, 32)         array, in order
 *   dict            map (fix, 16, 32)           dict, in insertion order
 *   raw/owned/shared pointer: refused, or nil with PZ_MSGPACK_POINTERS_AS_NIL
 *
 * Big-endian on every platform, as MessagePack says. An int16 holding 5 is
 * d1 00 05. Lengths take the shortest header. The one loss: a null value
 * inside an array reads back as an empty slot (MessagePack has one nil).
 *
 * With PZ_MSGPACK_SMALLEST integers take the fewest bytes instead, as other
 * writers do; they then read back by the rule below (5 as an int64).
 *
 * What other writers make reads by one rule: a positive or negative fixint
 * is an int64 (as a JSON integer is); the sized formats give the kinds of
 * the table; nil is null; a map's keys must be non-empty str without a NUL
 * byte; a later duplicate key wins. ext values (timestamps included) are
 * refused, as is the never-used byte 0xc1. A str is kept as its bytes,
 * valid UTF-8 or not. An input never costs more than in proportion to its
 * length: a header that announces more elements or bytes than the input
 * holds is refused before anything is allocated for it. Nesting is bounded
 * by PZ_VARIANT_MAX_DEPTH, as for the text readers. */

/** Flags of the MessagePack writers: PZ_MSGPACK_POINTERS_AS_NIL writes the
 * pointer kinds as nil instead of refusing the value; PZ_MSGPACK_SMALLEST
 * writes every integer in the fewest bytes (see the table above). */
enum { PZ_MSGPACK_POINTERS_AS_NIL = 1, PZ_MSGPACK_SMALLEST = 2 };

/** The MessagePack of `v` as a new HAL_Malloc block that the caller frees
 * with HAL_Free, its length in `*len` (when `len` is not null). Null for a
 * null `v`, a value nested deeper than PZ_VARIANT_MAX_DEPTH or containing
 * itself, a pointer kind without PZ_MSGPACK_POINTERS_AS_NIL, or when out of
 * memory. The value is only read. */
PZ_API uint8_t *pz_variant_to_msgpack(const pz_variant_t *v, unsigned flags, size_t *len);

/** Writes the MessagePack of `v` into `buf` (`capacity` bytes) and returns
 * its size. A size past `capacity` means that it did not fit: nothing past
 * `capacity` was written, and what the buffer holds is no encoding. A null `buf` (with `capacity` 0)
 * writes nothing and allocates nothing, so a caller learns the size to
 * pass. 0 when `v` cannot be written (as for pz_variant_to_msgpack; an
 * encoding is never empty). */
PZ_API size_t pz_variant_to_msgpack_buf(const pz_variant_t *v, unsigned flags, uint8_t *buf, size_t capacity);

/** A new value (count 1) read from exactly one MessagePack value in the
 * `len` bytes at `data`, by the rule above; null when it cannot be read,
 * with the code, reason and offset in `error` when that is not null (the
 * offset of the first byte of the value refused; line and column are 0).
 * Reasons: "no input", "no value", "unexpected end of input" (at offset
 * `len`, also when a header announces more than is left), "bytes after the
 * value", "the never-used byte 0xc1", "an ext value is not read", "a key
 * that is not a string", "an empty key", "a key holds a NUL byte", "nested
 * too deep", "string too long" (a str of 4 GiB), "bytes too long" and "more
 * elements than memory can hold" (a header announcing more than the address
 * space holds, on 32-bit targets), and "out of memory". */
PZ_API pz_variant_t *pz_variant_from_msgpack(const void *data, size_t len, pz_read_error_t *error);

/** A new value (count 1) read from the MessagePack value at the front of
 * the `len` bytes at `data`, by the rule above, for inputs that hold values
 * back to back (a stream of messages). `*used` (when `used` is not null)
 * receives the bytes of that one value, so that the next starts at
 * `data + *used`; nothing stands between two values. Null when the front
 * holds no readable value, with `error` filled as pz_variant_from_msgpack
 * fills it and `*used` 0. Three refusals matter to a caller reading a
 * stream:
 * - PZ_READ_NO_VALUE: `len` is 0;
 * - PZ_READ_UNEXPECTED_END, always with offset == len: the input ends inside
 *   the value, so that more bytes may complete it (a header that announces
 *   more elements or bytes than are left says so at once, before anything
 *   is allocated for them);
 * - PZ_READ_TOO_LARGE: a header announces what no value can hold, however
 *   many bytes follow ("string too long" for a str of 4 GiB - 1 bytes, or
 *   more than the address space holds).
 * Keeps no state between calls and takes no lock. */
PZ_API pz_variant_t *pz_variant_from_msgpack_prefix(const void *data, size_t len, size_t *used,
                                                    pz_read_error_t *error);

/** @} */

#ifndef PZ_NO_STDIO
/* ---------------------------------------------------------------------- */
/* Files and streams                                                       */
/* ---------------------------------------------------------------------- */

/** @defgroup pz_files Files and streams
 * Reading and writing either text format to a path or a FILE *.
 * @{ */

/** Reads the whole file at `path` (through HAL memory) in `format` as
 * pz_variant_from_dump_ex or pz_variant_from_json read a text. Null when it
 * cannot be read, with the reason and offset in `error` when that is not
 * null: those of the readers, or "cannot open file", "cannot read file",
 * "NUL byte in the text" (at its offset), "unknown format", "out of
 * memory". */
PZ_API pz_variant_t *pz_variant_read_file(const char *path, pz_text_format format, pz_read_error_t *error);

/** As pz_variant_read_file, reading `stream` from where it stands to its
 * end; the stream stays open. */
PZ_API pz_variant_t *pz_variant_read_stream(FILE *stream, pz_text_format format, pz_read_error_t *error);

/** Writes `v` in `format` and a newline to the file at `path`, replacing
 * it; `flags` are those of pz_variant_to_json and apply to PZ_TEXT_JSON
 * only. False when `v` or `path` is null, the text cannot be made (the file
 * is then left as it was), or the file cannot be written. */
PZ_API bool pz_variant_write_file(const pz_variant_t *v, const char *path, pz_text_format format, unsigned flags);

/** As pz_variant_write_file, writing to `stream` where it stands; the
 * stream stays open and is not flushed. Plain JSON goes to the stream as it
 * is written, so a value refused part way leaves part of its text there. */
PZ_API bool pz_variant_write_stream(const pz_variant_t *v, FILE *stream, pz_text_format format, unsigned flags);
/** @} */

/** @defgroup pz_msgpack_files MessagePack files and streams
 * The MessagePack form of a value to a path or a FILE *, and back.
 * @{ */

/** Writes the MessagePack of `v` (flags as for pz_variant_to_msgpack) to
 * the file at `path`, replacing it. False when `v` or `path` is null, the
 * value cannot be written (the file is then left as it was), or the file
 * cannot be written. */
PZ_API bool pz_variant_write_msgpack_file(const pz_variant_t *v, const char *path, unsigned flags);

/** As pz_variant_write_msgpack_file, writing to `stream` where it stands;
 * the stream stays open and is not flushed. A value refused part way may
 * leave some of its bytes written. */
PZ_API bool pz_variant_write_msgpack_stream(const pz_variant_t *v, FILE *stream, unsigned flags);

/** Reads the whole file at `path` as one MessagePack value, as
 * pz_variant_from_msgpack reads bytes; its reasons, and "cannot open file",
 * "cannot read file". */
PZ_API pz_variant_t *pz_variant_read_msgpack_file(const char *path, pz_read_error_t *error);

/** As pz_variant_read_msgpack_file, reading `stream` from where it stands
 * to its end; the stream stays open. */
PZ_API pz_variant_t *pz_variant_read_msgpack_stream(FILE *stream, pz_read_error_t *error);
/** @} */
#endif /* PZ_NO_STDIO */

#ifdef __cplusplus
}
#endif

/* Features in headers of their own, each over pz_types.h and never over
 * this header. */
#include "pz_status.h"
#include "pz_hash.h"
#include "pz_dump_n.h"
#include "pz_buffers.h"
#include "pz_patch.h"
#include "pz_json_options.h"
#include "pz_dump_strict.h"
#include "pz_events.h"
#include "pz_build.h"
#include "pz_stream.h"

#endif /* PZ_VARIANT_H */
