// Private to the library: the one place where read events become values.
// Every reader (plain JSON, MessagePack, the typed dump) hands its events to
// a value_builder, which keeps the containers open, the depth limit, the
// rules for keys, the shared key strings and the record of the read.
#ifndef PZ_VALUE_BUILDER_H
#define PZ_VALUE_BUILDER_H

#include "io/key_cache.h"
#include "io/read_sink.h"
#include "io/read_stack.h"

namespace pz {

namespace build {

struct member {
    pz_string_t *key;
    pz_variant_t *value;
    uint32_t hash;
};

// A container open around the events: where its items start on the
// builder's stacks, and the key it will go under in its parent.
struct level {
    size_t base;
    pz_string_t *key;
    uint32_t hash;
    bool parent_dict;
};

void drop_value(pz_variant_t *&v);
void drop_member(member &m);
void drop_level(level &l);

}  // namespace build

// The elements and members of the containers open wait on two stacks, so
// that each container is made once, at its full size, when it closes: what
// the builder holds is in proportion to what was read, whatever counts the
// input announces. A sink of read events (io/read_sink.h).
class value_builder : public read_record {
public:
    // With `nil_slots`, a null inside an array is an empty slot (as
    // MessagePack's nil reads) rather than a value of the null kind. Keys
    // are shared through `keys` when given (a stream reader keeps one for
    // all the values it reads), else through a cache of the read's own.
    explicit value_builder(bool nil_slots = false, key_cache *keys = nullptr)
        : keys_(keys != nullptr ? *keys : own_keys_), nil_slots_(nil_slots) {}
    value_builder(const value_builder &) = delete;
    value_builder &operator=(const value_builder &) = delete;
    ~value_builder();

    bool begin_array(size_t count, size_t at) { return open(false, count, at); }
    bool begin_dict(size_t count, size_t at) { return open(true, count, at); }
    bool end_array(size_t at);
    bool end_dict(size_t at);

    // The key of the next member. Refused when a dictionary cannot hold it
    // (key_fault says why).
    bool key(const char *name, size_t len, key_nul nul, size_t at);
    bool other_key(size_t at) { return refuse(fault::key_not_string, at); }
    // For a reader that leaves a member out after its key was given.
    void forget_key();

    bool scalar(const pz_variant_t &record, size_t at);
    bool text(char vt, const char *bytes, size_t len, size_t at);
    // A value the reader made itself (taken over, null when it could not
    // be made).
    bool made(pz_variant_t *v, size_t at);

    // Why a dictionary cannot hold the key `name` of `len` bytes:
    // fault::none when it can. The one rule for every reader; a reader may
    // refuse such a key or leave its member out.
    static fault key_fault(const char *name, size_t len, key_nul nul);

    // The value read, handed over; null when there is none (yet).
    pz_variant_t *take() {
        pz_variant_t *v = root_;
        root_ = nullptr;
        return v;
    }

private:
    bool open(bool dict, size_t count, size_t at);
    bool close(pz_variant_t *container, size_t at);

    // Puts the finished value `v` (taken over; null for an empty slot)
    // where it goes: into the innermost container, or as the whole value.
    bool place(pz_variant_t *v, size_t at) {
        if (depth() == 0) {
            root_ = v;
            return true;
        }
        if (!in_dict_) return values_.push(v) || refuse(fault::out_of_memory, at);
        const build::member m{pending_key_, v, pending_hash_};
        pending_key_ = nullptr;
        return members_.push(m) || refuse(fault::out_of_memory, at);
    }

    key_cache own_keys_;
    key_cache &keys_;
    read_stack<pz_variant_t *, build::drop_value> values_;
    read_stack<build::member, build::drop_member> members_;
    read_stack<build::level, build::drop_level> levels_;
    pz_string_t *pending_key_ = nullptr;  // given, its value not yet
    uint32_t pending_hash_ = 0;
    bool in_dict_ = false;  // the innermost container open is a dictionary
    bool nil_slots_;
    pz_variant_t *root_ = nullptr;
};

}  // namespace pz

#endif  // PZ_VALUE_BUILDER_H
