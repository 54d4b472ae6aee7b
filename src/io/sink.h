// Private to the library: where a writer's bytes go, shared by the writers
// of every form (JSON text, binary). A writer puts bytes; the sink gathers
// them into a growing HAL block, into the caller's buffer (counting what
// does not fit, so that the caller learns the size it needs), or hands them
// in chunks to a callback (a FILE *, a socket, the user's own).
#ifndef PZ_SINK_H
#define PZ_SINK_H

#include <cstddef>
#include <cstring>

#include "pzvariant/pz_variant.h"

namespace pz {

class out_sink {
public:
    // Takes `n` bytes at `bytes` (never 0 bytes); false to stop the writer.
    using chunk_fn = bool (*)(const char *bytes, size_t n, void *user);

    // A growing HAL block; take() hands it over.
    out_sink() = default;
    // The caller's buffer of `capacity` bytes (`buf` may be null when
    // `capacity` is 0): bytes past it are counted, not kept.
    out_sink(char *buf, size_t capacity);
    // Chunks to `fn`, gathered in the sink's own small buffer.
    out_sink(chunk_fn fn, void *user);
    ~out_sink();
    out_sink(const out_sink &) = delete;
    out_sink &operator=(const out_sink &) = delete;

    void put(char c) {
        if (cursor_ == end_ && !make_room(1)) return;
        *cursor_++ = c;
    }
    void write(const void *bytes, size_t n) {
        if (n == 0) return;  // (nothing may be allocated yet to copy into)
        if (static_cast<size_t>(end_ - cursor_) < n) {
            // In pieces, so that the caller's buffer is filled to its end.
            write_slow(static_cast<const char *>(bytes), n);
            return;
        }
        std::memcpy(cursor_, bytes, n);
        cursor_ += n;
    }
    void write(const char *text) { write(text, std::strlen(text)); }

    // Room for `n` bytes written in place (n at most kChunk), to be followed
    // by commit() of how many were used. Never null: after a failure, or
    // past the caller's buffer, the room is scratch that is only counted.
    // Near the end of the caller's buffer the room is scratch whose bytes
    // commit() moves into the buffer as far as they fit.
    char *room(size_t n) {
        if (static_cast<size_t>(end_ - cursor_) < n) return room_slow(n);
        return cursor_;
    }
    void commit(size_t used) {
        if (staged_) {
            commit_staged(used);
            return;
        }
        cursor_ += used;
    }

    // Every byte written so far, kept or not.
    size_t size() const;
    // True once a byte could not be kept for want of memory, or the callback
    // said stop. Bytes past the caller's buffer are not a failure.
    bool failed() const { return failed_; }
    // Why the sink failed: a callback's stop (a callback sink allocates
    // nothing), or memory.
    pz_status failure() const { return mode_ == mode::callback ? PZ_STATUS_STOPPED : PZ_STATUS_OUT_OF_MEMORY; }
    // True when everything written was kept (the caller's buffer was large
    // enough, no failure).
    bool whole() const { return !failed_ && !overflowed_; }

    // Growing block only: the bytes written, NUL-terminated, in a HAL block
    // the caller frees with HAL_Free; its length in `*len` when not null.
    // Null when the sink failed. The sink is empty afterwards.
    char *take(size_t *len = nullptr);
    // Callback only: hands on what is gathered; false when the sink failed.
    bool flush();

    // The most that room() gives, and the callback's chunk size.
    static constexpr size_t kChunk = 4096;

private:
    enum class mode { block, buffer, callback };

    bool make_room(size_t n);
    void write_slow(const char *bytes, size_t n);
    char *room_slow(size_t n);
    void commit_staged(size_t used);
    void to_scratch();

    mode mode_ = mode::block;
    char *start_ = nullptr;   // of what is being filled
    char *cursor_ = nullptr;
    char *end_ = nullptr;
    size_t done_ = 0;         // bytes written before `start_`
    bool failed_ = false;
    bool overflowed_ = false;
    bool staged_ = false;     // the room given is scratch, not the buffer
    chunk_fn fn_ = nullptr;
    void *user_ = nullptr;
    char scratch_[kChunk];    // the callback's chunk, or what is only counted
};

}  // namespace pz

#endif  // PZ_SINK_H
