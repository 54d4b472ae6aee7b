// The typed dump read strictly: the plain JSON parser's events checked
// against the dump's own form and handed to the value builder. Where the
// lenient reader leaves an element or member out, keeps a number's low bits
// or ignores what follows a typed object's first member, this one refuses
// the text, with the place (the JSON parser knows every token's offset) and
// the reason.
#include <climits>

#include "base/pz_hex.h"
#include "core/kinds.h"
#include "core/record.h"
#include "io/value_builder.h"
#include "pzvariant/pz_dump_strict.h"
#include "text/dump.h"
#include "text/json_parse.h"

using namespace pz;

namespace {

// What the sink waits for inside each JSON container open.
struct frame {
    enum : uint8_t {
        typed,    // {"kind": payload}: phase 0 the kind's name, 1 its payload, 2 read
        items,    // the payload of an array: a typed value each
        members,  // the payload of a dictionary: phase 0 a member's name, 1 its typed value
    } what;
    uint8_t phase;
    char vt;    // typed: the kind named
    size_t at;  // where the container starts
};
void drop_frame(frame &) {}

// The kind named exactly `name`; null for none, as for a prefix of a name
// or a name with more after it.
const dump_name *kind_named(const char *name, size_t len) {
    for (const dump_name &kind : kDumpNames) {
        if (kind.name == std::string_view(name, len)) return &kind;
    }
    return nullptr;
}

// A JSON number or literal (`from`) as a record of the scalar kind `vt`, by
// the checked reads: only what the kind holds exactly.
pz_get_status convert(const pz_variant_t &from, char vt, pz_variant_t *to) {
    switch (vt) {
#define PZ_STRICT_SCALAR(name, ctype, code, va_type)                     \
    case code: {                                                         \
        ctype value;                                                     \
        const pz_get_status got = pz_variant_get_##name(&from, &value); \
        if (got == PZ_GET_OK) store(to, value);                          \
        return got;                                                      \
    }
        PZ_SCALAR_KINDS(PZ_STRICT_SCALAR)
#undef PZ_STRICT_SCALAR
        case vtype_null:
            return from.vt == vtype_null ? PZ_GET_OK : PZ_GET_WRONG_KIND;
        default:
            return PZ_GET_WRONG_KIND;
    }
}

// A sink of the JSON parser's events (io/read_sink.h) that reads them as
// the typed dump and hands the values to `out`, where a duplicate key is
// refused too.
class typed_sink : public read_record {
public:
    static constexpr bool kNumbersAsText = false;  // numbers read as the parser converts them

    typed_sink(const char *text, value_builder &out) : text_(text), out_(out) { out_.refuse_duplicate_keys(); }

