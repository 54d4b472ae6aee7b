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

// The value's first byte: a string, a container, or a number or literal.
void json_scanner::begin(char c) {
    begun_ = true;
    string_ = c == '"';
    depth_ = c == '[' || c == '{' ? 1 : 0;
    word_ = !string_ && depth_ == 0;
}

// Inside a container: past its strings and nested brackets to the byte
// after its closing bracket, or to `end`.
const char *json_scanner::in_container(const char *p, const char *end) {
    while (p < end && depth_ != 0) {
        if (string_) {
            p = in_string(p, end);
            continue;
        }
        switch (*p++) {
            case '"': string_ = true; break;
            case '[':
            case '{': ++depth_; break;
            case ']':
            case '}': --depth_; break;
            default: break;
        }
    }
    return p;
}

const char *json_scanner::scan(const char *p, const char *end) {
    if (!begun_ && p < end) {
        begin(*p);
        if (!word_) ++p;
    }
    if (word_) {
        while (p < end && word_byte(*p)) ++p;
        return p < end ? p : nullptr;
    }
    if (string_ && depth_ == 0) {  // a string at the top
        p = in_string(p, end);
        return string_ ? nullptr : p;
    }
    p = in_container(p, end);
    return depth_ == 0 ? p : nullptr;
}
