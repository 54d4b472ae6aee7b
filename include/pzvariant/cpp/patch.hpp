/** @file cpp/patch.hpp
 * C++ interface to JSON Patch (RFC 6902) and diff, over pz_patch.h:
 *
 *     pz::value doc = pz::from_json(R"({"name": "a", "tags": []})");
 *     pz::apply_patch(doc, pz::from_json(R"([{"op": "add", "path": "/tags/-", "value": "x"}])"));
 *     pz::value back = pz::diff(doc, original);   // applied to doc, gives original
 *
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_PATCH_HPP
#define PZ_CPP_PATCH_HPP

#include <cstddef>
#include <new>

#include "../pz_patch.h"
#include "value.hpp"

namespace pz {

/** @addtogroup cpp
 * @{ */

/** A patch that was not applied: what() says why, index() which operation
 * (from 0), code() the reason as a code. The document is as it was. */
class patch_error : public error {
public:
    /** An error as pz_variant_patch reported it. */
    explicit patch_error(const pz_patch_error_t &e) : error(e.reason), code_(e.code), index_(e.index) {}
    /** The reason as a code. */
    pz_patch_code code() const noexcept { return code_; }
    /** The operation at fault, from 0. */
    size_t index() const noexcept { return index_; }

private:
    pz_patch_code code_;
    size_t index_;
};

/** Applies the JSON Patch `patch` to `doc` all or nothing, as
 * pz_variant_patch does, and returns `doc`. Throws pz::patch_error when an
 * operation fails (`doc` is then as it was), pz::error through an empty
 * handle, std::bad_alloc when out of memory. */
inline value &apply_patch(value &doc, const value &patch) {
    if (doc.get() == nullptr || patch.get() == nullptr) throw error("pzvariant: apply_patch with an empty handle");
    pz_patch_error_t e;
    if (pz_variant_patch(doc.get(), patch.get(), &e)) return doc;
    if (e.code == PZ_PATCH_OUT_OF_MEMORY) throw std::bad_alloc();
    throw patch_error(e);
}

/** The JSON Patch (an array of operations) that turns `from` into `to`, as
 * pz_variant_diff makes it; empty for equal values. Throws pz::error for an
 * empty handle or a value nested deeper than PZ_VARIANT_MAX_DEPTH or
 * containing itself, std::bad_alloc when out of memory. */
inline value diff(const value &from, const value &to) {
    pz_variant_t *patch = nullptr;
    switch (pz_variant_diff(from.get(), to.get(), &patch)) {
        case PZ_PATCH_OK: return value::adopt(patch);
        case PZ_PATCH_OUT_OF_MEMORY: throw std::bad_alloc();
        case PZ_PATCH_INVALID_ARGUMENT: throw error("pzvariant: diff of an empty handle");
        default: throw error("pzvariant: diff of a value nested deeper than PZ_VARIANT_MAX_DEPTH or containing itself");
    }
}

/** @} */

}  // namespace pz

#endif  // PZ_CPP_PATCH_HPP
