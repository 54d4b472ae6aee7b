/** @file cpp/dump_strict.hpp
 * C++ interface to the strict reader of the typed dump (pz_dump_strict.h):
 *
 *     pz::value v = pz::from_dump_strict(text);   // throws where from_dump would skip or wrap
 *
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_DUMP_STRICT_HPP
#define PZ_CPP_DUMP_STRICT_HPP

#include <string_view>

#include "../pz_dump_strict.h"
#include "text.hpp"

namespace pz {

/** @addtogroup cpp
 * @{ */

/** The value a typed dump text describes, read strictly as
 * pz_variant_from_dump_strict reads it. Throws pz::parse_error where that
 * refuses (what() the reason, code(), offset(), line(), column()),
 * std::bad_alloc when out of memory. */
inline value from_dump_strict(std::string_view text) {
    pz_read_error_t error;
    return detail::read_result(pz_variant_from_dump_strict(text.data(), text.size(), &error), error);
}

/** @} */

}  // namespace pz

#endif  // PZ_CPP_DUMP_STRICT_HPP
