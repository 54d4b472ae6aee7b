// Private to the library: the release scope, inside which values whose last
// reference goes are released one after the other instead of recursively.
#ifndef PZ_CORE_RELEASE_H
#define PZ_CORE_RELEASE_H

#include "pzvariant/pz_variant.h"

namespace pz {

// Runs `body` (which may drop many references) so that values whose last
// reference goes meanwhile are released after it, one at a time, instead of
// recursively: nesting depth never costs stack.
void release_scope_enter(bool *outermost);
void release_scope_leave(bool outermost);

template <class F>
inline void in_release_scope(F body) {
    bool outermost;
    release_scope_enter(&outermost);
    body();
    release_scope_leave(outermost);
}

// Drops a reference from inside a release scope: a value whose last
// reference this was is released when the outermost scope ends, never here.
void release_later(pz_variant_t *v);

}  // namespace pz

#endif  // PZ_CORE_RELEASE_H
