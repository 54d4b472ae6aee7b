// Moving a value's contents between records.
#include "operations/contents.h"

#include "core/container_storage.h"

using namespace pz;

bool pz::own_contents(pz_variant_t *v) {
    if (v->vt == vtype_string && v->layout == layout_text) {
        void *text = pz_mem_dup(v->str_val, size_t{v->len} + 1);
        if (text == nullptr) return false;
        v->ptr_val = text;
        v->layout = layout_plain;
    } else if (v->vt == vtype_dict && v->ptr_val != nullptr && !pz_hash_table_in_own_block(dict_of(v))) {
        // The table's header lives in `v`'s block.
        pz_hash_table_t *own = pz_hash_table_move_out(dict_of(v));
        if (own == nullptr) return false;
        pz_hash_table_free(dict_of(v));  // empty now; its header goes with the block
        v->ptr_val = own;
    } else if (pz_array_t *a = array_of(v); a != nullptr && a->borrowed) {
        pz_array_t *own = pz_array_append_vals(pz_array_new(kElementSize, a->len), a->data, a->len);
        if (own == nullptr || own->len != a->len) {
            pz_array_free(own);
            return false;
        }
        v->ptr_val = own;
    }
    return true;
}

bool pz::move_contents(pz_variant_t *to, pz_variant_t *from) {
    if (!own_contents(from)) return false;
    pz_variant_clear(to);
    to->uint64_val = from->uint64_val;
    to->vt = from->vt;
    to->len = from->len;
    reset_record(from);
    return true;
}
