/** @file cpp/convert.hpp
 * Conversions between values and C++ types: the standard containers, and a
 * program's own types through two functions found by argument-dependent
 * lookup, which PZ_FIELDS defines for the fields of a struct.
 *
 * To teach the library a type `T`, define beside it, in its namespace:
 *
 *     void to_pz(pz::value &out, const T &x);   // pz::value(x) makes out
 *     void from_pz(pz::view in, T &x);          // v.as<T>() reads into x
 *
 * or, for a struct whose fields convert, write `PZ_FIELDS(T, a, b, c)` in
 * that namespace: a dictionary with one entry per field, read back field by
 * field, a conversion_error naming the field that failed ("at pos.lat: a
 * string does not convert to double"). A missing field is refused as a
 * value of kind null is, unless it is a std::optional.
 *
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_CONVERT_HPP
#define PZ_CPP_CONVERT_HPP

#include <array>
#include <cstddef>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>
#if __cplusplus >= 202002L
#include <span>
#endif

#include "build.hpp"

namespace pz {

/** @addtogroup cpp
 * @{ */

/// @cond detail
namespace detail {

template <class T>
inline constexpr bool storable_v = std::is_constructible_v<value, const T &>;

// `x` stored as the next element of the array `a`, or under `key` of the
// dictionary `d`: numbers by the path that allocates least.
template <class T>
void append(value &a, const T &x) {
    a.push_back(value(x));
}
template <class K, class T>
void store(value &d, const K &key, const T &x) {
    if constexpr (is_number_v<T>) {
        d.set(std::string_view(key), x);
    } else {
        d.set(std::string_view(key), value(x));
    }
}

// The view of a container of kind `want`, or the conversion_error saying
// what is there instead (nothing, as the checked reads take a null, or
// another kind).
inline view container(view in, pz::kind want) {
    if (in.kind() == want) return in;
    const pz_get_status status = in.is_null() ? PZ_GET_ABSENT : PZ_GET_WRONG_KIND;
    throw conversion_failure(in.get(), status, name_of(want));
}

// `e` read as T into `out`, an error from it placed under `where`.
template <class T>
void read_into(view e, T &out, const std::string &where) {
    try {
        out = e.as<T>();
    } catch (const conversion_error &failure) {
        throw failure.within(where);
    }
}

inline std::string element_name(size_t i) { return "[" + std::to_string(i) + "]"; }

template <class Map>
void read_map(view in, Map &out) {
    out.clear();
    for (auto [key, e] : container(in, pz::kind::dict).entries()) {
        typename Map::mapped_type x{};
        read_into(e, x, std::string(key));
        out.emplace(std::string(key), std::move(x));
    }
}

template <class Map>
void store_map(value &out, const Map &m) {
    value d = dict({});
    for (const auto &[key, x] : m) store(d, key, x);
    out = std::move(d);
}

template <class T>
struct is_optional : std::false_type {};
template <class T>
struct is_optional<std::optional<T>> : std::true_type {};

}  // namespace detail
/// @endcond

/** @name Conversions of the standard containers
 * Found by argument-dependent lookup through pz::value and pz::view, as a
 * user's to_pz and from_pz are. */
/** @{ */

/** An array of the elements. */
template <class T, class A, std::enable_if_t<detail::storable_v<T>, int> = 0>
void to_pz(value &out, const std::vector<T, A> &xs) {
    value a = array({});
    for (const T &x : xs) detail::append(a, x);
    out = std::move(a);
}
/** A byte buffer of the bytes. */
template <class A>
void to_pz(value &out, const std::vector<std::byte, A> &bytes) {
    out = value::bytes(bytes.data(), bytes.size());
}
/** An array of the elements. */
template <class T, size_t N, std::enable_if_t<detail::storable_v<T>, int> = 0>
void to_pz(value &out, const std::array<T, N> &xs) {
    value a = array({});
    for (const T &x : xs) detail::append(a, x);
    out = std::move(a);
}
/** A dictionary of the entries, in the map's order. */
template <class K, class T, class C, class A,
          std::enable_if_t<std::is_convertible_v<const K &, std::string_view> && detail::storable_v<T>, int> = 0>
