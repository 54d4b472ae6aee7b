/** @file cpp/iteration.hpp
 * Walking the elements of an array and the entries of a dictionary.
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_ITERATION_HPP
#define PZ_CPP_ITERATION_HPP

#include <cstddef>
#include <iterator>
#include <string_view>
#include <utility>

#include "value.hpp"

namespace pz {

/** @addtogroup cpp
 * @{ */

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

/** @} */

}  // namespace pz

#endif  // PZ_CPP_ITERATION_HPP
