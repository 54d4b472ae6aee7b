// Every exported function that allocates, run with its 1st, 2nd, 3rd ...
// allocation failing until a run completes. Each run must leak nothing,
// leave its result and target as the function's failure handling promises,
// and call every destructor and unref exactly once by the time all is
// released.
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "hal/pz_hal.h"
#include "pz_test.h"
#include "va_entry.h"

namespace {

// Objects behind the pointer kinds: owned objects not yet destroyed and
// shared references not yet given back. Both must come back to zero, and a
// call too many shows as a negative count.
struct Tracked {
    static inline long owned = 0;
    static inline long shared = 0;
    static inline bool went_negative = false;
    static inline int object = 0;

    static void dtor(void *) { went_negative |= --owned < 0; }
    static void *ref(void *p) {
        ++shared;
        return p;
    }
    static void unref(void *) { went_negative |= --shared < 0; }
};

// Whether `got` is `want` less what failed allocations may drop: a missing
// value, an empty string or buffer, a container without storage, array
// elements left out or nulled, dictionary entries left out or null.
bool degraded(const pz_variant_t *got, const pz_variant_t *want) {
    if (got == nullptr) return true;
    if (want == nullptr || got->vt != want->vt) return false;
    switch (got->vt) {
        case vtype_string:
        case vtype_bytes:
            return (got->ptr_val == nullptr && got->len == 0) || pz_variant_equal(got, want);
        case vtype_array: {
            if (got->ptr_val == nullptr) return true;
            // Greedy: each element of `got` matches a later one of `want`.
            uint32_t j = 0;
            const uint32_t want_size = pz_variant_array_size(want);
            for (uint32_t i = 0; i < pz_variant_array_size(got); ++i) {
                pz_variant_t *g = pz_variant_array_index(got, i);
                bool matched = false;
                while (!matched && j < want_size) {
                    pz_variant_t *w = pz_variant_array_index(want, j++);
                    matched = degraded(g, w);
                    pz_variant_unref(w);
                }
                pz_variant_unref(g);
                if (!matched) return false;
            }
            return true;
        }
        case vtype_dict: {
            if (got->ptr_val == nullptr) return true;
            struct Walk {
                const pz_variant_t *want;
                bool ok = true;
            } walk{want};
            pz_variant_dict_foreach(
                const_cast<pz_variant_t *>(got),
                [](void *key, void *value, void *data) {
                    auto *w = static_cast<Walk *>(data);
                    const char *k = static_cast<pz_string_t *>(key)->cstr;
                    pz_variant_t *other = pz_variant_dict_get(w->want, k);
                    w->ok = w->ok && pz_variant_dict_contains(w->want, k) &&
                            degraded(static_cast<pz_variant_t *>(value), other);
                    pz_variant_unref(other);
                    return true;
                },
                &walk);
            return walk.ok;
        }
        default:
            return pz_variant_equal(got, want);
    }
}

// Every kind but the null kind and the containers, one element each: 16
// elements, which fill the array's storage, so that adding to it grows it.
pz_variant_t *full_array() {
    ++Tracked::owned;
    pz_variant_t *a = pz_variant_pack(
        "boynqiuxtfdc*as", 1, -8, 200, -16, 60000, INT32_MIN, UINT32_MAX, INT64_MIN, UINT64_MAX, 1.5,
        -2.25, "text", &Tracked::object, &Tracked::object, Tracked::dtor, &Tracked::object,
        Tracked::ref, Tracked::unref);
    const uint8_t bytes[] = {0, 1, 0xfe};
    pz_variant_t *buf = vstr_buf_new(bytes, sizeof bytes);
    pz_variant_array_append(a, buf);
    pz_variant_unref(buf);
    return a;
}

// Every kind but the containers, one element each, as an array.
pz_variant_t *every_kind() {
    pz_variant_t *a = full_array();
    pz_variant_t *nothing = pz_variant_change_type(pz_variant_bool_new(false), vtype_null);
    pz_variant_array_append(a, nothing);
    pz_variant_unref(nothing);
    return a;
}

// A dictionary holding every kind, an array of every kind and a dictionary
// nested in that array.
pz_variant_t *sample() {
    pz_variant_t *d = pz_variant_dict_new();
    pz_variant_t *kinds = every_kind();
    for (uint32_t i = 0; i < pz_variant_array_size(kinds); ++i) {
        pz_variant_t *e = pz_variant_array_index(kinds, i);
        pz_variant_dict_put(d, std::string(1, static_cast<char>('A' + i)).c_str(), e);
        pz_variant_unref(e);
    }
    pz_variant_t *inner = every_kind();
    pz_variant_t *nested = pz_variant_dict_new();
    pz_variant_dict_put(nested, "list", inner);
    pz_variant_array_append(kinds, nested);
    pz_variant_dict_put(d, "list", kinds);
    pz_variant_unref(inner);
    pz_variant_unref(nested);
    pz_variant_unref(kinds);
    return d;
}

// One failure point: `armed` runs its operation with the n-th allocation
// failing and records whether a failure happened.
struct FailurePoint {
    long n;
    bool fired = false;
    // The failing allocation of the run in progress; 0 when none is armed.
    static inline long failing = 0;

