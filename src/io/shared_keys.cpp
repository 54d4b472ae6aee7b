// Key sets: the key cache of the readers, lent to the code of a thread that
// builds records, so that its dictionaries share one string per name.
#include <new>

#include "containers/key_source.h"
#include "io/key_cache.h"
#include "pzvariant/pz_build.h"

struct pz_keys_s : pz::key_source {
    pz::key_cache cache;
};

namespace {

pz_string_t *cached_key(pz::key_source *self, const char *name, size_t len, uint32_t hash) {
    return static_cast<pz_keys_t *>(self)->cache.key(name, len, hash);
}

}  // namespace

extern "C" {

pz_keys_t *pz_keys_new(void) {
    void *block = HAL_Malloc(sizeof(pz_keys_t));
    if (block == nullptr) return nullptr;
    auto *keys = new (block) pz_keys_t();
    keys->key = cached_key;
    return keys;
}

pz_keys_t *pz_keys_use(pz_keys_t *keys) {
    // Only key sets are ever made the thread's source.
    return static_cast<pz_keys_t *>(pz::use_key_source(keys));
}

void pz_keys_free(pz_keys_t *keys) {
    if (keys == nullptr) return;
    pz::key_source *before = pz::use_key_source(nullptr);
    if (before != keys) pz::use_key_source(before);
    keys->~pz_keys_s();
    HAL_Free(keys);
}

}  // extern "C"
