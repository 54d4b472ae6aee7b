// Ordered hash table: ownership of keys and values on every path, insertion
// order through replace/remove/compaction, lookups that never allocate, and
// destructors that run after the table is consistent.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "pz_hash_table.h"
#include "pz_string.h"
#include "pz_test.h"

namespace {

// Integer keys and values stored as pointers; 0 is never used as a key.
void *P(intptr_t i) { return reinterpret_cast<void *>(i); }
intptr_t I(const void *p) { return reinterpret_cast<intptr_t>(p); }

bool int_equal(const void *a, const void *b) { return a == b; }
uint32_t int_hash(const void *k) { return pz_hash_bytes(&k, sizeof k); }

std::vector<intptr_t> released_keys, released_values;
void log_key(void *k) { released_keys.push_back(I(k)); }
void log_value(void *v) { released_values.push_back(I(v)); }
void unref_logged_key(void *k) {
    log_key(k);
    pz_string_unref(k);
}

std::vector<intptr_t> keys_in_order(pz_hash_table_t *t) {
    std::vector<intptr_t> out;
    pz_hash_table_foreach(
        t,
        [](void *k, void *, void *user) {
            static_cast<std::vector<intptr_t> *>(user)->push_back(I(k));
            return true;
        },
        &out);
    return out;
}

class HashTableTest : public LeakCheckedTest {
protected:
    void SetUp() override {
        LeakCheckedTest::SetUp();
        released_keys.clear();
        released_values.clear();
    }
    pz_hash_table_t *int_table() {
        pz_hash_table_t *t = pz_hash_table_new(int_equal, int_hash);
        pz_hash_table_set_dtor(t, log_key, log_value);
        return t;
    }
};

TEST_F(HashTableTest, ReplaceKeepsStoredKeyAndPlace) {
    pz_hash_table_t *t = pz_hash_table_new(pz_string_equal, pz_string_hash);
    pz_hash_table_set_dtor(t, unref_logged_key, log_value);
    pz_string_t *a = pz_string_new("a"), *b = pz_string_new("b"), *c = pz_string_new("c");
    pz_hash_table_insert(t, a, P(1));
    pz_hash_table_insert(t, b, P(2));
    pz_hash_table_insert(t, c, P(3));
    pz_string_t *b2 = pz_string_new("b");
    EXPECT_TRUE(pz_hash_table_insert(t, b2, P(20)));
    EXPECT_EQ(pz_hash_table_size(t), 3u);
    EXPECT_EQ(released_values, std::vector<intptr_t>{2});
    EXPECT_EQ(released_keys, std::vector<intptr_t>{I(b2)});
    EXPECT_EQ(keys_in_order(t), (std::vector<intptr_t>{I(a), I(b), I(c)}));
    pz_string_t probe = pz_string_borrow("b", 1);
    EXPECT_EQ(pz_hash_table_find(t, &probe), P(20));
    pz_hash_table_free(t);
}

TEST_F(HashTableTest, RemoveReleasesOnceAndKeepsOrder) {
    pz_hash_table_t *t = int_table();
    for (intptr_t i = 1; i <= 5; ++i) pz_hash_table_insert(t, P(i), P(i * 10));
    EXPECT_FALSE(pz_hash_table_remove(t, P(99)));
    EXPECT_TRUE(pz_hash_table_remove(t, P(2)));
    EXPECT_TRUE(pz_hash_table_remove(t, P(4)));
    EXPECT_FALSE(pz_hash_table_remove(t, P(2)));
    EXPECT_EQ(released_keys, (std::vector<intptr_t>{2, 4}));
    EXPECT_EQ(released_values, (std::vector<intptr_t>{20, 40}));
    pz_hash_table_insert(t, P(2), P(21));  // re-added: goes last
    EXPECT_EQ(keys_in_order(t), (std::vector<intptr_t>{1, 3, 5, 2}));
    EXPECT_EQ(pz_hash_table_find(t, P(2)), P(21));
    int visits = 0;
    pz_hash_table_foreach(
        t, [](void *, void *, void *user) { return ++*static_cast<int *>(user) < 3; }, &visits);
    EXPECT_EQ(visits, 3);

    pz_hash_table_remove_all(t);
    EXPECT_EQ(pz_hash_table_size(t), 0u);
    EXPECT_EQ(released_values.size(), 6u);
    EXPECT_EQ(pz_hash_table_find(t, P(1)), nullptr);
    pz_hash_table_insert(t, P(7), P(70));
    EXPECT_EQ(keys_in_order(t), std::vector<intptr_t>{7});
    pz_hash_table_free(t);
}

// Multiples of 4096 collide in the low bits of a weak hash. Storage comes
// with the first entry, and lookups never allocate.
TEST_F(HashTableTest, ManyEntriesAllFindableInOrderWithoutAllocating) {
    const long blocks = hal_live_blocks();
    pz_hash_table_t *t = int_table();
    EXPECT_EQ(hal_live_blocks(), blocks + 1);
    const intptr_t n = 100000;
    std::vector<intptr_t> expect;
    for (intptr_t i = 1; i <= n; ++i) {
        ASSERT_TRUE(pz_hash_table_insert(t, P(i * 4096), P(i)));
        expect.push_back(i * 4096);
    }
    const long calls = hal_malloc_calls();
    EXPECT_EQ(pz_hash_table_size(t), static_cast<unsigned>(n));
    for (intptr_t i = 1; i <= n; ++i) ASSERT_EQ(pz_hash_table_find(t, P(i * 4096)), P(i));
    EXPECT_FALSE(pz_hash_table_contains(t, P(4095)));
    EXPECT_FALSE(pz_hash_table_remove(t, P(4095)));
    EXPECT_EQ(hal_malloc_calls(), calls);
    EXPECT_EQ(keys_in_order(t), expect);
    pz_hash_table_free(t);
    EXPECT_EQ(released_keys.size(), static_cast<size_t>(n));
}

TEST_F(HashTableTest, ChurnCompactsHoles) {
    pz_hash_table_t *t = int_table();
    const intptr_t live = 50;
    const long base = hal_live_bytes();
    long peak_bytes = 0;
    for (intptr_t i = 1; i <= 100000; ++i) {
        pz_hash_table_insert(t, P(i), P(i));
        if (i > live) {
            ASSERT_TRUE(pz_hash_table_remove(t, P(i - live)));
        }
        peak_bytes = std::max(peak_bytes, hal_live_bytes() - base);
    }
    EXPECT_LT(peak_bytes, 16 * 1024) << "holes are not being reclaimed";
    std::vector<intptr_t> expect;
    for (intptr_t i = 100000 - live + 1; i <= 100000; ++i) expect.push_back(i);
    EXPECT_EQ(keys_in_order(t), expect);
    for (intptr_t k : expect) EXPECT_TRUE(pz_hash_table_contains(t, P(k)));
    EXPECT_FALSE(pz_hash_table_contains(t, P(1)));
    pz_hash_table_free(t);
}

TEST_F(HashTableTest, FailedGrowthReleasesKeyAndValue) {
    pz_hash_table_t *t = int_table();
    pz_hash_table_insert(t, P(1), P(10));
    hal_fail_nth(1, 1);
    intptr_t k = 2;
    while (pz_hash_table_insert(t, P(k), P(k * 10))) ++k;  // fills the storage
    hal_fail_nth(0, 0);
    EXPECT_EQ(released_keys, std::vector<intptr_t>{k});
    EXPECT_EQ(released_values, std::vector<intptr_t>{k * 10});
    EXPECT_EQ(pz_hash_table_size(t), static_cast<unsigned>(k - 1));
    for (intptr_t i = 1; i < k; ++i) EXPECT_EQ(pz_hash_table_find(t, P(i)), P(i * 10));
    pz_hash_table_free(t);

    // With owned string keys and values, no failure point may leak.
    const int runs = sweep_alloc_failures([] {
        pz_hash_table_t *s = pz_hash_table_new(pz_string_equal, pz_string_hash);
        if (s == nullptr) return;
        pz_hash_table_set_dtor(s, pz_string_unref, pz_string_unref);
        for (int i = 0; i < 40; ++i) {
            pz_string_t *key = pz_string_format("key%d", i % 30);
            if (key != nullptr) pz_hash_table_insert(s, key, pz_string_format("v%d", i));
        }
        pz_hash_table_free(s);
    });
    EXPECT_GT(runs, 40);
}

// A value destructor that reads and writes the table it is released from.
pz_hash_table_t *reentrant_table;
std::vector<unsigned> sizes_seen;
void reentrant_dtor(void *value) {
    sizes_seen.push_back(pz_hash_table_size(reentrant_table));
    EXPECT_FALSE(pz_hash_table_contains(reentrant_table, value));
}

// The removed entry is gone before its destructor looks.
TEST_F(HashTableTest, DestructorsRunAfterTheTableIsConsistent) {
    reentrant_table = pz_hash_table_new(int_equal, int_hash);
    sizes_seen.clear();
    pz_hash_table_set_dtor(reentrant_table, nullptr, reentrant_dtor);
    for (intptr_t i = 2; i <= 4; ++i) pz_hash_table_insert(reentrant_table, P(i), P(i));
    pz_hash_table_remove(reentrant_table, P(3));
    pz_hash_table_remove_all(reentrant_table);
    EXPECT_EQ(sizes_seen, (std::vector<unsigned>{2, 0, 0}));
    pz_hash_table_free(reentrant_table);
}

TEST_F(HashTableTest, NullTableIsHarmless) {
    EXPECT_FALSE(pz_hash_table_insert(nullptr, P(1), P(1)));
    EXPECT_EQ(pz_hash_table_find(nullptr, P(1)), nullptr);
    EXPECT_FALSE(pz_hash_table_contains(nullptr, P(1)) || pz_hash_table_remove(nullptr, P(1)));
    EXPECT_EQ(pz_hash_table_size(nullptr), 0u);
    pz_hash_table_set_dtor(nullptr, log_key, log_value);
    pz_hash_table_remove_all(nullptr);
    pz_hash_table_foreach(nullptr, [](void *, void *, void *) { return true; }, nullptr);
    pz_hash_table_free(nullptr);
}

}  // namespace
