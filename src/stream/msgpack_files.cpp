// MessagePack to and from files and streams, apart from the rest so that a
// port without stdio can leave this file out (and define PZ_NO_STDIO).
#include <cerrno>
#include <cstdio>

#include "binary/msgpack.h"
#include "io/file_io.h"
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
    return pz_variant_write_msgpack_file_ex(v, path, flags, nullptr) == PZ_STATUS_OK;
}

pz_status pz_variant_write_msgpack_file_ex(const pz_variant_t *v, const char *path, unsigned flags,
                                           int *sys_errno) {
    if (sys_errno != nullptr) *sys_errno = 0;
    if (v == nullptr) return PZ_STATUS_NO_VALUE;
    if (path == nullptr) return PZ_STATUS_INVALID_ARGUMENT;
    // The bytes first, so that a value that cannot be written leaves the
    // file as it was.
    pz::out_sink out;
    pz_status why = PZ_STATUS_OK;
    if (!pz::msgpack::write(v, flags, out, &why)) return why;
    size_t len = 0;
    char *bytes = out.take(&len);
    if (bytes == nullptr) return PZ_STATUS_OUT_OF_MEMORY;
    const pz_status status = pz::write_whole_file(path, bytes, len, false, sys_errno);
    HAL_Free(bytes);
    return status;
}

pz_variant_t *pz_variant_read_msgpack_stream(FILE *stream, pz_read_error_t *error) {
    if (stream == nullptr) return pz::read_fault_system(error, pz::fault::cannot_read, EINVAL);
    pz::stream::held_bytes all;
    pz::fault why = pz::fault::none;
    int sys_errno = 0;
    if (!pz::stream::read_rest(stream, all, &why, &sys_errno)) return pz::read_fault_system(error, why, sys_errno);
    return pz_variant_from_msgpack(all.data(), all.size(), error);
}

pz_variant_t *pz_variant_read_msgpack_file(const char *path, pz_read_error_t *error) {
    FILE *stream = pz::open_file(path, "rb");
    if (stream == nullptr) return pz::read_fault_system(error, pz::fault::cannot_open, errno);
    pz_variant_t *v = pz_variant_read_msgpack_stream(stream, error);
    std::fclose(stream);
    return v;
}

}  // extern "C"
