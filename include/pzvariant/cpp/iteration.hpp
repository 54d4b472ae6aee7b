/** @file cpp/iteration.hpp
 * Walking the elements of an array and the entries of a dictionary:
 * forward iterators for range-for, the standard algorithms and ranges.
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_ITERATION_HPP
#define PZ_CPP_ITERATION_HPP

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#if __cplusplus >= 202002L
#include <ranges>
#endif

#include "value.hpp"

namespace pz {

/** @addtogroup cpp
 * @{ */

/// @cond detail
namespace detail {

// What the three iterators share. Each yields a fresh object by value,
// const so that `for (auto &e : ...)` and `for (auto &[k, v] : ...)` bind
// to it (its life then lasts the loop's step), and nothing dangles when an
// iterator goes. They are forward iterators for the ranges library; the
// older algorithms see input iterators, as their forward iterators must
// yield true references.
// What operator-> gives: the yielded object, held for the expression.
template <class Value>
struct arrow {
    Value held;
    const Value *operator->() const noexcept { return &held; }
};

template <class Derived, class Value>
class walker {
public:
    using value_type = Value;             ///< what it yields
    using reference = const Value;        ///< yielded by value
    using pointer = arrow<Value>;         ///< what operator-> gives
    using difference_type = std::ptrdiff_t;  ///< distance type
    using iterator_category = std::input_iterator_tag;  ///< for the older algorithms
#if __cplusplus >= 202002L
    using iterator_concept = std::forward_iterator_tag;  ///< for the ranges library
#endif
    /** The members of what operator* yields: `it->first`, `it->kind()`. */
    arrow<Value> operator->() const noexcept { return {*static_cast<const Derived &>(*this)}; }
    /** Moves to the next and returns where it was. */
    Derived operator++(int) noexcept {
        Derived before = static_cast<const Derived &>(*this);
        ++static_cast<Derived &>(*this);
        return before;
    }
#if __cplusplus < 202002L
    /** Not operator==. */
    friend bool operator!=(const Derived &a, const Derived &b) noexcept { return !(a == b); }
#endif
};

}  // namespace detail
/// @endcond

/** Walks the elements of an array as views; see elements(). */
class element_iterator : public detail::walker<element_iterator, view> {
public:
    /** Compares equal to nothing but another such iterator. */
    element_iterator() noexcept = default;
    /** At element `i` of the array `a`. */
    element_iterator(const pz_variant_t *a, uint32_t i) noexcept : a_(a), i_(i) {}
    /** At the first element of `a`. */
    static element_iterator first(const pz_variant_t *a) noexcept { return {a, 0}; }
    /** Past the last element of `a`. */
    static element_iterator past(const pz_variant_t *a) noexcept { return {a, pz_variant_array_size(a)}; }
    /** How many elements `a` has. */
    static uint32_t count(const pz_variant_t *a) noexcept { return pz_variant_array_size(a); }
    /** The element (no value for an empty slot). */
    const view operator*() const noexcept { return view(pz_variant_array_at(a_, i_)); }
    /** Moves to the next element. */
    element_iterator &operator++() noexcept {
        ++i_;
        return *this;
    }
    using walker::operator++;
    /** Same array, same position. */
    bool operator==(const element_iterator &o) const noexcept { return i_ == o.i_ && a_ == o.a_; }

private:
    const pz_variant_t *a_ = nullptr;
    uint32_t i_ = 0;
};

/** Walks the entries of a dictionary in insertion order; see entries(). */
class entry_iterator : public detail::walker<entry_iterator, entry> {
public:
    /** Compares equal to nothing but another such iterator. */
    entry_iterator() noexcept = default;
    /** At the first entry of `d`, or past the last with `end`. */
    entry_iterator(const pz_variant_t *d, bool end) noexcept : d_(d), done_(end) {
        if (!done_) ++*this;
    }
    /** At the first entry of `d`. */
    static entry_iterator first(const pz_variant_t *d) noexcept { return {d, false}; }
    /** Past the last entry of `d`. */
    static entry_iterator past(const pz_variant_t *d) noexcept { return {d, true}; }
    /** How many entries `d` has. */
    static uint32_t count(const pz_variant_t *d) noexcept { return pz_variant_dict_size(d); }
    /** The entry: its key, borrowed from the dictionary, and a view of its value. */
    const entry operator*() const noexcept {
        return {std::string_view(key_->cstr, static_cast<size_t>(key_->len)), view(value_)};
    }
    /** Moves to the next entry. */
    entry_iterator &operator++() noexcept {
        done_ = !pz_variant_dict_next(d_, &next_, &key_, &value_);
        return *this;
    }
    using walker::operator++;
    /** Same dictionary, same position (every iterator past the end is equal). */
    bool operator==(const entry_iterator &o) const noexcept {
        return d_ == o.d_ && done_ == o.done_ && (done_ || next_ == o.next_);
    }

private:
    const pz_variant_t *d_ = nullptr;
    uint32_t next_ = 0;
    const pz_string_t *key_ = nullptr;
    pz_variant_t *value_ = nullptr;
    bool done_ = true;
};

/** An element of an array or an entry of a dictionary, as iterating a value
 * yields it: a view of the element or of the entry's value, with the entry's
 * key beside it ("" for an array element). `for (auto e : list)` reads each
 * element as a view; `for (auto [key, v] : dict)` takes an entry apart. */
