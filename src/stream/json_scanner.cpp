// Where a JSON value ends, across pieces.
#include "stream/json_scanner.h"

using pz::stream::json_scanner;

bool json_scanner::word_byte(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '+' ||
           c == '.';
}

// Past the string's bytes up to its closing quote (passed, the string
// closed) or to `end`; a backslash takes the byte after it along, also
// when that byte comes in the next piece.
const char *json_scanner::in_string(const char *p, const char *end) {
    while (p < end) {
        if (escape_) {
            escape_ = false;
            ++p;
            continue;
        }
        while (p < end && *p != '"' && *p != '\\') ++p;
        if (p == end) break;
        if (*p++ == '\\') {
            escape_ = true;
        } else {
            string_ = false;
            break;
        }
    }
    return p;
}

const char *json_scanner::scan(const char *p, const char *end) {
    if (!begun_ && p < end) {
        begun_ = true;
        const char c = *p;
        if (c == '"' || c == '[' || c == '{') {
            ++p;
            string_ = c == '"';
            depth_ = c == '"' ? 0 : 1;
        } else {
            word_ = true;
        }
    }
    if (word_) {
        while (p < end && word_byte(*p)) ++p;
        return p < end ? p : nullptr;
    }
    while (p < end) {
        if (string_) {
            p = in_string(p, end);
            if (!string_ && depth_ == 0) return p;
            continue;
        }
        switch (*p++) {
            case '"': string_ = true; break;
            case '[':
            case '{': ++depth_; break;
            case ']':
            case '}':
                if (--depth_ == 0) return p;
                break;
            default: break;
        }
    }
    return nullptr;
}
