// Where a MessagePack value ends, across pieces, and the faults the reader
// would refuse it for, at the places it would.
#include "stream/msgpack_scanner.h"

#include <cstring>

#include "binary/msgpack.h"

using pz::stream::msgpack_scanner;
using namespace pz::msgpack;

namespace {

// A level that is a map: its items alternate key and value, counted down
// from twice the entries, so that a key begins at an even count.
constexpr uint64_t kMap = uint64_t{1} << 63;

}  // namespace

void msgpack_scanner::start(size_t limit) {
    depth_ = 0;
    header_left_ = 0;
    skip_ = 0;
    seen_ = 0;
    owed_ = 1;  // the value's first byte
    limit_ = limit;
    whole_ = false;
    fault_ = pz::fault::none;
}

msgpack_scanner::step msgpack_scanner::scan(const uint8_t *p, const uint8_t *end) {
    while (p < end && !whole_ && fault_ == pz::fault::none) {
        if (skip_ != 0) {
            p = skip(p, end);
            if (skip_ == 0 && fault_ == pz::fault::none) item_done();
            continue;
        }
        const uint8_t byte = *p++;
        ++seen_;
        --owed_;
        bool fits = true;
        if (header_left_ == 0) {
            item_at_ = seen_ - 1;
            fits = item(byte);
        } else {
            header_ = header_ << 8 | byte;
            if (--header_left_ == 0) fits = length(header_);
        }
        if (!fits && fault_ == pz::fault::none) return step::too_large;
    }
    if (fault_ != pz::fault::none) return step::fault;
    return whole_ ? step::whole : step::open;
}

// Passes payload bytes; a key's NUL byte refuses it.
const uint8_t *msgpack_scanner::skip(const uint8_t *p, const uint8_t *end) {
    const uint64_t left = static_cast<uint64_t>(end - p);
    const auto n = static_cast<size_t>(skip_ < left ? skip_ : left);
    if (key_ && std::memchr(p, '\0', n) != nullptr) {
        refuse(pz::fault::nul_in_key, item_at_);
        return p;
    }
    seen_ += n;
    owed_ -= n;
    skip_ -= n;
    return p + n;
}

// The first byte of an item; false when the value no longer fits.
bool msgpack_scanner::item(uint8_t m) {
    key_ = false;
    if (depth_ > 0) {
        uint64_t &left = left_[depth_ - 1];
        key_ = (left & kMap) != 0 && (left & 1) == 0;
        --left;
    }
    if (key_) return key(m);
    if (depth_ >= kLevels) return refuse(pz::fault::too_deep, item_at_);
    return value(m);
}

// A map's key: a text, not empty (a NUL in it is found as it is passed).
bool msgpack_scanner::key(uint8_t m) {
    if ((m & 0xe0u) == fixstr) return (m & 0x1fu) != 0 ? payload(m & 0x1fu) : refuse(pz::fault::empty_key, item_at_);
    if (m < str8 || m > str32) return refuse(pz::fault::key_not_string, item_at_);
    return header(m, 1u << (m - str8));
}

// A value's first byte.
bool msgpack_scanner::value(uint8_t m) {
    if (m <= positive_fixint_max || m >= negative_fixint_min || m == nil || m == false_ || m == true_) {
        item_done();
        return true;
    }
    if (m < fixarray) return begin_container(uint64_t{m & 0x0fu} * 2, true);
    if (m < fixstr) return begin_container(m & 0x0fu, false);
    if (m < nil) return payload(m & 0x1fu);
    if (m >= float32 && m <= int8 + 3) return payload(m == float32 ? 4 : m == float64 ? 8 : integer_width(m));
    unsigned width = 0;
    switch (m) {
        case bin8:
        case str8: width = 1; break;
        case bin16:
        case str16:
        case array16:
        case map16: width = 2; break;
        case bin32:
        case str32:
        case array32:
        case map32: width = 4; break;
        case never_used: return refuse(pz::fault::never_used_byte, item_at_);
        default: return refuse(pz::fault::ext_value, item_at_);  // ext 8/16/32, fixext 1 to 16
    }
    return header(m, width);
}

// A header of marker `m` whose length takes the `width` bytes that follow.
bool msgpack_scanner::header(uint8_t m, unsigned width) {
    marker_ = m;
    header_ = 0;
    header_left_ = width;
    owed_ += width;
    return fits();
}

// The length a header announces, once all its bytes are in, checked as
// the reader checks it.
bool msgpack_scanner::length(uint64_t n) {
    const bool map = marker_ == map16 || marker_ == map32;
    const bool string = marker_ >= str8 && marker_ <= str32;
    if (key_) return n != 0 ? payload(n) : refuse(pz::fault::empty_key, item_at_);
    if (string && n == UINT32_MAX) return refuse(pz::fault::string_too_long, item_at_);  // no room for its end
    // Past what the address space holds (32-bit targets only).
    const uint64_t room = (SIZE_MAX - seen_) / (map ? 2 : 1);
    if (n > room) {
        return refuse(string                            ? pz::fault::string_too_long
                      : marker_ >= bin8 && marker_ <= bin32 ? pz::fault::bytes_too_long
                                                        : pz::fault::too_many_elements,
                      item_at_);
    }
    if (map) return begin_container(n * 2, true);
    if (marker_ == array16 || marker_ == array32) return begin_container(n, false);
    return payload(n);
}

bool msgpack_scanner::begin_container(uint64_t items, bool map) {
    if (items == 0) {
        item_done();
        return true;
    }
    left_[depth_++] = items | (map ? kMap : 0);
    owed_ += items;
    return fits();
}

bool msgpack_scanner::payload(uint64_t n) {
    if (n == 0) {
        item_done();
        return true;
    }
    skip_ = n;
    owed_ += n;
    return fits();
}

bool msgpack_scanner::refuse(pz::fault f, uint64_t at) {
    fault_ = f;
    fault_at_ = at;
    return true;
}

// An item is complete, and with it every level whose items are all in;
// the value is whole when none is left open.
void msgpack_scanner::item_done() {
    key_ = false;
    while (depth_ > 0 && (left_[depth_ - 1] & ~kMap) == 0) --depth_;
    whole_ = depth_ == 0;
}