void to_pz(value &out, const std::map<K, T, C, A> &m) {
    detail::store_map(out, m);
}
/** A dictionary of the entries, in the map's order of walking. */
template <class K, class T, class H, class E, class A,
          std::enable_if_t<std::is_convertible_v<const K &, std::string_view> && detail::storable_v<T>, int> = 0>
void to_pz(value &out, const std::unordered_map<K, T, H, E, A> &m) {
    detail::store_map(out, m);
}
/** The value, or a null for std::nullopt. */
template <class T, std::enable_if_t<detail::storable_v<T>, int> = 0>
void to_pz(value &out, const std::optional<T> &x) {
    out = x.has_value() ? value(*x) : value::null();
}
#if __cplusplus >= 202002L
/** A byte buffer holding a copy of the bytes. */
inline void to_pz(value &out, std::span<const std::byte> bytes) { out = value::bytes(bytes); }
#endif

/** The elements of an array, each read as T (a failure names its index). */
template <class T, class A>
void from_pz(view in, std::vector<T, A> &out) {
    out.clear();
    out.reserve(in.size());
    size_t i = 0;
    for (view e : detail::container(in, pz::kind::array).elements()) {
        T x{};
        detail::read_into(e, x, detail::element_name(i++));
        out.push_back(std::move(x));
    }
}
/** The bytes of a byte buffer. */
template <class A>
void from_pz(view in, std::vector<std::byte, A> &out) {
    const uint8_t *bytes = nullptr;
    uint32_t len = 0;
    const pz_get_status status = pz_variant_get_bytes(in.get(), &bytes, &len);
    if (status != PZ_GET_OK) throw detail::conversion_failure(in.get(), status, "bytes");
    const auto *first = reinterpret_cast<const std::byte *>(bytes);
    out.assign(first, first + len);
}
/** The N elements of an array of exactly N, each read as T. */
template <class T, size_t N>
void from_pz(view in, std::array<T, N> &out) {
    const view a = detail::container(in, pz::kind::array);
    if (a.size() != N) {
        throw conversion_error(PZ_GET_OUT_OF_RANGE, "an array of " + std::to_string(a.size()) + " elements where " +
                                                        std::to_string(N) + " were wanted");
    }
    for (size_t i = 0; i < N; ++i) detail::read_into(a[i], out[i], detail::element_name(i));
}
/** The entries of a dictionary, each value read as T (a failure names its key). */
template <class T, class C, class A>
void from_pz(view in, std::map<std::string, T, C, A> &out) {
    detail::read_map(in, out);
}
/** The entries of a dictionary, each value read as T (a failure names its key). */
template <class T, class H, class E, class A>
void from_pz(view in, std::unordered_map<std::string, T, H, E, A> &out) {
    detail::read_map(in, out);
}
/** Nothing for no value or a null, else the value read as T. */
template <class T>
void from_pz(view in, std::optional<T> &out) {
    if (in.is_null()) {
        out.reset();
    } else {
        out = in.as<T>();
    }
}

/** @} */

/// @cond detail
namespace detail {

template <class T>
value to_value(const T &x) {
    value out;
    to_pz(out, x);  // the library's or the user's, by argument-dependent lookup
    return out;
}

template <class T>
T convert_to(view in) {
    T out{};
    from_pz(in, out);  // the library's or the user's, by argument-dependent lookup
    return out;
}

// The field `name` of the dictionary `in` read into `field`; an error names
// the field. A missing field reads as no value: refused, but for a
// std::optional, which it leaves empty.
template <class T>
void read_field(view in, const char *name, T &field) {
    pz_variant_t *found = nullptr;
    const pz_status status = pz_variant_dict_find_ex(in.get(), name, std::strlen(name), &found);
    if (status != PZ_STATUS_OK && status != PZ_STATUS_NOT_FOUND) container(in, pz::kind::dict);
    read_into(view(found), field, name);
}

}  // namespace detail
/// @endcond

