// The key cache: every reader makes each distinct name of a text once and
// shares it among the members that repeat it.
#include <cstdio>
#include <set>

#include "io/key_cache.h"
#include "pz_test.h"

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
        pz_variant_array_append(all, record);
        pz_variant_unref(record);
    }
    return all;
}

// The distinct key strings (by address) of the dictionaries in `v`.
void collect_keys(const pz_variant_t *v, std::set<const void *> &keys) {
    if (v == nullptr) return;
    if (v->vt == vtype_array) {
        for (uint32_t i = 0; i < pz_variant_array_size(v); ++i) collect_keys(pz_variant_array_at(v, i), keys);
    } else if (v->vt == vtype_dict) {
        uint32_t pos = 0;
        const pz_string_t *key = nullptr;
        pz_variant_t *value = nullptr;
        while (pz_variant_dict_next(v, &pos, &key, &value)) {
            keys.insert(key);
            collect_keys(value, keys);
        }
    }
}

struct reader {
    const char *name;
    // The value written in the reader's format and read back, with the
    // allocations of the read alone counted in `*mallocs`.
    pz_variant_t *(*round_trip)(pz_variant_t *v, long *mallocs);
};

pz_variant_t *through_json(pz_variant_t *v, long *mallocs) {
    char *text = pz_variant_to_json(v, 0);
    const long before = hal_malloc_calls();
    pz_variant_t *back = pz_variant_from_json(text, nullptr);
    *mallocs = hal_malloc_calls() - before;
    HAL_Free(text);
    return back;
}

pz_variant_t *through_msgpack(pz_variant_t *v, long *mallocs) {
    size_t len = 0;
    uint8_t *bytes = pz_variant_to_msgpack(v, 0, &len);
    const long before = hal_malloc_calls();
    pz_variant_t *back = pz_variant_from_msgpack(bytes, len, nullptr);
    *mallocs = hal_malloc_calls() - before;
    HAL_Free(bytes);
    return back;
}

pz_variant_t *through_dump(pz_variant_t *v, long *mallocs) {
    char *text = pz_variant_dump(v);
    const long before = hal_malloc_calls();
    pz_variant_t *back = pz_variant_from_dump(text);
    *mallocs = hal_malloc_calls() - before;
    HAL_Free(text);
    return back;
}

const reader kReaders[] = {{"json", through_json}, {"msgpack", through_msgpack}, {"dump", through_dump}};

TEST_F(KeyCache, EveryReaderMakesEachRepeatedNameOnce) {
    pz_variant_t *doc = records_of(20, 200);
    for (const reader &r : kReaders) {
        SCOPED_TRACE(r.name);
        long read_mallocs = 0;
        pz_variant_t *back = r.round_trip(doc, &read_mallocs);
        ASSERT_TRUE(pz_variant_equal(back, doc));
        std::set<const void *> keys;
        collect_keys(back, keys);
        EXPECT_EQ(keys.size(), 200u) << "4,000 members share 200 key strings";
        // A copy shares its source's keys: beside it the read makes the 200
        // names and its own working blocks (stacks, the cache's table).
        const long before = hal_malloc_calls();
        pz_variant_t *copy = pz_variant_dup(back);
        const long copy_mallocs = hal_malloc_calls() - before;
        EXPECT_GE(read_mallocs, copy_mallocs + 200);
        EXPECT_LE(read_mallocs, copy_mallocs + 200 + 24);
        pz_variant_unref(copy);
        pz_variant_unref(back);
    }
    pz_variant_unref(doc);
}

// Past its bound the cache starts over: names seen once by the thousand
// (a table keyed by id) do not stop the names that follow from being shared.
TEST_F(KeyCache, NamesAfterThousandsOfOneOffNamesAreStillShared) {
    pz_variant_t *doc = pz_variant_dict_new();
    pz_variant_t *by_id = pz_variant_dict_new();
    for (uint32_t i = 0; i < 3 * pz::key_cache::kMaxNames; ++i) vdict_set_int64(by_id, std::to_string(i).c_str(), 1);
    pz_variant_dict_put(doc, "by_id", by_id);
    pz_variant_unref(by_id);
    pz_variant_t *records = records_of(50, 10);
    pz_variant_dict_put(doc, "records", records);
    pz_variant_unref(records);
    for (const reader &r : kReaders) {
        SCOPED_TRACE(r.name);
        long mallocs = 0;
        pz_variant_t *back = r.round_trip(doc, &mallocs);
        ASSERT_TRUE(pz_variant_equal(back, doc));
        std::set<const void *> keys;
        collect_keys(pz_variant_dict_find(back, "records"), keys);
        EXPECT_EQ(keys.size(), 10u);
        pz_variant_unref(back);
    }
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

}  // namespace
