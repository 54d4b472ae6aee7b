// The slower half of the lexer: strings with escapes or bytes to check,
// numbers beyond the plain 19 digits, and the faults.
#include "text/json_lexer.h"

#include <cfloat>
#include <charconv>
#include <climits>
#include <cmath>
#include <limits>

#include "base/pz_memory.h"
#include "text/utf8.h"

namespace pz::json {

namespace {

bool is_digit(char c) { return static_cast<unsigned>(c - '0') <= 9; }

int hex_digit(char c) {
    if (is_digit(c)) return c - '0';
    const int lower = c | 0x20;
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// The four hex digits at `p` (before `end`) as a code unit; -1 when they
// are not four hex digits.
long hex4(const char *p, const char *end) {
    if (end - p < 4) return -1;
    long unit = 0;
    for (int i = 0; i < 4; ++i) {
        const int digit = hex_digit(p[i]);
        if (digit < 0) return -1;
        unit = unit * 16 + digit;
    }
    return unit;
}

// Whether the 8 bytes at `p` are all digits, and their value in `value`:
// the bytes as one little-endian word, each digit's value found in its own
// byte, then pairs, fours and the eight combined by multiplication.
bool eight_digits(const char *p, uint64_t *value) {
    uint64_t word = 0;
    for (int i = 7; i >= 0; --i) word = (word << 8) | static_cast<unsigned char>(p[i]);  // one load where little-endian
    constexpr uint64_t kHigh = 0xF0F0F0F0F0F0F0F0ull;
    if (((word & kHigh) | (((word + 0x0606060606060606ull) & kHigh) >> 4)) != 0x3333333333333333ull) return false;
    word -= 0x3030303030303030ull;
    word = word * 10 + (word >> 8);
    *value = (((word & 0x000000FF000000FFull) * (100 + (1000000ull << 32))) +
              (((word >> 16) & 0x000000FF000000FFull) * (1 + (10000ull << 32)))) >>
             32;
    return true;
}

// Plain digits as a magnitude; false when it is 2^64 or more.
bool magnitude_of(const char *first, const char *last, uint64_t *magnitude) {
    uint64_t value = 0;
    for (; first < last; ++first) {
        const unsigned digit = static_cast<unsigned>(*first - '0');
        if (value > (UINT64_MAX - digit) / 10) return false;
        value = value * 10 + digit;
    }
    *magnitude = value;
    return true;
}

// Whether a number that no double can hold is beyond the largest (else
// below the smallest): the power of ten of its first significant digit,
// its exponent included, is positive. The exponent saturates.
bool beyond_largest(const char *first, const char *last) {
    long power = 0;  // of the first significant digit, plus one
    bool before_point = true;
    bool significant = false;
    const char *p = first;
    for (; p < last && (*p | 0x20) != 'e'; ++p) {
        if (*p == '.') {
            before_point = false;
            continue;
        }
        significant |= *p >= '1' && *p <= '9';
        if (before_point && significant) ++power;
        if (!before_point && !significant) --power;
    }
    long exponent = 0;
    const bool minus = p + 1 < last && p[1] == '-';
    for (; p < last; ++p) {
        if (is_digit(*p) && exponent < 100000) exponent = exponent * 10 + (*p - '0');
    }
    return power + (minus ? -exponent : exponent) > 0;
}

// The nearest double of a number token (the minus included); beyond the
// doubles, infinite or zero of its sign.
double double_of(const char *first, const char *last) {
    double value = 0;
    const auto [end, ec] = std::from_chars(first, last, value);
    if (ec == std::errc::result_out_of_range) {
        value = beyond_largest(first, last) ? HUGE_VAL : 0.0;
        if (*first == '-') value = -value;
    }
    return value;
}

}  // namespace

lexer::~lexer() { HAL_Free(scratch_); }

void lexer::skip_mark() {
    if (end_ - p_ >= 3 && std::memcmp(p_, "\xEF\xBB\xBF", 3) == 0) p_ += 3;
}

bool lexer::fail(const char *at, pz::fault f) {
    if (fault_at_ == nullptr) {
        fault_at_ = at;
        fault_ = f;
    }
    return false;
}

bool lexer::unexpected(pz::fault expected) {
    if (p_ == end_) return fail(p_, fault::end_of_text);
    if (*p_ == '\0') return fail(p_, fault::nul_byte);
    if (static_cast<unsigned char>(*p_) < 0x20) return fail(p_, fault::control_outside_string);
    return fail(p_, expected);
}

// A word under the cursor that is not `word`: cut short by the end of the
// text when what there is starts it.
bool lexer::bad_literal(const char *word) {
    const auto left = static_cast<size_t>(end_ - p_);
    if (left < std::strlen(word) && std::memcmp(p_, word, left) == 0) return fail(end_, fault::end_of_text);
    return fail(p_, fault::invalid_literal);
}

// Past the comment at `p_` ("//" or "/*" there): the end of its line, or
// its closing "*/"; false (the fault recorded, the cursor at the end) when
// the text ends before a block comment closes.
bool lexer::skip_comment() {
    if (p_[1] == '/') {
        const auto *line_end = static_cast<const char *>(std::memchr(p_ + 2, '\n', static_cast<size_t>(end_ - p_ - 2)));
        p_ = line_end != nullptr ? line_end : end_;
        return true;
    }
    for (const char *close = p_ + 2; close + 1 < end_; ++close) {
        if (close[0] == '*' && close[1] == '/') {
            p_ = close + 2;
            return true;
        }
    }
    p_ = end_;
    return fail(end_, fault::end_of_text);
}

// Comments between tokens, where they are allowed: from // to the end of
// the line, and from /* to */. One cut by the end of the text is refused
// as cut short; a '/' that starts no comment is left for the caller to
// refuse as the token it is not.
int lexer::peek_past_comments() {
    while (p_ < end_ && *p_ == '/') {
        if (end_ - p_ < 2) {
            p_ = end_;
            fail(end_, fault::end_of_text);
            return -1;
        }
        if (p_[1] != '/' && p_[1] != '*') break;
        if (!skip_comment()) return -1;
        while (p_ < end_ && is_space(*p_)) ++p_;
    }
    return p_ < end_ ? static_cast<unsigned char>(*p_) : -1;
}

// NaN, Infinity or -Infinity, where they are allowed.
bool lexer::nonfinite_number(const char *start, number_token *out) {
    const bool negative = *start == '-';
    const bool nan = start[negative] == 'N';
    p_ = start + negative;
    if (negative && nan) return fail(p_, fault::invalid_literal);
    if (!(nan ? literal("NaN", 3) : literal("Infinity", 8))) return false;
    if (out == nullptr) return true;  // passed over unread
    const double value = nan ? std::numeric_limits<double>::quiet_NaN() : HUGE_VAL;
    *out = {false, negative, 0, negative ? -value : value};
    return true;
}

// -?(0|[1-9][0-9]*)(.[0-9]+)?([eE][+-]?[0-9]+)?, stopping at the first byte
// that does not continue it.
bool lexer::real_number(const char *start, number_token *out) {
    const bool negative = *start == '-';
    const char *p = start + negative;
    auto digits = [&] {
        const char *first = p;
        while (p < end_ && is_digit(*p)) ++p;
        return p > first;
    };
    // Digits missing at the end of the text may be yet to come.
    auto malformed = [&] { return fail(p, p == end_ ? fault::end_of_text : fault::malformed_number); };
    if (p < end_ && *p == '0' && p + 1 < end_ && is_digit(p[1])) return fail(p, fault::leading_zero);
    if (!digits()) return malformed();
    const char *integer_end = p;
    if (p < end_ && *p == '.' && (++p, !digits())) return malformed();
    if (p < end_ && (*p | 0x20) == 'e') {
        ++p;
        if (p < end_ && (*p == '+' || *p == '-')) ++p;
        if (!digits()) return malformed();
    }
    p_ = p;
    if (out == nullptr) return true;  // passed over unread
    out->negative = negative;
    out->integer = integer_end == p && magnitude_of(start + negative, p, &out->magnitude);
    out->value = out->integer ? 0 : double_of(start, p);
    if (refuse_overflow_ && std::isinf(out->value)) return fail(start, fault::number_overflow);
    return true;
}

namespace {

// A decimal number as the fast path reads it: up to 19 significant digits
// in `mantissa` (`digits` of them), times ten to `power`; `exact` while
// every digit past those is a zero.
struct decimal {
    uint64_t mantissa;
    int digits;
    int power = 0;
    bool exact = true;

