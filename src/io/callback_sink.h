// Private to the library: read events handed to the caller's callbacks
// (pz_events.h), a sink of read events (io/read_sink.h).
#ifndef PZ_CALLBACK_SINK_H
#define PZ_CALLBACK_SINK_H

#include "io/read_sink.h"
#include "pzvariant/pz_events.h"

namespace pz {

// Keys and texts go on as read: the rules of what a dictionary can hold are
// the value builder's. The depth is bounded as for values, which also
// bounds the parsers' recursion.
class callback_sink : public read_record {
public:
    callback_sink(const pz_events_t &events, void *context) : events_(events), context_(context) {}

    bool begin_array(size_t count, size_t at) { return enter(at) && call(events_.begin_array, count); }
    bool end_array(size_t /*at*/) {
        leave();
        return call(events_.end_array);
    }
    bool begin_dict(size_t count, size_t at) { return enter(at) && call(events_.begin_dict, count); }
    bool end_dict(size_t /*at*/) {
        leave();
        return call(events_.end_dict);
    }
    bool key(const char *name, size_t len, key_nul /*nul*/, size_t /*at*/) { return call(events_.key, name, len); }
    bool other_key(size_t at) { return refuse(fault::key_not_string, at); }
    bool scalar(const pz_variant_t &record, size_t at) { return value_fits(at) && call(events_.scalar, &record); }
    bool text(char vt, const char *bytes, size_t len, size_t at) {
        if (!value_fits(at)) return false;
        if (vt == vtype_string) return call(events_.string, bytes, len);
        return call(events_.bytes, reinterpret_cast<const uint8_t *>(bytes), len);
    }

    // How the read ended, for the caller.
    pz_events_end end() const {
        return failed() ? PZ_EVENTS_REFUSED : stopped() ? PZ_EVENTS_STOPPED : PZ_EVENTS_READ;
    }

private:
    // Calls `fn` (when set) with the context and `args`; false when it asks
    // to stop.
    template <class Fn, class... Args>
    bool call(Fn fn, Args... args) {
        return fn == nullptr || fn(context_, args...) == 0 || stop();
    }

    const pz_events_t &events_;
    void *context_;
};

}  // namespace pz

#endif  // PZ_CALLBACK_SINK_H