    template <class F>
    auto armed(F f) {
        failing = n;
        const long failed_before = hal_failed_mallocs();
        hal_fail_nth(n, 0);
        auto result = f();
        hal_fail_nth(0, 0);
        failing = 0;
        fired = hal_failed_mallocs() != failed_before;
        return result;
    }
};

using Maker = std::function<pz_variant_t *()>;
using Op = std::function<pz_variant_t *(pz_variant_t *target, pz_variant_t *arg)>;

struct SweepCase {
    std::string name;
    std::function<void(FailurePoint &)> body;
};

// A function that makes a value: without a failure the value made with no
// failure armed; with one, a degraded form of it.
SweepCase make(std::string name, Maker f) {
    return {std::move(name), [f](FailurePoint &run) {
                pz_variant_t *want = f();
                pz_variant_t *got = run.armed(f);
                EXPECT_TRUE(run.fired ? degraded(got, want) : pz_variant_equal(got, want));
                pz_variant_unref(got);
                pz_variant_unref(want);
            }};
}

// A function that changes `target` (made by `start`), given an argument
// made by `arg` (may be empty) before failures are armed. `op` takes over
// the target's reference and returns the reference to inspect. Without a
// failure the target ends as it does with no failure armed; with one, it is
// unchanged or a degraded form of that.

SweepCase change(std::string name, Maker start, Maker arg, Op op) {
    return {std::move(name), [start, arg, op](FailurePoint &run) {
                pz_variant_t *want_arg = arg ? arg() : nullptr;
                pz_variant_t *want = op(start(), want_arg);
                pz_variant_t *target = start();
                pz_variant_t *given = arg ? arg() : nullptr;
                pz_variant_t *before = pz_variant_dup(target);
                pz_variant_t *got = run.armed([&] { return op(target, given); });
                if (!run.fired) {
                    EXPECT_TRUE(pz_variant_equal(got, want));
                } else {
                    EXPECT_TRUE(pz_variant_equal(got, before) || degraded(got, want));
                }
                for (pz_variant_t *v : {got, before, want, given, want_arg}) pz_variant_unref(v);
            }};
}

// A function that writes `sample()` as text: the text reads back to what
// the text written with no failure armed reads back to, or to a degraded
// form of it; the value itself is not changed.
SweepCase write(std::string name, std::function<std::string *(const pz_variant_t *)> f) {
    return {std::move(name), [f](FailurePoint &run) {
                pz_variant_t *v = sample();
                std::string *want_text = f(v);
                std::string *got_text = run.armed([&] { return f(v); });
                ASSERT_NE(want_text, nullptr);
                pz_variant_t *want = pz_variant_from_dump(want_text->c_str());
                if (!run.fired) {
                    ASSERT_NE(got_text, nullptr);
                    EXPECT_EQ(*got_text, *want_text);
                } else if (got_text != nullptr) {
                    pz_variant_t *got = pz_variant_from_dump(got_text->c_str());
                    EXPECT_TRUE(degraded(got, want)) << *got_text;
                    pz_variant_unref(got);
                }
                pz_variant_t *fresh = sample();
                EXPECT_TRUE(pz_variant_equal(v, fresh));
                pz_variant_unref(fresh);
                pz_variant_unref(want);
                pz_variant_unref(v);
                delete want_text;
                delete got_text;
            }};
}

pz_variant_t *int_value() { return pz_variant_int32_new(5); }

// Lets a change use a void function and return its target.
template <class F>
Op returning_target(F f) {
    return [f](pz_variant_t *target, pz_variant_t *arg) {
        f(target, arg);
        return target;
    };
}

pz_variant_t *sample_plus() {
    pz_variant_t *d = sample();
    pz_variant_t *extra = int_value();
    pz_variant_dict_put(d, "extra", extra);
    pz_variant_unref(extra);
    return d;
}

pz_variant_t *sample_dump_text() {
    pz_variant_t *v = sample();
    char *text = pz_variant_dump(v);
    pz_variant_t *s = pz_variant_str_new(text);
    HAL_Free(text);
    pz_variant_unref(v);
    return s;
}

pz_variant_t *shared_value() {
    return pz_variant_sharedptr_new(&Tracked::object, Tracked::ref, Tracked::unref);
}

// A typed adder or setter that takes over `object` makes its value with its
// first allocation; when that fails the object stays the caller's.
bool value_not_made() { return FailurePoint::failing == 1; }

uint8_t *owned_buffer = nullptr;
const uint8_t owned_bytes[] = {1, 2, 3};

#define PZ_ADDER(fn, ...)                                                             \
    change(#fn, full_array, nullptr, returning_target([](pz_variant_t *a, pz_variant_t *) { \
               fn(a, __VA_ARGS__);                                                    \
           }))
