// Streams of values to and from a FILE * or a descriptor, apart from the
// rest so that a port without stdio can leave this file out (and define
// PZ_NO_STDIO).
#include <cerrno>
#include <cstdint>
#include <cstdio>

#include <poll.h>
#include <unistd.h>

#include "io/read_error.h"
#include "stream/files.h"
#include "stream/stream_reader.h"
#include "stream/stream_writer.h"

namespace {

// What a file reader asks for at a time.
constexpr size_t kPiece = size_t{64} << 10;

// Reads what `fd` has into `buf`, as read(2); -2 when a non-blocking
// descriptor has nothing yet.
long read_fd(void *source, char *buf, size_t n) {
    const int fd = static_cast<int>(reinterpret_cast<intptr_t>(source));
    for (;;) {
        const ssize_t got = ::read(fd, buf, n);
        if (got >= 0) return static_cast<long>(got);
        if (errno == EAGAIN || errno == EWOULDBLOCK) return -2;
        if (errno != EINTR) return -1;
    }
}

long read_file(void *source, char *buf, size_t n) {
    auto *stream = static_cast<FILE *>(source);
    const size_t got = std::fread(buf, 1, n, stream);
    return got == 0 && std::ferror(stream) ? -1 : static_cast<long>(got);
}

// The next value of the stream through `reader`, reading from `source`
// with `read` whenever the reader needs more.
pz_stream_status read_through(pz_stream_reader_t *reader, long (*read)(void *, char *, size_t), void *source,
                              pz_variant_t **value, pz_read_error_t *error) {
    for (;;) {
        const pz_stream_status status = pz_stream_reader_next(reader, value, error);
        if (status != PZ_STREAM_NEED_MORE || reader == nullptr) return status;
        char *room = reader->room(kPiece);
        if (room == nullptr) return reader->source_fault(pz::fault::out_of_memory, error);
        const long got = read(source, room, kPiece);
        if (got == -2) return PZ_STREAM_NEED_MORE;
        if (got < 0) return reader->source_fault(pz::fault::cannot_read, error);
        reader->commit(static_cast<size_t>(got));
        if (got == 0) reader->finish();
    }
}

int write_file(const char *bytes, size_t n, void *stream) {
    return std::fwrite(bytes, 1, n, static_cast<FILE *>(stream)) == n ? 0 : 1;
}

// Every byte to the descriptor, waiting for it to take them.
int write_fd(const char *bytes, size_t n, void *target) {
    const int fd = static_cast<int>(reinterpret_cast<intptr_t>(target));
    while (n > 0) {
        const ssize_t put = ::write(fd, bytes, n);
        if (put > 0) {
            bytes += put;
            n -= static_cast<size_t>(put);
            continue;
        }
        if (put < 0 && errno == EINTR) continue;
        if (put < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            pollfd ready = {fd, POLLOUT, 0};
            if (::poll(&ready, 1, -1) >= 0 || errno == EINTR) continue;
        }
        return 1;
    }
    return 0;
}

}  // namespace

bool pz::stream::read_rest(FILE *stream, held_bytes &into, pz::fault *why, int *sys_errno) {
    for (;;) {
        char *room = into.room(kPiece + 1);  // (+1: the NUL after the last piece)
        if (room == nullptr) {
            *why = pz::fault::out_of_memory;
            return false;
        }
        const size_t got = std::fread(room, 1, kPiece, stream);
        into.commit(got);
        if (got < kPiece) {
            room[got] = '\0';
            break;
        }
    }
    *why = pz::fault::cannot_read;
    *sys_errno = errno;
    return std::ferror(stream) == 0;
}

bool pz::stream::to_file(const char *bytes, size_t n, void *stream) {
    return std::fwrite(bytes, 1, n, static_cast<FILE *>(stream)) == n;
}

extern "C" {

pz_stream_status pz_stream_reader_read_file(pz_stream_reader_t *reader, FILE *stream, pz_variant_t **value,
                                            pz_read_error_t *error) {
    if (stream == nullptr) {
        if (value != nullptr) *value = nullptr;
        pz::read_fault_binary(error, pz::fault::cannot_read, 0);
        return PZ_STREAM_ERROR;
    }
    return read_through(reader, read_file, stream, value, error);
}

pz_stream_status pz_stream_reader_read_fd(pz_stream_reader_t *reader, int fd, pz_variant_t **value,
                                          pz_read_error_t *error) {
    return read_through(reader, read_fd, reinterpret_cast<void *>(static_cast<intptr_t>(fd)), value, error);
}

pz_stream_writer_t *pz_stream_writer_new_file(pz_stream_format format, unsigned flags, FILE *stream) {
    return stream != nullptr ? pz::stream::new_writer(format, flags, write_file, stream) : nullptr;
}

pz_stream_writer_t *pz_stream_writer_new_fd(pz_stream_format format, unsigned flags, int fd) {
    return fd >= 0 ? pz::stream::new_writer(format, flags, write_fd, reinterpret_cast<void *>(static_cast<intptr_t>(fd)))
                   : nullptr;
}

}  // extern "C"
