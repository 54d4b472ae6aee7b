// The writers' sink: a growing block, the caller's buffer, or chunks to a
// callback.
#include "io/sink.h"

#include "base/pz_memory.h"

using pz::out_sink;

out_sink::out_sink(char *buf, size_t capacity) : mode_(mode::buffer) {
    if (buf != nullptr && capacity > 0) {
        start_ = cursor_ = buf;
        end_ = buf + capacity;
    }
}

out_sink::out_sink(chunk_fn fn, void *user) : mode_(mode::callback), fn_(fn), user_(user) {
    start_ = cursor_ = scratch_;
    end_ = scratch_ + kChunk;
}

out_sink::~out_sink() {
    if (mode_ == mode::block && start_ != scratch_) HAL_Free(start_);
}

size_t out_sink::size() const { return done_ + static_cast<size_t>(cursor_ - start_); }

// From here on bytes are only counted: they go to the scratch buffer, over
// and over.
void out_sink::to_scratch() {
    if (mode_ == mode::block && start_ != scratch_) HAL_Free(start_);
    done_ = size();
    start_ = cursor_ = scratch_;
    end_ = scratch_ + kChunk;
}

bool out_sink::make_room(size_t n) {
    if (failed_ || overflowed_) {
        // Counting only: the scratch buffer is emptied into the count.
        done_ += static_cast<size_t>(cursor_ - start_);
        cursor_ = start_;
        return n <= kChunk;
    }
    switch (mode_) {
        case mode::block: {
            const size_t used = static_cast<size_t>(cursor_ - start_);
            const size_t have = static_cast<size_t>(end_ - start_);
            size_t want = have < 256 ? 256 : have * 2;
            if (want - used <= n) want = used + n + 1;  // +1: take()'s terminator
            if (want < used) {                          // past the largest size
                failed_ = true;
                to_scratch();
                return n <= kChunk;
            }
            auto *grown = static_cast<char *>(pz_mem_move(start_, used, want));
            if (grown == nullptr) {
                failed_ = true;
                to_scratch();
                return n <= kChunk;
            }
            start_ = grown;
            cursor_ = grown + used;
            end_ = grown + want;
            return true;
        }
        case mode::buffer:
            overflowed_ = true;
            to_scratch();
            return n <= kChunk;
        case mode::callback:
            if (!flush()) return n <= kChunk;
            return n <= kChunk;
    }
    return false;
}

// A write larger than any room the sink makes: in pieces.
void out_sink::write_slow(const char *bytes, size_t n) {
    while (n > 0) {
        size_t piece = static_cast<size_t>(end_ - cursor_);
        if (piece == 0) {
            make_room(1);
            piece = static_cast<size_t>(end_ - cursor_);
        }
        if (piece > n) piece = n;
        std::memmove(cursor_, bytes, piece);  // (bytes may be the scratch buffer)
        cursor_ += piece;
        bytes += piece;
        n -= piece;
    }
}

char *out_sink::room_slow(size_t n) {
    if (mode_ == mode::buffer && !overflowed_ && !failed_) {
        staged_ = true;
        return scratch_;
    }
    make_room(n);
    return cursor_;
}

void out_sink::commit_staged(size_t used) {
    staged_ = false;
    write_slow(scratch_, used);
}

char *out_sink::take(size_t *len) {
    if (mode_ != mode::block || failed_) return nullptr;
    if (cursor_ == end_ && !make_room(1)) return nullptr;
    if (failed_) return nullptr;
    if (start_ == nullptr) {  // nothing written yet
        if (!make_room(1) || failed_) return nullptr;
    }
    *cursor_ = '\0';
    char *text = start_;
    if (len != nullptr) *len = static_cast<size_t>(cursor_ - start_);
    start_ = cursor_ = end_ = nullptr;
    done_ = 0;
    return text;
}

bool out_sink::flush() {
    if (mode_ != mode::callback) return !failed_;
    const size_t n = static_cast<size_t>(cursor_ - start_);
    if (!failed_ && n > 0 && !fn_(start_, n, user_)) {
        failed_ = true;
    }
    done_ += n;
    cursor_ = start_;
    return !failed_;
}
