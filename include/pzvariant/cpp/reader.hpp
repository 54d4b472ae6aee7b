/** @file cpp/reader.hpp
 * The read API that pz::value and pz::view share.
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_READER_HPP
#define PZ_CPP_READER_HPP

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#if __cplusplus >= 202002L
#include <span>
#endif

#include "detail.hpp"

namespace pz {

/** @addtogroup cpp
 * @{ */

class value;
class view;
class element_iterator;
class entry_iterator;
template <class It>
class basic_range;
/** The elements of an array, as views; see value::elements(). */
using element_range = basic_range<element_iterator>;
/** The entries of a dictionary; see value::entries(). */
using entry_range = basic_range<entry_iterator>;
value array(std::initializer_list<value> elements);

/// @cond detail
namespace detail {

// The read API that pz::value and pz::view share, over the C value that
// Self::get() gives (null for an empty handle or view).
template <class Self>
class reader {
public:
    /** True when there is a value, of any kind: a stored false or a null
     * value included. (There is no conversion to bool: read a bool with
     * value_or(false) or get<bool>().) */
    bool has_value() const noexcept { return raw() != nullptr; }
    /** True when there is no value and for a value of kind null. */
    bool is_null() const noexcept { return kind() == pz::kind::null; }

    /** The kind of the value; kind::null when there is none. */
    pz::kind kind() const noexcept { return raw() != nullptr ? static_cast<pz::kind>(raw()->vt) : pz::kind::null; }

    /** The value when its kind is exactly the one T maps to, else nothing:
     * get<int64_t>() of an int32 is empty. Texts read as std::string_view
     * (borrowed, valid while the value lives) or std::string (a copy); a
     * byte buffer as std::span<const std::byte> (borrowed likewise; C++20). */
    template <class T>
    std::optional<T> get() const noexcept(!std::is_same_v<T, std::string>) {
        const pz_variant_t *v = raw();
        if constexpr (std::is_same_v<T, std::string_view> || std::is_same_v<T, std::string>) {
            if (kind() != pz::kind::string) return std::nullopt;
            return T(v->str_val != nullptr ? v->str_val : "", v->len);
#if __cplusplus >= 202002L
        } else if constexpr (std::is_same_v<T, std::span<const std::byte>>) {
            if (kind() != pz::kind::bytes) return std::nullopt;
            return T(static_cast<const std::byte *>(v->ptr_val), v->len);
#endif
        } else {
            if (kind() != kind_of<T>()) return std::nullopt;
            T x;
            std::memcpy(&x, v, sizeof x);
            return x;
        }
    }
    /** The value as get<T>() reads it, or `def`. A text default
     * (value_or("none")) reads a string and returns a std::string. */
    template <class T>
    auto value_or(T def) const noexcept(!is_text_v<T>) {
        if constexpr (is_text_v<T>) {
            if (auto text = get<std::string_view>()) return std::string(*text);
            if constexpr (std::is_same_v<T, std::string>) {
                return def;
            } else {
                return std::string(def != nullptr ? def : "");
            }
        } else {
            return get<T>().value_or(def);
        }
    }
    /** An integer of any integer kind converted to the integer type T when T
     * can hold it (an int32 8080 read as uint16_t); empty for other kinds
     * and for values out of T's range. */
    template <class T>
    std::optional<T> get_as() const noexcept {
        static_assert(std::is_integral_v<T> && !std::is_same_v<T, bool>, "get_as reads integers");
        const std::optional<integer> x = integer_of(raw());
        return x ? narrow<T>(*x) : std::nullopt;
    }

    /** The number of elements of an array or entries of a dictionary; 0 for
     * other kinds and when there is no value. */
    uint32_t size() const noexcept {
        return kind() == pz::kind::dict ? pz_variant_dict_size(raw()) : pz_variant_array_size(raw());
    }
    /** True when this is a dictionary with an entry under `key`. */
    bool contains(const char *key) const noexcept { return pz_variant_dict_contains(raw(), key); }
    /** As contains(const char *); a key with a NUL byte throws pz::error. */
    bool contains(std::string_view key) const {
        key = checked_key(key);
        return pz_variant_dict_find_len(raw(), key.data(), key.size()) != nullptr;
    }

private:
    const pz_variant_t *raw() const noexcept { return static_cast<const Self &>(*this).get(); }
};

}  // namespace detail
/// @endcond

/** @} */

}  // namespace pz

#endif  // PZ_CPP_READER_HPP
