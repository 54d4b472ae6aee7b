// Private to the library: what the readers hand on, one event at a time,
// and the record of a read that every receiver of events keeps.
//
// The JSON parser, the MessagePack decoder and the typed dump's walk turn
// their input into events, in input order: the start and end of an array
// or a dictionary, a member's key, a scalar of a kind, a text. A sink takes
// them: the value builder, which makes values of them, or the caller's own
// callbacks. The parsers are templates on their sink, so that the
// builder's events are plain calls the compiler can inline. A sink is any
// class with these members, each returning false to end the read:
//
//   bool begin_array(size_t count, size_t at);  // count announced, or kUnknownCount
//   bool end_array(size_t at);
//   bool begin_dict(size_t count, size_t at);
//   bool end_dict(size_t at);
//   bool key(const char *name, size_t len, key_nul nul, size_t at);
//   bool other_key(size_t at);                   // a key that is not a text
//   bool scalar(const pz_variant_t &record, size_t at);  // null, bool, a number
//   bool text(char vt, const char *bytes, size_t len, size_t at);  // string or bytes
//
// and the read_record below, as a base. `at` is the byte offset in the
// input where the event's token starts: where a fault the sink finds is
// reported. Between begin_dict and end_dict, events come in pairs: a key,
// then its value.
#ifndef PZ_READ_SINK_H
#define PZ_READ_SINK_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "io/read_error.h"
#include "pzvariant/pz_variant.h"

namespace pz {

// The count of a container whose form does not announce it (JSON).
inline constexpr size_t kUnknownCount = SIZE_MAX;

// What the reader knows of NUL bytes in a key: none, some, or not looked.
enum class key_nul : uint8_t { none, some, unknown };

// A scalar event's record, on the reader's stack: zeroed, of kind `vt`;
// the reader stores the value in its first bytes.
inline pz_variant_t scalar_record(char vt) {
    pz_variant_t r;
    std::memset(static_cast<void *>(&r), 0, sizeof r);
    r.vt = vt;
    return r;
}

// The record of one read: the first fault and where it stands, whether the
// caller stopped it, and the containers open, bounded by the deepest
// nesting a value may have.
class read_record {
public:
    // Records fault `f` at byte `at` unless one is recorded already; false,
    // for the reader to end the read.
    bool refuse(fault f, size_t at) {
        if (why_ == fault::none && !stopped_) {
            why_ = f;
            at_ = at;
        }
        return false;
    }
    // The caller asked to end the read, which is not a fault; false.
    bool stop() {
        stopped_ = true;
        return false;
    }

    // Whether a value may start at byte `at`, with depth() containers open
    // around it: refused past PZ_VARIANT_MAX_DEPTH levels, the value itself
    // counting as one.
    bool value_fits(size_t at) { return depth_ < PZ_VARIANT_MAX_DEPTH || refuse(fault::too_deep, at); }
    // A container starting at `at`, one level more.
    bool enter(size_t at) {
        if (!value_fits(at)) return false;
        ++depth_;
        return true;
    }
    void leave() { --depth_; }
    int depth() const { return depth_; }

    bool failed() const { return why_ != fault::none; }
    bool stopped() const { return stopped_; }
    fault why() const { return why_; }
    size_t where() const { return at_; }

    // Fills `error` (when not null) with the fault, its offset and its line
    // and column in the text `text` of `len` bytes (null for binary input),
    // or as read.
    void report(pz_read_error_t *error, const char *text, size_t len) const {
        if (why_ == fault::none) {
            read_ok(error);
        } else if (text != nullptr) {
            read_fault(error, why_, text, len, at_);
        } else {
            read_fault_binary(error, why_, at_);
        }
    }

private:
    fault why_ = fault::none;
    size_t at_ = 0;
    int depth_ = 0;
    bool stopped_ = false;
};

}  // namespace pz

#endif  // PZ_READ_SINK_H
