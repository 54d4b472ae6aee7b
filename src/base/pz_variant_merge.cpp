// Recursive merge: a dictionary patch is merged into its target key by key,
// anything else replaces, and a null in a patch dictionary removes its key.
//
// All or nothing: every new table is built first, while the target is only
// read; then each is swapped into the record it belongs to. A nested
// dictionary of the target keeps its record (handles to it see the merge),
// and an allocation that fails before the swaps leaves the target as it was.
#include "pz_variant_internal.h"

using namespace pz;

namespace {

// A table built for a nested dictionary of the target, to be swapped in.
struct Swap {
    pz_variant_t *record;
    pz_hash_table_t *table;
};

struct Build {
    pz_array_t *swaps;            // of Swap, in the order they were built
    const pz_variant_t *target;   // the dictionary merged into, or null
    const pz_variant_t *patch;    // the patch dictionary
    pz_hash_table_t *out;         // the merged entries
    bool ok;
};

pz_hash_table_t *merged_table(pz_array_t **swaps, const pz_variant_t *target,
                              const pz_variant_t *patch);

bool removes(const pz_variant_t *patch_value) {
    return patch_value == nullptr || patch_value->vt == vtype_null;
}

// A copy that a failed allocation inside it left short is no copy.
pz_variant_t *exact_copy(pz_variant_t *v) {
    pz_variant_t *copy = pz_variant_dup(v);
    if (copy != nullptr && !pz_variant_equal(copy, v)) {
        pz_variant_unref(copy);
        return nullptr;
    }
    return copy;
}

// What a key ends up holding when the patch gives it `pv` and the target
// held `tv` (null when absent), as a new reference; null on failure. A
// dictionary merged into a dictionary keeps the target's record, its new
// table waiting in `swaps`; a dictionary patch anywhere else starts from an
// empty dictionary, so that its nulls remove nothing and are left out.
pz_variant_t *merged_value(pz_array_t **swaps, pz_variant_t *tv, pz_variant_t *pv) {
    if (pv->vt != vtype_dict) return exact_copy(pv);
    const bool into_dict = dict_of(tv) != nullptr;
    pz_hash_table_t *table = merged_table(swaps, into_dict ? tv : nullptr, pv);
    if (table == nullptr) return nullptr;
    if (into_dict) {
        const size_t before = (*swaps)->len;
        const Swap swap{tv, table};
        *swaps = pz_array_append_vals(*swaps, &swap, 1);
        if ((*swaps)->len == before) {
            pz_hash_table_free(table);
            return nullptr;
        }
        return pz_variant_ref(tv);
    }
    pz_variant_t *d = new_record(vtype_dict);
    if (d == nullptr) {
        pz_hash_table_free(table);
        return nullptr;
    }
    d->ptr_val = table;
    return d;
}

// Stores `value` (a new reference) under a copy of `key`; a null value is a
// failure unless `empty_slot` says the entry was empty to begin with.
bool put(Build *b, const pz_string_t *key, pz_variant_t *value, bool empty_slot = false) {
    if (value == nullptr && !empty_slot) return b->ok = false;
    pz_string_t *k = pz_string_new_len(key->cstr, key->len);
    if (k == nullptr) {
        pz_variant_unref(value);
        return b->ok = false;
    }
    return b->ok = pz_hash_table_insert(b->out, k, value);  // takes both over
}

// The target's entries, in their order: kept, replaced, merged or removed.
bool take_target_entry(void *key, void *value, void *data) {
    auto *b = static_cast<Build *>(data);
    const auto *k = static_cast<const pz_string_t *>(key);
    auto *tv = static_cast<pz_variant_t *>(value);
    pz_hash_table_t *patch = dict_of(b->patch);
    if (!pz_hash_table_contains(patch, k)) return put(b, k, pz_variant_ref(tv), tv == nullptr);
    auto *pv = static_cast<pz_variant_t *>(pz_hash_table_find(patch, k));
    if (removes(pv)) return true;
    return put(b, k, merged_value(&b->swaps, tv, pv));
}

// Then the patch's entries that the target lacks.
bool take_patch_entry(void *key, void *value, void *data) {
    auto *b = static_cast<Build *>(data);
    const auto *k = static_cast<const pz_string_t *>(key);
    auto *pv = static_cast<pz_variant_t *>(value);
    if (pz_hash_table_contains(dict_of(b->target), k) || removes(pv)) return true;
    return put(b, k, merged_value(&b->swaps, nullptr, pv));
}

// A new table holding `target`'s entries (none for a null target) merged
// with `patch`'s; null when something could not be allocated.
pz_hash_table_t *merged_table(pz_array_t **swaps, const pz_variant_t *target,
                              const pz_variant_t *patch) {
    Build b{*swaps, target, patch, dict_table_new(), true};
    if (b.out == nullptr) return nullptr;
    pz_hash_table_foreach(dict_of(target), take_target_entry, &b);
    if (b.ok) pz_hash_table_foreach(dict_of(patch), take_patch_entry, &b);
    *swaps = b.swaps;
    if (!b.ok) {
        pz_hash_table_free(b.out);
        return nullptr;
    }
    return b.out;
}

// Swaps each built table into its record and frees the tables given up;
// or, when `commit` is false, frees the built tables.
void finish(pz_array_t *swaps, bool commit) {
    auto *s = reinterpret_cast<Swap *>(swaps->data);
    if (commit) {
        for (size_t i = 0; i < swaps->len; ++i) {
            auto *old = static_cast<pz_hash_table_t *>(s[i].record->ptr_val);
            s[i].record->ptr_val = s[i].table;
            s[i].table = old;
        }
    }
    for (size_t i = 0; i < swaps->len; ++i) pz_hash_table_free(s[i].table);
    pz_array_free(swaps);
}

bool merge_dict(pz_variant_t *target, const pz_variant_t *patch) {
    pz_array_t *swaps = pz_array_new(sizeof(Swap), 4);
    if (swaps == nullptr) return false;
    const bool into_dict = dict_of(target) != nullptr;
    pz_hash_table_t *table = merged_table(&swaps, into_dict ? target : nullptr, patch);
    finish(swaps, table != nullptr);
    if (table == nullptr) return false;
    if (into_dict) {
        auto *old = static_cast<pz_hash_table_t *>(target->ptr_val);
        target->ptr_val = table;
        pz_hash_table_free(old);
    } else {
        pz_variant_clear(target);
        target->vt = vtype_dict;
        target->ptr_val = table;
    }
    return true;
}

// Any other patch replaces the target: a copy is made first, then moved
// into the target's record. An owned or shared pointer would need a record
// with room for its callbacks, which the target may not have.
bool replace(pz_variant_t *target, pz_variant_t *patch) {
    if (patch->vt == vtype_autoptr || patch->vt == vtype_sharedptr) return false;
    pz_variant_t *copy = exact_copy(patch);
    if (copy == nullptr) return false;
    pz_variant_clear(target);
    target->uint64_val = copy->uint64_val;
    target->vt = copy->vt;
    target->len = copy->len;
    reset_record(copy);
    pz_variant_unref(copy);
    return true;
}

}  // namespace

extern "C" bool pz_variant_merge_patch(pz_variant_t *target, pz_variant_t *patch) {
    if (target == nullptr || patch == nullptr || !nesting_within(patch, PZ_VARIANT_MAX_DEPTH)) {
        return false;
    }
    // `patch` may live inside `target`, whose old contents go: hold it.
    pz_variant_ref(patch);
    const bool ok = patch->vt == vtype_dict ? merge_dict(target, patch) : replace(target, patch);
    pz_variant_unref(patch);
    return ok;
}
