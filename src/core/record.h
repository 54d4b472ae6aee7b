// Private to the library: the value record, the layouts its block may have,
// how a record is made, and raw access to the value union.
#ifndef PZ_CORE_RECORD_H
#define PZ_CORE_RECORD_H

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "base/pz_memory.h"
#include "pzvariant/pz_string.h"
#include "pzvariant/pz_variant.h"

namespace pz {

// Which record a block was allocated with, kept in pz_variant_t::layout so
// that a setter never writes callbacks past the end of a plain record, and
// that releasing a string never frees a text that lives in the record's
// block (right after the record) rather than in a block of its own.
enum record_layout : uint8_t {
    layout_plain = 0,
    layout_autoptr = 1,
    layout_sharedptr = 2,
    layout_text = 3,
};

// A value is one block: the count, then the record. The union holds every
// kind in its first 8 bytes; containers store element pointers.
static_assert(offsetof(pz_variant_t, vt) == sizeof(uint64_t), "the union is its 8-byte members");
// The record after the count header is aligned for its widest members on
// every ABI (a long may be narrower than an int64_t's or a double's alignment).
static_assert(PZ_REF_HEADER % alignof(pz_variant_t) == 0 && PZ_REF_HEADER % alignof(pz_string_t) == 0,
              "counted records start aligned after their header");
static_assert(PZ_REF_HEADER >= sizeof(long), "the header holds the count");

// A new zero-filled counted record of kind `vt` in a block of `size` bytes;
// null when out of memory.
inline pz_variant_t *new_record(char vt, size_t size = sizeof(pz_variant_t),
                                record_layout layout = layout_plain) {
    auto *v = static_cast<pz_variant_t *>(pz_zalloc_ref(size));
    if (v != nullptr) {
        v->vt = vt;
        v->layout = layout;
    }
    return v;
}

// As new_record, but only the record is zero-filled: the caller fills the
// bytes that follow it in the block (an embedded text or array).
inline pz_variant_t *new_record_with_tail(char vt, size_t size, record_layout layout) {
    auto *v = static_cast<pz_variant_t *>(pz_alloc_ref(size));
    if (v != nullptr) {
        std::memset(static_cast<void *>(v), 0, sizeof(pz_variant_t));
        v->vt = vt;
        v->layout = layout;
    }
    return v;
}

// Reads and writes the union through its first sizeof(T) bytes, which is
// what every member occupies. A bool is read as "first byte non-zero" so
// that any byte pattern is a valid bool.
template <class T>
inline T load(const pz_variant_t *v) {
    if constexpr (std::is_same_v<T, bool>) {
        uint8_t byte;
        std::memcpy(&byte, v, 1);
        return byte != 0;
    } else {
        T value;
        std::memcpy(&value, v, sizeof value);
        return value;
    }
}

template <class T>
inline void store(pz_variant_t *v, T value) {
    std::memcpy(v, &value, sizeof value);
}

inline void reset_record(pz_variant_t *v) {
    v->uint64_val = 0;
    v->vt = vtype_null;
    v->len = 0;
}

}  // namespace pz

#endif  // PZ_CORE_RECORD_H