#define PZ_SETTER(fn, ...)                                                         \
    change(#fn, sample, nullptr, returning_target([](pz_variant_t *d, pz_variant_t *) { \
               fn(d, "new key", __VA_ARGS__);                                       \
           }))

// The kinds that have both a typed adder and a typed setter, with a value.
#define PZ_TYPED_VALUES(X)                                      \
    X(bool, true)                                               \
    X(int8, -1)                                                 \
    X(uint8, 255)                                               \
    X(int16, -2)                                                \
    X(uint16, 65535)                                            \
    X(int32, -3)                                                \
    X(uint32, 4)                                                \
    X(int64, INT64_MIN)                                         \
    X(uint64, UINT64_MAX)                                       \
    X(float, 0.5f)                                              \
    X(double, 0.25)                                             \
    X(ptr, &Tracked::object)                                    \
    X(str, "text")                                              \
    X(sharedptr, &Tracked::object, Tracked::ref, Tracked::unref)
#define PZ_ADDER_OF(kind, ...) PZ_ADDER(varray_add_##kind, __VA_ARGS__),
#define PZ_SETTER_OF(kind, ...) PZ_SETTER(vdict_set_##kind, __VA_ARGS__),

std::vector<SweepCase> typed_cases() {
    return {
        PZ_TYPED_VALUES(PZ_ADDER_OF)
        PZ_ADDER(varray_add_sized_str, "te\0xt", 5),
        change("varray_add_autoptr", full_array, nullptr,
               returning_target([](pz_variant_t *a, pz_variant_t *) {
                   ++Tracked::owned;
                   varray_add_autoptr(a, &Tracked::object, Tracked::dtor);
                   if (value_not_made()) Tracked::dtor(&Tracked::object);
               })),
        change("varray_add_dict", full_array, nullptr,
               returning_target([](pz_variant_t *a, pz_variant_t *) { varray_add_dict(a); })),
        change("varray_add_array", full_array, nullptr,
               returning_target([](pz_variant_t *a, pz_variant_t *) { varray_add_array(a); })),
        PZ_TYPED_VALUES(PZ_SETTER_OF)
        PZ_SETTER(vdict_set_sized_ptr, &Tracked::object, 12),
        PZ_SETTER(vdict_set_bytes, owned_bytes, sizeof owned_bytes),
        change("vdict_set_autoptr", sample, nullptr,
               returning_target([](pz_variant_t *d, pz_variant_t *) {
                   ++Tracked::owned;
                   vdict_set_autoptr(d, "new key", &Tracked::object, Tracked::dtor);
                   if (value_not_made()) Tracked::dtor(&Tracked::object);
               })),
        // The buffer is made with the argument, before failures are armed.
        change("vdict_set_bytes_owned", sample,
               [] {
                   owned_buffer = static_cast<uint8_t *>(pz_mem_dup(owned_bytes, sizeof owned_bytes));
                   return static_cast<pz_variant_t *>(nullptr);
               },
               returning_target([](pz_variant_t *d, pz_variant_t *) {
                   vdict_set_bytes_owned(d, "new key", owned_buffer, sizeof owned_bytes);
                   if (value_not_made()) HAL_Free(owned_buffer);
               })),
    };
}

