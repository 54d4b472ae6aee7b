// The typed dump writer: one typed object per value, {"<kind>": value},
// built as a cJSON tree and printed unformatted.
#include <algorithm>
#include <climits>

#include "pz_cjson64.h"
#include "pz_hex.h"
#include "pz_variant_dump.h"
#include "pz_variant_internal.h"

using namespace pz;
using namespace pz::cjson64;

namespace {

void vtype_dump(cJSON *node, const pz_variant_t *v);

// cJSON_CreateString copies, so the temporary text goes right after.
cJSON *string_item(pz_string_t *text) {
    if (text == nullptr) return nullptr;
    cJSON *item = cJSON_CreateString(text->cstr);
    pz_string_unref(text);
    return item;
}

cJSON *pointer_item(void *ptr) { return string_item(pz_string_format("%p", ptr)); }

template <class T>
cJSON *scalar_item(T value) {
    if constexpr (std::is_same_v<T, bool>) {
        return cJSON_CreateBool(value);
    } else if constexpr (std::is_floating_point_v<T>) {
        return cJSON_CreateDouble(static_cast<double>(value));
    } else if constexpr (std::is_pointer_v<T>) {
        return pointer_item(value);
    } else if constexpr (std::is_signed_v<T>) {
        return cJSON_CreateInt64(value);
    } else {
        return cJSON_CreateUInt64(value);
    }
}

cJSON *bytes_item(const pz_variant_t *v) {
    if (v->len > INT_MAX / 2) return nullptr;  // its text would not fit an int
    return string_item(pz_hex(v->ptr_val, static_cast<int>(v->len)));
}

cJSON *array_item(const pz_variant_t *v) {
    cJSON *items = cJSON_CreateArray();
    const pz_array_t *a = array_of(v);
    if (items == nullptr || a == nullptr) return items;
    for (size_t i = 0; i < a->len; ++i) {
        cJSON *element = cJSON_CreateObject();
        if (element == nullptr) continue;
        vtype_dump(element, array_slots(a)[i]);
        cJSON_AddItemToArray(items, element);
    }
    return items;
}

bool dump_entry(void *key, void *value, void *members) {
    cJSON *element = cJSON_CreateObject();
    if (element != nullptr) {
        vtype_dump(element, static_cast<const pz_variant_t *>(value));
        // Keys outlive the tree, which lives only through the dump.
        cJSON_SetObjectItem(static_cast<cJSON *>(members), static_cast<pz_string_t *>(key)->cstr,
                            element);
    }
    return true;
}

cJSON *dict_item(const pz_variant_t *v) {
    cJSON *members = cJSON_CreateObject();
    pz_hash_table_t *table = dict_of(v);
    if (members != nullptr && table != nullptr) pz_hash_table_foreach(table, dump_entry, members);
    return members;
}

cJSON *member_value(const pz_variant_t *v) {
    switch (v->vt) {
#define PZ_DUMP_SCALAR(name, ctype, code, va_type) \
    case code:                                     \
        return scalar_item(load<ctype>(v));
        PZ_SCALAR_KINDS(PZ_DUMP_SCALAR)
#undef PZ_DUMP_SCALAR
        case vtype_null:
            return cJSON_CreateNull();
        case vtype_string:
            // The value outlives the tree, so its text is borrowed, not
            // copied. The empty string (a null text) is written "" so that
            // it reads back as itself.
            return cJSON_CreateStringReference(v->str_val != nullptr ? v->str_val : "");
        case vtype_bytes:
            return bytes_item(v);
        case vtype_autoptr:
        case vtype_sharedptr:
            return pointer_item(v->ptr_val);
        case vtype_array:
            return array_item(v);
        case vtype_dict:
            return dict_item(v);
        default:
            return nullptr;
    }
}

void vtype_dump(cJSON *node, const pz_variant_t *v) {
    if (v == nullptr) return;
    const char *name = kDumpNameOf[static_cast<unsigned char>(v->vt)];
    if (name != nullptr) cJSON_SetObjectItem(node, name, member_value(v));
}

// The printed dump, from cJSON's allocator; null when it cannot be made.
char *print(const pz_variant_t *v) {
    cJSON *tree = dump_tree(v);
    if (tree == nullptr) return nullptr;
    char *text = cJSON_PrintUnformatted(tree);
    cJSON_Delete(tree);
    return text;
}

// The one message, cut to fit and always terminated within `max_len`.
void write_message(char *buf, uint32_t max_len) {
    static constexpr char kMessage[] = "not enough buffer";
    if (buf == nullptr || max_len == 0) return;
    const unsigned long n = std::min<unsigned long>(sizeof kMessage - 1, max_len - 1);
    pz_strncpy(buf, kMessage, n);
    buf[n] = '\0';
}

}  // namespace

cJSON *pz::dump_tree(const pz_variant_t *v) {
    if (!nesting_within(v, PZ_VARIANT_MAX_DEPTH)) return nullptr;
    cJSON *root = cJSON_CreateObject();
    if (root != nullptr) vtype_dump(root, v);
    return root;
}

extern "C" {

char *pz_variant_dump(const pz_variant_t *v) {
    if (v == nullptr) return nullptr;
    char *text = print(v);
    if (text == nullptr) return nullptr;
    const size_t size = std::strlen(text) + 1;
    auto *copy = static_cast<char *>(HAL_Malloc(static_cast<unsigned long>(size)));
    if (copy != nullptr) std::memcpy(copy, text, size);
    cJSON_free(text);
    return copy;
}

int32_t pz_variant_dump_buf(const pz_variant_t *v, char *buf, uint32_t max_len) {
    if (v == nullptr) return -1;
    char *text = print(v);
    const size_t len = text != nullptr ? std::strlen(text) : 0;
    int32_t result = -2;
    if (text != nullptr && len <= INT32_MAX && (buf == nullptr || len < max_len)) {
        if (buf != nullptr) std::memcpy(buf, text, len + 1);
        result = static_cast<int32_t>(len);
    } else {
        write_message(buf, max_len);
    }
    cJSON_free(text);
    return result;
}

}  // extern "C"
