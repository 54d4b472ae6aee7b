// Private to the library: the one guard of every walk that recurses into a
// value (copy, comparison, merge, the nesting check, the writers).
#ifndef PZ_VARIANT_WALK_H
#define PZ_VARIANT_WALK_H

#include "pzvariant/pz_variant.h"

namespace pz {

// The containers open on the way down a walk of a value. A walk enters a
// container before it visits what the container holds and leaves it after;
// every value it visits, a scalar or an empty slot included, must fit first.
// A value fits where it would nest at most PZ_VARIANT_MAX_DEPTH levels deep
// (a scalar counting as one level, each enclosing container one more) and
// is not a container already open (a value that contains itself).
//
// It holds no reference and writes nothing to the values, so several
// threads may walk one value at once, and it allocates nothing: the open
// containers are kept in the walk itself (a few KB, on the walker's stack).
// Once a value does not fit the walk is refused for good, so a walker that
// stops at its first refusal and one that goes on both end refused.
class walk_path {
public:
    walk_path() = default;
    walk_path(const walk_path &) = delete;
    walk_path &operator=(const walk_path &) = delete;

    // Whether `v` (null for an empty slot) fits where the walk stands, that
    // is inside the containers open now. False also once the walk is refused.
    bool fits(const pz_variant_t *v) {
        if (refused_ || depth_ >= PZ_VARIANT_MAX_DEPTH) return refuse(PZ_STATUS_TOO_DEEP);
        if (v == nullptr || (v->vt != vtype_array && v->vt != vtype_dict)) return true;
        for (int i = 0; i < depth_; ++i) {
            if (open_[i] == v) return refuse(PZ_STATUS_TOO_DEEP);
        }
        return true;
    }

    // Enters the container `v` when it fits (as fits() says); the caller then
    // visits what it holds and calls leave(). False, with nothing entered,
    // when it does not fit.
    bool enter(const pz_variant_t *v) {
        if (!fits(v)) return false;
        open_[depth_++] = v;
        return true;
    }

    // Leaves the innermost open container.
    void leave() { --depth_; }

    // How many containers are open.
    int depth() const { return depth_; }

    // Whether a value did not fit: the walk's result is then to be refused.
    bool refused() const { return refused_; }

    // Refuses the walk for a reason of the walker's own (out of memory, a
    // kind it cannot take), so that its callers unwind as for a refusal.
    // The first reason given is the one the walk keeps.
    bool refuse(pz_status why = PZ_STATUS_OUT_OF_MEMORY) {
        if (!refused_) why_ = why;
        refused_ = true;
        return false;
    }

    // Why the walk was refused; PZ_STATUS_OK while it is not.
    pz_status why() const { return refused_ ? why_ : PZ_STATUS_OK; }

private:
    const pz_variant_t *open_[PZ_VARIANT_MAX_DEPTH];
    int depth_ = 0;
    bool refused_ = false;
    pz_status why_ = PZ_STATUS_OK;
};

}  // namespace pz

#endif  // PZ_VARIANT_WALK_H
