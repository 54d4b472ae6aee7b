// JSON Patch: the operations of a patch (add, remove, replace, move, copy,
// test) run in order on a working tree of the document (patch_tree.h),
// which takes them all or none.
#include <algorithm>

#include "containers/arrays.h"
#include "containers/dicts.h"
#include "core/record.h"
#include "operations/copy.h"
#include "operations/nesting.h"
#include "operations/equal.h"
#include "operations/patch_tree.h"
#include "operations/pointer_tokens.h"
#include "operations/walk.h"
#include "pzvariant/pz_patch.h"

using namespace pz;

namespace {

// Why an operation failed; a null reason means it did not.
struct fault {
    pz_patch_code code;
    const char *reason;
};

constexpr fault kDone{PZ_PATCH_OK, nullptr};
constexpr fault kOutOfMemory{PZ_PATCH_OUT_OF_MEMORY, "out of memory"};
constexpr fault kMalformedPointer{PZ_PATCH_MALFORMED, "malformed pointer"};
constexpr fault kNoValueAtPath{PZ_PATCH_NO_TARGET, "path names no value"};
constexpr fault kNoContainer{PZ_PATCH_NO_TARGET, "path names no place in a container"};
constexpr fault kIndexOutOfRange{PZ_PATCH_NO_TARGET, "index out of range"};
constexpr fault kTooDeep{PZ_PATCH_TOO_DEEP, "value nested too deep or containing itself"};

bool failed(const fault &f) { return f.reason != nullptr; }

bool is_container(const pz_variant_t *v) { return v != nullptr && (v->vt == vtype_array || v->vt == vtype_dict); }

// The members of an operation, each with what it is called when missing
// and when of another kind.
struct member_name {
    const char *name;
    const char *missing;
    const char *not_text;
};
constexpr member_name kOp{"op", "missing op", "op is not a string"};
constexpr member_name kPath{"path", "missing path", "path is not a string"};
constexpr member_name kFrom{"from", "missing from", "from is not a string"};

// The text of member `m` of `op`, which must be a string without a NUL.
fault text_member(const pz_variant_t *op, const member_name &m, const char **text) {
    const pz_variant_t *v = dict_find(op, m.name);
    uint32_t len;
    if (v == nullptr) return {PZ_PATCH_MALFORMED, m.missing};
    if (pz_variant_get_str(v, text, &len) != PZ_GET_OK || std::strlen(*text) != len) {
        return {PZ_PATCH_MALFORMED, m.not_text};
    }
    return kDone;
}

// The operation's "value", which may be a null. A key stored without a
// value (an empty entry) stands for null, as the JSON writer has it.
fault value_member(const pz_variant_t *op, pz_variant_t **value) {
    pz_hash_table_t *table = dict_of(op);
    const pz_string_t key = pz_string_borrow("value", 5);
    *value = static_cast<pz_variant_t *>(pz_hash_table_find(table, &key));
    if (*value == nullptr && !pz_hash_table_contains(table, &key)) return {PZ_PATCH_MALFORMED, "missing value"};
    return kDone;
}

// A new copy of `v` for the document to keep (an empty entry: a null).
fault copy_of(pz_variant_t *v, pz_variant_t **copy) {
    if (v == nullptr) {
        *copy = new_record(vtype_null);
    } else if (!nesting_within(v)) {
        return kTooDeep;
    } else {
        walk_path walk;
        *copy = copy_within(v, walk);
    }
    return *copy != nullptr ? kDone : kOutOfMemory;
}

// A decoded "path" or "from".
fault decode(pointer_tokens &tokens) {
    if (tokens.status() == pointer_tokens::no_memory) return kOutOfMemory;
    return tokens.status() == pointer_tokens::ok ? kDone : kMalformedPointer;
}

// Where an operation writes: the writable container and the last token.
struct place {
    pz_variant_t *container;
    const char *token;
};

class patcher {
public:
    explicit patcher(pz_variant_t *doc) : tree_(doc) {}

