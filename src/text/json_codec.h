// Private to the library: the texts of JSON numbers and the escapes of JSON
// strings, shared by the plain writer and the typed dump's writer so that
// both spell a value the same way.
#ifndef PZ_JSON_CODEC_H
#define PZ_JSON_CODEC_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace pz::json {

// Room for any number text below: a 64-bit integer with its sign, or the
// shortest text of a double with ".0" after it.
inline constexpr size_t kNumberRoom = 32;

// The exact decimal text of an integer given by sign and magnitude, written
// at `out`; returns where it ends. No terminator.
char *write_integer(char *out, bool negative, uint64_t magnitude);

template <class T>
char *write_integer(char *out, T value) {
    const auto magnitude = static_cast<uint64_t>(value);
    if constexpr (static_cast<T>(-1) < T{0}) {
        if (value < 0) return write_integer(out, true, 0 - magnitude);
    }
    return write_integer(out, false, magnitude);
}

// The shortest text that reads back to the same `value` (a float as a
// float, a double as a double), written at `out`; returns where it ends.
// JSON cannot spell the infinities or NaN: infinities are written 1e999 and
// -1e999, which any reader takes as infinite, and NaN as null. With
// `mark_integral`, a finite value whose text has neither a fraction nor an
// exponent gets ".0", so that a reader by the rule of kinds takes it as a
// double again.
char *write_real(char *out, double value, bool mark_integral);
char *write_real(char *out, float value, bool mark_integral);

// The text ECMAScript gives a finite double (Number.prototype.toString),
// which canonical JSON (RFC 8785) writes: the shortest digits that read
// back to the same bits, as plain digits for magnitudes from 1e-6 up to
// below 1e21 ("0.000001", "123", "1e+21" past it), else with an exponent
// ("1e-7", "1.5e+300"); both zeros are "0". Written at `out` (room for
// kNumberRoom bytes); returns where it ends.
char *write_ecmascript(char *out, double value);

// How a byte of a string is written inside the quotes: kAsIs, a backslash
// and the letter given (\" \\ \b \f \n \r \t), or kHexEscape, \u00XX. A
// byte of 0x80 or more is kMultiByte: part of a UTF-8 sequence, written as
// it is once the sequence is known to be well-formed.
enum : unsigned char { kAsIs = 0, kHexEscape = 1, kMultiByte = 2 };
inline constexpr std::array<unsigned char, 256> kStringByte = [] {
    std::array<unsigned char, 256> how{};
    for (int c = 0; c < 0x20; ++c) how[c] = kHexEscape;
    for (int c = 0x80; c < 0x100; ++c) how[c] = kMultiByte;
    how['"'] = '"';
    how['\\'] = '\\';
    how['\b'] = 'b';
    how['\f'] = 'f';
    how['\n'] = 'n';
    how['\r'] = 'r';
    how['\t'] = 't';
    return how;
}();

// Writes the escape of `c` (not kAsIs) at `out`, 2 or 6 bytes, and returns
// where it ends. A kMultiByte byte is written \u00XX: how the plain writer
// spells a byte that is not part of well-formed UTF-8, when asked to.
char *write_escape(char *out, unsigned char c);

}  // namespace pz::json

#endif  // PZ_JSON_CODEC_H
