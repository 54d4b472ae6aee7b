// String and byte-buffer values. Each owns one plain HAL_Malloc buffer (no
// count of its own), except that a new string's text sits in the record's
// own block: a string's text is NUL-terminated, a byte buffer holds exactly
// `len` bytes; both are null when empty.
#include <climits>

#include "core/record.h"

using namespace pz;

namespace {

// The copying string functions allocate len + 1 bytes, so the largest
// 32-bit length cannot be copied.
constexpr size_t kMaxTextLen = UINT32_MAX - 1;

// A new NUL-terminated copy of `len` bytes of `text`; null when out of memory.
char *copy_text(const char *text, size_t len) {
    auto *buf = static_cast<char *>(HAL_Malloc(static_cast<unsigned long>(len + 1)));
    if (buf != nullptr) {
        std::memcpy(buf, text, len);
        buf[len] = '\0';
    }
    return buf;
}

// A new buffer of `len` bytes copied from `buf`, or zero when `buf` is null.
void *copy_bytes(const uint8_t *buf, uint32_t len) {
    return buf != nullptr ? pz_mem_dup(buf, len) : pz_zalloc(len);
}

pz_variant_t *take_over(char vt, void *buf, uint32_t len) {
    pz_variant_t *v = new_record(vt);
    if (v != nullptr && buf != nullptr && len != 0) {
        v->ptr_val = buf;
        v->len = len;
    }
    return v;
}

}  // namespace

extern "C" {

pz_variant_t *pz_variant_str_new(const char *value) {
    const size_t len = pz_strlen(value);
    return len > kMaxTextLen ? nullptr : vstr_sized_new(value, static_cast<uint32_t>(len));
}

pz_variant_t *vstr_sized_new(const char *value, uint32_t len) {
    if (value == nullptr || len == 0) return new_record(vtype_string);
    // The text goes in the record's block: one allocation instead of two.
    constexpr size_t kRecord = sizeof(pz_variant_t);
    // (Past half the address space no block could hold it anyway.)
    const uint64_t size = uint64_t{len} + kRecord + 1;
    if (len > kMaxTextLen || size > SIZE_MAX / 2) return nullptr;
    pz_variant_t *v = new_record_with_tail(vtype_string, static_cast<size_t>(size), layout_text);
    if (v == nullptr) return nullptr;
    v->str_val = reinterpret_cast<char *>(v) + kRecord;
    std::memcpy(v->str_val, value, len);
    v->str_val[len] = '\0';
    v->len = len;
    return v;
}

pz_variant_t *vstr_new_owned(char *value, uint32_t len) {
    return take_over(vtype_string, value, len);
}

pz_variant_t *vstr_buf_new_owned(uint8_t *buf, uint32_t len) {
    return take_over(vtype_bytes, buf, len);
}

pz_variant_t *vstr_buf_new(const uint8_t *buf, uint32_t len) {
    pz_variant_t *v = new_record(vtype_bytes);
    if (v == nullptr || len == 0) return v;
    v->ptr_val = copy_bytes(buf, len);
    if (v->ptr_val == nullptr) {
        pz_variant_unref(v);
        return nullptr;
    }
    v->len = len;
    return v;
}

// The setters copy before they clear, so that `value` may point into what
// `v` holds; when the copy fails `v` is left the empty value of the kind.
pz_variant_t *pz_variant_str_set(pz_variant_t *v, const char *value) {
    if (v == nullptr) return nullptr;
    const size_t len = pz_strlen(value);
    char *copy = value != nullptr && len <= kMaxTextLen ? copy_text(value, len) : nullptr;
    pz_variant_clear(v);
    v->vt = vtype_string;
    v->str_val = copy;
    v->len = copy != nullptr ? static_cast<uint32_t>(len) : 0;
    return v;
}

pz_variant_t *vstr_buf_set(pz_variant_t *v, uint8_t *buf, uint32_t len) {
    if (v == nullptr) return nullptr;
    void *copy = len != 0 ? copy_bytes(buf, len) : nullptr;
    pz_variant_clear(v);
    v->vt = vtype_bytes;
    v->ptr_val = copy;
    v->len = copy != nullptr ? len : 0;
    return v;
}

int32_t pz_variant_str_cmp(const pz_variant_t *v, const char *value) {
    const bool is_string = v != nullptr && v->vt == vtype_string;
    if (pz_cstr_empty(value)) {
        // Nothing, an empty value and an empty text all count as equal.
        const bool empty = v == nullptr || v->vt == vtype_null || (is_string && v->len == 0);
        return empty ? 0 : 1;
    }
    if (!is_string) return 1;
    return pz_cstr_cmp(v->str_val, value);
}

}  // extern "C"
