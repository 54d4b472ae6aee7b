// The value builder: read events made into values.
#include "io/value_builder.h"

#include <span>

#include "containers/arrays.h"
#include "containers/dicts.h"

using pz::value_builder;

void pz::build::drop_value(pz_variant_t *&v) { pz_variant_unref(v); }
void pz::build::drop_member(member &m) {
    pz_string_unref(m.key);
    pz_variant_unref(m.value);
}
void pz::build::drop_level(level &l) {
    pz_string_unref(l.key);
    pz_variant_unref(l.dict);
}

value_builder::~value_builder() {
    pz_string_unref(pending_key_);
    pz_variant_unref(root_);
}

void value_builder::forget_key() {
    pz_string_unref(pending_key_);
    pending_key_ = nullptr;
}

bool value_builder::made(pz_variant_t *v, size_t at) {
    if (!value_fits(at)) {
        pz_variant_unref(v);
        return false;
    }
    return v != nullptr ? place(v, at) : refuse(fault::out_of_memory, at);
}

bool value_builder::end_array(size_t at) {
    const size_t base = levels_.top().base;
    const size_t count = values_.size() - base;
    pz_variant_t *va = array_new_for(count);
    pz_array_t *a = array_of(va);
    if (a == nullptr) {
        pz_variant_unref(va);
        return close(nullptr, at);
    }
    if (count != 0) std::memcpy(static_cast<void *>(array_slots(a)), values_.from(base), count * sizeof(pz_variant_t *));
    a->len = count;
    values_.cut(base);
    return close(va, at);
}

bool value_builder::end_dict(size_t at) {
    build::level &l = levels_.top();
    const size_t base = l.base;
    const size_t count = members_.size() - base;
    pz_variant_t *dict = l.dict;
    l.dict = nullptr;
    pz_hash_table_t *table = dict_of(dict);
    shape_of(l.key, depth()) = shape{l.key, depth(), static_cast<uint32_t>(count)};  // as when it opened
    if (count != 0 && !pz_hash_table_reserve(table, static_cast<uint32_t>(count))) {
        pz_variant_unref(dict);
        return close(nullptr, at);
    }
    // The table takes both references of every member over, also when it
    // cannot grow. A later duplicate takes the first one's place, unless
    // duplicates are refused: the members from the duplicate on are then
    // released here.
    bool stored = true;
    bool unique = true;
    for (build::member &each : std::span(members_.from(base), count)) {
        unique = unique && !(unique_keys_ && pz_hash_table_find_hashed(table, each.key, each.hash) != nullptr);
        if (!unique) {
            refuse(fault::duplicate_key, each.at, each.key->cstr, static_cast<size_t>(each.key->len));
            build::drop_member(each);
            continue;
        }
        stored &= pz_hash_table_insert_hashed(table, each.key, each.value, each.hash);
    }
    members_.cut(base);
    if (stored && unique) return close(dict, at);
    pz_variant_unref(dict);
    return close(nullptr, at);
}
