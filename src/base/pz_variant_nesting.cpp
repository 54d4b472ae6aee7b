// The nesting check behind the operations that walk a value recursively
// (copy, merge, dump): it bounds their depth and finds values that contain
// themselves, without writing to the value, so that several threads may
// check one value at once.
#include "pz_variant_internal.h"

using namespace pz;

namespace {

// The containers on the way from the top to the one being checked.
struct path {
    const pz_variant_t *container;
    const path *up;
};

bool within(const pz_variant_t *v, int levels_left, const path *up);

struct dict_walk {
    int levels_left;
    const path *here;
    bool ok;
};

bool check_entry(void *, void *value, void *user) {
    auto *walk = static_cast<dict_walk *>(user);
    walk->ok = within(static_cast<const pz_variant_t *>(value), walk->levels_left, walk->here);
    return walk->ok;
}

bool within(const pz_variant_t *v, int levels_left, const path *up) {
    if (levels_left < 1) return false;
    if (v == nullptr || (v->vt != vtype_array && v->vt != vtype_dict)) return true;
    for (const path *p = up; p != nullptr; p = p->up) {
        if (p->container == v) return false;  // contains itself
    }
    const path here{v, up};
    if (const pz_array_t *a = array_of(v)) {
        for (size_t i = 0; i < a->len; ++i) {
            if (!within(array_slots(a)[i], levels_left - 1, &here)) return false;
        }
        return true;
    }
    dict_walk walk{levels_left - 1, &here, true};
    if (pz_hash_table_t *table = dict_of(v)) pz_hash_table_foreach(table, check_entry, &walk);
    return walk.ok;
}

}  // namespace

bool pz::nesting_within(const pz_variant_t *v, int max_levels) {
    return within(v, max_levels, nullptr);
}
