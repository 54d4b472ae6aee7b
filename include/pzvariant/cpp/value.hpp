/** @file cpp/value.hpp
 * pz::value: a handle that owns one reference to a value.
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_VALUE_HPP
#define PZ_CPP_VALUE_HPP

#include <cstddef>
#include <cstring>
#include <exception>
#include <initializer_list>
#include <new>
#include <optional>
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

#include "view.hpp"

namespace pz {

/** @addtogroup cpp
 * @{ */

/// @cond detail
namespace detail {

// Gathers what a C writer hands its callback in a std::string or a byte
// vector. An exception (std::bad_alloc) is kept and rethrown once the C
// call has returned: it never unwinds through the C library.
template <class Out>
struct collector {
    Out out;
    std::exception_ptr failure;

    static int chunk(const char *bytes, size_t n, void *self) noexcept {
        auto *c = static_cast<collector *>(self);
        try {
            const auto *first = reinterpret_cast<const typename Out::value_type *>(bytes);
            c->out.insert(c->out.end(), first, first + n);
            return 0;
        } catch (...) {
            c->failure = std::current_exception();
            return 1;
        }
    }
    // What the writer gave, or the exception the callback met.
    Out take(pz_status status, const char *what) {
        if (failure) std::rethrow_exception(failure);
        if (status != PZ_STATUS_OK) throw_status(status, what);
        return std::move(out);
    }
};

// A type that no other constructor of pz::value takes.
template <class T>
struct is_plain
    : std::bool_constant<!std::is_base_of_v<view, T> && !std::is_same_v<T, value> && !is_number_v<T> &&
                         !std::is_convertible_v<const T &, std::string_view> && !std::is_same_v<T, std::nullptr_t> &&
                         !std::is_same_v<T, void *>> {};

}  // namespace detail
/// @endcond

/** Holds one reference to a value, or nothing (an empty handle). Copying
 * takes a reference, moving transfers it, destruction drops it. Two handles
 * to the same value see each other's changes; copy() makes an independent
 * value. Reading through a pz::view of it takes no reference at all. */
class value : public detail::reader<value> {
public:
    using detail::reader<value>::get;
    /** Walks the elements of an array or the entries of a dictionary; see begin(). */
    using iterator = pz::item_iterator;
    /** As iterator: the walk only reads. */
    using const_iterator = pz::item_iterator;
    /** The elements of an array; see elements(). */
    using element_range = pz::element_range;
    /** One dictionary entry: its key, borrowed, and a view of its value. */
    using entry = pz::entry;

    /** An empty handle, holding no value at all (see null() for a value of
     * kind null). */
    value() noexcept = default;
    /** A value of kind null: `pz::value v = nullptr;`. */
    value(std::nullptr_t) : v_(detail::check(pz_variant_null_new())) {}

    /** A value of the kind that T maps to exactly: int32_t gives an int32,
     * uint16_t a uint16, float a float, bool a bool. */
    template <class T, std::enable_if_t<detail::is_number_v<T>, int> = 0>
    value(T x) : v_(detail::check(make(x))) {}
    /** A raw pointer value; the pointee is not owned. */
    value(void *p) : v_(detail::check(pz_variant_ptr_new(p))) {}
    /** A string holding a copy of `text`, NUL bytes included. */
    value(std::string_view text) : v_(detail::check(make_text(text))) {}
    /** A string holding a copy of `text` (a null pointer gives the empty string). */
    value(const char *text) : value(std::string_view(detail::text_or_empty(text))) {}
    /** A string holding a copy of `text`, NUL bytes included. */
    value(const std::string &text) : value(std::string_view(text)) {}
    /** Another handle to the value `v` views (one more reference); empty
     * when it views none. */
    value(view v) noexcept : v_(pz_variant_ref(const_cast<pz_variant_t *>(v.get()))) {}
    /** A new array holding `elements` in order: `pz::value a = {1, "two", 3.0};`.
     * (A braced list is always an array: `pz::value v{x}` is an array
     * holding x; copy a handle with `pz::value v = x` or `pz::value v(x)`.) */
    value(std::initializer_list<value> elements);
    /** The value that `to_pz(pz::value &, const T &)` makes of `x`: for the
     * standard containers (std::vector, std::array, std::map and
     * std::unordered_map with text keys, std::optional, and byte buffers
     * from std::vector<std::byte> or std::span<const std::byte>), and for a
     * user's type whose to_pz is found by argument-dependent lookup (see
     * PZ_FIELDS). */
    template <class T,
              std::enable_if_t<std::conjunction_v<detail::is_plain<T>, detail::to_pz_able<T>>, int> = 0>
    value(const T &x) : value(detail::to_value(x)) {}

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
    static value null() { return value(detail::check(pz_variant_null_new())); }
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
    template <class I, std::enable_if_t<detail::is_index_v<I>, int> = 0>
    value operator[](I index) const noexcept {
        return pz::view(*this)[index];
    }
    /** The dictionary value under `key`, another handle to it (writes through
     * it change the stored value); an empty handle when absent or when this
     * is not a dictionary. To read without taking references, index a
     * pz::view of this value instead. */
    value operator[](const char *key) const noexcept { return value(pz_variant_dict_get(v_, key)); }
    /** As operator[](const char *), for the bytes of `key` (a key with a
     * NUL byte finds nothing). */
    value operator[](std::string_view key) const noexcept { return pz::view(*this)[key]; }

