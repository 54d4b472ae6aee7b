// pzvariant: streams of values in C++ (see pz_stream.h for the forms and
// their rules). Part of the C++ interface: include <pzvariant/pz_variant.hpp>.
//
//   for (pz::value v : pz::value_stream(stdin, PZ_STREAM_NDJSON)) { ... }
//
//   pz::stream_writer out(stdout, PZ_STREAM_NDJSON);
//   out.write(record);
#ifndef PZ_CPP_STREAM_HPP
#define PZ_CPP_STREAM_HPP

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <istream>
#include <iterator>
#include <new>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

#include "../pz_stream.h"
#include "value.hpp"

namespace pz {

/** @addtogroup pz_stream
 * @{ */

/// @cond detail
namespace detail {

// The value a stream read gave, none when it needs more bytes or ended;
// throws what a refusal reports.
inline std::optional<value> stream_result(pz_stream_status status, pz_variant_t *v, const pz_read_error_t &error) {
    if (status == PZ_STREAM_VALUE) return value::adopt(v);
    if (status != PZ_STREAM_ERROR) return std::nullopt;
    if (error.code == PZ_READ_OUT_OF_MEMORY) throw std::bad_alloc();
    throw parse_error(error);
}

}  // namespace detail
/// @endcond

/** Values read from bytes that arrive in pieces: feed() each piece as it
 * comes, then take the values it completed with next(). Owns its C reader. */
class stream_reader {
public:
    /** A reader of `format` taking values of at most `max_value` bytes (0:
     * PZ_STREAM_DEFAULT_LIMIT). Throws std::bad_alloc when out of memory. */
    explicit stream_reader(pz_stream_format format, size_t max_value = 0)
        : r_(pz_stream_reader_new(format, max_value)), ndjson_(format == PZ_STREAM_NDJSON) {
        if (r_ == nullptr) throw std::bad_alloc();
    }
    /** Takes `other`'s reader over, leaving it without one. */
    stream_reader(stream_reader &&other) noexcept
        : r_(std::exchange(other.r_, nullptr)), ndjson_(other.ndjson_), ended_(other.ended_),
          closed_(other.closed_) {}
    /** Swaps readers with `other`. */
    stream_reader &operator=(stream_reader &&other) noexcept {
        std::swap(r_, other.r_);
        std::swap(ndjson_, other.ndjson_);
        std::swap(ended_, other.ended_);
        std::swap(closed_, other.closed_);
        return *this;
    }
    stream_reader(const stream_reader &) = delete;
    stream_reader &operator=(const stream_reader &) = delete;
    /** Releases the reader and the bytes it holds. */
    ~stream_reader() { pz_stream_reader_free(r_); }

    /** Hands the reader a copy of the next `len` bytes of the stream. Throws
     * pz::error after finish() or an error that ended the stream, else
     * std::bad_alloc when they cannot be kept. */
    void feed(const void *data, size_t len) {
        if (closed_) throw error("the stream reader takes no more bytes");
        if (!pz_stream_reader_feed(r_, data, len)) throw std::bad_alloc();
    }
    /** As feed(data, len), of the bytes of `bytes`. */
    void feed(std::string_view bytes) { feed(bytes.data(), bytes.size()); }
    /** Says that no more bytes come (see pz_stream_reader_finish). */
    void finish() noexcept {
        pz_stream_reader_finish(r_);
        closed_ = true;
    }

    /** The next value, or none when the reader needs more bytes or the
     * stream has ended (ended() tells which). Throws pz::parse_error when
     * the bytes cannot be read (with the offset, line and column from the
     * start of the stream; in NDJSON the next call goes on with the next
     * line), std::bad_alloc when out of memory. */
    std::optional<value> next() {
        pz_variant_t *v = nullptr;
        pz_read_error_t error;
        const pz_stream_status status = pz_stream_reader_next(r_, &v, &error);
        ended_ = status == PZ_STREAM_END;
        // An error ends any stream but NDJSON, unless memory ran out.
        closed_ |= status == PZ_STREAM_ERROR && !ndjson_ && error.code != PZ_READ_OUT_OF_MEMORY;
        return detail::stream_result(status, v, error);
    }

