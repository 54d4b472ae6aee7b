// The depth and self-containment check, and how copies, merges, comparisons
// and dumps behave at the limit, past it and on values that contain
// themselves.
#include <cstring>
#include <functional>
#include <string>

#include "pz_test.h"
#include "pz_variant_internal.h"

namespace {

using Nesting = LeakCheckedTest;

// Dictionaries and arrays alternating, `levels` deep, around one integer.
pz_variant_t *chain(int levels) { return ::chain(levels, pz_variant_int8_new(1)); }

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

// A value to walk, and how to break its cycle so that it can be freed.
struct shape {
    const char *name;
    bool walkable;
    std::function<pz_variant_t *()> make;
    std::function<void(pz_variant_t *)> unlink = [](pz_variant_t *) {};
};

// A container holding `inner`, which holds the container back.
pz_variant_t *loop_through(pz_variant_t *outer, pz_variant_t *inner) {
    for (auto [from, to] : {std::pair{outer, inner}, std::pair{inner, outer}}) {
        if (from->vt == vtype_array) {
            pz_variant_array_append(from, to);
        } else {
            pz_variant_dict_put(from, "back", to);
        }
    }
    pz_variant_unref(inner);
    return outer;
}

// Drops the link from the first child of `v` (or `v` itself) back to it.
void cut_loop(pz_variant_t *v) {
    pz_variant_t *child = v->vt == vtype_array ? pz_variant_array_index(v, 0)
                                               : pz_variant_dict_get(v, "back");
    if (child == v) {
        if (v->vt == vtype_array) pz_variant_array_remove(v, 0);
        else pz_variant_dict_erase(v, "back");
    } else if (child->vt == vtype_array) {
        pz_variant_array_remove(child, 0);
    } else {
        pz_variant_dict_erase(child, "back");
    }
    pz_variant_unref(child);
}

pz_variant_t *holding_itself(pz_variant_t *c) {
    if (c->vt == vtype_array) pz_variant_array_append(c, c);
    else pz_variant_dict_put(c, "back", c);
    return c;
}

pz_variant_t *same_child_twice() {
    pz_variant_t *child = chain(PZ_VARIANT_MAX_DEPTH - 1);
    pz_variant_t *arr = pz_variant_array_new();
    pz_variant_array_append(arr, child);
    pz_variant_array_append(arr, child);
    pz_variant_unref(child);
    return arr;
}

const shape kShapes[] = {
    {"at the limit", true, [] { return chain(PZ_VARIANT_MAX_DEPTH); }},
    {"one child reached twice", true, same_child_twice},
    {"one level deeper", false, [] { return chain(PZ_VARIANT_MAX_DEPTH + 1); }},
    {"array holding itself", false, [] { return holding_itself(pz_variant_array_new()); }, cut_loop},
    {"dict holding itself", false, [] { return holding_itself(pz_variant_dict_new()); }, cut_loop},
    {"array -> dict -> array", false,
     [] { return loop_through(pz_variant_array_new(), pz_variant_dict_new()); }, cut_loop},
    {"dict -> array -> dict", false,
     [] { return loop_through(pz_variant_dict_new(), pz_variant_array_new()); }, cut_loop},
};

uint32_t size_of(const pz_variant_t *c) {
    return c->vt == vtype_array ? pz_variant_array_size(c) : pz_variant_dict_size(c);
}

// Each walking operation either does its whole job or fails as it fails when
// out of memory, leaving its target as it was; the fixture checks for leaks.
TEST_F(Nesting, WalksWorkUpToTheLimitAndRefuseDeeperOrLoopingValues) {
    for (const shape &s : kShapes) {
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
        if (v->vt == vtype_dict || !s.walkable) {
            EXPECT_EQ(size_of(v), top_size) << "merging a dictionary into itself changes nothing";
        }

        char *text = pz_variant_dump(v);
        EXPECT_EQ(text != nullptr, s.walkable);
        char buf[32];
        const int32_t len = pz_variant_dump_buf(v, buf, sizeof buf);
        if (s.walkable) {
            pz_variant_t *back = pz_variant_from_dump(text);
            EXPECT_TRUE(pz_variant_equal(back, v)) << "the parser reads the deepest dump";
            EXPECT_EQ(pz_variant_dump_buf(v, nullptr, 0), static_cast<int32_t>(std::strlen(text)));
            pz_variant_unref(back);
        } else {
            EXPECT_EQ(len, -2);
            EXPECT_STREQ(buf, "not enough buffer");
        }
        HAL_Free(text);

        s.unlink(v);
        for (pz_variant_t *p : {target, copy, v}) pz_variant_unref(p);
    }
}

}  // namespace
