// MessagePack to and from files and streams, apart from the rest so that a
// port without stdio can leave this file out (and define PZ_NO_STDIO).
#include <cstdio>

#include "binary/msgpack.h"
#include "io/read_error.h"
#include "pzvariant/hal/pz_hal.h"
#include "stream/files.h"

extern "C" {

bool pz_variant_write_msgpack_stream(const pz_variant_t *v, FILE *stream, unsigned flags) {
    if (stream == nullptr) return false;
    pz::out_sink out(pz::stream::to_file, stream);
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
    pz::stream::held_bytes all;
    pz::fault why = pz::fault::none;
    if (!pz::stream::read_rest(stream, all, &why)) return pz::read_fault_binary(error, why, 0);
    return pz_variant_from_msgpack(all.data(), all.size(), error);
}

pz_variant_t *pz_variant_read_msgpack_file(const char *path, pz_read_error_t *error) {
    FILE *stream = path != nullptr ? std::fopen(path, "rb") : nullptr;
    if (stream == nullptr) return pz::read_fault_binary(error, pz::fault::cannot_open, 0);
    pz_variant_t *v = pz_variant_read_msgpack_stream(stream, error);
    std::fclose(stream);
    return v;
}

}  // extern "C"
