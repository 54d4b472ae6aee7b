// Private to the library: how every reader fills a pz_read_error_t, so that
// the code, the reason, the offset and the line and column always agree.
#ifndef PZ_READ_ERROR_H
#define PZ_READ_ERROR_H

#include <cstddef>

#include "pzvariant/pz_variant.h"

namespace pz {

// Fills `error` (when not null) for a refusal of kind `code` with the short
// `reason`, at byte `offset` of the text `text` of `len` bytes, whose line
// and column are counted up to there (an offset past `len` is taken as
// `len`). A null `text` gives line and column 0, as does read_fault_binary.
// Returns null, for a reader to return.
pz_variant_t *read_fault(pz_read_error_t *error, pz_read_code code, const char *reason,
                         const char *text, size_t len, size_t offset);

// As read_fault, for input that is not text (line and column are 0).
pz_variant_t *read_fault_binary(pz_read_error_t *error, pz_read_code code, const char *reason,
                                size_t offset);

// As read_fault_binary at offset 0, for a file that could not be opened or
// read: `sys_errno` is the system's reason.
pz_variant_t *read_fault_system(pz_read_error_t *error, pz_read_code code, const char *reason, int sys_errno);

// Marks `error` (when not null) as read: PZ_READ_OK, reason "", offset,
// line and column 0.
void read_ok(pz_read_error_t *error);

// The code of a reason the readers give, for the places that know only the
// reason; PZ_READ_INVALID_SYNTAX for a reason not listed.
pz_read_code read_code_of(const char *reason);

}  // namespace pz

#endif  // PZ_READ_ERROR_H
