// MessagePack to and from files and streams, apart from the rest so that a
// port without stdio can leave this file out (and define PZ_NO_STDIO).
#include <cstdio>

#include "binary/msgpack.h"
#include "io/read_error.h"
#include "pzvariant/hal/pz_hal.h"

namespace {

bool to_stream(const char *bytes, size_t n, void *stream) {
    return std::fwrite(bytes, 1, n, static_cast<FILE *>(stream)) == n;
}

}  // namespace

extern "C" {

bool pz_variant_write_msgpack_stream(const pz_variant_t *v, FILE *stream, unsigned flags) {
    if (stream == nullptr) return false;
    pz::out_sink out(to_stream, stream);
    const bool written = pz::msgpack::write(v, flags, out);
    return out.flush() && written;
}

bool pz_variant_write_msgpack_file(const pz_variant_t *v, const char *path, unsigned flags) {
    if (path == nullptr) return false;
    // The bytes first, so that a value that cannot be written leaves the
    // file as it was.
    size_t len = 0;
    uint8_t *bytes = pz_variant_to_msgpack(v, flags, &len);
    if (bytes == nullptr) return false;
    FILE *stream = std::fopen(path, "wb");
    const bool written = stream != nullptr && std::fwrite(bytes, 1, len, stream) == len;
    HAL_Free(bytes);
    return stream != nullptr && std::fclose(stream) == 0 && written;
}

pz_variant_t *pz_variant_read_msgpack_stream(FILE *stream, pz_read_error_t *error) {
    if (stream == nullptr) return pz::read_fault_binary(error, pz::fault::cannot_read, 0);
    // The whole rest of the stream, gathered in the sink's growing block.
    pz::out_sink all;
    size_t got = 0;
    do {
        got = std::fread(all.room(pz::out_sink::kChunk), 1, pz::out_sink::kChunk, stream);
        all.commit(got);
    } while (got == pz::out_sink::kChunk);
    if (std::ferror(stream)) return pz::read_fault_binary(error, pz::fault::cannot_read, 0);
    size_t len = 0;
    char *bytes = all.take(&len);
    if (bytes == nullptr) return pz::read_fault_binary(error, pz::fault::out_of_memory, 0);
    pz_variant_t *v = pz_variant_from_msgpack(bytes, len, error);
    HAL_Free(bytes);
    return v;
}

pz_variant_t *pz_variant_read_msgpack_file(const char *path, pz_read_error_t *error) {
    FILE *stream = path != nullptr ? std::fopen(path, "rb") : nullptr;
    if (stream == nullptr) return pz::read_fault_binary(error, pz::fault::cannot_open, 0);
    pz_variant_t *v = pz_variant_read_msgpack_stream(stream, error);
    std::fclose(stream);
    return v;
}

}  // extern "C"
