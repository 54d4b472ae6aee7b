// Building many records: key sets shared by the dictionaries a thread
// builds, in C and through the C++ scope, and room reserved ahead.
#include <set>
#include <thread>

#include "pz_test.h"
#include "pzvariant/pz_variant.hpp"

namespace {

using SharedKeys = LeakCheckedTest;

constexpr const char *kNames[] = {"identifier", "timestamp", "category", "profile_background_color"};

// `n` records with the four names, built through three ways of storing.
pz_variant_t *build(int n) {
    pz_variant_t *all = pz_variant_array_new();
    for (int i = 0; i < n; ++i) {
        pz_variant_t *record = pz_variant_dict_new();
        vdict_set_int64(record, kNames[0], i);
        vdict_set_str(record, kNames[1], "now");
        pz_variant_t *inner = pz_variant_dict_new();
        pz_variant_dict_put(record, kNames[2], inner);
        pz_variant_unref(inner);
        pz_variant_t *color = pz_variant_int32_new(0xC0DEED);
        pz_variant_path_set(record, "/category/profile_background_color", color);
        pz_variant_unref(color);
        pz_variant_array_append(all, record);
        pz_variant_unref(record);
    }
    return all;
}

// The distinct key strings, by address, of the records' dictionaries.
size_t distinct_keys(const pz_variant_t *records) {
    std::set<const void *> keys;
    for (uint32_t i = 0; i < pz_variant_array_size(records); ++i) {
        uint32_t pos = 0;
        const pz_string_t *key = nullptr;
        pz_variant_t *value = nullptr;
        const pz_variant_t *record = pz_variant_array_at(records, i);
        while (pz_variant_dict_next(record, &pos, &key, &value)) keys.insert(key);
        pos = 0;
        while (pz_variant_dict_next(pz_variant_dict_find(record, kNames[2]), &pos, &key, nullptr)) keys.insert(key);
    }
    return keys.size();
}

TEST_F(SharedKeys, RecordsBuiltWithAKeySetShareOneStringPerName) {
    pz_variant_t *apart = build(50);
    EXPECT_EQ(distinct_keys(apart), 200u) << "without a key set every member has its own key";

    pz_keys_t *keys = pz_keys_new();
    ASSERT_NE(keys, nullptr);
    EXPECT_EQ(pz_keys_use(keys), nullptr);
    const long before = hal_malloc_calls();
    pz_variant_t *shared = build(50);
    const long mallocs = hal_malloc_calls() - before;
    EXPECT_EQ(pz_keys_use(nullptr), keys);
    pz_keys_free(keys);  // the records keep their keys
    EXPECT_EQ(distinct_keys(shared), 4u);
    EXPECT_TRUE(pz_variant_equal(shared, apart));
    // Per record: the record, its table, the number, the text, the inner
    // dictionary, its table and the color; the keys four times in all, not
    // per record.
    EXPECT_LE(mallocs, 50 * 7 + 4 + 8);
    pz_variant_unref(shared);
    pz_variant_unref(apart);
}

TEST_F(SharedKeys, SetsNestAndAreTheirThreadsOwn) {
    pz_keys_t *outer = pz_keys_new(), *inner = pz_keys_new();
    pz_keys_use(outer);
    pz_variant_t *a = pz_variant_dict_new();
    vdict_set_int64(a, "name", 1);
    EXPECT_EQ(pz_keys_use(inner), outer);
    pz_variant_t *b = pz_variant_dict_new();
    vdict_set_int64(b, "name", 2);
    EXPECT_EQ(pz_keys_use(outer), inner);
    pz_variant_t *c = pz_variant_dict_new();
    vdict_set_int64(c, "name", 3);
    const auto key_of = [](const pz_variant_t *d) {
        uint32_t pos = 0;
        const pz_string_t *key = nullptr;
        pz_variant_dict_next(d, &pos, &key, nullptr);
        return key;
    };
    EXPECT_EQ(key_of(a), key_of(c));
    EXPECT_NE(key_of(a), key_of(b));
    // Another thread builds with no set: its keys are its own.
    pz_variant_t *d = nullptr;
    std::thread([&d] {
        d = pz_variant_dict_new();
        vdict_set_int64(d, "name", 4);
    }).join();
    EXPECT_NE(key_of(d), key_of(a));
    // Freeing the set in use stops its use: later puts make their own keys.
    pz_keys_free(outer);
    pz_variant_t *e = pz_variant_dict_new();
    vdict_set_int64(e, "name", 5);
    EXPECT_NE(key_of(e), key_of(a));
    pz_keys_free(inner);
    pz_keys_free(nullptr);
    for (pz_variant_t *v : {a, b, c, d, e}) pz_variant_unref(v);
}

TEST_F(SharedKeys, ReservedRoomTakesTheElementsWithoutGrowing) {
    pz_variant_t *a = pz_variant_array_new();
    varray_add_int64(a, 7);
    ASSERT_TRUE(pz_variant_array_reserve(a, 1000));
    long before = hal_malloc_calls();
    for (int i = 1; i < 1000; ++i) varray_add_int64(a, i);
    EXPECT_EQ(hal_malloc_calls() - before, 999) << "one block per element, none for the storage";
    EXPECT_EQ(varray_int64(a, 0), 7);
    EXPECT_TRUE(pz_variant_array_reserve(a, 10)) << "less than there is: nothing to do";
    EXPECT_EQ(pz_variant_array_size(a), 1000u);

    pz_variant_t *d = pz_variant_dict_new();
    vdict_set_int64(d, "first", 1);
    ASSERT_TRUE(pz_variant_dict_reserve(d, 100));
    pz_keys_t *keys = pz_keys_new();
    pz_keys_use(keys);
    before = hal_malloc_calls();
    for (int i = 1; i < 100; ++i) vdict_set_int64(d, std::to_string(i).c_str(), i);
    EXPECT_LE(hal_malloc_calls() - before, 99 * 2 + 8) << "a number and a key per entry, the key set's table";
    pz_keys_use(nullptr);
    pz_keys_free(keys);
    EXPECT_EQ(vdict_int64_default(d, "first", 0), 1);
    EXPECT_EQ(vdict_int64_default(d, "99", 0), 99);

    EXPECT_FALSE(pz_variant_array_reserve(d, 5));
    EXPECT_FALSE(pz_variant_dict_reserve(a, 5));
    EXPECT_FALSE(pz_variant_array_reserve(nullptr, 5));
    hal_fail_nth(1, 0);
    EXPECT_FALSE(pz_variant_array_reserve(a, 5000));
    EXPECT_EQ(pz_variant_array_size(a), 1000u) << "unchanged when the room cannot be had";
    pz_variant_unref(a);
    pz_variant_unref(d);
}

TEST_F(SharedKeys, CppScopeSharesKeysAndReserveChecksTheKind) {
    pz::value records = pz::array({});
    {
        pz::shared_keys scope;
        pz::reserve(records, 100);
        for (int i = 0; i < 100; ++i) records.push_back(pz::dict({{"identifier", i}, {"category", "web"}}));
    }
    std::set<const void *> keys;
    for (auto [key, v] : records[0].entries()) keys.insert(key.data());
    for (auto [key, v] : records[99].entries()) keys.insert(key.data());
    EXPECT_EQ(keys.size(), 2u);
    pz::value record = pz::dict({{"identifier", 1}});
    for (auto [key, v] : record.entries()) EXPECT_EQ(keys.count(key.data()), 0u) << "the scope has ended";
    pz::value number(5);
    EXPECT_THROW(pz::reserve(number, 3), pz::error);
    // Past what a count holds, where a size_t reaches that far.
    if constexpr (sizeof(size_t) > sizeof(uint32_t)) {
        EXPECT_THROW(pz::reserve(records, static_cast<size_t>(UINT32_MAX) + 1), std::length_error);
    }
}

}  // namespace
