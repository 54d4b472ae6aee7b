// Values shared between threads: references taken, copied and dropped so
// that any thread may be the one that frees; and one value read by several
// threads at once (also under helgrind by `make memcheck`). Threads record
// what they saw; the checks run on the main thread.
#include <array>
#include <atomic>
#include <random>
#include <thread>
#include <utility>

#include "pz_test.h"
#include "pzvariant/pz_build.h"

namespace {

constexpr int kThreads = 4;
constexpr int kObjects = 24;

// The object behind an owned or shared pointer and the callbacks it saw.
struct Slot {
    std::atomic<int> dtors{0}, refs{0}, unrefs{0};
};
void slot_dtor(void *p) { static_cast<Slot *>(p)->dtors.fetch_add(1); }
void *slot_ref(void *p) { return static_cast<Slot *>(p)->refs.fetch_add(1), p; }
void slot_unref(void *p) { static_cast<Slot *>(p)->unrefs.fetch_add(1); }

// Appended rather than "k" + ...: GCC 12 warns falsely (-Wrestrict) about
// inserting in front of a temporary string.
std::string key_of(uint32_t i) { return std::string("k").append(std::to_string(i)); }
const char *const kLists[] = {"owned", "shared", "mixed"};

// {"owned": [autoptr...], "shared": [sharedptr...], "mixed": {"k<i>": an
// owned, a shared or a string value}}.
pz_variant_t *build(std::array<Slot, kObjects> &owned, std::array<Slot, kObjects> &shared) {
    pz_variant_t *lists[] = {pz_variant_array_new(), pz_variant_array_new(), pz_variant_dict_new()};
    for (int i = 0; i < kObjects; ++i) {
        pz_variant_t *pick[] = {pz_variant_autoptr_new(&owned[i], slot_dtor),
                                pz_variant_sharedptr_new(&shared[i], slot_ref, slot_unref), pz_variant_str_new("x")};
        pz_variant_array_append(lists[0], pick[0]);
        pz_variant_array_append(lists[1], pick[1]);
        pz_variant_dict_put(lists[2], key_of(i).c_str(), pick[i % 3]);
        for (pz_variant_t *v : pick) pz_variant_unref(v);
    }
    pz_variant_t *root = pz_variant_dict_new();
    for (int i = 0; i < 3; ++i) put_new(root, kLists[i], lists[i]);
    return root;
}

// One thread's work on its own reference to `root`: elements read out,
// copied (a shared pointer's copy calls ref) or referenced again, dropped in
// random order; `root` let go at a random moment, the rest at the end.
void churn(pz_variant_t *root, unsigned seed, std::atomic<int> *shared_copies) {
    std::mt19937 rng(seed);
    const uint32_t drop_root_at = rng() % 1500;
    pz_variant_t *lists[] = {pz_variant_dict_get(root, kLists[0]), pz_variant_dict_get(root, kLists[1]),
                             pz_variant_dict_get(root, kLists[2]), root};
    std::vector<pz_variant_t *> held;
    for (uint32_t i = 0; i < 1500; ++i) {
        if (i == drop_root_at) {
            for (pz_variant_t *&v : lists) pz_variant_unref(std::exchange(v, nullptr));
        }
        const uint32_t action = rng() % 8, pick = rng() % kObjects;
        if (lists[0] != nullptr && action < 3) {
            held.push_back(action < 2 ? pz_variant_array_index(lists[action], pick)
                                      : pz_variant_dict_get(lists[2], key_of(pick).c_str()));
        } else if (!held.empty() && action < 5) {
            pz_variant_t *some = held[pick % held.size()];
            shared_copies->fetch_add(action == 3 && some->vt == vtype_sharedptr);
            held.push_back(action == 3 ? pz_variant_dup(some) : pz_variant_ref(some));
        } else if (!held.empty()) {
            const size_t at = pick % held.size();
            pz_variant_unref(held[at]);
            held[at] = held.back();
            held.pop_back();
        }
    }
    for (pz_variant_t *v : lists) pz_variant_unref(v);
    for (pz_variant_t *v : held) pz_variant_unref(v);
}

using ThreadStress = LeakCheckedTest;

TEST_F(ThreadStress, LastReleaseOnAnyThreadRunsEachCallbackOnce) {
    for (int round = 0; round < 40 && !HasFailure(); ++round) {
        std::array<Slot, kObjects> owned, shared;
        std::atomic<int> shared_copies{0};
        pz_variant_t *root = build(owned, shared);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            // Handed over before the thread starts, so that no thread reads a
            // value whose count may already have reached zero.
            pz_variant_ref(root);
            threads.emplace_back(churn, root, static_cast<unsigned>(round * kThreads + t), &shared_copies);
        }
        pz_variant_unref(root);
        for (auto &t : threads) t.join();
        int refs = 0;
        for (int i = 0; i < kObjects; ++i) {
            EXPECT_EQ(owned[i].dtors.load(), 1) << "object " << i << ", round " << round;
            EXPECT_EQ(shared[i].unrefs.load(), shared[i].refs.load()) << "object " << i << ", round " << round;
            refs += shared[i].refs;
        }
        EXPECT_EQ(refs, kObjects + shared_copies.load()) << "one ref when made and one for each copy";
    }
}

