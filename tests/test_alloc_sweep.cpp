// Every exported function that allocates, run with its 1st, 2nd, 3rd ...
// allocation failing until a run completes. Each run must leak nothing,
// give what the run with no failure gives or a degraded form of it, call
// every destructor and unref exactly once by the time all is released.
#include <cstdio>

#include "pzvariant/hal/pz_hal.h"
#include "pz_test.h"
#include "writers.h"
#include "pzvariant/pz_variant.hpp"
#include "containers/arrays.h"
#include "core/kinds.h"
#include "va_entry.h"

namespace {

// The object behind every pointer, and the owned ones handed out: each must
// be destroyed once, and each shared reference given back once.
using Log = CallbackLog;
int object = 0, owned_made = 0;

// Whether `got` is `want` less what failed allocations may drop: a missing
// value, an empty string or buffer, a container without storage, array
// elements left out, dictionary entries left out or null.
bool degraded(const pz_variant_t *got, const pz_variant_t *want) {
    if (got == nullptr) return true;
    if (want == nullptr || got->vt != want->vt) return false;
    if (got->vt == vtype_string || got->vt == vtype_bytes) {
        return (got->ptr_val == nullptr && got->len == 0) || pz_variant_equal(got, want);
    }
    if ((got->vt == vtype_array || got->vt == vtype_dict) && got->ptr_val == nullptr) return true;
    if (got->vt == vtype_array) {  // each element matches a later one of `want`
        uint32_t j = 0;
        const uint32_t n = pz_variant_array_size(want);
        for (uint32_t i = 0; i < pz_variant_array_size(got); ++i, ++j) {
            while (j < n && !degraded(pz::array_at(got, i), pz::array_at(want, j))) ++j;
            if (j == n) return false;
        }
        return true;
    }
    if (got->vt != vtype_dict) return pz_variant_equal(got, want);
    for (const auto &[key, value] : pz::view(got).entries()) {
        const pz_variant_t *wanted = pz_variant_dict_find_len(want, key.data(), key.size());
        if (wanted == nullptr || !degraded(value.get(), wanted)) return false;
    }
    return true;
}

const uint8_t three_bytes[] = {0, 1, 0xfe};

// Every kind but the null kind and the containers, one element each: 16
// elements, which fill the array's storage (pack sizes it to the letters;
// the last, unknown letter keeps a slot for the bytes), so that adding to it
// grows it.
pz_variant_t *full_array() {
    ++owned_made;
    pz_variant_t *a = pz_variant_pack(
        "boynqiuxtfdc*as-", 1, -8, 200, -16, 60000, INT32_MIN, UINT32_MAX, INT64_MIN, UINT64_MAX, 1.5,
        -2.25, "text", &object, &object, Log::dtor, &object, Log::ref, Log::unref);
    pz_variant_t *bytes = vstr_buf_new(three_bytes, sizeof three_bytes);
    pz_variant_array_set(a, 15, bytes);
    pz_variant_unref(bytes);
    return a;
}

// A dictionary holding every kind, an array of them and a dictionary nested
// in that array.
pz_variant_t *sample() {
    pz_variant_t *d = pz_variant_dict_new();
    pz_variant_t *kinds = full_array();
    put_new(d, "null", pz_variant_change_type(pz_variant_bool_new(false), vtype_null));
    for (uint32_t i = 0; i < pz_variant_array_size(kinds); ++i) {
        const char key[] = {static_cast<char>('A' + i), '\0'};
        put_new(d, key, pz_variant_array_index(kinds, i));
    }
    pz_variant_t *nested = pz_variant_dict_new();
    put_new(nested, "list", full_array());
    append_new(kinds, nested);
    put_new(d, "list", kinds);
    return d;
}

pz_variant_t *sample_plus() {
    pz_variant_t *d = sample();
    put_new(d, "extra", pz_variant_int32_new(5));
    return d;
}

// The samples one level down, so that merging one into the other merges a
// nested dictionary (the null of the patch removes the key "null").
pz_variant_t *nested_sample() { return chain(2, sample()); }
pz_variant_t *nested_patch() { return chain(2, sample_plus()); }

// Far past an array's first reserve, so that a copy or a read sizes its
// storage once, from the count, in one allocation that may fail.
pz_variant_t *long_array() {
    pz_variant_t *a = pz_variant_array_new();
    for (int i = 0; i < 300; ++i) varray_add_int32(a, i);
    return a;
}

pz_variant_t *none() { return nullptr; }
pz_variant_t *int_value() { return pz_variant_int32_new(5); }
pz_variant_t *string_value() { return pz_variant_str_new("text"); }
pz_variant_t *shared_value() {
    return pz_variant_sharedptr_new(&object, Log::ref, Log::unref);
}
pz_variant_t *instead(pz_variant_t *old, pz_variant_t *v) {
    pz_variant_unref(old);
    return v;
}

// JSON Patches for nested_sample() and int_value(): every operation, each
// making copies, shadows or room somewhere.
pz_variant_t *nested_ops() {
    return pz_variant_from_json(R"([{"op": "add", "path": "/k/list/16/new", "value": {"a": [1, 2]}},
        {"op": "remove", "path": "/k/A"}, {"op": "move", "from": "/k/B", "path": "/k/list/0"},
        {"op": "copy", "from": "/k/list/17", "path": "/copied"}, {"op": "replace", "path": "/k/C", "value": "text"},
        {"op": "test", "path": "/k/C", "value": "text"}])", nullptr);
}
pz_variant_t *root_ops() {
    return pz_variant_from_json(R"([{"op": "replace", "path": "", "value": {"a": "text"}},
        {"op": "add", "path": "/b", "value": [true]}])", nullptr);
}
// The patch from `t` (released) to `a`; null when it cannot be made.
pz_variant_t *diff_from(pz_variant_t *t, pz_variant_t *a) {
    pz_variant_t *patch = nullptr;
    pz_variant_diff(t, a, &patch);
    pz_variant_unref(t);
    return patch;
}

