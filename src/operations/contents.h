// Private to the library: a value's contents moved from one record into
// another, for the operations that change a value in place (merge, JSON
// Patch) after building its new contents apart.
#ifndef PZ_OPERATIONS_CONTENTS_H
#define PZ_OPERATIONS_CONTENTS_H

#include "pzvariant/pz_variant.h"

namespace pz {

// Gives `v`'s contents blocks of their own where they live in `v`'s block
// (a text after the record, a small array's slots, a table's header);
// false, with nothing changed, when out of memory. Once it succeeds,
// move_contents from `v` cannot fail.
bool own_contents(pz_variant_t *v);

// Moves `from`'s contents into the record `to` (whose own contents are
// released), leaving `from` the empty null value. What lives in `from`'s
// block is first given a block of its own (own_contents), as that block
// goes with `from`; false, with neither record changed, when that cannot
// be done.
bool move_contents(pz_variant_t *to, pz_variant_t *from);

}  // namespace pz

#endif  // PZ_OPERATIONS_CONTENTS_H
