// JSON Pointer paths: finding the value a pointer names, and storing one
// there with the dictionaries on the way made as needed.
#include "containers/arrays.h"
#include "containers/dicts.h"
#include "operations/pointer_tokens.h"

using namespace pz;

namespace {

// Why a path to a pointer's tokens cannot be decoded.
pz_path_status decode_status(const pointer_tokens &tokens) {
    return tokens.status() == pointer_tokens::no_memory ? PZ_PATH_OUT_OF_MEMORY : PZ_PATH_INVALID;
}

// Down the path from `root` to the value found, or why there is none: at
// which step, and the last value reached.
pz_path_status find(const pz_variant_t *root, pointer_tokens &tokens, pz_variant_t **found, size_t *at) {
    // The root itself (pointer "") comes back without const, as strchr's
    // result does.
    *found = const_cast<pz_variant_t *>(root);
    for (const char *token = tokens.next(); token != nullptr; token = tokens.next()) {
        *at = tokens.taken();
        if (dict_of(*found) == nullptr && array_of(*found) == nullptr) return PZ_PATH_BLOCKED;
        pz_variant_t *next = child_at_token(*found, token);
        if (next == nullptr) return PZ_PATH_MISSING;
        *found = next;
    }
    *at = 0;
    return PZ_PATH_OK;
}

pz_path_status set(pz_variant_t *root, pointer_tokens &tokens, pz_variant_t *value);

// ---------------------------------------------------------------------------
// Storing
// ---------------------------------------------------------------------------

// Stores the caller's reference `value` in the container `parent` under
// `token` (handed over: released when it cannot be stored).
pz_path_status store_moved(pz_variant_t *parent, const char *token, pz_variant_t *value) {
    if (dict_of(parent) != nullptr) {
        if (token[0] == '\0') {
            pz_variant_unref(value);
            return PZ_PATH_INVALID;
        }
        return dict_put_moved(parent, token, value) ? PZ_PATH_OK : PZ_PATH_OUT_OF_MEMORY;
    }
    uint32_t index = 0;
    const uint32_t size = pz_variant_array_size(parent);
    const bool append = array_of(parent) != nullptr && (std::strcmp(token, "-") == 0 ||
                                                        (parse_index(token, &index) && index == size));
    if (append) return array_append_moved(parent, value) ? PZ_PATH_OK : PZ_PATH_OUT_OF_MEMORY;
    if (array_of(parent) != nullptr && parse_index(token, &index) && index < size) {
        pz_variant_array_set(parent, index, value);
        pz_variant_unref(value);
        return PZ_PATH_OK;
    }
    pz_variant_unref(value);
    return PZ_PATH_BLOCKED;
}

// What goes under the first missing key: a new dictionary holding one for
// each token still to come, and `value` under the last one (the caller's
// reference kept). Made apart from the root, so a failure only releases
// what was made here.
pz_path_status make_chain(pointer_tokens &tokens, pz_variant_t *value, pz_variant_t **chain) {
    pz_variant_t *top = pz_variant_dict_new();
    if (top == nullptr) return PZ_PATH_OUT_OF_MEMORY;
    pz_path_status status = PZ_PATH_OK;
    pz_variant_t *holder = top;
    for (const char *token = tokens.next(); token != nullptr && status == PZ_PATH_OK; token = tokens.next()) {
        if (token[0] == '\0') {
            status = PZ_PATH_INVALID;
            break;
        }
        pz_variant_t *inner = tokens.at_last() ? pz_variant_ref(value) : pz_variant_dict_new();
        if (!dict_put_moved(holder, token, inner)) status = PZ_PATH_OUT_OF_MEMORY;
        holder = inner;
    }
    if (status != PZ_PATH_OK) pz_variant_unref(top);
    *chain = status == PZ_PATH_OK ? top : nullptr;
    return status;
}

// Stores `value` (the caller's reference kept) where the tokens name.
pz_path_status set(pz_variant_t *root, pointer_tokens &tokens, pz_variant_t *value) {
    // Down the part of the path that exists, to the container that gets
    // the new entry: either the last token's, or the first missing key's.
    pz_variant_t *parent = root;
    const char *token = tokens.next();
    while (!tokens.at_last()) {
        pz_variant_t *child = child_at_token(parent, token);
        if (child == nullptr) break;
        parent = child;
        token = tokens.next();
    }
    if (tokens.at_last()) return store_moved(parent, token, pz_variant_ref(value));
    if (dict_of(parent) == nullptr) return PZ_PATH_BLOCKED;
    pz_variant_t *chain;
    const pz_path_status made = make_chain(tokens, value, &chain);
    return made == PZ_PATH_OK ? store_moved(parent, token, chain) : made;
}

}  // namespace

extern "C" {

pz_variant_t *pz_variant_path_find(const pz_variant_t *root, const char *pointer) {
    pz_variant_t *found = nullptr;
    return pz_variant_path_find_ex(root, pointer, pz_strlen(pointer), &found, nullptr) == PZ_PATH_OK ? found : nullptr;
}

pz_path_status pz_variant_path_find_ex(const pz_variant_t *root, const char *pointer, size_t len,
                                       pz_variant_t **found, size_t *step) {
    size_t at = 0;
    pointer_tokens tokens(pointer, len);
    pz_variant_t *v = nullptr;
    const pz_path_status status = tokens.status() != pointer_tokens::ok ? decode_status(tokens)
                                  : root == nullptr                       ? PZ_PATH_MISSING
                                                                          : find(root, tokens, &v, &at);
    if (step != nullptr) *step = at;
    const bool reached = status == PZ_PATH_OK || status == PZ_PATH_MISSING || status == PZ_PATH_BLOCKED;
    if (reached && found != nullptr) *found = v;
    return status;
}

pz_path_status pz_variant_path_set(pz_variant_t *root, const char *pointer, pz_variant_t *value) {
    return pz_variant_path_set_ex(root, pointer, pz_strlen(pointer), value);
}

pz_path_status pz_variant_path_set_ex(pz_variant_t *root, const char *pointer, size_t len, pz_variant_t *value) {
    if (root == nullptr || value == nullptr) return PZ_PATH_INVALID;
    pointer_tokens tokens(pointer, len);
    if (tokens.status() != pointer_tokens::ok) return decode_status(tokens);
    return tokens.count() == 0 ? PZ_PATH_INVALID : set(root, tokens, value);
}

}  // extern "C"
