// The depth and self-containment check used by copies, merges and dumps.
#include "pz_test.h"
#include "pz_variant_internal.h"

namespace {

using Nesting = LeakCheckedTest;

// An array nested `levels` deep (the innermost holding one integer).
pz_variant_t *chain(int levels) {
    pz_variant_t *v = pz_variant_int8_new(1);
    for (int i = 1; i < levels; ++i) {
        pz_variant_t *outer = (i % 2 == 0) ? pz_variant_array_new() : pz_variant_dict_new();
        if (outer->vt == vtype_array) {
            pz_variant_array_append(outer, v);
        } else {
            pz_variant_dict_put(outer, "k", v);
        }
        pz_variant_unref(v);
        v = outer;
    }
    return v;
}

TEST_F(Nesting, DepthIsCountedInLevels) {
    pz_variant_t *v = chain(PZ_VARIANT_MAX_DEPTH);
    EXPECT_TRUE(pz::nesting_within(v, PZ_VARIANT_MAX_DEPTH));
    EXPECT_FALSE(pz::nesting_within(v, PZ_VARIANT_MAX_DEPTH - 1));
    pz_variant_unref(v);
    pz_variant_t *empty = pz_variant_array_new();
    EXPECT_TRUE(pz::nesting_within(empty, 1));
    EXPECT_TRUE(pz::nesting_within(nullptr, 1));
    pz_variant_unref(empty);
}

TEST_F(Nesting, SharedChildrenAreFineButCyclesAreNot) {
    pz_variant_t *child = pz_variant_dict_new();
    pz_variant_t *arr = pz_variant_array_new();
    pz_variant_array_append(arr, child);
    pz_variant_array_append(arr, child);
    EXPECT_TRUE(pz::nesting_within(arr, 10)) << "the same child twice is not a cycle";

    pz_variant_dict_put(child, "back", arr);  // arr -> child -> arr
    EXPECT_FALSE(pz::nesting_within(arr, PZ_VARIANT_MAX_DEPTH));
    EXPECT_FALSE(pz::nesting_within(child, PZ_VARIANT_MAX_DEPTH));
    pz_variant_dict_erase(child, "back");  // break the cycle so both can be freed
    pz_variant_unref(child);
    pz_variant_unref(arr);
}

}  // namespace
