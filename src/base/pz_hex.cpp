// Hexadecimal text of byte buffers: two lower-case digits per byte out,
// either case in.
#include "base/pz_hex.h"

#include "base/pz_memory.h"

namespace {

constexpr char kDigits[] = "0123456789abcdef";

// The value of a hexadecimal digit, or -1.
int digit_value(unsigned char c) {
    if (c >= '0' && c <= '9') return c - '0';
    c = static_cast<unsigned char>(c | 0x20);  // fold upper case
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

}  // namespace

extern "C" {

pz_string_t *pz_hex(const void *bytes, int count) {
    if (count < 0 || count > INT32_MAX / 2 - 1 || (bytes == nullptr && count != 0)) return nullptr;
    pz_string_t *s = pz_string_new_len(nullptr, 2 * count);  // zero-filled, terminated
    if (s == nullptr) return nullptr;
    const auto *in = static_cast<const unsigned char *>(bytes);
    for (int i = 0; i < count; ++i) {
        s->cstr[2 * i] = kDigits[in[i] >> 4];
        s->cstr[2 * i + 1] = kDigits[in[i] & 0xF];
    }
    return s;
}

uint8_t *pz_hex2bytes(const void *text, int count) {
    if (count < 0 || count % 2 != 0 || (text == nullptr && count != 0)) return nullptr;
    const auto *in = static_cast<const unsigned char *>(text);
    // At least one byte, so that an empty text still gives a block.
    auto *out = static_cast<uint8_t *>(HAL_Malloc(count == 0 ? 1ul : static_cast<unsigned long>(count / 2)));
    if (out == nullptr) return nullptr;
    for (int i = 0; i < count / 2; ++i) {
        const int hi = digit_value(in[2 * i]);
        const int lo = digit_value(in[2 * i + 1]);
        if (hi < 0 || lo < 0) {
            HAL_Free(out);
            return nullptr;
        }
        out[i] = static_cast<uint8_t>(hi << 4 | lo);
    }
    return out;
}

bool pz_is_hex(const void *text, size_t count) {
    if (count % 2 != 0) return false;
    const auto *in = static_cast<const unsigned char *>(text);
    for (size_t i = 0; i < count; ++i) {
        if (digit_value(in[i]) < 0) return false;
    }
    return true;
}

}  // extern "C"
