/* Hash table from keys to values, walked in insertion order.
 *
 * A compact ordered design: a dense array of entries {hash, key, value} in
 * insertion order, and a sparse index of slots pointing into it (open
 * addressing). Insert, find and remove are O(1) on average; find and contains
 * never allocate. Removing an entry leaves a hole that the next resize
 * compacts, so the others keep their order. */
#ifndef PZ_HASH_TABLE_H
#define PZ_HASH_TABLE_H

#include "pzvariant/basictypes.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct pz_hash_table_s pz_hash_table_t;

/* A new empty table; null when out of memory. */
pz_hash_table_t *pz_hash_table_new(pz_equal_func_pt equal, pz_hash_func_pt hash);

/* Bytes a table takes when it lives in a block of the caller's. */
size_t pz_hash_table_footprint(void);

/* A new empty table laid out in `block` (pz_hash_table_footprint() bytes,
 * aligned for pointers), which stays the caller's: pz_hash_table_free
 * releases the entries and their storage but not the block. Null for a null
 * block or function. */
pz_hash_table_t *pz_hash_table_init_in(void *block, pz_equal_func_pt equal, pz_hash_func_pt hash);

/* A table in a block of its own holding what `table` held (entries,
 * functions, destructors), `table` left empty; null (nothing moved) when out
 * of memory. */
pz_hash_table_t *pz_hash_table_move_out(pz_hash_table_t *table);

/* Whether the table's struct lives in a block of its own (made by
 * pz_hash_table_new or pz_hash_table_move_out) rather than in its caller's;
 * false for a null table. */
bool pz_hash_table_in_own_block(const pz_hash_table_t *table);
/* Destructors called on each key and value that the table gives up (either
 * may be null). A null table is ignored. */
void pz_hash_table_set_dtor(pz_hash_table_t *table, pz_dtor_pt key_dtor, pz_dtor_pt value_dtor);

/* Stores `value` under `key`, taking both over in every case. An equal key
 * already present keeps its place and its stored key: the new value replaces
 * the old one, and the old value and the new key go to the destructors.
 * Returns false only when the table could not grow (key and value are then
 * released through the destructors) or is null. */
bool pz_hash_table_insert(pz_hash_table_t *table, void *key, void *value);

/* pz_hash_table_insert with the key's hash already known, as the table's hash
 * function gives it. */
bool pz_hash_table_insert_hashed(pz_hash_table_t *table, void *key, void *value, uint32_t hash);

/* Makes room for `count` more entries, so that inserting them never grows
 * the table; false when it cannot (the table is unchanged) or is null. */
bool pz_hash_table_reserve(pz_hash_table_t *table, uint32_t count);

/* Fills the empty `table` with the entries of `from`, in its order and with
 * its hashes, without hashing or probing: each entry's key and value go
 * through `copy` (which sets them to what the new table holds; a null key
 * leaves the entry out). Stops at the first entry for which `copy` returns
 * false. False when `table` is not empty, `from` has holes, or memory runs
 * out before any entry is copied: the table is then unchanged. */
bool pz_hash_table_copy_entries(pz_hash_table_t *table, const pz_hash_table_t *from,
                                bool (*copy)(void **key, void **value, void *user), void *user);

/* The value stored under `key`, or null; nothing is kept or allocated. */
void *pz_hash_table_find(const pz_hash_table_t *table, const void *key);

/* pz_hash_table_find with the key's hash already known, as the table's hash
 * function gives it (or as pz_hash_table_next reports it for an entry of
 * another table made with the same functions). */
void *pz_hash_table_find_hashed(const pz_hash_table_t *table, const void *key, uint32_t hash);

/* Replaces the value stored under `key` (whose hash is `hash`) with `value`
 * and releases the old one, keeping the stored key and its place; true when
 * there was such an entry. When there was none nothing is taken over or
 * released: the caller keeps `value`, and `key` is never kept. */
bool pz_hash_table_replace_hashed(pz_hash_table_t *table, const void *key, void *value, uint32_t hash);

/* The first entry at or after position `*pos` of the insertion order
 * (starting at 0), holes skipped: its key, value and hash are written to the
 * pointers that are not null and `*pos` moves past it. False when there is
 * none. A walk by positions may change values in place between steps;
 * adding or removing entries meanwhile may make it miss or repeat some, but
 * nothing is read out of bounds. Nothing is kept or allocated. */
bool pz_hash_table_next(const pz_hash_table_t *table, uint32_t *pos, void **key, void **value, uint32_t *hash);

/* True when an entry with an equal key exists. */
bool pz_hash_table_contains(const pz_hash_table_t *table, const void *key);

/* Removes the entry under `key`, releasing its key and value; true when there
 * was one. */
bool pz_hash_table_remove(pz_hash_table_t *table, const void *key);

/* Releases every entry; the table stays usable. */
void pz_hash_table_remove_all(pz_hash_table_t *table);

/* Calls `fn(key, value, user)` for each entry in insertion order until it
 * returns false. The callback may change the table; entries added or removed
 * meanwhile may then be missed or seen, but nothing is read out of bounds. */
void pz_hash_table_foreach(pz_hash_table_t *table, pz_key_value_pt fn, void *user);

/* Number of entries; 0 for a null table. */
unsigned int pz_hash_table_size(const pz_hash_table_t *table);

/* Releases every entry and frees the table; null is ignored. */
void pz_hash_table_free(pz_hash_table_t *table);

#ifdef __cplusplus
}
#endif

#endif /* PZ_HASH_TABLE_H */
