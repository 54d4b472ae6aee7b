// The key cache: every reader makes each distinct name of a text once and
// shares it among the members that repeat it; lent as a key set, it does
// the same for the dictionaries a thread builds, in C and through the C++
// scope (that a set is its thread's own is checked with the other threaded
// tests). And room reserved ahead for records built in code.
#include <cstdio>
#include <set>

#include "io/key_cache.h"
#include "pz_test.h"
#include "pzvariant/pz_variant.hpp"
#include "writers.h"

namespace {

using KeyCache = LeakCheckedTest;

// A name of exactly 30 bytes: "field_<i>_" padded with 'x'.
std::string name_of(int i) {
    std::string name = "field_" + std::to_string(i) + "_";
    name.resize(30, 'x');
    return name;
}

// `records` dictionaries with the same `names` names of 30 bytes each.
pz_variant_t *records_of(int records, int names) {
    pz_variant_t *all = pz_variant_array_new();
    for (int r = 0; r < records; ++r) {
        pz_variant_t *record = pz_variant_dict_new();
        for (int n = 0; n < names; ++n) vdict_set_int64(record, name_of(n).c_str(), r * names + n);
        append_new(all, record);
    }
    return all;
}

// The key strings (by address) of the dictionaries in `v`, gathered.
void collect_keys(const pz_variant_t *v, std::set<const void *> &keys) {
    if (v != nullptr && v->vt == vtype_array) {
        for (uint32_t i = 0; i < pz_variant_array_size(v); ++i) collect_keys(pz_variant_array_at(v, i), keys);
    } else if (v != nullptr && v->vt == vtype_dict) {
        uint32_t pos = 0;
        const pz_string_t *key = nullptr;
        pz_variant_t *value = nullptr;
        while (pz_variant_dict_next(v, &pos, &key, &value)) {
            keys.insert(key);
            collect_keys(value, keys);
        }
    }
}

// How many distinct key strings the dictionaries in `v` hold.
size_t distinct_keys(const pz_variant_t *v) {
    std::set<const void *> keys;
    collect_keys(v, keys);
    return keys.size();
}

// A reader, and the writer of its format.
struct reader {
    const char *name;
    std::string (*write)(const pz_variant_t *);
    pz_variant_t *(*read)(const std::string &);
};
const reader kReaders[] = {
    {"json", [](const pz_variant_t *v) { return taken(json_write(v)); },
     [](const std::string &text) { return json_read(text.c_str()); }},
    {"msgpack", [](const pz_variant_t *v) { return new_block(writer::msgpack, v).value_or(""); },
     [](const std::string &bytes) { return pz_variant_from_msgpack(bytes.data(), bytes.size(), nullptr); }},
    {"dump", dumped, [](const std::string &text) { return pz_variant_from_dump(text.c_str()); }},
};

// `v` written in the reader's format and read back, with the allocations of
// the read alone counted in `*mallocs`.
pz_variant_t *round_trip(const reader &r, const pz_variant_t *v, long *mallocs) {
    const std::string bytes = r.write(v);
    const long before = hal_malloc_calls();
    pz_variant_t *back = r.read(bytes);
    *mallocs = hal_malloc_calls() - before;
    return back;
}

// Past its bound the cache starts over: names seen once by the thousand
// (a table keyed by id) do not stop the names that follow from being shared.
TEST_F(KeyCache, EveryReaderMakesEachRepeatedNameOnce) {
    pz_variant_t *doc = records_of(20, 200), *after_ids = pz_variant_dict_new(), *by_id = pz_variant_dict_new();
    for (uint32_t i = 0; i < 3 * pz::key_cache::kMaxNames; ++i) vdict_set_int64(by_id, std::to_string(i).c_str(), 1);
    put_new(after_ids, "by_id", by_id);
    put_new(after_ids, "records", records_of(50, 10));
    for (const reader &r : kReaders) {
        SCOPED_TRACE(r.name);
        long read_mallocs = 0;
        pz_variant_t *back = round_trip(r, doc, &read_mallocs);
        ASSERT_TRUE(pz_variant_equal(back, doc));
        EXPECT_EQ(distinct_keys(back), 200u) << "4,000 members share 200 key strings";
        // A copy shares its source's keys: beside it the read makes the 200
        // names and its own working blocks (stacks, the cache's table).
        const long before = hal_malloc_calls();
        pz_variant_t *copy = pz_variant_dup(back);
        const long copy_mallocs = hal_malloc_calls() - before;
        EXPECT_GE(read_mallocs, copy_mallocs + 200);
        EXPECT_LE(read_mallocs, copy_mallocs + 200 + 24);
        pz_variant_unref(copy);
        pz_variant_unref(back);

        back = round_trip(r, after_ids, &read_mallocs);
        ASSERT_TRUE(pz_variant_equal(back, after_ids));
        EXPECT_EQ(distinct_keys(pz_variant_dict_find(back, "records")), 10u) << "names after the one-off names";
        pz_variant_unref(back);
    }
    pz_variant_unref(after_ids);
    pz_variant_unref(doc);
}

// Names are looked for by their length and first and last eight bytes:
// names that share those are told apart by the bytes between, every one is
// found again and comes with its own hash.
TEST_F(KeyCache, NamesThatLookAlikeAreToldApart) {
    pz::key_cache cache;
    const auto alike = [](int i) {
        char name[32];
        std::snprintf(name, sizeof name, "AAAAAAAA%05dZZZZZZZZ", i);
        return std::string(name);
    };
    std::vector<pz_string_t *> first;
    for (int i = 0; i < 100; ++i) {
        const std::string name = alike(i);
        uint32_t hash = 0;
        first.push_back(cache.key(name.data(), name.size(), &hash));
        ASSERT_NE(first.back(), nullptr);
        EXPECT_EQ(std::string(first.back()->cstr, first.back()->len), name);
        EXPECT_EQ(hash, pz_hash_bytes(name.data(), name.size()));
    }
    for (int i = 0; i < 100; ++i) {
        const std::string name = alike(i);
        uint32_t hash = 0;
        pz_string_t *again = cache.key(name.data(), name.size(), &hash);
        EXPECT_EQ(again, first[i]);
        EXPECT_EQ(hash, pz_hash_bytes(name.data(), name.size()));
        pz_string_unref(again);
    }
    // Short names, and one that is a prefix of a kept one, are names of
    // their own.
    for (const char *name : {"AAAAAAAA0", "A", "AB", "ABC", "ABCD", "ABCDEFG"}) {
        pz_string_t *key = cache.key(name, std::strlen(name), uint32_t{1});
        EXPECT_STREQ(key->cstr, name);
        pz_string_unref(key);
    }
    EXPECT_EQ(cache.size(), 106u);
    for (pz_string_t *key : first) pz_string_unref(key);
}

// Out of memory, a name is refused and nothing held leaks; a table that
// cannot grow keeps serving the names it has, and a key made then is still
// right.
TEST_F(KeyCache, OutOfMemoryRefusesTheNameOnly) {
    pz::key_cache cache;
    pz_string_t *kept = cache.key("kept", 4, pz_hash_bytes("kept", 4));
    hal_fail_nth(1, 1);
    EXPECT_EQ(cache.key("new", 3, pz_hash_bytes("new", 3)), nullptr);
    pz_string_t *again = cache.key("kept", 4, pz_hash_bytes("kept", 4));
    EXPECT_EQ(again, kept);
    hal_fail_nth(0, 0);
    pz_string_unref(again);
    // Enough names to grow past the slots inside the cache, every growth
    // failing: each name is made all the same.
    for (int i = 0; i < 40; ++i) {
        const std::string name = name_of(i);
        hal_fail_nth(2, 0);  // the name is made; the table's growth fails
        pz_string_t *key = cache.key(name.data(), name.size(), pz_hash_bytes(name.data(), name.size()));
        hal_fail_nth(0, 0);
        ASSERT_NE(key, nullptr);
        EXPECT_EQ(std::string(key->cstr, key->len), name);
        pz_string_unref(key);
    }
    pz_string_unref(kept);
}

using SharedKeys = LeakCheckedTest;

constexpr const char *kNames[] = {"identifier", "timestamp", "category", "profile_background_color"};

// `n` records with the four names, built through three ways of storing.
pz_variant_t *built(int n) {
    pz_variant_t *all = pz_variant_array_new();
    for (int i = 0; i < n; ++i) {
        pz_variant_t *record = pz_variant_dict_new();
        vdict_set_int64(record, kNames[0], i);
        vdict_set_str(record, kNames[1], "now");
        put_new(record, kNames[2], pz_variant_dict_new());
        pz_variant_t *color = pz_variant_int32_new(0xC0DEED);
        pz_variant_path_set(record, "/category/profile_background_color", color);
        pz_variant_unref(color);
        append_new(all, record);
    }
    return all;
}

TEST_F(SharedKeys, RecordsBuiltWithAKeySetShareOneStringPerName) {
    pz_variant_t *apart = built(50);
    EXPECT_EQ(distinct_keys(apart), 200u) << "without a key set every member has its own key";

    pz_keys_t *keys = pz_keys_new();
    ASSERT_NE(keys, nullptr);
    EXPECT_EQ(pz_keys_use(keys), nullptr);
    const long before = hal_malloc_calls();
    pz_variant_t *shared = built(50);
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

TEST_F(SharedKeys, SetsNestAndFreeingOneStopsItsUse) {
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
    // Freeing the set in use stops its use: later puts make their own keys.
    pz_keys_free(outer);
    pz_variant_t *e = pz_variant_dict_new();
    vdict_set_int64(e, "name", 5);
    EXPECT_NE(key_of(e), key_of(a));
    pz_keys_free(inner);
    pz_keys_free(nullptr);
    for (pz_variant_t *v : {a, b, c, e}) pz_variant_unref(v);
}

// (Short of memory a reserve leaves the container as it was: the allocation
// sweep.)
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
