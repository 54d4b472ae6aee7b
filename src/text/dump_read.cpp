// The typed dump's reader, which rebuilds a value from the text the writer
// makes: it walks cJSON's tree of the text and hands the values it finds to
// the value builder. It is lenient: an element or member it cannot read is
// left out and the rest is still returned.
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
#include "io/value_builder.h"
#include "text/dump.h"
#include "core/record.h"

using namespace pz;
using namespace pz::cjson64;

namespace {

// How one element or member fared: handed to the builder, left out (as
// the dump's rules say), or the read ended (the builder refused).
enum class outcome { given, left_out, ended };

// One read on its way down the tree: the text's exact values, the builder
// of the value, and why the last value was left out. The tree has no
// offsets: the builder's events are all at 0, and a refusal's place is
// found in the text afterwards.
struct reader {
    exact_values &exact;
    value_builder &out;
    pz::fault why = pz::fault::none;

    outcome leave_out(pz::fault f) {
        why = f;
        return outcome::left_out;
    }
    static outcome given(bool taken) { return taken ? outcome::given : outcome::ended; }

    // The dump hands every number it meets to the exact values, in text
    // order: those in what it leaves unread pass here. The walk recurses as
    // deep as the parser's nesting limit allows.
    void pass_over(const cJSON *item) {
        exact.take(item);
        for (const cJSON *child = item->child; child != nullptr; child = child->next) pass_over(child);
    }
};

outcome dump_to_variant(const cJSON *jobj, reader &r);

// cJSON's parser records its error position in one process-wide variable,
// so two of our parses must not run at once. The walk runs outside the lock.
// `end` receives where parsing stopped: past the value, or at the error. A
// NUL-terminated text is parsed as cJSON parses one; any other by its length.
cJSON *parse(const char *text, size_t len, bool terminated, const char **end) {
#if !PZ_NO_THREADS
    static std::mutex parsing;
    const std::lock_guard<std::mutex> lock(parsing);
#endif
    return terminated ? cJSON_ParseWithOpts(text, end, false) : cJSON_ParseWithLengthOpts(text, len, end, false);
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

// The value of `item` as the kind `vt` of C type T.
template <class T, char vt>
outcome scalar_value(const cJSON *item, reader &r) {
    if constexpr (std::is_pointer_v<T>) {
        return r.leave_out(fault::pointer_not_read);  // it would point at nothing
    } else {
        T value;
        if constexpr (std::is_same_v<T, bool>) {
            if (is_bool(item)) {
                value = is_kind(item, cJSON_True);
            } else if (is_kind(item, cJSON_Number)) {
                value = cJSON_GetInt64Value(item, &r.exact) != 0;
            } else {
                return r.leave_out(fault::kind_mismatch);
            }
        } else if (!is_kind(item, cJSON_Number)) {
            return r.leave_out(fault::kind_mismatch);
        } else if constexpr (std::is_same_v<T, float>) {
            value = nearest_float(item->valuedouble);
        } else if constexpr (std::is_same_v<T, double>) {
            value = item->valuedouble;
        } else if constexpr (std::is_signed_v<T>) {
            value = static_cast<T>(cJSON_GetInt64Value(item, &r.exact));  // the width's low bits
        } else {
            value = static_cast<T>(cJSON_GetUInt64Value(item, &r.exact));
        }
        pz_variant_t record = scalar_record(vt);
        store(&record, value);
        return r.given(r.out.scalar(record, 0));
    }
}

// The string with every byte, a NUL (written \u0000) included.
outcome string_value(const cJSON *item, size_t len, reader &r) {
    if (len > UINT32_MAX - 1) return r.leave_out(fault::string_too_long);
    return r.given(r.out.text(vtype_string, item->valuestring, len, 0));
}

outcome bytes_value(const cJSON *item, reader &r) {
    const char *text = item->valuestring;
    const size_t n = std::strlen(text);
    if (n > INT_MAX) return r.leave_out(fault::bytes_too_long);
    uint8_t *buf = pz_hex2bytes(text, static_cast<int>(n));
    if (buf == nullptr) return r.leave_out(fault::bytes_not_hex);
    const auto len = static_cast<uint32_t>(n / 2);
    pz_variant_t *v = vstr_buf_new_owned(buf, len);
    if (v == nullptr || len == 0) HAL_Free(buf);  // not taken over
    return r.given(r.out.made(v, 0));
}

// An element or member value, in the reader's format; too deep a nesting
// ends the whole read, even where the value would be left out.
outcome element_value(const cJSON *item, reader &r) {
    return r.out.value_fits(0) ? dump_to_variant(item, r) : outcome::ended;
}

outcome array_value(const cJSON *item, reader &r) {
    if (!r.out.begin_array(kUnknownCount, 0)) return outcome::ended;
    // Along `next` rather than by index, which would rescan the list.
    for (const cJSON *element = item->child; element != nullptr; element = element->next) {
        if (element_value(element, r) == outcome::ended) return outcome::ended;
    }
    return r.given(r.out.end_array(0));
}

// A member whose name a dictionary can hold, its key given to the builder
// once its value is known to be read.
outcome member_value(const cJSON *member, reader &r) {
    const char *name = member->string;
    // cJSON's name of a key holding a NUL ends at its first NUL.
    const fault why = r.exact.name_cut(member) ? fault::nul_in_key
                                               : value_builder::key_fault(name, std::strlen(name), key_nul::none);
    if (why != fault::none) {
        r.pass_over(member);
        return r.leave_out(why);
    }
    if (!r.out.value_fits(0) || !r.out.key(name, std::strlen(name), key_nul::none, 0)) return outcome::ended;
    const outcome got = dump_to_variant(member, r);
    if (got == outcome::left_out) r.out.forget_key();
    return got;
}

outcome dict_value(const cJSON *item, reader &r) {
    if (!r.out.begin_dict(kUnknownCount, 0)) return outcome::ended;
    for (const cJSON *member = item->child; member != nullptr; member = member->next) {
        if (member_value(member, r) == outcome::ended) return outcome::ended;
    }
    // A later duplicate wins.
    return r.given(r.out.end_dict(0));
}

// The value of a typed object's first member `item`, whose name is its kind.
outcome typed_value(const cJSON *item, reader &r) {
    const char *name = item->string;
    bool unsigned_mark;
    const dump_name *kind = kind_of(name, &unsigned_mark);
    const char vt = kind == nullptr ? static_cast<char>(vtype_null) : unsigned_mark ? unsigned_kind(kind->vt) : kind->vt;
    const bool descends = kind != nullptr && ((vt == vtype_array && is_kind(item, cJSON_Array)) ||
                                              (vt == vtype_dict && is_kind(item, cJSON_Object)));
    if (!descends) r.pass_over(item);  // a number, or a container left unread
    if (is_kind(item, cJSON_NULL) && name[0] != 'n') return r.leave_out(fault::kind_mismatch);
    if (kind == nullptr) return r.leave_out(fault::unknown_kind);
    switch (vt) {
#define PZ_READ_SCALAR(name, ctype, code, va_type) \
    case code:                                     \
        return scalar_value<ctype, code>(item, r);
        PZ_SCALAR_KINDS(PZ_READ_SCALAR)
#undef PZ_READ_SCALAR
        case vtype_null:
            return r.given(r.out.scalar(scalar_record(vtype_null), 0));
        case vtype_string:
            return is_kind(item, cJSON_String) ? string_value(item, r.exact.string_length(item), r)
                                               : r.leave_out(fault::kind_mismatch);
        case vtype_bytes:
            return is_kind(item, cJSON_String) ? bytes_value(item, r) : r.leave_out(fault::kind_mismatch);
        case vtype_array:
            return descends ? array_value(item, r) : r.leave_out(fault::kind_mismatch);
        case vtype_dict:
            return descends ? dict_value(item, r) : r.leave_out(fault::kind_mismatch);
        default:  // the pointer kinds
            return r.leave_out(fault::pointer_not_read);
    }
}

outcome dump_to_variant(const cJSON *jobj, reader &r) {
    if (!is_kind(jobj, cJSON_Object) || jobj->child == nullptr || jobj->child->string == nullptr) {
        r.pass_over(jobj);
        return r.leave_out(fault::not_typed_object);
    }
    // Only the first member counts; later ones are ignored.
    const outcome got = typed_value(jobj->child, r);
    if (got == outcome::ended) return got;
    for (const cJSON *later = jobj->child->next; later != nullptr; later = later->next) r.pass_over(later);
    return got;
}

// Where reading the `len` bytes of `text` as strict JSON stops and why, in
// `fault` (code PZ_READ_OK when it reads whole): the first thing wrong with
// the text, found by the same lexer as plain JSON. Only a refused read
// comes here.
void json_fault(const char *text, size_t len, pz_read_error_t *fault) {
    pz_variant_unref(pz_variant_from_json_n(text, len, fault));
}

// Notes why and where when `error` is given; returns null.
pz_variant_t *refuse(pz_read_error_t *error, const char *text, size_t len, const char *at, fault why) {
    if (error == nullptr) return nullptr;
    const size_t offset = at != nullptr && text != nullptr ? static_cast<size_t>(at - text) : 0;
    return read_fault(error, why, text, len, offset);
}

// Why cJSON refused `text`, stopping at `end`: the text's first fault as
// strict JSON. A text that is strict JSON all the same is refused where
// cJSON stopped.
pz_variant_t *refuse_text(pz_read_error_t *error, const char *text, size_t len, const char *end) {
    if (error == nullptr) return nullptr;
    json_fault(text, len, error);
    return error->code != PZ_READ_OK ? nullptr : refuse(error, text, len, end, fault::not_json);
}

// A read that the walk refused for `why`: a nesting too deep where the
// lexer finds it, anything else at the value.
pz_variant_t *refuse_value(pz_read_error_t *error, const char *text, size_t len, fault why) {
    if (error == nullptr) return nullptr;
    if (why == fault::too_deep) {
        json_fault(text, len, error);
        if (error->code == PZ_READ_TOO_DEEP) return nullptr;
    }
    size_t start = 0;
    while (start < len && std::strchr(" \t\r\n", text[start]) != nullptr && text[start] != '\0') ++start;
    return refuse(error, text, len, text + start, why);
}

// Reads the `len` bytes of `text` as the dump; `terminated` when a NUL
// follows them.
pz_variant_t *read_text(const char *text, size_t len, bool terminated, pz_read_error_t *error) {
    if (text == nullptr) return refuse(error, text, 0, nullptr, fault::no_text);
    const char *end = nullptr;
    cJSON *root = parse(text, len, terminated, &end);
    if (root == nullptr) return refuse_text(error, text, len, end);
    exact_values exact(text, static_cast<size_t>(end - text), root);
    value_builder values;
    reader r{exact, values};
    const outcome got = dump_to_variant(root, r);
    exact.release();
    cJSON_Delete(root);
    pz_variant_t *v = values.take();
    // What went wrong first, if anything: the builder, the value left out,
    // or memory for the exact values.
    const fault why = values.failed()             ? values.why()
                      : got == outcome::left_out  ? r.why
                      : exact.failed()            ? fault::out_of_memory
                                                  : fault::none;
    if (why == fault::none) {
        read_ok(error);
        return v;
    }
    pz_variant_unref(v);
    return refuse_value(error, text, len, why);
}

}  // namespace

extern "C" {

pz_variant_t *pz_variant_from_dump(const char *dump) { return read_text(dump, pz_strlen(dump), true, nullptr); }

pz_variant_t *pz_variant_from_dump_ex(const char *text, pz_read_error_t *error) {
    return read_text(text, pz_strlen(text), true, error);
}

pz_variant_t *pz_variant_from_dump_n(const char *text, size_t len, pz_read_error_t *error) {
    // cJSON reads a text as far as its first NUL: one among the bytes would
    // hide the rest.
    const void *nul = text != nullptr ? std::memchr(text, '\0', len) : nullptr;
    if (nul != nullptr) {
        return refuse(error, text, len, static_cast<const char *>(nul), fault::nul_byte);
    }
    return read_text(text, len, false, error);
}

}  // extern "C"
