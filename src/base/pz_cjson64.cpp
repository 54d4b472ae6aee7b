#include "pz_cjson64.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace pz::cjson64 {

namespace {

// Doubles hold every integer below this exactly.
constexpr double kExactBelow = 0x1p53;
constexpr double kTwoTo64 = 0x1p64;

template <class T>
cJSON *create_raw_number(T value) {
    char text[32];
    const auto [end, ec] = std::to_chars(text, text + sizeof text - 1, value);
    if (ec != std::errc()) return nullptr;
    *end = '\0';
    return cJSON_CreateRaw(text);
}

// Plain decimal digits with an optional minus, magnitude below 2^64.
bool parse_digits(const char *first, const char *last, bool *negative, uint64_t *magnitude) {
    *negative = first < last && *first == '-';
    if (*negative) ++first;
    if (first == last) return false;
    const auto [end, ec] = std::from_chars(first, last, *magnitude);
    return ec == std::errc() && end == last;
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

cJSON *cJSON_CreateInt64(int64_t value) { return create_raw_number(value); }

cJSON *cJSON_CreateUInt64(uint64_t value) { return create_raw_number(value); }

cJSON *cJSON_CreateDouble(double value) {
    if (std::isnan(value)) return cJSON_CreateNull();
    if (std::isinf(value)) return cJSON_CreateRaw(value > 0 ? "1e999" : "-1e999");
    return create_raw_number(value);
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
    const auto at = std::lower_bound(
        table_.begin(), table_.end(), item,
        [](const std::pair<const cJSON *, digits> &entry, const cJSON *key) {
            return std::less<const cJSON *>()(entry.first, key);
        });
    if (at == table_.end() || at->first != item) return false;
    *negative = at->second.negative;
    *magnitude = at->second.magnitude;
    return true;
}

// The parser makes items in text order, so a pre-order walk of the tree
// meets the number items in the order their texts appear.
void exact_numbers::scan() {
    scanned_ = true;
    const char *p = text_;
    struct walker {
        const char *&p;
        std::vector<std::pair<const cJSON *, digits>> &table;

        bool walk(const cJSON *item) {
            for (; item != nullptr; item = item->next) {
                if (cJSON_IsNumber(item)) {
                    const char *end;
                    const char *start = next_number(p, &end);
                    if (start == nullptr) return false;  // not this tree's text
                    digits d;
                    if (std::fabs(item->valuedouble) >= kExactBelow &&
                        parse_digits(start, end, &d.negative, &d.magnitude)) {
                        table.emplace_back(item, d);
                    }
                }
                if (!walk(item->child)) return false;
            }
            return true;
        }
    };
    walker{p, table_}.walk(root_);
    std::sort(table_.begin(), table_.end(), [](const auto &a, const auto &b) {
        return std::less<const cJSON *>()(a.first, b.first);
    });
}

}  // namespace pz::cjson64
