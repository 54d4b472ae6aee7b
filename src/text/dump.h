// Private to the library: the kind names of the typed dump, shared by the
// writer and the reader, and the tree that the writer prints.
#ifndef PZ_VARIANT_DUMP_H
#define PZ_VARIANT_DUMP_H

#include <cjson/cJSON.h>

#include <array>
#include <string_view>

#include "base/pz_memory.h"
#include "pzvariant/pz_variant.h"
#include "core/kinds.h"

namespace pz {

struct dump_name {
    std::string_view name;  // a literal, so also NUL-terminated
    char vt;
};

// Every kind by its name in the text: the scalar kinds as the table of
// kinds names them, then the others.
inline constexpr dump_name kDumpNames[] = {
#define PZ_DUMP_NAME(name, ctype, code, va_type) {#name, code},
    PZ_SCALAR_KINDS(PZ_DUMP_NAME)
#undef PZ_DUMP_NAME
    {"null", vtype_null},
    {"string", vtype_string},
    {"bytes", vtype_bytes},
    {"autoptr", vtype_autoptr},
    {"sharedptr", vtype_sharedptr},
    {"array", vtype_array},
    {"dict", vtype_dict},
};

// The name of each kind code, null for a code that is not a kind.
inline constexpr std::array<const char *, 256> kDumpNameOf = [] {
    std::array<const char *, 256> by_code{};
    for (const dump_name &kind : kDumpNames) {
        by_code[static_cast<unsigned char>(kind.vt)] = kind.name.data();
    }
    return by_code;
}();

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
cJSON *dump_tree(const pz_variant_t *v, dump_arena &arena, size_t *printed_size = nullptr);

// The unformatted text of `v` in a new HAL block; null when it cannot be
// made (as dump_tree says). `v` is not null.
char *print_text(const pz_variant_t *v);

}  // namespace pz

#endif  // PZ_VARIANT_DUMP_H
