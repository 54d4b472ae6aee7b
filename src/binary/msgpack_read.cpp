// The MessagePack readers: the decoder's events made into values by the
// value builder, or handed to the caller's callbacks.
#include "binary/msgpack_decode.h"
#include "io/callback_sink.h"
#include "io/value_builder.h"

using namespace pz;

namespace {

// The value at the front of the input, or of the whole input, read by the
// rule of pz_variant.h; null when refused, as `error` says.
pz_variant_t *read_value(const void *data, size_t len, bool prefix, size_t *used, pz_read_error_t *error) {
    if (used != nullptr) *used = 0;
    if (data == nullptr && len != 0) return read_fault_binary(error, fault::no_input, 0);
    // MessagePack has one nil: in an array it stands for an empty slot.
    value_builder values(true);
    const size_t taken = msgpack::read(static_cast<const uint8_t *>(data), len, prefix, values);
    values.report(error, nullptr, 0);
    pz_variant_t *v = values.take();
    if (values.failed()) {
        pz_variant_unref(v);  // read whole, and refused for what follows it
        return nullptr;
    }
    if (used != nullptr) *used = taken;
    return v;
}

}  // namespace

extern "C" {

pz_variant_t *pz_variant_from_msgpack(const void *data, size_t len, pz_read_error_t *error) {
    return read_value(data, len, false, nullptr, error);
}

pz_variant_t *pz_variant_from_msgpack_prefix(const void *data, size_t len, size_t *used, pz_read_error_t *error) {
    return read_value(data, len, true, used, error);
}

pz_events_end pz_events_read_msgpack(const void *data, size_t len, unsigned flags, const pz_events_t *events,
                                     void *context, size_t *used, pz_read_error_t *error) {
    if (used != nullptr) *used = 0;
    if ((data == nullptr && len != 0) || events == nullptr) {
        read_fault_binary(error, events == nullptr ? fault::no_events : fault::no_input, 0);
        return PZ_EVENTS_REFUSED;
    }
    callback_sink sink(*events, context);
    const size_t taken = msgpack::read(static_cast<const uint8_t *>(data), len, (flags & PZ_EVENTS_PREFIX) != 0, sink);
    if (used != nullptr) *used = taken;
    sink.report(error, nullptr, 0);
    return sink.end();
}

}  // extern "C"
