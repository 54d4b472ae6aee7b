/** @file pz_variant.hpp
 * C++ interface to pzvariant (C++17 and later): a handle that owns one
 * reference, so that no caller writes pz_variant_unref by hand.
 *
 *     pz::value cfg = pz::dict({{"name", "sensor-7"}, {"readings", pz::array({21, 22})}});
 *     std::optional<int32_t> first = cfg["readings"][0].get<int32_t>();
 *     cfg.child("server").set("port", 9443);   // nested write, made on demand
 *
 * Every member is one call of the C API or a few. Misuse and bad input (a
 * write through an empty handle or to a value of the wrong kind, a key with
 * a NUL byte, a value that cannot be dumped) throw pz::error; allocation
 * failure throws std::bad_alloc and nothing else does; no destructor throws.
 * Reading with get<T>() never converts between kinds; get_as<T>() converts
 * between integer kinds when the value fits. */
#ifndef PZ_VARIANT_HPP
#define PZ_VARIANT_HPP

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>
#if __cplusplus >= 202002L
#include <span>
#endif

#include "pz_variant.h"

/** The C++ interface: pz::value and the functions that make values. */
namespace pz {

/** @defgroup cpp C++ interface
 * pz::value, a handle owning one reference, and the functions that make
 * values (pz::dict, pz::array, pz::pack, pz::from_dump).
 * @{ */

/** The kinds of value, named; each enumerator's value is the C type code. */
enum class kind : char {
    null = vtype_null,            ///< no value (vtype_null)
    boolean = vtype_bool,         ///< bool
    int8 = vtype_int8,            ///< int8_t
    uint8 = vtype_uint8,          ///< uint8_t
    int16 = vtype_int16,          ///< int16_t
    uint16 = vtype_uint16,        ///< uint16_t
    int32 = vtype_int32,          ///< int32_t
    uint32 = vtype_uint32,        ///< uint32_t
    int64 = vtype_int64,          ///< int64_t
    uint64 = vtype_uint64,        ///< uint64_t
    float32 = vtype_float,        ///< float
    float64 = vtype_double,       ///< double
    string = vtype_string,        ///< text (read as std::string_view or std::string)
    bytes = vtype_bytes,          ///< byte buffer
    ptr = vtype_ptr,              ///< raw pointer, not owned
    autoptr = vtype_autoptr,      ///< owned pointer with its destructor
    sharedptr = vtype_sharedptr,  ///< shared pointer with its reference callbacks
    array = vtype_array,          ///< array of values
    dict = vtype_dict,            ///< dictionary from text keys to values
};

/** Bad input or misuse (an empty handle, a value of the wrong kind, a value
 * that cannot be written, a text that cannot be read); what() says which.
 * std::bad_alloc stays reserved for memory. */
class error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** A text that could not be read: what() says why, code() the same for a
 * program, offset(), line() and column() where. */
class parse_error : public error {
public:
    /** An error for `reason`, found at byte `offset` of the text. */
    parse_error(const std::string &reason, size_t offset) : error(reason), offset_(offset) {}
    /** An error as a C reader reported it. */
    explicit parse_error(const pz_read_error_t &e)
        : error(e.reason), offset_(e.offset), code_(e.code), line_(e.line), column_(e.column) {}
    /** The byte offset in the text at which reading stopped. */
    size_t offset() const noexcept { return offset_; }
    /** The reason as a code (PZ_READ_INVALID_SYNTAX when made from a reason alone). */
    pz_read_code code() const noexcept { return code_; }
    /** The line of offset(), from 1; 0 when not known. */
    size_t line() const noexcept { return line_; }
    /** Its column in characters, from 1; 0 when not known. */
    size_t column() const noexcept { return column_; }

private:
    size_t offset_;
    pz_read_code code_ = PZ_READ_INVALID_SYNTAX;
    size_t line_ = 0;
    size_t column_ = 0;
};

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

/** A borrowed view of a value, for reading: it holds no reference, so
 * making, copying and dropping views, and walking containers through them,
 * touch no reference count. A view is valid only while something else keeps
 * its value alive (a pz::value handle, the container it was read from) and
 * the value is not removed or replaced there: a view into a temporary
 * dangles once the temporary is gone. Take a pz::value from it
 * (`pz::value owned = v;`) to keep the value. It reads as pz::value reads;
 * operator[] gives views, elements() views and entries() keys as
 * std::string_view into the dictionary. */
class view : public detail::reader<view> {
public:
    using detail::reader<view>::get;