#undef PZ_ADDER_OF
#undef PZ_SETTER_OF
#undef PZ_TYPED_VALUES
#undef PZ_ADDER
#undef PZ_SETTER

std::vector<SweepCase> cases() {
    std::vector<SweepCase> c = {
        make("pz_variant_bool_new", [] { return pz_variant_bool_new(true); }),
        make("pz_variant_int8_new", [] { return pz_variant_int8_new(-1); }),
        make("pz_variant_uint8_new", [] { return pz_variant_uint8_new(255); }),
        make("pz_variant_int16_new", [] { return pz_variant_int16_new(-2); }),
        make("pz_variant_uint16_new", [] { return pz_variant_uint16_new(65535); }),
        make("pz_variant_int32_new", [] { return pz_variant_int32_new(-3); }),
        make("pz_variant_uint32_new", [] { return pz_variant_uint32_new(4); }),
        make("pz_variant_int64_new", [] { return pz_variant_int64_new(INT64_MIN); }),
        make("pz_variant_uint64_new", [] { return pz_variant_uint64_new(UINT64_MAX); }),
        make("pz_variant_float_new", [] { return pz_variant_float_new(0.5f); }),
        make("pz_variant_double_new", [] { return pz_variant_double_new(0.25); }),
        make("pz_variant_ptr_new", [] { return pz_variant_ptr_new(&Tracked::object); }),
        make("pz_variant_str_new", [] { return pz_variant_str_new("text"); }),
        make("vstr_sized_new", [] { return vstr_sized_new("te\0xt", 5); }),
        make("vstr_buf_new", [] { return vstr_buf_new(reinterpret_cast<const uint8_t *>("ab"), 2); }),
        make("pz_variant_array_new", pz_variant_array_new),
        make("pz_variant_dict_new", pz_variant_dict_new),
        make("pz_variant_sharedptr_new",
             [] { return pz_variant_sharedptr_new(&Tracked::object, Tracked::ref, Tracked::unref); }),
        // A taking-over constructor that fails leaves the object or buffer
        // with the caller, who disposes of it.
        make("pz_variant_autoptr_new",
             [] {
                 ++Tracked::owned;
                 pz_variant_t *v = pz_variant_autoptr_new(&Tracked::object, Tracked::dtor);
                 if (v == nullptr) Tracked::dtor(&Tracked::object);
                 return v;
             }),
        make("vstr_new_owned",
             [] {
                 char *text = static_cast<char *>(pz_mem_dup("owned", 6));
                 pz_variant_t *v = text != nullptr ? vstr_new_owned(text, 5) : nullptr;
                 if (v == nullptr) HAL_Free(text);
                 return v;
             }),
        make("vstr_buf_new_owned",
             [] {
                 auto *buf = static_cast<uint8_t *>(pz_mem_dup("\x01\x02", 2));
                 pz_variant_t *v = buf != nullptr ? vstr_buf_new_owned(buf, 2) : nullptr;
                 if (v == nullptr) HAL_Free(buf);
                 return v;
             }),
        change("pz_variant_str_set", int_value, nullptr,
               [](pz_variant_t *v, pz_variant_t *) { return pz_variant_str_set(v, "text"); }),
        change("vstr_buf_set", int_value, nullptr,
               [](pz_variant_t *v, pz_variant_t *) {
                   uint8_t bytes[] = {7, 8, 9};
                   return vstr_buf_set(v, bytes, sizeof bytes);
               }),
        change("pz_variant_change_type to array", int_value, nullptr,
               [](pz_variant_t *v, pz_variant_t *) { return pz_variant_change_type(v, vtype_array); }),
        change("pz_variant_change_type to dict", int_value, nullptr,
               [](pz_variant_t *v, pz_variant_t *) { return pz_variant_change_type(v, vtype_dict); }),
        change("pz_variant_array_append", full_array, sample, returning_target(pz_variant_array_append)),
        change("pz_variant_array_prepend", full_array, sample, returning_target(pz_variant_array_prepend)),
        change("pz_variant_array_insert", full_array, sample,
               returning_target([](pz_variant_t *a, pz_variant_t *e) { pz_variant_array_insert(a, 3, e); })),
        change("pz_variant_dict_put", sample, every_kind,
               returning_target([](pz_variant_t *d, pz_variant_t *e) { pz_variant_dict_put(d, "new key", e); })),
        change("vdict_child", sample, nullptr,
               returning_target([](pz_variant_t *d, pz_variant_t *) { pz_variant_unref(vdict_child(d, "child")); })),
        change("pz_variant_array_append_vals", full_array, nullptr,
               returning_target([](pz_variant_t *a, pz_variant_t *) {
                   pz_variant_array_append_vals(a, "ic?s", 7, "text", &Tracked::object, Tracked::ref,
                                                Tracked::unref);
               })),
        change("pz_variant_array_append_args", full_array, nullptr,
               returning_target([](pz_variant_t *a, pz_variant_t *) { append_args_from(a, "icx", 7, "text", INT64_MAX); })),
        change("pz_variant_array_append_vals_internal", full_array, nullptr,
               returning_target([](pz_variant_t *a, pz_variant_t *) {
                   append_internal_from(a, "dc*", 0.5, "text", &Tracked::object);
               })),
        make("pz_variant_pack", [] { return pz_variant_pack("bc?d", 1, "text", 2.5); }),
        make("pz_variant_pack_arg", [] { return pack_arg_from(0, "yc", 9, "text"); }),
        change("pz_variant_dup", sample, nullptr,
               [](pz_variant_t *v, pz_variant_t *) {
                   pz_variant_t *copy = pz_variant_dup(v);
                   pz_variant_unref(v);
                   return copy;
               }),
        change("pz_variant_concat of a dictionary", sample, sample_plus,
               returning_target(pz_variant_concat)),
        change("pz_variant_concat of an array", every_kind, every_kind, returning_target(pz_variant_concat)),
        change("pz_variant_concat of a string", int_value, [] { return pz_variant_str_new("text"); },
               returning_target(pz_variant_concat)),
        // A shared pointer replaces a target of another kind; when the
        // replacement cannot be made, the target's reference is gone.
        change("pz_variant_concat of a shared pointer", int_value, shared_value, pz_variant_concat),
        change("pz_variant_from_dump", sample_dump_text, nullptr,
               [](pz_variant_t *text, pz_variant_t *) {
                   pz_variant_t *v = pz_variant_from_dump(text->str_val);
                   pz_variant_unref(text);
                   return v;
               }),
        write("pz_variant_dump",
              [](const pz_variant_t *v) {
                  char *text = pz_variant_dump(v);
                  std::string *s = text != nullptr ? new std::string(text) : nullptr;
                  HAL_Free(text);
                  return s;
              }),
        write("pz_variant_dump_buf",
              [](const pz_variant_t *v) {
                  std::vector<char> buf(1 << 14);
                  const int32_t n = pz_variant_dump_buf(v, buf.data(), static_cast<uint32_t>(buf.size()));
                  if (n == -2) return static_cast<std::string *>(nullptr);
                  EXPECT_GE(n, 0);
                  return new std::string(buf.data(), static_cast<size_t>(n));
              }),
    };
    for (SweepCase &typed : typed_cases()) c.push_back(std::move(typed));
    return c;
}

