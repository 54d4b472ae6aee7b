/** @file cpp/detail.hpp
 * Helpers of the C++ interface that users do not call: the kind of a C++
 * type, the C checked read of each, and the exceptions each C status maps to.
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_DETAIL_HPP
#define PZ_CPP_DETAIL_HPP

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#if __cplusplus >= 202002L
#include <span>
#endif

#include "kinds.hpp"

namespace pz {

/** @addtogroup cpp
 * @{ */

/// @cond detail
namespace detail {

inline pz_variant_t *check(pz_variant_t *v) {
    if (v == nullptr) throw std::bad_alloc();
    return v;
}

// The kind a C++ number type maps to, exactly: fixed widths by size and
// sign. (A C++ fact: C knows no C++ types.)
template <class T>
constexpr kind kind_of() {
    if constexpr (std::is_same_v<T, bool>) {
        return kind::boolean;
    } else if constexpr (std::is_integral_v<T>) {
        constexpr bool s = std::is_signed_v<T>;
        if constexpr (sizeof(T) == 1) return s ? kind::int8 : kind::uint8;
        if constexpr (sizeof(T) == 2) return s ? kind::int16 : kind::uint16;
        if constexpr (sizeof(T) == 4) return s ? kind::int32 : kind::uint32;
        if constexpr (sizeof(T) == 8) return s ? kind::int64 : kind::uint64;
    } else if constexpr (std::is_same_v<T, float>) {
        return kind::float32;
    } else if constexpr (std::is_same_v<T, double>) {
        return kind::float64;
    } else if constexpr (std::is_same_v<T, void *>) {
        return kind::ptr;
    } else {
        static_assert(sizeof(T) == 0, "no pzvariant kind for this type");
    }
}

// The types that the C checked reads give: numbers, flags, raw pointers,
// texts and byte buffers.
template <class T>
inline constexpr bool is_text_v = std::is_same_v<T, std::string_view> || std::is_same_v<T, std::string>;
#if __cplusplus >= 202002L
template <class T>
inline constexpr bool is_bytes_v = std::is_same_v<T, std::span<const std::byte>>;
#else
template <class T>
inline constexpr bool is_bytes_v = false;
#endif
template <class T>
inline constexpr bool is_number_v = std::is_arithmetic_v<T> && !std::is_same_v<T, long double>;
template <class T>
inline constexpr bool is_readable_v = is_number_v<T> || std::is_same_v<T, void *> || is_text_v<T> || is_bytes_v<T>;

// The kind a readable type holds exactly.
template <class T>
constexpr kind exact_kind() {
    if constexpr (is_text_v<T>) {
        return kind::string;
    } else if constexpr (is_bytes_v<T>) {
        return kind::bytes;
    } else {
        return kind_of<T>();
    }
}

// The width a C checked read writes, for a number or flag of kind K.
template <kind K>
struct c_type;
#define PZ_CPP_C_TYPE(k, t) \
    template <>             \
    struct c_type<kind::k> { using type = t; };
PZ_CPP_C_TYPE(boolean, bool)
PZ_CPP_C_TYPE(int8, int8_t)
PZ_CPP_C_TYPE(uint8, uint8_t)
PZ_CPP_C_TYPE(int16, int16_t)
PZ_CPP_C_TYPE(uint16, uint16_t)
PZ_CPP_C_TYPE(int32, int32_t)
PZ_CPP_C_TYPE(uint32, uint32_t)
PZ_CPP_C_TYPE(int64, int64_t)
PZ_CPP_C_TYPE(uint64, uint64_t)
PZ_CPP_C_TYPE(float32, float)
PZ_CPP_C_TYPE(float64, double)
PZ_CPP_C_TYPE(ptr, void *)
#undef PZ_CPP_C_TYPE

// The C checked read of kind K.
template <kind K>
pz_get_status c_read(const pz_variant_t *v, typename c_type<K>::type *out) noexcept {
    if constexpr (K == kind::boolean) return pz_variant_get_bool(v, out);
    if constexpr (K == kind::int8) return pz_variant_get_int8(v, out);
    if constexpr (K == kind::uint8) return pz_variant_get_uint8(v, out);
    if constexpr (K == kind::int16) return pz_variant_get_int16(v, out);
    if constexpr (K == kind::uint16) return pz_variant_get_uint16(v, out);
    if constexpr (K == kind::int32) return pz_variant_get_int32(v, out);
    if constexpr (K == kind::uint32) return pz_variant_get_uint32(v, out);
    if constexpr (K == kind::int64) return pz_variant_get_int64(v, out);
    if constexpr (K == kind::uint64) return pz_variant_get_uint64(v, out);
    if constexpr (K == kind::float32) return pz_variant_get_float(v, out);
    if constexpr (K == kind::float64) return pz_variant_get_double(v, out);
    if constexpr (K == kind::ptr) return pz_variant_get_ptr(v, out);
}

// `v` read into `*out` by the C checked read of T's type: the conversions
// and refusals are the C library's, which writes `*out` only on PZ_GET_OK.
template <class T>
pz_get_status checked_read(const pz_variant_t *v, T *out) {
    if constexpr (is_text_v<T>) {
        const char *text = nullptr;
        uint32_t len = 0;
        const pz_get_status status = pz_variant_get_str(v, &text, &len);
        if (status == PZ_GET_OK) *out = T(text, len);
        return status;
#if __cplusplus >= 202002L
    } else if constexpr (is_bytes_v<T>) {
        const uint8_t *bytes = nullptr;
        uint32_t len = 0;
        const pz_get_status status = pz_variant_get_bytes(v, &bytes, &len);
        if (status == PZ_GET_OK) *out = T(reinterpret_cast<const std::byte *>(bytes), len);
        return status;
#endif
    } else {
        typename c_type<kind_of<T>()>::type x{};
        const pz_get_status status = c_read<kind_of<T>()>(v, &x);
        if (status == PZ_GET_OK) *out = static_cast<T>(x);
        return status;
    }
}

// The name of a kind as the C library gives it ("int32", "dict").
inline const char *name_of(kind k) noexcept {
    const char *name = pz_variant_kind_name(static_cast<pz_variant_type>(k));
    return name != nullptr ? name : "record of no kind";
}

// The kind's name after its article, for error texts: "an array", "a uint8"
// (the names read as "you-int" take "a").
inline std::string with_article(kind k) {
    const char *name = name_of(k);
    const bool vowel = name[0] == 'a' || name[0] == 'e' || name[0] == 'i' || name[0] == 'o';
    return std::string(vowel ? "an " : "a ") + name;
}

// What a C status means for a C++ caller: std::bad_alloc for memory, a
// pz::error with the C library's reason for the rest. `what` names the
// operation.
[[noreturn]] inline void throw_status(pz_status status, const std::string &what) {
    if (status == PZ_STATUS_OUT_OF_MEMORY) throw std::bad_alloc();
    throw error("pzvariant: " + what + ": " + pz_status_text(status));
}

// A text with its length, for the C calls that take both.
inline const char *text_or_empty(const char *text) noexcept { return text != nullptr ? text : ""; }

}  // namespace detail
/// @endcond

/** @} */

}  // namespace pz

#endif  // PZ_CPP_DETAIL_HPP
