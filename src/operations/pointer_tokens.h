// Private to the library: JSON Pointers (RFC 6901) decoded into their
// tokens, and the step a token takes into a container. Paths and JSON
// Patch read pointers through it.
#ifndef PZ_POINTER_TOKENS_H
#define PZ_POINTER_TOKENS_H

#include <cstring>

#include "containers/arrays.h"
#include "containers/dicts.h"

namespace pz {

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
inline bool parse_index(const char *token, uint32_t *index) {
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
inline pz_variant_t *child_at_token(const pz_variant_t *v, const char *token) {
    if (dict_of(v) != nullptr) return dict_find(v, token);
    uint32_t index;
    return parse_index(token, &index) ? array_at(v, index) : nullptr;
}

}  // namespace pz

#endif  // PZ_POINTER_TOKENS_H
