// JSON Pointer paths: finding the value a pointer names, and storing one
// there with the dictionaries on the way made as needed.
#include "containers/arrays.h"
#include "containers/dicts.h"

using namespace pz;

namespace {

// ---------------------------------------------------------------------------
// Decoding a pointer
// ---------------------------------------------------------------------------

// A pointer decoded into its tokens, each NUL-terminated: the "/" between
// tokens becomes a NUL, "~1" a "/" and "~0" a "~" (a decoded token is never
// longer than its text). A pointer holds no NUL, so the NULs are exactly
// the separators. Short pointers decode on the stack: a find allocates
// nothing for them.
class pointer_tokens {
public:
    enum state { ok, malformed, no_memory };

    // The pointer of `len` bytes at `pointer`; a NUL byte among them is
    // malformed (the decoded tokens are separated by NULs).
    pointer_tokens(const char *pointer, size_t len) {
        if (pointer == nullptr || (len != 0 && pointer[0] != '/') || std::memchr(pointer, '\0', len) != nullptr) {
            state_ = malformed;
            return;
        }
        if (len > sizeof local_) text_ = static_cast<char *>(HAL_Malloc(len));
        if (text_ == nullptr) {
            state_ = no_memory;
            return;
        }
        state_ = decode(pointer + (len != 0), len) ? ok : malformed;
    }
    explicit pointer_tokens(const char *pointer) : pointer_tokens(pointer, pz_strlen(pointer)) {}
    ~pointer_tokens() {
        if (text_ != local_ && text_ != nullptr) HAL_Free(text_);
    }
    pointer_tokens(const pointer_tokens &) = delete;
    pointer_tokens &operator=(const pointer_tokens &) = delete;

    state status() const { return state_; }
    // How many tokens the pointer has: 0 for "", the root itself.
    size_t count() const { return count_; }
    // The next token, or null after the last.
    const char *next() {
        if (taken_ == count_) return nullptr;
        const char *token = cursor_;
        cursor_ += std::strlen(cursor_) + 1;
        ++taken_;
        return token;
    }
    // Whether the token next() gave last is the pointer's last.
    bool at_last() const { return taken_ == count_; }
    // The number of the token next() gave last, from 1.
    size_t taken() const { return taken_; }

private:
    // Decodes `text` (the pointer after its first "/", `len` - 1 bytes).
    bool decode(const char *text, size_t len) {
        cursor_ = text_;
        if (len == 0) return true;
        char *out = text_;
        count_ = 1;
        const char *end = text + len - 1;
        for (const char *c = text; c != end; ++c) {
            if (*c == '~') {
                if (c + 1 == end || (c[1] != '0' && c[1] != '1')) return false;
                *out++ = c[1] == '0' ? '~' : '/';
                ++c;
            } else if (*c == '/') {
                *out++ = '\0';
                ++count_;
            } else {
                *out++ = *c;
            }
        }
        *out = '\0';
        return true;
    }

    char local_[256];
    char *text_ = local_;
    char *cursor_ = local_;
    size_t count_ = 0, taken_ = 0;
    state state_ = malformed;
};

// An array index token: "0", or digits without a leading zero, within
// uint32_t. "-" (the place after the last element) is not one.
bool parse_index(const char *token, uint32_t *index) {
    if (token[0] == '\0' || (token[0] == '0' && token[1] != '\0')) return false;
    uint64_t n = 0;
    for (const char *c = token; *c != '\0'; ++c) {
        if (*c < '0' || *c > '9') return false;
        n = n * 10 + static_cast<uint64_t>(*c - '0');
        if (n > UINT32_MAX) return false;
    }
    *index = static_cast<uint32_t>(n);
    return true;
}

// The value `token` names in the container `v`, borrowed; null when absent
// or when `v` is not a container.
pz_variant_t *step(const pz_variant_t *v, const char *token) {
    if (dict_of(v) != nullptr) return dict_find(v, token);
    uint32_t index;
    return parse_index(token, &index) ? array_at(v, index) : nullptr;
}

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
        pz_variant_t *next = step(*found, token);
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
        pz_variant_t *child = step(parent, token);
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
