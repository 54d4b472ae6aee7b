// Private to the library: what the file functions of every form share, apart
// from the rest so that a port without stdio can leave them out.
#ifndef PZ_STREAM_FILES_H
#define PZ_STREAM_FILES_H

#include <cstdio>

#include "io/read_error.h"
#include "stream/held_bytes.h"

namespace pz::stream {

// Gathers the rest of `stream` in `into`, a NUL after it (not counted);
// false with `*why` when it cannot be read (the system's errno in
// `*sys_errno`) or memory runs out.
bool read_rest(FILE *stream, held_bytes &into, pz::fault *why, int *sys_errno);

// A writer's sink chunks to `stream` (a FILE *).
bool to_file(const char *bytes, size_t n, void *stream);

}  // namespace pz::stream

#endif  // PZ_STREAM_FILES_H
