// Format-driven append, pack and unpack: one type letter per element, the
// letters being the kinds' own codes.
//
// The va_list entry points work on a va_copy of the caller's list: a va_list
// parameter cannot portably be passed on by address, and a copy leaves the
// caller's list as it was on every ABI.
#include <limits>

#include "containers/arrays.h"
#include "core/kinds.h"

using namespace pz;

namespace {

// "f" narrows a double to float; with IEEE types an out-of-range value
// becomes an infinity of its sign, which is what callers get.
static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559);

// Reads one letter's arguments and makes its element; null for a letter that
// is not recognised or an element that cannot be made. All the arguments
// are read before anything is allocated, so a failure consumes them too.
pz_variant_t *element_from_args(char letter, va_list *args) {
    switch (letter) {
#define PZ_LETTER_ELEMENT(name, ctype, code, va_type)                      \
    case code: {                                                           \
        const auto value = static_cast<ctype>(va_arg(*args, va_type));     \
        return pz_variant_##name##_new(value);                             \
    }
        PZ_SCALAR_KINDS(PZ_LETTER_ELEMENT)
#undef PZ_LETTER_ELEMENT
        case vtype_string:
            return pz_variant_str_new(va_arg(*args, const char *));
        case vtype_autoptr: {
            void *value = va_arg(*args, void *);
            const auto dtor = va_arg(*args, pz_dtor_pt);
            return pz_variant_autoptr_new(value, dtor);
        }
        case vtype_sharedptr: {
            void *value = va_arg(*args, void *);
            const auto ref = va_arg(*args, pz_ref_pt);
            const auto unref = va_arg(*args, pz_unref_pt);
            return pz_variant_sharedptr_new(value, ref, unref);
        }
        default:
            return nullptr;
    }
}

void append_from_list(pz_variant_t *va, const char *fmt, va_list *args) {
    // Room for every letter first, so that letter n is always the n-th
    // element appended: without it nothing is appended, and each element
    // made is released at once, as the arguments are read all the same.
    const size_t want = array_of(va)->len + std::strlen(fmt);
    va->ptr_val = pz_array_reserve(array_of(va), want);
    const bool room = array_of(va)->capacity >= want;
    // Each element goes in with the maker's reference, so the array is its
    // only holder.
    for (const char *letter = fmt; *letter != '\0'; ++letter) {
        pz_variant_t *element = element_from_args(*letter, args);
        if (room) {
            array_append_moved(va, element);
        } else {
            pz_variant_unref(element);
        }
    }
}

// A new array of `fmt`'s elements; null for an empty format.
pz_variant_t *pack_from_list(const char *fmt, va_list *args) {
    if (pz_cstr_empty(fmt)) return nullptr;
    // Storage for one element per letter, no more, so every slot is filled
    // in place; an element that cannot be made leaves its slot empty.
    const size_t count = std::strlen(fmt);
    pz_variant_t *va = array_new_for(count);
    pz_array_t *a = array_of(va);
    if (a == nullptr) return va;
    pz_variant_t **slots = array_slots(a);
    for (size_t i = 0; i < count; ++i) slots[i] = element_from_args(fmt[i], args);
    a->len = count;
    return va;
}

// Writes the first sizeof(T) bytes of `element`'s value to `dst`; an empty
// slot writes nothing.
template <class T>
void copy_out(T *dst, const pz_variant_t *element) {
    if (element != nullptr) *dst = load<T>(element);
}

// Unpacks one letter; only a recognised letter takes a pointer argument.
void unpack_letter(char letter, const pz_variant_t *element, va_list *args) {
    switch (letter) {
#define PZ_LETTER_UNPACK(name, ctype, code, va_type)          \
    case code:                                                \
        copy_out<ctype>(va_arg(*args, ctype *), element);     \
        break;
        PZ_SCALAR_KINDS(PZ_LETTER_UNPACK)
#undef PZ_LETTER_UNPACK
        case vtype_string:
            copy_out<const char *>(va_arg(*args, const char **), element);
            break;
        case vtype_autoptr:
        case vtype_sharedptr:
            copy_out<void *>(va_arg(*args, void **), element);
            break;
        default:
            break;
    }
}

}  // namespace

extern "C" {

void pz_variant_array_append_vals(pz_variant_t *va, const char *fmt, ...) {
    va_list args;
    va_start(args, fmt);
    pz_variant_array_append_vals_internal(va, fmt, args);
    va_end(args);
}

void pz_variant_array_append_args(pz_variant_t *va, va_list args) {
    va_list list;
    va_copy(list, args);
    const char *fmt = va_arg(list, const char *);
    pz_variant_array_append_vals_internal(va, fmt, list);
    va_end(list);
}

void pz_variant_array_append_vals_internal(pz_variant_t *va, const char *fmt, va_list args) {
    if (array_of(va) == nullptr || pz_cstr_empty(fmt)) return;
    va_list list;
    va_copy(list, args);
    append_from_list(va, fmt, &list);
    va_end(list);
}

pz_variant_t *pz_variant_pack(const char *fmt, ...) {
    va_list args;
    va_start(args, fmt);
    pz_variant_t *va = pack_from_list(fmt, &args);
    va_end(args);
    return va;
}

pz_variant_t *pz_variant_pack_arg(va_list args) {
    va_list list;
    va_copy(list, args);
    const char *fmt = va_arg(list, const char *);
    pz_variant_t *va = pack_from_list(fmt, &list);
    va_end(list);
    return va;
}

int32_t pz_variant_unpack(const pz_variant_t *v, const char *fmt, ...) {
    const pz_array_t *a = array_of(v);
    if (a == nullptr || pz_cstr_empty(fmt)) return 0;
    // Compared as a signed 32-bit count: an array too long for it unpacks
    // nothing.
    const auto count = static_cast<int32_t>(pz_variant_array_size(v));
    pz_variant_t *const *slots = array_slots(a);
    va_list args;
    va_start(args, fmt);
    int32_t n = 0;
    for (; fmt[n] != '\0'; ++n) {
        if (n >= count) {
            n = 0;
            break;
        }
        unpack_letter(fmt[n], slots[n], &args);
    }
    va_end(args);
    return n;
}

}  // extern "C"
