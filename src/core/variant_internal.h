// Private to the library: the larger records of the pointer kinds, the
// block layouts, raw access to the value union, and the container helpers
// shared by the source files.
#ifndef PZ_VARIANT_INTERNAL_H
#define PZ_VARIANT_INTERNAL_H

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "base/pz_array.h"
#include "base/pz_hash_table.h"
#include "base/pz_memory.h"
#include "pzvariant/pz_string.h"
#include "pzvariant/pz_variant.h"

// The owned-pointer record: the value record, then the destructor.
struct v_autoptr_s {
    pz_variant_t base;
    pz_dtor_pt dtor;
};

// The shared-pointer record: the value record, then the two callbacks.
typedef struct v_sharedptr_s {
    pz_variant_t base;
    pz_ref_pt ref;
    pz_unref_pt unref;
} v_sharedptr_t;

namespace pz {

// Which record a block was allocated with, kept in pz_variant_t::layout so
// that a setter never writes callbacks past the end of a plain record, and
// that releasing a string never frees a text that lives in the record's
// block (right after the record) rather than in a block of its own.
enum record_layout : uint8_t {
    layout_plain = 0,
    layout_autoptr = 1,
    layout_sharedptr = 2,
    layout_text = 3,
};

// Whether `v`'s block has room for an owned pointer's destructor.
inline bool has_dtor_room(const pz_variant_t *v) {
    return v->layout == layout_autoptr || v->layout == layout_sharedptr;
}

// A value is one block: the count, then the record. The union holds every
// kind in its first 8 bytes; containers store element pointers.
static_assert(offsetof(pz_variant_t, vt) == sizeof(uint64_t), "the union is its 8-byte members");
// The record after the count header is aligned for its widest members on
// every ABI (a long may be narrower than an int64_t's or a double's alignment).
static_assert(PZ_REF_HEADER % alignof(pz_variant_t) == 0 &&
                  PZ_REF_HEADER % alignof(v_autoptr_s) == 0 &&
                  PZ_REF_HEADER % alignof(v_sharedptr_t) == 0 &&
                  PZ_REF_HEADER % alignof(pz_string_t) == 0,
              "counted records start aligned after their header");
static_assert(PZ_REF_HEADER >= sizeof(long), "the header holds the count");
inline constexpr unsigned long kElementSize = sizeof(pz_variant_t *);
inline constexpr unsigned long kArrayReserve = 8;
// The most slots that array_new_for puts in the record's block: an array that
// grows past them leaves them unused, so this bounds what that wastes.
inline constexpr size_t kEmbeddedSlots = 64;

// A new zero-filled counted record of kind `vt` in a block of `size` bytes;
// null when out of memory.
inline pz_variant_t *new_record(char vt, size_t size = sizeof(pz_variant_t),
                                record_layout layout = layout_plain) {
    auto *v = static_cast<pz_variant_t *>(pz_zalloc_ref(size));
    if (v != nullptr) {
        v->vt = vt;
        v->layout = layout;
    }
    return v;
}

// As new_record, but only the record is zero-filled: the caller fills the
// bytes that follow it in the block (an embedded text or array).
inline pz_variant_t *new_record_with_tail(char vt, size_t size, record_layout layout) {
    auto *v = static_cast<pz_variant_t *>(pz_alloc_ref(size));
    if (v != nullptr) {
        std::memset(static_cast<void *>(v), 0, sizeof(pz_variant_t));
        v->vt = vt;
        v->layout = layout;
    }
    return v;
}

// Reads and writes the union through its first sizeof(T) bytes, which is
// what every member occupies. A bool is read as "first byte non-zero" so
// that any byte pattern is a valid bool.
template <class T>
inline T load(const pz_variant_t *v) {
    if constexpr (std::is_same_v<T, bool>) {
        uint8_t byte;
        std::memcpy(&byte, v, 1);
        return byte != 0;
    } else {
        T value;
        std::memcpy(&value, v, sizeof value);
        return value;
    }
}

template <class T>
inline void store(pz_variant_t *v, T value) {
    std::memcpy(v, &value, sizeof value);
}

inline void reset_record(pz_variant_t *v) {
    v->uint64_val = 0;
    v->vt = vtype_null;
    v->len = 0;
}

// --- arrays ---------------------------------------------------------------

// The storage of an array value, or null for anything else.
inline pz_array_t *array_of(const pz_variant_t *v) {
    return v != nullptr && v->vt == vtype_array ? static_cast<pz_array_t *>(v->ptr_val) : nullptr;
}

inline pz_variant_t **array_slots(const pz_array_t *a) {
    return reinterpret_cast<pz_variant_t **>(a->data);
}

// The element at `index`, bounds-checked; null for an empty slot, an index
// out of range or a value that is not an array with storage.
inline pz_variant_t *array_at(const pz_variant_t *va, uint32_t index) {
    const pz_array_t *a = array_of(va);
    return a != nullptr && index < a->len ? array_slots(a)[index] : nullptr;
}

// Appends `value` (null: an empty slot) handing the caller's reference to
// the array instead of taking another; the reference is dropped when nothing
// can be appended. True when the slot was added.
bool array_append_moved(pz_variant_t *va, pz_variant_t *value);

// A new array value with storage for `count` elements (a small one in the
// record's block); null when out of memory.
pz_variant_t *array_new_for(size_t count);

// --- dictionaries -----------------------------------------------------------

// The table of a dictionary value, or null for anything else.
inline pz_hash_table_t *dict_of(const pz_variant_t *v) {
    return v != nullptr && v->vt == vtype_dict ? static_cast<pz_hash_table_t *>(v->ptr_val)
                                               : nullptr;
}

// The guard of the keyed dictionary operations.
inline bool dict_test(const pz_variant_t *dict, const char *key) {
    return dict_of(dict) != nullptr && !pz_cstr_empty(key);
}

// The value under `key`, borrowed (no reference taken); null when absent or
// when the dictionary test fails. The key is wrapped, not copied, so a
// lookup allocates nothing.
inline pz_variant_t *dict_find(const pz_variant_t *dict, const char *key) {
    if (!dict_test(dict, key)) return nullptr;
    const pz_string_t lookup = pz_string_borrow(key, std::strlen(key));
    return static_cast<pz_variant_t *>(pz_hash_table_find(dict_of(dict), &lookup));
}

// Puts `value` under `key` handing the caller's reference to the table
// instead of taking another; the reference is dropped when nothing can be
// stored (dictionary test failed, null value, out of memory). True when
// the entry was stored.
bool dict_put_moved(pz_variant_t *dict, const char *key, pz_variant_t *value);

// A new table made the one way every dictionary table is made: string keys
// released with pz_string_unref, values with pz_variant_unref. Null when out
// of memory.
pz_hash_table_t *dict_table_new();

// A new dictionary value whose table has room for `count` entries (when
// that room can be had); null when out of memory.
pz_variant_t *dict_new_for(size_t count);

// --- nesting ----------------------------------------------------------------

// True when `v` nests at most PZ_VARIANT_MAX_DEPTH deep (a scalar or empty
// slot is one level, each enclosing container one more) and no container
// contains itself: what walk_path lets a walk through. Recurses as deep.
bool nesting_within(const pz_variant_t *v);

// --- copies ---------------------------------------------------------------

class walk_path;

// A new deep copy of `other` made inside the containers open in `walk`
// (which it enters and leaves as it goes), whole or not at all: null, with
// the walk refused, when `other` nests too deep there, contains itself or
// memory runs out. Null, with the walk not refused, for a null `other`.
pz_variant_t *copy_within(pz_variant_t *other, walk_path &walk);

// --- moving contents ----------------------------------------------------------

// Gives `v`'s contents blocks of their own where they live in `v`'s block
// (a text after the record, a small array's slots, a table's header);
// false, with nothing changed, when out of memory. Once it succeeds,
// move_contents from `v` cannot fail.
bool own_contents(pz_variant_t *v);

// Moves `from`'s contents into the record `to` (whose own contents are
// released), leaving `from` the empty null value. What lives in `from`'s
// block (a text after the record, a small array's slots) is first copied to
// a block of its own, as that block goes with `from`; false, with neither
// record changed, when that copy cannot be made.
bool move_contents(pz_variant_t *to, pz_variant_t *from);

// --- release ------------------------------------------------------------------

// Runs `body` (which may drop many references) so that values whose last
// reference goes meanwhile are released after it, one at a time, instead of
// recursively: nesting depth never costs stack.
void release_scope_enter(bool *outermost);
void release_scope_leave(bool outermost);

template <class F>
inline void in_release_scope(F body) {
    bool outermost;
    release_scope_enter(&outermost);
    body();
    release_scope_leave(outermost);
}

}  // namespace pz

#endif  // PZ_VARIANT_INTERNAL_H
