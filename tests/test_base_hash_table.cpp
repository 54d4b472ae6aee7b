// Ordered hash table, where the dictionary API cannot reach: colliding
// hashes, lookups that never allocate, holes reused and destructors that
// look back (order through erase and re-insertion is checked on
// dictionaries).
#include <algorithm>

#include "base/pz_hash_table.h"
#include "pz_test.h"

namespace {

// Integer keys and values stored as pointers; 0 is never used as a key.
void *P(intptr_t i) { return reinterpret_cast<void *>(i); }
intptr_t I(const void *p) { return reinterpret_cast<intptr_t>(p); }
bool int_equal(const void *a, const void *b) { return a == b; }
uint32_t int_hash(const void *k) { return pz_hash_bytes(&k, sizeof k); }

pz_hash_table_t *table;  // the table under test, for destructors that look
void expect_gone(void *v) {
    EXPECT_FALSE(pz_hash_table_contains(table, v)) << "an entry is gone before its destructor runs";
}

std::vector<intptr_t> keys_in_order() {
    std::vector<intptr_t> out;
    auto collect = [](void *k, void *, void *o) {
        static_cast<std::vector<intptr_t> *>(o)->push_back(I(k));
        return true;
    };
    pz_hash_table_foreach(table, collect, &out);
    return out;
}

class HashTableTest : public LeakCheckedTest {
protected:
    void SetUp() override {
        LeakCheckedTest::SetUp();
        table = pz_hash_table_new(int_equal, int_hash);
        pz_hash_table_set_dtor(table, nullptr, expect_gone);
    }
    void TearDown() override {
        pz_hash_table_free(table);
        LeakCheckedTest::TearDown();
    }
};

// Multiples of 4096 collide in the low bits of a weak hash.
TEST_F(HashTableTest, ManyCollidingEntriesAreFoundInOrderWithoutAllocating) {
    std::vector<intptr_t> expect;
    for (intptr_t i = 1; i <= 100000; ++i) {
        ASSERT_TRUE(pz_hash_table_insert(table, P(i * 4096), P(i)));
        expect.push_back(i * 4096);
    }
    const long calls = hal_malloc_calls();
    for (intptr_t i = 1; i <= 100000; ++i) ASSERT_EQ(pz_hash_table_find(table, P(i * 4096)), P(i));
    EXPECT_FALSE(pz_hash_table_contains(table, P(4095)) || pz_hash_table_remove(table, P(4095)));
    EXPECT_EQ(hal_malloc_calls(), calls);
    EXPECT_EQ(keys_in_order(), expect);
}

TEST_F(HashTableTest, ChurnReusesHoles) {
    const long base = hal_live_bytes();
    long peak_bytes = 0;
    for (intptr_t i = 1; i <= 100000; ++i) {
        pz_hash_table_insert(table, P(i), P(i));
        ASSERT_TRUE(i <= 50 || pz_hash_table_remove(table, P(i - 50)));
        peak_bytes = std::max(peak_bytes, hal_live_bytes() - base);
    }
    EXPECT_LT(peak_bytes, 16 * 1024) << "holes are not being reclaimed";
    std::vector<intptr_t> expect(50);
    for (intptr_t i = 0; i < 50; ++i) expect[i] = 100000 - 49 + i;
    EXPECT_EQ(keys_in_order(), expect);
}

// Small tables are searched by scanning their entries, larger ones through
// the index: both must find what is there, holes skipped, and nothing else.
// The walk by positions and replacing in place go by the same entries.
TEST_F(HashTableTest, LookupsAroundTheScanLimitWithHoles) {
    for (intptr_t n = 1; n <= 20; ++n) {
        SCOPED_TRACE(n);
        pz_hash_table_remove_all(table);
        for (intptr_t i = 1; i <= n; ++i) pz_hash_table_insert(table, P(i * 4096), P(i));
        for (intptr_t i = 3; i <= n; i += 3) pz_hash_table_remove(table, P(i * 4096));
        std::vector<intptr_t> walked;
        uint32_t pos = 0;
        void *key = nullptr, *value = nullptr;
        while (pz_hash_table_next(table, &pos, &key, &value, nullptr)) walked.push_back(I(key));
        EXPECT_EQ(walked, keys_in_order());
        for (intptr_t i = 1; i <= n + 1; ++i) {
            const bool live = i <= n && i % 3 != 0;
            EXPECT_EQ(pz_hash_table_find(table, P(i * 4096)), live ? P(i) : nullptr) << i;
            EXPECT_EQ(pz_hash_table_contains(table, P(i * 4096)), live) << i;
            const uint32_t hash = int_hash(P(i * 4096));
            EXPECT_EQ(pz_hash_table_replace_hashed(table, P(i * 4096), P(-i), hash), live) << i;
            EXPECT_EQ(pz_hash_table_find_hashed(table, P(i * 4096), hash), live ? P(-i) : nullptr) << i;
        }
    }
}

}  // namespace
