/** @file cpp/detail.hpp
 * Helpers of the C++ interface that users do not call: kinds of C++ types,
 * keys as the C API takes them, the arguments of pz::pack.
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_DETAIL_HPP
#define PZ_CPP_DETAIL_HPP

#include <cstring>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

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

// The kind a C++ type maps to, exactly: fixed widths by size and sign.
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

template <class T>
pz_variant_t *make_scalar(T x) {
    constexpr kind k = kind_of<T>();
    if constexpr (k == kind::boolean) return pz_variant_bool_new(x);
    if constexpr (k == kind::int8) return pz_variant_int8_new(static_cast<int8_t>(x));
    if constexpr (k == kind::uint8) return pz_variant_uint8_new(static_cast<uint8_t>(x));
    if constexpr (k == kind::int16) return pz_variant_int16_new(static_cast<int16_t>(x));
    if constexpr (k == kind::uint16) return pz_variant_uint16_new(static_cast<uint16_t>(x));
    if constexpr (k == kind::int32) return pz_variant_int32_new(static_cast<int32_t>(x));
    if constexpr (k == kind::uint32) return pz_variant_uint32_new(static_cast<uint32_t>(x));
    if constexpr (k == kind::int64) return pz_variant_int64_new(static_cast<int64_t>(x));
    if constexpr (k == kind::uint64) return pz_variant_uint64_new(static_cast<uint64_t>(x));
    if constexpr (k == kind::float32) return pz_variant_float_new(x);
    if constexpr (k == kind::float64) return pz_variant_double_new(x);
    if constexpr (k == kind::ptr) return pz_variant_ptr_new(x);
}

inline const char *kind_name(kind k) noexcept {
    switch (k) {
        case kind::null: return "null";
        case kind::boolean: return "bool";
        case kind::int8: return "int8";
        case kind::uint8: return "uint8";
        case kind::int16: return "int16";
        case kind::uint16: return "uint16";
        case kind::int32: return "int32";
        case kind::uint32: return "uint32";
        case kind::int64: return "int64";
        case kind::uint64: return "uint64";
        case kind::float32: return "float";
        case kind::float64: return "double";
        case kind::string: return "string";
        case kind::bytes: return "bytes";
        case kind::ptr: return "ptr";
        case kind::autoptr: return "autoptr";
        case kind::sharedptr: return "sharedptr";
        case kind::array: return "array";
        case kind::dict: return "dict";
    }
    return "unknown";
}

// The kind's name after its article, for error texts: "an array", "a uint8"
// (the names read as "you-int" take "a").
inline std::string with_article(kind k) {
    const char *name = kind_name(k);
    const bool vowel = std::strchr("aeio", name[0]) != nullptr;
    return std::string(vowel ? "an " : "a ") + name;
}

// An integer value as its sign and magnitude, whatever its width.
struct integer {
    bool negative;
    uint64_t magnitude;
};

inline std::optional<integer> integer_of(const pz_variant_t *v) noexcept {
    auto from_signed = [](int64_t x) {
        return integer{x < 0, x < 0 ? 0 - static_cast<uint64_t>(x) : static_cast<uint64_t>(x)};
    };
    switch (v != nullptr ? static_cast<kind>(v->vt) : kind::null) {
        case kind::int8: return from_signed(v->int8_val);
        case kind::int16: return from_signed(v->int16_val);
        case kind::int32: return from_signed(v->int32_val);
        case kind::int64: return from_signed(v->int64_val);
        case kind::uint8: return integer{false, v->uint8_val};
        case kind::uint16: return integer{false, v->uint16_val};
        case kind::uint32: return integer{false, v->uint32_val};
        case kind::uint64: return integer{false, v->uint64_val};
        default: return std::nullopt;
    }
}

// `x` as T when T can hold it.
template <class T>
std::optional<T> narrow(integer x) noexcept {
    using U = std::make_unsigned_t<T>;
    if (!x.negative) {
        if (x.magnitude > static_cast<U>(std::numeric_limits<T>::max())) return std::nullopt;
        return static_cast<T>(x.magnitude);
    }
    if constexpr (std::is_signed_v<T>) {
        // The lowest T has magnitude max + 1.
        if (x.magnitude - 1 > static_cast<U>(std::numeric_limits<T>::max())) return std::nullopt;
        return static_cast<T>(-static_cast<T>(x.magnitude - 1) - 1);
    }
    return std::nullopt;
}

// A key as the C API takes it, NUL-terminated. A key holding a NUL byte
// would be cut short there and name another entry, so it is refused.
class key_text {
public:
    key_text(const char *key) noexcept : text_(key) {}
    key_text(std::string_view key) : copy_(key) {
        if (copy_.find('\0') != std::string::npos) throw error("pzvariant: a key cannot hold a NUL byte");
        text_ = copy_.c_str();
    }
    const char *c_str() const noexcept { return text_; }

private:
    std::string copy_;
    const char *text_;
};

// A key read by its length: the C lookups take it as it is, but a key with
// a NUL byte is refused as key_text refuses it.
inline std::string_view checked_key(std::string_view key) {
    if (key.find('\0') != std::string_view::npos) throw error("pzvariant: a key cannot hold a NUL byte");
    return key;
}

// The pack letter of a C++ argument type, and the argument as the variadic
// call must receive it (small integers as int, float as double, texts as
// NUL-terminated pointers).
template <class T>
inline constexpr bool is_text_v = std::is_same_v<T, const char *> || std::is_same_v<T, char *> ||
                                  std::is_same_v<T, std::string>;

template <class T>
constexpr char pack_letter() {
    if constexpr (is_text_v<T>) {
        return vtype_string;
    } else {
        return static_cast<char>(kind_of<T>());
    }
}

template <class T>
auto promote(const T &x) {
    if constexpr (std::is_same_v<T, std::string>) {
        // Packing reads texts up to their NUL: a longer one would be cut short.
        if (x.find('\0') != std::string::npos) throw error("pz::pack: a text with a NUL byte");
        return x.c_str();
    } else if constexpr (is_text_v<T>) {
        return static_cast<const char *>(x);
    } else if constexpr (std::is_same_v<T, void *>) {
        return x;
    } else if constexpr (std::is_same_v<T, float>) {
        return static_cast<double>(x);
    } else if constexpr (std::is_integral_v<T> && sizeof(T) < sizeof(int)) {
        return static_cast<int>(x);
    } else {
        return x;
    }
}

}  // namespace detail
/// @endcond

/** @} */

}  // namespace pz

#endif  // PZ_CPP_DETAIL_HPP
