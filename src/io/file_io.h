// Private to the library: opening and writing whole files, shared by the
// file functions of the text and binary forms (and left out with them by a
// port without stdio). Failures keep the system's errno for the caller.
#ifndef PZ_FILE_IO_H
#define PZ_FILE_IO_H

#include <cerrno>
#include <cstdio>

#include "pzvariant/pz_variant.h"

namespace pz {

// `path` opened with `mode`; null, with errno saying why, when it cannot be
// (EINVAL for a null path).
inline FILE *open_file(const char *path, const char *mode) {
    if (path == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    return std::fopen(path, mode);
}

// Writes the `len` bytes at `bytes`, and a newline after them when
// `newline`, to the file at `path`, replacing it. The system's errno of a
// failure goes to `*sys_errno` when that is not null.
inline pz_status write_whole_file(const char *path, const void *bytes, size_t len, bool newline, int *sys_errno) {
    FILE *stream = open_file(path, "wb");
    if (stream == nullptr) {
        if (sys_errno != nullptr) *sys_errno = errno;
        return PZ_STATUS_CANNOT_OPEN;
    }
    bool written = std::fwrite(bytes, 1, len, stream) == len && (!newline || std::fputc('\n', stream) != EOF);
    int error = written ? 0 : errno;
    if (std::fclose(stream) != 0 && written) {
        written = false;
        error = errno;
    }
    if (!written && sys_errno != nullptr) *sys_errno = error;
    return written ? PZ_STATUS_OK : PZ_STATUS_CANNOT_WRITE;
}

}  // namespace pz

#endif  // PZ_FILE_IO_H
