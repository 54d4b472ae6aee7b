// Dynamic array edges the value API does not reach: several elements at
// once, removal at the end and zero-filled growth.
#include "base/pz_array.h"
#include "pz_test.h"

namespace {

using ArrayTest = LeakCheckedTest;

std::vector<int> contents(const pz_array_t *a) {
    const int *p = reinterpret_cast<const int *>(a->data);
    return std::vector<int>(p, p + a->len);
}

TEST_F(ArrayTest, EditsKeepOrderAndGrowthZeroFills) {
    const int start[3] = {1, 2, 3}, zero = 0, nines[2] = {9, 9}, seven = 7;
    pz_array_t *a = pz_array_append_vals(pz_array_new(sizeof(int), 1), start, 3);
    a = pz_array_prepend_vals(a, &zero, 1);
    a = pz_array_insert_vals(a, 2, nines, 2);
    a = pz_array_insert_vals(a, 100, &seven, 1);  // past the end: appends
    EXPECT_EQ(contents(a), (std::vector<int>{0, 1, 9, 9, 2, 3, 7}));
    a = pz_array_remove_index(a, 6);  // the last
    a = pz_array_remove_index(a, 6);  // past the end: nothing
    a = pz_array_remove_index(a, 0);
    a = pz_array_set_size(a, 1);
    a = pz_array_set_size(a, 40);  // the old elements past 1 must not come back
    std::vector<int> expect(40, 0);
    expect[0] = 1;
    EXPECT_EQ(contents(a), expect);
    a = pz_array_reserve(a, 1000);
    EXPECT_EQ(a->len, 40u);
    EXPECT_GE(a->capacity, 1000u);
    pz_array_free(a);
}

}  // namespace