    /** True once next() found the stream finished and read to its end. */
    bool ended() const noexcept { return ended_; }
    /** The C reader, borrowed. */
    pz_stream_reader_t *get() const noexcept { return r_; }

private:
    pz_stream_reader_t *r_;
    bool ndjson_;
    bool ended_ = false;
    bool closed_ = false;  // finished, or stopped at an error: feed() is refused
};

/** The values of a stream, for a range-for loop: a FILE *, a descriptor,
 * a std::istream or bytes in memory, read one value at a time.
 *
 *     for (pz::value v : pz::value_stream(std::cin, PZ_STREAM_NDJSON)) ...
 *
 * A value that cannot be read throws pz::parse_error out of the loop; in
 * NDJSON a loop started again goes on with the next line. The loop ends at
 * the end of the stream (or, on a non-blocking descriptor, when nothing
 * more has arrived). Files and std::istream are read 64 KiB at a time,
 * waiting until that much or the end arrives; a descriptor gives what has
 * arrived (pz_stream_reader_read_fd). */
class value_stream {
public:
#ifndef PZ_NO_STDIO
    /** The values of `in` from where it stands; the FILE stays open. */
    value_stream(FILE *in, pz_stream_format format, size_t max_value = 0)
        : reader_(format, max_value), file_(in) {}
#endif
    /** The values read from `in`. */
    value_stream(std::istream &in, pz_stream_format format, size_t max_value = 0)
        : reader_(format, max_value), in_(&in) {}
    /** The values of the bytes of `bytes` (copied). */
    value_stream(std::string_view bytes, pz_stream_format format, size_t max_value = 0)
        : reader_(format, max_value) {
        reader_.feed(bytes);
        reader_.finish();
    }
#ifndef PZ_NO_STDIO
    /** The values read from the descriptor `fd`, which stays open. */
    static value_stream from_fd(int fd, pz_stream_format format, size_t max_value = 0) {
        return value_stream(fd, format, max_value);
    }
#endif

    /** The end of the values. */
    struct sentinel {};

    /** Steps through the values; each is read when the iterator reaches it. */
    class iterator {
    public:
        /// @cond detail
        using iterator_category = std::input_iterator_tag;
        using value_type = value;
        using difference_type = std::ptrdiff_t;
        using pointer = const value *;
        using reference = const value &;
        /// @endcond

        /** The value read last. */
        const value &operator*() const { return *s_->current_; }
        /** Reads the next value. */
        iterator &operator++() {
            s_->advance();
            return *this;
        }
        /** Reads the next value. */
        void operator++(int) { ++*this; }
        /** True when the stream has no more values. */
        friend bool operator==(const iterator &i, sentinel) { return i.done(); }
        /** False when the stream has no more values. */
        friend bool operator!=(const iterator &i, sentinel) { return !i.done(); }

    private:
        friend class value_stream;
        explicit iterator(value_stream *s) : s_(s) {}
        bool done() const { return !s_->current_.has_value(); }
        value_stream *s_;
    };

    /** Reads the first value; after a loop, the value it stopped at (a
     * `break`), else the next one. */
    iterator begin() {
        if (!current_.has_value()) advance();
        return iterator(this);
    }
    /** The end of the values. */
    sentinel end() const noexcept { return {}; }

    /** The reader, for its state. */
    stream_reader &reader() noexcept { return reader_; }

private:
    value_stream(int fd, pz_stream_format format, size_t max_value) : reader_(format, max_value), fd_(fd) {}

    void advance() {
        current_.reset();
        pz_variant_t *v = nullptr;
        pz_read_error_t error;
        pz_stream_status status = PZ_STREAM_END;
#ifndef PZ_NO_STDIO
        if (file_ != nullptr) {
            status = pz_stream_reader_read_file(reader_.get(), file_, &v, &error);
        } else if (fd_ >= 0) {
            status = pz_stream_reader_read_fd(reader_.get(), fd_, &v, &error);
        } else
#endif
        {
            status = from_istream(&v, &error);
        }
        current_ = detail::stream_result(status, v, error);
    }

