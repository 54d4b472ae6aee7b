// Recursive merge: a dictionary patch is merged into its target key by key,
// anything else replaces, and a null in a patch dictionary removes its key.
//
// All or nothing, in two steps. The first only reads the target: it makes
// every copy and key that the merge will store, lists each change to make
// and reserves room in each table that gains keys. The second makes the
// changes, which can no longer fail. The work is in proportion to the
// patch, not to the target, and each dictionary of the target keeps its
// record, so handles to it see the merge. The patch is read under one
// walk_path, which the copies made from it share, so a patch nested too
// deep or containing itself refuses the walk as a lack of memory does.
#include <algorithm>

#include "core/container_storage.h"
#include "core/record.h"
#include "operations/copy.h"
#include "operations/walk.h"

using namespace pz;

namespace {

// One change to a table of the target: `value` stored under `key`, or, with
// a null `value`, the entry under `key` removed. The change holds its own
// reference to `dict`, its key and its value until it is made or dropped.
struct Change {
    pz_variant_t *dict;
    pz_string_t *key;
    pz_variant_t *value;
};

// A dictionary of the target merged into, and how many keys it may gain.
struct Growth {
    pz_variant_t *dict;
    uint32_t keys;
};

struct Plan {
    pz_array_t *changes;  // of Change, in the order they are made
    pz_array_t *growths;  // of Growth, one for each time a dictionary is merged into
    walk_path *walk;      // over the patch
    // Whether each step sees the changes planned before it: needed only when
    // one dictionary is merged into twice (stored under two keys, or inside
    // itself), and then the changes are looked up one by one.
    bool sees_earlier;
};

template <class T>
bool append(pz_array_t **list, const T &item) {
    const size_t before = (*list)->len;
    *list = pz_array_append_vals(*list, &item, 1);
    return (*list)->len != before;
}

template <class T>
T *items(const pz_array_t *list) {
    return reinterpret_cast<T *>(list->data);
}

bool removes(const pz_variant_t *patch_value) {
    return patch_value == nullptr || patch_value->vt == vtype_null;
}

// The patch's key for the target: keys are never changed once made, so the
// target shares the string, as a copy does.
pz_string_t *shared_key(void *key) { return pz_string_ref(static_cast<pz_string_t *>(key)); }

/* ---------- copies of the patch ---------- */

pz_variant_t *patched_copy(pz_variant_t *patch, walk_path &walk);

// What a patch value becomes where there is no dictionary to merge it
// into: a dictionary is merged into an empty one, leaving out its nulls.
pz_variant_t *stored_form(pz_variant_t *pv, walk_path &walk) {
    return pv->vt == vtype_dict ? patched_copy(pv, walk) : copy_within(pv, walk);
}

struct Copying {
    pz_variant_t *out;
    walk_path &walk;
};

bool copy_entry(void *key, void *value, void *data) {
    auto *c = static_cast<Copying *>(data);
    auto *pv = static_cast<pz_variant_t *>(value);
    if (!c->walk.fits(pv)) return false;
    if (removes(pv)) return true;
    pz_variant_t *v = stored_form(pv, c->walk);
    // The table takes the key and value over, also when it fails.
    if (v == nullptr || !pz_hash_table_insert(dict_of(c->out), shared_key(key), v)) return c->walk.refuse();
    return true;
}

// A new dictionary: the patch dictionary `patch` merged into an empty one.
pz_variant_t *patched_copy(pz_variant_t *patch, walk_path &walk) {
    if (!walk.enter(patch)) return nullptr;
    Copying c{pz_variant_dict_new(), walk};
    if (dict_of(c.out) != nullptr) {
        pz_hash_table_foreach(dict_of(patch), copy_entry, &c);
    } else {
        walk.refuse();
    }
    walk.leave();
    if (!walk.refused()) return c.out;
    pz_variant_unref(c.out);
    return nullptr;
}

/* ---------- planning ---------- */

// What `key` holds in `dict` once the changes planned so far are made.
struct Slot {
    bool present;
    pz_variant_t *value;  // borrowed; null for an empty entry
};

Slot slot_of(const Plan &plan, pz_variant_t *dict, void *key) {
    if (plan.sees_earlier) {
        const Change *c = items<Change>(plan.changes);
        for (size_t i = plan.changes->len; i-- > 0;) {
            if (c[i].dict == dict && pz_string_equal(c[i].key, key)) return {c[i].value != nullptr, c[i].value};
        }
    }
    auto *value = static_cast<pz_variant_t *>(pz_hash_table_find(dict_of(dict), key));
    return {value != nullptr || pz_hash_table_contains(dict_of(dict), key), value};
}

struct Planning {
    Plan *plan;
    pz_variant_t *target;  // a dictionary with a table
    uint32_t new_keys;
};

bool plan_merge(Plan *plan, pz_variant_t *target, pz_variant_t *patch);

bool plan_entry(void *key, void *value, void *data) {
    auto *p = static_cast<Planning *>(data);
    auto *pv = static_cast<pz_variant_t *>(value);
    walk_path &walk = *p->plan->walk;
    if (!walk.fits(pv)) return false;
    const Slot now = slot_of(*p->plan, p->target, key);
    if (removes(pv) && !now.present) return true;
    if (pv != nullptr && pv->vt == vtype_dict && dict_of(now.value) != nullptr) {
        return plan_merge(p->plan, now.value, pv);
    }
    pz_variant_t *v = removes(pv) ? nullptr : stored_form(pv, walk);
    if (walk.refused()) return false;
    pz_string_t *k = shared_key(key);
    if (!append(&p->plan->changes, Change{pz_variant_ref(p->target), k, v})) {
        pz_variant_unref(p->target);
        pz_string_unref(k);
        pz_variant_unref(v);
        return walk.refuse();
    }
    if (!now.present) ++p->new_keys;
    return true;
}

// Lists the changes that merge `patch` into the dictionary `target`.
bool plan_merge(Plan *plan, pz_variant_t *target, pz_variant_t *patch) {
    if (!plan->walk->enter(patch)) return false;
    Planning p{plan, target, 0};
    pz_hash_table_foreach(dict_of(patch), plan_entry, &p);
    plan->walk->leave();
    if (plan->walk->refused()) return false;
    return append(&plan->growths, Growth{target, p.new_keys}) || plan->walk->refuse();
}

// Makes the listed changes, or drops them; then frees the lists.
void finish(Plan *plan, bool make) {
    Change *c = plan->changes != nullptr ? items<Change>(plan->changes) : nullptr;
    const size_t n = plan->changes != nullptr ? plan->changes->len : 0;
    for (size_t i = 0; i < n; ++i) {
        if (make && c[i].value != nullptr) {
            // Room was reserved: the table takes the key and value over.
            pz_hash_table_insert(dict_of(c[i].dict), c[i].key, c[i].value);
        } else {
            if (make) pz_hash_table_remove(dict_of(c[i].dict), c[i].key);
            pz_string_unref(c[i].key);
            pz_variant_unref(c[i].value);
        }
        pz_variant_unref(c[i].dict);
    }
    pz_array_free(plan->changes);
    pz_array_free(plan->growths);
    plan->changes = plan->growths = nullptr;
}

// Why a walk, or the step after it, failed: the walk's reason, else memory.
pz_status failure(const walk_path &walk) { return walk.refused() ? walk.why() : PZ_STATUS_OUT_OF_MEMORY; }

// Plans the merge of `patch` into the dictionary `target` afresh.
pz_status make_plan(Plan *plan, pz_variant_t *target, pz_variant_t *patch, bool sees_earlier) {
    walk_path walk;
    *plan = Plan{pz_array_new(sizeof(Change), 8), pz_array_new(sizeof(Growth), 4), &walk, sees_earlier};
    const bool ok = plan->changes != nullptr && plan->growths != nullptr && plan_merge(plan, target, patch);
    plan->walk = nullptr;
    return ok ? PZ_STATUS_OK : failure(walk);
}

void sort_by_dict(pz_array_t *growths) {
    Growth *g = items<Growth>(growths);
    std::sort(g, g + growths->len, [](const Growth &a, const Growth &b) {
        return reinterpret_cast<uintptr_t>(a.dict) < reinterpret_cast<uintptr_t>(b.dict);
    });
}

// Whether one dictionary was merged into twice.
bool merged_into_twice(pz_array_t *growths) {
    sort_by_dict(growths);
    const Growth *g = items<Growth>(growths);
    for (size_t i = 1; i < growths->len; ++i) {
        if (g[i].dict == g[i - 1].dict) return true;
    }
    return false;
}

// Room for every key the changes add. A dictionary merged into twice is
// reserved for once, with the sum of its growths.
bool reserve_room(pz_array_t *growths) {
    sort_by_dict(growths);
    const Growth *g = items<Growth>(growths);
    for (size_t i = 0; i < growths->len;) {
        uint64_t keys = 0;
        size_t j = i;
        for (; j < growths->len && g[j].dict == g[i].dict; ++j) keys += g[j].keys;
        if (keys > UINT32_MAX || !pz_hash_table_reserve(dict_of(g[i].dict), static_cast<uint32_t>(keys))) {
            return false;
        }
        i = j;
    }
    return true;
}

/* ---------- moving contents ---------- */

// Gives `v`'s contents blocks of their own where they live in `v`'s block;
// false (nothing changed) when out of memory.
bool own_contents(pz_variant_t *v) {
    if (v->vt == vtype_string && v->layout == layout_text) {
        void *text = pz_mem_dup(v->str_val, size_t{v->len} + 1);
        if (text == nullptr) return false;
        v->ptr_val = text;
        v->layout = layout_plain;
    } else if (v->vt == vtype_dict && v->ptr_val != nullptr) {
        // The table's header may live in `v`'s block.
        pz_hash_table_t *own = pz_hash_table_move_out(dict_of(v));
        if (own == nullptr) return false;
        pz_hash_table_free(dict_of(v));  // empty now: frees its header if it has one of its own
        v->ptr_val = own;
    } else if (pz_array_t *a = array_of(v); a != nullptr && a->borrowed) {
        pz_array_t *own = pz_array_append_vals(pz_array_new(kElementSize, a->len), a->data, a->len);
        if (own == nullptr || own->len != a->len) {
            pz_array_free(own);
            return false;
        }
        v->ptr_val = own;
    }
    return true;
}

// Moves `from`'s contents into the record `to` (whose own contents are
// released), leaving `from` the empty null value. What lives in `from`'s
// block (a text after the record, a small array's slots) is first copied to
// a block of its own, as that block goes with `from`; false, with neither
// record changed, when that copy cannot be made.
bool move_contents(pz_variant_t *to, pz_variant_t *from) {
    if (!own_contents(from)) return false;
    pz_variant_clear(to);
    to->uint64_val = from->uint64_val;
    to->vt = from->vt;
    to->len = from->len;
    reset_record(from);
    return true;
}

/* ---------- the merge ---------- */

// Moves a new copy's contents into `target` and drops the copy; false
// (target unchanged) for a copy that could not be made or moved.
bool take_copy(pz_variant_t *target, pz_variant_t *copy) {
    if (copy == nullptr) return false;
    const bool moved = move_contents(target, copy);
    pz_variant_unref(copy);
    return moved;
}

pz_status merge_dict(pz_variant_t *target, pz_variant_t *patch) {
    if (dict_of(target) == nullptr) {
        // Nothing to merge into: the target becomes the patched copy.
        walk_path walk;
        return take_copy(target, patched_copy(patch, walk)) ? PZ_STATUS_OK : failure(walk);
    }
    Plan plan;
    pz_status status = make_plan(&plan, target, patch, false);
    if (status == PZ_STATUS_OK && merged_into_twice(plan.growths)) {
        // Planned against the target as it was, a step through the second
        // way to a dictionary would miss what an earlier step changed there.
        finish(&plan, false);
        status = make_plan(&plan, target, patch, true);
    }
    if (status == PZ_STATUS_OK && !reserve_room(plan.growths)) status = PZ_STATUS_OUT_OF_MEMORY;
    finish(&plan, status == PZ_STATUS_OK);
    return status;
}

// Any other patch replaces the target: a copy is made first, then moved
// into the target's record. An owned or shared pointer would need a record
// with room for its callbacks, which the target may not have.
pz_status replace(pz_variant_t *target, pz_variant_t *patch) {
    if (patch->vt == vtype_autoptr || patch->vt == vtype_sharedptr) return PZ_STATUS_POINTER;
    walk_path walk;
    return take_copy(target, copy_within(patch, walk)) ? PZ_STATUS_OK : failure(walk);
}

}  // namespace

extern "C" {

bool pz_variant_merge_patch(pz_variant_t *target, pz_variant_t *patch) {
    return pz_variant_merge_patch_ex(target, patch) == PZ_STATUS_OK;
}

pz_status pz_variant_merge_patch_ex(pz_variant_t *target, pz_variant_t *patch) {
    if (target == nullptr || patch == nullptr) return PZ_STATUS_NO_VALUE;
    // `patch` may live inside `target`, whose old contents go: hold it.
    pz_variant_ref(patch);
    const pz_status status = patch->vt == vtype_dict ? merge_dict(target, patch) : replace(target, patch);
    pz_variant_unref(patch);
    return status;
}

}  // extern "C"
