// Private to the library: where the keys that dictionaries store come from.
// By default each new key is a string of its own; code that builds many
// records sets a source of shared keys for its thread (pz_keys_use), so
// that the records' members share one string per name.
#ifndef PZ_CONTAINERS_KEY_SOURCE_H
#define PZ_CONTAINERS_KEY_SOURCE_H

#include <cstddef>
#include <cstdint>

#include "pzvariant/pz_string.h"

namespace pz {

// A source of shared key strings. `key` returns a new reference to a key
// holding `name` of `len` bytes whose hash is `hash`; null when out of
// memory.
struct key_source {
    pz_string_t *(*key)(key_source *self, const char *name, size_t len, uint32_t hash);
};

// Makes `source` (null: none) the calling thread's source of keys; returns
// the one before.
key_source *use_key_source(key_source *source);

// A new reference to a key holding `name` of `len` bytes (hash `hash`),
// from the thread's source when it has one; null when out of memory.
pz_string_t *new_key(const char *name, size_t len, uint32_t hash);

}  // namespace pz

#endif  // PZ_CONTAINERS_KEY_SOURCE_H
