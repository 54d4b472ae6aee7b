// Plain JSON out: the dump writer's tree in plain form, compact or indented
// for people. (Plain JSON in is the reader's other walk.)
#include "pz_variant_dump.h"
#include "pz_variant_internal.h"

using namespace pz;

namespace {

// Lays out compact JSON text over lines: each element and member on a line
// of its own, indented two spaces a level, ": " after a name; an empty
// array or object stays [] or {}. Writes to `out` when it is not null (with
// a terminator); returns the size either way.
size_t indent(const char *text, char *out) {
    size_t n = 0;
    int depth = 0;
    auto put = [&](char c) {
        if (out != nullptr) out[n] = c;
        ++n;
    };
    auto new_line = [&] {
        put('\n');
        for (int i = 0; i < depth; ++i) put(' '), put(' ');
    };
    for (const char *p = text; *p != '\0'; ++p) {
        const char c = *p;
        if (c == '"') {  // the writer's strings are whole
            put(c);
            for (++p; *p != '"'; ++p) {
                put(*p);
                if (*p == '\\') put(*++p);
            }
            put('"');
        } else if (c == '[' || c == '{') {
            put(c);
            if (p[1] == ']' || p[1] == '}') {
                put(*++p);
            } else {
                ++depth;
                new_line();
            }
        } else if (c == ']' || c == '}') {
            --depth;
            new_line();
            put(c);
        } else {
            put(c);
            if (c == ',') new_line();
            if (c == ':') put(' ');
        }
    }
    if (out != nullptr) out[n] = '\0';
    return n;
}

}  // namespace

extern "C" {

char *pz_variant_to_json(const pz_variant_t *v, unsigned flags) {
    if (v == nullptr) return nullptr;
    char *compact = print_text(v, text_style{true, (flags & PZ_JSON_REFUSE_POINTERS) != 0});
    if (compact == nullptr || (flags & PZ_JSON_INDENT) == 0) return compact;
    auto *text = static_cast<char *>(HAL_Malloc(static_cast<unsigned long>(indent(compact, nullptr) + 1)));
    if (text != nullptr) indent(compact, text);
    HAL_Free(compact);
    return text;
}

}  // extern "C"
