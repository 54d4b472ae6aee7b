// Private to the library: deep copies made inside a walk.
#ifndef PZ_OPERATIONS_COPY_H
#define PZ_OPERATIONS_COPY_H

#include "operations/walk.h"
#include "pzvariant/pz_variant.h"

namespace pz {

// A new deep copy of `other` made inside the containers open in `walk`
// (which it enters and leaves as it goes), whole or not at all: null, with
// the walk refused, when `other` nests too deep there, contains itself or
// memory runs out. Null, with the walk not refused, for a null `other`.
pz_variant_t *copy_within(pz_variant_t *other, walk_path &walk);

}  // namespace pz

#endif  // PZ_OPERATIONS_COPY_H
