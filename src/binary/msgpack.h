// Private to the library: the MessagePack writer's entry for the public
// functions, and the format bytes the writer and the reader share.
#ifndef PZ_MSGPACK_H
#define PZ_MSGPACK_H

#include <cstdint>

#include "io/sink.h"
#include "pzvariant/pz_variant.h"

namespace pz::msgpack {

// The format bytes of MessagePack, and the ranges of its fixed formats.
enum marker : uint8_t {
    positive_fixint_max = 0x7f,
    fixmap = 0x80,
    fixarray = 0x90,
    fixstr = 0xa0,
    nil = 0xc0,
    never_used = 0xc1,
    false_ = 0xc2,
    true_ = 0xc3,
    bin8 = 0xc4,
    bin16 = 0xc5,
    bin32 = 0xc6,
    ext8 = 0xc7,
    ext16 = 0xc8,
    ext32 = 0xc9,
    float32 = 0xca,
    float64 = 0xcb,
    uint8 = 0xcc,  // then uint16, uint32, uint64
    int8 = 0xd0,   // then int16, int32, int64
    fixext1 = 0xd4,  // to fixext16 (0xd8)
    str8 = 0xd9,
    str16 = 0xda,
    str32 = 0xdb,
    array16 = 0xdc,
    array32 = 0xdd,
    map16 = 0xde,
    map32 = 0xdf,
    negative_fixint_min = 0xe0,
};

// The sized integer formats come in widths of 1, 2, 4 and 8 bytes, from
// their first marker on: the width of one of them.
constexpr unsigned integer_width(uint8_t marker) { return 1u << (marker & 3u); }

// Writes the MessagePack of `v` to `out`; false when the value is refused
// (nested too deep, containing itself, a pointer without the flag, a
// container or text past 32 bits) or the sink failed, with the reason in
// `*why` when that is not null.
bool write(const pz_variant_t *v, unsigned flags, out_sink &out, pz_status *why = nullptr);

}  // namespace pz::msgpack

#endif  // PZ_MSGPACK_H
