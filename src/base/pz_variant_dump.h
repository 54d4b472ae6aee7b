// Private to the library: the kind names of the typed dump, shared by the
// writer and the reader, and the tree that the writer prints.
#ifndef PZ_VARIANT_DUMP_H
#define PZ_VARIANT_DUMP_H

#include <cjson/cJSON.h>

#include <array>
#include <string_view>

#include "pz_variant.h"
#include "pz_variant_kinds.h"

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

// The typed object of `v` as the dump prints it; null when `v` nests deeper
// than PZ_VARIANT_MAX_DEPTH, contains itself, or the root cannot be made.
// The tree borrows the texts and keys of `v`: delete it with cJSON_Delete
// before `v` changes.
cJSON *dump_tree(const pz_variant_t *v);

}  // namespace pz

#endif  // PZ_VARIANT_DUMP_H
