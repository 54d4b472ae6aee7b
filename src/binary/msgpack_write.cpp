// The MessagePack writer: one walk of the value straight into a sink, each
// kind in its own format (see the table in pz_variant.h), big-endian byte
// by byte whatever the platform's order.
#include <bit>
#include <climits>
#include <type_traits>
#include <utility>

#include "binary/msgpack.h"
#include "core/container_storage.h"
#include "core/kinds.h"
#include "operations/walk.h"

using namespace pz;
using namespace pz::msgpack;

namespace {

// The headers of one family of lengths: the fixed form (none when
// fix_limit is 0) for lengths below fix_limit, then 8-bit (none when 0),
// 16-bit and 32-bit lengths.
struct length_family {
    uint8_t fix;
    uint32_t fix_limit;
    uint8_t sized8;
    uint8_t sized16;
    uint8_t sized32;
};

constexpr length_family kStr{fixstr, 32, str8, str16, str32};
constexpr length_family kBin{0, 0, bin8, bin16, bin32};
constexpr length_family kArray{fixarray, 16, 0, array16, array32};
constexpr length_family kMap{fixmap, 16, 0, map16, map32};

// The `n` low bytes of `x`, most significant first.
inline char *put_big_endian(char *p, uint64_t x, unsigned n) {
    for (unsigned i = n; i-- > 0;) {
        p[i] = static_cast<char>(x & 0xff);
        x >>= 8;
    }
    return p + n;
}

// The sized integer format of T: int 8/16/32/64 or uint 8/16/32/64.
template <class T>
constexpr uint8_t integer_marker() {
    const auto width = static_cast<uint8_t>(std::bit_width(sizeof(T)) - 1);  // 1, 2, 4, 8 bytes: 0..3
    return static_cast<uint8_t>((std::is_signed_v<T> ? int8 : uint8) + width);
}

class writer {
public:
    writer(unsigned flags, out_sink &out)
        : out_(out),
          pointers_as_nil_((flags & PZ_MSGPACK_POINTERS_AS_NIL) != 0),
          smallest_((flags & PZ_MSGPACK_SMALLEST) != 0) {}

    // Writes `v` (null: an empty slot); false once the walk is refused.
    bool value(const pz_variant_t *v) {
        if (!walk_.fits(v)) return false;
        if (v == nullptr) return put(nil);
        switch (v->vt) {
#define PZ_MSGPACK_SCALAR(name, ctype, code, va_type) \
    case code:                                        \
        return scalar<ctype>(v);
            PZ_SCALAR_KINDS(PZ_MSGPACK_SCALAR)
#undef PZ_MSGPACK_SCALAR
            case vtype_null: return put(nil);
            case vtype_string:
            case vtype_bytes: return text(v->vt == vtype_string ? kStr : kBin, v->ptr_val, v->len);
            case vtype_array: return array(v);
            case vtype_dict: return dict(v);
            case vtype_autoptr:
            case vtype_sharedptr: return pointer();
        }
        return walk_.refuse(PZ_STATUS_WRONG_KIND);  // a record of no kind
    }

    bool done() const { return !walk_.refused() && !out_.failed(); }
    // Why the bytes could not be written: the sink's failure, else the walk's.
    pz_status why() const { return out_.failed() ? out_.failure() : walk_.why(); }

private:
    bool put(uint8_t byte) {
        out_.put(static_cast<char>(byte));
        return true;
    }

    // `marker` and the `n` low bytes of `bits`.
    bool fixed(uint8_t marker, uint64_t bits, unsigned n) {
        // Exactly the room needed: the caller's buffer may end right after.
        char *p = out_.room(1 + n);
        p[0] = static_cast<char>(marker);
        put_big_endian(p + 1, bits, n);
        out_.commit(1 + n);
        return true;
    }

    template <class T>
    bool scalar(const pz_variant_t *v) {
        if constexpr (std::is_pointer_v<T>) {
            return pointer();
        } else if constexpr (std::is_same_v<T, bool>) {
            return put(load<bool>(v) ? true_ : false_);
        } else if constexpr (std::is_floating_point_v<T>) {
            // The bits as they are, so that every NaN keeps its payload.
            using bits = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
            return fixed(sizeof(T) == 4 ? float32 : float64, load<bits>(v), sizeof(T));
        } else {
            const T x = load<T>(v);
            if (smallest_) return std::is_signed_v<T> ? smallest_signed(x) : smallest_unsigned(static_cast<uint64_t>(x));
            return fixed(integer_marker<T>(), static_cast<std::make_unsigned_t<T>>(x), sizeof(T));
        }
    }

    bool smallest_unsigned(uint64_t x) {
        if (x <= positive_fixint_max) return put(static_cast<uint8_t>(x));
        if (x <= UINT8_MAX) return fixed(integer_marker<uint8_t>(), x, 1);
        if (x <= UINT16_MAX) return fixed(integer_marker<uint16_t>(), x, 2);
        if (x <= UINT32_MAX) return fixed(integer_marker<uint32_t>(), x, 4);
        return fixed(integer_marker<uint64_t>(), x, 8);
    }

