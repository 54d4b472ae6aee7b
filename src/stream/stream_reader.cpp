// The stream reader: values from bytes that arrive in pieces.
#include "stream/stream_reader.h"

#include <cstring>
#include <new>

#include "io/read_error.h"
#include "stream/prefix.h"

using pz::stream::reader;

namespace {

constexpr const char *kTooLarge = "value larger than the limit";

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

}  // namespace

reader::reader(pz_stream_format format, size_t limit, uint64_t *levels)
    : format_(format),
      msgpack_(format == PZ_STREAM_MSGPACK),
      limit_(limit != 0 ? limit : size_t{PZ_STREAM_DEFAULT_LIMIT}),
      msgpack_scan_(levels) {
    pz::read_ok(&fault_);
    pz::read_ok(&prefix_fault_);
}

pz_stream_status reader::next(pz_variant_t **out, pz_read_error_t *error) {
    *out = nullptr;
    pz_stream_status status = PZ_STREAM_ERROR;
    if (!stopped_) {
        if (!pass_mark()) {
            status = PZ_STREAM_NEED_MORE;
        } else {
            status = format_ == PZ_STREAM_NDJSON ? next_line(out) : next_value(out);
        }
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

pz_stream_status reader::source_fault(pz_read_code code, const char *reason, pz_read_error_t *error) {
    fault_at(held_.size(), code, reason);
    if (error != nullptr) *error = fault_;
    return PZ_STREAM_ERROR;
}

// A UTF-8 byte order mark at the start of a JSON stream is passed over;
// false while the bytes held may yet become one.
bool reader::pass_mark() {
    if (msgpack_ || mark_passed_) return true;
    const size_t n = held_.size() < 3 ? held_.size() : 3;
    if ((n != 0 && std::memcmp(held_.data(), "\xEF\xBB\xBF", n) != 0) || finished_) {
        mark_passed_ = true;
    } else if (n == 3) {
        consume(3);
        mark_passed_ = true;
    }
    return mark_passed_;
}

// JSON: the whitespace at the front goes; false when nothing else is held.
bool reader::pass_space() {
    if (!msgpack_) {
        size_t n = 0;
        while (n < held_.size() && is_space(held_.data()[n])) ++n;
        consume(n);
    }
    return held_.size() != 0;
}

pz_stream_status reader::next_value(pz_variant_t **out) {
    if (!scanning_) {
        if (!pass_space()) return waiting();
        const outcome first = attempt(0, held_.size(), out);
        if (first != outcome::incomplete) return settle(first, 0);
        scanning_ = true;
        scan_ = scan_step::open;
        scanned_ = 0;
        if (msgpack_) {
            msgpack_scan_.start(limit_);
        } else {
            json_.start();
        }
    }
    if (scan_ == scan_step::open) scan();
    if (scan_ == scan_step::open && !finished_ && held_.size() <= limit_) return PZ_STREAM_NEED_MORE;
    outcome o = attempt(0, held_.size(), out);
    if (o == outcome::incomplete) o = scan_ == scan_step::too_large ? outcome::too_large : outcome::fault;
    return settle(o, 0);
}

// Follows the open value over the bytes that arrived since.
void reader::scan() {
    const char *d = held_.data();
    const size_t held = held_.size();
    if (msgpack_) {
        const auto *bytes = reinterpret_cast<const uint8_t *>(d);
        const uint8_t *stop = nullptr;
        scan_ = msgpack_scan_.scan(bytes + scanned_, bytes + held, &stop);
    } else if (json_.scan(d + scanned_, d + held) != nullptr) {
        scan_ = scan_step::whole;
    }
    scanned_ = held;
}

// Reads the value that starts `start` bytes from the front with the prefix
// reader, over the `len` bytes that follow as far as the limit allows.
// The bytes it took go to `used_`.
reader::outcome reader::attempt(size_t start, size_t len, pz_variant_t **out) {
    const char *d = held_.data() + start;
    const size_t window = len < limit_ ? len : limit_;
    size_t used = 0;
    pz_variant_t *v = read_prefix(msgpack_, d, window, &used, &prefix_fault_);
    if (v == nullptr) {
        if (prefix_fault_.code != PZ_READ_UNEXPECTED_END || prefix_fault_.offset != window) return outcome::fault;
        return window < len ? outcome::too_large : outcome::incomplete;
    }
    if (word_may_go_on(d, used, window, len)) {
        pz_variant_unref(v);
        return window < len ? outcome::too_large : outcome::incomplete;
    }
    *out = v;
    used_ = used;
    return outcome::value;
}

// Whether the JSON number or literal just read may go on past the window
// (`12`, then `3`): nothing but the byte after it tells where it ends.
bool reader::word_may_go_on(const char *d, size_t used, size_t window, size_t len) const {
    if (msgpack_ || used != window || used == 0 || !json_scanner::word_byte(d[used - 1])) return false;
    if (window < len) return json_scanner::word_byte(d[window]);
    // At the end of what is held: a line ends it, as does the stream's end.
    return format_ == PZ_STREAM_JSON && !finished_;
}

// The end of a read in the forms that stop at a fault: the value handed
// out, or the fault recorded (out of memory leaves the reader as it was).
pz_stream_status reader::settle(outcome o, size_t start) {
    if (o == outcome::value) {
        consume(used_);
        scanning_ = false;
        return PZ_STREAM_VALUE;
    }
    if (o == outcome::fault && msgpack_ && announces_too_much(prefix_fault_.offset)) o = outcome::too_large;
    if (o == outcome::too_large) {
        fault_at(start, PZ_READ_TOO_LARGE, kTooLarge);
    } else {
        fault_at(start + prefix_fault_.offset, prefix_fault_.code, prefix_fault_.reason);
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
    const size_t end = at < held_.size() ? at + 1 : held_.size();
    const uint8_t *stop = nullptr;
    msgpack_scan_.start(limit_);
    return msgpack_scan_.scan(bytes, bytes + end, &stop) == scan_step::too_large;
}

pz_stream_status reader::next_line(pz_variant_t **out) {
    if (skipping_ && !pass_rest_of_line()) return waiting();
    if (!pass_space()) return waiting();  // blank lines, and the blanks that start a line
    const char *d = held_.data();
    const size_t held = held_.size();
    const void *nl = std::memchr(d + scanned_, '\n', held - scanned_);
    scanned_ = nl != nullptr ? static_cast<size_t>(static_cast<const char *>(nl) - d) : held;
    if (nl == nullptr && !finished_ && scanned_ <= limit_) return PZ_STREAM_NEED_MORE;
    const outcome o = read_line(scanned_, out);
    if (o != outcome::value && fault_.code == PZ_READ_OUT_OF_MEMORY) return PZ_STREAM_ERROR;
    // The line goes, with its break; one refused before its break arrived
    // goes as it arrives.
    if (nl != nullptr || finished_) {
        consume_line(scanned_ + (nl != nullptr ? 1 : 0));
    } else {
        consume(held);
        skipping_ = true;
    }
    scanned_ = 0;
    return o == outcome::value ? PZ_STREAM_VALUE : PZ_STREAM_ERROR;
}

// The value of the line at the front, `len` bytes to its break (or past the
// limit, its break not yet in sight). Records the fault when it cannot be
// read.
reader::outcome reader::read_line(size_t len, pz_variant_t **out) {
    const size_t start = 0;
    outcome o = attempt(start, len, out);
    if (o == outcome::value && len > limit_) {
        // Read within the limit, but the line goes on past it.
        pz_variant_unref(*out);
        *out = nullptr;
        o = outcome::too_large;
    }
    if (o == outcome::value) {
        const char *d = held_.data();
        size_t after = start + used_;
        while (after < start + len && is_space(d[after])) ++after;
        if (after == start + len) return o;
        pz_variant_unref(*out);
        *out = nullptr;
        fault_at(after, PZ_READ_TEXT_AFTER_VALUE, "text after the value");
        return outcome::fault;
    }
    if (o == outcome::too_large) {
        fault_at(start, PZ_READ_TOO_LARGE, kTooLarge);
    } else {
        fault_at(start + prefix_fault_.offset, prefix_fault_.code, prefix_fault_.reason);
    }
    return outcome::fault;
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

// Records a fault `at` bytes from the front, with its offset from the
// start of the stream and, for JSON, its line and column.
void reader::fault_at(size_t at, pz_read_code code, const char *reason) {
    pz::read_fault_binary(&fault_, code, reason, offset_ + at);
    if (msgpack_) return;
    size_t line = line_;
    size_t column = column_;
    advance(held_.data(), at, &line, &column);
    fault_.line = line;
    fault_.column = column;
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
        pz::read_fault_binary(error, PZ_READ_INVALID_ARGUMENT, "no reader", 0);
        return PZ_STREAM_ERROR;
    }
    return reader->next(value, error);
}

}  // extern "C"
