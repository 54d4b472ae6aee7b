// Private to the library: the release of string and byte-buffer values,
// inline so that the lifecycle reaches it without linking to their
// constructors and setters, which use the lifecycle.
#ifndef PZ_CORE_STRINGS_H
#define PZ_CORE_STRINGS_H

#include "core/record.h"

namespace pz {

// Frees the text or bytes of the string or byte buffer `v` and resets it to
// the empty null value. A text in the record's block goes with the block.
inline void release_text(pz_variant_t *v) {
    const char vt = v->vt;
    void *const held = v->ptr_val;
    reset_record(v);
    if (vt == vtype_string && v->layout == layout_text) {
        v->layout = layout_plain;
        return;
    }
    HAL_Free(held);
}

}  // namespace pz

#endif  // PZ_CORE_STRINGS_H
