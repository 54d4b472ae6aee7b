/* pzvariant: values as streams.
 *
 * A stream reader is fed bytes as they arrive, in pieces of any size (one
 * byte at a time will do), and hands out each value once all of its bytes
 * are there. A stream writer appends values one at a time to a descriptor,
 * a FILE *, a callback or a block of memory. Three forms:
 *
 *   PZ_STREAM_JSON     JSON values one after another, as
 *                      pz_variant_from_json_prefix reads them: separated by
 *                      whitespace, record separators (0x1E: JSON text
 *                      sequences) or nothing where the values' own brackets
 *                      and quotes separate them ({"a":1}[2] is two values,
 *                      1 2 is two, 12 is one). A value may span lines.
 *   PZ_STREAM_NDJSON   one JSON value per line (NDJSON, JSON Lines): each
 *                      line holds one value and whitespace, blank lines are
 *                      passed over, a last line needs no line break. A bad
 *                      line is reported with its line number and reading
 *                      goes on with the next line.
 *   PZ_STREAM_MSGPACK  MessagePack values back to back, nothing between.
 *
 * Values read by the rules of pz_variant_from_json_n and
 * pz_variant_from_msgpack. A reader holds the bytes of the value in
 * progress and the rest of the latest piece fed, never the whole stream:
 * its memory follows the largest value in flight. Included by pz_variant.h;
 * valid C11 and C++. */
#ifndef PZ_STREAM_H
#define PZ_STREAM_H

#ifndef PZ_NO_STDIO
#include <stdio.h>
#endif

