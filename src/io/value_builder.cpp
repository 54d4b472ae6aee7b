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
void pz::build::drop_level(level &l) { pz_string_unref(l.key); }

value_builder::~value_builder() {
    pz_string_unref(pending_key_);
    pz_variant_unref(root_);
}

pz::fault value_builder::key_fault(const char *name, size_t len, key_nul nul) {
    if (len == 0) return fault::empty_key;
    if (nul == key_nul::some || (nul == key_nul::unknown && std::memchr(name, '\0', len) != nullptr)) {
        return fault::nul_in_key;
    }
    if (len >= INT32_MAX) return fault::string_too_long;  // past what a key string holds
    return fault::none;
}

bool value_builder::key(const char *name, size_t len, key_nul nul, size_t at) {
    const fault why = key_fault(name, len, nul);
    if (why != fault::none) return refuse(why, at);
    pending_hash_ = pz_hash_bytes(name, len);
    pending_key_ = keys_.key(name, len, pending_hash_);
    return pending_key_ != nullptr || refuse(fault::out_of_memory, at);
}

void value_builder::forget_key() {
    pz_string_unref(pending_key_);
    pending_key_ = nullptr;
}

bool value_builder::scalar(const pz_variant_t &record, size_t at) {
    if (!value_fits(at)) return false;
    if (nil_slots_ && record.vt == vtype_null && depth() > 0 && !in_dict_) return place(nullptr, at);
    pz_variant_t *v = new_record(record.vt);
    if (v == nullptr) return refuse(fault::out_of_memory, at);
    std::memcpy(static_cast<void *>(v), &record, sizeof(uint64_t));  // the union: every kind's bits
    return place(v, at);
}

bool value_builder::text(char vt, const char *bytes, size_t len, size_t at) {
    if (!value_fits(at)) return false;
    pz_variant_t *v;
    if (vt == vtype_string) {
        // A string's length leaves room for its terminator.
        if (len > UINT32_MAX - 1) return refuse(fault::string_too_long, at);
        v = vstr_sized_new(bytes, static_cast<uint32_t>(len));
    } else {
        if (len > UINT32_MAX) return refuse(fault::bytes_too_long, at);
        v = vstr_buf_new(reinterpret_cast<const uint8_t *>(bytes), static_cast<uint32_t>(len));
    }
    if (v == nullptr) return refuse(fault::out_of_memory, at);
    return place(v, at);
}

bool value_builder::made(pz_variant_t *v, size_t at) {
    if (!value_fits(at)) {
        pz_variant_unref(v);
        return false;
    }
    return v != nullptr ? place(v, at) : refuse(fault::out_of_memory, at);
}

// The announced count is not trusted for room: the items are pushed as they
// come, so that a header announcing much and holding little costs little.
bool value_builder::open(bool dict, size_t /*count*/, size_t at) {
    if (!enter(at)) return false;
    const build::level l{dict ? members_.size() : values_.size(), pending_key_, pending_hash_, in_dict_};
    pending_key_ = nullptr;
    if (!levels_.push(l)) {
        leave();
        return refuse(fault::out_of_memory, at);
    }
    in_dict_ = dict;
    return true;
}

// Hands the container made of the innermost level's items (taken over;
// null when it could not be made) to its parent, under its key.
bool value_builder::close(pz_variant_t *container, size_t at) {
    const build::level l = levels_.top();
    levels_.cut(levels_.size() - 1);
    leave();
    in_dict_ = l.parent_dict;
    pending_key_ = l.key;
    pending_hash_ = l.hash;
    if (container == nullptr) return refuse(fault::out_of_memory, at);
    return place(container, at);
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
    const size_t base = levels_.top().base;
    const size_t count = members_.size() - base;
    pz_variant_t *dict = dict_new_for(count);
    pz_hash_table_t *table = dict_of(dict);
    if (table == nullptr) {
        pz_variant_unref(dict);
        return close(nullptr, at);
    }
    // The table takes both references of every member over, also when it
    // cannot grow. A later duplicate takes the first one's place: a rule
    // refusing duplicate keys would look each key up here first.
    bool stored = true;
    for (const build::member &each : std::span(members_.from(base), count)) {
        stored &= pz_hash_table_insert_hashed(table, each.key, each.value, each.hash);
    }
    members_.cut(base);
    if (stored) return close(dict, at);
    pz_variant_unref(dict);
    return close(nullptr, at);
}