    // Takes the fraction's digits from `p` (eight at a time while they
    // fit); where they stop.
    const char *take_fraction(const char *p, const char *end) {
        uint64_t eight = 0;
        while (digits <= 11 && end - p >= 8 && eight_digits(p, &eight)) {
            mantissa = mantissa * 100000000 + eight;
            digits += 8;
            power -= 8;
            p += 8;
        }
        for (; p < end && is_digit(*p); ++p) {
            if (digits < 19) {
                mantissa = mantissa * 10 + static_cast<unsigned>(*p - '0');
                ++digits;
                --power;
            } else {
                exact &= *p == '0';
            }
        }
        return p;
    }

    // Takes the exponent's sign and digits from `p` into `power`; where
    // they stop, or null when no digit is there.
    const char *take_exponent(const char *p, const char *end) {
        const bool minus = p < end && *p == '-';
        if (p < end && (*p == '+' || *p == '-')) ++p;
        const char *first = p;
        int e = 0;
        for (; p < end && is_digit(*p); ++p) e = e < 1000 ? e * 10 + (*p - '0') : e;
        if (p == first) return nullptr;
        power += minus ? -e : e;
        return p;
    }

    // The double, when one rounding gives it: a mantissa within 2^53 and a
    // power of ten within 22 are both exact doubles, and one division or
    // product rounds correctly. (Where doubles are computed wider and
    // rounded again, never: the general path serves there.)
    bool value(bool negative, double *out) const {
        static constexpr double kPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                             1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
        if (FLT_EVAL_METHOD != 0 || !exact || mantissa > (uint64_t{1} << 53) || power < -22 || power > 22) {
            return false;
        }
        const auto m = static_cast<double>(mantissa);
        const double v = power < 0 ? m / kPowers[-power] : m * kPowers[power];
        *out = negative ? -v : v;
        return true;
    }
};

}  // namespace

// The fraction and exponent at `p`, after the `digits` integer digits that
// made `mantissa`. Up to 19 significant digits go on into the mantissa;
// when it stays within 2^53 and the power of ten within 22, both are exact
// doubles and one division or product rounds correctly. Anything else is
// read by from_chars, and a malformed number by the general path, which
// says why.
bool lexer::fraction(const char *p, uint64_t mantissa, int digits, number_token *out) {
    const char *start = p_;
    decimal d{mantissa, digits};
    if (*p == '.') {
        const char *first = ++p;
        p = d.take_fraction(p, end_);
        if (p == first) return real_number(start, out);
    }
    if (p < end_ && (*p | 0x20) == 'e') {
        p = d.take_exponent(p + 1, end_);
        if (p == nullptr) return real_number(start, out);
    }
    out->integer = false;
    out->negative = *start == '-';
    if (!d.value(out->negative, &out->value)) {
        out->value = double_of(start, p);
        if (refuse_overflow_ && std::isinf(out->value)) return fail(start, fault::number_overflow);
    }
    p_ = p;
    return true;
}

// --- strings ------------------------------------------------------------------

bool lexer::put(const char *bytes, size_t n) {
    if (n == 0) return true;
    if (scratch_cap_ - scratch_len_ < n) {
        size_t cap = scratch_cap_ == 0 ? 256 : scratch_cap_;
        while (cap - scratch_len_ < n && cap <= SIZE_MAX / 2) cap *= 2;
        auto *grown = cap - scratch_len_ >= n ? static_cast<char *>(pz_mem_move(scratch_, scratch_len_, cap)) : nullptr;
        if (grown == nullptr) return fail(p_, fault::out_of_memory);
        scratch_ = grown;
        scratch_cap_ = cap;
    }
    std::memcpy(scratch_ + scratch_len_, bytes, n);
    scratch_len_ += n;
    return true;
}

// The raw bytes from `from` to `to`, which plain_run passed: checked as
// UTF-8 when one had its top bit set, unless strings are lenient. A
// character cut by the end of the text may have the rest to come.
bool lexer::raw_run(const char *from, const char *to) {
    if (!high_ || lenient_) return true;
    const size_t valid = utf8_valid_prefix(from, static_cast<size_t>(to - from));
    if (valid == static_cast<size_t>(to - from)) return true;
    const char *bad = from + valid;
    if (to == end_ && utf8_cut_short(bad, static_cast<size_t>(end_ - bad))) return fail(end_, fault::end_of_text);
    return fail(bad, fault::invalid_utf8);
}

// Why a string stopped at `p`, which is neither its quote nor an escape.
// A raw line break most likely means the closing quote is missing.
bool lexer::string_stop(const char *p) {
    if (p == end_) return fail(p, fault::end_of_text);
    if (*p == '\n' || *p == '\r') return fail(p, fault::unterminated_string);
    if (*p == '\0') return fail(p, fault::nul_byte);
    return fail(p, fault::control_in_string);
}

// Whether the text from `p` to its end is the start of a \u escape: what
// the end of a text cut inside one leaves.
static bool escape_cut_short(const char *p, const char *end) {
    if (end - p >= 6) return false;
    if (p < end && *p != '\\') return false;
    if (end - p >= 2 && p[1] != 'u') return false;
    for (const char *d = p + 2; d < end; ++d) {
        if (hex_digit(*d) < 0) return false;
    }
    return true;
}

bool lexer::unicode_escape(const char **at) {
    const char *p = *at;
    long unit = hex4(p + 2, end_);
    if (unit < 0) return escape_cut_short(p, end_) ? fail(end_, fault::end_of_text) : fail(p, fault::malformed_escape);
    const char *next = p + 6;
    if (unit >= 0xDC00 && unit <= 0xDFFF) return fail(p, fault::lone_surrogate);
    if (unit >= 0xD800 && unit <= 0xDBFF) {
        // A high surrogate counts only with the low one right after it.
        if (escape_cut_short(next, end_)) return fail(end_, fault::end_of_text);
        const long low = end_ - next >= 2 && next[0] == '\\' && next[1] == 'u' ? hex4(next + 2, end_) : -1;
        if (low < 0xDC00 || low > 0xDFFF) return fail(p, fault::lone_surrogate);
        unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
        next += 6;
    }
    char bytes[4];
    *at = next;
    return put(bytes, utf8_encode(static_cast<uint32_t>(unit), bytes));
}

// The escape at `*at` (its backslash) decoded into the scratch block;
// `*at` moves past it.
bool lexer::escape(const char **at) {
    const char *p = *at;
    if (end_ - p < 2) return fail(end_, fault::end_of_text);
    char byte;
    switch (p[1]) {
        case '"': byte = '"'; break;
        case '\\': byte = '\\'; break;
        case '/': byte = '/'; break;
        case 'b': byte = '\b'; break;
        case 'f': byte = '\f'; break;
        case 'n': byte = '\n'; break;
        case 'r': byte = '\r'; break;
        case 't': byte = '\t'; break;
        case 'u': return unicode_escape(at);
        default: return fail(p, fault::invalid_escape);
    }
    *at = p + 2;
    return put(&byte, 1);
}

// The string from `start` whose first run stopped at `stop`: bytes to
// check, escapes to decode, or a fault. Runs between escapes are copied
// into the scratch block with the escapes' bytes.
bool lexer::decode_string(const char *start, const char *stop, text_token *out) {
    scratch_len_ = 0;
    bool decoded = false;
    bool nul = false;
    const char *run = start;
    const char *p = stop;
    for (;;) {
        if (!raw_run(run, p)) return false;
        const bool last = p < end_ && *p == '"';
        if (!last && (p == end_ || *p != '\\')) {
            if (!lenient_ || p == end_) return string_stop(p);
            p = plain_run(p + 1);  // a raw control byte, kept in the run
            continue;
        }
        if (last && !decoded) break;  // nothing was escaped: the text itself
        if (!put(run, static_cast<size_t>(p - run))) return false;
        if (last) break;
        const size_t before = scratch_len_;
        if (!escape(&p)) return false;
        nul |= scratch_len_ == before + 1 && scratch_[before] == '\0';
        decoded = true;
        run = p;
        p = plain_run(p);
    }
    *out = decoded ? text_token{scratch_, scratch_len_, nul} : text_token{start, static_cast<size_t>(p - start), false};
    p_ = p + 1;
    return true;
}

}  // namespace pz::json