// A pointer of two keys, longer than a path decodes on the stack.
const char *long_pointer() {
    static const std::string pointer = "/new/" + std::string(300, 'k');
    return pointer.c_str();
}

// What a taking-over call is handed, and how the caller disposes of it when
// the call could not make its value (its first allocation failed).
void *tracked_object() { return ++owned_made, &object; }
void *owned_buffer() { return pz_mem_dup("owned", 5); }

// The run in progress: the allocation made to fail (0: none), and whether
// it did fail inside the armed call.
long fail_at = 0;
bool fired = false;

template <class F>
auto armed(F f) {
    const long failed_before = hal_failed_mallocs();
    hal_fail_nth(fail_at, 0);
    auto result = f();
    hal_fail_nth(0, 0);
    fired = hal_failed_mallocs() != failed_before;
    return result;
}

// A case runs one call with the failure armed and returns the value to
// compare with the one the same case gives with no failure.
struct Case {
    const char *name;
    pz_variant_t *(*run)();
    pz_variant_t *(*kept)() = nullptr;  // if set, what a failed run gives in place of a degraded result
                                        // (`none`: no value at all)
};

#define ARMED(expr) armed([&] { return (expr); })
// `expr` called on `t` made by `start` and `a` made by `arg`, both made
// before arming; it gives the value to look at, which owns `t`, or reports
// a status, and `t` is looked at.
#define CALL(start, arg, expr) CALL_KEEPING(start, arg, expr, nullptr)
// As CALL, where a failed call gives the full result or leaves `t` as `kept`
// makes it.
#define CALL_KEEPING(start, arg, expr, kept)                                 \
    Case{#expr, [] {                                                         \
             [[maybe_unused]] pz_variant_t *t = start(), *a = arg();        \
             pz_variant_t *result = outcome(t, ARMED(expr));                 \
             pz_variant_unref(a);                                            \
             return result;                                                  \
         }, kept}
#define MAKE(expr) CALL(none, none, expr)
// As CALL, handing over `obj` made by `make`, which stays the caller's
// (disposed of by `give_back`) when the value's record cannot be made.
#define TAKE(start, make, give_back, expr)                                   \
    Case{#expr, [] {                                                         \
             [[maybe_unused]] pz_variant_t *t = start();                    \
             auto *obj = static_cast<uint8_t *>(make());                     \
             pz_variant_t *result = ARMED(expr);                             \
             if (fail_at == 1) give_back(obj);                               \
             return result;                                                  \
         }}
