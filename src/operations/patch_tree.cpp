// The working tree of a JSON Patch: shadows of the containers it changes,
// and the commit that moves them into the document.
#include "operations/patch_tree.h"

#include "containers/arrays.h"
#include "containers/dicts.h"
#include "core/record.h"
#include "operations/contents.h"
#include "operations/copy.h"
#include "operations/walk.h"

using namespace pz;

namespace {

bool same_pointer(const void *a, const void *b) { return a == b; }

uint32_t pointer_hash(const void *p) {
    // Blocks are aligned, so the low bits say little: a multiply spreads
    // every bit into the high half.
    const uint64_t x = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(p)) * 0x9E3779B97F4A7C15u;
    return static_cast<uint32_t>(x >> 32);
}

bool share_entry(void **key, void **value, void *) {
    pz_string_ref(static_cast<pz_string_t *>(*key));
    pz_variant_ref(static_cast<pz_variant_t *>(*value));
    return true;
}

// A new dictionary holding new references to the keys and values of `d`,
// in its order, its table in a block of its own. Null when out of memory.
pz_variant_t *shallow_dict(const pz_variant_t *d) {
    pz_variant_t *copy = new_record(vtype_dict);
    pz_hash_table_t *table = copy != nullptr ? dict_table_new() : nullptr;
    if (table == nullptr) {
        pz_variant_unref(copy);
        return nullptr;
    }
    copy->ptr_val = table;
    const pz_hash_table_t *from = dict_of(d);
    const uint32_t n = pz_hash_table_size(from);
    if (n == 0 || pz_hash_table_copy_entries(table, from, share_entry, nullptr)) return copy;
    // A table with holes is copied entry by entry, into room made first.
    if (!pz_hash_table_reserve(table, n)) {
        pz_variant_unref(copy);
        return nullptr;
    }
    void *key, *value;
    uint32_t hash;
    for (uint32_t pos = 0; pz_hash_table_next(from, &pos, &key, &value, &hash);) {
        share_entry(&key, &value, nullptr);
        pz_hash_table_insert_hashed(table, key, value, hash);
    }
    return copy;
}

// A new array holding new references to the elements of `a`, its slots in
// a block of their own, with room for one more. Null when out of memory.
pz_variant_t *shallow_array(const pz_variant_t *a) {
    const pz_array_t *from = array_of(a);
    const size_t n = from != nullptr ? from->len : 0;
    pz_variant_t *copy = new_record(vtype_array);
    pz_array_t *slots = copy != nullptr ? pz_array_new(kElementSize, n + 1) : nullptr;
    if (slots == nullptr) {
        pz_variant_unref(copy);
        return nullptr;
    }
    for (size_t i = 0; i < n; ++i) array_slots(slots)[i] = pz_variant_ref(array_slots(from)[i]);
    slots->len = n;
    copy->ptr_val = slots;
    return copy;
}

// A copy of `v` one level deep whose contents move out of it without
// allocating (see own_contents): a container's children are shared, a
// scalar copied. Null when out of memory.
pz_variant_t *stand_in(pz_variant_t *v) {
    if (v->vt == vtype_dict) return shallow_dict(v);
    if (v->vt == vtype_array) return shallow_array(v);
    walk_path walk;
    pz_variant_t *copy = copy_within(v, walk);
    if (copy != nullptr && !own_contents(copy)) {
        pz_variant_unref(copy);
        return nullptr;
    }
    return copy;
}

bool is_container(const pz_variant_t *v) { return v != nullptr && (v->vt == vtype_array || v->vt == vtype_dict); }

}  // namespace

patch_tree::~patch_tree() {
    if (pairs_ != nullptr) {
        in_release_scope([this] {
            for (size_t i = 0; i < pairs_->len; ++i) {
                pz_variant_unref(pairs()[i].shadow);
                pz_variant_unref(pairs()[i].original);
            }
        });
    }
    pz_array_free(pairs_);
    pz_hash_table_free(index_);
}

long patch_tree::find(const void *v) const {
    if (index_ == nullptr || v == nullptr) return -1;
    const auto at = reinterpret_cast<uintptr_t>(pz_hash_table_find(index_, v));
    return static_cast<long>(at) - 1;
}

