// The nesting check behind the operations that must know before they start
// whether a value can be walked whole (concat, merge): the walk's own guard,
// run over the value without doing anything else.
#include "core/container_storage.h"
#include "operations/nesting.h"
#include "operations/walk.h"

using namespace pz;

namespace {

bool visit(const pz_variant_t *v, walk_path &path);

bool visit_entry(void *, void *value, void *user) {
    return visit(static_cast<const pz_variant_t *>(value), *static_cast<walk_path *>(user));
}

bool visit(const pz_variant_t *v, walk_path &path) {
    if (v == nullptr || (v->vt != vtype_array && v->vt != vtype_dict)) return path.fits(v);
    if (!path.enter(v)) return false;
    if (const pz_array_t *a = array_of(v)) {
        for (size_t i = 0; i < a->len && visit(array_slots(a)[i], path); ++i) {
        }
    } else if (pz_hash_table_t *table = dict_of(v)) {
        pz_hash_table_foreach(table, visit_entry, &path);
    }
    path.leave();
    return !path.refused();
}

}  // namespace

bool pz::nesting_within(const pz_variant_t *v) {
    walk_path path;
    return visit(v, path);
}