    fault run(const pz_variant_t *op) {
        const char *name;
        const char *path;
        if (dict_of(op) == nullptr) return {PZ_PATCH_MALFORMED, "an operation is not a dictionary"};
        fault f = text_member(op, kOp, &name);
        if (!failed(f)) f = text_member(op, kPath, &path);
        if (failed(f)) return f;
        if (std::strcmp(name, "add") == 0 || std::strcmp(name, "replace") == 0) return store(op, path, name[0] == 'a');
        if (std::strcmp(name, "remove") == 0) return remove(path, nullptr);
        if (std::strcmp(name, "test") == 0) return test(op, path);
        if (std::strcmp(name, "move") == 0 || std::strcmp(name, "copy") == 0) return take_from(op, path, name[0] == 'm');
        return {PZ_PATCH_MALFORMED, "unknown op"};
    }

    void commit() { tree_.commit(); }

private:
    // add and replace: a copy of "value" at `path`.
    fault store(const pz_variant_t *op, const char *path, bool add) {
        pz_variant_t *value, *copy = nullptr;
        fault f = value_member(op, &value);
        if (!failed(f)) f = copy_of(value, &copy);
        if (!failed(f)) f = put(path, copy, !add);
        pz_variant_unref(copy);
        return f;
    }

    // move and copy: the value at "from" (itself, or a copy) at `path`.
    fault take_from(const pz_variant_t *op, const char *path, bool move) {
        const char *from;
        pz_variant_t *source = nullptr;
        fault f = text_member(op, kFrom, &from);
        if (!failed(f)) f = read(from, &source);
        if (failed(f)) return f.reason == kNoValueAtPath.reason ? fault{PZ_PATCH_NO_TARGET, "from names no value"} : f;
        if (!move) {
            pz_variant_t *copy = nullptr;
            f = copy_of(source, &copy);
            if (!failed(f)) f = put(path, copy);
            pz_variant_unref(copy);
            return f;
        }
        const size_t n = std::strlen(from);
        if (std::strcmp(from, path) == 0) return kDone;
        if (std::strncmp(from, path, n) == 0 && path[n] == '/') return {PZ_PATCH_CANNOT_STORE, "move into its own child"};
        pz_variant_t *moved = nullptr;
        f = remove(from, &moved);
        if (!failed(f)) f = put(path, moved);
        pz_variant_unref(moved);
        return f;
    }

    fault test(const pz_variant_t *op, const char *path) {
        pz_variant_t *value, *found = nullptr;
        fault f = value_member(op, &value);
        if (!failed(f)) f = read(path, &found);
        if (failed(f)) return f;
        // An empty entry on either side stands for null.
        const bool null_value = value == nullptr || value->vt == vtype_null;
        if (null_value ? found->vt == vtype_null : equal_as_json(found, value)) return kDone;
        return {PZ_PATCH_TEST_FAILED, "test failed"};
    }

    // The working value at `pointer`, borrowed. Each step reads what
    // stands for the value now, so that a container the document holds in
    // two places is seen changed through either. (A value compared by test
    // or copied by copy is read as it stands: a container held twice deeper
    // inside it, and changed by this patch through its other place, is seen
    // as it was before the patch. Documents read from text hold nothing
    // twice.)
    fault read(const char *pointer, pz_variant_t **found) {
        pointer_tokens tokens(pointer);
        fault f = decode(tokens);
        if (failed(f)) return f;
        pz_variant_t *v = tree_.root();
        for (const char *token = tokens.next(); token != nullptr && v != nullptr; token = tokens.next()) {
            v = tree_.current(child_at_token(v, token));
        }
        *found = v;
        return v != nullptr ? kDone : kNoValueAtPath;
    }

    // The writable container that holds the last token of `tokens`, every
    // container on the way made writable and stored in its parent's place.
    fault writable_place(pointer_tokens &tokens, place *at) {
        pz_variant_t *c = tree_.writable_root();
        if (c == nullptr) return kOutOfMemory;
        const char *token = tokens.next();
        while (!tokens.at_last()) {
            pz_variant_t *child = child_at_token(c, token);
            if (!is_container(child)) return kNoContainer;
            pz_variant_t *w = tree_.writable(child);
            if (w == nullptr) return kOutOfMemory;
            if (w != child) replace_slot(c, token, w);
            c = w;
            token = tokens.next();
        }
        if (!is_container(c)) return kNoContainer;
        *at = {c, token};
        return kDone;
    }

    // Stores `w` in the slot of the writable container `c` that holds a
    // value under `token` now.
    static void replace_slot(pz_variant_t *c, const char *token, pz_variant_t *w) {
        if (dict_of(c) != nullptr) {
            dict_put_moved(c, token, pz_variant_ref(w));  // an existing key: no allocation
            return;
        }
        uint32_t index = 0;
        parse_index(token, &index);
        pz_variant_array_set(c, index, w);
    }