// `v` (released) written by `write` and read back by `read`, the failure
// armed around the one or the other; null when nothing was written.
template <class Write, class Read>
pz_variant_t *written_back(pz_variant_t *v, bool arm_writer, Write write, Read read) {
    const std::optional<std::string> bytes = arm_writer ? armed([&] { return write(v); }) : write(v);
    return instead(v, !bytes ? nullptr : arm_writer ? read(*bytes) : armed([&] { return read(*bytes); }));
}
const auto as_json = [](const pz_variant_t *v) { return new_block(writer::json, v); };
const auto as_msgpack = [](const pz_variant_t *v) { return new_block(writer::msgpack, v, PZ_MSGPACK_POINTERS_AS_NIL); };
// The value `Make` gives, dumped and read back with the failure armed.
template <pz_variant_t *(*Make)()>
pz_variant_t *read_back() {
    return written_back(Make(), false, [](const pz_variant_t *v) { return new_block(writer::dump, v); },
                        [](const std::string &text) { return pz_variant_from_dump(text.c_str()); });
}
// `sample()` as `v` written with the failure armed ("NULL" for no text),
// then read back by `read`.
#define WRITE(expr, read)                                 \
    Case{#expr, [] {                                      \
             pz_variant_t *v = sample();                  \
             const std::string text = taken(ARMED(expr)); \
             return instead(v, read(text.c_str()));       \
         }}
// `Make()` written as MessagePack (pointers as nil) and read back, the
// failure armed around the writer or the reader.
template <pz_variant_t *(*Make)(), bool kArmWriter>
pz_variant_t *msgpack_back() {
    return written_back(Make(), kArmWriter, as_msgpack,
                        [](const std::string &b) { return pz_variant_from_msgpack(b.data(), b.size(), nullptr); });
}
// The values of `bytes` as a stream of `format`, read in pieces of 7 bytes;
// a read out of memory is tried again, as the reader allows. Null when the
// reader or a piece could not be had.
pz_variant_t *stream_read(pz_stream_format format, const std::string &bytes) {
    std::vector<pz_variant_t *> got;
    pz_stream_reader_t *r = pz_stream_reader_new(format, 0);
    bool whole = r != nullptr;
    for (size_t at = 0; whole && at < bytes.size(); at += 7) {
        whole = pz_stream_reader_feed(r, bytes.data() + at, std::min<size_t>(7, bytes.size() - at));
        for (int tries = 0; whole && tries < 100; ++tries) {
            pz_variant_t *v = nullptr;
            pz_read_error_t e;
            const pz_stream_status status = pz_stream_reader_next(r, &v, &e);
            if (status == PZ_STREAM_VALUE) got.push_back(v);
            if (status == PZ_STREAM_NEED_MORE) break;
            whole = status != PZ_STREAM_ERROR || e.code == PZ_READ_OUT_OF_MEMORY;
        }
    }
    pz_stream_reader_free(r);
    pz_variant_t *values = whole ? pz_variant_array_new() : nullptr;
    for (pz_variant_t *v : got) values != nullptr ? append_new(values, v) : pz_variant_unref(v);
    return values;
}
// `sample()` three times as a stream of `format`, the failure armed around
// the writer or the reader.
template <pz_stream_format F, bool kArmWriter>
pz_variant_t *stream_back() {
    const auto write = [](const pz_variant_t *v) {
        pz_stream_writer_t *w = pz_stream_writer_new(F, F == PZ_STREAM_MSGPACK ? PZ_MSGPACK_POINTERS_AS_NIL : 0);
        for (int i = 0; i < 3; ++i) pz_stream_write(w, v);
        size_t len = 0;
        char *bytes = static_cast<char *>(pz_stream_writer_take(w, &len));
        pz_stream_writer_free(w);
        std::optional<std::string> text(std::in_place, bytes != nullptr ? bytes : "", len);
        HAL_Free(bytes);
        return text;
    };
    return written_back(sample(), kArmWriter, write, [](const std::string &bytes) { return stream_read(F, bytes); });
}
// Values that copies and dumps refuse: one nested a level too deep, and one
// holding itself past a few other values. The loop is cut after the call
// (erasing "self"), so that the value can be released.
pz_variant_t *too_deep() { return chain(PZ_VARIANT_MAX_DEPTH + 1, pz_variant_int32_new(1)); }
pz_variant_t *holds_itself() {
    pz_variant_t *d = sample();
    pz_variant_dict_put(d, "self", d);
    return d;
}
#define REFUSED(make, expr)                                 \
    Case{#make ": " #expr, [] {                             \
             pz_variant_t *v = make();                      \
             pz_variant_t *result = expr;                   \
             pz_variant_dict_erase(v, "self");              \
             return instead(v, result);                     \
         }}