class item : public view {
public:
    /** No value, no key. */
    item() noexcept = default;
    /** The value `v` (borrowed) under `key` (borrowed). */
    item(std::string_view key, const pz_variant_t *v) noexcept : view(v), key_(key) {}
    /** The entry's key, borrowed from the dictionary; "" for an array element. */
    std::string_view key() const noexcept { return key_; }

private:
    std::string_view key_;
};

/** The key (I = 0) or the view (I = 1) of an item, for structured bindings. */
template <size_t I>
auto get(const item &e) noexcept {
    if constexpr (I == 0) {
        return e.key();
    } else {
        return view(e);
    }
}

/** Walks the elements of an array or the entries of a dictionary as items;
 * see begin(). */
class item_iterator : public detail::walker<item_iterator, item> {
public:
    /** Compares equal to nothing but another such iterator. */
    item_iterator() noexcept = default;
    /** At the first element or entry of `c`, or past the last with `end`.
     * A value that is neither array nor dictionary has none. */
    item_iterator(const pz_variant_t *c, bool end) noexcept
        : c_(c), dict_(c != nullptr && c->vt == vtype_dict), done_(end) {
        if (!dict_ && end) pos_ = pz_variant_array_size(c);
        if (dict_ && !end) ++*this;
    }
    /** The element, or the entry's value with its key. */
    const item operator*() const noexcept {
        if (dict_) return item(std::string_view(key_->cstr, static_cast<size_t>(key_->len)), value_);
        return item(std::string_view(), pz_variant_array_at(c_, pos_));
    }
    /** Moves to the next element or entry. */
    item_iterator &operator++() noexcept {
        if (dict_) {
            done_ = !pz_variant_dict_next(c_, &pos_, &key_, &value_);
        } else {
            ++pos_;
        }
        return *this;
    }
    using walker::operator++;
    /** Same container, same position. */
    bool operator==(const item_iterator &o) const noexcept {
        if (dict_) return c_ == o.c_ && done_ == o.done_ && (done_ || pos_ == o.pos_);
        return c_ == o.c_ && pos_ == o.pos_;
    }

private:
    const pz_variant_t *c_ = nullptr;
    bool dict_ = false;
    bool done_ = true;
    uint32_t pos_ = 0;  // an array's index, or a dictionary's walk position
    const pz_string_t *key_ = nullptr;
    pz_variant_t *value_ = nullptr;
};

/// @cond detail
namespace detail {
struct no_owner {};
}  // namespace detail
/// @endcond

/** The elements of an array (It = element_iterator) or the entries of a
 * dictionary (It = entry_iterator) in order, for
 * `for (pz::view e : a.elements())` and `for (auto &[key, v] : d.entries())`.
 * Made from a pz::value (Owning), it holds a reference to the container, so
 * that the elements of a temporary can be walked; made from a view, it holds
 * none, and its iterators stay valid after it goes (a borrowed range). */
template <class It, bool Owning>
class basic_range {
public:
    /** The first element or entry. */
    It begin() const noexcept { return It::first(container_); }
    /** Past the last (an array's size is read when end() is called). */
    It end() const noexcept { return It::past(container_); }
    /** How many elements or entries there are. */
    uint32_t size() const noexcept { return It::count(container_); }
    /** True when there are none. */
    bool empty() const noexcept { return size() == 0; }

private:
    friend class value;
    friend class view;
    basic_range(const value &owner, const pz_variant_t *c) noexcept : owner_(owner), container_(c) {}
    explicit basic_range(const pz_variant_t *c) noexcept : container_(c) {}
    std::conditional_t<Owning, value, detail::no_owner> owner_;
    const pz_variant_t *container_;
};

inline element_view view::elements() const {
    if (kind() != pz::kind::array && !is_null()) {
        throw error("pzvariant: elements() of " + detail::with_article(kind()) + ", not an array");
    }
    return element_view(v_);
}

inline entry_view view::entries() const {
    if (kind() != pz::kind::dict && !is_null()) {
        throw error("pzvariant: entries() of " + detail::with_article(kind()) + ", not a dict");
    }
    return entry_view(v_);
}

inline element_range value::elements() const {
    pz::view(*this).elements();  // refuses another kind
    return element_range(*this, v_);
}

inline entry_range value::entries() const {
    pz::view(*this).entries();  // refuses another kind
    return entry_range(*this, v_);
}

/// @cond detail
template <class Self>
item_iterator detail::reader<Self>::begin() const {
    return item_iterator(raw(), false);
}

template <class Self>
item_iterator detail::reader<Self>::end() const {
    return item_iterator(raw(), true);
}
/// @endcond

/** @} */

}  // namespace pz

/// @cond detail
namespace std {
template <>
struct tuple_size<pz::item> : integral_constant<size_t, 2> {};
template <>
struct tuple_element<0, pz::item> {
    using type = string_view;
};
template <>
struct tuple_element<1, pz::item> {
    using type = pz::view;
};
#if __cplusplus >= 202002L
// A view, and a range made from one, borrow: their iterators point into the
// container, which outlives them.
template <>
inline constexpr bool ranges::enable_borrowed_range<pz::view> = true;
template <>
inline constexpr bool ranges::enable_borrowed_range<pz::item> = true;
template <class It>
inline constexpr bool ranges::enable_borrowed_range<pz::basic_range<It, false>> = true;
#endif
}  // namespace std
/// @endcond

#endif  // PZ_CPP_ITERATION_HPP
