/** @file cpp/reader.hpp
 * The read API that pz::value and pz::view share: kinds, exact and
 * converting reads, sizes, comparisons with C++ values in place.
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_READER_HPP
#define PZ_CPP_READER_HPP

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "detail.hpp"

namespace pz {

/** @addtogroup cpp
 * @{ */

class value;
class view;
class item;
class item_iterator;
value array(std::initializer_list<value> elements);

/// @cond detail
namespace detail {

// The conversion of a value to a type that no C checked read gives: the
// standard containers and the user's types (cpp/convert.hpp).
template <class T>
T convert_to(view v);

// Whether a to_pz(pz::value &, const T &) is found for T: the library's
// own for the standard containers (cpp/convert.hpp) and a user's, both by
// argument-dependent lookup, which pz::value brings namespace pz into.
template <class T, class Found = void>
struct to_pz_able : std::false_type {};
template <class T>
struct to_pz_able<T, std::void_t<decltype(to_pz(std::declval<value &>(), std::declval<const T &>()))>>
    : std::true_type {};
// The value that to_pz makes of `x` (cpp/convert.hpp).
template <class T>
value to_value(const T &x);

// Why `v` does not read as `target` (a kind's name), as the status of a C
// checked read says.
inline conversion_error conversion_failure(const pz_variant_t *v, pz_get_status status, const std::string &target) {
    const kind found = v != nullptr ? static_cast<kind>(v->vt) : kind::null;
    switch (status) {
        case PZ_GET_WRONG_KIND: return conversion_error(status, with_article(found) + " does not convert to " + target);
        case PZ_GET_OUT_OF_RANGE:
            return conversion_error(status, with_article(found) + " that " + target + " cannot hold exactly");
        default: return conversion_error(status, "no value where " + target + " was wanted");
    }
}

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
        static_assert(is_readable_v<T>, "get reads numbers, flags, raw pointers, texts and byte buffers");
        if (kind() != exact_kind<T>()) return std::nullopt;
        return get_as<T>();
    }

    /** The value converted to T as the C checked reads convert
     * (pz_variant_get_<kind>): exactly or not at all. Any integer kind to an
     * integer type that holds its value; an integer to float or double when
     * that type holds it exactly (2^53 + 1 does not fit a double); a float
     * or double to an integer type when integral and in range; a double to
     * float when exact. Texts, byte buffers, flags and raw pointers only
     * from their own kind. Nothing when the value does not convert, when
     * there is none or it is a null. */
    template <class T>
    std::optional<T> get_as() const noexcept(!std::is_same_v<T, std::string>) {
        static_assert(is_readable_v<T>, "get_as reads numbers, flags, raw pointers, texts and byte buffers");
        T out{};
        if (checked_read(raw(), &out) != PZ_GET_OK) return std::nullopt;
        return out;
    }

    /** The value converted to T, or pz::conversion_error saying why not
     * (status() the C checked read's, path() where). T is what get_as
     * reads, a standard container (std::vector, std::array, std::map,
     * std::unordered_map with text keys, std::optional) of convertible
     * types, or a type with a from_pz found by argument-dependent lookup
     * (see PZ_FIELDS). */
    template <class T>
    T as() const {
        if constexpr (is_readable_v<T>) {
            T out{};
            const pz_get_status status = checked_read(raw(), &out);
            if (status != PZ_GET_OK) throw conversion_failure(raw(), status, name_of(exact_kind<T>()));
            return out;
        } else {
            return convert_to<T>(self());
        }
    }

    /** The value as get_as<T>() reads it, or `def`: a number of another
     * kind or width converts when T holds it exactly (an int64 5 read with
     * value_or(0.0) gives 5.0; 2^53 + 1 or 1.5 read with value_or(0) give
     * the default). A text default (value_or("none")) reads a string and
     * returns a std::string. */
    template <class T>
    auto value_or(T def) const noexcept(!std::is_pointer_v<T> && !std::is_same_v<T, std::string>) {
        if constexpr (std::is_same_v<T, std::string>) {
            if (auto text = get_as<std::string_view>()) return std::string(*text);
            return def;
        } else if constexpr (std::is_same_v<T, const char *> || std::is_same_v<T, char *>) {
            if (auto text = get_as<std::string_view>()) return std::string(*text);
            return std::string(text_or_empty(def));
        } else {
            return get_as<T>().value_or(def);
        }
    }

    /** The number of elements of an array or entries of a dictionary; 0 for
     * other kinds and when there is no value. */
    uint32_t size() const noexcept {
        return kind() == pz::kind::dict ? pz_variant_dict_size(raw()) : pz_variant_array_size(raw());
    }
    /** True when there is nothing to walk: no value, a null, or an array or
     * dictionary with no elements; false for every other value (a number,
     * a string however short). */
    bool empty() const noexcept {
        const pz::kind k = kind();
        return k == pz::kind::null || ((k == pz::kind::array || k == pz::kind::dict) && size() == 0);
    }
    /** True when this is a dictionary with an entry under `key`. */
    bool contains(const char *key) const noexcept { return pz_variant_dict_contains(raw(), key); }
    /** True when this is a dictionary with an entry under the bytes of
     * `key` (a key that no dictionary can hold, empty or with a NUL byte,
     * has none). */
    bool contains(std::string_view key) const noexcept {
        return pz_variant_dict_find_len(raw(), key.data(), key.size()) != nullptr;
    }

    /** The first element of an array or entry of a dictionary, for
     * `for (auto e : v)` and the standard algorithms: each is a pz::item, a
     * view of the element or value that also has the entry's key()
     * (`for (auto [key, value] : dict)`). Any other value has nothing to
     * walk (elements() and entries() refuse the wrong kind instead), so
     * that generic code may walk any value. */
    item_iterator begin() const;
    /** Past the last element or entry; see begin(). */
    item_iterator end() const;

    /** A string holding exactly the bytes of `text`; no value is made. */
    friend bool operator==(const Self &a, std::string_view text) noexcept { return a.equals_text(text); }
    /** As operator==(const Self &, std::string_view). */
    friend bool operator==(std::string_view text, const Self &a) noexcept { return a.equals_text(text); }
    /** As operator==(const Self &, std::string_view) (a null pointer as ""). */
    friend bool operator==(const Self &a, const char *text) noexcept { return a.equals_text(text_or_empty(text)); }
    /** As operator==(const Self &, const char *). */
    friend bool operator==(const char *text, const Self &a) noexcept { return a.equals_text(text_or_empty(text)); }
    /** As operator==(const Self &, std::string_view). */
    friend bool operator==(const Self &a, const std::string &text) noexcept { return a.equals_text(text); }
    /** As operator==(const Self &, std::string_view). */
    friend bool operator==(const std::string &text, const Self &a) noexcept { return a.equals_text(text); }
    /** A number or flag that reads as T (as get_as<T>() reads it) and equals
     * `x`: an int64 5 from JSON equals 5 and 5.0, a double 5.5 equals no
     * integer, and a bool equals only true or false. No value is made. */
    template <class T, std::enable_if_t<is_number_v<T>, int> = 0>
    friend bool operator==(const Self &a, T x) noexcept {
        return a.template equals_number<T>(x);
    }
    /** As operator==(const Self &, T). */
    template <class T, std::enable_if_t<is_number_v<T>, int> = 0>
    friend bool operator==(T x, const Self &a) noexcept {
        return a.template equals_number<T>(x);
    }
    /** True when there is no value or it is a null (as is_null()). */
    friend bool operator==(const Self &a, std::nullptr_t) noexcept { return a.is_null(); }
    /** As operator==(const Self &, std::nullptr_t). */
    friend bool operator==(std::nullptr_t, const Self &a) noexcept { return a.is_null(); }
