// The MessagePack reader: one pass over the bytes, building each value as
// its header is read. Every header is checked against what is left of the
// input before anything is allocated for it, so a hostile header costs
// nothing: each element takes at least one byte, each map entry two. An
// input that ends inside a value is refused at its end, whatever the
// header announced, so that a caller reading a stream can wait for more.
#include "io/key_cache.h"
#include "binary/msgpack.h"
#include "io/read_error.h"
#include "containers/arrays.h"
#include "containers/dicts.h"

using namespace pz;
using namespace pz::msgpack;

namespace {

// The kinds of the sized number formats, float 32 (0xca) to int 64 (0xd3).
constexpr char kSizedKinds[] = {vtype_float,  vtype_double, vtype_uint8, vtype_uint16, vtype_uint32,
                                vtype_uint64, vtype_int8,   vtype_int16, vtype_int32,  vtype_int64};

// Stores the `width` low bytes of `bits` as the union member of that width.
void store_width(pz_variant_t *v, uint64_t bits, unsigned width) {
    switch (width) {
        case 1: store(v, static_cast<uint8_t>(bits)); break;
        case 2: store(v, static_cast<uint16_t>(bits)); break;
        case 4: store(v, static_cast<uint32_t>(bits)); break;
        default: store(v, bits); break;
    }
}

class reader {
public:
    reader(const uint8_t *data, size_t len, pz_read_error_t *error)
        : start_(data), p_(data), end_(data + len), error_(error) {}

    // The one value of the whole input, or null.
    pz_variant_t *whole() {
        pz_variant_t *v = nullptr;
        if (!element(&v, false)) return nullptr;
        if (p_ != end_) {
            pz_variant_unref(v);
            fault(fault::bytes_after_value, p_);
            return nullptr;
        }
        read_ok(error_);
        return v;
    }

    // The value at the front of the input, `*used` the bytes it took.
    pz_variant_t *prefix(size_t *used) {
        pz_variant_t *v = nullptr;
        if (!element(&v, false)) return nullptr;
        if (used != nullptr) *used = static_cast<size_t>(p_ - start_);
        read_ok(error_);
        return v;
    }

private:
    // Reads one value into `*out`. Inside an array (`slot`) nil is an empty
    // slot (null); elsewhere it is the null kind. False when refused.
    bool element(pz_variant_t **out, bool slot) {
        const uint8_t *at = p_;
        if (p_ == end_) return truncated();
        if (depth_ >= PZ_VARIANT_MAX_DEPTH) return fault(fault::too_deep, at);
        const uint8_t m = *p_++;
        if (m <= positive_fixint_max) return number(out, vtype_int64, m, at);
        if (m >= negative_fixint_min) return number(out, vtype_int64, static_cast<uint64_t>(int64_t{static_cast<int8_t>(m)}), at);
        if (m < fixarray) return map(out, m & 0x0fu, at);
        if (m < fixstr) return array(out, m & 0x0fu, at);
        if (m < nil) return text(out, vtype_string, m & 0x1fu, at);
        if (m >= float32 && m <= int8 + 3) return sized_number(out, m, at);
        return other(out, m, slot, at);
    }

    // The formats with a marker of their own besides the sized numbers.
    bool other(pz_variant_t **out, uint8_t m, bool slot, const uint8_t *at) {
        uint32_t n = 0;
        switch (m) {
            case nil:
                if (slot) return true;  // *out stays null
                return made(out, new_record(vtype_null), at);
            case false_:
            case true_: return number(out, vtype_bool, m == true_ ? 1 : 0, at, 1);
            case bin8:
            case bin16:
            case bin32: return length(m - bin8, &n) && text(out, vtype_bytes, n, at);
            case str8:
            case str16:
            case str32: return length(m - str8, &n) && text(out, vtype_string, n, at);
            case array16:
            case array32: return length(m - array16 + 1, &n) && array(out, n, at);
            case map16:
            case map32: return length(m - map16 + 1, &n) && map(out, n, at);
            case never_used: return fault(fault::never_used_byte, at);
            default:  // ext 8/16/32 and fixext 1 to 16
                return fault(fault::ext_value, at);
        }
    }

    // The big-endian unsigned number of `width` bytes that follows.
    bool take(unsigned width, uint64_t *x) {
        if (!left(width)) return false;
        uint64_t bits = 0;
        for (unsigned i = 0; i < width; ++i) bits = (bits << 8) | p_[i];
        p_ += width;
        *x = bits;
        return true;
    }

    // A length of 1, 2 or 4 bytes, after its family's first 8-bit format
    // (`step` 0, 1, 2).
    bool length(unsigned step, uint32_t *n) {
        uint64_t x = 0;
        if (!take(1u << step, &x)) return false;
        *n = static_cast<uint32_t>(x);
        return true;
    }

    bool sized_number(pz_variant_t **out, uint8_t m, const uint8_t *at) {
        const unsigned width = m == float32 ? 4 : m == float64 ? 8 : integer_width(m);
        uint64_t bits = 0;
        return take(width, &bits) && number(out, kSizedKinds[m - float32], bits, at, width);
    }

    // A new value of kind `vt` holding the `width` low bytes of `bits`.
    bool number(pz_variant_t **out, char vt, uint64_t bits, const uint8_t *at, unsigned width = 8) {
        pz_variant_t *v = new_record(vt);
        if (v != nullptr) store_width(v, bits, width);
        return made(out, v, at);
    }