    /** No value: reads as an empty handle does. */
    view() noexcept = default;
    /** A view of `v` (null: no value); `v` is not referenced. */
    explicit view(const pz_variant_t *v) noexcept : v_(v) {}
    /** A view of the value `v` holds, valid while `v` (or another owner)
     * keeps it. */
    view(const value &v) noexcept;

    /** The C value, borrowed (null when there is none). */
    const pz_variant_t *get() const noexcept { return v_; }

    /** The dictionary value under `key`; no value when absent or when this
     * is not a dictionary. */
    view operator[](const char *key) const noexcept { return view(pz_variant_dict_find(v_, key)); }
    /** As operator[](const char *); a key with a NUL byte throws pz::error. */
    view operator[](std::string_view key) const {
        key = detail::checked_key(key);
        return view(pz_variant_dict_find_len(v_, key.data(), key.size()));
    }
    /** The array element at `index`; no value past the end, for an empty
     * slot or when this is not an array. */
    template <class I, std::enable_if_t<std::is_integral_v<I>, int> = 0>
    view operator[](I index) const noexcept {
        if (index < 0 || static_cast<uint64_t>(index) > UINT32_MAX) return view();
        return view(pz_variant_array_at(v_, static_cast<uint32_t>(index)));
    }

    /** The elements of this array, as views. Nothing for no value or a null
     * value; pz::error for other kinds. */
    element_range elements() const;
    /** The entries of this dictionary in insertion order, keys as
     * std::string_view into the dictionary and values as views. Nothing for
     * no value or a null value; pz::error for other kinds. */
    entry_range entries() const;

    /** Equal kinds holding equal values, as pz_variant_equal compares them. */
    friend bool operator==(view a, view b) noexcept { return pz_variant_equal(a.v_, b.v_); }
    /** Not operator==. */
    friend bool operator!=(view a, view b) noexcept { return !(a == b); }
    /** As operator==(view, view). */
    friend bool operator==(const value &a, view b) noexcept;
    /** As operator==(view, view). */
    friend bool operator==(view a, const value &b) noexcept;
    /** Not operator==. */
    friend bool operator!=(const value &a, view b) noexcept { return !(a == b); }
    /** Not operator==. */
    friend bool operator!=(view a, const value &b) noexcept { return !(a == b); }

private:
    const pz_variant_t *v_ = nullptr;
};

/** One dictionary entry as entries() yields it: the key, borrowed from the
 * dictionary, and a view of the value. */
using entry = std::pair<std::string_view, view>;

/** Holds one reference to a value, or nothing (an empty handle). Copying
 * takes a reference, moving transfers it, destruction drops it. Two handles
 * to the same value see each other's changes; copy() makes an independent
 * value. Reading through a pz::view of it takes no reference at all. */
class value : public detail::reader<value> {
public:
    using detail::reader<value>::get;
    /** Walks the elements of an array as views; see elements(). */
    using iterator = pz::element_iterator;
    /** The elements of an array; see elements(). */
    using element_range = pz::element_range;
    /** One dictionary entry: its key, borrowed, and a view of its value. */
    using entry = pz::entry;

    /** An empty handle, holding no value at all (see null() for a value of
     * kind null). */
    value() noexcept = default;

    /** A value of the kind that T maps to exactly: int32_t gives an int32,
     * uint16_t a uint16, float a float, bool a bool. */
    template <class T, std::enable_if_t<std::is_arithmetic_v<T>, int> = 0>
    value(T x) : v_(detail::check(detail::make_scalar(x))) {}
    /** A raw pointer value; the pointee is not owned. */
    value(void *p) : v_(detail::check(pz_variant_ptr_new(p))) {}
    /** A string holding a copy of `text`, NUL bytes included. */
    value(std::string_view text) : v_(detail::check(make_text(text))) {}
    /** A string holding a copy of `text` (a null pointer gives the empty string). */
    value(const char *text) : value(std::string_view(text != nullptr ? text : "")) {}
    /** A string holding a copy of `text`, NUL bytes included. */
    value(const std::string &text) : value(std::string_view(text)) {}
    /** Another handle to the value `v` views (one more reference); empty
     * when it views none. */
    value(view v) noexcept : v_(pz_variant_ref(const_cast<pz_variant_t *>(v.get()))) {}

