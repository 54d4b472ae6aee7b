// A value turned into the empty value of another kind. It may make a
// container or a larger record, so it stands with the containers.
#include "containers/arrays.h"
#include "containers/dicts.h"
#include "core/pointers.h"

using namespace pz;

extern "C" {

pz_variant_t *pz_variant_change_type(pz_variant_t *v, pz_variant_type vt) {
    if (v == nullptr) return nullptr;
    const char code = static_cast<char>(vt);
    if (v->vt == code) return v;
    pz_variant_clear(v);
    switch (vt) {
        case vtype_array:
            v->vt = code;
            v->ptr_val = pz_array_new(kElementSize, kArrayReserve);
            return v;
        case vtype_dict:
            v->vt = code;
            v->ptr_val = dict_table_new();
            return v;
        case vtype_autoptr:
        case vtype_sharedptr: {
            // A plain record has no room for the callbacks: the caller's
            // reference moves to a new, empty record of the larger layout.
            const bool owned = vt == vtype_autoptr;
            pz_variant_t *replacement =
                owned ? new_record(vtype_null, sizeof(v_autoptr_s), layout_autoptr)
                      : new_record(vtype_null, sizeof(v_sharedptr_t), layout_sharedptr);
            pz_variant_unref(v);
            return replacement;
        }
        default:
            v->vt = code;
            return v;
    }
}

}  // extern "C"
