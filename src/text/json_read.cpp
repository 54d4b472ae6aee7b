// The plain JSON readers: the parser's events made into values by the value
// builder, in one pass, with no tree in between and no state beyond the
// read; or handed to the caller's callbacks.
#include "io/callback_sink.h"
#include "io/value_builder.h"
#include "text/json_parse.h"

using namespace pz;

namespace {

// The value of `text` read whole or from its front (`used` the bytes taken,
// when not null); null when refused, as `error` says.
pz_variant_t *read_value(const char *text, size_t len, bool prefix, size_t *used, pz_read_error_t *error) {
    if (used != nullptr) *used = 0;
    if (text == nullptr) return read_fault(error, fault::no_text, nullptr, 0, 0);
    value_builder values;
    const size_t taken = json::read(text, len, prefix, values);
    if (used != nullptr) *used = taken;
    values.report(error, text, len);
    pz_variant_t *v = values.take();
    if (!values.failed()) return v;
    pz_variant_unref(v);  // read whole, and refused for what follows it
    return nullptr;
}

}  // namespace

extern "C" {

pz_variant_t *pz_variant_from_json_n(const char *text, size_t len, pz_read_error_t *error) {
    return read_value(text, len, false, nullptr, error);
}

pz_variant_t *pz_variant_from_json(const char *text, pz_read_error_t *error) {
    return pz_variant_from_json_n(text, text != nullptr ? std::strlen(text) : 0, error);
}

pz_variant_t *pz_variant_from_json_prefix(const char *text, size_t len, size_t *used, pz_read_error_t *error) {
    return read_value(text, len, true, used, error);
}

pz_events_end pz_events_read_json(const char *text, size_t len, unsigned flags, const pz_events_t *events,
                                  void *context, size_t *used, pz_read_error_t *error) {
    if (used != nullptr) *used = 0;
    if (text == nullptr || events == nullptr) {
        read_fault(error, text == nullptr ? fault::no_text : fault::no_events, nullptr, 0, 0);
        return PZ_EVENTS_REFUSED;
    }
    callback_sink sink(*events, context);
    const size_t taken = json::read(text, len, (flags & PZ_EVENTS_PREFIX) != 0, sink);
    if (used != nullptr) *used = taken;
    sink.report(error, text, len);
    return sink.end();
}

}  // extern "C"
