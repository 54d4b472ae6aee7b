// C++ interface to pzvariant (C++17 and later): a handle that owns one
// reference, so that no caller writes pz_variant_unref by hand.
//
//   pz::value record = pz::dict({{"name", "sensor-7"}, {"readings", pz::array({21, 22})}});
//   std::optional<int32_t> first = record["readings"][0].get<int32_t>();
//
// Every member is one call of the C API or a few. Allocation failure throws
// std::bad_alloc; no destructor throws. Reading never converts between
// kinds: get<int64_t>() of an int32 value is empty.
#ifndef PZ_VARIANT_HPP
#define PZ_VARIANT_HPP

#include <cstdint>
#include <cstring>
#include <initializer_list>
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

namespace pz {

// The kinds, named; the values are the C type codes.
enum class kind : char {
    null = vtype_null,
    boolean = vtype_bool,
    int8 = vtype_int8,
    uint8 = vtype_uint8,
    int16 = vtype_int16,
    uint16 = vtype_uint16,
    int32 = vtype_int32,
    uint32 = vtype_uint32,
    int64 = vtype_int64,
    uint64 = vtype_uint64,
    float32 = vtype_float,
    float64 = vtype_double,
    string = vtype_string,
    bytes = vtype_bytes,
    ptr = vtype_ptr,
    autoptr = vtype_autoptr,
    sharedptr = vtype_sharedptr,
    array = vtype_array,
    dict = vtype_dict,
};

// Bad input or misuse (an empty handle, a value that cannot be written, a
// text that cannot be read). std::bad_alloc stays reserved for memory.
class error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A text that could not be read: what() says why, offset() where (the byte
// offset in the text at which reading stopped).
class parse_error : public error {
public:
    parse_error(const std::string &reason, size_t offset) : error(reason), offset_(offset) {}
    size_t offset() const noexcept { return offset_; }

private:
    size_t offset_;
};

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

class value;
value array(std::initializer_list<value> elements);

// Holds one reference to a value, or nothing. Copying takes a reference,
// moving transfers it, destruction drops it.
class value {
public:
    // An empty handle, holding no value at all (see null() for a null value).
    value() noexcept = default;

    template <class T, std::enable_if_t<std::is_arithmetic_v<T>, int> = 0>
    value(T x) : v_(detail::check(detail::make_scalar(x))) {}
    value(void *p) : v_(detail::check(pz_variant_ptr_new(p))) {}
    value(std::string_view text) : v_(detail::check(make_text(text))) {}
    value(const char *text) : value(std::string_view(text != nullptr ? text : "")) {}
    value(const std::string &text) : value(std::string_view(text)) {}

    value(const value &other) noexcept : v_(pz_variant_ref(other.v_)) {}
    value(value &&other) noexcept : v_(std::exchange(other.v_, nullptr)) {}
    value &operator=(value other) noexcept {
        std::swap(v_, other.v_);
        return *this;
    }
    ~value() { pz_variant_unref(v_); }

    // A value of kind null.
    static value null() {
        pz_variant_t *v = detail::check(pz_variant_bool_new(false));
        pz_variant_clear(v);
        return value(v);
    }
    // Takes over the caller's reference to `v` (a fresh C result).
    static value adopt(pz_variant_t *v) noexcept { return value(v); }
    // Takes a new reference to `v`; the caller keeps its own.
    static value borrow(pz_variant_t *v) noexcept { return value(pz_variant_ref(v)); }
    // A byte buffer holding a copy of `size` bytes.
    static value bytes(const void *data, size_t size) {
        return value(detail::check(vstr_buf_new(static_cast<const uint8_t *>(data), checked_len(size))));
    }
#if __cplusplus >= 202002L
    static value bytes(std::span<const std::byte> data) { return bytes(data.data(), data.size()); }
#endif

    pz_variant_t *get() const noexcept { return v_; }
    // Gives up the reference without dropping it; the caller now owns it.
    pz_variant_t *release() noexcept { return std::exchange(v_, nullptr); }
    explicit operator bool() const noexcept { return v_ != nullptr; }

    pz::kind kind() const noexcept { return v_ != nullptr ? static_cast<pz::kind>(v_->vt) : pz::kind::null; }

    // The value when the kind is exactly that of T, else nothing.
    template <class T>
    std::optional<T> get() const noexcept {
        if constexpr (std::is_same_v<T, std::string_view>) {
            if (kind() != pz::kind::string) return std::nullopt;
            return std::string_view(v_->str_val != nullptr ? v_->str_val : "", v_->len);
        } else {
            if (kind() != detail::kind_of<T>()) return std::nullopt;
            T x;
            std::memcpy(&x, v_, sizeof x);
            return x;
        }
    }
    template <class T>
    T value_or(T def) const noexcept {
        return get<T>().value_or(def);
    }

    // Elements of an array, or entries of a dictionary.
    uint32_t size() const noexcept {
        return kind() == pz::kind::dict ? pz_variant_dict_size(v_) : pz_variant_array_size(v_);
    }
    template <class I, std::enable_if_t<std::is_integral_v<I>, int> = 0>
    value operator[](I index) const noexcept {
        if (index < 0 || static_cast<uint64_t>(index) > UINT32_MAX) return value();
        return value(pz_variant_array_index(v_, static_cast<uint32_t>(index)));
    }
    value operator[](const char *key) const noexcept { return value(pz_variant_dict_get(v_, key)); }
    value operator[](const std::string &key) const noexcept { return (*this)[key.c_str()]; }
    bool contains(const char *key) const noexcept { return pz_variant_dict_contains(v_, key); }

    value &push_back(const value &element) {
        const uint32_t before = size();
        pz_variant_array_append(v_, element.v_);
        if (kind() == pz::kind::array && size() == before) throw std::bad_alloc();
        return *this;
    }
    // Stores `element` under `key` (an empty handle or key stores nothing).
    value &set(const char *key, const value &element) {
        pz_variant_dict_put(v_, key, element.v_);
        if (kind() == pz::kind::dict && element && !key_present(key)) throw std::bad_alloc();
        return *this;
    }
    bool erase(const char *key) noexcept { return pz_variant_dict_erase(v_, key); }

    // Array elements in order (range-for).
    class iterator {
    public:
        using value_type = pz::value;
        using difference_type = std::ptrdiff_t;
        using iterator_category = std::input_iterator_tag;
        iterator(const pz_variant_t *a, uint32_t i) : a_(a), i_(i) {}
        pz::value operator*() const noexcept { return pz::value(pz_variant_array_index(a_, i_)); }
        iterator &operator++() noexcept {
            ++i_;
            return *this;
        }
        bool operator==(const iterator &o) const noexcept { return i_ == o.i_ && a_ == o.a_; }
        bool operator!=(const iterator &o) const noexcept { return !(*this == o); }

    private:
        const pz_variant_t *a_;
        uint32_t i_;
    };
    iterator begin() const noexcept { return iterator(v_, 0); }
    iterator end() const noexcept { return iterator(v_, pz_variant_array_size(v_)); }

    // Dictionary entries in insertion order, for `for (auto &[key, v] : d.entries())`.
    // The keys stay valid while this value holds the entries.
    std::vector<std::pair<std::string_view, value>> entries() const {
        std::vector<std::pair<std::string_view, value>> out;
        out.reserve(size());
        pz_variant_dict_foreach(v_, collect_entry, &out);
        return out;
    }

    // A deep copy (an owned pointer is shared, not copied).
    value copy() const { return value(v_ == nullptr ? nullptr : detail::check(pz_variant_dup(v_))); }

    // Merges `other` into this value: arrays append copies of its elements,
    // dictionaries take copies of its entries, other kinds are replaced by a
    // copy. Throws std::bad_alloc when nothing could be merged.
    value &merge(const value &other) {
        if (v_ == nullptr) return *this = other.copy();
        const bool replaces = other.kind() == pz::kind::sharedptr && kind() != pz::kind::sharedptr;
        pz_variant_t *result = pz_variant_concat(v_, other.v_);
        if (replaces) v_ = result;  // the C call consumed our reference
        if (result == nullptr && other) throw std::bad_alloc();
        return *this;
    }

    // The leading elements of an array as a tuple, when each has exactly the
    // kind of its type (std::string_view for texts); otherwise nothing.
    template <class... Ts>
    std::optional<std::tuple<Ts...>> unpack() const noexcept {
        return unpack_at<Ts...>(std::index_sequence_for<Ts...>{});
    }

    // The typed dump text: one line of JSON recording every kind. Throws
    // std::bad_alloc when it cannot be made (out of memory, or a value nested
    // deeper than PZ_VARIANT_MAX_DEPTH or containing itself).
    std::string dump() const {
        char *text = pz_variant_dump(v_);
        if (text == nullptr) throw std::bad_alloc();
        struct release_text {
            void operator()(char *t) const noexcept { HAL_Free(t); }
        };
        std::unique_ptr<char, release_text> owned(text);
        return std::string(text);
    }

    // The plain JSON text, compact or indented for people; kinds as the rule
    // in pz_variant.h says (pointer kinds as null). Throws pz::error for an
    // empty handle or a value nested deeper than PZ_VARIANT_MAX_DEPTH or
    // containing itself, std::bad_alloc when out of memory.
    std::string to_json(bool indent = false) const;

    friend bool operator==(const value &a, const value &b) noexcept { return pz_variant_equal(a.v_, b.v_); }
    friend bool operator!=(const value &a, const value &b) noexcept { return !(a == b); }

private:
    explicit value(pz_variant_t *v) noexcept : v_(v) {}

    template <class... Ts, size_t... I>
    std::optional<std::tuple<Ts...>> unpack_at(std::index_sequence<I...>) const noexcept {
        if (kind() != pz::kind::array || size() < sizeof...(Ts)) return std::nullopt;
        std::tuple<std::optional<Ts>...> got{(*this)[static_cast<uint32_t>(I)].template get<Ts>()...};
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
    bool key_present(const char *key) const noexcept { return pz_cstr_empty(key) || contains(key); }
    static bool collect_entry(void *key, void *element, void *out) {
        const auto *k = static_cast<const pz_string_t *>(key);
        static_cast<std::vector<std::pair<std::string_view, value>> *>(out)->emplace_back(
            std::string_view(k->cstr, static_cast<size_t>(k->len)),
            borrow(static_cast<pz_variant_t *>(element)));
        return true;
    }

    pz_variant_t *v_ = nullptr;
};

// A new array packed from C++ values, the kind of each element given by its
// type exactly: pz::pack(int32_t{7}, "text") packs "ic".
template <class... Ts>
value pack(const Ts &...xs) {
    static constexpr char fmt[] = {detail::pack_letter<std::decay_t<const Ts &>>()..., '\0'};
    value a = value::adopt(detail::check(pz_variant_pack(fmt, detail::promote<std::decay_t<const Ts &>>(xs)...)));
    for (const value &e : a) {
        if (!e) throw std::bad_alloc();  // an element could not be made
    }
    return a;
}

namespace detail {

// The value `read` makes of `text`; throws pz::parse_error with the reason
// and offset when it cannot, std::bad_alloc when memory ran out.
inline value read_text(std::string_view text, pz_variant_t *(*read)(const char *, pz_read_error_t *)) {
    // The C readers end a text at its first NUL, which would hide the rest.
    const size_t nul = text.find('\0');
    if (nul != std::string_view::npos) throw parse_error("NUL byte in the text", nul);
    const std::string terminated(text);
    pz_read_error_t error;
    pz_variant_t *v = read(terminated.c_str(), &error);
    if (v != nullptr) return value::adopt(v);
    if (std::strcmp(error.reason, "out of memory") == 0) throw std::bad_alloc();
    throw parse_error(error.reason, error.offset);
}

}  // namespace detail

// The value a dump text describes. Throws pz::parse_error when the text
// describes no readable value (what() the reason, offset() where).
inline value from_dump(std::string_view text) { return detail::read_text(text, pz_variant_from_dump_ex); }

// The value a plain JSON text holds, its kinds by the rule in pz_variant.h.
// Throws pz::parse_error when the text is not one JSON value.
inline value from_json(std::string_view text) { return detail::read_text(text, pz_variant_from_json); }

inline std::string value::to_json(bool indent) const {
    if (v_ == nullptr) throw error("pzvariant: to_json of an empty handle");
    char *text = pz_variant_to_json(v_, indent ? PZ_JSON_INDENT : 0);
    if (text == nullptr) {
        // Only a value too deep or containing itself is equal to nothing.
        if (!pz_variant_equal(v_, v_)) throw error("pzvariant: value nested too deep or containing itself");
        throw std::bad_alloc();
    }
    std::string out;
    try {
        out = text;
    } catch (...) {
        HAL_Free(text);
        throw;
    }
    HAL_Free(text);
    return out;
}

// Writes the indented plain JSON of `v`; an empty handle or a value that
// cannot be written sets failbit and writes nothing.
inline std::ostream &operator<<(std::ostream &out, const value &v) {
    try {
        return out << v.to_json(true);
    } catch (const error &) {
        out.setstate(std::ios::failbit);
        return out;
    }
}

// A new array holding the given elements in order.
inline value array(std::initializer_list<value> elements) {
    value a = value::adopt(detail::check(pz_variant_array_new()));
    if (a.get()->ptr_val == nullptr) throw std::bad_alloc();
    for (const value &e : elements) a.push_back(e);
    return a;
}

// A new dictionary holding the given entries; a later duplicate key wins.
inline value dict(std::initializer_list<std::pair<const char *, value>> entries) {
    value d = value::adopt(detail::check(pz_variant_dict_new()));
    if (d.get()->ptr_val == nullptr) throw std::bad_alloc();
    for (const auto &[key, element] : entries) d.set(key, element);
    return d;
}

}  // namespace pz

#endif  // PZ_VARIANT_HPP
