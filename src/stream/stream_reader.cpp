// The stream reader: values from bytes that arrive in pieces.
#include "stream/stream_reader.h"

#include <cstring>
#include <new>

#include "binary/msgpack_decode.h"
#include "io/value_builder.h"
#include "text/json_parse.h"

using pz::stream::reader;

namespace {

constexpr char kMark[] = "\xEF\xBB\xBF";  // UTF-8's byte order mark
constexpr char kRecordSeparator = 0x1E;

bool is_space(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }

// Moves `*line` and `*column` (in characters: UTF-8 continuation bytes do
// not count) over the `n` bytes at `p`.
void advance(const char *p, size_t n, size_t *line, size_t *column) {
    const char *end = p + n;
    for (const void *nl; p < end && (nl = std::memchr(p, '\n', static_cast<size_t>(end - p))) != nullptr;) {
        ++*line;
        *column = 1;
        p = static_cast<const char *>(nl) + 1;
    }
    for (; p < end; ++p) *column += (static_cast<unsigned char>(*p) & 0xC0) != 0x80;
}

// What the JSON prefix reader passes over before a value, from the front
// of the `len` bytes at `d`: a byte order mark, then whitespace and record
// separators.
size_t separators(const char *d, size_t len) {
    size_t n = len >= 3 && std::memcmp(d, kMark, 3) == 0 ? 3 : 0;
    while (n < len && (is_space(d[n]) || d[n] == kRecordSeparator)) ++n;
    return n;
}

}  // namespace

reader::reader(pz_stream_format format, size_t limit, uint64_t *levels)
    : format_(format),
      msgpack_(format == PZ_STREAM_MSGPACK),
      limit_(limit != 0 ? limit : size_t{PZ_STREAM_DEFAULT_LIMIT}),
      msgpack_scan_(levels) {
    pz::read_ok(&fault_);
    pz::read_ok(&read_);
}

pz_stream_status reader::next(pz_variant_t **out, pz_read_error_t *error) {
    *out = nullptr;
    pz_stream_status status = PZ_STREAM_ERROR;
    if (!stopped_) {
        pz::read_ok(&fault_);
        status = format_ == PZ_STREAM_NDJSON ? next_line(out) : next_value(out);
    }
    if (error != nullptr) {
        if (status == PZ_STREAM_ERROR) {
            *error = fault_;
        } else {
            pz::read_ok(error);
        }
    }
    return status;
}

pz_stream_status reader::source_fault(pz::fault f, pz_read_error_t *error) {
    refuse(held_.size(), f);
    if (error != nullptr) *error = fault_;
    return PZ_STREAM_ERROR;
}

pz_stream_status reader::next_value(pz_variant_t **out) {
    while (!scanning_) {
        pass_trailing_space();
        if (held_.size() == 0 || mark_may_follow()) return waiting();
        if (!msgpack_ && front_ == front::inside && held_.data()[0] == kMark[0]) {
            // Read whole, the separators before would have been passed in
            // the same read as this byte, where a mark is no longer taken.
            refuse(0, pz::fault::expected_value);
            return settle(outcome::fault);
        }
        const outcome first = attempt(held_.size(), out);
        if (first == outcome::value || first == outcome::fault) return settle(first);
        // Separators and nothing else yet, or a value open at the end of
        // what is held or past the limit, which the scanner follows from
        // its first byte. Separators go as they come.
        const size_t passed = first == outcome::nothing ? used_ : msgpack_ ? 0 : separators(held_.data(), held_.size());
        pass_separators(passed);
        if (first != outcome::nothing) begin_scan();
    }
    scan();
    if (scan_ == scan_step::fault) {
        refuse(static_cast<size_t>(msgpack_scan_.fault_at()), msgpack_scan_.fault());
        return settle(outcome::fault);
    }
    if (scan_ == scan_step::too_large) return settle(outcome::too_large);
    if (scan_ == scan_step::open && !finished_ && held_.size() <= limit_) return PZ_STREAM_NEED_MORE;
    // Whole, past the limit, or cut short by the end of the stream.
    const outcome o = attempt(held_.size(), out);
    return settle(o == outcome::incomplete ? outcome::fault : o);
}

// Whitespace right after a value goes with it, as when read whole, so that
// the next read starts after it, where a byte order mark is passed over.
void reader::pass_trailing_space() {
    if (msgpack_ || front_ != front::after_value) return;
    size_t n = 0;
    while (n < held_.size() && is_space(held_.data()[n])) ++n;
    consume(n);
}

// Lets the `n` separators at the front go; the read they began goes on.
void reader::pass_separators(size_t n) {
    if (n != 0) front_ = front::inside;
    consume(n);
}

void reader::begin_scan() {
    scanning_ = true;
    scan_ = scan_step::open;
    scanned_ = 0;
    if (msgpack_) {
        msgpack_scan_.start(limit_);
    } else {
        json_.start();
    }
}

