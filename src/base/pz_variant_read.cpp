// The typed dump reader: rebuilds a value from the text the writer makes.
// It is lenient: an element or member it cannot read is left out and the
// rest is still returned.
#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <mutex>
#include <string_view>

#include "pz_cjson64.h"
#include "pz_hex.h"
#include "pz_variant_dump.h"
#include "pz_variant_internal.h"

using namespace pz;
using namespace pz::cjson64;

namespace {

pz_variant_t *dump_to_variant(const cJSON *jobj, exact_numbers &exact);

// cJSON_Parse records its error position in one process-wide variable, so
// two of our parses must not run at once. The walk runs outside the lock.
cJSON *parse(const char *text) {
    static std::mutex parsing;
    const std::lock_guard<std::mutex> lock(parsing);
    return cJSON_Parse(text);
}

// The kind a type name stands for: every leading "u" is skipped (the
// unsigned mark, which only integer names heed), then the name must start
// with a kind's name; what follows it is not examined. Null for none.
const dump_name *kind_of(std::string_view name, bool *unsigned_mark) {
    const size_t marks = std::min(name.find_first_not_of('u'), name.size());
    name.remove_prefix(marks);
    *unsigned_mark = marks > 0;
    // The first letter is compared inline: most names differ there, and
    // the full comparison is a library call.
    for (const dump_name &kind : kDumpNames) {
        if (!name.empty() && name[0] == kind.name[0] && name.starts_with(kind.name)) return &kind;
    }
    return nullptr;
}

char unsigned_kind(char vt) {
    switch (vt) {
        case vtype_int8: return vtype_uint8;
        case vtype_int16: return vtype_uint16;
        case vtype_int32: return vtype_uint32;
        case vtype_int64: return vtype_uint64;
        default: return vt;
    }
}

// The nearest float, infinite beyond the largest (past its rounding
// boundary), without the undefined out-of-range conversion.
float nearest_float(double d) {
    constexpr double kRoundsToInfinity = 0x1.ffffffp127;  // FLT_MAX + half an ulp
    if (std::fabs(d) >= kRoundsToInfinity) return d > 0 ? INFINITY : -INFINITY;
    if (std::fabs(d) > FLT_MAX) return d > 0 ? FLT_MAX : -FLT_MAX;
    return static_cast<float>(d);
}

// The value of `item` in the kind that `make` constructs.
template <class T>
pz_variant_t *scalar_value(pz_variant_t *(*make)(T), const cJSON *item, exact_numbers &exact) {
    if constexpr (std::is_pointer_v<T>) {
        return nullptr;  // an address read back would point at nothing
    } else {
        T value;
        if constexpr (std::is_same_v<T, bool>) {
            if (cJSON_IsBool(item)) {
                value = cJSON_IsTrue(item);
            } else if (cJSON_IsNumber(item)) {
                value = cJSON_GetInt64Value(item, &exact) != 0;
            } else {
                return nullptr;
            }
        } else if (!cJSON_IsNumber(item)) {
            return nullptr;
        } else if constexpr (std::is_same_v<T, float>) {
            value = nearest_float(cJSON_GetNumberValue(item));
        } else if constexpr (std::is_same_v<T, double>) {
            value = cJSON_GetNumberValue(item);
        } else if constexpr (std::is_signed_v<T>) {
            value = static_cast<T>(cJSON_GetInt64Value(item, &exact));  // the width's low bits
        } else {
            value = static_cast<T>(cJSON_GetUInt64Value(item, &exact));
        }
        return make(value);
    }
}

pz_variant_t *bytes_value(const cJSON *item) {
    const char *text = cJSON_GetStringValue(item);
    if (text == nullptr) return nullptr;
    const size_t n = std::strlen(text);
    if (n > INT_MAX) return nullptr;
    uint8_t *buf = pz_hex2bytes(text, static_cast<int>(n));
    if (buf == nullptr) return nullptr;
    const auto len = static_cast<uint32_t>(n / 2);
    pz_variant_t *v = vstr_buf_new_owned(buf, len);
    if (v == nullptr || len == 0) HAL_Free(buf);  // not taken over
    return v;
}

// The number of items in cJSON's list, so that a container is sized once.
size_t child_count(const cJSON *item) {
    size_t n = 0;
    for (const cJSON *child = item->child; child != nullptr; child = child->next) ++n;
    return n;
}

pz_variant_t *array_value(const cJSON *item, exact_numbers &exact) {
    if (!cJSON_IsArray(item)) return nullptr;
    pz_variant_t *va = array_new_for(child_count(item));
    if (array_of(va) == nullptr) {  // the record or its storage is missing
        pz_variant_unref(va);
        return nullptr;
    }
    // Along `next` rather than by index, which would rescan the list.
    for (const cJSON *element = item->child; element != nullptr; element = element->next) {
        pz_variant_t *value = dump_to_variant(element, exact);
        if (value != nullptr) array_append_moved(va, value);
    }
    return va;
}

pz_variant_t *dict_value(const cJSON *item, exact_numbers &exact) {
    if (!cJSON_IsObject(item)) return nullptr;
    pz_variant_t *dict = dict_new_for(child_count(item));
    if (dict_of(dict) == nullptr) {
        pz_variant_unref(dict);
        return nullptr;
    }
    for (const cJSON *member = item->child; member != nullptr; member = member->next) {
        if (member->string == nullptr) continue;
        // A later duplicate wins.
        dict_put_moved(dict, member->string, dump_to_variant(member, exact));
    }
    return dict;
}

pz_variant_t *dump_to_variant(const cJSON *jobj, exact_numbers &exact) {
    if (!cJSON_IsObject(jobj) || jobj->child == nullptr || jobj->child->string == nullptr) {
        return nullptr;
    }
    // Only the first member counts; later ones are ignored.
    const cJSON *item = jobj->child;
    const char *name = item->string;
    if (cJSON_IsNull(item) && name[0] != 'n') return nullptr;
    bool unsigned_mark;
    const dump_name *kind = kind_of(name, &unsigned_mark);
    if (kind == nullptr) return nullptr;
    const char vt = unsigned_mark ? unsigned_kind(kind->vt) : kind->vt;
    switch (vt) {
#define PZ_READ_SCALAR(name, ctype, code, va_type) \
    case code:                                     \
        return scalar_value<ctype>(pz_variant_##name##_new, item, exact);
        PZ_SCALAR_KINDS(PZ_READ_SCALAR)
#undef PZ_READ_SCALAR
        case vtype_null:
            return new_record(vtype_null);
        case vtype_string:
            return cJSON_IsString(item) ? pz_variant_str_new(cJSON_GetStringValue(item)) : nullptr;
        case vtype_bytes:
            return cJSON_IsString(item) ? bytes_value(item) : nullptr;
        case vtype_array:
            return array_value(item, exact);
        case vtype_dict:
            return dict_value(item, exact);
        default:  // unknown names; pointer kinds
            return nullptr;
    }
}

}  // namespace

extern "C" {

pz_variant_t *pz_variant_from_dump(const char *dump) {
    if (dump == nullptr) return nullptr;
    cJSON *root = parse(dump);
    if (root == nullptr) return nullptr;
    pz_variant_t *v;
    {
        // Its blocks go before the tree's, whose many frees they would
        // otherwise follow.
        exact_numbers exact(dump, root);
        v = dump_to_variant(root, exact);
    }
    cJSON_Delete(root);
    return v;
}

}  // extern "C"
