// Scalar constructors, setters and copies, checked across the whole family.
#include <cstring>

#include "pz_test.h"
#include "pz_variant_internal.h"
#include "pz_variant_kinds.h"

namespace {

using Scalars = LeakCheckedTest;

// Holds `sample` as kind `code`: union bytes past its width zero, len 0.
template <class T>
void expect_holds(const pz_variant_t *v, char code, T sample) {
    const unsigned char zero[8] = {};
    EXPECT_EQ(v->vt, code);
    EXPECT_EQ(pz::load<T>(v), sample);
    EXPECT_EQ(std::memcmp(reinterpret_cast<const char *>(v) + sizeof(T), zero, 8 - sizeof(T)), 0)
        << "stale union bytes";
    EXPECT_EQ(v->len, 0u);
}

// Each kind with an extreme value of its type: made, set over a string
// (keeping address and count) and copied.
TEST_F(Scalars, EveryKindStoresCopiesAndMergesItsValueAtItsWidth) {
    int object = 0;
#define CHECK_KIND(name, ctype, code, va_type)                            \
    {                                                                     \
        SCOPED_TRACE(#name);                                              \
        using T = ctype;                                                  \
        const T sample = far_from_zero<T>(&object);                       \
        pz_variant_t *v = pz_variant_##name##_new(sample);                \
        EXPECT_EQ(refcount(v), 1);                                        \
        expect_holds(v, code, sample);                                    \
        pz_variant_t *s = pz_variant_ref(pz_variant_str_new("previous")); \
        EXPECT_EQ(pz_variant_##name##_set(s, sample), s);                 \
        EXPECT_EQ(refcount(s), 2);                                        \
        expect_holds(s, code, sample);                                    \
        EXPECT_EQ(pz_variant_##name##_set(nullptr, sample), nullptr);     \
        pz_variant_t *d = pz_variant_dup(v);                              \
        expect_holds(d, code, sample);                                    \
        for (pz_variant_t *x : {d, s, s, v}) pz_variant_unref(x);         \
    }
    PZ_SCALAR_KINDS(CHECK_KIND)
#undef CHECK_KIND
}

}  // namespace
