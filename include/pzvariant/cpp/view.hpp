/** @file cpp/view.hpp
 * pz::view: a borrowed view of a value, for reading without reference
 * traffic; lookups that say why they found nothing.
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_VIEW_HPP
#define PZ_CPP_VIEW_HPP

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "reader.hpp"

namespace pz {

/** @addtogroup cpp
 * @{ */

class element_iterator;
class entry_iterator;
template <class It, bool Owning>
class basic_range;
/** The elements of an array, as views, holding the array: see value::elements(). */
using element_range = basic_range<element_iterator, true>;
/** The entries of a dictionary, holding the dictionary: see value::entries(). */
using entry_range = basic_range<entry_iterator, true>;
/** The elements of an array, borrowed: see view::elements(). */
using element_view = basic_range<element_iterator, false>;
/** The entries of a dictionary, borrowed: see view::entries(). */
using entry_view = basic_range<entry_iterator, false>;

/** A JSON Pointer (RFC 6901), for at(): `v.at(pz::pointer("/server/port"))`.
 * It borrows its text. */
struct pointer {
    /** The pointer's text: "" or "/..." with "~0" for "~" and "~1" for "/". */
    std::string_view text;
    /** A pointer of `text`. */
    constexpr explicit pointer(std::string_view text) noexcept : text(text) {}
};

/// @cond detail
namespace detail {

// What the C lookups found, or the path_error their status means; `what`
// names the lookup.
[[noreturn]] inline void lookup_failed(const std::string &what, pz_path_status status, size_t step,
                                      const std::string &reason) {
    if (status == PZ_PATH_OUT_OF_MEMORY) throw std::bad_alloc();
    throw path_error("pzvariant: " + what + ": " + reason, status, step);
}

inline std::string kind_text(const pz_variant_t *v) {
    return v != nullptr ? with_article(static_cast<kind>(v->vt)) : std::string("no value");
}

inline const pz_variant_t *at_key(const pz_variant_t *c, std::string_view key) {
    pz_variant_t *found = nullptr;
    const pz_status status = pz_variant_dict_find_ex(c, key.data(), key.size(), &found);
    if (status == PZ_STATUS_OK) return found;
    const std::string what = "at(\"" + std::string(key) + "\")";
    switch (status) {
        case PZ_STATUS_NOT_FOUND: lookup_failed(what, PZ_PATH_MISSING, 1, "no entry under the key");
        case PZ_STATUS_INVALID_KEY: lookup_failed(what, PZ_PATH_INVALID, 1, pz_status_text(status));
        default: lookup_failed(what, PZ_PATH_BLOCKED, 1, kind_text(c) + ", not a dict");
    }
}

template <class I>
inline constexpr bool is_index_v = std::is_integral_v<I> && !std::is_same_v<I, bool>;

// Whether an array can have an element at `index`.
template <class I>
constexpr bool index_in_range(I index) noexcept {
    if constexpr (std::is_signed_v<I>) {
        if (index < 0) return false;
    }
    return static_cast<uint64_t>(index) <= UINT32_MAX;
}

template <class I>
const pz_variant_t *at_index(const pz_variant_t *c, I index) {
    pz_variant_t *found = nullptr;
    const bool in_range = index_in_range(index);
    const pz_status status = in_range ? pz_variant_array_at_ex(c, static_cast<uint32_t>(index), &found)
                                      : PZ_STATUS_NOT_FOUND;
    if (status == PZ_STATUS_OK) return found;
    const std::string what = "at(" + std::to_string(index) + ")";
    if (status == PZ_STATUS_NOT_FOUND) lookup_failed(what, PZ_PATH_MISSING, 1, "no element there");
    lookup_failed(what, PZ_PATH_BLOCKED, 1, kind_text(c) + ", not an array");
}

inline const pz_variant_t *at_pointer(const pz_variant_t *c, std::string_view pointer) {
    pz_variant_t *found = nullptr;
    size_t step = 0;
    const pz_path_status status = pz_variant_path_find_ex(c, pointer.data(), pointer.size(), &found, &step);
    if (status == PZ_PATH_OK) return found;
    const std::string what = "at(\"" + std::string(pointer) + "\")";
    const std::string at_step = "step " + std::to_string(step);
    switch (status) {
        case PZ_PATH_MISSING: lookup_failed(what, status, step, at_step + " finds nothing in " + kind_text(found));
        case PZ_PATH_BLOCKED:
            lookup_failed(what, status, step, at_step + " meets " + kind_text(found) + ", not a container");
        default: lookup_failed(what, status, 0, "a malformed JSON Pointer");
    }
}

// The value a JSON Pointer names, or null when there is none; pz::error for
// a malformed pointer.
inline pz_variant_t *find_path(const pz_variant_t *c, std::string_view pointer, const char *what) {
    pz_variant_t *found = nullptr;
    switch (pz_variant_path_find_ex(c, pointer.data(), pointer.size(), &found, nullptr)) {
        case PZ_PATH_OK: return found;
        case PZ_PATH_MISSING:
        case PZ_PATH_BLOCKED: return nullptr;
        case PZ_PATH_OUT_OF_MEMORY: throw std::bad_alloc();
        default: throw error(std::string("pzvariant: ") + what + " of a malformed JSON Pointer");
    }
}

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
    /** The dictionary value under the bytes of `key` (no terminator needed;
     * a key with a NUL byte finds nothing). */
    view operator[](std::string_view key) const noexcept {
        return view(pz_variant_dict_find_len(v_, key.data(), key.size()));
    }
    /** The array element at `index`; no value past the end, for an empty
     * slot or when this is not an array. */
    template <class I, std::enable_if_t<detail::is_index_v<I>, int> = 0>
    view operator[](I index) const noexcept {
        if (!detail::index_in_range(index)) return view();
        return view(pz_variant_array_at(v_, static_cast<uint32_t>(index)));
    }