// Follows the open value over the bytes that arrived since.
void reader::scan() {
    if (scan_ != scan_step::open) return;  // (decided before memory ran out)
    const char *d = held_.data();
    const size_t held = held_.size();
    if (msgpack_) {
        const auto *bytes = reinterpret_cast<const uint8_t *>(d);
        scan_ = msgpack_scan_.scan(bytes + scanned_, bytes + held);
    } else if (json_.scan(d + scanned_, d + held) != nullptr) {
        scan_ = scan_step::whole;
    }
    scanned_ = held;
}

// Reads the value at the front with the prefix reader, over the `len`
// bytes there as far as the limit allows, counted from the value's first
// byte (in NDJSON from the line's). The bytes it took (or, when it read no
// value, the separators before where one would start) go to `used_`, what
// it said to `read_`.
reader::outcome reader::attempt(size_t len, pz_variant_t **out) {
    const char *d = held_.data();
    const size_t before = format_ == PZ_STREAM_JSON ? separators(d, len) : 0;
    const size_t window = len - before <= limit_ ? len : before + limit_;
    size_t used = 0;
    pz_variant_t *v = read_front(d, window, &used);
    used_ = used;
    if (v == nullptr) {
        if (read_.code == PZ_READ_NO_VALUE) return outcome::nothing;
        if (read_.code != PZ_READ_UNEXPECTED_END || read_.offset != window) return outcome::fault;
        return window < len ? outcome::too_large : outcome::incomplete;
    }
    if (word_may_go_on(used, window, len)) {
        pz_variant_unref(v);
        return window < len ? outcome::too_large : outcome::incomplete;
    }
    *out = v;
    return outcome::value;
}

// The value at the front of the `len` bytes at `d`, read as the prefix
// readers read it (pz_variant_from_json_prefix, _msgpack_prefix), what
// they say in read_, the bytes they take in `*used`; the keys of every
// value of the stream come from one cache, so that a stream of records
// with the same names shares their keys.
pz_variant_t *reader::read_front(const char *d, size_t len, size_t *used) {
    pz::value_builder values(msgpack_, &keys_);
    const size_t taken = msgpack_ ? pz::msgpack::read(reinterpret_cast<const uint8_t *>(d), len, true, values)
                                  : pz::json::read(d, len, true, values);
    values.report(&read_, msgpack_ ? nullptr : d, len);
    pz_variant_t *v = values.take();
    if (values.failed()) {
        pz_variant_unref(v);
        v = nullptr;
    }
    *used = v != nullptr || !msgpack_ ? taken : 0;  // JSON: the separators before a value not read
    return v;
}

// Whether the JSON number or literal just read may go on past the window
// (`12`, then `3`): nothing but the byte after it tells where it ends.
bool reader::word_may_go_on(size_t used, size_t window, size_t len) const {
    const char *d = held_.data();
    if (msgpack_ || used != window || used == 0 || !json_scanner::word_byte(d[used - 1])) return false;
    if (window < len) return json_scanner::word_byte(d[window]);
    // At the end of what is held: the end of a line ends it, as does the
    // end of the stream.
    return format_ == PZ_STREAM_JSON && !finished_;
}

// Whether the bytes held are the start of a byte order mark, which the
// prefix reader would take as a value cut short: more bytes tell.
bool reader::mark_may_follow() const {
    return !msgpack_ && front_ != front::inside && !finished_ && held_.size() < 3 &&
           std::memcmp(held_.data(), kMark, held_.size()) == 0;
}

// The end of a read in the forms that stop at a fault: the value handed
// out, or the fault recorded (out of memory leaves the reader as it was,
// to try again).
pz_stream_status reader::settle(outcome o) {
    if (o == outcome::value) {
        consume(used_);
        scanning_ = false;
        front_ = front::after_value;
        return PZ_STREAM_VALUE;
    }
    if (o == outcome::too_large || (msgpack_ && !scanning_ && announces_too_much(read_.offset))) {
        refuse(0, pz::fault::value_too_large);
    } else if (fault_.code == PZ_READ_OK) {  // not refused already
        refuse_as_read(0, read_);
    }
    if (fault_.code != PZ_READ_OUT_OF_MEMORY) {
        stopped_ = true;
        scanning_ = false;
    }
    return PZ_STREAM_ERROR;
}

// Whether a header up to the byte `at` (the place of a fault) announces more
// than the limit: that refusal comes first, as it does when such a header
// arrives before the fault's bytes.
bool reader::announces_too_much(size_t at) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(held_.data());
    msgpack_scan_.start(limit_);
    return msgpack_scan_.scan(bytes, bytes + (at < held_.size() ? at + 1 : held_.size())) == scan_step::too_large;
}