pz_variant_t *patch_tree::current(pz_variant_t *v) const {
    const long i = find(v);
    return i >= 0 ? pairs()[i].shadow : v;
}

bool patch_tree::is_writable(const pz_variant_t *v) const {
    const long i = find(v);
    return i >= 0 && pairs()[i].shadow == v;
}

bool patch_tree::add_pair(pz_variant_t *original, pz_variant_t *shadow) {
    if (pairs_ == nullptr) pairs_ = pz_array_new(sizeof(pair), 8);
    if (index_ == nullptr) index_ = pz_hash_table_new(same_pointer, pointer_hash);
    const size_t before = pairs_ != nullptr ? pairs_->len : 0;
    if (index_ != nullptr && pairs_ != nullptr && pz_hash_table_reserve(index_, 2)) {
        const pair p{original, shadow};
        pairs_ = pz_array_append_vals(pairs_, &p, 1);
    }
    if (pairs_ == nullptr || pairs_->len == before) {
        pz_variant_unref(shadow);
        return false;
    }
    // Room was made: neither insert can fail.
    const auto at = reinterpret_cast<void *>(static_cast<uintptr_t>(pairs_->len));
    pz_hash_table_insert(index_, original, at);
    pz_hash_table_insert(index_, shadow, at);
    pz_variant_ref(original);
    return true;
}

pz_variant_t *patch_tree::writable(pz_variant_t *c) {
    const long i = find(c);
    if (i >= 0) return pairs()[i].shadow;  // `c` is a shadow, or an original that has one
    pz_variant_t *shadow = stand_in(c);
    return shadow != nullptr && add_pair(c, shadow) ? shadow : nullptr;
}

pz_variant_t *patch_tree::writable_root() {
    if (!is_container(root_) || is_writable(root_)) return root_;
    pz_variant_t *w = writable(root_);
    if (w != nullptr) root_ = w;
    return w;
}

bool patch_tree::replace_root(pz_variant_t *v) {
    pz_variant_t *replacement = stand_in(v);
    if (replacement == nullptr) return false;
    const long i = find(doc_);
    if (i < 0) {
        if (!add_pair(doc_, replacement)) return false;
    } else if (!pz_hash_table_reserve(index_, 1)) {
        pz_variant_unref(replacement);
        return false;
    } else {
        // The document's shadow gives way to the new one.
        pz_variant_t *old = pairs()[i].shadow;
        pz_hash_table_remove(index_, old);
        pz_hash_table_insert(index_, replacement, reinterpret_cast<void *>(static_cast<uintptr_t>(i + 1)));
        pairs()[i].shadow = replacement;
        pz_variant_unref(old);
    }
    root_ = replacement;
    return true;
}

void patch_tree::repoint(pz_variant_t *shadow) {
    auto original_of = [this](void *v) -> pz_variant_t * {
        const long i = find(v);
        return i >= 0 && pairs()[i].shadow == v ? pairs()[i].original : nullptr;
    };
    if (pz_array_t *a = array_of(shadow); a != nullptr) {
        for (size_t j = 0; j < a->len; ++j) {
            pz_variant_t *original = original_of(array_slots(a)[j]);
            if (original == nullptr) continue;
            pz_variant_unref(array_slots(a)[j]);  // the pair still holds it
            array_slots(a)[j] = pz_variant_ref(original);
        }
        return;
    }
    void *key, *value;
    uint32_t hash;
    for (uint32_t pos = 0; pz_hash_table_next(dict_of(shadow), &pos, &key, &value, &hash);) {
        pz_variant_t *original = original_of(value);
        if (original != nullptr) pz_hash_table_replace_hashed(dict_of(shadow), key, pz_variant_ref(original), hash);
    }
}

void patch_tree::commit() {
    if (pairs_ == nullptr) return;
    // First every slot is pointed at the record that will hold what it held,
    // then each record takes its shadow's storage. The pairs keep every
    // record alive until the tree goes.
    for (size_t i = 0; i < pairs_->len; ++i) repoint(pairs()[i].shadow);
    for (size_t i = 0; i < pairs_->len; ++i) move_contents(pairs()[i].original, pairs()[i].shadow);
    root_ = doc_;
}
