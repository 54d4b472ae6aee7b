/** @file cpp/shared_keys.hpp
 * Building many records in C++: a scope in which dictionaries share their
 * key strings, and room reserved ahead in arrays and dictionaries.
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_SHARED_KEYS_HPP
#define PZ_CPP_SHARED_KEYS_HPP

#include <cstddef>
#include <cstdint>
#include <new>
#include <stdexcept>

#include "value.hpp"

namespace pz {

/** @addtogroup cpp
 * @{ */

/** While it lives, every key that a dictionary stores from this thread
 * (pz::dict, set, child, ...) is shared with the members of the same name
 * stored before, as a reader shares the keys of one text:
 *
 *     pz::shared_keys keys;
 *     for (const event &e : events) all.push_back(pz::dict({{"id", e.id}, {"tag", e.tag}}));
 *
 * The records keep their keys after the scope ends. Scopes nest, the inner
 * one in use until it ends (automatic storage ends them in the right
 * order). A scope belongs to the thread that made it. The C form is
 * pz_keys_use. Throws std::bad_alloc when out of memory. */
class shared_keys {
public:
    shared_keys() : keys_(pz_keys_new()) {
        if (keys_ == nullptr) throw std::bad_alloc();
        before_ = pz_keys_use(keys_);
    }
    ~shared_keys() {
        pz_keys_use(before_);
        pz_keys_free(keys_);
    }
    shared_keys(const shared_keys &) = delete;
    shared_keys &operator=(const shared_keys &) = delete;

private:
    pz_keys_t *keys_;
    pz_keys_t *before_ = nullptr;
};

/** Gives the array or dictionary `v` room for `count` elements or entries
 * in all, so that adding up to that many grows nothing. Throws pz::error
 * when `v` is neither, std::length_error past 2^32 - 1 and std::bad_alloc
 * when out of memory. */
inline void reserve(value &v, std::size_t count) {
    if (count > UINT32_MAX) throw std::length_error("pz::reserve: more than 2^32 - 1 elements");
    const auto n = static_cast<uint32_t>(count);
    bool done = false;
    switch (v.kind()) {
        case kind::array: done = pz_variant_array_reserve(v.get(), n); break;
        case kind::dict: done = pz_variant_dict_reserve(v.get(), n); break;
        default: throw error("pz::reserve: the value is neither an array nor a dict");
    }
    if (!done) throw std::bad_alloc();
}

/** @} */

}  // namespace pz

#endif  // PZ_CPP_SHARED_KEYS_HPP
