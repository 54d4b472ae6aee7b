#include "text/cjson64.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "pzvariant/hal/pz_hal.h"
#include "text/json_lexer.h"

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

// Character classes of the tokens, one table lookup per byte.
enum char_class : uint8_t {
    passed_over = 0,   // between tokens: structure, whitespace, literals
    quote = 1,         // '"'
    number_start = 2,  // '-' and the digits
    terminator = 3,    // the NUL after the text
};

constexpr auto kClasses = [] {
    struct table {
        uint8_t of[256];
    } t{};
    for (int c = '0'; c <= '9'; ++c) t.of[c] = number_start;
    t.of[static_cast<unsigned char>('-')] = number_start;
    t.of[static_cast<unsigned char>('"')] = quote;
    t.of[0] = terminator;
    return t;
}();

// The characters that may continue a number: cJSON reads any run of them.
constexpr auto kNumberChars = [] {
    struct table {
        bool of[256];
    } t{};
    for (const char *c = "0123456789+-.eE"; *c != '\0'; ++c) t.of[static_cast<unsigned char>(*c)] = true;
    return t;
}();

}  // namespace

text_tokens::kind text_tokens::next(bool strings) {
    const char *end = lexer_.begin() + lexer_.length();
    for (;;) {
        // A local cursor (the bytes read could alias the lexer's), stopped
        // by the text's terminator rather than a bound on every byte.
        const char *p = lexer_.pos();
        while (kClasses.of[static_cast<unsigned char>(*p)] == passed_over) ++p;
        if (p >= end) return kind::end;
        lexer_.seek(p);
        if (*p != '"') return number_at();
        // Every string of a text cJSON accepted decodes, memory permitting.
        if (!lexer_.string(&string_)) {
            out_of_memory_ = true;
            return kind::end;
        }
        if (strings) return kind::string;
    }
}

// The number under the cursor, as strict JSON reads it; a run of number
// characters that it does not read whole is passed over as odd.
text_tokens::kind text_tokens::number_at() {
    const bool strict = lexer_.number(&number_);
    const char *stop = lexer_.pos();
    const char *p = stop;
    while (kNumberChars.of[static_cast<unsigned char>(*p)]) ++p;  // the terminator stops it
    lexer_.seek(p);
    return strict && p == stop ? kind::number : kind::odd_number;
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

// A number token as the plain reader reads it: in `e` its sign and
// magnitude when it is plain digits below 2^64; returns its nearest double.
template <class Entry>
double number_of(const json::number_token &n, Entry *e) {
    e->negative = n.negative;
    e->digits = n.integer;
    e->value = n.integer ? n.magnitude : 0;
    if (!n.integer) return n.value;
    return n.negative ? -static_cast<double>(n.magnitude) : static_cast<double>(n.magnitude);
}

}  // namespace

// Only numbers a double cannot hold exactly are matched: the others are
// never looked up. A token's value is correctly rounded, as the parser's
// is, so the two agree exactly when they are the same number.
void exact_values::take(const cJSON *item) {
    if (!in_step_ || !is_kind(item, cJSON_Number) || std::fabs(item->valuedouble) < kExactBelow) return;
    for (;;) {
        if (numbers_.next(false) != text_tokens::number) {
            in_step_ = false;
            return;
        }
        entry e{item, 0, number, false, false};
        const double value = number_of(numbers_.number_token(), &e);
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
    text_tokens &cursor;
    bool texts;  // whether strings are looked at: only when \u0000 occurs

    // Enters the next string token as the text of `item`, marked when
    // cJSON's C string of it, `cut`, is shorter.
    bool text(const cJSON *item, what kind, const char *cut) {
        if (!texts) return true;  // the numbers' tokens are found on their own
        if (cursor.next(true) != text_tokens::string) return true;
        const size_t n = cursor.string_token().len;
        return self.add({item, n, kind, false, n != std::strlen(cut)});
    }

    // Enters the next number token as the value of `item`, when a double
    // cannot hold it exactly.
    bool number(const cJSON *item) {
        const text_tokens::kind token = cursor.next(texts);
        if (token == text_tokens::end) return false;  // not this tree's text, or out of memory
        if (std::fabs(item->valuedouble) < kExactBelow) return true;
        entry e{item, 0, exact_values::number, false, false};
        if (token == text_tokens::number) number_of(cursor.number_token(), &e);
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
    text_tokens cursor(text_, len_);
    scanner{*this, cursor, nul_escapes()}.walk(root_, false);
    failed_ |= cursor.out_of_memory();
}

}  // namespace pz::cjson64