    /** Another handle to the same value (one more reference). */
    value(const value &other) noexcept : v_(pz_variant_ref(other.v_)) {}
    /** Takes over `other`'s reference, leaving `other` empty. */
    value(value &&other) noexcept : v_(std::exchange(other.v_, nullptr)) {}
    /** Makes this handle refer to `other`'s value, dropping its old reference.
     * Only a named handle can be assigned: assigning to the temporary that
     * operator[] returns would change nothing, so it does not compile (write
     * through set() or child() instead). */
    value &operator=(value other) & noexcept {
        std::swap(v_, other.v_);
        return *this;
    }
    /** Drops the reference. */
    ~value() { pz_variant_unref(v_); }

    /** A value of kind null. */
    static value null() {
        pz_variant_t *v = detail::check(pz_variant_bool_new(false));
        pz_variant_clear(v);
        return value(v);
    }
    /** Takes over the caller's reference to `v` (a fresh C result). */
    static value adopt(pz_variant_t *v) noexcept { return value(v); }
    /** Takes a new reference to `v`; the caller keeps its own. */
    static value borrow(pz_variant_t *v) noexcept { return value(pz_variant_ref(v)); }
    /** A byte buffer holding a copy of `size` bytes at `data`. */
    static value bytes(const void *data, size_t size) {
        return value(detail::check(vstr_buf_new(static_cast<const uint8_t *>(data), checked_len(size))));
    }
#if __cplusplus >= 202002L
    /** A byte buffer holding a copy of `data`. */
    static value bytes(std::span<const std::byte> data) { return bytes(data.data(), data.size()); }
#endif

    /** The C value, borrowed (null for an empty handle). */
    pz_variant_t *get() const noexcept { return v_; }
    /** Gives up the reference without dropping it; the caller now owns it. */
    pz_variant_t *release() noexcept { return std::exchange(v_, nullptr); }
    /** The array element at `index`, another handle to it; an empty handle
     * past the end, for an empty slot or when this is not an array. */
    template <class I, std::enable_if_t<std::is_integral_v<I>, int> = 0>
    value operator[](I index) const noexcept {
        if (index < 0 || static_cast<uint64_t>(index) > UINT32_MAX) return value();
        return value(pz_variant_array_index(v_, static_cast<uint32_t>(index)));
    }
    /** The dictionary value under `key`, another handle to it (writes through
     * it change the stored value); an empty handle when absent or when this
     * is not a dictionary. To read without taking references, index a
     * pz::view of this value instead. */
    value operator[](const char *key) const noexcept { return value(pz_variant_dict_get(v_, key)); }
    /** As operator[](const char *); a key with a NUL byte throws pz::error. */
    value operator[](std::string_view key) const { return pz::view(*this)[key]; }

    /** Appends `element` to this array (an empty handle appends an empty
     * slot). Throws pz::error when this is not an array. */
    value &push_back(const value &element) {
        require(pz::kind::array, "push_back");
        const uint32_t before = size();
        pz_variant_array_append(v_, element.v_);
        if (size() == before) throw std::bad_alloc();
        return *this;
    }
    /** Stores `element` under `key` in this dictionary, replacing what was
     * there. Throws pz::error when this is not a dictionary, the key is empty
     * or `element` is an empty handle (store value::null() for a null). */
    value &set(const char *key, const value &element) {
        require_key(key, "set");
        if (element.v_ == nullptr) throw error("pzvariant: set of an empty handle under \"" + std::string(key) + "\"");
        pz_variant_dict_put(v_, key, element.v_);
        if (stored(key) != element.v_) throw std::bad_alloc();
        return *this;
    }
    /** As set(const char *, const value &); a key with a NUL byte throws pz::error. */
    value &set(std::string_view key, const value &element) { return set(detail::key_text(key).c_str(), element); }
    /** Stores `x` under `key` as a value of the kind that T maps to, as
     * set(key, pz::value(x)) does. A number stored under the key that only
     * this dictionary holds is rewritten in place, with no allocation. */
    template <class T, std::enable_if_t<std::is_arithmetic_v<T>, int> = 0>
    value &set(const char *key, T x) {
        require_key(key, "set");
        pz_variant_t record{};  // read by the call, not kept
        std::memcpy(&record, &x, sizeof x);  // T has its kind's width (kind_of maps by size)
        record.vt = static_cast<char>(detail::kind_of<T>());
        if (!pz_variant_dict_put_scalar(v_, key, &record)) throw std::bad_alloc();
        return *this;
    }
    /** As set(const char *, T); a key with a NUL byte throws pz::error. */
    template <class T, std::enable_if_t<std::is_arithmetic_v<T>, int> = 0>
    value &set(std::string_view key, T x) {
        return set(detail::key_text(key).c_str(), x);
    }
    /** Removes the entry under `key` from this dictionary; true when there was
     * one. Throws pz::error when this is not a dictionary. */
    bool erase(const char *key) {
        require(pz::kind::dict, "erase");
        return pz_variant_dict_erase(v_, key);
    }
    /** As erase(const char *); a key with a NUL byte throws pz::error. */
    bool erase(std::string_view key) { return erase(detail::key_text(key).c_str()); }

