// The typed dump's reader, which rebuilds a value from the text the writer
// makes. It is lenient: an element or member it cannot read is left out and
// the rest is still returned.
#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#if !PZ_NO_THREADS
#include <mutex>
#endif
#include <string_view>

#include "text/cjson64.h"
#include "base/pz_hex.h"
#include "io/key_cache.h"
#include "io/read_error.h"
#include "text/dump.h"
#include "containers/arrays.h"
#include "containers/dicts.h"

using namespace pz;
using namespace pz::cjson64;

namespace {

// One read on its way down the tree: the text's exact values, how deep it
// is, and why the last value gave null.
struct reader {
    exact_values &exact;
    key_cache &keys;
    int depth = 0;       // of the container being read, the top value being 1
    bool stopped = false;
    pz::fault why = pz::fault::none;

    // Null, noting why. The dump leaves such an element or member out; a
    // nesting too deep fails the whole read.
    pz_variant_t *fail(pz::fault f, bool whole = false) {
        why = f;
        stopped |= whole;
        return nullptr;
    }
    pz_variant_t *made(pz_variant_t *v) { return v != nullptr ? v : fail(fault::out_of_memory); }

    // The dump hands every number it meets to the exact values, in text
    // order: those in what it leaves unread pass here. The walk recurses as
    // deep as the parser's nesting limit allows.
    void pass_over(const cJSON *item) {
        if (stopped) return;
        exact.take(item);
        for (const cJSON *child = item->child; child != nullptr; child = child->next) pass_over(child);
    }
};

pz_variant_t *dump_to_variant(const cJSON *jobj, reader &r);

// cJSON's parser records its error position in one process-wide variable,
// so two of our parses must not run at once. The walk runs outside the lock.
// `end` receives where parsing stopped: past the value, or at the error.
cJSON *parse(const char *text, const char **end) {
#if !PZ_NO_THREADS
    static std::mutex parsing;
    const std::lock_guard<std::mutex> lock(parsing);
#endif
    return cJSON_ParseWithOpts(text, end, false);
}

// The kinds whose names start with each letter, in table order, so that a
// name is compared only with those that can match.
constexpr auto kKindsByLetter = [] {
    struct table {
        int8_t of[26][4];
    } t{};
    for (auto &letter : t.of) {
        for (int8_t &index : letter) index = -1;
    }
    for (size_t i = 0; i < std::size(kDumpNames); ++i) {
        int8_t *slot = t.of[kDumpNames[i].name[0] - 'a'];
        while (*slot >= 0) ++slot;  // a fifth name of one letter fails to compile
        *slot = static_cast<int8_t>(i);
    }
    return t;
}();

// The kind a type name stands for: every leading "u" is skipped (the
// unsigned mark, which only integer names heed), then the name must start
// with a kind's name; what follows it is not examined. Null for none.
const dump_name *kind_of(std::string_view name, bool *unsigned_mark) {
    const size_t marks = std::min(name.find_first_not_of('u'), name.size());
    name.remove_prefix(marks);
    *unsigned_mark = marks > 0;
    if (name.empty() || name[0] < 'a' || name[0] > 'z') return nullptr;
    for (const int8_t index : kKindsByLetter.of[name[0] - 'a']) {
        if (index < 0) break;
        if (name.starts_with(kDumpNames[index].name)) return &kDumpNames[index];
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
pz_variant_t *scalar_value(pz_variant_t *(*make)(T), const cJSON *item, reader &r) {
    if constexpr (std::is_pointer_v<T>) {
        return r.fail(fault::pointer_not_read);  // it would point at nothing
    } else {
        T value;
        if constexpr (std::is_same_v<T, bool>) {
            if (is_bool(item)) {
                value = is_kind(item, cJSON_True);
            } else if (is_kind(item, cJSON_Number)) {
                value = cJSON_GetInt64Value(item, &r.exact) != 0;
            } else {
                return r.fail(fault::kind_mismatch);
            }
        } else if (!is_kind(item, cJSON_Number)) {
            return r.fail(fault::kind_mismatch);
        } else if constexpr (std::is_same_v<T, float>) {
            value = nearest_float(item->valuedouble);
        } else if constexpr (std::is_same_v<T, double>) {
            value = item->valuedouble;
        } else if constexpr (std::is_signed_v<T>) {
            value = static_cast<T>(cJSON_GetInt64Value(item, &r.exact));  // the width's low bits
        } else {
            value = static_cast<T>(cJSON_GetUInt64Value(item, &r.exact));
        }
        return r.made(make(value));
    }
}

// The string with every byte, a NUL (written \u0000) included.
pz_variant_t *string_value(const cJSON *item, size_t len, reader &r) {
    if (len > UINT32_MAX - 1) return r.fail(fault::string_too_long);
    return r.made(vstr_sized_new(item->valuestring, static_cast<uint32_t>(len)));
}

pz_variant_t *bytes_value(const cJSON *item, reader &r) {
    const char *text = item->valuestring;
    const size_t n = std::strlen(text);
    if (n > INT_MAX) return r.fail(fault::bytes_too_long);
    uint8_t *buf = pz_hex2bytes(text, static_cast<int>(n));
    if (buf == nullptr) return r.fail(fault::bytes_not_hex);
    const auto len = static_cast<uint32_t>(n / 2);
    pz_variant_t *v = vstr_buf_new_owned(buf, len);
    if (v == nullptr || len == 0) HAL_Free(buf);  // not taken over
    return r.made(v);
}

// The number of items in cJSON's list, so that a container is sized once.
size_t child_count(const cJSON *item) {
    size_t n = 0;
    for (const cJSON *child = item->child; child != nullptr; child = child->next) ++n;
    return n;
}

// An element or member value, in the reader's format.
pz_variant_t *element_value(const cJSON *item, reader &r) {
    if (r.depth >= PZ_VARIANT_MAX_DEPTH) return r.fail(fault::too_deep, true);
    return dump_to_variant(item, r);
}

struct level {
    explicit level(reader &r) : r_(r) { ++r_.depth; }
    ~level() { --r_.depth; }
    reader &r_;
};

pz_variant_t *array_value(const cJSON *item, reader &r) {
    pz_variant_t *va = array_new_for(child_count(item));
    if (array_of(va) == nullptr) {  // the record or its storage is missing
        pz_variant_unref(va);
        r.pass_over(item);
        return r.fail(fault::out_of_memory);
    }
    const level in(r);
    // Along `next` rather than by index, which would rescan the list.
    for (const cJSON *element = item->child; element != nullptr && !r.stopped; element = element->next) {
        pz_variant_t *value = element_value(element, r);
        if (value != nullptr && !array_append_moved(va, value)) r.fail(fault::out_of_memory);
    }
    if (!r.stopped) return va;
    pz_variant_unref(va);
    return nullptr;
}

pz_variant_t *dict_value(const cJSON *item, reader &r) {
    pz_variant_t *dict = dict_new_for(child_count(item));
    if (dict_of(dict) == nullptr) {
        pz_variant_unref(dict);
        r.pass_over(item);
        return r.fail(fault::out_of_memory);
    }
    const level in(r);
    for (const cJSON *member = item->child; member != nullptr && !r.stopped; member = member->next) {
        // A name holding a NUL cannot be a key, which ends at its first NUL.
        const char *name = member->string;
        const bool cut = r.exact.name_cut(member);
        // Neither can an empty name; the dump leaves such members out.
        if (cut || *name == '\0') {
            r.pass_over(member);
            r.fail(cut ? fault::nul_in_key : fault::empty_key);
            continue;
        }
        pz_variant_t *value = element_value(member, r);
        if (value == nullptr) continue;
        const size_t len = std::strlen(name);
        const uint32_t hash = pz_hash_bytes(name, len);
        pz_string_t *key = r.keys.key(name, len, hash);
        if (key == nullptr) {
            pz_variant_unref(value);
            r.fail(fault::out_of_memory);
            continue;
        }
        // Takes both references over, also when it fails. A later duplicate
        // wins.
        if (!pz_hash_table_insert_hashed(dict_of(dict), key, value, hash)) r.fail(fault::out_of_memory);
    }
    if (!r.stopped) return dict;
    pz_variant_unref(dict);
    return nullptr;
}

// The value of a typed object's first member `item`, whose name is its kind.
pz_variant_t *typed_value(const cJSON *item, reader &r) {
    const char *name = item->string;
    bool unsigned_mark;
    const dump_name *kind = kind_of(name, &unsigned_mark);
    const char vt = kind == nullptr ? static_cast<char>(vtype_null) : unsigned_mark ? unsigned_kind(kind->vt) : kind->vt;
    const bool descends = kind != nullptr && ((vt == vtype_array && is_kind(item, cJSON_Array)) ||
                                              (vt == vtype_dict && is_kind(item, cJSON_Object)));
    if (!descends) r.pass_over(item);  // a number, or a container left unread
    if (is_kind(item, cJSON_NULL) && name[0] != 'n') return r.fail(fault::kind_mismatch);
    if (kind == nullptr) return r.fail(fault::unknown_kind);
    switch (vt) {
#define PZ_READ_SCALAR(name, ctype, code, va_type) \
    case code:                                     \
        return scalar_value<ctype>(pz_variant_##name##_new, item, r);
        PZ_SCALAR_KINDS(PZ_READ_SCALAR)
#undef PZ_READ_SCALAR
        case vtype_null:
            return r.made(new_record(vtype_null));
        case vtype_string:
            return is_kind(item, cJSON_String) ? string_value(item, r.exact.string_length(item), r)
                                               : r.fail(fault::kind_mismatch);
        case vtype_bytes:
            return is_kind(item, cJSON_String) ? bytes_value(item, r) : r.fail(fault::kind_mismatch);
        case vtype_array:
            return descends ? array_value(item, r) : r.fail(fault::kind_mismatch);
        case vtype_dict:
            return descends ? dict_value(item, r) : r.fail(fault::kind_mismatch);
        default:  // the pointer kinds
            return r.fail(fault::pointer_not_read);
    }
}

pz_variant_t *dump_to_variant(const cJSON *jobj, reader &r) {
    if (!is_kind(jobj, cJSON_Object) || jobj->child == nullptr || jobj->child->string == nullptr) {
        r.pass_over(jobj);
        return r.fail(fault::not_typed_object);
    }
    // Only the first member counts; later ones are ignored.
    pz_variant_t *v = typed_value(jobj->child, r);
    for (const cJSON *later = jobj->child->next; later != nullptr; later = later->next) r.pass_over(later);
    return v;
}

// Where reading `text` as strict JSON stops and why, in `fault` (code
// PZ_READ_OK when it reads whole): the first thing wrong with the text,
// found by the same lexer as plain JSON. Only a refused read comes here.
void json_fault(const char *text, pz_read_error_t *fault) {
    pz_variant_unref(pz_variant_from_json_n(text, std::strlen(text), fault));
}

// Notes why and where when `error` is given; returns null.
pz_variant_t *refuse(pz_read_error_t *error, const char *text, const char *at, fault why) {
    if (error == nullptr) return nullptr;
    const size_t len = text != nullptr ? std::strlen(text) : 0;
    const size_t offset = at != nullptr && text != nullptr ? static_cast<size_t>(at - text) : 0;
    return read_fault(error, why, text, len, offset);
}

// Why cJSON refused `text`, stopping at `end`: the text's first fault as
// strict JSON. A text that is strict JSON all the same is refused where
// cJSON stopped.
pz_variant_t *refuse_text(pz_read_error_t *error, const char *text, const char *end) {
    if (error == nullptr) return nullptr;
    json_fault(text, error);
    return error->code != PZ_READ_OK ? nullptr : refuse(error, text, end, fault::not_json);
}

// A read that the walk refused for `why`: a nesting too deep where the
// lexer finds it, anything else at the value.
pz_variant_t *refuse_value(pz_read_error_t *error, const char *text, fault why) {
    if (error == nullptr) return nullptr;
    if (why == fault::too_deep) {
        json_fault(text, error);
        if (error->code == PZ_READ_TOO_DEEP) return nullptr;
    }
    return refuse(error, text, text + std::strspn(text, " \t\r\n"), why);
}

// Reads `text` as the dump.
pz_variant_t *read_text(const char *text, pz_read_error_t *error) {
    if (text == nullptr) return refuse(error, text, nullptr, fault::no_text);
    const char *end = nullptr;
    cJSON *root = parse(text, &end);
    if (root == nullptr) return refuse_text(error, text, end);
    exact_values exact(text, static_cast<size_t>(end - text), root);
    key_cache keys;
    reader r{exact, keys};
    pz_variant_t *v = dump_to_variant(root, r);
    exact.release();
    cJSON_Delete(root);
    // What went wrong first, if anything: the walk, or memory for the exact
    // values.
    const fault why = v == nullptr && r.why != fault::none ? r.why
                      : v == nullptr || exact.failed()     ? fault::out_of_memory
                                                           : fault::none;
    if (why == fault::none) {
        read_ok(error);
        return v;
    }
    pz_variant_unref(v);
    return refuse_value(error, text, why);
}

}  // namespace

extern "C" {

pz_variant_t *pz_variant_from_dump(const char *dump) { return read_text(dump, nullptr); }

pz_variant_t *pz_variant_from_dump_ex(const char *text, pz_read_error_t *error) { return read_text(text, error); }

}  // extern "C"
