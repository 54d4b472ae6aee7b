// References taken and dropped from several threads free a value once.
#include <thread>
#include <vector>

#include "pz_test.h"

namespace {

using RefcountThreads = LeakCheckedTest;

constexpr int kThreads = 4;

// Each thread owns one reference to each value, handed over before it
// starts; the last holder may be any thread.
TEST_F(RefcountThreads, ConcurrentReferencesFreeExactlyOnce) {
    for (int trial = 0; trial < 20; ++trial) {
        CallbackLog::reset();
        pz_variant_t *owned = pz_variant_autoptr_new(&trial, CallbackLog::dtor);
        pz_variant_t *shared = pz_variant_sharedptr_new(&trial, CallbackLog::ref, CallbackLog::unref);
        pz_variant_t *arr = pz_variant_pack("cc", "a", "b");
        append_new(arr, owned);
        append_new(arr, shared);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            pz_variant_ref(owned);
            pz_variant_ref(shared);
            threads.emplace_back([owned, shared] {
                for (int i = 0; i < 1000; ++i) {
                    for (pz_variant_t *v : {owned, shared}) pz_variant_unref(pz_variant_ref(v));
                }
                pz_variant_unref(owned);
                pz_variant_unref(shared);
            });
        }
        pz_variant_unref(arr);
        for (auto &t : threads) t.join();
        EXPECT_EQ(CallbackLog::dtor_calls, 1);
        EXPECT_EQ(CallbackLog::ref_calls, 1);
        EXPECT_EQ(CallbackLog::unref_calls, 1);
    }
}

TEST_F(RefcountThreads, CountsBalanceUnderContention) {
    pz_variant_t *v = pz_variant_str_new("shared text");
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([v] {
            for (int i = 0; i < 20000; ++i) pz_variant_ref(v);
            for (int i = 0; i < 20000; ++i) pz_variant_unref(v);
        });
    }
    for (auto &t : threads) t.join();
    EXPECT_EQ(refcount(v), 1);
    pz_variant_unref(v);
}

}  // namespace
