#include "pz_cjson64.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "hal/pz_hal.h"
#include "pz_json_lexer.h"

namespace pz::cjson64 {

char *integer_text(char (&text)[kIntegerText], bool negative, uint64_t magnitude) {
    char *p = text + kIntegerText;
    *--p = '\0';
    do {
        *--p = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    if (negative) *--p = '-';
    return p;
}

namespace {

// Doubles hold every integer below this exactly.
constexpr double kExactBelow = 0x1p53;
constexpr double kTwoTo64 = 0x1p64;

// The integer conversions are written out rather than taken from
// <charconv>: its templates would be instantiated with default visibility
// and exported from the shared library.
cJSON *create_integer(bool negative, uint64_t magnitude) {
    char text[kIntegerText];
    return cJSON_CreateRaw(integer_text(text, negative, magnitude));
}

struct integer {
    bool negative;
    uint64_t magnitude;
    bool beyond;  // magnitude 2^64 or more: saturates
};

integer integer_of(const cJSON *item, exact_values *exact) {
    integer out{false, 0, false};
    if (is_kind(item, cJSON_Raw)) {
        const char *text = item->valuestring;
        if (!parse_digits(text, text + std::strlen(text), &out.negative, &out.magnitude)) {
            out = {false, 0, false};
        }
        return out;
    }
    if (!is_kind(item, cJSON_Number)) return out;
    const double d = item->valuedouble;
    if (exact != nullptr && std::fabs(d) >= kExactBelow &&
        exact->find(item, &out.negative, &out.magnitude)) {
        return out;
    }
    if (std::isnan(d)) return out;
    const double whole = std::trunc(d);
    out.negative = whole < 0;
    out.beyond = std::fabs(whole) >= kTwoTo64;
    if (!out.beyond) out.magnitude = static_cast<uint64_t>(std::fabs(whole));
    return out;
}

// Two's complement of the integer, modulo 2^64.
uint64_t wrapped(const integer &n) { return n.negative ? 0 - n.magnitude : n.magnitude; }

}  // namespace

bool parse_digits(const char *first, const char *last, bool *negative, uint64_t *magnitude) {
    *negative = first < last && *first == '-';
    if (*negative) ++first;
    if (first == last) return false;
    uint64_t value = 0;
    for (; first < last; ++first) {
        const unsigned digit = static_cast<unsigned char>(*first) - '0';
        if (digit > 9 || value > (UINT64_MAX - digit) / 10) return false;
        value = value * 10 + digit;
    }
    *magnitude = value;
    return true;
}

namespace {

unsigned hex4(const char *p) {
    unsigned value = 0;
    for (int i = 0; i < 4; ++i) {
        const char c = p[i];
        const unsigned digit = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
        value = value * 16 + digit;
    }
    return value;
}

}  // namespace

namespace {

// Character classes of the cursor, one table lookup per byte.
enum char_class : uint8_t {
    passed_over = 0,   // between tokens: structure, whitespace, literals
    ends_text = 1,     // the terminator
    quote = 2,         // '"'
    number_start = 3,  // '-' and the digits
};

constexpr auto kClasses = [] {
    struct table {
        uint8_t of[256];
    } t{};
    for (int c = '0'; c <= '9'; ++c) t.of[c] = number_start;
    t.of[static_cast<unsigned char>('-')] = number_start;
    t.of[static_cast<unsigned char>('"')] = quote;
    t.of[0] = ends_text;
    return t;
}();

// The characters that may continue a number: strtod reads any run of them.
constexpr auto kNumberChars = [] {
    struct table {
        bool of[256];
    } t{};
    for (const char *c = "0123456789+-.eE"; *c != '\0'; ++c) t.of[static_cast<unsigned char>(*c)] = true;
    return t;
}();

uint8_t class_of(char c) { return kClasses.of[static_cast<unsigned char>(c)]; }

using json::kStringStops;

// Past the string whose quote is at `p`: past its closing quote, or at the
// text's end when it has none.
const char *past_string(const char *p) {
    for (++p;; ++p) {
        while (!kStringStops.of[static_cast<unsigned char>(*p)]) ++p;
        if (*p == '"') return p + 1;
        if (*p == '\0') return p;
        if (*p == '\\' && p[1] != '\0') ++p;
    }
}

}  // namespace

std::string_view text_cursor::next(bool strings) {
    for (;; ++p_) {
        const uint8_t cls = class_of(*p_);
        if (cls == ends_text) return {};
        const char *start = p_;
        if (cls == quote) {
            p_ = past_string(p_);
            if (!strings) continue;
            return {start, static_cast<size_t>(p_ - start)};
        }
        if (cls == number_start) {
            while (kNumberChars.of[static_cast<unsigned char>(*p_)]) ++p_;
            return {start, static_cast<size_t>(p_ - start)};
        }
    }
}

size_t text_cursor::decoded_length(std::string_view token) {
    size_t n = 0;
    const char *last = token.data() + token.size() - 1;
    for (const char *p = token.data() + 1; p < last; ++n) {
        if (*p != '\\') {
            ++p;
        } else if (p[1] != 'u') {
            p += 2;
        } else {
            const unsigned code = hex4(p + 2);
            p += 6;
            if (code >= 0xd800 && code < 0xdc00) {
                p += 6;  // the low surrogate after it
                n += 3;
            } else {
                n += code < 0x80 ? 0 : code < 0x800 ? 1 : 2;
            }
        }
    }
    return n;
}

cJSON *cJSON_CreateInt64(int64_t value) {
    // The magnitude of INT64_MIN does not fit an int64_t; it does in 64 bits.
    const auto bits = static_cast<uint64_t>(value);
    return create_integer(value < 0, value < 0 ? 0 - bits : bits);
}

cJSON *cJSON_CreateUInt64(uint64_t value) { return create_integer(false, value); }

cJSON *cJSON_CreateDouble(double value) {
    if (std::isnan(value)) return cJSON_CreateNull();
    if (std::isinf(value)) return cJSON_CreateRaw(value > 0 ? "1e999" : "-1e999");
    char text[32];
    const auto [end, ec] = std::to_chars(text, text + sizeof text - 1, value);
    if (ec != std::errc()) return nullptr;
    *end = '\0';
    return cJSON_CreateRaw(text);
}

bool cJSON_SetObjectItem(cJSON *object, const char *name, cJSON *item) {
    if (item == nullptr) return false;
    if (object == nullptr || name == nullptr || !cJSON_AddItemToObjectCS(object, name, item)) {
        cJSON_Delete(item);
        return false;
    }
    return true;
}

int64_t cJSON_GetInt64Value(const cJSON *item, exact_values *exact) {
    const integer n = integer_of(item, exact);
    if (n.beyond) return n.negative ? INT64_MIN : INT64_MAX;
    return static_cast<int64_t>(wrapped(n));
}

uint64_t cJSON_GetUInt64Value(const cJSON *item, exact_values *exact) {
    const integer n = integer_of(item, exact);
    if (n.beyond) return n.negative ? 0 : UINT64_MAX;
    return wrapped(n);
}

// Blocks of 120 bytes or less: glibc keeps them on its fast lists, and
// freeing them never merges free blocks, as a large table would make it do
// with every small block freed before it.
struct exact_values::chunk {
    static constexpr size_t kEntries = (120 - 2 * sizeof(void *)) / sizeof(entry);
    chunk *next;
    size_t count;
    entry entries[kEntries];
};

exact_values::~exact_values() { release(); }

void exact_values::release() {
    while (head_ != nullptr) {
        chunk *next = head_->next;
        HAL_Free(head_);
        head_ = next;
    }
    tail_ = last_chunk_ = nullptr;
    last_at_ = 0;
}

namespace {

// A number token read by the lexer's codec, as the plain reader reads it:
// its nearest double in `value`, and in `e` its sign and magnitude when it
// is plain digits below 2^64. False when the token is not one strict JSON
// number (cJSON reads a few more, such as 01).
template <class Entry>
bool number_of(std::string_view token, Entry *e, double *value) {
    json::lexer lx(token.data(), token.size());
    json::number_token n;
    if (!lx.number(&n) || lx.pos() != token.data() + token.size()) return false;
    e->negative = n.negative;
    e->digits = n.integer;
    e->value = n.integer ? n.magnitude : 0;
    *value = !n.integer ? n.value : n.negative ? -static_cast<double>(n.magnitude) : static_cast<double>(n.magnitude);
    return true;
}

}  // namespace

// Only numbers a double cannot hold exactly are matched: the others are
// never looked up. A token's value is correctly rounded, as the parser's
// is, so the two agree exactly when they are the same number.
void exact_values::take(const cJSON *item) {
    if (!in_step_ || !is_kind(item, cJSON_Number) || std::fabs(item->valuedouble) < kExactBelow) return;
    for (;;) {
        const std::string_view token = numbers_.next(false);
        entry e{item, 0, number, false, false};
        double value = 0;
        if (token.empty() || !number_of(token, &e, &value)) {
            in_step_ = false;
            return;
        }
        if (std::fabs(value) < kExactBelow) continue;  // an item that is never taken
        in_step_ = value == item->valuedouble;
        if (in_step_) taken_ = e;
        return;
    }
}

bool exact_values::find(const cJSON *item, bool *negative, uint64_t *magnitude) {
    if (in_step_ && taken_.item == item) {
        *negative = taken_.negative;
        *magnitude = taken_.value;
        return taken_.digits;
    }
    const entry *e = lookup(item, number);
    if (e == nullptr || !e->digits) return false;
    *negative = e->negative;
    *magnitude = e->value;
    return true;
}

bool exact_values::nul_escapes() {
    if (nul_escapes_ < 0) nul_escapes_ = std::strstr(text_, "\\u0000") != nullptr;
    return nul_escapes_ != 0;
}

size_t exact_values::string_length(const cJSON *item) {
    const entry *e = nul_escapes() ? lookup(item, value_text) : nullptr;
    return e != nullptr && e->digits ? static_cast<size_t>(e->value) : std::strlen(item->valuestring);
}

bool exact_values::name_cut(const cJSON *item) {
    const entry *e = nul_escapes() ? lookup(item, name_text) : nullptr;
    return e != nullptr && e->digits;
}

// The entries are in text order, which is the order in which a walk of the
// tree looks them up: a lookup goes on from where the last one stopped, and
// only one out of that order starts again from the first.
const exact_values::entry *exact_values::lookup(const cJSON *item, what kind) {
    if (!scanned_) scan();
    auto search = [&](chunk *from, size_t at) -> const entry * {
        for (chunk *c = from; c != nullptr; c = c->next, at = 0) {
            for (; at < c->count; ++at) {
                if (c->entries[at].item == item && c->entries[at].what == kind) {
                    last_chunk_ = c;
                    last_at_ = at;
                    return &c->entries[at];
                }
            }
        }
        return nullptr;
    };
    const entry *e = search(last_chunk_ != nullptr ? last_chunk_ : head_, last_at_);
    return e != nullptr || last_chunk_ == nullptr ? e : search(head_, 0);
}

bool exact_values::add(const entry &e) {
    if (tail_ == nullptr || tail_->count == chunk::kEntries) {
        auto *c = static_cast<chunk *>(HAL_Malloc(sizeof(chunk)));
        if (c == nullptr) {
            failed_ = true;
            return false;
        }
        c->next = nullptr;
        c->count = 0;
        (tail_ != nullptr ? tail_->next : head_) = c;
        tail_ = c;
    }
    tail_->entries[tail_->count++] = e;
    return true;
}

// The parser makes items in text order, so a pre-order walk of the tree
// meets member names, strings and numbers in the order their texts appear.
// Every item that a lookup will ask for is entered, holding what cJSON
// cannot or not (`digits`), so that lookups in text order never search past
// the end: numbers a double cannot hold exactly, and, in a text with a
// \u0000 escape, every string and member name.
struct exact_values::scanner {
    exact_values &self;
    text_cursor cursor;
    bool texts;  // whether strings are looked at: only when \u0000 occurs

    // Enters the next string token as the text of `item`, marked when
    // cJSON's C string of it, `cut`, is shorter.
    bool text(const cJSON *item, what kind, const char *cut) {
        if (!texts) return true;  // the numbers' tokens are found on their own
        const std::string_view token = cursor.next(true);
        if (token.empty() || token[0] != '"') return true;
        const size_t n = text_cursor::decoded_length(token);
        return self.add({item, n, kind, false, n != std::strlen(cut)});
    }

    // Enters the next number token as the value of `item`, when a double
    // cannot hold it exactly.
    bool number(const cJSON *item) {
        const std::string_view token = cursor.next(texts);
        if (token.empty()) return false;  // not this tree's text
        if (std::fabs(item->valuedouble) < kExactBelow) return true;
        entry e{item, 0, exact_values::number, false, false};
        double value;
        if (!number_of(token, &e, &value)) e.digits = false;
        return self.add(e);
    }

    bool one(const cJSON *item, bool named) {
        if (named && item->string != nullptr && !text(item, name_text, item->string)) return false;
        if (is_kind(item, cJSON_String)) return text(item, value_text, item->valuestring);
        return !is_kind(item, cJSON_Number) || number(item);
    }

    bool walk(const cJSON *item, bool named) {
        for (; item != nullptr; item = item->next) {
            if (!one(item, named)) return false;
            if (item->child != nullptr && !walk(item->child, is_kind(item, cJSON_Object))) return false;
        }
        return true;
    }
};

void exact_values::scan() {
    scanned_ = true;
    scanner{*this, text_cursor(text_), nul_escapes()}.walk(root_, false);
}

}  // namespace pz::cjson64
