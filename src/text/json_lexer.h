// Private to the library: the tokens of a JSON text (RFC 8259, strict), read
// from a pointer and a length, and the codecs of its numbers and strings.
// Every text reader of the library goes through it: the plain reader builds
// values from its tokens, and the dump reader recovers from it what cJSON
// cannot hold and why cJSON refused a text.
//
// The lexer stops at the first fault and records which one (from the table
// of faults) and the byte where it happened. A text that ends where a token
// could still go on is refused as "unexpected end of text" at its end, so
// that a caller reading a stream can tell "more to come" from a fault.
// Nothing is allocated but one scratch block for strings that hold
// escapes, reused for every such string of the text.
#ifndef PZ_JSON_LEXER_H
#define PZ_JSON_LEXER_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "io/read_error.h"

namespace pz::json {

// A string token, decoded: every escape replaced by its bytes, NUL kept.
// `data` is borrowed from the text or the lexer's scratch block, valid until
// the next string is read.
struct text_token {
    const char *data;
    size_t len;
    bool has_nul;
};

// A number token by the rule of kinds: written as plain digits (no fraction,
// no exponent) and within int64 or uint64, an integer of that sign and
// magnitude; any other number its nearest double.
struct number_token {
    bool integer;        // plain digits within the 64-bit ranges
    bool negative;       // written with a minus
    uint64_t magnitude;  // the integer's magnitude
    double value;        // the nearest double, when not `integer`
};

class lexer {
public:
    // With `lenient_strings`, strings take raw control bytes and bytes that
    // are not UTF-8 as they are, as cJSON does: the dump reader reads the
    // texts cJSON accepted with it. Escapes stay strict either way.
    lexer(const char *text, size_t len, bool lenient_strings = false)
        : begin_(text), p_(text), end_(text + len), lenient_(lenient_strings) {}
    lexer(const lexer &) = delete;
    lexer &operator=(const lexer &) = delete;
    ~lexer();

    // Passes a UTF-8 byte order mark at the start over.
    void skip_mark();

    // Passes whitespace over; the byte where the next token starts, or -1
    // at the end of the text.
    int peek() {
        while (p_ < end_ && is_space(*p_)) ++p_;
        return p_ < end_ ? static_cast<unsigned char>(*p_) : -1;
    }
    void advance() { ++p_; }
    // Moves the cursor to `p`, between it and the end of the text: for a
    // caller that passes bytes over on its own.
    void seek(const char *p) { p_ = p; }
    const char *pos() const { return p_; }
    const char *begin() const { return begin_; }
    size_t length() const { return static_cast<size_t>(end_ - begin_); }

    // The string that starts at the quote under the cursor, decoded; false
    // (a fault recorded) when it is not one.
    bool string(text_token *out) {
        const char *start = p_ + 1;
        const char *p = plain_run(start);
        if (p < end_ && *p == '"' && !high_) {  // the common case: nothing to decode or check
            *out = {start, static_cast<size_t>(p - start), false};
            p_ = p + 1;
            return true;
        }
        return decode_string(start, p, out);
    }

    // The number that starts under the cursor ('-' or a digit); false (a
    // fault recorded) when it is malformed.
    bool number(number_token *out);

    // The literal `word` of `n` bytes under the cursor; false (a fault
    // recorded) when another word is there.
    bool literal(const char *word, size_t n) {
        if (static_cast<size_t>(end_ - p_) >= n && std::memcmp(p_, word, n) == 0) {
            p_ += n;
            return true;
        }
        return bad_literal(word);
    }

    // Records fault `f` at `at` unless one is recorded already; false.
    bool fail(const char *at, pz::fault f);

    // A fault where a token was due and `expected` stands elsewhere: the
    // end of the text, a NUL or control byte say so instead.
    bool unexpected(pz::fault expected);

    bool failed() const { return fault_at_ != nullptr; }
    const char *fault_at() const { return fault_at_; }
    pz::fault fault() const { return fault_; }

private:
    static bool is_space(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }

