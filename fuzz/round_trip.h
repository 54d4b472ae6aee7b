// The property both reader targets check on a value they read: its text
// reads back to an equal value, and writing that value again gives the same
// text. Aborts, for the fuzzer to report, when either fails.
#ifndef PZ_FUZZ_ROUND_TRIP_H
#define PZ_FUZZ_ROUND_TRIP_H

#include <cstdlib>
#include <cstring>

#include "pzvariant/hal/pz_hal.h"
#include "pzvariant/pz_variant.h"

template <class Read, class Write>
void check_round_trip(const pz_variant_t *v, Read read, Write write) {
    char *first = write(v);
    if (first == nullptr) std::abort();
    pz_variant_t *again = read(first);
    if (again == nullptr || !pz_variant_equal(v, again)) std::abort();
    char *second = write(again);
    if (second == nullptr || std::strcmp(first, second) != 0) std::abort();
    HAL_Free(second);
    HAL_Free(first);
    pz_variant_unref(again);
}

#endif  // PZ_FUZZ_ROUND_TRIP_H