    /** As view::at(std::string_view), another handle to what it finds. */
    value at(std::string_view key) const { return pz::view(*this).at(key); }
    /** As view::at(const char *). */
    value at(const char *key) const { return pz::view(*this).at(key); }
    /** As view::at(I), another handle to the element. */
    template <class I, std::enable_if_t<detail::is_index_v<I>, int> = 0>
    value at(I index) const {
        return pz::view(*this).at(index);
    }
    /** As view::at(pointer), another handle to what it finds. */
    value at(pointer p) const { return pz::view(*this).at(p); }

    /** Appends `element` to this array (an empty handle appends an empty
     * slot). Throws pz::error when this is not an array. */
    value &push_back(const value &element) {
        const pz_status status = pz_variant_array_append_ex(v_, element.v_);
        if (status != PZ_STATUS_OK) refused(status, "push_back", pz::kind::array);
        return *this;
    }
    /** Stores `element` under `key` in this dictionary, replacing what was
     * there. Throws pz::error when this is not a dictionary, the key is
     * empty or holds a NUL byte, or `element` is an empty handle (store
     * value::null() for a null). */
    value &set(std::string_view key, const value &element) {
        const pz_status status = pz_variant_dict_put_ex(v_, key.data(), key.size(), element.v_);
        if (status == PZ_STATUS_NO_VALUE && v_ != nullptr) {
            throw error("pzvariant: set of an empty handle under \"" + std::string(key) + "\"");
        }
        if (status != PZ_STATUS_OK) refused(status, "set", pz::kind::dict);
        return *this;
    }
    /** As set(std::string_view, const value &). */
    value &set(const char *key, const value &element) { return set(std::string_view(detail::text_or_empty(key)), element); }
    /** Stores `x` under `key` as a value of the kind that T maps to, as
     * set(key, pz::value(x)) does. A number stored under the key that only
     * this dictionary holds is rewritten in place, with no allocation. */
    template <class T, std::enable_if_t<detail::is_number_v<T>, int> = 0>
    value &set(std::string_view key, T x) {
        pz_variant_t record{};  // read by the call, not kept
        std::memcpy(&record, &x, sizeof x);  // T has its kind's width (kind_of maps by size)
        record.vt = static_cast<char>(detail::kind_of<T>());
        const pz_status status = pz_variant_dict_put_scalar_ex(v_, key.data(), key.size(), &record);
        if (status != PZ_STATUS_OK) refused(status, "set", pz::kind::dict);
        return *this;
    }
    /** As set(std::string_view, T). */
    template <class T, std::enable_if_t<detail::is_number_v<T>, int> = 0>
    value &set(const char *key, T x) {
        return set(std::string_view(detail::text_or_empty(key)), x);
    }
    /** Removes the entry under `key` from this dictionary; true when there was
     * one. Throws pz::error when this is not a dictionary, or for a key no
     * dictionary holds (empty, or with a NUL byte). */
    bool erase(std::string_view key) {
        const pz_status status = pz_variant_dict_erase_ex(v_, key.data(), key.size());
        if (status == PZ_STATUS_NOT_FOUND) return false;
        if (status != PZ_STATUS_OK) refused(status, "erase", pz::kind::dict);
        return true;
    }
    /** As erase(std::string_view). */
    bool erase(const char *key) { return erase(std::string_view(detail::text_or_empty(key))); }

    /** The dictionary under `key` in this dictionary, made and stored there
     * when the key is absent: the way to write nested entries,
     * `cfg.child("server").set("port", 9443)`. Throws pz::error when this is
     * not a dictionary, the key is empty or holds a value of another kind. */
    value child(std::string_view key) {
        pz_variant_t *found = nullptr;
        const pz_status status = vdict_child_ex(v_, key.data(), key.size(), &found);
        if (status == PZ_STATUS_OK) return borrow(found);
        if (status == PZ_STATUS_OCCUPIED) {
            throw error("pzvariant: child(\"" + std::string(key) + "\") holds " +
                        detail::with_article(pz::view(found).kind()) + ", not a dict");
        }
        refused(status, "child", pz::kind::dict);
    }
    /** As child(std::string_view). */
    value child(const char *key) { return child(std::string_view(detail::text_or_empty(key))); }

