/** @file cpp/text.hpp
 * Texts and bytes: reading JSON, the typed dump and MessagePack into values,
 * and writing values as JSON.
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_TEXT_HPP
#define PZ_CPP_TEXT_HPP

#include <cstddef>
#include <new>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>
#if __cplusplus >= 202002L
#include <span>
#endif

#include "value.hpp"

namespace pz {

/** @addtogroup cpp
 * @{ */

/// @cond detail
namespace detail {

// Takes `v` over; throws what `error` reports when it is null.
inline value read_result(pz_variant_t *v, const pz_read_error_t &error) {
    if (v != nullptr) return value::adopt(v);
    if (error.code == PZ_READ_OUT_OF_MEMORY) throw std::bad_alloc();
    throw parse_error(error);
}

}  // namespace detail
/// @endcond

/** The value a dump text describes, read from the view's length (no copy;
 * a NUL byte in it is refused where it is). Throws pz::parse_error when the
 * text describes no readable value (what() the reason, offset() where). */
inline value from_dump(std::string_view text) {
    pz_read_error_t error;
    return detail::read_result(pz_variant_from_dump_n(text.data(), text.size(), &error), error);
}

/** The value a plain JSON text holds, its kinds by the rule in pz_variant.h,
 * read from the view's length (a NUL byte in it is refused where it is).
 * Throws pz::parse_error when the text is not one JSON value (what(), code(),
 * offset(), line() and column() say why and where). */
inline value from_json(std::string_view text) {
    pz_read_error_t error;
    return detail::read_result(pz_variant_from_json_n(text.data(), text.size(), &error), error);
}

/** The value of the MessagePack in the `len` bytes at `data`, its kinds by
 * the rule in pz_variant.h. Throws pz::parse_error when the bytes are not
 * one readable value (what() the reason, code() the same for a program,
 * offset() where), std::bad_alloc when out of memory. */
inline value from_msgpack(const void *data, size_t len) {
    pz_read_error_t error;
    return detail::read_result(pz_variant_from_msgpack(data, len, &error), error);
}

/** As from_msgpack(data, len), of the bytes that value::to_msgpack gives. */
inline value from_msgpack(const std::vector<std::byte> &bytes) { return from_msgpack(bytes.data(), bytes.size()); }

#if __cplusplus >= 202002L
/** As from_msgpack(data, len), of the bytes of `bytes`. */
inline value from_msgpack(std::span<const std::byte> bytes) { return from_msgpack(bytes.data(), bytes.size()); }
#endif

/** Writes the indented plain JSON of `v`; an empty handle or a value that
 * cannot be written sets failbit and writes nothing. */
inline std::ostream &operator<<(std::ostream &out, const value &v) {
    try {
        return out << v.to_json(true);
    } catch (const error &) {
        out.setstate(std::ios::failbit);
        return out;
    }
}

/** @} */

}  // namespace pz

#endif  // PZ_CPP_TEXT_HPP