#include "pz_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup pz_stream Streams of values
 * Reading values from bytes that arrive in pieces, and writing values one
 * after another: JSON, NDJSON and MessagePack.
 * @{ */

/** The form of a stream (see the top of pz_stream.h). */
typedef enum pz_stream_format_e {
    PZ_STREAM_JSON = 0,  /**< JSON values separated by whitespace */
    PZ_STREAM_NDJSON,    /**< one JSON value per line */
    PZ_STREAM_MSGPACK    /**< MessagePack values back to back */
} pz_stream_format;

/** What pz_stream_reader_next found. */
typedef enum pz_stream_status_e {
    PZ_STREAM_VALUE = 0,  /**< a value was read: it is in `*value` */
    PZ_STREAM_NEED_MORE,  /**< no whole value is held yet: feed more bytes (not an error) */
    PZ_STREAM_END,        /**< the stream was finished and every value has been read */
    PZ_STREAM_ERROR       /**< the bytes cannot be read: the error says why and where */
} pz_stream_status;

/** The limit on the size of one value that a reader takes when given 0:
 * 64 MiB of encoded bytes. */
enum { PZ_STREAM_DEFAULT_LIMIT = 64 << 20 };

/** A stream reader (opaque). */
typedef struct pz_stream_reader_s pz_stream_reader_t;

/** A new reader of `format`, taking values of at most `max_value` encoded
 * bytes (0 for PZ_STREAM_DEFAULT_LIMIT); released with
 * pz_stream_reader_free. Null when out of memory or for an unknown format.
 *
 * A value longer than the limit is refused with PZ_READ_TOO_LARGE at its
 * first byte, however its bytes arrive, and a MessagePack header that
 * announces more than the limit is refused as soon as it arrives, before
 * any of what it announces is held. */
PZ_API pz_stream_reader_t *pz_stream_reader_new(pz_stream_format format, size_t max_value);

/** Releases `reader` and the bytes it holds (nothing for null). */
PZ_API void pz_stream_reader_free(pz_stream_reader_t *reader);

/** Hands the reader a copy of the next `len` bytes of the stream. False
 * when they cannot be kept (out of memory: the reader is as it was), the
 * stream was finished, or the reader stopped at an error that ends the
 * stream. Feed a piece, then call pz_stream_reader_next until it says
 * PZ_STREAM_NEED_MORE: the reader holds what it has not handed out. */
PZ_API bool pz_stream_reader_feed(pz_stream_reader_t *reader, const void *data, size_t len);

/** Says that the stream has ended: no more bytes come. A value still open
 * is then refused as cut short (PZ_READ_UNEXPECTED_END), and a JSON number
 * or literal at the very end is complete (before, `12` might go on as
 * `123`). */
PZ_API void pz_stream_reader_finish(pz_stream_reader_t *reader);

/** The next value of the stream. PZ_STREAM_VALUE puts a new value (count
 * 1, the caller's to release) in `*value`; otherwise `*value` is null.
 * PZ_STREAM_NEED_MORE: feed more bytes, or finish the stream.
 * PZ_STREAM_END: finished, and nothing but whitespace is left.
 * PZ_STREAM_ERROR: `error` (when not null) says why, with the offset
 * counted from the start of the stream and, for JSON, the line and column
 * there (from 1). The reasons are those of the readers, and "value larger
 * than the limit" (PZ_READ_TOO_LARGE). In an NDJSON stream the error
 * belongs to its line, and the next call goes on after that line; in the
 * other forms the reader stops there and gives the same error again. Out of
 * memory (PZ_READ_OUT_OF_MEMORY) leaves the reader as it was, to try again.
 * Never blocks: it only reads what was fed. */
PZ_API pz_stream_status pz_stream_reader_next(pz_stream_reader_t *reader, pz_variant_t **value,
                                              pz_read_error_t *error);

/** A stream writer (opaque). */
typedef struct pz_stream_writer_s pz_stream_writer_t;

/** A new writer of `format` that gathers what it writes in memory, for
 * pz_stream_writer_take; released with pz_stream_writer_free. `flags` are
 * those of pz_variant_to_json for the JSON forms and of
 * pz_variant_to_msgpack for MessagePack. Each JSON value is written as its
 * text and a line break, compact (one line: NDJSON) unless PZ_JSON_INDENT is
 * given with PZ_STREAM_JSON; MessagePack values are written back to back.
 * Null when out of memory or for an unknown format. */
PZ_API pz_stream_writer_t *pz_stream_writer_new(pz_stream_format format, unsigned flags);

/** As pz_stream_writer_new, handing the bytes of each value, once written
 * whole, to `fn` with `data` in one call. */
PZ_API pz_stream_writer_t *pz_stream_writer_new_callback(pz_stream_format format, unsigned flags,
                                                         pz_write_callback_t fn, void *data);

/** Releases `writer` (nothing for null). What it has handed on stays
 * written; what a memory writer holds and was not taken is dropped. */
PZ_API void pz_stream_writer_free(pz_stream_writer_t *writer);

/** Appends `v` to the stream. All or nothing: the value is written whole
 * into the writer's own buffer first, so a value that cannot be written (a
 * pointer kind refused by the flags, a string that is not UTF-8 in JSON,
 * nested too deep, holding itself) or a lack of memory writes nothing and
 * the stream stays well-formed. False then, and when the destination did
 * not take the bytes (the callback returned non-zero, a write failed). The
 * writer's buffer grows to the largest value written. */
PZ_API bool pz_stream_write(pz_stream_writer_t *writer, const pz_variant_t *v);

/** The bytes a memory writer holds (everything written since the last
 * take), NUL-terminated, in a new HAL block that the caller frees with
 * HAL_Free; their count in `*len` when `len` is not null. The writer is
 * empty afterwards. Null (and 0) when nothing is held or for a writer to
 * another destination. */
PZ_API void *pz_stream_writer_take(pz_stream_writer_t *writer, size_t *len);

#ifndef PZ_NO_STDIO
/** Reads the next value of `stream` through `reader`: takes the value the
 * reader holds, or else reads more of the stream (up to 64 KiB at a time,
 * as fread does: it waits until that much or the end arrives) and finishes
 * the reader at the stream's end. Returns as pz_stream_reader_next, never
 * PZ_STREAM_NEED_MORE, and PZ_STREAM_ERROR with "cannot read file" when the
 * stream fails (the reader is then as it was). The reader reads ahead: the
 * bytes it took from `stream` are its own. */
PZ_API pz_stream_status pz_stream_reader_read_file(pz_stream_reader_t *reader, FILE *stream, pz_variant_t **value,
                                                   pz_read_error_t *error);

/** As pz_stream_reader_read_file, reading the descriptor `fd` (a pipe, a
 * socket, a file) with read(2), which returns what has arrived: a value is
 * handed out as soon as its last byte is there. On a non-blocking
 * descriptor with nothing to read, PZ_STREAM_NEED_MORE. */
PZ_API pz_stream_status pz_stream_reader_read_fd(pz_stream_reader_t *reader, int fd, pz_variant_t **value,
                                                 pz_read_error_t *error);

/** As pz_stream_writer_new, writing each value, once written, to `stream`
 * with fwrite (which the caller flushes when it wants; the stream stays
 * open). */
PZ_API pz_stream_writer_t *pz_stream_writer_new_file(pz_stream_format format, unsigned flags, FILE *stream);

/** As pz_stream_writer_new, writing each value, once written, to the
 * descriptor `fd` with write(2), waiting until it has taken every byte (on
 * a non-blocking descriptor too). The descriptor stays open. */
PZ_API pz_stream_writer_t *pz_stream_writer_new_fd(pz_stream_format format, unsigned flags, int fd);
#endif /* PZ_NO_STDIO */

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* PZ_STREAM_H */
