// Counting platform layer for the tests (see counting_hal.h).
#include "counting_hal.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "pzvariant/hal/pz_hal.h"

namespace {

std::atomic<long> live_blocks{0}, live_bytes{0}, peak_bytes{0}, malloc_calls{0}, failed_mallocs{0}, atomic_incs{0};
std::atomic<unsigned long> last_size{0};

// Allocations left before the failing one (0: no failure planned).
std::atomic<long> fail_countdown{0};
std::atomic<bool> fail_persist{false}, failing{false};

// Each block carries its size in a 16-byte prefix, which keeps the caller's
// block aligned for a long followed by a double.
constexpr std::size_t kPrefix = 16;

bool should_fail() {
    if (failing) return true;
    long left = fail_countdown;
    while (left > 0) {
        if (fail_countdown.compare_exchange_weak(left, left - 1)) {
            if (left != 1) return false;
            if (fail_persist) failing = true;
            return true;
        }
    }
    return false;
}

}  // namespace

extern "C" {

long hal_live_blocks(void) { return live_blocks; }
long hal_live_bytes(void) { return live_bytes; }
long hal_peak_bytes(void) { return peak_bytes; }
void hal_reset_peak(void) { peak_bytes = live_bytes.load(); }
long hal_malloc_calls(void) { return malloc_calls; }
long hal_failed_mallocs(void) { return failed_mallocs; }
unsigned long hal_last_size(void) { return last_size; }
long hal_atomic_incs(void) { return atomic_incs; }

void hal_fail_nth(long n, int persist) {
    failing = false;
    fail_persist = persist != 0;
    fail_countdown = n > 0 ? n : 0;
}

void *HAL_Malloc(unsigned long size) {
    ++malloc_calls;
    last_size = size;
    if (should_fail()) return ++failed_mallocs, nullptr;
    auto *block = static_cast<unsigned char *>(std::malloc(kPrefix + size));
    if (block == nullptr) return nullptr;
    std::memcpy(block, &size, sizeof size);
    ++live_blocks;
    const long live = live_bytes += static_cast<long>(size);
    for (long peak = peak_bytes; live > peak && !peak_bytes.compare_exchange_weak(peak, live);) {
    }
    return block + kPrefix;
}

void HAL_Free(void *ptr) {
    if (ptr == nullptr) return;
    auto *block = static_cast<unsigned char *>(ptr) - kPrefix;
    unsigned long size;
    std::memcpy(&size, block, sizeof size);
    --live_blocks;
    live_bytes -= static_cast<long>(size);
    std::free(block);
}

long HAL_AtomicIncLong(volatile long *val) {
    ++atomic_incs;
    return __atomic_add_fetch(val, 1, __ATOMIC_RELAXED);
}

long HAL_AtomicDecLong(volatile long *val) {
    return __atomic_sub_fetch(val, 1, __ATOMIC_ACQ_REL);
}

}  // extern "C"
