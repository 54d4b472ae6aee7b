// Private to the library: a stack of trivially copyable items in one HAL
// block, grown by doubling, for the readers' work in progress.
#ifndef PZ_READ_STACK_H
#define PZ_READ_STACK_H

#include <cstddef>
#include <cstdint>

#include "base/pz_memory.h"

namespace pz {

// What is left on it when it goes is released by `drop`. It never holds
// more room than twice the items pushed, so what a read keeps here is in
// proportion to what it has read.
template <class T, void (*drop)(T &)>
class read_stack {
public:
    read_stack() = default;
    read_stack(const read_stack &) = delete;
    read_stack &operator=(const read_stack &) = delete;
    ~read_stack() {
        for (size_t i = 0; i < size_; ++i) drop(items_[i]);
        HAL_Free(items_);
    }

    size_t size() const { return size_; }
    T *from(size_t base) { return items_ + base; }
    T &top() { return items_[size_ - 1]; }
    // Forgets the items above `base`, which the caller has taken over.
    void cut(size_t base) { size_ = base; }

    // One more item on top, for the caller to fill in place (no copy of a
    // whole item through memory); null when out of memory.
    T *add() {
        if (size_ == capacity_ && !grow()) return nullptr;
        return &items_[size_++];
    }

    // False when out of memory; `item` is then dropped.
    bool push(T item) {
        if (size_ == capacity_ && !grow()) {
            drop(item);
            return false;
        }
        items_[size_++] = item;
        return true;
    }

private:
    bool grow() {
        const size_t capacity = capacity_ == 0 ? 64 : capacity_ * 2;
        if (capacity > SIZE_MAX / sizeof(T) / 2) return false;
        auto *grown = static_cast<T *>(pz_mem_move(items_, size_ * sizeof(T), capacity * sizeof(T)));
        if (grown == nullptr) return false;
        items_ = grown;
        capacity_ = capacity;
        return true;
    }

    T *items_ = nullptr;
    size_t size_ = 0;
    size_t capacity_ = 0;
};

}  // namespace pz

#endif  // PZ_READ_STACK_H
