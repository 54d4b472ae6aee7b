// Deep copy and merge. The copy checks the nesting of `other` as it goes,
// along the containers open on the way down: it recurses one level per
// level of nesting, which the check bounds, and a copy found too deep or
// containing itself is given up. A merge checks first, since it changes `v`
// as it goes.
#include "pz_variant_internal.h"

using namespace pz;

namespace {

// The containers open on the way from the top to the value being copied.
struct path {
    const pz_variant_t *container;
    const path *up;
    int levels_left;  // for what this container holds
};

// The state of one copy: false in `ok` once `other` is found to nest too
// deep or to contain itself, after which the copy stops.
struct copy_walk {
    bool ok = true;
};

pz_variant_t *copy_into(pz_variant_t *v, pz_variant_t *other, const path *up, copy_walk &walk);

// Each value held takes one more level, an empty slot included.
bool room_below(const path *up, copy_walk &walk) {
    if (up != nullptr && up->levels_left < 1) walk.ok = false;
    return walk.ok;
}

// Appends copies of `other`'s elements to the array `v`. The count is taken
// once and each element read afresh, so an array appended to itself gets
// copies of its first n elements, once. Empty slots and elements that cannot
// be copied are left out.
void pz_variant_array_dup(pz_variant_t *v, const pz_variant_t *other, const path *here,
                          copy_walk &walk) {
    const uint32_t n = pz_variant_array_size(other);
    if (array_of(v) == nullptr) return;
    // Room for all at once; if it cannot be had, each append tries again.
    v->ptr_val = pz_array_reserve(array_of(v), array_of(v)->len + n);
    for (uint32_t i = 0; i < n && room_below(here, walk); ++i) {
        pz_variant_t *d = copy_into(nullptr, array_at(other, i), here, walk);
        if (d != nullptr) array_append_moved(v, d);  // dropped when there is no room
    }
}

struct dict_walk {
    pz_variant_t *dup;
    const path *here;
    copy_walk *walk;
};

// One entry's copy: the value copied (null when it cannot be) and the key
// shared, since keys are never changed once made. Sets the key to null when
// there is no room below for the value, and returns false to stop the walk.
// Fills a new table in `other`'s order, with its hashes and index, so that no
// key is hashed and no slot probed.
bool copy_entry(void **key, void **value, void *user) {
    auto *dw = static_cast<dict_walk *>(user);
    if (!room_below(dw->here, *dw->walk)) {
        *key = nullptr;  // nothing entered
        return false;
    }
    *value = copy_into(nullptr, static_cast<pz_variant_t *>(*value), dw->here, *dw->walk);
    *key = pz_string_ref(static_cast<pz_string_t *>(*key));
    return dw->walk->ok;
}

// Enters a copy of one entry into the dictionary `dup` by way of its table.
bool dict_dup_node(void *key, void *value, void *user) {
    const bool go = copy_entry(&key, &value, user);
    // Takes over both references, also when it fails.
    if (key != nullptr) pz_hash_table_insert(dict_of(static_cast<dict_walk *>(user)->dup), key, value);
    return go;
}

// Merges copies of `other`'s entries into the dictionary `v`.
void pz_variant_dict_dup(pz_variant_t *v, pz_variant_t *other, const path *here, copy_walk &walk) {
    if (dict_of(v) == nullptr) return;  // no table to merge into
    if (v != other) {
        dict_walk dw{v, here, &walk};
        // An empty target takes the entries as they stand, when it can.
        if (pz_hash_table_copy_entries(dict_of(v), dict_of(other), copy_entry, &dw)) return;
        // Growing once beats growing by steps; failing here costs nothing.
        pz_hash_table_reserve(dict_of(v), pz_hash_table_size(dict_of(other)));
        pz_hash_table_foreach(dict_of(other), dict_dup_node, &dw);
        return;
    }
    // A table must not grow while it is walked: merging into itself goes
    // through a copy.
    pz_variant_t *copy = copy_into(nullptr, other, here->up, walk);
    dict_walk dw{v, here, &walk};
    pz_hash_table_foreach(dict_of(copy), dict_dup_node, &dw);
    pz_variant_unref(copy);
}

// `v` turned into an empty container of kind `vt` (kept as it is when it
// already is one), or a new one sized for `other` when `v` is null.
pz_variant_t *container_target(pz_variant_t *v, pz_variant_type vt, const pz_variant_t *other) {
    if (v != nullptr) return pz_variant_change_type(v, vt);
    // A dictionary's table is sized as its entries are copied.
    return vt == vtype_array ? array_new_for(pz_variant_array_size(other)) : pz_variant_dict_new();
}

pz_variant_t *copy_container(pz_variant_t *v, pz_variant_t *other, const path *up,
                             copy_walk &walk) {
    for (const path *p = up; p != nullptr; p = p->up) {
        if (p->container == other) walk.ok = false;  // contains itself
    }
    if (!walk.ok) return nullptr;
    const auto vt = static_cast<pz_variant_type>(other->vt);
    pz_variant_t *target = container_target(v, vt, other);
    if (target == nullptr) return nullptr;
    const path here{other, up, (up != nullptr ? up->levels_left : PZ_VARIANT_MAX_DEPTH) - 1};
    if (vt == vtype_array) {
        pz_variant_array_dup(target, other, &here, walk);
    } else {
        pz_variant_dict_dup(target, other, &here, walk);
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

pz_variant_t *copy_into(pz_variant_t *v, pz_variant_t *other, const path *up, copy_walk &walk) {
    if (other == nullptr) return nullptr;
    switch (other->vt) {
        case vtype_array:
        case vtype_dict:
            return copy_container(v, other, up, walk);
        case vtype_string:
            // A new copy keeps all `len` bytes; setting stops at the first NUL.
            return v == nullptr ? vstr_sized_new(other->str_val, other->len)
                                : pz_variant_str_set(v, other->str_val);
        case vtype_bytes: {
            auto *bytes = static_cast<uint8_t *>(other->ptr_val);
            return v == nullptr ? vstr_buf_new(bytes, other->len)
                                : vstr_buf_set(v, bytes, other->len);
        }
        case vtype_autoptr:
            // One owner only: a copy shares the record, and there is nothing
            // to copy into an existing value.
            return v == nullptr ? pz_variant_ref(other) : nullptr;
        case vtype_sharedptr:
            return copy_sharedptr(v, other);
        default:
            return copy_plain(v, other);
    }
}

}  // namespace

extern "C" {

pz_variant_t *pz_variant_dup(pz_variant_t *v) {
    copy_walk walk;
    pz_variant_t *copy = copy_into(nullptr, v, nullptr, walk);
    if (walk.ok) return copy;
    pz_variant_unref(copy);  // nested too deep or containing itself
    return nullptr;
}

pz_variant_t *pz_variant_concat(pz_variant_t *v, pz_variant_t *other) {
    if (v == nullptr) return pz_variant_dup(other);
    // A value nested too deep, or containing itself, cannot be merged; `v`
    // must then be left as it was, so the check comes first.
    if (other == nullptr || !nesting_within(other)) return nullptr;
    // `other` may live inside `v`, whose old value a change of kind releases:
    // hold it for the length of the copy.
    pz_variant_ref(other);
    copy_walk walk;
    pz_variant_t *result = copy_into(v, other, nullptr, walk);
    pz_variant_unref(other);
    return result;
}

}  // extern "C"
