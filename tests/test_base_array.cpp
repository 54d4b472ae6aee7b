// Dynamic array: order of elements across every kind of edit, growth that
// moves the block, and failure to grow leaving the array as it was.
#include <vector>

#include "pz_array.h"
#include "pz_test.h"

namespace {

using ArrayTest = LeakCheckedTest;

std::vector<int> contents(const pz_array_t *a) {
    const int *p = reinterpret_cast<const int *>(a->data);
    return std::vector<int>(p, p + a->len);
}

// Edits at both ends and inside, past the end, and through ten thousand
// appends that move the block.
TEST_F(ArrayTest, EditsKeepOrder) {
    const int start[3] = {1, 2, 3}, zero = 0, nines[2] = {9, 9}, seven = 7;
    pz_array_t *a = pz_array_append_vals(pz_array_new(sizeof(int), 1), start, 3);
    a = pz_array_prepend_vals(a, &zero, 1);
    a = pz_array_insert_vals(a, 2, nines, 2);
    a = pz_array_insert_vals(a, 100, &seven, 1);  // past the end: appends
    EXPECT_EQ(contents(a), (std::vector<int>{0, 1, 9, 9, 2, 3, 7}));
    a = pz_array_remove_index(a, 0);
    a = pz_array_remove_index(a, 5);  // the last
    a = pz_array_remove_index(a, 5);  // past the end: nothing
    std::vector<int> expect = {1, 9, 9, 2, 3};
    EXPECT_EQ(contents(a), expect);
    for (int i = 0; i < 10000; ++i) {
        a = pz_array_append_vals(a, &i, 1);
        expect.push_back(i);
    }
    EXPECT_EQ(contents(a), expect);
    pz_array_free(a);
}

TEST_F(ArrayTest, SetSizeZeroFillsAndReserveKeepsLength) {
    const int dirty[4] = {5, 6, 7, 8};
    pz_array_t *a = pz_array_append_vals(pz_array_new(sizeof(int), 4), dirty, 4);
    a = pz_array_set_size(a, 1);
    a = pz_array_set_size(a, 40);  // the old bytes in 1..3 must not come back
    std::vector<int> expect(40, 0);
    expect[0] = 5;
    EXPECT_EQ(contents(a), expect);
    a = pz_array_reserve(a, 1000);
    EXPECT_EQ(a->len, 40u);
    EXPECT_GE(a->capacity, 1000u);
    pz_array_free(a);
}

TEST_F(ArrayTest, FailureToGrowLeavesArrayIntact) {
    const int vals[4] = {1, 2, 3, 4};
    pz_array_t *a = pz_array_append_vals(pz_array_new(sizeof(int), 4), vals, 4);
    ASSERT_EQ(a->capacity, 4u);
    const int extra = 5;
    hal_fail_nth(1, 1);
    EXPECT_EQ(pz_array_append_vals(a, &extra, 1), a);
    EXPECT_EQ(pz_array_prepend_vals(a, &extra, 1), a);
    EXPECT_EQ(pz_array_set_size(a, 9), a);
    EXPECT_EQ(pz_array_reserve(a, 9), a);
    hal_fail_nth(0, 0);
    EXPECT_EQ(contents(a), (std::vector<int>(vals, vals + 4)));

    const int runs = sweep_alloc_failures([] {
        pz_array_t *b = pz_array_new(sizeof(int), 0);
        for (int i = 0; i < 100; ++i) b = pz_array_append_vals(b, &i, 1);
        pz_array_free(b);
    });
    EXPECT_GT(runs, 3);
    pz_array_free(a);
}

TEST_F(ArrayTest, NullAndZeroSizeAreHarmless) {
    const int v = 1;
    EXPECT_EQ(pz_array_new(0, 4), nullptr);
    EXPECT_EQ(pz_array_append_vals(nullptr, &v, 1), nullptr);
    EXPECT_EQ(pz_array_insert_vals(nullptr, 0, &v, 1), nullptr);
    EXPECT_EQ(pz_array_remove_index(nullptr, 0), nullptr);
    EXPECT_EQ(pz_array_set_size(nullptr, 3), nullptr);
    pz_array_free(nullptr);
}

}  // namespace
