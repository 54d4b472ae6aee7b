// Private to the library: the one place where read events become values.
// Every reader (plain JSON, MessagePack, the typed dump) hands its events to
// a value_builder, which keeps the containers open, the depth limit, the
// rules for keys, the shared key strings and the record of the read.
#ifndef PZ_VALUE_BUILDER_H
#define PZ_VALUE_BUILDER_H

#include "containers/dicts.h"
#include "core/record.h"
#include "io/key_cache.h"
#include "io/read_sink.h"
#include "io/read_stack.h"

namespace pz {

namespace build {

struct member {
    pz_string_t *key;
    pz_variant_t *value;
    uint32_t hash;
    size_t at;  // where the key stands in the input
};

// A container open around the events: where its items start on the
// builder's stacks, and the key it will go under in its parent.
struct level {
    size_t base;
    pz_string_t *key;
    uint32_t hash;
    bool parent_dict;
    pz_variant_t *dict;  // a dictionary's record, made when it opens
};

void drop_value(pz_variant_t *&v);
void drop_member(member &m);
void drop_level(level &l);

}  // namespace build

// The elements and members of the containers open wait on two stacks. An
// array is made once, at its full size, when it closes; a dictionary is made
// when it opens, with the room of the last one closed in the same place,
// and its table sized again at its close only when that was short. What the
// builder holds is in proportion to what was read, whatever counts the
// input announces. A sink of read events (io/read_sink.h).
class value_builder : public read_record {
public:
    static constexpr bool kNumbersAsText = false;

    // With `nil_slots`, a null inside an array is an empty slot (as
    // MessagePack's nil reads) rather than a value of the null kind. Keys
    // are shared through `keys` when given (a stream reader keeps one for
    // all the values it reads), else through a cache of the read's own.
    explicit value_builder(bool nil_slots = false, key_cache *keys = nullptr)
        : keys_(keys != nullptr ? *keys : own_keys_), nil_slots_(nil_slots) {}

    // From now on a dictionary whose text holds a key twice is refused at
    // the second, the key named in the reason, where by default the later
    // member takes the first one's place.
    void refuse_duplicate_keys() { unique_keys_ = true; }
    value_builder(const value_builder &) = delete;
    value_builder &operator=(const value_builder &) = delete;
    ~value_builder();

    // An event comes with every token: all but the two that make a
    // container are inline, for the parsers to take in.
    bool begin_array(size_t count, size_t at) { return open(false, count, at); }
    bool begin_dict(size_t count, size_t at) { return open(true, count, at); }
    bool end_array(size_t at);
    bool end_dict(size_t at);

    // The key of the next member. Refused when a dictionary cannot hold it
    // (key_fault says why).
    bool key(const char *name, size_t len, key_nul nul, size_t at) {
        const fault why = key_fault(name, len, nul);
        if (why != fault::none) return refuse(why, at);
        pending_at_ = at;
        pending_key_ = keys_.key(name, len, &pending_hash_);
        return pending_key_ != nullptr || refuse(fault::out_of_memory, at);
    }
    bool other_key(size_t at) { return refuse(fault::key_not_string, at); }
    // For a reader that leaves a member out after its key was given.
    void forget_key();

