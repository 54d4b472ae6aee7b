// Number texts and string escapes of JSON.
#include "text/json_codec.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>

namespace {

// "00" to "99", two bytes each: integers are written two digits at a time.
constexpr std::array<char, 200> kDigitPairs = [] {
    std::array<char, 200> pairs{};
    for (int i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();

constexpr char kHex[] = "0123456789abcdef";

// Whether a number text has neither a fraction nor an exponent. (A loop:
// the text is short, and a library call per number shows in the writer.)
bool integral(const char *first, const char *last) {
    for (const char *p = first; p < last; ++p) {
        if (*p == '.' || *p == 'e') return false;
    }
    return true;
}

template <class F>
char *real_text(char *out, F value, bool mark_integral) {
    if (std::isnan(value)) return static_cast<char *>(std::memcpy(out, "null", 4)) + 4;
    if (std::isinf(value)) {
        const char *text = value > 0 ? "1e999" : "-1e999";
        const size_t n = value > 0 ? 5 : 6;
        return static_cast<char *>(std::memcpy(out, text, n)) + n;
    }
    // Leaves room for the ".0" after the longest shortest text.
    char *end = std::to_chars(out, out + pz::json::kNumberRoom - 2, value).ptr;
    if (mark_integral && integral(out, end)) {
        *end++ = '.';
        *end++ = '0';
    }
    return end;
}

}  // namespace

char *pz::json::write_integer(char *out, bool negative, uint64_t magnitude) {
    char digits[20];
    char *first = digits + sizeof digits;
    while (magnitude >= 100) {
        first -= 2;
        std::memcpy(first, &kDigitPairs[2 * (magnitude % 100)], 2);
        magnitude /= 100;
    }
    if (magnitude >= 10) {
        first -= 2;
        std::memcpy(first, &kDigitPairs[2 * magnitude], 2);
    } else {
        *--first = static_cast<char>('0' + magnitude);
    }
    if (negative) *out++ = '-';
    const auto n = static_cast<size_t>(digits + sizeof digits - first);
    std::memcpy(out, first, n);
    return out + n;
}

char *pz::json::write_real(char *out, double value, bool mark_integral) { return real_text(out, value, mark_integral); }

char *pz::json::write_real(char *out, float value, bool mark_integral) { return real_text(out, value, mark_integral); }

char *pz::json::write_ecmascript(char *out, double value) {
    if (value == 0) {
        *out = '0';
        return out + 1;
    }
    // The shortest digits come as d.ddde±x; ECMAScript lays the same digits
    // out by where the decimal point falls.
    char sci[kNumberRoom];
    const char *end = std::to_chars(sci, sci + sizeof sci, value, std::chars_format::scientific).ptr;
    const char *p = sci;
    if (*p == '-') *out++ = *p++;
    char digits[20];
    int k = 0;
    for (; *p != 'e'; ++p) {
        if (*p != '.') digits[k++] = *p;
    }
    // The exponent by hand: std::from_chars of an int would add template
    // instances to the library's exported symbols.
    const bool below_one = p[1] == '-';
    int exponent = 0;
    for (const char *e = p + 2; e < end; ++e) exponent = exponent * 10 + (*e - '0');
    if (below_one) exponent = -exponent;
    const int n = exponent + 1;  // digits before the decimal point
    auto put = [&out](const char *from, int count) {
        std::memcpy(out, from, static_cast<size_t>(count));
        out += count;
    };
    if (k <= n && n <= 21) {
        put(digits, k);
        std::memset(out, '0', static_cast<size_t>(n - k));
        return out + (n - k);
    }
    if (0 < n && n <= 21) {
        put(digits, n);
        *out++ = '.';
        put(digits + n, k - n);
        return out;
    }
    if (-6 < n && n <= 0) {
        put("0.", 2);
        std::memset(out, '0', static_cast<size_t>(-n));
        out += -n;
        put(digits, k);
        return out;
    }
    *out++ = digits[0];
    if (k > 1) {
        *out++ = '.';
        put(digits + 1, k - 1);
    }
    *out++ = 'e';
    *out++ = n - 1 < 0 ? '-' : '+';
    return write_integer(out, false, static_cast<uint64_t>(n - 1 < 0 ? 1 - n : n - 1));
}

char *pz::json::write_escape(char *out, unsigned char c) {
    const unsigned char how = kStringByte[c];
    *out++ = '\\';
    if (how != kHexEscape && how != kMultiByte) {
        *out++ = static_cast<char>(how);
        return out;
    }
    const char code[] = {'u', '0', '0', kHex[c >> 4], kHex[c & 15]};
    std::memcpy(out, code, sizeof code);
    return out + sizeof code;
}