    /** The dictionary under `key` in this dictionary, made and stored there
     * when the key is absent: the way to write nested entries,
     * `cfg.child("server").set("port", 9443)`. Throws pz::error when this is
     * not a dictionary, the key is empty or holds a value of another kind. */
    value child(const char *key) {
        require_key(key, "child");
        value c(vdict_child(v_, key));
        if (c.v_ == nullptr && contains(key)) {
            throw error(std::string("pzvariant: child(\"") + key + "\") holds " +
                        detail::with_article(pz::view(*this)[key].kind()) + ", not a dict");
        }
        if (c.v_ == nullptr || stored(key) != c.v_) throw std::bad_alloc();
        return c;
    }
    /** As child(const char *); a key with a NUL byte throws pz::error. */
    value child(std::string_view key) { return child(detail::key_text(key).c_str()); }

    /** The value a JSON Pointer names inside this one, another handle to it:
     * "" for this value, "/server/tls/port" through dictionaries, "/hosts/0"
     * an array element, "~1" for a "/" in a key and "~0" for a "~". An
     * empty handle when nothing is there, as operator[] gives. Throws
     * pz::error for a malformed pointer (not "" and not starting with "/",
     * or "~" followed by neither "0" nor "1"). */
    value at_path(const char *pointer) const {
        check_pointer(pointer, "at_path");
        return borrow(pz_variant_path_find(v_, pointer));
    }
    /** As at_path(const char *); a pointer with a NUL byte throws pz::error. */
    value at_path(std::string_view pointer) const { return at_path(detail::key_text(pointer).c_str()); }
    /** Stores `element` where `pointer` names inside this value, making the
     * dictionaries on the way, as pz_variant_path_set does (an array step
     * must name an element; the last step may replace one, or append at
     * "-" or the size). All or nothing. Throws pz::error through an empty
     * handle, for an empty `element`, a malformed pointer, the pointer ""
     * or an empty key, and when a step names a value that is not a
     * container or an element that is not there. */
    value &set_path(const char *pointer, const value &element) {
        require_value("set_path");
        check_pointer(pointer, "set_path");
        if (element.v_ == nullptr) throw error(std::string("pzvariant: set_path(\"") + pointer + "\") of an empty handle");
        switch (pz_variant_path_set(v_, pointer, element.v_)) {
        case PZ_PATH_OK: return *this;
        case PZ_PATH_OUT_OF_MEMORY: throw std::bad_alloc();
        case PZ_PATH_BLOCKED:
            throw error(std::string("pzvariant: set_path(\"") + pointer +
                        "\") passes through a value that is not a container, or an element that is not there");
        default: throw error(std::string("pzvariant: set_path(\"") + pointer + "\") names no place to store in");
        }
    }
    /** As set_path(const char *, const value &); a pointer with a NUL byte
     * throws pz::error. */
    value &set_path(std::string_view pointer, const value &element) {
        return set_path(detail::key_text(pointer).c_str(), element);
    }

    /** The elements of this array, as views (no reference taken per
     * element); the range holds a reference to the array, so the elements
     * of a temporary can be walked. Nothing for an empty handle or a null
     * value; pz::error for other kinds (a dictionary's are its entries()). */
    element_range elements() const;

