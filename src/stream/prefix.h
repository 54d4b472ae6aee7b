// Private to the library: one value read from the front of a buffer, in
// either form, for the stream reader.
#ifndef PZ_STREAM_PREFIX_H
#define PZ_STREAM_PREFIX_H

#include <cstddef>

#include "pzvariant/pz_variant.h"

namespace pz::stream {

// The value at the front of the `len` bytes at `data` (MessagePack, or JSON
// with no whitespace before it), the bytes it took in `*used`. An input
// that ends inside the value is refused with PZ_READ_UNEXPECTED_END at
// offset `len`.
pz_variant_t *read_prefix(bool msgpack, const char *data, size_t len, size_t *used, pz_read_error_t *error);

}  // namespace pz::stream

#endif  // PZ_STREAM_PREFIX_H
