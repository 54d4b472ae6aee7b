// Private to the library: the kind names of the typed dump, shared by the
// writer and the reader, and the tree that the writer prints.
#ifndef PZ_VARIANT_DUMP_H
#define PZ_VARIANT_DUMP_H

#include <cjson/cJSON.h>

#include "base/pz_memory.h"
#include "pzvariant/pz_variant.h"
#include "core/kinds.h"

namespace pz {

// The kinds by their names in the text, which are the kinds' own names.
using dump_name = kind_name;
inline constexpr const auto &kDumpNames = kKindNames;
inline constexpr const auto &kDumpNameOf = kKindNameOf;

// Blocks that a dump's tree is carved from, all freed together.
class dump_arena {
public:
    dump_arena() = default;
    dump_arena(const dump_arena &) = delete;
    dump_arena &operator=(const dump_arena &) = delete;
    ~dump_arena();

    // `size` bytes aligned for a cJSON node (pointers and a double); null
    // when out of memory.
    void *alloc(size_t size);

    // Makes every byte handed out available again.
    void reset();

private:
    // Each block starts with the previous one's address, padded so that what
    // follows stays aligned.
    static constexpr size_t kArenaHeader = PZ_ALIGN_UP(sizeof(void *));
    char *blocks_ = nullptr;
    char *cursor_ = nullptr;
    size_t left_ = 0;
    size_t next_ = 4096;
};

// The typed object of `v` as the dump prints it; null when `v` nests
// deeper than PZ_VARIANT_MAX_DEPTH, contains itself, or memory runs out for
// any part of it. Nodes and number texts live in
// `arena`; texts and keys are borrowed from `v`. The tree is never given to
// cJSON_Delete: it goes with the arena, which must go before `v` changes.
// `printed_size`, when not null, receives the length of its unformatted
// text.
// `why`, when not null, receives PZ_STATUS_TOO_DEEP or
// PZ_STATUS_OUT_OF_MEMORY when the tree cannot be made.
cJSON *dump_tree(const pz_variant_t *v, dump_arena &arena, size_t *printed_size = nullptr,
                 pz_status *why = nullptr);

// The unformatted text of `v` in a new HAL block; null when it cannot be
// made (as dump_tree says), with the reason in `*why` when that is not
// null. `v` is not null.
char *print_text(const pz_variant_t *v, pz_status *why = nullptr);

}  // namespace pz

#endif  // PZ_VARIANT_DUMP_H