    bool smallest_signed(int64_t x) {
        if (x >= 0) return smallest_unsigned(static_cast<uint64_t>(x));
        const auto bits = static_cast<uint64_t>(x);
        if (x >= -32) return put(static_cast<uint8_t>(bits));  // negative fixint
        if (x >= INT8_MIN) return fixed(integer_marker<int8_t>(), bits, 1);
        if (x >= INT16_MIN) return fixed(integer_marker<int16_t>(), bits, 2);
        if (x >= INT32_MIN) return fixed(integer_marker<int32_t>(), bits, 4);
        return fixed(integer_marker<int64_t>(), bits, 8);
    }

    void header(const length_family &family, uint32_t n) {
        if (n < family.fix_limit) {
            put(static_cast<uint8_t>(family.fix | n));
        } else if (family.sized8 != 0 && n <= UINT8_MAX) {
            fixed(family.sized8, n, 1);
        } else if (n <= UINT16_MAX) {
            fixed(family.sized16, n, 2);
        } else {
            fixed(family.sized32, n, 4);
        }
    }

    // A header and the `n` bytes at `bytes`.
    bool text(const length_family &family, const void *bytes, uint32_t n) {
        if (n < family.fix_limit) {  // the common short text: one room for both
            char *p = out_.room(1 + n);
            p[0] = static_cast<char>(family.fix | n);
            if (n != 0) std::memcpy(p + 1, bytes, n);
            out_.commit(1 + n);
            return true;
        }
        header(family, n);
        if (n != 0) out_.write(bytes, n);  // an empty text or buffer may have no bytes at all
        return true;
    }

    bool pointer() { return pointers_as_nil_ ? put(nil) : walk_.refuse(PZ_STATUS_POINTER); }

    bool array(const pz_variant_t *v) {
        if (!walk_.enter(v)) return false;
        const pz_array_t *a = array_of(v);
        const size_t n = a != nullptr ? a->len : 0;
        // Past 32 bits only where size_t is wider: shifted in two steps, so
        // that a 32-bit size_t is neither over-shifted nor compared in vain.
        if ((n >> 16 >> 16) != 0) return walk_.refuse(PZ_STATUS_TOO_LARGE);
        header(kArray, static_cast<uint32_t>(n));
        for (size_t i = 0; i < n; ++i) {
            if (!value(array_slots(a)[i])) return false;
        }
        walk_.leave();
        // Out of memory: the rest would only be counted.
        return !out_.failed() || walk_.refuse();
    }

    static bool entry(void *key, void *value, void *user) {
        auto *w = static_cast<writer *>(user);
        const auto *k = static_cast<const pz_string_t *>(key);
        return w->text(kStr, k->cstr, static_cast<uint32_t>(k->len)) &&
               w->value(static_cast<const pz_variant_t *>(value));
    }

    bool dict(const pz_variant_t *v) {
        if (!walk_.enter(v)) return false;
        pz_hash_table_t *table = dict_of(v);
        header(kMap, pz_hash_table_size(table));
        if (table != nullptr) pz_hash_table_foreach(table, entry, this);
        if (walk_.refused()) return false;
        walk_.leave();
        return !out_.failed() || walk_.refuse();
    }

    out_sink &out_;
    walk_path walk_;
    const bool pointers_as_nil_;
    const bool smallest_;
};

// The sink's callback for a user callback: 0 from it goes on.
using user_callback = std::pair<pz_write_callback_t, void *>;
bool user_chunk(const char *bytes, size_t n, void *user) {
    const auto *callback = static_cast<const user_callback *>(user);
    return callback->first(bytes, n, callback->second) == 0;
}

}  // namespace

bool pz::msgpack::write(const pz_variant_t *v, unsigned flags, out_sink &out, pz_status *why) {
    if (v == nullptr) {
        if (why != nullptr) *why = PZ_STATUS_NO_VALUE;
        return false;
    }
    writer w(flags, out);
    const bool written = w.value(v) && w.done();
    if (why != nullptr) *why = written ? PZ_STATUS_OK : w.why();
    return written;
}

extern "C" {

uint8_t *pz_variant_to_msgpack(const pz_variant_t *v, unsigned flags, size_t *len) {
    out_sink out;
    if (!msgpack::write(v, flags, out)) return nullptr;
    return reinterpret_cast<uint8_t *>(out.take(len));
}

size_t pz_variant_to_msgpack_buf(const pz_variant_t *v, unsigned flags, uint8_t *buf, size_t capacity) {
    out_sink out(reinterpret_cast<char *>(buf), buf != nullptr ? capacity : 0);
    return msgpack::write(v, flags, out) ? out.size() : 0;
}

pz_status pz_variant_to_msgpack_callback(const pz_variant_t *v, unsigned flags, pz_write_callback_t fn,
                                         void *data) {
    if (v == nullptr || fn == nullptr) return PZ_STATUS_NO_VALUE;
    user_callback user{fn, data};
    out_sink out(user_chunk, &user);
    pz_status why = PZ_STATUS_OK;
    if (!msgpack::write(v, flags, out, &why)) return why;
    return out.flush() ? PZ_STATUS_OK : out.failure();
}

}  // extern "C"