    pz_stream_status from_istream(pz_variant_t **v, pz_read_error_t *error) {
        for (;;) {
            const pz_stream_status status = pz_stream_reader_next(reader_.get(), v, error);
            if (status != PZ_STREAM_NEED_MORE || in_ == nullptr) return status;
            std::string piece(size_t{64} << 10, '\0');
            in_->read(piece.data(), static_cast<std::streamsize>(piece.size()));
            reader_.feed(piece.data(), static_cast<size_t>(in_->gcount()));
            if (!*in_) reader_.finish();
        }
    }

    stream_reader reader_;
    FILE *file_ = nullptr;
    std::istream *in_ = nullptr;
    int fd_ = -1;
    std::optional<value> current_;
};

/** Values appended one at a time to a stream: a FILE *, a descriptor, a
 * std::ostream or memory (take()). Each value is written whole or not at
 * all (see pz_stream_write). Owns its C writer. */
class stream_writer {
public:
    /** A writer into memory; take() gives what it wrote. `flags` as for
     * pz_stream_writer_new. Throws std::bad_alloc when out of memory. */
    explicit stream_writer(pz_stream_format format, unsigned flags = 0)
        : w_(pz_stream_writer_new(format, flags)) {
        check();
    }
#ifndef PZ_NO_STDIO
    /** A writer to `out` (which stays open, and is not flushed). */
    stream_writer(FILE *out, pz_stream_format format, unsigned flags = 0)
        : w_(out != nullptr ? pz_stream_writer_new_file(format, flags, out) : nullptr) {
        if (out == nullptr) throw error("no stream to write to");
        check();
    }
#endif
    /** A writer to `out`. */
    stream_writer(std::ostream &out, pz_stream_format format, unsigned flags = 0)
        : w_(pz_stream_writer_new_callback(format, flags, to_ostream, &out)) {
        check();
    }
#ifndef PZ_NO_STDIO
    /** A writer to the descriptor `fd` (which stays open). */
    static stream_writer to_fd(int fd, pz_stream_format format, unsigned flags = 0) {
        return stream_writer(pz_stream_writer_new_fd(format, flags, fd));
    }
#endif
    /** Takes `other`'s writer over, leaving it without one. */
    stream_writer(stream_writer &&other) noexcept : w_(std::exchange(other.w_, nullptr)) {}
    /** Swaps writers with `other`. */
    stream_writer &operator=(stream_writer &&other) noexcept {
        std::swap(w_, other.w_);
        return *this;
    }
    stream_writer(const stream_writer &) = delete;
    stream_writer &operator=(const stream_writer &) = delete;
    /** Releases the writer. */
    ~stream_writer() { pz_stream_writer_free(w_); }

    /** Appends `v`. Throws pz::error when it was not written: an empty
     * handle, a value the flags refuse, out of memory, or the destination
     * failed (nothing of the value was written then). */
    stream_writer &write(view v) {
        if (!pz_stream_write(w_, v.get())) throw error("the value could not be written to the stream");
        return *this;
    }

    /** What a writer into memory wrote since the last take(). */
    std::string take() {
        size_t len = 0;
        void *bytes = pz_stream_writer_take(w_, &len);
        std::string out(static_cast<const char *>(bytes != nullptr ? bytes : ""), len);
        HAL_Free(bytes);
        return out;
    }

    /** The C writer, borrowed. */
    pz_stream_writer_t *get() const noexcept { return w_; }

private:
    explicit stream_writer(pz_stream_writer_t *w) : w_(w) { check(); }
    void check() const {
        if (w_ == nullptr) throw std::bad_alloc();
    }
    static int to_ostream(const char *bytes, size_t n, void *out) {
        auto &stream = *static_cast<std::ostream *>(out);
        stream.write(bytes, static_cast<std::streamsize>(n));
        return stream ? 0 : 1;
    }

    pz_stream_writer_t *w_;
};

/** @} */

}  // namespace pz

#endif  // PZ_CPP_STREAM_HPP
