// Private to the library: the nesting check.
#ifndef PZ_OPERATIONS_NESTING_H
#define PZ_OPERATIONS_NESTING_H

#include "pzvariant/pz_variant.h"

namespace pz {

// True when `v` nests at most PZ_VARIANT_MAX_DEPTH deep (a scalar or empty
// slot is one level, each enclosing container one more) and no container
// contains itself: what walk_path lets a walk through. Recurses as deep.
bool nesting_within(const pz_variant_t *v);

}  // namespace pz

#endif  // PZ_OPERATIONS_NESTING_H