#define REFUSED_DUMP(make) REFUSED(make, pz_variant_from_dump(taken(ARMED(pz_variant_dump(v))).c_str()))

// A reporting call says it did its work, or that memory ran out when an
// allocation failed in it (one that it could do without, such as a reserve,
// may fail unseen).
void reported(pz_status status) {
    EXPECT_TRUE(status == PZ_STATUS_OK || (fired && status == PZ_STATUS_OUT_OF_MEMORY)) << status;
}
void reported(pz_path_status status) {
    EXPECT_TRUE(status == PZ_PATH_OK || (fired && status == PZ_PATH_OUT_OF_MEMORY)) << status;
}
// What a call gives to look at: the value it made or, for a call that
// reports a status, its target, the status checked.
pz_variant_t *outcome(pz_variant_t *, pz_variant_t *made) { return made; }
template <class Status>
pz_variant_t *outcome(pz_variant_t *target, Status status) {
    reported(status);
    return target;
}
// `sample()` written by a reporting writer into a string with the failure
// armed, and read back by `read` when it was written. (The JSON and
// MessagePack writers allocate nothing to hand their chunks on.)
#define WRITE_REPORTED(expr, read)                                      \
    Case{#expr, [] {                                                    \
             pz_variant_t *v = sample();                                \
             std::string text;                                          \
             const pz_status status = ARMED(expr);                      \
             reported(status);                                          \
             return instead(v, status == PZ_STATUS_OK ? read(text) : nullptr); \
         }}
// `sample()` through a file of plain JSON or MessagePack, the failure
// armed around the reporting writer (the file removed first) or the reader.
template <bool kMsgpack, bool kArmWriter>
pz_variant_t *file_back() {
    const std::string path = ::testing::TempDir() + (kMsgpack ? "pz_alloc_sweep_msgpack" : "pz_alloc_sweep_json");
    pz_variant_t *v = sample();
    std::remove(path.c_str());
    const auto write = [&] {
        return kMsgpack ? pz_variant_write_msgpack_file_ex(v, path.c_str(), PZ_MSGPACK_POINTERS_AS_NIL, nullptr)
                        : pz_variant_write_file_ex(v, path.c_str(), PZ_TEXT_JSON, 0, nullptr);
    };
    const auto read = [&] {
        return kMsgpack ? pz_variant_read_msgpack_file(path.c_str(), nullptr)
                        : pz_variant_read_file(path.c_str(), PZ_TEXT_JSON, nullptr);
    };
    reported(kArmWriter ? armed(write) : write());
    return instead(v, kArmWriter ? read() : armed(read));
}
pz_variant_t *dump_read(const std::string &text) { return pz_variant_from_dump_n(text.data(), text.size(), nullptr); }
// The copy that pz_variant_dup_ex makes of `t`, which it releases.
pz_variant_t *reported_copy(pz_variant_t *t) {
    pz_variant_t *copy = nullptr;
    reported(ARMED(pz_variant_dup_ex(t, &copy)));
    return instead(t, copy);
}

// A child container lent by `array`, if made: its last element, which holds
// the child's only reference.
pz_variant_t *lent(pz_variant_t *array, pz_variant_t *child) {
    const uint32_t n = pz_variant_array_size(array);
    EXPECT_TRUE(child == nullptr || (n > 0 && pz::array_at(array, n - 1) == child && refcount(child) == 1));
    return array;
}

