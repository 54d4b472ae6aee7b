// Private to the library: the grammar of plain JSON over the lexer, each
// token handed to a sink of read events (io/read_sink.h): the value builder
// or the caller's callbacks. A template on its sink, so that the builder's
// events are plain calls.
#ifndef PZ_JSON_PARSE_H
#define PZ_JSON_PARSE_H

#include "io/read_sink.h"
#include "text/json_lexer.h"

namespace pz::json {

// The byte that starts each text of a JSON text sequence (RFC 7464).
inline constexpr int kRecordSeparator = 0x1E;

// Recursive descent; the sink bounds the nesting, refusing to go deeper
// than a value may nest. Every function returns false once the lexer has
// recorded a fault or the sink has refused or stopped the read.
template <class Sink>
class parser {
public:
    parser(lexer &lx, Sink &sink) : lx_(lx), sink_(sink) {}

    // The value under the cursor, whitespace passed over.
    bool value() {
        const int c = lx_.peek();
        const size_t at = offset();
        switch (c) {
            case '"': return string(at);
            case '[': return array(at);
            case '{': return object(at);
            case 't': return literal("true", 4, vtype_bool, at);
            case 'f': return literal("false", 5, vtype_bool, at);
            case 'n': return literal("null", 4, vtype_null, at);
            default: break;
        }
        if (c == '-' || (c >= '0' && c <= '9')) return number(at);
        return lx_.unexpected(fault::expected_value);
    }

private:
    size_t offset() const { return static_cast<size_t>(lx_.pos() - lx_.begin()); }

    bool string(size_t at) {
        text_token t;
        return lx_.string(&t) && sink_.text(vtype_string, t.data, t.len, at);
    }

    bool literal(const char *word, size_t n, char vt, size_t at) {
        if (!lx_.literal(word, n)) return false;
        pz_variant_t r = scalar_record(vt);
        r.bool_val = word[0] == 't';
        return sink_.scalar(r, at);
    }

    // By the rule of kinds: an integer is int64 when it fits, else uint64
    // when it fits; anything else a double.
    bool number(size_t at) {
        number_token n;
        if (!lx_.number(&n)) return false;
        pz_variant_t r = scalar_record(vtype_double);
        if (!n.integer) {
            r.double_val = n.value;
        } else if (!n.negative && n.magnitude > INT64_MAX) {
            r.vt = vtype_uint64;
            r.uint64_val = n.magnitude;
        } else if (!n.negative || n.magnitude <= uint64_t{1} << 63) {
            r.vt = vtype_int64;
            r.int64_val = static_cast<int64_t>(n.negative ? 0 - n.magnitude : n.magnitude);
        } else {
            r.double_val = -static_cast<double>(n.magnitude);
        }
        return sink_.scalar(r, at);
    }

    // After an element or member: true at a comma (passed) that another one
    // follows, false at the closing `close` (passed) or a fault.
    bool more(char close, fault expected) {
        const int c = lx_.peek();
        if (c == close) {
            lx_.advance();
            return false;
        }
        if (c != ',') return lx_.unexpected(expected);
        const char *comma = lx_.pos();
        lx_.advance();
        return lx_.peek() != close || lx_.fail(comma, fault::trailing_comma);
    }

    // Whether the container whose items `more` went over closed, at the
    // byte before the cursor, rather than ended in a fault.
    bool closed() const { return !lx_.failed(); }

    bool array(size_t at) {
        lx_.advance();  // the '['
        if (!sink_.begin_array(kUnknownCount, at)) return false;
        if (lx_.peek() != ']') {
            do {
                if (!value()) return false;
            } while (more(']', fault::expected_array_next));
            if (!closed()) return false;
        } else {
            lx_.advance();
        }
        return sink_.end_array(offset() - 1);
    }

    // A member's key and value, the key under the cursor.
    bool member() {
        if (lx_.peek() != '"') return lx_.unexpected(fault::expected_key);
        const size_t at = offset();
        text_token t;
        if (!lx_.string(&t) || !sink_.key(t.data, t.len, t.has_nul ? key_nul::some : key_nul::none, at)) return false;
        if (lx_.peek() != ':') return lx_.unexpected(fault::expected_colon);
        lx_.advance();
        return value();
    }

    bool object(size_t at) {
        lx_.advance();  // the '{'
        if (!sink_.begin_dict(kUnknownCount, at)) return false;
        if (lx_.peek() != '}') {
            do {
                if (!member()) return false;
            } while (more('}', fault::expected_object_next));
            if (!closed()) return false;
        } else {
            lx_.advance();
        }
        return sink_.end_dict(offset() - 1);
    }

    lexer &lx_;
    Sink &sink_;
};

// Passes over what may stand before a value read from the front of a
// text: a byte order mark, then whitespace and record separators. False,
// the text refused as cut short, when it is cut inside the mark.
inline bool pass_separators(lexer &lx) {
    constexpr char kMark[] = "\xEF\xBB\xBF";
    const size_t len = lx.length();
    if (len < 3 && len > 0 && std::memcmp(lx.begin(), kMark, len) == 0) return lx.fail(lx.begin() + len, fault::end_of_text);
    lx.skip_mark();
    while (lx.peek() == kRecordSeparator) lx.advance();
    return true;
}

// Reads one value of the `len` bytes at `text` into `sink`: the whole text
// (whitespace alone after the value), or with `prefix` the value at its
// front. A fault of the text is recorded in the sink. Returns the bytes
// used: with `prefix`, the separators, the value and the whitespace after
// it, or when refused the separators before where the value starts;
// reading whole, `len` when read, 0 when refused; either way, when the
// sink stopped the read, those up to the end of the token it stopped at.
template <class Sink>
size_t read(const char *text, size_t len, bool prefix, Sink &sink) {
    lexer lx(text, len);
    parser<Sink> p(lx, sink);
    if (prefix) {
        pass_separators(lx);
    } else {
        lx.skip_mark();
    }
    const size_t start = static_cast<size_t>(lx.pos() - text);
    if (lx.failed()) {
        // cut inside the mark
    } else if (lx.peek() < 0) {
        lx.fail(lx.pos(), fault::no_value);
    } else if (p.value() && lx.peek() >= 0 && !prefix) {
        lx.unexpected(fault::text_after_value);
    }
    if (lx.failed()) {
        sink.refuse(lx.fault(), static_cast<size_t>(lx.fault_at() - text));
    }
    if (sink.failed()) return prefix ? start : 0;
    return static_cast<size_t>(lx.pos() - text);
}

}  // namespace pz::json

#endif  // PZ_JSON_PARSE_H
