// Copies, merges, comparisons, dumps and plain JSON at the depth limit, past
// it and on values that contain themselves.
#include <functional>

#include "pz_test.h"

namespace {

using Nesting = LeakCheckedTest;

pz_variant_t *chain(int levels) { return ::chain(levels, pz_variant_int8_new(1)); }

void hold(pz_variant_t *container, pz_variant_t *v) {
    container->vt == vtype_array ? pz_variant_array_append(container, v) : pz_variant_dict_put(container, "k", v);
}

// `outer` holding `inner` (taken over), which holds `outer` back; or, with
// no `inner`, holding itself.
pz_variant_t *loop(pz_variant_t *outer, pz_variant_t *inner = nullptr) {
    hold(outer, inner != nullptr ? inner : outer);
    if (inner != nullptr) {
        hold(inner, outer);
        pz_variant_unref(inner);
    }
    return outer;
}

pz_variant_t *same_child_twice() {
    pz_variant_t *child = chain(PZ_VARIANT_MAX_DEPTH - 1), *arr = pz_variant_array_new();
    hold(arr, child);
    hold(arr, child);
    pz_variant_unref(child);
    return arr;
}

// Each size is 0 for the other kind.
uint32_t size_of(const pz_variant_t *c) { return pz_variant_array_size(c) + pz_variant_dict_size(c); }

// Each walking operation does its whole job or fails as it fails when out of
// memory, leaving its target as it was; the fixture checks for leaks.
TEST_F(Nesting, WalksWorkUpToTheLimitAndRefuseDeeperOrLoopingValues) {
    const struct {
        const char *name;
        bool walkable;
        std::function<pz_variant_t *()> make;
    } shapes[] = {
        {"at the limit", true, [] { return chain(PZ_VARIANT_MAX_DEPTH); }},
        {"one child reached twice", true, same_child_twice},
        {"one level deeper", false, [] { return chain(PZ_VARIANT_MAX_DEPTH + 1); }},
        {"array holding itself", false, [] { return loop(pz_variant_array_new()); }},
        {"dict holding itself", false, [] { return loop(pz_variant_dict_new()); }},
        {"array -> dict -> array", false, [] { return loop(pz_variant_array_new(), pz_variant_dict_new()); }},
        {"dict -> array -> dict", false, [] { return loop(pz_variant_dict_new(), pz_variant_array_new()); }},
    };
    for (const auto &s : shapes) {
        SCOPED_TRACE(s.name);
        pz_variant_t *v = s.make();
        const uint32_t top_size = size_of(v);

        pz_variant_t *copy = pz_variant_dup(v);
        EXPECT_EQ(copy != nullptr, s.walkable);
        EXPECT_EQ(pz_variant_equal(v, v), s.walkable);
        EXPECT_EQ(pz_variant_equal(copy, v), s.walkable);

        pz_variant_t *target = v->vt == vtype_array ? pz_variant_array_new() : pz_variant_dict_new();
        EXPECT_EQ(pz_variant_concat(target, v), s.walkable ? target : nullptr);
        EXPECT_EQ(size_of(target), s.walkable ? top_size : 0u) << "a refused merge leaves the target";
        EXPECT_EQ(pz_variant_equal(target, v), s.walkable);
        EXPECT_EQ(pz_variant_concat(v, v) != nullptr, s.walkable);
        const bool grows = s.walkable && v->vt == vtype_array;  // by a copy of each element
        EXPECT_EQ(size_of(v), grows ? 2 * top_size : top_size) << "merged into itself";
        pz_variant_t *patched = pz_variant_int32_new(1);
        EXPECT_EQ(pz_variant_merge_patch(patched, v), s.walkable);
        EXPECT_TRUE(s.walkable ? pz_variant_equal(patched, v) : patched->vt == vtype_int32)
            << "a refused merge patch leaves the target";
        pz_variant_unref(patched);

        const std::string text = dumped(v);
        EXPECT_EQ(text != "NULL", s.walkable);
        EXPECT_EQ(pz_variant_dump_buf(v, nullptr, 0), s.walkable ? static_cast<int32_t>(text.size()) : -2);
        char buf[32];
        EXPECT_EQ(pz_variant_dump_buf(v, buf, sizeof buf), -2);
        EXPECT_STREQ(buf, "not enough buffer");
        pz_variant_t *back = pz_variant_from_dump(text.c_str());
        EXPECT_EQ(pz_variant_equal(back, v), s.walkable) << "the reader takes the deepest dump";
        pz_variant_unref(back);
        EXPECT_EQ(taken(pz_variant_to_json(v, 0)) != "NULL", s.walkable);
        pz_variant_clear(v);  // breaks any loop
        for (pz_variant_t *p : {target, copy, v}) pz_variant_unref(p);
    }
}

}  // namespace