    // Past the bytes from `p` that a string takes as they are: up to its
    // quote, an escape, a control byte or the end. Notes in `high_` whether
    // any had its top bit set (UTF-8 to check).
    const char *plain_run(const char *p);
    bool decode_string(const char *start, const char *stop, text_token *out);
    bool escape(const char **p);
    bool unicode_escape(const char **p);
    bool raw_run(const char *from, const char *to);
    bool string_stop(const char *p);
    bool put(const char *bytes, size_t n);
    bool real_number(const char *start, number_token *out);
    bool bad_literal(const char *word);

    const char *begin_;
    const char *p_;
    const char *end_;
    const char *fault_at_ = nullptr;
    pz::fault fault_ = pz::fault::none;
    bool lenient_;
    bool high_ = false;
    char *scratch_ = nullptr;  // decoded strings: one HAL block, grown as needed
    size_t scratch_len_ = 0;
    size_t scratch_cap_ = 0;
};


// The bytes at which plain_run stops: a string's quote, an escape, and the
// control bytes, which strict JSON refuses raw inside a string.
inline constexpr auto kStringStops = [] {
    struct table {
        bool of[256];
    } t{};
    for (int c = 0; c < 0x20; ++c) t.of[c] = true;
    t.of[static_cast<unsigned char>('"')] = t.of[static_cast<unsigned char>('\\')] = true;
    return t;
}();

inline const char *lexer::plain_run(const char *p) {
    // Eight bytes at a time while none of them stops the run: a byte equal
    // to a quote or a backslash becomes zero under the XOR, a control byte
    // is below 0x20, and either sets the top bit of its byte in `stops`.
    constexpr uint64_t kOnes = 0x0101010101010101ull;
    constexpr uint64_t kTops = 0x8080808080808080ull;
    uint64_t seen = 0;
    while (end_ - p >= 8) {
        uint64_t word;
        std::memcpy(&word, p, sizeof word);
        const uint64_t quote = word ^ (kOnes * '"');
        const uint64_t slash = word ^ (kOnes * '\\');
        const uint64_t stops =
            ((quote - kOnes) & ~quote) | ((slash - kOnes) & ~slash) | ((word - kOnes * 0x20) & ~word);
        if ((stops & kTops) != 0) {
            // Below the first stop the test is exact, so on a little-endian
            // machine its lowest flag is that stop; elsewhere bytes go one
            // at a time.
            if constexpr (std::endian::native == std::endian::little) {
                const int at = std::countr_zero(stops & kTops) / 8;
                high_ = ((seen | (word & ((uint64_t{1} << (8 * at)) - 1))) & kTops) != 0;
                return p + at;
            }
            break;
        }
        seen |= word;
        p += 8;
    }
    while (p < end_ && !kStringStops.of[static_cast<unsigned char>(*p)]) seen |= static_cast<unsigned char>(*p++);
    high_ = (seen & kTops) != 0;
    return p;
}

inline bool lexer::number(number_token *out) {
    // Up to 19 digits fit 64 bits whatever they are; the rest, a fraction,
    // an exponent and every fault take the general path.
    const char *digits = p_ + (*p_ == '-');
    const char *p = digits;
    uint64_t magnitude = 0;
    while (p < end_ && p - digits < 19 && static_cast<unsigned>(*p - '0') <= 9) {
        magnitude = magnitude * 10 + static_cast<unsigned>(*p - '0');
        ++p;
    }
    const bool ends = p == end_ || (static_cast<unsigned>(*p - '0') > 9 && *p != '.' && (*p | 0x20) != 'e');
    if (!ends || p == digits || (*digits == '0' && p - digits > 1)) return real_number(p_, out);
    *out = {true, digits != p_, magnitude, 0};
    p_ = p;
    return true;
}

}  // namespace pz::json

#endif  // PZ_JSON_LEXER_H