    /** The value a JSON Pointer names inside this one, another handle to it:
     * "" for this value, "/server/tls/port" through dictionaries, "/hosts/0"
     * an array element, "~1" for a "/" in a key and "~0" for a "~". An
     * empty handle when nothing is there, as operator[] gives (at(pz::pointer)
     * says why instead). Throws pz::error for a malformed pointer (not ""
     * and not starting with "/", or "~" followed by neither "0" nor "1"). */
    value at_path(std::string_view pointer) const { return borrow(detail::find_path(v_, pointer, "at_path")); }
    /** Stores `element` where `pointer` names inside this value, making the
     * dictionaries on the way, as pz_variant_path_set does (an array step
     * must name an element; the last step may replace one, or append at
     * "-" or the size). All or nothing. Throws pz::error through an empty
     * handle, for an empty `element`, a malformed pointer, the pointer ""
     * or an empty key, and when a step names a value that is not a
     * container or an element that is not there. */
    value &set_path(std::string_view pointer, const value &element) {
        const std::string what = "set_path(\"" + std::string(pointer) + "\")";
        switch (pz_variant_path_set_ex(v_, pointer.data(), pointer.size(), element.v_)) {
            case PZ_PATH_OK: return *this;
            case PZ_PATH_OUT_OF_MEMORY: throw std::bad_alloc();
            case PZ_PATH_BLOCKED:
                throw error("pzvariant: " + what +
                            " passes through a value that is not a container, or an element that is not there");
            default:
                if (v_ == nullptr) throw error("pzvariant: " + what + " through an empty handle");
                if (element.v_ == nullptr) throw error("pzvariant: " + what + " of an empty handle");
                throw error("pzvariant: " + what + " names no place to store in");
        }
    }

    /** The elements of this array, as views (no reference taken per
     * element); the range holds a reference to the array, so the elements
     * of a temporary can be walked. Nothing for an empty handle or a null
     * value; pz::error for other kinds (a dictionary's are its entries()). */
    element_range elements() const;

    /** The entries of this dictionary in insertion order, for
     * `for (auto &[key, v] : d.entries())`: each key a std::string_view into
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
        pz_variant_t *c = nullptr;
        const pz_status status = pz_variant_dup_ex(v_, &c);
        if (status != PZ_STATUS_OK) detail::throw_status(status, "copy");
        return value(c);
    }

    /** Copies `other` into this value as pz_variant_concat does: arrays get
     * copies of its elements appended, dictionaries copies of its entries
     * (one level: a nested dictionary is replaced whole, where merge_patch()
     * merges it), other kinds are replaced by a copy. A shared pointer
     * copied into a value of another kind takes a new record, which this
     * handle then holds; a container holding the old record keeps it.
     * Throws pz::error through an empty handle, or when `other` is empty,
     * an owned pointer, nests too deep or contains itself. */
    value &concat(const value &other) {
        const pz_status status = pz_variant_concat_ex(&v_, other.v_);
        if (status != PZ_STATUS_OK) refused(status, "concat", pz::kind::null);
        return *this;
    }

    /** Merges `patch` into this value recursively, as pz_variant_merge_patch
     * does: a dictionary patch merges key by key (nested dictionaries too)
     * and a null in it removes its key; any other patch replaces this value
     * by a copy. All or nothing: on an exception this value is as it was.
     * Throws pz::error through an empty handle, or when `patch` is empty,
     * nests too deep, contains itself or is an owned or shared pointer. */
    value &merge_patch(const value &patch) {
        const pz_status status = pz_variant_merge_patch_ex(v_, patch.v_);
        if (status != PZ_STATUS_OK) refused(status, "merge_patch", pz::kind::null);
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
        detail::collector<std::string> text;
        return text.take(written(pz_variant_dump_callback(v_, text.chunk, &text), "dump"), "dump");
    }

    /** The plain JSON text, compact or indented for people; kinds as the rule
     * in pz_variant.h says (pointer kinds as null). Throws pz::error for an
     * empty handle, a value nested deeper than PZ_VARIANT_MAX_DEPTH or
     * containing itself, or a string that is not UTF-8; std::bad_alloc when
     * out of memory. */
    std::string to_json(bool indent = false) const {
        detail::collector<std::string> text;
        const unsigned flags = indent ? PZ_JSON_INDENT : 0;
        return text.take(written(pz_variant_to_json_callback_ex(v_, text.chunk, &text, flags), "to_json"), "to_json");
    }

