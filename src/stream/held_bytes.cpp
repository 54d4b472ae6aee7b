// The bytes a stream reader holds.
#include "stream/held_bytes.h"

#include <cstring>

#include "pzvariant/hal/pz_hal.h"

using pz::stream::held_bytes;

namespace {

// A block this large or smaller is kept however little it holds.
constexpr size_t kKept = size_t{256} << 10;

}  // namespace

held_bytes::~held_bytes() { HAL_Free(block_); }

char *held_bytes::room(size_t n) {
    if (capacity_ - end_ < n && !make_room(n)) return nullptr;
    return block_ + end_;
}

bool held_bytes::append(const void *bytes, size_t n) {
    if (n == 0) return true;
    char *to = room(n);
    if (to == nullptr) return false;
    std::memcpy(to, bytes, n);
    commit(n);
    return true;
}

// Moves what is held to the front, into a new block when it does not fit
// the old one with `n` more bytes, or when the old one has become far
// larger than needed (a large value has passed).
bool held_bytes::make_room(size_t n) {
    const size_t held = size();
    if (n > SIZE_MAX - held) return false;
    const size_t need = held + n;
    const bool shrink = capacity_ > kKept && need < capacity_ / 4;
    if (need <= capacity_ && !shrink) {
        if (held != 0) std::memmove(block_, block_ + begin_, held);
        begin_ = 0;
        end_ = held;
        return true;
    }
    // A piece as large as half the block or more sets the size: a reader
    // fed 64 KiB pieces holds 64 KiB and the unfinished value, no more.
    // Smaller pieces grow it by half, so that a value fed a byte at a time
    // is copied a bounded number of times per byte.
    size_t capacity = need;
    if (shrink) {
        capacity = need * 2 > kKept ? need * 2 : kKept;
    } else if (n < capacity_ / 2 && capacity_ + capacity_ / 2 > need) {
        capacity = capacity_ + capacity_ / 2;
    }
    // Little held: it waits in a block of its own while the old block goes
    // before the new one comes, so that the two are never held at once.
    if (held <= capacity_ / 4) move_to(held);
    return move_to(capacity);
}

// Moves the bytes held to the front of a new block of `capacity` bytes (at
// least as many); false, nothing changed, when out of memory.
bool held_bytes::move_to(size_t capacity) {
    char *block = nullptr;
    if (capacity != 0) {
        if (static_cast<size_t>(static_cast<unsigned long>(capacity)) != capacity) return false;
        block = static_cast<char *>(HAL_Malloc(static_cast<unsigned long>(capacity)));
        if (block == nullptr) return false;
        if (size() != 0) std::memcpy(block, block_ + begin_, size());
    }
    HAL_Free(block_);
    block_ = block;
    capacity_ = capacity;
    end_ -= begin_;
    begin_ = 0;
    return true;
}
