// Private to the library: where a MessagePack value ends, learnt across the
// pieces its bytes arrive in without reading it: the items left at each
// open level, the bytes of a header cut by the end of a piece, the payload
// still to pass. It also keeps a lower bound of the bytes the value still
// needs (each announced element at least one byte, each payload its
// length), so that a header announcing more than the caller's limit is
// refused as it arrives, before any of what it announces is held.
//
// It checks nothing else: it passes over what the reader refuses (an ext
// value, the never-used byte), for the reader to refuse when it reads the
// value, with its own reason. Past any depth the reader takes it follows
// nothing more, and the value waits for the end of the stream or the limit.
#ifndef PZ_MSGPACK_SCANNER_H
#define PZ_MSGPACK_SCANNER_H

#include <cstddef>
#include <cstdint>

#include "pzvariant/pz_variant.h"

namespace pz::stream {

class msgpack_scanner {
public:
    enum class step { open, whole, too_large };

    // Deeper than this the reader refuses a value; the margin keeps the
    // scanner from giving up where the reader would still read.
    static constexpr int kLevels = PZ_VARIANT_MAX_DEPTH + 8;

    // With room for kLevels counts at `levels`, which the owner keeps
    // (only a reader of MessagePack needs them).
    explicit msgpack_scanner(uint64_t *levels = nullptr) : left_(levels) {}

    // A value begins at the next byte scanned; it may take `limit` bytes.
    void start(size_t limit);

    // Scans the bytes from `p` to `end`, which follow those scanned before:
    // `whole` with `*stop` past the value's last byte, `too_large` once the
    // value must take more than the limit, `open` when it goes on past
    // `end` (or nests too deep to follow).
    step scan(const uint8_t *p, const uint8_t *end, const uint8_t **stop);

private:
    bool marker(uint8_t m);
    bool length(uint64_t n);
    bool begin_container(uint64_t items);
    bool payload(uint64_t n);
    bool item_done();
    bool fits() const { return seen_ + owed_ <= limit_; }

    uint64_t *left_;          // items of each open level not yet begun
    int depth_ = 0;
    uint8_t marker_ = 0;      // of the header being gathered
    unsigned header_left_ = 0;
    uint64_t header_ = 0;     // its length bytes so far
    uint64_t skip_ = 0;       // payload bytes to pass
    uint64_t seen_ = 0;       // bytes of the value scanned
    uint64_t owed_ = 0;       // bytes still to come, at least
    uint64_t limit_ = 0;
    bool whole_ = false;
    bool lost_ = false;       // nested too deep to follow
};

}  // namespace pz::stream

#endif  // PZ_MSGPACK_SCANNER_H
