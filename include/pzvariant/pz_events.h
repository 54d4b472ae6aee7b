/* Reading JSON and MessagePack as events: what the readers see, handed to
 * the caller's callbacks instead of made into values. */
#ifndef PZ_EVENTS_H
#define PZ_EVENTS_H

#include "pz_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup pz_events Reading as events
 * The readers of plain JSON and MessagePack hand what they read to
 * callbacks of the caller's, one event at a time, in the order of the
 * input, and make no values: a program counts, filters or builds
 * structures of its own, in memory that does not grow with the input
 * (the JSON reader keeps one block for decoding strings with escapes, as
 * long as the longest of them).
 *
 * The events of one value: a scalar (null, bool or a number, of its kind),
 * a string, bytes (MessagePack's bin), or an array (begin_array, the events
 * of each element, end_array) or a dictionary (begin_dict, then for each
 * member its key and the events of its value, end_dict). The kinds are
 * those the value readers give: a JSON number is an int64, a uint64 or a
 * double by the rule of kinds (or, with the `number` callback, its text as
 * written), a MessagePack number keeps its format's kind (a fixint is an
 * int64), nil is the null kind. Keys and texts are
 * delivered as read: an empty key or one holding a NUL byte, which a
 * dictionary value refuses, is the callback's to judge; a MessagePack key
 * that is not a str is refused. Nesting is bounded by PZ_VARIANT_MAX_DEPTH,
 * as for values; a refusal gives the same code, reason and offset as the
 * value readers give (for an empty key, none: it is delivered).
 *
 * Every callback returns 0 to go on, anything else to stop the read there:
 * stopping is not an error. A null callback passes its events over. What a
 * callback is given is borrowed for the call: copy what it keeps.
 * @{ */

/** The count of a container whose form does not announce it (JSON). */
#define PZ_EVENTS_COUNT_UNKNOWN SIZE_MAX

/** The callbacks of an event read; each takes the `context` given to the
 * read. */
typedef struct pz_events_s {
    /** An array starts; `count` is the number of elements its header
     * announces (MessagePack), or PZ_EVENTS_COUNT_UNKNOWN (JSON). */
    int (*begin_array)(void *context, size_t count);
    /** The array last started ends. */
    int (*end_array)(void *context);
    /** A dictionary starts; `count` its members, as for begin_array. */
    int (*begin_dict)(void *context, size_t count);
    /** The dictionary last started ends. */
    int (*end_dict)(void *context);
    /** The key of the next member: `len` bytes at `name`, not terminated,
     * escapes decoded (a NUL byte may be among them). */
    int (*key)(void *context, const char *name, size_t len);
    /** A null, bool or number: `value` is a record on the reader's stack,
     * of its kind (`value->vt`), to read with the checked reads
     * (pz_variant_get_int64, pz_variant_get_double, ...) or its union
     * member; never to keep, reference or release. */
    int (*scalar)(void *context, const pz_variant_t *value);
    /** A string: `len` bytes at `text`, not terminated, escapes decoded (a
     * NUL byte may be among them). */
    int (*string)(void *context, const char *text, size_t len);
    /** A byte buffer (MessagePack's bin): `len` bytes at `data`. */
    int (*bytes)(void *context, const uint8_t *data, size_t len);
    /** JSON only, when set: each number as written, `len` bytes at `text`
     * that JSON's grammar accepts, unconverted, instead of to `scalar`:
     * for a program that keeps numbers as text (decimals, any precision) or
     * does not need their values, and so pays nothing to convert them.
     * MessagePack's numbers always go to `scalar`. */
    int (*number)(void *context, const char *text, size_t len);
} pz_events_t;

/** How an event read ended. */
typedef enum pz_events_end_e {
    PZ_EVENTS_READ = 0, /**< the value was read whole, every event delivered */
    PZ_EVENTS_STOPPED,  /**< a callback asked to stop; not an error, `error` says read */
    PZ_EVENTS_REFUSED   /**< the input was refused where `error` says */
} pz_events_end;

/** Flags of the event readers: PZ_EVENTS_PREFIX reads the value at the
 * front of the input, as pz_variant_from_json_prefix and
 * pz_variant_from_msgpack_prefix do, rather than an input that is exactly
 * one value. */
enum { PZ_EVENTS_PREFIX = 1 };

/** Reads the plain JSON in the `len` bytes at `text` (no terminator
 * needed) as pz_variant_from_json_n reads it, or with PZ_EVENTS_PREFIX the
 * value at its front as pz_variant_from_json_prefix does, handing each
 * event to `events` with `context`. `*used` (when `used` is not null)
 * receives the bytes read: those pz_variant_from_json_prefix gives with
 * PZ_EVENTS_PREFIX, `len` for a whole text; when stopped, the bytes up to
 * the end of the token whose callback stopped the read; when refused, 0
 * (or the separators, with PZ_EVENTS_PREFIX). `error` (when not null) is
 * filled as the value readers fill it; "no text" for a null `text`, "no
 * callbacks" for a null `events`. Events delivered before a refusal
 * stand: a caller that must not act on a text that is refused later
 * gathers first. Keeps no state between calls and takes no lock.
 * `flags` may also hold the reading flags of pz_json_options.h: comments,
 * trailing commas, NaN and Infinity, numbers past the doubles refused (keys
 * go on as read, duplicates too: they are the callbacks' to judge). */
PZ_API pz_events_end pz_events_read_json(const char *text, size_t len, unsigned flags, const pz_events_t *events,
                                         void *context, size_t *used, pz_read_error_t *error);

/** Reads the MessagePack in the `len` bytes at `data` as
 * pz_variant_from_msgpack reads it, or with PZ_EVENTS_PREFIX the value at
 * its front as pz_variant_from_msgpack_prefix does, handing each event to
 * `events` with `context`; `used` and `error` as for pz_events_read_json
 * ("no input" for a null `data` with a `len`). A header that announces more
 * than is left is refused before the event of its container. */
PZ_API pz_events_end pz_events_read_msgpack(const void *data, size_t len, unsigned flags, const pz_events_t *events,
                                            void *context, size_t *used, pz_read_error_t *error);

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* PZ_EVENTS_H */