    // A string or bytes of the `n` bytes that follow.
    bool text(pz_variant_t **out, char vt, uint32_t n, const uint8_t *at) {
        const bool bytes_kind = vt == vtype_bytes;
        // A string's length leaves room for the terminator.
        if (!bytes_kind && n == UINT32_MAX) return fault(fault::string_too_long, at);
        if (!announced(n, 1, bytes_kind ? fault::bytes_too_long : fault::string_too_long, at)) return false;
        const auto *bytes = p_;
        p_ += n;
        if (bytes_kind) return made(out, vstr_buf_new(bytes, n), at);
        return made(out, vstr_sized_new(reinterpret_cast<const char *>(bytes), n), at);
    }

    bool array(pz_variant_t **out, uint32_t n, const uint8_t *at) {
        if (!announced(n, 1, fault::too_many_elements, at)) return false;
        return fill(out, array_new_for(n), n, at, [this](pz_variant_t *va) {
            pz_variant_t *e = nullptr;
            return element(&e, true) && array_append_moved(va, e);
        });
    }

    bool map(pz_variant_t **out, uint32_t n, const uint8_t *at) {
        if (!announced(n, 2, fault::too_many_elements, at)) return false;
        return fill(out, dict_new_for(n), n, at, [this](pz_variant_t *dict) { return entry(dict); });
    }

    // Fills the new container `c` (sized for them) with `n` elements, one
    // level down, each read by `one`; `c` is dropped when one fails.
    template <class One>
    bool fill(pz_variant_t **out, pz_variant_t *c, uint32_t n, const uint8_t *at, One one) {
        if (c == nullptr || c->ptr_val == nullptr) {  // the record or its storage is missing
            pz_variant_unref(c);
            return out_of_memory(at);
        }
        ++depth_;
        for (uint32_t i = 0; i < n; ++i) {
            if (!one(c)) {
                pz_variant_unref(c);
                return out_of_memory(at);  // unless refused already
            }
        }
        --depth_;
        *out = c;
        return true;
    }

    // One key and its value into `dict`.
    bool entry(pz_variant_t *dict) {
        const uint8_t *at = p_;
        pz_string_t *key = nullptr;
        uint32_t hash = 0;
        if (!key_text(&key, &hash, at)) return false;
        pz_variant_t *value = nullptr;
        if (!element(&value, false)) {
            pz_string_unref(key);
            return false;
        }
        // Takes both references, also when it fails. A later duplicate wins.
        return pz_hash_table_insert_hashed(dict_of(dict), key, value, hash) ||
               out_of_memory(at);
    }

    bool key_text(pz_string_t **key, uint32_t *hash, const uint8_t *at) {
        if (!left(1)) return false;
        const uint8_t m = *p_++;
        uint32_t n = m & 0x1fu;
        const bool str = (m & 0xe0u) == fixstr || m == str8 || m == str16 || m == str32;
        if (!str) return fault(fault::key_not_string, at);
        if ((m & 0xe0u) != fixstr && !length(m - str8, &n)) return false;
        if (!left(n)) return false;
        const auto *name = reinterpret_cast<const char *>(p_);
        if (n == 0) return fault(fault::empty_key, at);
        if (std::memchr(name, '\0', n) != nullptr) return fault(fault::nul_in_key, at);
        p_ += n;
        *hash = pz_hash_bytes(name, n);
        *key = keys_.key(name, n, *hash);
        return *key != nullptr || out_of_memory(at);
    }

    // Whether `n` more bytes are there; the input cut short when not.
    bool left(size_t n) { return static_cast<size_t>(end_ - p_) >= n || truncated(); }

    // Whether the `n` items of at least `each` bytes that the header at `at`
    // announces are in the input: refused as `too_large` when no input
    // could hold them (past the address space), as cut short when this one
    // does not.
    bool announced(size_t n, size_t each, pz::fault too_large, const uint8_t *at) {
        const size_t room = SIZE_MAX - static_cast<size_t>(p_ - start_);
        if (n > room / each) return fault(too_large, at);
        return static_cast<size_t>(end_ - p_) / each >= n || truncated();
    }

    bool out_of_memory(const uint8_t *at) { return fault(fault::out_of_memory, at); }
    bool truncated() { return fault(fault::end_of_input, end_); }

    bool made(pz_variant_t **out, pz_variant_t *v, const uint8_t *at) {
        *out = v;
        return v != nullptr || out_of_memory(at);
    }

    // Records the first refusal of the read, at `at`; false, for the
    // callers to unwind.
    bool fault(pz::fault f, const uint8_t *at) {
        if (!failed_) read_fault_binary(error_, f, static_cast<size_t>(at - start_));
        failed_ = true;
        return false;
    }

    const uint8_t *start_;
    const uint8_t *p_;
    const uint8_t *end_;
    pz_read_error_t *error_;
    int depth_ = 0;
    bool failed_ = false;
    key_cache keys_;
};

}  // namespace

extern "C" {

pz_variant_t *pz_variant_from_msgpack(const void *data, size_t len, pz_read_error_t *error) {
    if (data == nullptr && len != 0) return read_fault_binary(error, fault::no_input, 0);
    if (len == 0) return read_fault_binary(error, fault::no_value, 0);
    return reader(static_cast<const uint8_t *>(data), len, error).whole();
}

pz_variant_t *pz_variant_from_msgpack_prefix(const void *data, size_t len, size_t *used, pz_read_error_t *error) {
    if (used != nullptr) *used = 0;
    if (data == nullptr && len != 0) return read_fault_binary(error, fault::no_input, 0);
    if (len == 0) return read_fault_binary(error, fault::no_value, 0);
    return reader(static_cast<const uint8_t *>(data), len, error).prefix(used);
}

}  // extern "C"
