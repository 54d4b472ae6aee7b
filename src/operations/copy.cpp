// Deep copy and concat. The copy is guarded by a walk_path over `other`: it
// recurses one level per level of nesting, which the walk bounds, and a copy
// that cannot be made whole (nested too deep, containing itself, out of
// memory) refuses the walk, so that no part of it is handed out. Concat into
// a value checks the nesting first, since it changes that value as it goes.
#include "containers/arrays.h"
#include "core/pointers.h"
#include "operations/copy.h"
#include "operations/nesting.h"
#include "operations/walk.h"

using namespace pz;

namespace {

pz_variant_t *copy_into(pz_variant_t *v, pz_variant_t *other, walk_path &walk);

// A new value, or the walk refused for want of memory.
pz_variant_t *made(pz_variant_t *v, walk_path &walk) {
    if (v == nullptr) walk.refuse();
    return v;
}

// Appends copies of `other`'s elements to the array `v`. The count is taken
// once and each element read afresh, so an array appended to itself gets
// copies of its first n elements, once. Empty slots are left out.
void pz_variant_array_dup(pz_variant_t *v, const pz_variant_t *other, walk_path &walk) {
    const uint32_t n = pz_variant_array_size(other);
    if (array_of(v) == nullptr) return;
    // Room for all at once; if it cannot be had, each append tries again.
    v->ptr_val = pz_array_reserve(array_of(v), array_of(v)->len + n);
    for (uint32_t i = 0; i < n && !walk.refused(); ++i) {
        pz_variant_t *d = copy_into(nullptr, array_at(other, i), walk);
        if (d != nullptr && !array_append_moved(v, d)) walk.refuse();
    }
}

// One entry's copy: the value copied and the key shared, since keys are
// never changed once made. Sets the key to null (nothing entered) and
// returns false to stop when the value cannot be copied. Fills a new table
// in `other`'s order, with its hashes and index, so that no key is hashed
// and no slot probed.
bool copy_entry(void **key, void **value, void *user) {
    auto &walk = *static_cast<walk_path *>(user);
    *value = copy_into(nullptr, static_cast<pz_variant_t *>(*value), walk);
    *key = walk.refused() ? nullptr : pz_string_ref(static_cast<pz_string_t *>(*key));
    return *key != nullptr;
}

struct dict_walk {
    pz_variant_t *dup;
    walk_path &walk;
};

// Enters a copy of one entry into the dictionary `dup` by way of its table.
bool dict_dup_node(void *key, void *value, void *user) {
    auto *dw = static_cast<dict_walk *>(user);
    if (!copy_entry(&key, &value, &dw->walk)) return false;
    // Takes over both references, also when it fails.
    if (!pz_hash_table_insert(dict_of(dw->dup), key, value)) dw->walk.refuse();
    return !dw->walk.refused();
}

// Merges copies of `other`'s entries into the dictionary `v`, which is not
// `other` (a table must not grow while it is walked).
void pz_variant_dict_dup(pz_variant_t *v, pz_variant_t *other, walk_path &walk) {
    if (dict_of(v) == nullptr) return;  // no table to merge into
    // An empty target takes the entries as they stand, when it can.
    if (pz_hash_table_copy_entries(dict_of(v), dict_of(other), copy_entry, &walk)) return;
    // Growing once beats growing by steps; failing here costs nothing.
    pz_hash_table_reserve(dict_of(v), pz_hash_table_size(dict_of(other)));
    dict_walk dw{v, walk};
    pz_hash_table_foreach(dict_of(other), dict_dup_node, &dw);
}

// `v` turned into an empty container of kind `vt` (kept as it is when it
// already is one), or a new one sized for `other` when `v` is null.
pz_variant_t *container_target(pz_variant_t *v, pz_variant_type vt, const pz_variant_t *other) {
    if (v != nullptr) return pz_variant_change_type(v, vt);
    // A dictionary's table is sized as its entries are copied.
    return vt == vtype_array ? array_new_for(pz_variant_array_size(other)) : pz_variant_dict_new();
}

// A new container is handed out whole or not at all; a `v` copied into
// keeps what was copied before the walk was refused.
pz_variant_t *copy_container(pz_variant_t *v, pz_variant_t *other, walk_path &walk) {
    if (!walk.enter(other)) return nullptr;
    const auto vt = static_cast<pz_variant_type>(other->vt);
    pz_variant_t *target = made(container_target(v, vt, other), walk);
    if (target != nullptr && target->ptr_val == nullptr) walk.refuse();  // no storage could be had
    if (target != nullptr && vt == vtype_array) {
        pz_variant_array_dup(target, other, walk);
    } else if (target != nullptr) {
        pz_variant_dict_dup(target, other, walk);
    }
    walk.leave();
    if (v == nullptr && walk.refused()) {
        pz_variant_unref(target);
        return nullptr;
    }
    return target;
}

pz_variant_t *copy_sharedptr(pz_variant_t *v, const pz_variant_t *other) {
    const auto *rec = reinterpret_cast<const v_sharedptr_t *>(other);
    if (v == nullptr) return pz_variant_sharedptr_new(other->ptr_val, rec->ref, rec->unref);
    // A `v` of another kind is replaced by a record with room for the
    // callbacks, consuming the caller's reference.
    pz_variant_t *target = pz_variant_change_type(v, vtype_sharedptr);
    return pz_variant_sharedptr_set(target, other->ptr_val, rec->ref, rec->unref);
}

// The kinds that live in the union, and codes outside the enumeration.
pz_variant_t *copy_plain(pz_variant_t *v, const pz_variant_t *other) {
    if (v == nullptr) {
        v = new_record(other->vt);
    } else if (v->vt != other->vt) {
        // What pz_variant_change_type does for these kinds, without casting
        // a code that may lie outside the enumeration to pz_variant_type.
        pz_variant_clear(v);
        v->vt = other->vt;
    }
    if (v != nullptr) v->uint64_val = other->uint64_val;
    return v;
}

// A new copy of a value that is no container; null only when out of memory.
pz_variant_t *new_leaf(pz_variant_t *other) {
    switch (other->vt) {
        case vtype_string:
            return vstr_sized_new(other->str_val, other->len);  // all `len` bytes
        case vtype_bytes:
            return vstr_buf_new(static_cast<uint8_t *>(other->ptr_val), other->len);
        case vtype_autoptr:
            return pz_variant_ref(other);  // one owner only: a copy shares the record
        case vtype_sharedptr:
            return copy_sharedptr(nullptr, other);
        default:
            return copy_plain(nullptr, other);
    }
}

// `other` copied into the existing value `v` at the top of a concat; null
// for an owned pointer, which has nothing to copy into `v`. A text or buffer
// whose copy cannot be had leaves `v` empty and refuses the walk, so that
// the caller learns it.
pz_variant_t *leaf_into(pz_variant_t *v, pz_variant_t *other, walk_path &walk) {
    switch (other->vt) {
        case vtype_string:
            pz_variant_str_set(v, other->str_val);  // stops at the first NUL
            if (other->str_val != nullptr && v->str_val == nullptr) walk.refuse();
            return v;
        case vtype_bytes:
            vstr_buf_set(v, static_cast<uint8_t *>(other->ptr_val), other->len);
            if (other->len != 0 && v->ptr_val == nullptr) walk.refuse();
            return v;
        case vtype_autoptr:
            return nullptr;
        case vtype_sharedptr:
            return made(copy_sharedptr(v, other), walk);
        default:
            return copy_plain(v, other);
    }
}

// A copy of `other` (null: an empty slot, which copies to nothing) made in
// `v`, or new when `v` is null, at the place `walk` stands.
pz_variant_t *copy_into(pz_variant_t *v, pz_variant_t *other, walk_path &walk) {
    if (other != nullptr && (other->vt == vtype_array || other->vt == vtype_dict)) {
        return copy_container(v, other, walk);
    }
    if (!walk.fits(other) || other == nullptr) return nullptr;
    return v == nullptr ? made(new_leaf(other), walk) : leaf_into(v, other, walk);
}

}  // namespace