    /** The MessagePack of the value (flags as for pz_variant_to_msgpack),
     * which pz::from_msgpack reads back to an equal value. Throws pz::error
     * for an empty handle, a value nested deeper than PZ_VARIANT_MAX_DEPTH or
     * containing itself, and a pointer kind without
     * PZ_MSGPACK_POINTERS_AS_NIL. */
    std::vector<std::byte> to_msgpack(unsigned flags = 0) const {
        detail::collector<std::vector<std::byte>> bytes;
        return bytes.take(written(pz_variant_to_msgpack_callback(v_, flags, bytes.chunk, &bytes), "to_msgpack"),
                          "to_msgpack");
    }

    /** Equal kinds holding equal values, as pz_variant_equal compares them;
     * two empty handles are equal. */
    friend bool operator==(const value &a, const value &b) noexcept { return pz_variant_equal(a.v_, b.v_); }
    /** Not operator==. */
    friend bool operator!=(const value &a, const value &b) noexcept { return !(a == b); }

private:
    explicit value(pz_variant_t *v) noexcept : v_(v) {}

    // Why an operation on this handle did nothing, as the exception a C++
    // caller expects: its C status, worded with what the caller holds.
    [[noreturn]] void refused(pz_status status, const char *what, pz::kind want) const {
        if (status == PZ_STATUS_NO_VALUE) {
            throw error(std::string("pzvariant: ") + what + (v_ == nullptr ? " through" : " of") + " an empty handle");
        }
        if (status == PZ_STATUS_WRONG_KIND && want != pz::kind::null) {
            throw error(std::string("pzvariant: ") + what + " of " + detail::with_article(kind()) + ", not " +
                        detail::with_article(want));
        }
        detail::throw_status(status, what);
    }
    // A writer's status, with an empty handle named as the other calls name it.
    pz_status written(pz_status status, const char *what) const {
        if (status == PZ_STATUS_NO_VALUE) refused(status, what, pz::kind::null);
        return status;
    }

    template <class... Ts, size_t... I>
    std::optional<std::tuple<Ts...>> unpack_at(std::index_sequence<I...>) const noexcept {
        if (kind() != pz::kind::array || size() < sizeof...(Ts)) return std::nullopt;
        const pz::view self(*this);
        std::tuple<std::optional<Ts>...> got{self[static_cast<uint32_t>(I)].template get<Ts>()...};
        if (!(std::get<I>(got).has_value() && ...)) return std::nullopt;
        return std::tuple<Ts...>{*std::get<I>(got)...};
    }

    template <class T>
    static pz_variant_t *make(T x) {
        constexpr pz::kind k = detail::kind_of<T>();
        if constexpr (k == pz::kind::boolean) return pz_variant_bool_new(x);
        if constexpr (k == pz::kind::int8) return pz_variant_int8_new(static_cast<int8_t>(x));
        if constexpr (k == pz::kind::uint8) return pz_variant_uint8_new(static_cast<uint8_t>(x));
        if constexpr (k == pz::kind::int16) return pz_variant_int16_new(static_cast<int16_t>(x));
        if constexpr (k == pz::kind::uint16) return pz_variant_uint16_new(static_cast<uint16_t>(x));
        if constexpr (k == pz::kind::int32) return pz_variant_int32_new(static_cast<int32_t>(x));
        if constexpr (k == pz::kind::uint32) return pz_variant_uint32_new(static_cast<uint32_t>(x));
        if constexpr (k == pz::kind::int64) return pz_variant_int64_new(static_cast<int64_t>(x));
        if constexpr (k == pz::kind::uint64) return pz_variant_uint64_new(static_cast<uint64_t>(x));
        if constexpr (k == pz::kind::float32) return pz_variant_float_new(x);
        if constexpr (k == pz::kind::float64) return pz_variant_double_new(x);
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
/** Whether the handle and the view hold equal values, as pz_variant_equal says. */
inline bool operator==(const value &a, view b) noexcept { return pz_variant_equal(a.get(), b.get()); }
/** Whether the view and the handle hold equal values, as pz_variant_equal says. */
inline bool operator==(view a, const value &b) noexcept { return pz_variant_equal(a.get(), b.get()); }

inline value::value(std::initializer_list<value> elements) : value(pz::array(elements)) {}

/** @} */

}  // namespace pz

#endif  // PZ_CPP_VALUE_HPP