    /** The entries of this dictionary in insertion order, for
     * `for (auto [key, v] : d.entries())`: each key a std::string_view into
     * the dictionary's own key, each value a view. The range holds a
     * reference to the dictionary, so the entries of a temporary stay valid
     * while the loop runs; copy a key (std::string(key)) or take a pz::value
     * of a view to keep it longer. Nothing for an empty handle or a null
     * value; pz::error for other kinds (an array's are its elements()). */
    entry_range entries() const;

    /** A deep copy (an owned pointer is shared, not copied); an empty handle
     * for an empty handle. Throws pz::error for a value nested deeper than
     * PZ_VARIANT_MAX_DEPTH or containing itself. */
    value copy() const {
        if (v_ == nullptr) return value();
        pz_variant_t *c = pz_variant_dup(v_);
        if (c == nullptr) {
            check_source(*this, "copy");
            throw std::bad_alloc();
        }
        return value(c);
    }

    /** Copies `other` into this value as pz_variant_concat does: arrays get
     * copies of its elements appended, dictionaries copies of its entries
     * (one level: a nested dictionary is replaced whole, where merge_patch()
     * merges it), other kinds are replaced by a copy. A shared pointer
     * copied into a value of another kind takes a new record, which this
     * handle then holds; a container holding the old record keeps it.
     * Throws pz::error
     * through an empty handle, or when `other` is empty, an owned pointer,
     * nests too deep or contains itself. */
    value &concat(const value &other) {
        require_value("concat");
        check_source(other, "concat");
        if (other.kind() == pz::kind::autoptr) throw error("pzvariant: concat of an owned pointer, which has one owner");
        const bool replaces = other.kind() == pz::kind::sharedptr && kind() != pz::kind::sharedptr;
        pz_variant_t *result = pz_variant_concat(v_, other.v_);
        if (replaces) v_ = result;  // the C call consumed our reference
        if (result == nullptr) throw std::bad_alloc();
        return *this;
    }

    /** Merges `patch` into this value recursively, as pz_variant_merge_patch
     * does: a dictionary patch merges key by key (nested dictionaries too)
     * and a null in it removes its key; any other patch replaces this value
     * by a copy. All or nothing: on an exception this value is as it was.
     * Throws pz::error through an empty handle, or when `patch` is empty,
     * nests too deep, contains itself or is an owned or shared pointer. */
    value &merge_patch(const value &patch) {
        require_value("merge_patch");
        check_source(patch, "merge_patch");
        if (patch.kind() == pz::kind::autoptr || patch.kind() == pz::kind::sharedptr) {
            throw error("pzvariant: merge_patch with a pointer, which cannot replace a value in place");
        }
        if (!pz_variant_merge_patch(v_, patch.v_)) throw std::bad_alloc();
        return *this;
    }

    /** The leading elements of an array as a tuple, when each has exactly the
     * kind of its type (std::string_view for texts); otherwise nothing. */
    template <class... Ts>
    std::optional<std::tuple<Ts...>> unpack() const noexcept {
        return unpack_at<Ts...>(std::index_sequence_for<Ts...>{});
    }

    /** The typed dump text: one line of JSON recording every kind, which
     * pz::from_dump reads back to an equal value. Throws pz::error for an
     * empty handle and for a value nested deeper than PZ_VARIANT_MAX_DEPTH
     * or containing itself. */
    std::string dump() const {
        require_value("dump");
        return written(pz_variant_dump(v_), "dump");
    }

    /** The plain JSON text, compact or indented for people; kinds as the rule
     * in pz_variant.h says (pointer kinds as null). Throws pz::error for an
     * empty handle or a value nested deeper than PZ_VARIANT_MAX_DEPTH or
     * containing itself, std::bad_alloc when out of memory. */
    std::string to_json(bool indent = false) const;

