// Private to the library: MessagePack decoded in one pass, each value
// handed to a sink of read events (io/read_sink.h): the value builder or
// the caller's callbacks. A template on its sink, so that the builder's
// events are plain calls.
//
// Every header is checked against what is left of the input before its
// event: each element takes at least one byte, each map entry two, so a
// header that announces more than is left is refused at once, as cut
// short, at the end of the input. An input that ends inside a value is
// refused there too, whatever it cut, so that a caller reading a stream
// can wait for more.
#ifndef PZ_MSGPACK_DECODE_H
#define PZ_MSGPACK_DECODE_H

#include "binary/msgpack.h"
#include "io/read_sink.h"

namespace pz::msgpack {

// The kinds of the sized number formats, float 32 (0xca) to int 64 (0xd3).
inline constexpr char kSizedKinds[] = {vtype_float,  vtype_double, vtype_uint8, vtype_uint16, vtype_uint32,
                                       vtype_uint64, vtype_int8,   vtype_int16, vtype_int32,  vtype_int64};

// A scalar record of kind `vt` holding the `width` low bytes of `bits` as
// the union member of that width.
inline pz_variant_t number_record(char vt, uint64_t bits, unsigned width) {
    pz_variant_t r = scalar_record(vt);
    switch (width) {
        case 1: r.uint8_val = static_cast<uint8_t>(bits); break;
        case 2: r.uint16_val = static_cast<uint16_t>(bits); break;
        case 4: r.uint32_val = static_cast<uint32_t>(bits); break;
        default: r.uint64_val = bits; break;
    }
    return r;
}

// Recursive; the sink bounds the nesting. Every function returns false
// once the sink has a fault or was stopped.
template <class Sink>
class decoder {
public:
    decoder(const uint8_t *data, size_t len, Sink &sink) : start_(data), p_(data), end_(data + len), sink_(sink) {}

    // Reads one value and hands on its events.
    bool element() {
        const uint8_t *at = p_;
        if (p_ == end_) return truncated();
        const uint8_t m = *p_++;
        if (m <= positive_fixint_max) return number(vtype_int64, m, 8, at);
        if (m >= negative_fixint_min) return number(vtype_int64, static_cast<uint64_t>(int64_t{static_cast<int8_t>(m)}), 8, at);
        if (m < fixarray) return map(m & 0x0fu, at);
        if (m < fixstr) return array(m & 0x0fu, at);
        if (m < nil) return text(vtype_string, m & 0x1fu, at);
        if (m >= float32 && m <= int8 + 3) return sized_number(m, at);
        return other(m, at);
    }

    // The bytes read so far.
    size_t offset() const { return static_cast<size_t>(p_ - start_); }

private:
    size_t offset(const uint8_t *at) const { return static_cast<size_t>(at - start_); }

    // The formats with a marker of their own besides the sized numbers.
    bool other(uint8_t m, const uint8_t *at) {
        uint32_t n = 0;
        switch (m) {
            case nil: return number(vtype_null, 0, 8, at);
            case false_:
            case true_: return number(vtype_bool, m == true_ ? 1 : 0, 1, at);
            case bin8:
            case bin16:
            case bin32: return length(m - bin8, &n) && text(vtype_bytes, n, at);
            case str8:
            case str16:
            case str32: return length(m - str8, &n) && text(vtype_string, n, at);
            case array16:
            case array32: return length(m - array16 + 1, &n) && array(n, at);
            case map16:
            case map32: return length(m - map16 + 1, &n) && map(n, at);
            case never_used: return sink_.refuse(fault::never_used_byte, offset(at));
            default:  // ext 8/16/32 and fixext 1 to 16
                return sink_.refuse(fault::ext_value, offset(at));
        }
    }

    // The big-endian unsigned number of `width` bytes that follows.
    bool take(unsigned width, uint64_t *x) {
        if (!left(width)) return false;
        uint64_t bits = 0;
        for (unsigned i = 0; i < width; ++i) bits = (bits << 8) | p_[i];
        p_ += width;
        *x = bits;
        return true;
    }

