/** @file cpp/value.hpp
 * pz::value: a handle that owns one reference to a value.
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_VALUE_HPP
#define PZ_CPP_VALUE_HPP

#include <cstddef>
#include <cstring>
#include <memory>
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

/** @} */

}  // namespace pz

#endif  // PZ_CPP_VALUE_HPP