    bool begin_dict(size_t, size_t at) {
        if (wants_typed_value()) return push({frame::typed, 0, 0, at});
        return payload(vtype_dict, at) && push({frame::members, 0, 0, at}) && given(out_.begin_dict(kUnknownCount, at));
    }
    bool begin_array(size_t, size_t at) {
        if (wants_typed_value()) return refuse(fault::not_typed_object, at);
        return payload(vtype_array, at) && push({frame::items, 0, 0, at}) && given(out_.begin_array(kUnknownCount, at));
    }
    bool end_array(size_t at) {
        frames_.cut(frames_.size() - 1);
        frames_.top().phase = 2;
        return given(out_.end_array(at));
    }
    bool end_dict(size_t at) {
        const frame f = frames_.top();
        frames_.cut(frames_.size() - 1);
        if (f.what == frame::members) {
            frames_.top().phase = 2;
            return given(out_.end_dict(at));
        }
        typed_value_read();
        // {} is how the dump writes an empty array slot.
        return f.phase != 0 || given(out_.empty_slot(f.at));
    }
    bool key(const char *name, size_t len, key_nul nul, size_t at) {
        frame &f = frames_.top();
        if (f.what == frame::members) {
            f.phase = 1;
            return given(out_.key(name, len, nul, at));
        }
        if (f.phase != 0) return refuse(fault::typed_extra_member, at, name, len);
        const dump_name *kind = kind_named(name, len);
        if (kind == nullptr) return refuse(fault::unknown_kind, at, name, len);
        if (kind->vt == vtype_ptr || kind->vt == vtype_autoptr || kind->vt == vtype_sharedptr) {
            return refuse(fault::pointer_not_read, at, name, len);
        }
        f.vt = kind->vt;
        f.phase = 1;
        return true;
    }
    bool other_key(size_t at) { return refuse(fault::key_not_string, at); }
    bool scalar(const pz_variant_t &record, size_t at) {
        if (wants_typed_value()) return refuse(fault::not_typed_object, at);
        const char vt = frames_.top().vt;
        pz_variant_t r = scalar_record(vt);
        const pz_get_status got = convert(record, vt, &r);
        if (got == PZ_GET_OUT_OF_RANGE) return refuse(fault::number_not_of_kind, at);
        if (got != PZ_GET_OK) return refuse(fault::kind_mismatch, at);
        // The dump writes a negative zero -0, which the parser's rule of
        // kinds reads as the integer 0.
        if (r.vt == vtype_double && text_[at] == '-' && r.double_val == 0) r.double_val = -0.0;
        if (r.vt == vtype_float && text_[at] == '-' && r.float_val == 0) r.float_val = -0.0f;
        frames_.top().phase = 2;
        return given(out_.scalar(r, at));
    }
    bool text(char, const char *bytes, size_t len, size_t at) {
        if (wants_typed_value()) return refuse(fault::not_typed_object, at);
        const char vt = frames_.top().vt;
        frames_.top().phase = 2;
        if (vt == vtype_string) return given(out_.text(vtype_string, bytes, len, at));
        if (vt != vtype_bytes) return refuse(fault::kind_mismatch, at);
        if (!pz_is_hex(bytes, len) || len > INT_MAX) return refuse(fault::bytes_not_hex, at);
        uint8_t *decoded = pz_hex2bytes(bytes, static_cast<int>(len));
        if (decoded == nullptr) return refuse(fault::out_of_memory, at);
        const bool taken = out_.text(vtype_bytes, reinterpret_cast<const char *>(decoded), len / 2, at);
        HAL_Free(decoded);
        return given(taken);
    }

private:
    // Whether a typed object may start here: the whole value, an element of
    // an array, or a member's value once its name is read.
    bool wants_typed_value() {
        if (frames_.size() == 0) return true;
        const frame &f = frames_.top();
        return f.what == frame::items || (f.what == frame::members && f.phase == 1);
    }
    // Whether the payload of the typed object open may be of kind `vt`,
    // which a container has.
    bool payload(char vt, size_t at) { return frames_.top().vt == vt || refuse(fault::kind_mismatch, at); }
    // A typed object closed: a dictionary's member is complete.
    void typed_value_read() {
        if (frames_.size() > 0 && frames_.top().what == frame::members) frames_.top().phase = 0;
    }
    bool push(frame f) { return frames_.push(f) || refuse(fault::out_of_memory, f.at); }
    // The builder's answer; its refusal becomes this read's.
    bool given(bool taken) { return taken || refuse_as(out_); }

    const char *text_;
    value_builder &out_;
    read_stack<frame, drop_frame> frames_;
};

}  // namespace

extern "C" pz_variant_t *pz_variant_from_dump_strict(const char *text, size_t len, pz_read_error_t *error) {
    if (text == nullptr) return read_fault(error, fault::no_text, nullptr, 0, 0);
    // Strings take raw control bytes, as the dump's writer may leave them,
    // but never a NUL, which the writer escapes and which would end the
    // text for the lenient reader.
    const auto *nul = static_cast<const char *>(std::memchr(text, '\0', len));
    if (nul != nullptr) return read_fault(error, fault::nul_byte, text, len, static_cast<size_t>(nul - text));
    value_builder values;
    typed_sink sink(text, values);
    json::read(text, len, false, sink, 0, true);
    sink.report(error, text, len);
    pz_variant_t *v = values.take();
    if (!sink.failed()) return v;
    pz_variant_unref(v);
    return nullptr;
}
