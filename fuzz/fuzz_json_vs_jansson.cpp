// The plain JSON reader against a second, independent reader (jansson) on
// the same bytes: both accept or both refuse, and what both accept reads to
// the same values. Where the two differ by design (see pz_variant.h), the
// input is passed over: integers beyond int64 and numbers beyond the
// doubles (jansson refuses them), empty keys (we refuse them), nesting past
// PZ_VARIANT_MAX_DEPTH (jansson allows more), a raw NUL byte (jansson may
// take it as the end of the text; we refuse it), a leading byte order mark
// (we skip it). Aborts, for the fuzzer to report, on any other difference.
//
// The same bytes are also read with the reading flags of pz_json_options.h
// (jansson reads strictly, here refusing duplicate keys as we then do):
// comments, trailing commas and the NaN and Infinity literals only add
// texts that we accept and jansson refuses, and refusing numbers past the
// doubles refuses what jansson refuses too. So a text strict JSON accepts
// reads to the same value with the flags, or is refused for a number past
// the doubles or a duplicate key; and where the flags accept a text jansson
// refuses, the strict read refuses it too (the flags made the difference)
// or the difference is one of those above.
#include <jansson.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "pzvariant/pz_variant.h"

namespace {

bool same(const pz_variant_t *ours, const json_t *theirs);

bool same_number(const pz_variant_t *ours, const json_t *theirs) {
    if (ours->vt == vtype_int64) return json_is_integer(theirs) && json_integer_value(theirs) == ours->int64_val;
    if (ours->vt != vtype_double || !json_is_real(theirs)) return false;
    // Both correctly rounded: the same bits, the sign of a zero included.
    const double a = ours->double_val;
    const double b = json_real_value(theirs);
    return a == b && std::signbit(a) == std::signbit(b);
}

// Compares the new reference `ours` (an element or member) and releases it.
bool same_taken(pz_variant_t *ours, const json_t *theirs) {
    const bool equal = same(ours, theirs);
    pz_variant_unref(ours);
    return equal;
}

bool same_array(const pz_variant_t *ours, const json_t *theirs) {
    const uint32_t n = pz_variant_array_size(ours);
    if (!json_is_array(theirs) || json_array_size(theirs) != n) return false;
    for (uint32_t i = 0; i < n; ++i) {
        if (!same_taken(pz_variant_array_index(ours, i), json_array_get(theirs, i))) return false;
    }
    return true;
}

// By key: a later duplicate replaces the value in both, whatever the order.
bool same_dict(const pz_variant_t *ours, const json_t *theirs) {
    if (!json_is_object(theirs) || json_object_size(theirs) != pz_variant_dict_size(ours)) return false;
    const char *key;
    json_t *value;
    json_object_foreach(const_cast<json_t *>(theirs), key, value) {
        if (!same_taken(pz_variant_dict_get(ours, key), value)) return false;
    }
    return true;
}

bool same(const pz_variant_t *ours, const json_t *theirs) {
    if (ours == nullptr || theirs == nullptr) return false;
    switch (ours->vt) {
        case vtype_null: return json_is_null(theirs);
        case vtype_bool: return json_is_boolean(theirs) && json_is_true(theirs) == ours->bool_val;
        case vtype_string:
            return json_is_string(theirs) && json_string_length(theirs) == ours->len &&
                   (ours->len == 0 || std::memcmp(json_string_value(theirs), ours->str_val, ours->len) == 0);
        case vtype_array: return same_array(ours, theirs);
        case vtype_dict: return same_dict(ours, theirs);
        default: return same_number(ours, theirs);
    }
}

bool differs_by_design(const pz_read_error_t &ours, const json_error_t &theirs, const uint8_t *data, size_t size) {
    return json_error_code(&theirs) == json_error_numeric_overflow || ours.code == PZ_READ_INVALID_KEY ||
           ours.code == PZ_READ_TOO_DEEP || ours.code == PZ_READ_NUL_BYTE || (size >= 3 && std::memcmp(data, "\xEF\xBB\xBF", 3) == 0);
}

// Every reading flag at once.
constexpr unsigned kAllFlags = PZ_JSON_READ_COMMENTS | PZ_JSON_READ_TRAILING_COMMAS | PZ_JSON_READ_NONFINITE |
                                PZ_JSON_READ_REFUSE_OVERFLOW | PZ_JSON_READ_REFUSE_DUPLICATES;

// The read with every flag beside the strict one (`ours`, null when
// refused) and jansson's, refusing duplicate keys.
void check_flags(const uint8_t *data, size_t size, const pz_variant_t *ours) {
    pz_read_error_t error;
    pz_variant_t *flagged = pz_variant_from_json_opts(reinterpret_cast<const char *>(data), size, kAllFlags, &error);
    json_error_t their_error;
    json_t *theirs = json_loadb(reinterpret_cast<const char *>(data), size,
                                JSON_DECODE_ANY | JSON_ALLOW_NUL | JSON_REJECT_DUPLICATES, &their_error);
    if (flagged == nullptr && (error.reason[0] == '\0' || error.offset > size)) std::abort();
    const bool refused_by_flag = error.code == PZ_READ_OUT_OF_RANGE || error.code == PZ_READ_DUPLICATE_KEY;
    if (ours != nullptr && (flagged != nullptr ? !pz_variant_equal(flagged, ours) : !refused_by_flag)) std::abort();
    const bool by_flags = ours == nullptr && flagged != nullptr && theirs == nullptr;
    if (!by_flags && ((flagged == nullptr) != (theirs == nullptr) || (flagged != nullptr && !same(flagged, theirs)))) {
        if (!differs_by_design(error, their_error, data, size)) std::abort();
    }
    pz_variant_unref(flagged);
    json_decref(theirs);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    pz_read_error_t our_error;
    pz_variant_t *ours = pz_variant_from_json_n(reinterpret_cast<const char *>(data), size, &our_error);
    json_error_t their_error;
    json_t *theirs = json_loadb(reinterpret_cast<const char *>(data), size, JSON_DECODE_ANY | JSON_ALLOW_NUL,
                                &their_error);
    if (ours != nullptr && our_error.code != PZ_READ_OK) std::abort();
    if (ours == nullptr && (our_error.reason[0] == '\0' || our_error.offset > size)) std::abort();
    if ((ours == nullptr) != (theirs == nullptr) || (ours != nullptr && !same(ours, theirs))) {
        if (!differs_by_design(our_error, their_error, data, size)) std::abort();
    }
    check_flags(data, size, ours);
    pz_variant_unref(ours);
    json_decref(theirs);
    return 0;
}
