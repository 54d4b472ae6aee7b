// The scalar kinds, each through the whole family the kinds table generates:
// constructor, setter, copy, typed adder and getter, typed setter and
// getter with its default, and the pack letter with unpack.
#include "pz_test.h"
#include "containers/arrays.h"
#include "containers/dicts.h"
#include "core/kinds.h"

namespace {

using Scalars = LeakCheckedTest;

int object, other_object;

// A default that is neither zero nor far_from_zero, so that a getter
// ignoring it or reading the wrong entry shows.
template <class T>
T other() {
    if constexpr (std::is_pointer_v<T>) return &other_object;
    else return static_cast<T>(42);
}

// Holds `value` as kind `code`: union bytes past its width zero, len 0.
template <class T>
void expect_holds(const pz_variant_t *v, char code, T value) {
    ASSERT_NE(v, nullptr);
    const unsigned char zero[8] = {};
    EXPECT_EQ(v->vt, code);
    EXPECT_EQ(pz::load<T>(v), value);
    EXPECT_EQ(std::memcmp(reinterpret_cast<const char *>(v) + sizeof(T), zero, 8 - sizeof(T)), 0)
        << "stale union bytes";
    EXPECT_EQ(v->len, 0u);
}

TEST_F(Scalars, EveryKindThroughItsWholeFamily) {
    pz_variant_t *arr = pz_variant_array_new(), *dict = pz_variant_dict_new();
    pz_variant_array_append(arr, nullptr);
#define CHECK_KIND(name, ctype, code, va_type)                                                \
    {                                                                                         \
        SCOPED_TRACE(#name);                                                                  \
        using T = ctype;                                                                      \
        const T value = far_from_zero<T>(&object), def = other<T>();                          \
        pz_variant_t *v = pz_variant_##name##_new(value);                                     \
        expect_holds(v, code, value);                                                         \
        pz_variant_t *s = pz_variant_str_new("previous");                                      \
        EXPECT_EQ(pz_variant_##name##_set(s, value), s);                                      \
        expect_holds(s, code, value);                                                         \
        pz_variant_t *d = pz_variant_dup(v);                                                  \
        expect_holds(d, code, value);                                                         \
        for (pz_variant_t *x : {d, s, v}) pz_variant_unref(x);                                \
                                                                                              \
        const uint32_t at = pz_variant_array_size(arr);                                       \
        varray_add_##name(arr, value);                                                        \
        expect_holds(pz::array_at(arr, at), code, value);                                     \
        EXPECT_EQ(varray_##name(arr, at), value);                                             \
        EXPECT_TRUE(varray_##name(arr, 0) == T{} && varray_##name(arr, at + 1) == T{} &&      \
                    varray_##name(dict, 0) == T{});                                           \
        hal_fail_nth(1, 0);                                                                   \
        varray_add_##name(arr, value);                                                        \
        EXPECT_EQ(pz_variant_array_size(arr), at + 2) << "an empty slot for a lost value";     \
                                                                                              \
        vdict_set_str(dict, #name, "replaced by any kind");                                   \
        vdict_set_##name(dict, #name, value);                                                 \
        expect_holds(pz::dict_find(dict, #name), code, value);                                \
        EXPECT_EQ(vdict_##name##_default(dict, #name, def), value);                           \
        for (auto [c, key] : {std::pair{dict, "absent"}, {dict, ""}, {dict, nullptr}, {arr, #name}}) \
            EXPECT_EQ(vdict_##name##_default(c, key, def), def);                              \
        hal_fail_nth(1, 1);                                                                   \
        vdict_set_##name(dict, #name, def);                                                   \
        vdict_set_##name(dict, "new key", def);                                               \
        hal_fail_nth(0, 0);                                                                   \
        EXPECT_EQ(vdict_##name##_default(dict, #name, value), def) << "rewritten in place";   \
        EXPECT_FALSE(pz_variant_dict_contains(dict, "new key")) << "made of nothing";         \
        pz_variant_t *held = pz_variant_dict_get(dict, #name);                                \
        vdict_set_##name(dict, #name, value);                                                 \
        expect_holds(held, code, def);                                                        \
        EXPECT_NE(pz::dict_find(dict, #name), held) << "a value held elsewhere is replaced";  \
        pz_variant_unref(held);                                                               \
                                                                                              \
        const char fmt[] = {static_cast<char>(code), 'i', '\0'};                              \
        pz_variant_t *va = pz_variant_pack(fmt, static_cast<va_type>(value), int32_t{77});    \
        expect_holds(pz::array_at(va, 0), code, value);                                       \
        T back{};                                                                             \
        int32_t tail = 0;                                                                     \
        EXPECT_EQ(pz_variant_unpack(va, fmt, &back, &tail), 2);                               \
        EXPECT_EQ(back, value);                                                               \
        EXPECT_EQ(tail, 77) << "the next letter got its own argument";                        \
        pz_variant_unref(va);                                                                 \
    }
    PZ_SCALAR_KINDS(CHECK_KIND)
#undef CHECK_KIND
    for (pz_variant_t *v : {arr, dict}) pz_variant_unref(v);
}

}  // namespace