using ConcurrentReaderThreads = LeakCheckedTest;

// One reader's rounds; appends to `wrong` the name of each check that failed.
void read_shared(pz_variant_t *shared, const std::string &expected, const std::string &mine, std::string *wrong) {
    auto check = [wrong](bool ok, const char *what) {
        if (!ok && wrong->find(what) == std::string::npos) *wrong += what;
    };
    std::vector<char> buf(expected.size() + 1);
    for (int i = 0; i < 40; ++i) {
        check(dumped(shared) == expected, "dump ");
        const int32_t len = pz_variant_dump_buf(shared, buf.data(), static_cast<uint32_t>(buf.size()));
        check(len == static_cast<int32_t>(expected.size()) && expected == buf.data(), "dump_buf ");
        pz_variant_t *copy = pz_variant_dup(shared);
        check(pz_variant_equal(copy, shared), "copy ");
        // Plain getters take references on shared children; typed ones read.
        pz_variant_t *readings = pz_variant_dict_get(shared, "readings");
        pz_variant_t *inner = pz_variant_array_index(readings, 50);
        check(varray_int32(readings, 3) == 3 * 7 - 100 && vdict_float_default(inner, "gain", 0) == -2.5f &&
                  vdict_uint64_default(shared, "id", 0) == UINT64_MAX,
              "getters ");
        // This thread's own text, good or cut short, while others parse theirs.
        pz_variant_t *own = pz_variant_from_dump(mine.c_str());
        check(dumped(own) == (mine.back() == '}' ? mine : "NULL"), "own text ");
        for (pz_variant_t *v : {inner, readings, own, copy}) pz_variant_unref(v);
    }
}

TEST_F(ConcurrentReaderThreads, DumpCopyGetCompareAndParseAtOnce) {
    // A record of the kinds the dump reads back, with nested containers.
    std::string text = R"({"dict":{"name":{"string":"sensor-7"},"id":{"uint64":18446744073709551615},)"
                       R"("ratio":{"double":0.30000000000000004},"raw":{"bytes":"0001feff"},"readings":{"array":[)";
    for (int i = 0; i < 50; ++i) text.append(R"({"int32":)").append(std::to_string(i * 7 - 100)).append("},");
    text += R"({"dict":{"on":{"bool":true},"gain":{"float":-2.5}}}]}}})";
    pz_variant_t *shared = pz_variant_from_dump(text.c_str());
    ASSERT_NE(shared, nullptr);
    const std::string own[] = {R"({"array":[{"int8":-1},{"string":"a"}]})", R"({"array":[{"int8":1},)",
                               R"({"dict":{"k":{"uint64":18446744073709551615}}})", R"({"double":1e999})"};
    std::vector<std::string> wrong(std::size(own));
    std::vector<std::thread> readers;
    for (size_t t = 0; t < std::size(own); ++t) {
        readers.emplace_back(read_shared, shared, std::cref(text), std::cref(own[t]), &wrong[t]);
    }
    for (std::thread &r : readers) r.join();
    EXPECT_EQ(wrong, std::vector<std::string>(std::size(own)));
    EXPECT_EQ(refcount(shared), 1) << "every reference a reader took was dropped";
    pz_variant_unref(shared);
}

// A key set in use on one thread is not seen by another: the other thread's
// dictionaries make their own keys.
TEST_F(ThreadStress, KeySetInUseIsItsThreadsOwn) {
    pz_keys_t *keys = pz_keys_new();
    pz_keys_t *before = pz_keys_use(keys);
    const auto first_key = [](const pz_variant_t *d) {
        uint32_t pos = 0;
        const pz_string_t *key = nullptr;
        pz_variant_dict_next(d, &pos, &key, nullptr);
        return key;
    };
    pz_variant_t *here = pz_variant_dict_new(), *there = nullptr, *again = pz_variant_dict_new();
    vdict_set_int64(here, "name", 1);
    std::thread([&there] {
        there = pz_variant_dict_new();
        vdict_set_int64(there, "name", 2);
    }).join();
    vdict_set_int64(again, "name", 3);
    EXPECT_EQ(first_key(here), first_key(again));
    EXPECT_NE(first_key(there), first_key(here));
    pz_keys_use(before);
    pz_keys_free(keys);
    for (pz_variant_t *v : {here, there, again}) pz_variant_unref(v);
}

}  // namespace
