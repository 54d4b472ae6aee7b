// Private to the library: the bytes a stream reader holds, in one HAL block.
// Bytes arrive at the end and leave from the front; the front is moved
// down only when room is needed, so a value is never copied while it is
// read, and the block stays as large as the most held at once.
#ifndef PZ_HELD_BYTES_H
#define PZ_HELD_BYTES_H

#include <cstddef>

namespace pz::stream {

class held_bytes {
public:
    held_bytes() = default;
    held_bytes(const held_bytes &) = delete;
    held_bytes &operator=(const held_bytes &) = delete;
    ~held_bytes();

    const char *data() const { return block_ + begin_; }
    size_t size() const { return end_ - begin_; }

    // Room for `n` more bytes after those held, to be followed by commit()
    // of how many were put there; null when out of memory (nothing lost).
    char *room(size_t n);
    void commit(size_t n) { end_ += n; }
    // A copy of `n` bytes at the end; false when out of memory.
    bool append(const void *bytes, size_t n);

    // Lets the first `n` bytes go.
    void consume(size_t n) { begin_ += n; }

private:
    bool make_room(size_t n);
    bool move_to(size_t capacity);

    char *block_ = nullptr;
    size_t capacity_ = 0;
    size_t begin_ = 0;  // the first byte held
    size_t end_ = 0;    // past the last
};

}  // namespace pz::stream

#endif  // PZ_HELD_BYTES_H
