// Private to the library: the plain JSON writer, for the entry points that
// hand its text somewhere other than a new block (a stream).
#ifndef PZ_JSON_WRITER_H
#define PZ_JSON_WRITER_H

#include "io/sink.h"
#include "pzvariant/pz_variant.h"

namespace pz {

// Writes the plain JSON of `v` (not null) to `out` with the flags of
// pz_variant_to_json, in one walk. False when the value is refused (nested
// too deep, containing itself, a refused pointer, a string that is not
// UTF-8) or the sink failed, with the reason in `*why` when that is not
// null; what was written up to then stays in `out`.
bool write_json(const pz_variant_t *v, out_sink &out, unsigned flags, pz_status *why = nullptr);

}  // namespace pz

#endif  // PZ_JSON_WRITER_H
