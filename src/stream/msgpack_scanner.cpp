// Where a MessagePack value ends, across pieces.
#include "stream/msgpack_scanner.h"

#include "binary/msgpack.h"

using pz::stream::msgpack_scanner;
using namespace pz::msgpack;

void msgpack_scanner::start(size_t limit) {
    depth_ = 0;
    header_left_ = 0;
    skip_ = 0;
    seen_ = 0;
    owed_ = 1;  // the value's first byte
    limit_ = limit;
    whole_ = false;
    lost_ = false;
}

msgpack_scanner::step msgpack_scanner::scan(const uint8_t *p, const uint8_t *end, const uint8_t **stop) {
    while (p < end && !lost_) {
        if (skip_ != 0) {
            const uint64_t left = static_cast<uint64_t>(end - p);
            const uint64_t n = skip_ < left ? skip_ : left;
            p += n;
            seen_ += n;
            owed_ -= n;
            skip_ -= n;
            if (skip_ != 0) break;
            item_done();
            if (whole_) break;
            continue;
        }
        const uint8_t byte = *p++;
        ++seen_;
        --owed_;
        bool fits = true;
        if (header_left_ == 0) {
            fits = marker(byte);
        } else {
            header_ = header_ << 8 | byte;
            if (--header_left_ == 0) fits = length(header_);
        }
        if (!fits) return step::too_large;
        if (whole_) break;
    }
    *stop = p;
    return whole_ ? step::whole : step::open;
}

// The first byte of an item; false when the value no longer fits.
bool msgpack_scanner::marker(uint8_t m) {
    if (depth_ > 0) --left_[depth_ - 1];
    if (m <= positive_fixint_max || m >= negative_fixint_min || m == nil || m == false_ || m == true_) {
        return item_done();
    }
    if (m < fixarray) return begin_container(uint64_t{m & 0x0fu} * 2);
    if (m < fixstr) return begin_container(m & 0x0fu);
    if (m < nil) return payload(m & 0x1fu);
    if (m >= float32 && m <= int8 + 3) return payload(m == float32 ? 4 : m == float64 ? 8 : integer_width(m));
    if (m >= fixext1 && m < str8) return payload(1 + (1u << (m - fixext1)));  // the type, then 1 to 16 bytes
    unsigned width = 0;
    switch (m) {
        case never_used: return item_done();
        case ext8:
        case bin8:
        case str8: width = 1; break;
        case ext16:
        case bin16:
        case str16:
        case array16:
        case map16: width = 2; break;
        case ext32:
        case bin32:
        case str32:
        case array32:
        case map32: width = 4; break;
        default: break;
    }
    marker_ = m;
    header_ = 0;
    header_left_ = width;
    owed_ += width;
    return fits();
}

// The length that a header of marker_ announces, once all its bytes are in.
bool msgpack_scanner::length(uint64_t n) {
    switch (marker_) {
        case array16:
        case array32: return begin_container(n);
        case map16:
        case map32: return begin_container(n * 2);
        case ext8:
        case ext16:
        case ext32: return payload(n + 1);  // the type, then the bytes
        default: return payload(n);  // str and bin
    }
}

bool msgpack_scanner::begin_container(uint64_t items) {
    if (items == 0) return item_done();
    if (depth_ == kLevels) {
        lost_ = true;
        return true;
    }
    left_[depth_++] = items;
    owed_ += items;
    return fits();
}

bool msgpack_scanner::payload(uint64_t n) {
    if (n == 0) return item_done();
    skip_ = n;
    owed_ += n;
    return fits();
}

// An item is complete, and with it every level whose items are all in;
// the value is whole when none is left open. Always true (it fits).
bool msgpack_scanner::item_done() {
    while (depth_ > 0 && left_[depth_ - 1] == 0) --depth_;
    whole_ = depth_ == 0;
    return true;
}
