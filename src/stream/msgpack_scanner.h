// Private to the library: where a MessagePack value ends, learnt across the
// pieces its bytes arrive in without reading it: the items left at each
// open level, the bytes of a header cut by the end of a piece, the payload
// still to pass. It keeps a lower bound of the bytes the value still needs
// (each announced item at least one byte, each payload its length), so
// that a header announcing more than the caller's limit is refused as it
// arrives, before any of what it announces is held.
//
// The reader checks every header against the bytes left before it goes
// on, so while the bytes have not all arrived it cannot see a fault that
// stands before such a header. The scanner finds those faults itself, in
// the order and at the places the reader finds them (the same table
// names them): nesting too deep, the never-used byte, an ext value, a key
// that is not a non-empty text without NUL, a text too long for any value.
#ifndef PZ_MSGPACK_SCANNER_H
#define PZ_MSGPACK_SCANNER_H

#include <cstddef>
#include <cstdint>

#include "io/read_error.h"

namespace pz::stream {

class msgpack_scanner {
public:
    enum class step { open, whole, too_large, fault };

    // The most levels open at once: the reader refuses an item nested in
    // more containers than that.
    static constexpr int kLevels = PZ_VARIANT_MAX_DEPTH;

    // With room for kLevels counts at `levels`, which the owner keeps
    // (only a reader of MessagePack needs them).
    explicit msgpack_scanner(uint64_t *levels = nullptr) : left_(levels) {}

    // A value begins at the next byte scanned; it may take `limit` bytes.
    void start(size_t limit);

    // Scans the bytes from `p` to `end`, which follow those scanned before:
    // `whole` past the value's last byte, `too_large` once the value must
    // take more than the limit, `fault` at the first fault (fault() and
    // fault_at() say which and where), `open` when it goes on past `end`.
    step scan(const uint8_t *p, const uint8_t *end);

    pz::fault fault() const { return fault_; }
    // The fault's offset from the value's first byte.
    uint64_t fault_at() const { return fault_at_; }

private:
    bool item(uint8_t m);
    bool key(uint8_t m);
    bool value(uint8_t m);
    bool header(uint8_t m, unsigned width);
    bool length(uint64_t n);
    bool begin_container(uint64_t items, bool map);
    bool payload(uint64_t n);
    bool refuse(pz::fault f, uint64_t at);
    void item_done();
    const uint8_t *skip(const uint8_t *p, const uint8_t *end);
    bool fits() const { return seen_ + owed_ <= limit_; }

    uint64_t *left_;           // items of each open level not yet begun; a map's carry kMap
    int depth_ = 0;
    uint8_t marker_ = 0;       // of the header being gathered
    bool key_ = false;         // the item being scanned is a map's key
    unsigned header_left_ = 0;
    uint64_t header_ = 0;      // its length bytes so far
    uint64_t item_at_ = 0;     // where the item being scanned starts
    uint64_t skip_ = 0;        // payload bytes to pass
    uint64_t seen_ = 0;        // bytes of the value scanned
    uint64_t owed_ = 0;        // bytes still to come, at least
    uint64_t limit_ = 0;
    bool whole_ = false;
    pz::fault fault_ = pz::fault::none;
    uint64_t fault_at_ = 0;
};

}  // namespace pz::stream

#endif  // PZ_MSGPACK_SCANNER_H
