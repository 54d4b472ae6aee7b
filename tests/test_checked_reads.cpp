// Checked reads: the conversion table of dump_cases/checked_read_cases.txt
// read three ways, the configuration mistakes the raw getters make, and the
// out parameters left alone on failure.
#include <cmath>
#include <functional>
#include <map>

#include "pz_test.h"
#include "pz_variant_kinds.h"

namespace {

using CheckedReads = LeakCheckedTest;

const char *status_name(pz_get_status status) {
    switch (status) {
    case PZ_GET_OK: return "ok";
    case PZ_GET_ABSENT: return "absent";
    case PZ_GET_WRONG_KIND: return "wrong_kind";
    case PZ_GET_OUT_OF_RANGE: return "out_of_range";
    }
    return "?";
}

// Where a read looks: the value itself, element 0 of an array, key "k".
enum class form { value, index, key };

// One typed read of `source` in each form, as "status" or "ok<TAB>dump".
// A failed read must leave its out parameter as it was.
template <class T>
struct scalar_reads {
    pz_get_status (*value)(const pz_variant_t *, T *);
    pz_get_status (*index)(const pz_variant_t *, uint32_t, T *);
    pz_get_status (*key)(const pz_variant_t *, const char *, T *);
    pz_variant_t *(*make)(T);

    std::string operator()(form f, const pz_variant_t *where) const {
        T out;
        std::memset(&out, 0x5a, sizeof out);
        if constexpr (std::is_same_v<T, bool>) out = true;  // every byte pattern but 0 and 1 is invalid
        unsigned char before[sizeof out];
        std::memcpy(before, &out, sizeof out);
        const pz_get_status status = f == form::value ? value(where, &out)
                                     : f == form::index ? index(where, 0, &out)
                                                        : key(where, "k", &out);
        if (status != PZ_GET_OK) {
            EXPECT_EQ(std::memcmp(&out, before, sizeof out), 0) << "a failed read wrote its out parameter";
            return status_name(status);
        }
        pz_variant_t *got = make(out);
        std::string text = std::string("ok\t") + dumped(got);
        pz_variant_unref(got);
        return text;
    }
};

template <class T>
struct span_reads {
    pz_get_status (*value)(const pz_variant_t *, const T **, uint32_t *);
    pz_get_status (*index)(const pz_variant_t *, uint32_t, const T **, uint32_t *);
    pz_get_status (*key)(const pz_variant_t *, const char *, const T **, uint32_t *);
    pz_variant_t *(*make)(const T *, uint32_t);

