/** @file cpp/events.hpp
 * C++ interface to the event readers of pz_events.h: a visitor whose
 * members are called with what the reader sees, in input order, and no
 * value made.
 *
 *     struct counter : pz::events {
 *         size_t n = 0;
 *         bool scalar(pz::view) override { return ++n, true; }
 *         bool string(std::string_view) override { return ++n, true; }
 *     };
 *     counter c;
 *     pz::read_json_events(text, c);   // throws pz::parse_error when refused
 *
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_EVENTS_HPP
#define PZ_CPP_EVENTS_HPP

#include <cstddef>
#include <exception>
#include <new>
#include <string_view>

#include "../pz_events.h"
#include "view.hpp"

namespace pz {

/** A visitor of read events (see pz_events.h for their order and kinds):
 * derive from it and override the members you need, each returning true
 * to go on or false to stop the read there, which is not an error. The
 * others pass their events over. What a member is given is borrowed for
 * the call. An exception thrown by a member stops the read and comes out
 * of the read function. */
class events {
public:
    /** The count of a container whose form does not announce it (JSON). */
    static constexpr std::size_t unknown_count = PZ_EVENTS_COUNT_UNKNOWN;

    /** With `numbers_as_text`, JSON numbers go to number() as written,
     * unconverted, instead of to scalar(). */
    explicit events(bool numbers_as_text = false) noexcept : numbers_as_text_(numbers_as_text) {}
    virtual ~events() = default;
    /** Whether JSON numbers go to number(). */
    bool numbers_as_text() const noexcept { return numbers_as_text_; }

    /** An array starts, with `count` elements announced, or unknown_count. */
    virtual bool begin_array(std::size_t /*count*/) { return true; }
    /** The array last started ends. */
    virtual bool end_array() { return true; }
    /** A dictionary starts, with `count` members announced, or unknown_count. */
    virtual bool begin_dict(std::size_t /*count*/) { return true; }
    /** The dictionary last started ends. */
    virtual bool end_dict() { return true; }
    /** The key of the next member, as read (it may be empty or hold a NUL). */
    virtual bool key(std::string_view /*name*/) { return true; }
    /** A null, bool or number of its kind: read it as any pz::view
     * (get<T>(), get_as<T>(), kind()); never keep it. */
    virtual bool scalar(view /*value*/) { return true; }
    /** A string, escapes decoded. */
    virtual bool string(std::string_view /*text*/) { return true; }
    /** A byte buffer (MessagePack's bin) of `len` bytes at `data`. */
    virtual bool bytes(const std::byte * /*data*/, std::size_t /*len*/) { return true; }
    /** A JSON number as written, when numbers_as_text(). */
    virtual bool number(std::string_view /*text*/) { return true; }

private:
    bool numbers_as_text_;
};

/** How an event read ended: whether the visitor stopped it, and the bytes
 * it used (as pz_events_read_json and pz_events_read_msgpack say). */
struct events_read {
    bool stopped;      ///< a member returned false
    std::size_t used;  ///< the bytes read, up to where it stopped
};

/// @cond detail
namespace detail {

// One read in progress: the visitor, and what a member of it threw, kept
// until the C reader has returned (no exception crosses the C interface).
struct event_call {
    events &visitor;
    std::exception_ptr thrown;

    static event_call &of(void *context) { return *static_cast<event_call *>(context); }

    template <class Member>
    static int call(void *context, Member member) noexcept {
        event_call &self = of(context);
        try {
            return member(self.visitor) ? 0 : 1;
        } catch (...) {
            self.thrown = std::current_exception();
            return 1;
        }
    }
};

inline const pz_events_t &event_table(bool numbers_as_text) {
    static const pz_events_t table = {
        [](void *c, std::size_t n) { return event_call::call(c, [n](events &v) { return v.begin_array(n); }); },
        [](void *c) { return event_call::call(c, [](events &v) { return v.end_array(); }); },
        [](void *c, std::size_t n) { return event_call::call(c, [n](events &v) { return v.begin_dict(n); }); },
        [](void *c) { return event_call::call(c, [](events &v) { return v.end_dict(); }); },
        [](void *c, const char *name, std::size_t len) {
            return event_call::call(c, [=](events &v) { return v.key(std::string_view(name, len)); });
        },
        [](void *c, const pz_variant_t *value) {
            return event_call::call(c, [=](events &v) { return v.scalar(view(value)); });
        },
        [](void *c, const char *text, std::size_t len) {
            return event_call::call(c, [=](events &v) { return v.string(std::string_view(text, len)); });
        },
        [](void *c, const uint8_t *data, std::size_t len) {
            return event_call::call(c, [=](events &v) { return v.bytes(reinterpret_cast<const std::byte *>(data), len); });
        },
        nullptr,
    };
    static const pz_events_t as_text = [] {
        pz_events_t t = table;
        t.number = [](void *c, const char *text, std::size_t len) {
            return event_call::call(c, [=](events &v) { return v.number(std::string_view(text, len)); });
        };
        return t;
    }();
    return numbers_as_text ? as_text : table;
}

// What the C reader's end says, in C++ terms.
inline events_read events_result(pz_events_end end, const pz_read_error_t &error, const event_call &call,
                                 std::size_t used) {
    if (call.thrown) std::rethrow_exception(call.thrown);
    if (end == PZ_EVENTS_REFUSED) {
        if (error.code == PZ_READ_OUT_OF_MEMORY) throw std::bad_alloc();
        throw parse_error(error);
    }
    return {end == PZ_EVENTS_STOPPED, used};
}

}  // namespace detail
/// @endcond

/** Reads the plain JSON `text` (one value, or with `prefix` the value at
 * its front, as pz::from_json and pz_variant_from_json_prefix read),
 * handing each event to `visitor`. Throws pz::parse_error when the text is
 * refused (code(), offset(), line() and column() say why and where),
 * std::bad_alloc when memory runs out, and what a member of the visitor
 * throws. */
inline events_read read_json_events(std::string_view text, events &visitor, bool prefix = false) {
    detail::event_call call{visitor, nullptr};
    pz_read_error_t error;
    std::size_t used = 0;
    const char *bytes = text.data() != nullptr ? text.data() : "";  // an empty view may hold no pointer
    const pz_events_end end = pz_events_read_json(bytes, text.size(), prefix ? PZ_EVENTS_PREFIX : 0,
                                                  &detail::event_table(visitor.numbers_as_text()), &call, &used, &error);
    return detail::events_result(end, error, call, used);
}

/** As read_json_events, for the MessagePack in the `len` bytes at `data`. */
inline events_read read_msgpack_events(const void *data, std::size_t len, events &visitor, bool prefix = false) {
    detail::event_call call{visitor, nullptr};
    pz_read_error_t error;
    std::size_t used = 0;
    const pz_events_end end = pz_events_read_msgpack(data, len, prefix ? PZ_EVENTS_PREFIX : 0,
                                                     &detail::event_table(false), &call, &used, &error);
    return detail::events_result(end, error, call, used);
}

}  // namespace pz

#endif  // PZ_CPP_EVENTS_HPP
