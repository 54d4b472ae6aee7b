#include "pz_cjson64.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <functional>

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

// The next number in JSON text from `p` on, skipping strings; null when the
// text ends first. Sets `end` past it and moves `p` there.
const char *next_number(const char *&p, const char **end) {
    for (;;) {
        const char c = *p;
        if (c == '\0') return nullptr;
        if (c == '"') {
            for (++p; *p != '\0' && *p != '"'; ++p) {
                if (*p == '\\' && p[1] != '\0') ++p;
            }
            if (*p == '"') ++p;
        } else if (c == '-' || (c >= '0' && c <= '9')) {
            const char *start = p;
            while (*p != '\0' && std::strchr("0123456789+-.eE", *p) != nullptr) ++p;
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

bool exact_numbers::find(const cJSON *item, bool *negative, uint64_t *magnitude) {
    if (!scanned_) scan();
    if (table_ == nullptr) return false;
    const auto *first = reinterpret_cast<const entry *>(table_->data);
    const entry *last = first + table_->len;
    const entry *at = std::lower_bound(first, last, item, [](const entry &e, const cJSON *key) {
        return std::less<const cJSON *>()(e.item, key);
    });
    if (at == last || at->item != item) return false;
    *negative = at->negative;
    *magnitude = at->magnitude;
    return true;
}

// The parser makes items in text order, so a pre-order walk of the tree
// meets the number items in the order their texts appear.
void exact_numbers::scan() {
    scanned_ = true;
    table_ = pz_array_new(sizeof(entry), 8);
    if (table_ == nullptr) {
        out_of_memory_ = true;
        return;
    }
    const char *p = text_;
    struct walker {
        const char *&p;
        pz_array_t *&table;
        bool &out_of_memory;

        bool walk(const cJSON *item) {
            for (; item != nullptr; item = item->next) {
                if (cJSON_IsNumber(item)) {
                    const char *end;
                    const char *start = next_number(p, &end);
                    if (start == nullptr) return false;  // not this tree's text
                    entry e{item, false, 0};
                    if (std::fabs(item->valuedouble) >= kExactBelow &&
                        parse_digits(start, end, &e.negative, &e.magnitude)) {
                        const size_t had = table->len;
                        table = pz_array_append_vals(table, &e, 1);
                        if (table->len == had) {
                            out_of_memory = true;
                            return false;
                        }
                    }
                }
                if (!walk(item->child)) return false;
            }
            return true;
        }
    };
    walker{p, table_, out_of_memory_}.walk(root_);
    auto *first = reinterpret_cast<entry *>(table_->data);
    std::sort(first, first + table_->len, [](const entry &a, const entry &b) {
        return std::less<const cJSON *>()(a.item, b.item);
    });
}

}  // namespace pz::cjson64
