/** @file cpp/hash.hpp
 * std::hash of values and views, agreeing with their operator==, so that
 * they key std::unordered_map and std::unordered_set.
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_HASH_HPP
#define PZ_CPP_HASH_HPP

#include <cstddef>
#include <functional>

#include "value.hpp"

/// @cond detail
namespace std {
/** The hash of the value a pz::view sees (pz_variant_hash): equal values hash alike. */
template <>
struct hash<pz::view> {
    size_t operator()(pz::view v) const noexcept { return static_cast<size_t>(pz_variant_hash(v.get())); }
};
/** The hash of the value a pz::value holds (pz_variant_hash). */
template <>
struct hash<pz::value> {
    size_t operator()(const pz::value &v) const noexcept { return static_cast<size_t>(pz_variant_hash(v.get())); }
};
}  // namespace std
/// @endcond

#endif  // PZ_CPP_HASH_HPP
