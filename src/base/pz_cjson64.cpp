#include "pz_cjson64.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>

#include "hal/pz_hal.h"

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

// Plain decimal digits with an optional minus, magnitude below 2^64.
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

// Where a JSON number may start, and what it may hold; looked up in a table
// since the scan asks it of every character outside strings.
enum char_class : uint8_t { starts_number = 1, in_number = 2 };

constexpr std::array<uint8_t, 256> kCharClass = [] {
    std::array<uint8_t, 256> classes{};
    for (char c = '0'; c <= '9'; ++c) classes[static_cast<unsigned char>(c)] = starts_number | in_number;
    classes['-'] = starts_number | in_number;
    for (char c : {'+', '.', 'e', 'E'}) classes[static_cast<unsigned char>(c)] = in_number;
    return classes;
}();

bool is(char c, char_class k) { return (kCharClass[static_cast<unsigned char>(c)] & k) != 0; }

// Past the string whose opening quote is at `p`: after its closing quote,
// or at the end of the text. The quotes are found by strchr, which passes
// over a short string in fewer steps than a loop over its characters; a
// quote after an odd run of backslashes is escaped.
const char *past_string(const char *p) {
    const char *from = p + 1;
    for (;;) {
        const char *q = std::strchr(from, '"');
        if (q == nullptr) return from + std::strlen(from);
        const char *b = q;
        while (b > p + 1 && b[-1] == '\\') --b;
        if ((q - b) % 2 == 0) return q + 1;
        from = q + 1;
    }
}

// The next number in JSON text from `p` on, skipping strings; null when the
// text ends first. Sets `end` past it and moves `p` there.
const char *next_number(const char *&p, const char **end) {
    for (;;) {
        const char c = *p;
        if (c == '\0') return nullptr;
        if (c == '"') {
            p = past_string(p);
        } else if (is(c, starts_number)) {
            const char *start = p;
            while (is(*p, in_number)) ++p;
            *end = p;
            return start;
        } else {
            ++p;
        }
    }
}

struct integer {
    bool negative;
    uint64_t magnitude;
    bool beyond;  // magnitude 2^64 or more: saturates
};

integer integer_of(const cJSON *item, exact_numbers *exact) {
    integer out{false, 0, false};
    if (cJSON_IsRaw(item)) {
        const char *text = item->valuestring;
        if (!parse_digits(text, text + std::strlen(text), &out.negative, &out.magnitude)) {
            out = {false, 0, false};
        }
        return out;
    }
    if (!cJSON_IsNumber(item)) return out;
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

int64_t cJSON_GetInt64Value(const cJSON *item, exact_numbers *exact) {
    const integer n = integer_of(item, exact);
    if (n.beyond) return n.negative ? INT64_MIN : INT64_MAX;
    return static_cast<int64_t>(wrapped(n));
}

uint64_t cJSON_GetUInt64Value(const cJSON *item, exact_numbers *exact) {
    const integer n = integer_of(item, exact);
    if (n.beyond) return n.negative ? 0 : UINT64_MAX;
    return wrapped(n);
}

// Blocks of 120 bytes or less: glibc keeps them on its fast lists, and
// freeing them never merges free blocks, which can make it merge all of
// them when the merged block grows large.
struct exact_numbers::chunk {
    static constexpr size_t kEntries = (120 - 2 * sizeof(void *)) / sizeof(entry);
    chunk *next;
    size_t count;
    entry entries[kEntries];
};

exact_numbers::~exact_numbers() {
    while (head_ != nullptr) {
        chunk *next = head_->next;
        HAL_Free(head_);
        head_ = next;
    }
}

bool exact_numbers::add(const entry &e) {
    if (tail_ == nullptr || tail_->count == chunk::kEntries) {
        auto *c = static_cast<chunk *>(HAL_Malloc(sizeof(chunk)));
        if (c == nullptr) return false;
        c->next = nullptr;
        c->count = 0;
        (tail_ != nullptr ? tail_->next : head_) = c;
        tail_ = c;
    }
    tail_->entries[tail_->count++] = e;
    return true;
}

// The entry of `item` from entry `at` of `from` on, remembered for the next
// lookup; null when it is not there.
const exact_numbers::entry *exact_numbers::search(chunk *from, size_t at, const cJSON *item) {
    for (chunk *c = from; c != nullptr; c = c->next, at = 0) {
        for (; at < c->count; ++at) {
            if (c->entries[at].item == item) {
                last_chunk_ = c;
                last_at_ = at;
                return &c->entries[at];
            }
        }
    }
    return nullptr;
}

bool exact_numbers::find(const cJSON *item, bool *negative, uint64_t *magnitude) {
    if (!scanned_) scan();
    // Onwards from the last find, then from the start for a lookup out of
    // text order.
    const entry *e = search(last_chunk_ != nullptr ? last_chunk_ : head_, last_at_, item);
    if (e == nullptr && last_chunk_ != nullptr) e = search(head_, 0, item);
    if (e == nullptr || !e->digits) return false;
    *negative = e->negative;
    *magnitude = e->magnitude;
    return true;
}

// The parser makes items in text order, so a pre-order walk of the tree
// meets the number items in the order their texts appear. Every number that
// a double cannot hold exactly is kept, in digits or not, so that lookups in
// text order never pass the one they look for.
void exact_numbers::scan() {
    scanned_ = true;
    const char *p = text_;
    struct walker {
        const char *&p;
        exact_numbers &out;

        bool walk(const cJSON *item) {
            for (; item != nullptr; item = item->next) {
                // The type test inline: cJSON_IsNumber is a library call,
                // and the walk makes it for every item of the tree.
                if ((item->type & 0xFF) == cJSON_Number) {
                    const char *end;
                    const char *start = next_number(p, &end);
                    if (start == nullptr) return false;  // not this tree's text
                    if (std::fabs(item->valuedouble) >= kExactBelow) {
                        entry e{item, 0, false, false};
                        e.digits = parse_digits(start, end, &e.negative, &e.magnitude);
                        if (!out.add(e)) return false;
                    }
                }
                if (item->child != nullptr && !walk(item->child)) return false;
            }
            return true;
        }
    };
    walker{p, *this}.walk(root_);
}

}  // namespace pz::cjson64