#if __cplusplus < 202002L
    /** Not operator==. */
    friend bool operator!=(const Self &a, std::string_view text) noexcept { return !(a == text); }
    /** Not operator==. */
    friend bool operator!=(std::string_view text, const Self &a) noexcept { return !(a == text); }
    /** Not operator==. */
    friend bool operator!=(const Self &a, const char *text) noexcept { return !(a == text); }
    /** Not operator==. */
    friend bool operator!=(const char *text, const Self &a) noexcept { return !(a == text); }
    /** Not operator==. */
    friend bool operator!=(const Self &a, const std::string &text) noexcept { return !(a == text); }
    /** Not operator==. */
    friend bool operator!=(const std::string &text, const Self &a) noexcept { return !(a == text); }
    /** Not operator==. */
    template <class T, std::enable_if_t<is_number_v<T>, int> = 0>
    friend bool operator!=(const Self &a, T x) noexcept {
        return !(a == x);
    }
    /** Not operator==. */
    template <class T, std::enable_if_t<is_number_v<T>, int> = 0>
    friend bool operator!=(T x, const Self &a) noexcept {
        return !(a == x);
    }
    /** Not operator==. */
    friend bool operator!=(const Self &a, std::nullptr_t) noexcept { return !a.is_null(); }
    /** Not operator==. */
    friend bool operator!=(std::nullptr_t, const Self &a) noexcept { return !a.is_null(); }
#endif

private:
    const pz_variant_t *raw() const noexcept { return self().get(); }
    const Self &self() const noexcept { return static_cast<const Self &>(*this); }

    bool equals_text(std::string_view text) const noexcept {
        const char *stored = nullptr;
        uint32_t len = 0;
        return pz_variant_get_str(raw(), &stored, &len) == PZ_GET_OK && len == text.size() &&
               (len == 0 || std::memcmp(stored, text.data(), len) == 0);
    }
    template <class T>
    bool equals_number(T x) const noexcept {
        T stored{};
        return checked_read(raw(), &stored) == PZ_GET_OK && stored == x;
    }
};

}  // namespace detail
/// @endcond

/** @} */

}  // namespace pz

#endif  // PZ_CPP_READER_HPP
