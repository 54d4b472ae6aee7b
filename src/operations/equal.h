// Private to the library: deep equality with numbers compared as JSON
// compares them, for JSON Patch's test.
#ifndef PZ_EQUAL_H
#define PZ_EQUAL_H

#include "pzvariant/pz_variant.h"

namespace pz {

// As pz_variant_equal, except that numbers of any kinds are equal when
// their values are (the int64 1 equals the double 1.0 and the uint8 1).
bool equal_as_json(const pz_variant_t *a, const pz_variant_t *b);

}  // namespace pz

#endif  // PZ_EQUAL_H