#define SCALAR(name, ctype, code, va_type)                                            \
    MAKE(pz_variant_##name##_new(far_from_zero<ctype>(&object))),                     \
    CALL(full_array, none, (varray_add_##name(t, far_from_zero<ctype>(&object)), t)), \
    CALL(sample, none, (vdict_set_##name(t, "new key", far_from_zero<ctype>(&object)), t)),

// A configuration file's text that only the reading flags read.
constexpr char kConfigText[] = "// settings\n{\"port\": 8080, /* default */ \"hosts\": [\"a\", \"b\",], \"limit\": NaN,}";

// A dump of every kind the strict reader reads, an empty slot included.
constexpr char kStrictDump[] = R"({"dict":{"a":{"array":[{"int8":-1},{},{"uint64":18446744073709551615},)"
                               R"({"double":-0},{"bytes":"00ff"},{"string":"x\u0000y"}]},"b":{"null":null}}})";
constexpr char kDuplicateText[] = R"({"a": [1, {"x": "y"}], "b": "text", "a": 3})";

// Plain JSON whose strings need decoding and whose members share keys.
constexpr char kEscapedRecords[] = R"([{"k":"\u00e9\n"},{"k":"a\"b"},{"k":[true,false,null,-1.5e3]}])";
// Records put together while a key set is in use: the set's own block,
// its table growing past the slots inside it, the keys it makes.
pz_variant_t *records_with_key_set() {
    pz_keys_t *keys = pz_keys_new();
    pz_keys_t *before = pz_keys_use(keys);
    pz_variant_t *all = pz_variant_array_new();
    for (int r = 0; r < 2; ++r) {
        pz_variant_t *record = pz_variant_dict_new();
        for (int i = 0; i < 20; ++i) vdict_set_int64(record, ("name_" + std::to_string(i)).c_str(), i);
        pz_variant_array_append(all, record);
        pz_variant_unref(record);
    }
    pz_keys_use(before);
    pz_keys_free(keys);
    return all;
}

// Two records of 40 names, more than the key cache holds before its table
// grows into blocks of its own.
const char *many_names() {
    static const std::string text = [] {
        std::string record = "{";
        for (int i = 0; i < 40; ++i) record += (i != 0 ? ",\"name_" : "\"name_") + std::to_string(i) + "\":1";
        record += "}";
        return "[" + record + "," + record + "]";
    }();
    return text.c_str();
}

const std::vector<Case> cases = {
    PZ_SCALAR_KINDS(SCALAR)
    MAKE(pz_variant_str_new("text")),
    MAKE(vstr_sized_new("te\0xt", 5)),
    MAKE(vstr_buf_new(three_bytes, 3)),
    MAKE(pz_variant_array_new()),
    MAKE(pz_variant_dict_new()),
    MAKE(pz_variant_sharedptr_new(&object, Log::ref, Log::unref)),
    TAKE(none, tracked_object, Log::dtor, pz_variant_autoptr_new(obj, Log::dtor)),
    TAKE(none, owned_buffer, HAL_Free, vstr_new_owned(reinterpret_cast<char *>(obj), 5)),
    TAKE(none, owned_buffer, HAL_Free, vstr_buf_new_owned(obj, 5)),
    // A failed copy leaves the empty string or buffer, not the integer.
    CALL(int_value, none, pz_variant_str_set(t, "text")),
    CALL(int_value, string_value, vstr_buf_set(t, reinterpret_cast<uint8_t *>(a->str_val), 3)),
    CALL(int_value, none, pz_variant_change_type(t, vtype_array)),
    CALL(int_value, none, pz_variant_change_type(t, vtype_dict)),
    CALL(int_value, none, pz_variant_change_type(t, vtype_sharedptr)),
    CALL(full_array, sample, (pz_variant_array_append(t, a), t)),
    CALL(full_array, sample, (pz_variant_array_prepend(t, a), t)),
    CALL(full_array, sample, (pz_variant_array_insert(t, 3, a), t)),
    CALL(sample, full_array, (pz_variant_dict_put(t, "new key", a), t)),
    CALL(sample, none, (pz_variant_unref(vdict_child(t, "child")), t)),
    CALL(full_array, none, (varray_add_str(t, "text"), t)),
    CALL(full_array, none, (varray_add_sized_str(t, "te\0xt", 5), t)),
    CALL(full_array, none, (varray_add_sharedptr(t, &object, Log::ref, Log::unref), t)),
    CALL(full_array, none, lent(t, varray_add_dict(t))),
    CALL(full_array, none, lent(t, varray_add_array(t))),
    TAKE(full_array, tracked_object, Log::dtor, (varray_add_autoptr(t, obj, Log::dtor), t)),
    CALL(sample, none, (vdict_set_str(t, "new key", "text"), t)),
    CALL(sample, none, (vdict_set_sized_ptr(t, "new key", &object, 12), t)),
    CALL(sample, int_value, (pz_variant_dict_put_scalar(t, "new key", a), t)),
    CALL(sample, none, (vdict_set_bytes(t, "new key", three_bytes, 3), t)),
    CALL(sample, none, (vdict_set_sharedptr(t, "new key", &object, Log::ref, Log::unref), t)),
    TAKE(sample, tracked_object, Log::dtor, (vdict_set_autoptr(t, "new key", obj, Log::dtor), t)),
    TAKE(sample, owned_buffer, HAL_Free, (vdict_set_bytes_owned(t, "new key", obj, 5), t)),
    CALL(full_array, none,
         (pz_variant_array_append_vals(t, "ic?s", 7, "text", &object, Log::ref, Log::unref), t)),
    CALL(full_array, none, (append_args_from(t, "icx", 7, "text", INT64_MAX), t)),
    CALL(full_array, none, (append_internal_from(t, "dc*", 0.5, "text", &object), t)),
    MAKE(pz_variant_pack("bc?s", 1, "text", &object, Log::ref, Log::unref)),
    MAKE(pack_arg_from(0, "yc", 9, "text")),
    // A copy is whole or none.
    CALL_KEEPING(sample, none, instead(t, pz_variant_dup(t)), none),
    CALL_KEEPING(long_array, none, instead(t, pz_variant_dup(t)), none),
    CALL(sample, sample_plus, pz_variant_concat(t, a)),
    CALL(full_array, full_array, pz_variant_concat(t, a)),
    CALL(sample, none, pz_variant_concat(t, t)),
    CALL(long_array, none, pz_variant_concat(t, t)),
    CALL(int_value, string_value, pz_variant_concat(t, a)),
    // Into another kind a shared pointer takes a new record, consuming the
    // caller's reference to the target even when it cannot be made.
    CALL(int_value, shared_value, pz_variant_concat(t, a)),
    // All or nothing: a failed merge leaves the target as it was.
    CALL_KEEPING(nested_sample, nested_patch, (pz_variant_merge_patch(t, a), t), nested_sample),
    // A patch that is no dictionary replaces, and so does one merged into
    // what is no dictionary: its copy's text, slots or table header, which
    // live in the copy's block, move out of it.
    CALL_KEEPING(int_value, string_value, (pz_variant_merge_patch(t, a), t), int_value),
    CALL_KEEPING(int_value, full_array, (pz_variant_merge_patch(t, a), t), int_value),
    CALL_KEEPING(int_value, nested_patch, (pz_variant_merge_patch(t, a), t), int_value),
    // Paths: the dictionaries on the way are made apart and attached in one
    // step, so a failed store leaves the target as it was; a pointer too
    // long for the stack is decoded in a block of its own.
    CALL_KEEPING(sample, full_array, (pz_variant_path_set(t, "/list/16/new/deeper/key", a), t), sample),
    CALL_KEEPING(sample, int_value, (pz_variant_path_set(t, long_pointer(), a), t), sample),
    CALL_KEEPING(full_array, sample, (pz_variant_path_set(t, "/-", a), t), full_array),
    // JSON Patch is all or nothing; its diff is made whole or not at all.
    CALL_KEEPING(nested_sample, nested_ops, (pz_variant_patch(t, a, nullptr), t), nested_sample),
    CALL_KEEPING(int_value, root_ops, (pz_variant_patch(t, a, nullptr), t), int_value),
    CALL(nested_sample, nested_patch, diff_from(t, a)),
    CALL(long_array, sample, diff_from(t, a)),
    // The reporting family: the same work, with its status.
    CALL_KEEPING(sample, full_array, pz_variant_dict_put_ex(t, "new key", 7, a), sample),
    CALL_KEEPING(sample, int_value, pz_variant_dict_put_scalar_ex(t, "new key", 7, a), sample),
    CALL_KEEPING(full_array, sample, pz_variant_array_append_ex(t, a), full_array),
    CALL_KEEPING(sample, none, vdict_child_ex(t, "child", 5, nullptr), sample),
    CALL_KEEPING(sample, full_array, pz_variant_path_set_ex(t, "/new/deeper/key", 15, a), sample),
    CALL_KEEPING(nested_sample, nested_patch, pz_variant_merge_patch_ex(t, a), nested_sample),
    CALL_KEEPING(sample, none, reported_copy(t), none),
    Case{"pz_variant_concat_ex", [] {
             pz_variant_t *t = sample(), *a = sample_plus();
             reported(ARMED(pz_variant_concat_ex(&t, a)));
             return instead(a, t);
         }},
    WRITE_REPORTED(pz_variant_dump_callback(v, collect, &text), dump_read),
    Case{"pz_variant_write_file_ex", file_back<false, true>},
    Case{"pz_variant_write_msgpack_file_ex", file_back<true, true>},
    MAKE(pz_variant_from_dump_n(R"({"dict":{"a":{"uint64":18446744073709551615}}} and more)", 46, nullptr)),
    // Refused also when an allocation fails on the way: never cut short.
    REFUSED(too_deep, ARMED(pz_variant_dup(v))),
    REFUSED(holds_itself, ARMED(pz_variant_dup(v))),
    REFUSED_DUMP(too_deep),
    REFUSED_DUMP(holds_itself),
    // Large integers and a NUL byte make the readers look into the text.
    MAKE(pz_variant_from_dump_ex(R"({"dict":{"a":{"uint64":18446744073709551615},"b":{"string":"x\u0000y"}}})", nullptr)),
    MAKE(pz_variant_from_json(R"({"a":[1,18446744073709551615,"x\u0000y"],"b":{"c":1.5}})", nullptr)),
    WRITE(pz_variant_to_json(v, PZ_JSON_INDENT), json_read),
    // Sorting a dictionary's members takes a block of its own.
    WRITE(pz_variant_to_json(v, PZ_JSON_SORT_KEYS | PZ_JSON_INDENT_TABS), json_read),
    // Long enough that the text's block grows several times.
    Case{"pz_variant_to_json of a long array", [] {
             return written_back(long_array(), true, as_json, [](const std::string &t) { return json_read(t.c_str()); });
         }},
    WRITE(pz_variant_dump(v), pz_variant_from_dump),
    Case{"pz_variant_dump_buf", [] {
             static char buf[1 << 14];
             pz_variant_t *v = sample();
             return instead(v, ARMED(pz_variant_dump_buf(v, buf, sizeof buf)) >= 0 ? pz_variant_from_dump(buf) : nullptr);
         }},
    Case{"pz_variant_to_dump_buf", [] {
             static char buf[1 << 14];
             pz_variant_t *v = sample();
             return instead(v, ARMED(pz_variant_to_dump_buf(v, buf, sizeof buf)) > 0 ? pz_variant_from_dump(buf) : nullptr);
         }},
    // Past the end of the buffer the pieces are printed in scratch: the
    // full length or nothing, never a shorter count.
    Case{"pz_variant_to_dump_buf, a short buffer", [] {
             char buf[16];
             pz_variant_t *v = sample();
             const size_t full = pz_variant_to_dump_buf(v, nullptr, 0);
             const size_t got = ARMED(pz_variant_to_dump_buf(v, buf, sizeof buf));
             EXPECT_TRUE(got == full || (got == 0 && buf[0] == '\0')) << got;
             return got == full ? v : instead(v, nullptr);
         }},
    Case{"pz_variant_read_file", file_back<false, false>},
    Case{"pz_variant_to_msgpack", msgpack_back<sample, true>},
    Case{"pz_variant_from_msgpack", msgpack_back<sample, false>},
    Case{"pz_variant_from_msgpack of a long array", msgpack_back<long_array, false>},
    Case{"pz_variant_read_msgpack_file", file_back<true, false>},
    // Read with every reading flag: comments, trailing commas, NaN.
    MAKE(pz_variant_from_json_opts(kConfigText, sizeof kConfigText - 1,
                                   PZ_JSON_READ_COMMENTS | PZ_JSON_READ_TRAILING_COMMAS | PZ_JSON_READ_NONFINITE |
                                       PZ_JSON_READ_REFUSE_OVERFLOW | PZ_JSON_READ_REFUSE_DUPLICATES, nullptr)),
    // Refused at a duplicate key, after the members before it were made.
    MAKE(pz_variant_from_json_opts(kDuplicateText, sizeof kDuplicateText - 1, PZ_JSON_READ_REFUSE_DUPLICATES, nullptr)),
    // The plain reader's stacks and decoding block grow as they go.
    MAKE(pz_variant_from_json_n(kEscapedRecords, sizeof kEscapedRecords - 1, nullptr)),
    MAKE(pz_variant_from_json(many_names(), nullptr)),
    MAKE(records_with_key_set()),
    // Reserved room: all or nothing.
    CALL_KEEPING(full_array, none, (pz_variant_array_reserve(t, 500), t), full_array),
    CALL_KEEPING(sample, none, (pz_variant_dict_reserve(t, 500), t), sample),
    Case{"pz_variant_from_json_n of a long array", [] {
             return written_back(long_array(), false, as_json, [](const std::string &t) {
                 return pz_variant_from_json_n(t.data(), t.size(), nullptr);
             });
         }},
    // From the front, the value builder as for the whole readers; the event
    // readers allocate only the lexer's block for strings with escapes.
    Case{"pz_variant_from_json_prefix", [] {
             size_t used = 0;
             return ARMED(pz_variant_from_json_prefix(kEscapedRecords, sizeof kEscapedRecords - 1, &used, nullptr));
         }},
    Case{"pz_variant_from_msgpack_prefix", [] {
             return written_back(sample(), false, as_msgpack, [](const std::string &b) {
                 size_t used = 0;
                 return pz_variant_from_msgpack_prefix(b.data(), b.size(), &used, nullptr);
             });
         }},
    Case{"pz_events_read_json", [] {
             const pz_events_t none{};
             const pz_events_end end = ARMED(pz_events_read_json(kEscapedRecords, sizeof kEscapedRecords - 1, 0, &none,
                                                                 nullptr, nullptr, nullptr));
             return end == PZ_EVENTS_READ ? pz_variant_bool_new(true) : nullptr;
         }},
    Case{"pz_stream_writer of MessagePack", stream_back<PZ_STREAM_MSGPACK, true>},
    Case{"pz_stream_reader of MessagePack", stream_back<PZ_STREAM_MSGPACK, false>},
    Case{"pz_stream_writer of NDJSON", stream_back<PZ_STREAM_NDJSON, true>},
    Case{"pz_stream_reader of JSON", stream_back<PZ_STREAM_JSON, false>},
    Case{"pz_variant_from_dump", read_back<sample>},
    MAKE(pz_variant_from_dump_strict(kStrictDump, sizeof kStrictDump - 1, nullptr)),
    Case{"pz_variant_from_dump of a long array", read_back<long_array>},
};

using AllocSweep = LeakCheckedTest;

TEST_F(AllocSweep, EveryAllocatingFunctionFailsCleanlyAtEveryPoint) {
    long pairs = 0;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        long failing_runs = 0;
        for (long n = 1;; ++n, ++failing_runs) {
            const long live_before = hal_live_blocks();
            fail_at = 0;
            pz_variant_t *want = c.run();
            fail_at = n;
            pz_variant_t *got = c.run();
            const bool failed = fired;
            pz_variant_t *kept = failed && c.kept != nullptr ? c.kept() : nullptr;
            const bool as_promised = pz_variant_equal(got, want) ||
                                     (failed && (c.kept != nullptr ? pz_variant_equal(got, kept) : degraded(got, want)));
            for (pz_variant_t *v : {got, want, kept}) pz_variant_unref(v);
            const bool clean = hal_live_blocks() == live_before && Log::dtor_calls == owned_made &&
                               Log::unref_calls == Log::ref_calls && !Log::early_unref;
            EXPECT_TRUE(as_promised) << "result when allocation " << n << " fails";
            EXPECT_TRUE(clean) << "leak or unbalanced callbacks when allocation " << n << " fails";
            Log::reset();
            owned_made = 0;
            if (!failed || !as_promised || !clean) break;  // one report per case
        }
        EXPECT_GT(failing_runs, 0) << "allocated nothing";
        pairs += failing_runs;
    }
    std::printf("allocation-failure sweep: %zu cases, %ld (function, failure point) pairs\n",
                cases.size(), pairs);
    RecordProperty("pairs", static_cast<int>(pairs));
}

}  // namespace