class AllocSweep : public LeakCheckedTest {};

TEST_F(AllocSweep, EveryAllocatingFunctionFailsCleanlyAtEveryPoint) {
    long pairs = 0;
    for (const SweepCase &sweep : cases()) {
        SCOPED_TRACE(sweep.name);
        long failing_runs = 0;
        const auto *result = ::testing::UnitTest::GetInstance()->current_test_info()->result();
        for (long n = 1;; ++n) {
            const int parts_before = result->total_part_count();
            Tracked::went_negative = false;
            const long live_before = hal_live_blocks();
            FailurePoint run{n};
            sweep.body(run);
            EXPECT_EQ(hal_live_blocks(), live_before) << "leak when allocation " << n << " fails";
            EXPECT_EQ(Tracked::owned, 0) << "owned objects not destroyed, failing " << n;
            EXPECT_EQ(Tracked::shared, 0) << "shared references not released, failing " << n;
            EXPECT_FALSE(Tracked::went_negative) << "a callback ran twice, failing " << n;
            Tracked::owned = Tracked::shared = 0;
            // One report per case is enough.
            if (result->total_part_count() != parts_before || !run.fired) break;
            ++failing_runs;
        }
        EXPECT_GT(failing_runs, 0) << sweep.name << " allocated nothing";
        pairs += failing_runs;
    }
    std::printf("allocation-failure sweep: %zu cases, %ld (function, failure point) pairs\n",
                cases().size(), pairs);
    RecordProperty("pairs", static_cast<int>(pairs));
}

}  // namespace