pz_variant_t *pz::copy_within(pz_variant_t *other, walk_path &walk) {
    pz_variant_t *copy = copy_into(nullptr, other, walk);
    return walk.refused() ? nullptr : copy;
}

extern "C" {

pz_variant_t *pz_variant_dup(pz_variant_t *v) {
    pz_variant_t *copy = nullptr;
    pz_variant_dup_ex(v, &copy);
    return copy;
}

pz_status pz_variant_dup_ex(pz_variant_t *v, pz_variant_t **copy) {
    if (v == nullptr || copy == nullptr) return PZ_STATUS_NO_VALUE;
    walk_path walk;
    pz_variant_t *made_copy = copy_within(v, walk);
    if (made_copy == nullptr) return walk.refused() ? walk.why() : PZ_STATUS_OUT_OF_MEMORY;
    *copy = made_copy;
    return PZ_STATUS_OK;
}

pz_variant_t *pz_variant_concat(pz_variant_t *v, pz_variant_t *other) {
    if (v == nullptr) return pz_variant_dup(other);
    const pz_status status = pz_variant_concat_ex(&v, other);
    // Out of memory part way, `v` keeps what was copied before.
    return status == PZ_STATUS_OK || status == PZ_STATUS_OUT_OF_MEMORY ? v : nullptr;
}

pz_status pz_variant_concat_ex(pz_variant_t **v, pz_variant_t *other) {
    if (v == nullptr || *v == nullptr || other == nullptr) return PZ_STATUS_NO_VALUE;
    // An owned pointer has one owner: there is nothing to copy into `v`.
    if (other->vt == vtype_autoptr) return PZ_STATUS_POINTER;
    // A value nested too deep, or containing itself, cannot be merged; `v`
    // must then be left as it was, so the check comes first.
    if (!nesting_within(other)) return PZ_STATUS_TOO_DEEP;
    // `other` may live inside `v`, whose old value a change of kind releases:
    // hold it for the length of the copy. A dictionary merged into itself
    // goes through a copy, since a table must not grow while it is walked;
    // when that copy cannot be made, nothing is merged.
    pz_variant_t *from = *v == other && other->vt == vtype_dict ? pz_variant_dup(other) : pz_variant_ref(other);
    if (from == nullptr) return PZ_STATUS_OUT_OF_MEMORY;
    walk_path walk;
    *v = copy_into(*v, from, walk);
    pz_variant_unref(from);
    return *v != nullptr && !walk.refused() ? PZ_STATUS_OK : PZ_STATUS_OUT_OF_MEMORY;
}

}  // extern "C"