    /** The dictionary value under `key`, or pz::path_error saying why there
     * is none: no such key (status() PZ_PATH_MISSING), this is no
     * dictionary (PZ_PATH_BLOCKED), a key no dictionary holds
     * (PZ_PATH_INVALID). */
    view at(std::string_view key) const { return view(detail::at_key(v_, key)); }
    /** As at(std::string_view). */
    view at(const char *key) const { return at(std::string_view(detail::text_or_empty(key))); }
    /** The array element at `index`, or pz::path_error: past the end or an
     * empty slot (PZ_PATH_MISSING), this is no array (PZ_PATH_BLOCKED). */
    template <class I, std::enable_if_t<detail::is_index_v<I>, int> = 0>
    view at(I index) const {
        return view(detail::at_index(v_, index));
    }
    /** The value a JSON Pointer names, or pz::path_error saying why there
     * is none and at which step: a step that finds nothing
     * (PZ_PATH_MISSING), a step into a value that is no container
     * (PZ_PATH_BLOCKED), a malformed pointer (PZ_PATH_INVALID). */
    view at(pointer p) const { return view(detail::at_pointer(v_, p.text)); }
    /** The value a JSON Pointer names ("" for this value, "/server/port",
     * "/hosts/0"), or no value when nothing is there; pz::error for a
     * malformed pointer. */
    view at_path(std::string_view pointer) const { return view(detail::find_path(v_, pointer, "at_path")); }

    /** The elements of this array, as views, borrowed: the range holds no
     * reference, and its iterators stay valid while the array does.
     * Nothing for no value or a null value; pz::error for other kinds. */
    element_view elements() const;
    /** The entries of this dictionary in insertion order, keys as
     * std::string_view into the dictionary and values as views, borrowed
     * as elements() is. Nothing for no value or a null value; pz::error for
     * other kinds. */
    entry_view entries() const;

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

/** @} */

}  // namespace pz

#endif  // PZ_CPP_VIEW_HPP