/** @} */

}  // namespace pz

/// @cond detail
#define PZ_DETAIL_EXPAND(x) x
#define PZ_DETAIL_EACH_1(m, a) m(a)
#define PZ_DETAIL_EACH_2(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_1(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_3(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_2(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_4(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_3(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_5(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_4(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_6(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_5(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_7(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_6(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_8(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_7(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_9(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_8(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_10(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_9(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_11(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_10(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_12(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_11(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_13(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_12(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_14(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_13(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_15(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_14(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_16(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_15(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_17(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_16(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_18(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_17(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_19(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_18(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_20(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_19(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_21(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_20(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_22(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_21(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_23(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_22(m, __VA_ARGS__))
#define PZ_DETAIL_EACH_24(m, a, ...) m(a) PZ_DETAIL_EXPAND(PZ_DETAIL_EACH_23(m, __VA_ARGS__))
#define PZ_DETAIL_PICK(_1, _2, _3, _4, _5, _6, _7, _8, _9, _10, _11, _12, _13, _14, _15, _16, _17, _18, _19, _20, \
                       _21, _22, _23, _24, name, ...)                                                              \
    name
#define PZ_DETAIL_EACH(m, ...)                                                                                      \
    PZ_DETAIL_EXPAND(PZ_DETAIL_PICK(__VA_ARGS__, PZ_DETAIL_EACH_24, PZ_DETAIL_EACH_23, PZ_DETAIL_EACH_22,           \
                                    PZ_DETAIL_EACH_21, PZ_DETAIL_EACH_20, PZ_DETAIL_EACH_19, PZ_DETAIL_EACH_18,    \
                                    PZ_DETAIL_EACH_17, PZ_DETAIL_EACH_16, PZ_DETAIL_EACH_15, PZ_DETAIL_EACH_14,    \
                                    PZ_DETAIL_EACH_13, PZ_DETAIL_EACH_12, PZ_DETAIL_EACH_11, PZ_DETAIL_EACH_10,    \
                                    PZ_DETAIL_EACH_9, PZ_DETAIL_EACH_8, PZ_DETAIL_EACH_7, PZ_DETAIL_EACH_6,        \
                                    PZ_DETAIL_EACH_5, PZ_DETAIL_EACH_4, PZ_DETAIL_EACH_3, PZ_DETAIL_EACH_2,        \
                                    PZ_DETAIL_EACH_1)(m, __VA_ARGS__))
#define PZ_DETAIL_STORE_FIELD(f) ::pz::detail::store(out, #f, x.f);
#define PZ_DETAIL_READ_FIELD(f) ::pz::detail::read_field(in, #f, x.f);
/// @endcond

/** Defines to_pz and from_pz for the struct `Type` from its fields (1 to 24
 * of them): a dictionary with an entry per field, named as the field, and
 * back. Write it in the namespace of `Type`, where argument-dependent
 * lookup finds them:
 *
 *     namespace app {
 *     struct point { double lat, lon; std::optional<std::string> name; };
 *     PZ_FIELDS(point, lat, lon, name)
 *     }
 *     pz::value v = app::point{59.3, 18.1, std::nullopt};
 *     app::point p = v.as<app::point>();   // pz::conversion_error names a field that fails
 */
#define PZ_FIELDS(Type, ...)                                              \
    inline void to_pz(::pz::value &out, const Type &x) {                  \
        out = ::pz::dict({});                                             \
        PZ_DETAIL_EACH(PZ_DETAIL_STORE_FIELD, __VA_ARGS__)                \
    }                                                                     \
    inline void from_pz(::pz::view in, Type &x) { PZ_DETAIL_EACH(PZ_DETAIL_READ_FIELD, __VA_ARGS__) }

#endif  // PZ_CPP_CONVERT_HPP
