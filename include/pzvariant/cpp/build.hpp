/** @file cpp/build.hpp
 * Making containers from C++ values: pz::pack, pz::array, pz::dict.
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_BUILD_HPP
#define PZ_CPP_BUILD_HPP

#include <initializer_list>
#include <new>
#include <stdexcept>
#include <string_view>
#include <type_traits>
#include <utility>

#include "iteration.hpp"

namespace pz {

/** @addtogroup cpp
 * @{ */

/** A new array packed from C++ values, the kind of each element given by its
 * type exactly: pz::pack(int32_t{7}, "text") holds an int32 and a string.
 * Throws std::invalid_argument when given nothing to pack. */
template <class... Ts>
value pack(const Ts &...xs) {
    if constexpr (sizeof...(Ts) == 0) {
        throw std::invalid_argument("pz::pack: nothing to pack (pz::array({}) makes an empty array)");
    } else {
        return array({value(xs)...});
    }
}

/** A new array holding the given elements in order. */
inline value array(std::initializer_list<value> elements) {
    value a = value::adopt(detail::check(pz_variant_array_new()));
    for (const value &e : elements) a.push_back(e);
    return a;
}

/** A new dictionary holding the given entries; a later duplicate key wins. */
inline value dict(std::initializer_list<std::pair<std::string_view, value>> entries) {
    value d = value::adopt(detail::check(pz_variant_dict_new()));
    for (const auto &[key, element] : entries) d.set(key, element);
    return d;
}

/** @} */

}  // namespace pz

#endif  // PZ_CPP_BUILD_HPP
