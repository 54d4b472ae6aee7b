// The library takes every block from HAL_Malloc: a port's allocator sees all
// of its memory, and no std::bad_alloc can cross the C interface. This test
// binary replaces the global allocation operators (all the forms the C++
// runtime would otherwise pair with its own) and counts their calls while a
// workload runs.
#include <cstdlib>
#include <new>

#include "pz_test.h"

namespace {

long cxx_allocations = 0;
bool counting = false;

void *counted_malloc(std::size_t size) {
    if (counting) ++cxx_allocations;
    return std::malloc(size == 0 ? 1 : size);
}

}  // namespace

void *operator new(std::size_t size) {
    if (void *p = counted_malloc(size)) return p;
    throw std::bad_alloc();
}
void *operator new[](std::size_t size) { return operator new(size); }
void *operator new(std::size_t size, const std::nothrow_t &) noexcept { return counted_malloc(size); }
void *operator new[](std::size_t size, const std::nothrow_t &) noexcept { return counted_malloc(size); }
void operator delete(void *p) noexcept { std::free(p); }
void operator delete[](void *p) noexcept { std::free(p); }
void operator delete(void *p, std::size_t) noexcept { std::free(p); }
void operator delete[](void *p, std::size_t) noexcept { std::free(p); }
void operator delete(void *p, const std::nothrow_t &) noexcept { std::free(p); }
void operator delete[](void *p, const std::nothrow_t &) noexcept { std::free(p); }

namespace {

using NoCxxHeap = LeakCheckedTest;

// Read (with integers beyond a double's exact range), copy, merge, dump and
// pack, each of which once used or could use standard containers.
TEST_F(NoCxxHeap, WorkloadMakesNoCxxAllocation) {
    char buf[512];
    counting = true;
    pz_variant_t *v = pz_variant_from_dump(
        R"({"dict":{"a":{"int64":-9223372036854775807},"b":{"uint64":18446744073709551615},)"
        R"("c":{"array":[{"string":"text"},{"double":0.1},{"bytes":"00ff"}]}}})");
    pz_variant_t *copy = pz_variant_dup(v);
    pz_variant_t *packed = pz_variant_pack("xtdcb", INT64_MIN, UINT64_MAX, 2.5, "t", 1);
    pz_variant_concat(copy, v);
    char *text = pz_variant_dump(copy);
    const int32_t written = pz_variant_dump_buf(packed, buf, sizeof buf);
    pz_variant_t *back = pz_variant_from_dump(text);
    const bool same = pz_variant_equal(back, copy);
    HAL_Free(text);
    for (pz_variant_t *x : {v, copy, packed, back}) pz_variant_unref(x);
    counting = false;

    EXPECT_TRUE(v != nullptr && same && written > 0);
    EXPECT_EQ(cxx_allocations, 0);
}

}  // namespace