    [[gnu::always_inline]] bool scalar(const pz_variant_t &record, size_t at) {
        if (!value_fits(at)) return false;
        if (nil_slots_ && record.vt == vtype_null && depth() > 0 && !in_dict_) return place(nullptr, at);
        pz_variant_t *v = new_record(record.vt);
        if (v == nullptr) return refuse(fault::out_of_memory, at);
        std::memcpy(static_cast<void *>(v), &record, sizeof(uint64_t));  // the union: every kind's bits
        return place(v, at);
    }
    [[gnu::always_inline]] bool text(char vt, const char *bytes, size_t len, size_t at) {
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
    // An empty slot of the array open (the typed dump's {}); refused as no
    // typed object anywhere else.
    bool empty_slot(size_t at) {
        if (!value_fits(at)) return false;
        return depth() > 0 && !in_dict_ ? place(nullptr, at) : refuse(fault::not_typed_object, at);
    }
    // A value the reader made itself (taken over, null when it could not
    // be made).
    bool made(pz_variant_t *v, size_t at);

    // Why a dictionary cannot hold the key `name` of `len` bytes:
    // fault::none when it can. The one rule for every reader; a reader may
    // refuse such a key or leave its member out.
    static fault key_fault(const char *name, size_t len, key_nul nul) {
        if (len == 0) return fault::empty_key;
        if (nul == key_nul::some || (nul == key_nul::unknown && std::memchr(name, '\0', len) != nullptr)) {
            return fault::nul_in_key;
        }
        if (len >= INT32_MAX) return fault::string_too_long;  // past what a key string holds
        return fault::none;
    }

    // The value read, handed over; null when there is none (yet).
    pz_variant_t *take() {
        pz_variant_t *v = root_;
        root_ = nullptr;
        return v;
    }

private:
    // The announced count is not trusted for room: the items are pushed as
    // they come, so that a header announcing much and holding little costs
    // little.
    bool open(bool dict, size_t /*count*/, size_t at) {
        if (!enter(at)) return false;
        // A dictionary is made when it opens, its record and its table in
        // front of its members, where a walk meets them in the order it reads
        // them: a walk over records laid out children first waits on a cache
        // miss at every table. Its table has the room of the last dictionary
        // closed at this place (records repeat their shape), which is no more
        // than what was read; a table found short is sized again when it
        // closes.
        pz_variant_t *record = nullptr;
        if (dict) {
            const shape &last = shape_of(pending_key_, depth());
            const bool known = last.key == pending_key_ && last.level == depth();
            record = dict_new_for(known ? last.size : 0);
        }
        build::level *l = dict && record == nullptr ? nullptr : levels_.add();
        if (l == nullptr) {
            pz_variant_unref(record);
            leave();
            return refuse(fault::out_of_memory, at);
        }
        *l = {dict ? members_.size() : values_.size(), pending_key_, pending_hash_, in_dict_, record};
        pending_key_ = nullptr;
        in_dict_ = dict;
        return true;
    }

    // Hands the container made of the innermost level's items (taken over;
    // null when it could not be made) to its parent, under its key.
    bool close(pz_variant_t *container, size_t at) {
        const build::level &l = levels_.top();
        in_dict_ = l.parent_dict;
        pending_key_ = l.key;
        pending_hash_ = l.hash;
        levels_.cut(levels_.size() - 1);
        leave();
        if (container == nullptr) return refuse(fault::out_of_memory, at);
        return place(container, at);
    }

    // Puts the finished value `v` (taken over; null for an empty slot)
    // where it goes: into the innermost container, or as the whole value.
    bool place(pz_variant_t *v, size_t at) {
        if (depth() == 0) {
            root_ = v;
            return true;
        }
        if (!in_dict_) return values_.push(v) || refuse(fault::out_of_memory, at);
        build::member *m = members_.add();
        if (m == nullptr) {
            pz_variant_unref(v);  // (the key goes with the builder)
            return refuse(fault::out_of_memory, at);
        }
        m->key = pending_key_;
        m->value = v;
        m->hash = pending_hash_;
        m->at = pending_at_;
        pending_key_ = nullptr;
        return true;
    }

    key_cache own_keys_;
    key_cache &keys_;
    read_stack<pz_variant_t *, build::drop_value> values_;
    read_stack<build::member, build::drop_member> members_;
    read_stack<build::level, build::drop_level> levels_;
    pz_string_t *pending_key_ = nullptr;  // given, its value not yet
    uint32_t pending_hash_ = 0;
    size_t pending_at_ = 0;
    bool in_dict_ = false;  // the innermost container open is a dictionary
    // The size of the last dictionary closed in each place, a place being
    // its level and the key it goes under (keys are shared, so the same
    // name is the same string): the room a new one there is made with, as
    // records repeat their shape. A small table by hash, the last place to
    // fall into a slot keeping it.
    struct shape {
        const pz_string_t *key;
        int level;
        uint32_t size;
    };
    static constexpr unsigned kShapes = 64;
    shape &shape_of(const pz_string_t *key, int level) {
        const auto at = (reinterpret_cast<uintptr_t>(key) >> 4) * 31 + static_cast<unsigned>(level);
        return shapes_[at % kShapes];
    }
    shape shapes_[kShapes] = {};
    bool nil_slots_;
    bool unique_keys_ = false;
    pz_variant_t *root_ = nullptr;
};

}  // namespace pz

#endif  // PZ_VALUE_BUILDER_H
