// Room reserved ahead in arrays and dictionaries, for code that knows how
// many elements or entries it is about to add.
#include <cstring>

#include "containers/arrays.h"
#include "containers/dicts.h"
#include "pzvariant/pz_build.h"

using namespace pz;

extern "C" {

bool pz_variant_array_reserve(pz_variant_t *va, uint32_t count) {
    if (va == nullptr || va->vt != vtype_array) return false;
    const pz_array_t *a = array_of(va);
    if (a != nullptr && a->capacity >= count) return true;
    // Exactly the room asked for: the caller knows the size, so growing by
    // doubling would only waste the rest.
    pz_array_t *room = pz_array_new(kElementSize, count);
    if (room == nullptr) return false;
    if (a != nullptr && a->len != 0) std::memcpy(room->data, a->data, a->len * kElementSize);
    room->len = a != nullptr ? a->len : 0;
    pz_array_free(array_of(va));
    va->ptr_val = room;
    return true;
}

bool pz_variant_dict_reserve(pz_variant_t *dict, uint32_t count) {
    pz_hash_table_t *table = dict_of(dict);
    if (table == nullptr) return false;
    const uint32_t size = pz_hash_table_size(table);
    return count <= size || pz_hash_table_reserve(table, count - size);
}

}  // extern "C"
