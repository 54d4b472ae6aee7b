// Private to the library: the stream reader behind pz_stream_reader_t.
//
// It holds the bytes not yet handed out. When a value may begin, it reads
// it at once with the prefix reader (most values of a piece are whole);
// when the bytes end inside it, a scanner follows the rest of it as it
// arrives, scanning each byte once, and the prefix reader reads it again
// only once the scanner says it is whole. So every byte is scanned at most
// once and read at most twice, however the stream is cut, and a stream
// read in pieces gives the values and the faults it gives read whole.
#ifndef PZ_STREAM_READER_H
#define PZ_STREAM_READER_H

#include "io/key_cache.h"
#include "io/read_error.h"
#include "pzvariant/pz_stream.h"
#include "stream/held_bytes.h"
#include "stream/json_scanner.h"
#include "stream/msgpack_scanner.h"

namespace pz::stream {

class reader {
public:
    // `levels`: room for the MessagePack scanner's counts (see
    // msgpack_scanner), null for JSON.
    reader(pz_stream_format format, size_t limit, uint64_t *levels);
    reader(const reader &) = delete;
    reader &operator=(const reader &) = delete;

    // Whether bytes may still be fed: not finished, not stopped at a fault.
    bool accepts() const { return !finished_ && !stopped_; }
    bool feed(const void *data, size_t len) { return accepts() && held_.append(data, len); }
    // Room for `n` bytes read in place (by the file readers), then commit().
    char *room(size_t n) { return held_.room(n); }
    void commit(size_t n) { held_.commit(n); }
    void finish() { finished_ = true; }

    pz_stream_status next(pz_variant_t **out, pz_read_error_t *error);

    // A fault of the source the bytes come from (reading a file failed),
    // at the end of what was fed; the reader stays as it was.
    pz_stream_status source_fault(pz::fault f, pz_read_error_t *error);

private:
    enum class outcome { value, incomplete, nothing, too_large, fault };
    using scan_step = msgpack_scanner::step;  // JSON's scanner ends open or whole

    pz_stream_status next_value(pz_variant_t **out);
    pz_stream_status next_line(pz_variant_t **out);
    void pass_trailing_space();
    void pass_separators(size_t n);
    void begin_scan();
    void scan();
    outcome attempt(size_t len, pz_variant_t **out);
    pz_variant_t *read_front(const char *d, size_t len, size_t *used);
    bool word_may_go_on(size_t used, size_t window, size_t len) const;
    bool mark_may_follow() const;
    pz_stream_status settle(outcome o);
    bool announces_too_much(size_t at);
    outcome read_line(size_t len, pz_variant_t **out);
    bool pass_rest_of_line();
    pz_stream_status waiting() const { return finished_ ? PZ_STREAM_END : PZ_STREAM_NEED_MORE; }

    void consume(size_t n);
    void consume_line(size_t n);
    void place(size_t at, pz_read_error_t *error) const;
    void refuse(size_t at, pz::fault f);
    void refuse_as_read(size_t at, const pz_read_error_t &read);

    const pz_stream_format format_;
    const bool msgpack_;
    const size_t limit_;
    held_bytes held_;
    size_t offset_ = 0;  // of the first byte held, from the start of the stream
    size_t line_ = 1;    // its line and column (JSON)
    size_t column_ = 1;
    bool finished_ = false;
    bool stopped_ = false;     // at a fault that ends the stream
    bool scanning_ = false;    // the value at the front is open: the scanner follows it
    bool skipping_ = false;    // NDJSON: the rest of a refused line is passed over
    // JSON: where the front stands, as the prefix reader would see it read
    // whole: a byte order mark is passed over at the start of a read only.
    enum class front { stream_start, after_value, inside } front_ = front::stream_start;
    size_t scanned_ = 0;       // bytes from the front that the scanner (or the search for a line break) has seen
    scan_step scan_ = scan_step::open;
    size_t used_ = 0;          // by the value the latest attempt read
    pz_read_error_t fault_;    // the latest fault
    pz_read_error_t read_;     // what the prefix reader said
    json_scanner json_;
    msgpack_scanner msgpack_scan_;
    pz::key_cache keys_;       // shared by the keys of every value read
};

}  // namespace pz::stream

// The C handle is the reader itself.
struct pz_stream_reader_s final : pz::stream::reader {
    using reader::reader;
};

#endif  // PZ_STREAM_READER_H