    /** The MessagePack of the value (flags as for pz_variant_to_msgpack),
     * which pz::from_msgpack reads back to an equal value. Throws pz::error
     * for an empty handle, a value nested deeper than PZ_VARIANT_MAX_DEPTH or
     * containing itself, and a pointer kind without
     * PZ_MSGPACK_POINTERS_AS_NIL. */
    std::vector<std::byte> to_msgpack(unsigned flags = 0) const {
        require_value("to_msgpack");
        // Measured first (which allocates nothing), then written in place.
        const size_t size = pz_variant_to_msgpack_buf(v_, flags, nullptr, 0);
        if (size == 0) throw error("pzvariant: to_msgpack of a value nested too deep, containing itself or holding a pointer");
        std::vector<std::byte> bytes(size);
        pz_variant_to_msgpack_buf(v_, flags, reinterpret_cast<uint8_t *>(bytes.data()), size);
        return bytes;
    }

    /** Equal kinds holding equal values, as pz_variant_equal compares them;
     * two empty handles are equal. */
    friend bool operator==(const value &a, const value &b) noexcept { return pz_variant_equal(a.v_, b.v_); }
    /** Not operator==. */
    friend bool operator!=(const value &a, const value &b) noexcept { return !(a == b); }

private:
    explicit value(pz_variant_t *v) noexcept : v_(v) {}

    // The text a writer made, as a std::string. A writer that made none was
    // given a value it cannot write (pz::error) or ran out of memory.
    std::string written(char *text, const char *what) const {
        if (text == nullptr) {
            check_source(*this, what);
            throw std::bad_alloc();
        }
        struct release_text {
            void operator()(char *t) const noexcept { HAL_Free(t); }
        };
        std::unique_ptr<char, release_text> owned(text);
        return std::string(text);
    }

    void require_value(const char *what) const {
        if (v_ == nullptr) throw error(std::string("pzvariant: ") + what + " through an empty handle");
    }
    [[noreturn]] void not_of(pz::kind want, const char *what) const {
        require_value(what);
        throw error(std::string("pzvariant: ") + what + " of " + detail::with_article(kind()) + ", not " +
                    detail::with_article(want));
    }
    void require(pz::kind want, const char *what) const {
        if (kind() != want) not_of(want, what);
    }
    // A JSON Pointer: "" or "/..." with every "~" escaping "0" or "1".
    static void check_pointer(const char *pointer, const char *what) {
        bool ok = pointer != nullptr && (pointer[0] == '\0' || pointer[0] == '/');
        for (const char *c = ok ? pointer : ""; *c != '\0'; ++c) {
            if (*c == '~' && c[1] != '0' && c[1] != '1') ok = false;
        }
        if (!ok) throw error(std::string("pzvariant: ") + what + " of a malformed JSON Pointer");
    }
    void require_key(const char *key, const char *what) const {
        require(pz::kind::dict, what);
        if (pz_cstr_empty(key)) throw error(std::string("pzvariant: ") + what + " with an empty key");
    }
    // What the C calls refuse besides memory. pz_variant_equal refuses the
    // same nesting and allocates nothing.
    static void check_source(const value &source, const char *what) {
        if (source.v_ == nullptr) throw error(std::string("pzvariant: ") + what + " of an empty handle");
        if (!pz_variant_equal(source.v_, source.v_)) {
            throw error(std::string("pzvariant: ") + what +
                        " of a value nested deeper than PZ_VARIANT_MAX_DEPTH or containing itself");
        }
    }
    // The record stored under `key`, compared by address only.
    const pz_variant_t *stored(const char *key) const noexcept { return pz_variant_dict_find(v_, key); }

    template <class... Ts, size_t... I>
    std::optional<std::tuple<Ts...>> unpack_at(std::index_sequence<I...>) const noexcept {
        if (kind() != pz::kind::array || size() < sizeof...(Ts)) return std::nullopt;
        const pz::view self(*this);
        std::tuple<std::optional<Ts>...> got{self[static_cast<uint32_t>(I)].template get<Ts>()...};
        if (!(std::get<I>(got).has_value() && ...)) return std::nullopt;
        return std::tuple<Ts...>{*std::get<I>(got)...};
    }

    static uint32_t checked_len(size_t size) {
        if (size >= UINT32_MAX) throw std::length_error("pzvariant: text or buffer too long");
        return static_cast<uint32_t>(size);
    }
    static pz_variant_t *make_text(std::string_view text) {
        return vstr_sized_new(text.data(), checked_len(text.size()));
    }