    std::string operator()(form f, const pz_variant_t *where) const {
        const T *out = nullptr;
        uint32_t len = 7;
        const pz_get_status status = f == form::value ? value(where, &out, &len)
                                     : f == form::index ? index(where, 0, &out, &len)
                                                        : key(where, "k", &out, &len);
        if (status != PZ_GET_OK) {
            EXPECT_TRUE(out == nullptr && len == 7) << "a failed read wrote its out parameters";
            return status_name(status);
        }
        if constexpr (std::is_same_v<T, char>) {
            EXPECT_NE(out, nullptr) << "a text is never null";
        }
        pz_variant_t *got = make(out, len);
        std::string text = std::string("ok\t") + dumped(got);
        pz_variant_unref(got);
        return text;
    }
};

using reader = std::function<std::string(form, const pz_variant_t *)>;

const std::map<std::string, reader> &readers() {
    static const std::map<std::string, reader> table = {
#define PZ_READER(name, ctype, code, va_type)                                                        \
    {#name, scalar_reads<ctype>{pz_variant_get_##name, varray_get_##name, vdict_get_##name,          \
                                pz_variant_##name##_new}},
        PZ_SCALAR_KINDS(PZ_READER)
#undef PZ_READER
        {"str", span_reads<char>{pz_variant_get_str, varray_get_str, vdict_get_str, vstr_sized_new}},
        {"bytes", span_reads<uint8_t>{pz_variant_get_bytes, varray_get_bytes, vdict_get_bytes, vstr_buf_new}},
    };
    return table;
}

TEST_F(CheckedReads, ConvertOnlyWhatIsKeptExactlyInEveryForm) {
    for_each_case("checked_read_cases.txt", [](const std::vector<std::string> &f) {
        ASSERT_GE(f.size(), 3u);
        ASSERT_TRUE(readers().count(f[1])) << f[1];
        pz_variant_t *source = pz_variant_from_dump(f[0].c_str());
        ASSERT_NE(source, nullptr);
        std::string want = f[2];
        if (f.size() > 3) {  // the expected value as the library dumps it
            pz_variant_t *expected = pz_variant_from_dump(f[3].c_str());
            want += "\t" + dumped(expected);
            pz_variant_unref(expected);
        }
        pz_variant_t *array = pz_variant_array_new(), *dict = pz_variant_dict_new();
        pz_variant_array_append(array, source);
        pz_variant_dict_put(dict, "k", source);
        const reader &read = readers().at(f[1]);
        EXPECT_EQ(read(form::value, source), want);
        EXPECT_EQ(read(form::index, array), want);
        EXPECT_EQ(read(form::key, dict), want);
        pz_variant_unref(array);
        pz_variant_unref(dict);
        pz_variant_unref(source);
    });
}

// The configuration that crashed and the one read wrong through the raw
// getters: through the checked family, a status and the caller's default.
TEST_F(CheckedReads, ConfigurationsFromJsonGiveStatusesNotGarbage) {
    pz_variant_t *cfg = pz_variant_from_json("{\"name\": 42}", nullptr);
    const char *name = "unnamed";
    uint32_t len = 0;
    EXPECT_EQ(vdict_get_str(cfg, "name", &name, &len), PZ_GET_WRONG_KIND);
    EXPECT_STREQ(name, "unnamed");
    pz_variant_unref(cfg);

    cfg = pz_variant_from_json("{\"port\":70000,\"read\":30,\"connect\":1.5}", nullptr);
    uint16_t port = 80;
    double read = 5.0;
    int32_t connect = 5;
    EXPECT_EQ(vdict_get_uint16(cfg, "port", &port), PZ_GET_OUT_OF_RANGE);
    EXPECT_EQ(port, 80);
    EXPECT_EQ(vdict_get_double(cfg, "read", &read), PZ_GET_OK);
    EXPECT_EQ(read, 30.0);
    EXPECT_EQ(vdict_get_int32(cfg, "connect", &connect), PZ_GET_OUT_OF_RANGE);
    EXPECT_EQ(connect, 5);
    EXPECT_EQ(vdict_get_int32(cfg, "retries", &connect), PZ_GET_ABSENT);
    pz_variant_unref(cfg);
}

// Where no element is, every form says absent; reads allocate nothing and
// take no reference, and a null out parameter only drops the value.
TEST_F(CheckedReads, NothingThereIsAbsentAndReadsAreFree) {
    pz_variant_t *arr = pz_variant_pack("i", 7), *dict = pz_variant_dict_new();
    pz_variant_array_append(arr, nullptr);
    pz_variant_t scalar{};
    scalar.vt = vtype_int32;
    const long mallocs = hal_malloc_calls(), incs = hal_atomic_incs();
    int32_t out = -1;
    EXPECT_EQ(pz_variant_get_int32(nullptr, &out), PZ_GET_ABSENT);
    EXPECT_EQ(varray_get_int32(arr, 1, &out), PZ_GET_ABSENT) << "an empty slot";
    EXPECT_EQ(varray_get_int32(arr, 2, &out), PZ_GET_ABSENT) << "past the end";
    EXPECT_EQ(varray_get_int32(dict, 0, &out), PZ_GET_ABSENT) << "not an array";
    EXPECT_EQ(vdict_get_int32(dict, "k", &out), PZ_GET_ABSENT);
    EXPECT_EQ(vdict_get_int32(arr, "k", &out), PZ_GET_ABSENT) << "not a dictionary";
    EXPECT_EQ(vdict_get_int32(dict, "", &out), PZ_GET_ABSENT);
    EXPECT_EQ(vdict_get_int32(dict, nullptr, &out), PZ_GET_ABSENT);
    EXPECT_EQ(out, -1);
    EXPECT_EQ(varray_get_int32(arr, 0, nullptr), PZ_GET_OK);
    EXPECT_EQ(pz_variant_get_str(&scalar, nullptr, nullptr), PZ_GET_WRONG_KIND);
    EXPECT_EQ(hal_malloc_calls(), mallocs);
    EXPECT_EQ(hal_atomic_incs(), incs);
    pz_variant_unref(arr);
    pz_variant_unref(dict);
}

// What a dump text cannot spell: NaN, and raw pointers.
TEST_F(CheckedReads, NanAndPointers) {
    pz_variant_t *nan = pz_variant_double_new(std::nan("")), *fnan = pz_variant_float_new(std::nanf(""));
    float f = 0;
    double d = 0;
    int64_t i = 0;
    EXPECT_EQ(pz_variant_get_float(nan, &f), PZ_GET_OK);
    EXPECT_TRUE(std::isnan(f)) << "a NaN stays a NaN";
    EXPECT_EQ(pz_variant_get_double(fnan, &d), PZ_GET_OK);
    EXPECT_TRUE(std::isnan(d));
    EXPECT_EQ(pz_variant_get_int64(nan, &i), PZ_GET_OUT_OF_RANGE);
    EXPECT_EQ(pz_variant_get_uint8(fnan, nullptr), PZ_GET_OUT_OF_RANGE);

    int object = 0;
    pz_variant_t *ptr = pz_variant_ptr_new(&object);
    void *p = nullptr;
    EXPECT_EQ(pz_variant_get_ptr(ptr, &p), PZ_GET_OK);
    EXPECT_EQ(p, &object);
    EXPECT_EQ(pz_variant_get_ptr(nan, &p), PZ_GET_WRONG_KIND);
    EXPECT_EQ(pz_variant_get_uint64(ptr, nullptr), PZ_GET_WRONG_KIND) << "an address is not a number";
    pz_variant_unref(nan);
    pz_variant_unref(fnan);
    pz_variant_unref(ptr);
}

}  // namespace