    // Decodes a pointer and finds where it writes; `*root` when it names
    // the document itself.
    fault place_of(pointer_tokens &tokens, place *at, bool *root) {
        fault f = decode(tokens);
        if (failed(f)) return f;
        *root = tokens.count() == 0;
        return *root ? kDone : writable_place(tokens, at);
    }

    fault replace_root(pz_variant_t *v) {
        if (v->vt == vtype_autoptr || v->vt == vtype_sharedptr) {
            return {PZ_PATCH_CANNOT_STORE, "the document cannot become a pointer"};
        }
        return tree_.replace_root(v) ? kDone : kOutOfMemory;
    }

    // Adds `v` (a reference the caller keeps) at `pointer`, or with
    // `replace` puts it in place of the value there, which must exist.
    fault put(const char *pointer, pz_variant_t *v, bool replace = false) {
        pointer_tokens tokens(pointer);
        place at;
        bool root;
        fault f = place_of(tokens, &at, &root);
        if (failed(f) || root) return failed(f) ? f : replace_root(v);
        if (dict_of(at.container) != nullptr) {
            if (replace && dict_find(at.container, at.token) == nullptr) return kNoValueAtPath;
            if (at.token[0] == '\0') return {PZ_PATCH_CANNOT_STORE, "an empty key"};
            return dict_put_moved(at.container, at.token, pz_variant_ref(v)) ? kDone : kOutOfMemory;
        }
        const uint32_t size = pz_variant_array_size(at.container);
        uint32_t index = size;
        const bool appends = !replace && std::strcmp(at.token, "-") == 0;
        if (!appends && !parse_index(at.token, &index)) return replace ? kNoValueAtPath : kNoContainer;
        if (replace) {
            if (index >= size) return kNoValueAtPath;
            pz_variant_array_set(at.container, index, v);
            return kDone;
        }
        if (index > size) return kIndexOutOfRange;
        pz_variant_array_insert(at.container, index, v);
        return pz_variant_array_size(at.container) > size ? kDone : kOutOfMemory;
    }

    // Takes the value at `pointer` out; with `taken`, hands over a
    // reference to it.
    fault remove(const char *pointer, pz_variant_t **taken) {
        pointer_tokens tokens(pointer);
        place at;
        bool root;
        fault f = place_of(tokens, &at, &root);
        if (failed(f)) return f;
        if (root) return {PZ_PATCH_CANNOT_STORE, "the document cannot be removed"};
        pz_variant_t *found = child_at_token(at.container, at.token);
        if (found == nullptr) return kNoValueAtPath;
        if (taken != nullptr) *taken = pz_variant_ref(tree_.current(found));
        if (dict_of(at.container) != nullptr) {
            pz_variant_dict_erase(at.container, at.token);
        } else {
            uint32_t index = 0;
            parse_index(at.token, &index);
            pz_variant_array_remove(at.container, index);
        }
        return kDone;
    }

    patch_tree tree_;
};

void report(pz_patch_error_t *error, pz_patch_code code, size_t index, const char *reason) {
    if (error == nullptr) return;
    error->code = code;
    error->index = index;
    const size_t n = std::min(std::strlen(reason), sizeof error->reason - 1);
    std::memcpy(error->reason, reason, n);
    error->reason[n] = '\0';
}

}  // namespace

extern "C" bool pz_variant_patch(pz_variant_t *doc, const pz_variant_t *patch, pz_patch_error_t *error) {
    if (doc == nullptr || patch == nullptr) {
        report(error, PZ_PATCH_INVALID_ARGUMENT, 0, "no document or no patch");
        return false;
    }
    if (array_of(patch) == nullptr) {
        report(error, PZ_PATCH_MALFORMED, 0, "the patch is not an array");
        return false;
    }
    patcher p(doc);
    const uint32_t n = pz_variant_array_size(patch);
    for (uint32_t i = 0; i < n; ++i) {
        const fault f = p.run(array_at(patch, i));
        if (failed(f)) {
            report(error, f.code, i, f.reason);
            return false;
        }
    }
    p.commit();
    report(error, PZ_PATCH_OK, 0, "");
    return true;
}