    pz_variant_t *v_ = nullptr;
};

inline view::view(const value &v) noexcept : v_(v.get()) {}
inline bool operator==(const value &a, view b) noexcept { return pz_variant_equal(a.get(), b.get()); }
inline bool operator==(view a, const value &b) noexcept { return pz_variant_equal(a.get(), b.get()); }

/** Walks the elements of an array as views; see elements(). */
class element_iterator {
public:
    using value_type = pz::view;                        ///< what it yields
    using reference = pz::view;                         ///< yielded by value
    using pointer = void;                               ///< no pointer to a view
    using difference_type = std::ptrdiff_t;             ///< distance type
    using iterator_category = std::input_iterator_tag;  ///< read once, forward
    /** At element `i` of the array `a`. */
    element_iterator(const pz_variant_t *a, uint32_t i) noexcept : a_(a), i_(i) {}
    /** At the first element of `a`. */
    static element_iterator first(const pz_variant_t *a) noexcept { return {a, 0}; }
    /** Past the last element of `a`. */
    static element_iterator past(const pz_variant_t *a) noexcept { return {a, pz_variant_array_size(a)}; }
    /** The element (no value for an empty slot). */
    pz::view operator*() const noexcept { return pz::view(pz_variant_array_at(a_, i_)); }
    /** Moves to the next element. */
    element_iterator &operator++() noexcept {
        ++i_;
        return *this;
    }
    /** Same array, same position. */
    bool operator==(const element_iterator &o) const noexcept { return i_ == o.i_ && a_ == o.a_; }
    /** Not operator==. */
    bool operator!=(const element_iterator &o) const noexcept { return !(*this == o); }

private:
    const pz_variant_t *a_;
    uint32_t i_;
};

/** Walks the entries of a dictionary in insertion order; see entries(). */
class entry_iterator {
public:
    using value_type = entry;                           ///< what it yields
    using reference = entry;                            ///< yielded by value
    using pointer = void;                               ///< no pointer to an entry
    using difference_type = std::ptrdiff_t;             ///< distance type
    using iterator_category = std::input_iterator_tag;  ///< read once, forward
    /** At the first entry of `d`, or past the last with `end`. */
    entry_iterator(const pz_variant_t *d, bool end) noexcept : d_(d), done_(end) {
        if (!done_) ++*this;
    }
    /** At the first entry of `d`. */
    static entry_iterator first(const pz_variant_t *d) noexcept { return {d, false}; }
    /** Past the last entry of `d`. */
    static entry_iterator past(const pz_variant_t *d) noexcept { return {d, true}; }
    /** The entry. */
    entry operator*() const noexcept {
        return {std::string_view(key_->cstr, static_cast<size_t>(key_->len)), pz::view(value_)};
    }
    /** Moves to the next entry. */
    entry_iterator &operator++() noexcept {
        done_ = !pz_variant_dict_next(d_, &next_, &key_, &value_);
        return *this;
    }
    /** Same dictionary, same position (every iterator past the end is equal). */
    bool operator==(const entry_iterator &o) const noexcept {
        return d_ == o.d_ && done_ == o.done_ && (done_ || next_ == o.next_);
    }
    /** Not operator==. */
    bool operator!=(const entry_iterator &o) const noexcept { return !(*this == o); }

private:
    const pz_variant_t *d_;
    uint32_t next_ = 0;
    const pz_string_t *key_ = nullptr;
    pz_variant_t *value_ = nullptr;
    bool done_;
};

/** The elements of an array (It = element_iterator) or the entries of a
 * dictionary (It = entry_iterator) in order, for
 * `for (pz::view e : a.elements())` and `for (auto [key, v] : d.entries())`.
 * Made from a pz::value, it holds a reference to the container; made from a
 * view, it holds none. */
template <class It>
class basic_range {
public:
    /** The first element or entry. */
    It begin() const noexcept { return It::first(container_); }
    /** Past the last (an array's size is read when end() is called). */
    It end() const noexcept { return It::past(container_); }

private:
    friend class value;
    friend class view;
    basic_range(value owner, const pz_variant_t *c) noexcept : owner_(std::move(owner)), container_(c) {}
    value owner_;
    const pz_variant_t *container_;
};

inline element_range view::elements() const {
    if (kind() != pz::kind::array && !is_null()) {
        throw error("pzvariant: elements() of " + detail::with_article(kind()) + ", not an array");
    }
    return element_range(value(), v_);
}

inline entry_range view::entries() const {
    if (kind() != pz::kind::dict && !is_null()) {
        throw error("pzvariant: entries() of " + detail::with_article(kind()) + ", not a dict");
    }
    return entry_range(value(), v_);
}

inline element_range value::elements() const {
    if (kind() != pz::kind::array && !is_null()) not_of(pz::kind::array, "elements()");
    return element_range(*this, v_);
}

inline entry_range value::entries() const {
    if (kind() != pz::kind::dict && !is_null()) not_of(pz::kind::dict, "entries()");
    return entry_range(*this, v_);
}

/** A new array packed from C++ values, the kind of each element given by its
 * type exactly: pz::pack(int32_t{7}, "text") packs "ic". Throws
 * std::invalid_argument when given nothing to pack, and pz::error for a
 * std::string holding a NUL byte. */
template <class... Ts>
value pack(const Ts &...xs) {
    if constexpr (sizeof...(Ts) == 0) {
        throw std::invalid_argument("pz::pack: nothing to pack (pz::array({}) makes an empty array)");
    } else {
        static constexpr char fmt[] = {detail::pack_letter<std::decay_t<const Ts &>>()..., '\0'};
        value a = value::adopt(detail::check(pz_variant_pack(fmt, detail::promote<std::decay_t<const Ts &>>(xs)...)));
        for (const view e : a.elements()) {
            if (!e.has_value()) throw std::bad_alloc();  // an element could not be made
        }
        return a;
    }
}


/// @cond detail
namespace detail {

// Takes `v` over; throws what `error` reports when it is null.
inline value read_result(pz_variant_t *v, const pz_read_error_t &error) {
    if (v != nullptr) return value::adopt(v);
    if (error.code == PZ_READ_OUT_OF_MEMORY) throw std::bad_alloc();
    throw parse_error(error);
}

// The value `read` makes of `text`; throws pz::parse_error with the reason
// and offset when it cannot, std::bad_alloc when memory ran out.
inline value read_text(std::string_view text, pz_variant_t *(*read)(const char *, pz_read_error_t *)) {
    // The C readers end a text at its first NUL, which would hide the rest.
    const size_t nul = text.find('\0');
    if (nul != std::string_view::npos) throw parse_error("NUL byte in the text", nul);
    const std::string terminated(text);
    pz_read_error_t error;
    return read_result(read(terminated.c_str(), &error), error);
}

}  // namespace detail
/// @endcond

/** The value a dump text describes. Throws pz::parse_error when the text
 * describes no readable value (what() the reason, offset() where). */
inline value from_dump(std::string_view text) { return detail::read_text(text, pz_variant_from_dump_ex); }

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
 * one readable value (what() the reason, offset() where), std::bad_alloc
 * when out of memory. */
inline value from_msgpack(const void *data, size_t len) {
    pz_read_error_t error;
    pz_variant_t *v = pz_variant_from_msgpack(data, len, &error);
    if (v != nullptr) return value::adopt(v);
    if (error.code == PZ_READ_OUT_OF_MEMORY) throw std::bad_alloc();
    throw parse_error(error.reason, error.offset);
}

/** As from_msgpack(data, len), of the bytes that value::to_msgpack gives. */
inline value from_msgpack(const std::vector<std::byte> &bytes) { return from_msgpack(bytes.data(), bytes.size()); }

inline std::string value::to_json(bool indent) const {
    require_value("to_json");
    return written(pz_variant_to_json(v_, indent ? PZ_JSON_INDENT : 0), "to_json");
}

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

/** A new array holding the given elements in order. */
inline value array(std::initializer_list<value> elements) {
    value a = value::adopt(detail::check(pz_variant_array_new()));
    if (a.get()->ptr_val == nullptr) throw std::bad_alloc();
    for (const value &e : elements) a.push_back(e);
    return a;
}

/** A new dictionary holding the given entries; a later duplicate key wins. */
inline value dict(std::initializer_list<std::pair<std::string_view, value>> entries) {
    value d = value::adopt(detail::check(pz_variant_dict_new()));
    if (d.get()->ptr_val == nullptr) throw std::bad_alloc();
    for (const auto &[key, element] : entries) d.set(key, element);
    return d;
}

/** @} */

}  // namespace pz

#include "pz_stream.hpp"

#endif  // PZ_VARIANT_HPP
