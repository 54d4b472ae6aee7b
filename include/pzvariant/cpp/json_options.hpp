/** @file cpp/json_options.hpp
 * C++ interface to the options of plain JSON (pz_json_options.h):
 *
 *     std::string signed_text = pz::to_json(doc, PZ_JSON_CANONICAL);
 *     std::string for_people = pz::to_json(doc, PZ_JSON_INDENT_WIDTH(4) | PZ_JSON_SORT_KEYS);
 *     pz::value cfg = pz::from_json(text, PZ_JSON_READ_COMMENTS | PZ_JSON_READ_TRAILING_COMMAS);
 *
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_JSON_OPTIONS_HPP
#define PZ_CPP_JSON_OPTIONS_HPP

#include <string>
#include <string_view>

#include "../pz_json_options.h"
#include "../pz_status.h"
#include "text.hpp"

namespace pz {

/** @addtogroup cpp
 * @{ */

/** The plain JSON text of `v` written with the writer `flags` of
 * pz_variant_to_json (PZ_JSON_INDENT_WIDTH(n), PZ_JSON_INDENT_TABS,
 * PZ_JSON_SORT_KEYS, PZ_JSON_CANONICAL, PZ_JSON_NONFINITE_LITERALS, ...).
 * Throws pz::error for an empty handle and for a value the flags refuse (nested too
 * deep or containing itself, a string that is not UTF-8, with
 * PZ_JSON_CANONICAL a NaN, an infinity or an integer no double holds),
 * std::bad_alloc when out of memory. */
inline std::string to_json(const value &v, unsigned flags) {
    if (v.get() == nullptr) throw error("pzvariant: to_json through an empty handle");
    detail::collector<std::string> text;
    return text.take(pz_variant_to_json_callback_ex(v.get(), text.chunk, &text, flags), "to_json");
}

/** The value a plain JSON text holds, read with the reading `flags`
 * (PZ_JSON_READ_COMMENTS, PZ_JSON_READ_TRAILING_COMMAS, ...) as
 * pz_variant_from_json_opts reads it. Throws pz::parse_error when the text
 * is refused (what(), code(), offset(), line() and column() say why and
 * where), std::bad_alloc when out of memory. */
inline value from_json(std::string_view text, unsigned flags) {
    pz_read_error_t error;
    return detail::read_result(pz_variant_from_json_opts(text.data(), text.size(), flags, &error), error);
}

/** @} */

}  // namespace pz

#endif  // PZ_CPP_JSON_OPTIONS_HPP