    // A length of 1, 2 or 4 bytes, after its family's first 8-bit format
    // (`step` 0, 1, 2).
    bool length(unsigned step, uint32_t *n) {
        uint64_t x = 0;
        if (!take(1u << step, &x)) return false;
        *n = static_cast<uint32_t>(x);
        return true;
    }

    bool sized_number(uint8_t m, const uint8_t *at) {
        const unsigned width = m == float32 ? 4 : m == float64 ? 8 : integer_width(m);
        uint64_t bits = 0;
        return take(width, &bits) && number(kSizedKinds[m - float32], bits, width, at);
    }

    bool number(char vt, uint64_t bits, unsigned width, const uint8_t *at) {
        return sink_.scalar(number_record(vt, bits, width), offset(at));
    }

    // A string or bytes of the `n` bytes that follow.
    bool text(char vt, uint32_t n, const uint8_t *at) {
        const bool bytes = vt == vtype_bytes;
        // A string's length leaves room for its terminator.
        if (!bytes && n == UINT32_MAX) return sink_.refuse(fault::string_too_long, offset(at));
        if (!announced(n, 1, bytes ? fault::bytes_too_long : fault::string_too_long, at)) return false;
        const auto *data = reinterpret_cast<const char *>(p_);
        p_ += n;
        return sink_.text(vt, data, n, offset(at));
    }

    bool array(uint32_t n, const uint8_t *at) {
        if (!announced(n, 1, fault::too_many_elements, at) || !sink_.begin_array(n, offset(at))) return false;
        for (uint32_t i = 0; i < n; ++i) {
            if (!element()) return false;
        }
        return sink_.end_array(offset());
    }

    bool map(uint32_t n, const uint8_t *at) {
        if (!announced(n, 2, fault::too_many_elements, at) || !sink_.begin_dict(n, offset(at))) return false;
        for (uint32_t i = 0; i < n; ++i) {
            if (!key() || !element()) return false;
        }
        return sink_.end_dict(offset());
    }

    // A map's key: a str, its NUL bytes not looked for.
    bool key() {
        const uint8_t *at = p_;
        if (!left(1)) return false;
        const uint8_t m = *p_++;
        uint32_t n = m & 0x1fu;
        const bool str = (m & 0xe0u) == fixstr || m == str8 || m == str16 || m == str32;
        if (!str) return sink_.other_key(offset(at));
        if ((m & 0xe0u) != fixstr && !length(m - str8, &n)) return false;
        if (!left(n)) return false;
        const auto *name = reinterpret_cast<const char *>(p_);
        p_ += n;
        return sink_.key(name, n, key_nul::unknown, offset(at));
    }

    // Whether `n` more bytes are there; the input cut short when not.
    bool left(size_t n) { return static_cast<size_t>(end_ - p_) >= n || truncated(); }

    // Whether the `n` items of at least `each` bytes that the header at `at`
    // announces are in the input: refused as `too_large` when no input
    // could hold them (past the address space), as cut short when this one
    // does not.
    bool announced(size_t n, size_t each, fault too_large, const uint8_t *at) {
        const size_t room = SIZE_MAX - offset();
        if (n > room / each) return sink_.refuse(too_large, offset(at));
        return static_cast<size_t>(end_ - p_) / each >= n || truncated();
    }

    bool truncated() { return sink_.refuse(fault::end_of_input, offset(end_)); }

    const uint8_t *start_;
    const uint8_t *p_;
    const uint8_t *end_;
    Sink &sink_;
};

// Reads one value from the front of the `len` bytes at `data` into
// `sink`: the whole input, or with `prefix` the value at its front. A
// fault is recorded in the sink. Returns the bytes used: those of the
// value; 0 when refused; up to the token it stopped at when the sink
// stopped the read.
template <class Sink>
size_t read(const uint8_t *data, size_t len, bool prefix, Sink &sink) {
    if (len == 0) return sink.refuse(fault::no_value, 0), 0;
    decoder<Sink> d(data, len, sink);
    if (d.element() && !prefix && d.offset() != len) sink.refuse(fault::bytes_after_value, d.offset());
    return sink.failed() ? 0 : d.offset();
}

}  // namespace pz::msgpack

#endif  // PZ_MSGPACK_DECODE_H
