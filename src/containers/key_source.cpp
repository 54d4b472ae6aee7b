// The calling thread's source of dictionary keys.
#include "containers/key_source.h"

#include <climits>

namespace pz {

namespace {

#if PZ_NO_THREADS
key_source *current = nullptr;  // built for one thread
#else
thread_local key_source *current = nullptr;
#endif

}  // namespace

key_source *use_key_source(key_source *source) {
    key_source *before = current;
    current = source;
    return before;
}

pz_string_t *new_key(const char *name, size_t len, uint32_t hash) {
    if (current != nullptr) return current->key(current, name, len, hash);
    return len < INT_MAX ? pz_string_new_len(name, static_cast<int>(len)) : nullptr;
}

}  // namespace pz
