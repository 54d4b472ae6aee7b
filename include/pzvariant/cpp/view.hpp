/** @file cpp/view.hpp
 * pz::view: a borrowed view of a value, for reading without reference traffic.
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_VIEW_HPP
#define PZ_CPP_VIEW_HPP

#include <string_view>
#include <utility>

#include "reader.hpp"

namespace pz {

/** @addtogroup cpp
 * @{ */

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

/** @} */

}  // namespace pz

#endif  // PZ_CPP_VIEW_HPP
