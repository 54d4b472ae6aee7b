// Checked reads: the conversions of dump_cases/checked_read_cases.txt, each
// read as a value, as an array element, as a dictionary entry and through
// C++'s get_as; then what a dump text cannot spell (absence in containers,
// NaN, pointers).
#include <cmath>
#include <functional>
#include <map>
#include <span>

#include "pz_test.h"
#include "core/kinds.h"
#include "pzvariant/pz_variant.hpp"

namespace {

using CheckedReads = LeakCheckedTest;

const char *const kStatus[] = {"ok", "absent", "wrong_kind", "out_of_range"};

// Where a read looks: the value itself, element 0 of an array, key "k";
// or the value read by pz::view::get_as.
enum class form { value, index, key, cpp };

// What an out parameter holds before a read, which a failed read must keep.
template <class T>
T sentinel() {
    if constexpr (std::is_pointer_v<T>) {
        return reinterpret_cast<T>(uintptr_t{8});
    } else if constexpr (std::is_arithmetic_v<T>) {
        return static_cast<T>(7);
    } else {
        return T{};
    }
}
template <class T>
struct span {
    const T *data = nullptr;
    uint32_t len = 7;
    bool operator==(const span &) const = default;
};

// A read as the case files write it: the status, and for a value read a tab
// and the dump of the value `make` makes from what was read.
template <class Out, class Read, class Make>
std::string outcome(Read read, Make make) {
    Out out = sentinel<Out>();
    const pz_get_status status = read(&out);
    if (status != PZ_GET_OK) {
        EXPECT_TRUE(out == sentinel<Out>()) << "a failed read wrote its out parameter";
        return kStatus[status];
    }
    pz_variant_t *v = make(out);
    std::string text = "ok\t";
    text += dumped(v);
    pz_variant_unref(v);
    return text;
}

// What get_as gives, as the case files write a read: "none" for nothing.
template <class T, class Make>
std::string cpp_outcome(const std::optional<T> &got, Make make) {
    if (!got) return "none";
    pz_variant_t *v = make(*got);
    std::string text = "ok\t" + dumped(v);
    pz_variant_unref(v);
    return text;
}

#define PZ_IN_FORM(f, where, name, ...)                                                 \
    ((f) == form::value ? pz_variant_get_##name(where, __VA_ARGS__)                     \
     : (f) == form::index ? varray_get_##name(where, 0, __VA_ARGS__)                    \
                          : vdict_get_##name(where, "k", __VA_ARGS__))

using reader = std::function<std::string(form, const pz_variant_t *)>;
const std::map<std::string, reader> kReaders = {
#define PZ_READER(name, ctype, code, va_type)                                                        \
    {#name, [](form f, const pz_variant_t *w) {                                                      \
         if (f == form::cpp) return cpp_outcome(pz::view(w).get_as<ctype>(), pz_variant_##name##_new); \
         return outcome<ctype>([&](ctype *out) { return PZ_IN_FORM(f, w, name, out); },             \
                               pz_variant_##name##_new);                                             \
     }},
    PZ_SCALAR_KINDS(PZ_READER)
#undef PZ_READER
    {"str", [](form f, const pz_variant_t *w) {
         if (f == form::cpp) {
             return cpp_outcome(pz::view(w).get_as<std::string_view>(), [](std::string_view s) {
                 return vstr_sized_new(s.data(), static_cast<uint32_t>(s.size()));
             });
         }
         return outcome<span<char>>([&](span<char> *o) { return PZ_IN_FORM(f, w, str, &o->data, &o->len); },
                                    [](span<char> o) {
                                        EXPECT_NE(o.data, nullptr) << "a text is never null";
                                        return vstr_sized_new(o.data, o.len);
                                    });
     }},
    {"bytes", [](form f, const pz_variant_t *w) {
         if (f == form::cpp) {
             return cpp_outcome(pz::view(w).get_as<std::span<const std::byte>>(), [](std::span<const std::byte> s) {
                 return vstr_buf_new(reinterpret_cast<const uint8_t *>(s.data()), static_cast<uint32_t>(s.size()));
             });
         }
         return outcome<span<uint8_t>>(
             [&](span<uint8_t> *o) { return PZ_IN_FORM(f, w, bytes, &o->data, &o->len); },
             [](span<uint8_t> o) { return vstr_buf_new(o.data, o.len); });
     }},
};

TEST_F(CheckedReads, ConvertOnlyWhatIsKeptExactlyInEveryForm) {
    for_each_case("checked_read_cases.txt", [](const std::vector<std::string> &f) {
        ASSERT_TRUE(f.size() >= 3 && kReaders.count(f[1])) << f[1];
        pz_variant_t *source = case_value(f[0]), *expected = nullptr;
        std::string want = f[2];
        if (f.size() > 3) {  // the expected value as the library dumps it
            want += '\t';
            want += dumped(expected = case_value(f[3]));
        }
        pz_variant_t *array = pz_variant_pack("-"), *dict = pz_variant_dict_new();
        pz_variant_array_set(array, 0, source);
        pz_variant_dict_put(dict, "k", source);
        const reader &read = kReaders.at(f[1]);
        EXPECT_EQ(read(form::value, source), want);
        EXPECT_EQ(read(form::index, array), want);
        EXPECT_EQ(read(form::key, dict), want);
        EXPECT_EQ(read(form::cpp, source), f[2] == "ok" ? want : "none");
        for (pz_variant_t *v : {array, dict, source, expected}) pz_variant_unref(v);
    });
}

// No element is absent in every form; reads allocate nothing and take no
// reference; NaN stays NaN in floating types and is no integer; a pointer
// is only a pointer.
TEST_F(CheckedReads, AbsenceNanAndPointers) {
    pz_variant_t *arr = pz_variant_pack("d-", std::nan("")), *dict = pz_variant_dict_new();
    const long mallocs = hal_malloc_calls(), incs = hal_atomic_incs();
    for (uint32_t index : {1u, 2u}) EXPECT_EQ(varray_get_int8(arr, index, nullptr), PZ_GET_ABSENT);
    EXPECT_EQ(varray_get_int8(dict, 0, nullptr), PZ_GET_ABSENT);
    for (const char *key : {"k", "", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(vdict_get_int8(dict, key, nullptr), PZ_GET_ABSENT);
    }
    EXPECT_EQ(vdict_get_int8(arr, "k", nullptr), PZ_GET_ABSENT);
    EXPECT_EQ(pz_variant_get_int8(nullptr, nullptr), PZ_GET_ABSENT);
    float f = 0;
    EXPECT_EQ(varray_get_float(arr, 0, &f), PZ_GET_OK);
    EXPECT_TRUE(std::isnan(f));
    EXPECT_EQ(varray_get_int64(arr, 0, nullptr), PZ_GET_OUT_OF_RANGE);
    EXPECT_EQ(varray_get_ptr(arr, 0, nullptr), PZ_GET_WRONG_KIND);
    EXPECT_EQ(hal_malloc_calls(), mallocs);
    EXPECT_EQ(hal_atomic_incs(), incs);

    pz_variant_t *ptr = pz_variant_ptr_new(&f);
    void *p = nullptr;
    EXPECT_EQ(pz_variant_get_ptr(ptr, &p), PZ_GET_OK);
    EXPECT_EQ(p, &f);
    EXPECT_EQ(pz_variant_get_uint64(ptr, nullptr), PZ_GET_WRONG_KIND) << "an address is not a number";
    for (pz_variant_t *v : {arr, dict, ptr}) pz_variant_unref(v);
}

}  // namespace