pz_stream_status reader::next_line(pz_variant_t **out) {
    for (;;) {
        if (skipping_ && !pass_rest_of_line()) return waiting();
        const char *d = held_.data();
        const size_t held = held_.size();
        if (held == 0) return waiting();
        const void *nl = std::memchr(d + scanned_, '\n', held - scanned_);
        scanned_ = nl != nullptr ? static_cast<size_t>(static_cast<const char *>(nl) - d) : held;
        if (nl == nullptr && !finished_ && scanned_ <= limit_) return PZ_STREAM_NEED_MORE;
        const outcome o = read_line(scanned_, out);
        if (o == outcome::fault && fault_.code == PZ_READ_OUT_OF_MEMORY) return PZ_STREAM_ERROR;
        // The line goes, with its break; one refused before its break
        // arrived goes as it arrives.
        if (nl != nullptr || finished_) {
            consume_line(scanned_ + (nl != nullptr ? 1 : 0));
        } else {
            consume(held);
            skipping_ = true;
        }
        scanned_ = 0;
        if (o != outcome::nothing) return o == outcome::value ? PZ_STREAM_VALUE : PZ_STREAM_ERROR;
    }
}

// The value of the line at the front, `len` bytes to its break (or past the
// limit, its break not yet in sight): `nothing` for a blank line. Records
// the fault when the line cannot be read. A line longer than the limit is
// refused, at its start, unless a fault stands within the limit.
reader::outcome reader::read_line(size_t len, pz_variant_t **out) {
    outcome o = attempt(len, out);
    if (len > limit_ && o != outcome::fault) {
        pz_variant_unref(*out);
        *out = nullptr;
        o = outcome::too_large;
    }
    if (o == outcome::value && used_ < len) {  // the whitespace after the value is in used_
        pz_variant_unref(*out);
        *out = nullptr;
        refuse(used_, pz::fault::text_after_value);
        return outcome::fault;
    }
    if (o == outcome::too_large) {
        refuse(0, pz::fault::value_too_large);  // at the line's first byte, whatever has arrived of it
    } else if (o == outcome::fault || o == outcome::incomplete) {
        refuse_as_read(0, read_);
        return outcome::fault;
    }
    return o;
}

// After a line refused before its break arrived: passes the rest of it
// over as it comes; false when its break is not held yet.
bool reader::pass_rest_of_line() {
    const void *nl = held_.size() != 0 ? std::memchr(held_.data(), '\n', held_.size()) : nullptr;
    if (nl == nullptr) {
        consume(held_.size());
        return false;
    }
    consume_line(static_cast<size_t>(static_cast<const char *>(nl) - held_.data()) + 1);
    skipping_ = false;
    return true;
}

void reader::consume(size_t n) {
    if (!msgpack_) advance(held_.data(), n, &line_, &column_);
    offset_ += n;
    held_.consume(n);
}

// An NDJSON line that ends with its break: nothing in it needs counting.
void reader::consume_line(size_t n) {
    offset_ += n;
    held_.consume(n);
    ++line_;
    column_ = 1;
}

// Places `*error` `at` bytes from the front: its offset from the start of
// the stream and, for JSON, its line and column.
void reader::place(size_t at, pz_read_error_t *error) const {
    error->offset = offset_ + at;
    error->line = error->column = 0;
    if (msgpack_) return;
    error->line = line_;
    error->column = column_;
    advance(held_.data(), at, &error->line, &error->column);
}

void reader::refuse(size_t at, pz::fault f) {
    pz::read_fault_binary(&fault_, f, 0);
    place(at, &fault_);
}

// A fault the prefix reader found, reading from `at` bytes from the front.
void reader::refuse_as_read(size_t at, const pz_read_error_t &read) {
    fault_ = read;
    place(at + read.offset, &fault_);
}

extern "C" {

pz_stream_reader_t *pz_stream_reader_new(pz_stream_format format, size_t max_value) {
    if (format != PZ_STREAM_JSON && format != PZ_STREAM_NDJSON && format != PZ_STREAM_MSGPACK) return nullptr;
    // The MessagePack scanner's counts follow the reader in its block.
    const size_t levels = format == PZ_STREAM_MSGPACK ? pz::stream::msgpack_scanner::kLevels : 0;
    static_assert(sizeof(pz_stream_reader_t) % alignof(uint64_t) == 0);
    auto *block = static_cast<char *>(HAL_Malloc(sizeof(pz_stream_reader_t) + levels * sizeof(uint64_t)));
    if (block == nullptr) return nullptr;
    auto *counts = levels != 0 ? reinterpret_cast<uint64_t *>(block + sizeof(pz_stream_reader_t)) : nullptr;
    return new (block) pz_stream_reader_t(format, max_value, counts);
}

void pz_stream_reader_free(pz_stream_reader_t *reader) {
    if (reader == nullptr) return;
    reader->~pz_stream_reader_s();
    HAL_Free(reader);
}

bool pz_stream_reader_feed(pz_stream_reader_t *reader, const void *data, size_t len) {
    return reader != nullptr && (data != nullptr || len == 0) && reader->feed(data, len);
}

void pz_stream_reader_finish(pz_stream_reader_t *reader) {
    if (reader != nullptr) reader->finish();
}

pz_stream_status pz_stream_reader_next(pz_stream_reader_t *reader, pz_variant_t **value, pz_read_error_t *error) {
    if (reader == nullptr || value == nullptr) {
        if (value != nullptr) *value = nullptr;
        pz::read_fault_binary(error, pz::fault::no_reader, 0);
        return PZ_STREAM_ERROR;
    }
    return reader->next(value, error);
}

}  // extern "C"
