// Threads take and drop references to shared containers and to the owned
// and shared pointers held inside them, and release their last references
// at random moments, so that any thread may be the one that frees. Every
// destructor and every unref must run exactly once.
#include <array>
#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "pz_test.h"

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 40;
constexpr int kIterations = 1500;
constexpr int kObjects = 24;

// The object behind one owned or shared pointer and what was done to it.
struct Slot {
    std::atomic<int> dtors{0};
    std::atomic<int> refs{0};
    std::atomic<int> unrefs{0};
};

void slot_dtor(void *p) { static_cast<Slot *>(p)->dtors.fetch_add(1); }
void *slot_ref(void *p) {
    static_cast<Slot *>(p)->refs.fetch_add(1);
    return p;
}
void slot_unref(void *p) { static_cast<Slot *>(p)->unrefs.fetch_add(1); }

std::string key_of(int i) { return "k" + std::to_string(i); }

// {"owned": [autoptr...], "shared": [sharedptr...], "mixed": {"k<i>": an
// owned, a shared or a string value}}; the owned and shared values are each
// held by both an array and the dictionary.
pz_variant_t *build(std::array<Slot, kObjects> &owned, std::array<Slot, kObjects> &shared) {
    pz_variant_t *root = pz_variant_dict_new();
    pz_variant_t *owned_list = pz_variant_array_new();
    pz_variant_t *shared_list = pz_variant_array_new();
    pz_variant_t *mixed = pz_variant_dict_new();
    for (int i = 0; i < kObjects; ++i) {
        pz_variant_t *o = pz_variant_autoptr_new(&owned[i], slot_dtor);
        pz_variant_t *s = pz_variant_sharedptr_new(&shared[i], slot_ref, slot_unref);
        pz_variant_t *text = pz_variant_str_new("text");
        pz_variant_array_append(owned_list, o);
        pz_variant_array_append(shared_list, s);
        pz_variant_t *pick[] = {o, s, text};
        pz_variant_dict_put(mixed, key_of(i).c_str(), pick[i % 3]);
        for (pz_variant_t *v : pick) pz_variant_unref(v);
    }
    pz_variant_dict_put(root, "owned", owned_list);
    pz_variant_dict_put(root, "shared", shared_list);
    pz_variant_dict_put(root, "mixed", mixed);
    for (pz_variant_t *v : {owned_list, shared_list, mixed}) pz_variant_unref(v);
    return root;
}

// One thread's work: reads through `root` (its own reference) take element
// references, which it drops in random order; it lets go of `root` at a
// random iteration and of its last elements at the end.
void churn(pz_variant_t *root, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> pick(0, kObjects - 1);
    const int drop_root_at = std::uniform_int_distribution<int>(0, kIterations)(rng);
    pz_variant_t *owned_list = pz_variant_dict_get(root, "owned");
    pz_variant_t *shared_list = pz_variant_dict_get(root, "shared");
    pz_variant_t *mixed = pz_variant_dict_get(root, "mixed");
    std::vector<pz_variant_t *> held;
    for (int i = 0; i < kIterations; ++i) {
        if (i == drop_root_at) {
            for (pz_variant_t *v : {root, owned_list, shared_list, mixed}) pz_variant_unref(v);
            root = owned_list = shared_list = mixed = nullptr;
        }
        const int action = static_cast<int>(rng() % 4);
        if (root != nullptr && action < 3) {
            const uint32_t index = static_cast<uint32_t>(pick(rng));
            pz_variant_t *got = action == 0   ? pz_variant_array_index(owned_list, index)
                                : action == 1 ? pz_variant_array_index(shared_list, index)
                                              : pz_variant_dict_get(mixed, key_of(pick(rng)).c_str());
            ASSERT_NE(got, nullptr);
            held.push_back(got);
        } else if (!held.empty()) {
            const size_t at = rng() % held.size();
            pz_variant_unref(held[at]);
            held[at] = held.back();
            held.pop_back();
        }
    }
    for (pz_variant_t *v : {root, owned_list, shared_list, mixed}) pz_variant_unref(v);
    for (pz_variant_t *v : held) pz_variant_unref(v);
}

using ThreadStress = LeakCheckedTest;

TEST_F(ThreadStress, LastReleaseOnAnyThreadRunsEachCallbackOnce) {
    for (int round = 0; round < kRounds; ++round) {
        std::array<Slot, kObjects> owned;
        std::array<Slot, kObjects> shared;
        pz_variant_t *root = build(owned, shared);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            // Handed over before the thread starts, so it never reads a
            // value whose count may already have reached zero.
            pz_variant_ref(root);
            threads.emplace_back(churn, root, static_cast<unsigned>(round * kThreads + t));
        }
        pz_variant_unref(root);
        for (auto &t : threads) t.join();
        for (int i = 0; i < kObjects; ++i) {
            EXPECT_EQ(owned[i].dtors.load(), 1) << "owned object " << i << ", round " << round;
            EXPECT_EQ(shared[i].refs.load(), 1) << "shared object " << i << ", round " << round;
            EXPECT_EQ(shared[i].unrefs.load(), 1) << "shared object " << i << ", round " << round;
        }
        if (HasFailure()) break;
    }
}

// Duplicates made on many threads from one shared-pointer value each take
// their own reference through `ref`, and each gives it back once.
TEST_F(ThreadStress, DuplicatesOfSharedPointersBalanceAcrossThreads) {
    Slot slot;
    pz_variant_t *source = pz_variant_sharedptr_new(&slot, slot_ref, slot_unref);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([source] {
            for (int i = 0; i < kIterations; ++i) pz_variant_unref(pz_variant_dup(source));
        });
    }
    for (auto &t : threads) t.join();
    pz_variant_unref(source);
    EXPECT_EQ(slot.refs.load(), 1 + kThreads * kIterations);
    EXPECT_EQ(slot.unrefs.load(), slot.refs.load());
}

}  // namespace
