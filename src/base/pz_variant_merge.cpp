// Recursive merge: a dictionary patch is merged into its target key by key,
// anything else replaces, and a null in a patch dictionary removes its key.
//
// All or nothing, in two steps. The first only reads the target: it makes
// every copy and key that the merge will store, lists each change to make
// and reserves room in each table that gains keys. The second makes the
// changes, which can no longer fail. The work is in proportion to the
// patch, not to the target, and each dictionary of the target keeps its
// record, so handles to it see the merge.
#include <algorithm>

#include "pz_variant_internal.h"

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

// A dictionary of the target and how many keys it may gain.
struct Growth {
    pz_variant_t *dict;
    uint32_t keys;
};

struct Plan {
    pz_array_t *changes;  // of Change, in the order they are made
    pz_array_t *growths;  // of Growth
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

// A copy that a failed allocation inside it left short is no copy.
pz_variant_t *exact_copy(pz_variant_t *v) {
    pz_variant_t *copy = pz_variant_dup(v);
    if (copy != nullptr && !pz_variant_equal(copy, v)) {
        pz_variant_unref(copy);
        return nullptr;
    }
    return copy;
}

pz_variant_t *patched_copy(pz_variant_t *patch);

// What a patch value becomes where there is no dictionary to merge it
// into: a dictionary is merged into an empty one, leaving out its nulls.
pz_variant_t *stored_form(pz_variant_t *pv) {
    return pv->vt == vtype_dict ? patched_copy(pv) : exact_copy(pv);
}

struct Copying {
    pz_variant_t *out;
    bool ok;
};

bool copy_entry(void *key, void *value, void *data) {
    auto *c = static_cast<Copying *>(data);
    auto *pv = static_cast<pz_variant_t *>(value);
    if (removes(pv)) return true;
    pz_variant_t *v = stored_form(pv);
    pz_string_t *k = v != nullptr ? shared_key(key) : nullptr;
    if (k == nullptr) {
        pz_variant_unref(v);
        return c->ok = false;
    }
    return c->ok = pz_hash_table_insert(dict_of(c->out), k, v);  // takes both over
}

// A new dictionary: the patch dictionary `patch` merged into an empty one.
pz_variant_t *patched_copy(pz_variant_t *patch) {
    Copying c{pz_variant_dict_new(), true};
    if (c.out == nullptr || dict_of(c.out) == nullptr) {
        pz_variant_unref(c.out);
        return nullptr;
    }
    pz_hash_table_foreach(dict_of(patch), copy_entry, &c);
    if (!c.ok) {
        pz_variant_unref(c.out);
        return nullptr;
    }
    return c.out;
}

struct Planning {
    Plan *plan;
    pz_variant_t *target;  // a dictionary with a table
    uint32_t new_keys;
    bool ok;
};

bool plan_merge(Plan *plan, pz_variant_t *target, pz_variant_t *patch);

bool plan_entry(void *key, void *value, void *data) {
    auto *p = static_cast<Planning *>(data);
    auto *pv = static_cast<pz_variant_t *>(value);
    pz_hash_table_t *table = dict_of(p->target);
    const bool present = pz_hash_table_contains(table, key);
    if (removes(pv) && !present) return true;
    if (pv != nullptr && pv->vt == vtype_dict) {
        auto *tv = static_cast<pz_variant_t *>(pz_hash_table_find(table, key));
        if (dict_of(tv) != nullptr) return p->ok = plan_merge(p->plan, tv, pv);
    }
    pz_variant_t *v = removes(pv) ? nullptr : stored_form(pv);
    pz_string_t *k = removes(pv) || v != nullptr ? shared_key(key) : nullptr;
    if (k == nullptr || !append(&p->plan->changes, Change{pz_variant_ref(p->target), k, v})) {
        if (k != nullptr) pz_variant_unref(p->target);
        pz_string_unref(k);
        pz_variant_unref(v);
        return p->ok = false;
    }
    if (!present) ++p->new_keys;
    return true;
}

// Lists the changes that merge `patch` into the dictionary `target`.
bool plan_merge(Plan *plan, pz_variant_t *target, pz_variant_t *patch) {
    Planning p{plan, target, 0, true};
    pz_hash_table_foreach(dict_of(patch), plan_entry, &p);
    return p.ok && (p.new_keys == 0 || append(&plan->growths, Growth{target, p.new_keys}));
}

// Room for every key the changes add. A dictionary reached twice (one
// record under two keys) is reserved for once, with the sum of its growths.
bool reserve_room(pz_array_t *growths) {
    Growth *g = items<Growth>(growths);
    std::sort(g, g + growths->len, [](const Growth &a, const Growth &b) {
        return reinterpret_cast<uintptr_t>(a.dict) < reinterpret_cast<uintptr_t>(b.dict);
    });
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
}

// Moves a new copy's contents into `target` and drops the copy; false
// (target unchanged) for a copy that could not be made or moved.
bool take_copy(pz_variant_t *target, pz_variant_t *copy) {
    if (copy == nullptr) return false;
    const bool moved = move_contents(target, copy);
    pz_variant_unref(copy);
    return moved;
}

bool merge_dict(pz_variant_t *target, pz_variant_t *patch) {
    if (dict_of(target) == nullptr) {
        // Nothing to merge into: the target becomes the patched copy.
        return take_copy(target, patched_copy(patch));
    }
    Plan plan{pz_array_new(sizeof(Change), 8), pz_array_new(sizeof(Growth), 4)};
    const bool ok = plan.changes != nullptr && plan.growths != nullptr &&
                    plan_merge(&plan, target, patch) && reserve_room(plan.growths);
    finish(&plan, ok);
    return ok;
}

// Any other patch replaces the target: a copy is made first, then moved
// into the target's record. An owned or shared pointer would need a record
// with room for its callbacks, which the target may not have.
bool replace(pz_variant_t *target, pz_variant_t *patch) {
    if (patch->vt == vtype_autoptr || patch->vt == vtype_sharedptr) return false;
    return take_copy(target, exact_copy(patch));
}

}  // namespace

extern "C" bool pz_variant_merge_patch(pz_variant_t *target, pz_variant_t *patch) {
    if (target == nullptr || patch == nullptr || !nesting_within(patch)) {
        return false;
    }
    // `patch` may live inside `target`, whose old contents go: hold it.
    pz_variant_ref(patch);
    const bool ok = patch->vt == vtype_dict ? merge_dict(target, patch) : replace(target, patch);
    pz_variant_unref(patch);
    return ok;
}
