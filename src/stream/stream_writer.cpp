// The stream writer: values appended one at a time, each whole or not at all.
#include "stream/stream_writer.h"

#include <new>

#include "base/pz_memory.h"
#include "binary/msgpack.h"
#include "text/json_writer.h"

using pz::stream::writer;

writer::writer(pz_stream_format format, unsigned flags, pz_write_callback_t fn, void *data)
    : msgpack_(format == PZ_STREAM_MSGPACK),
      // An NDJSON value takes one line whatever the flags say.
      flags_(format == PZ_STREAM_NDJSON ? flags & ~static_cast<unsigned>(PZ_JSON_INDENT) : flags),
      fn_(fn),
      data_(data) {}

writer::~writer() { HAL_Free(buf_); }

// Writes `v` into the room after the bytes held; `*size` is its length,
// also when it did not fit (the sink counts what it could not keep).
bool writer::encode(const pz_variant_t *v, size_t *size) {
    pz::out_sink out(buf_ + used_, capacity_ - used_);
    const bool written = msgpack_ ? pz::msgpack::write(v, flags_, out) : pz::write_json(v, out, flags_);
    *size = out.size();
    return written;
}

bool writer::grow(size_t need) {
    size_t capacity = capacity_ < 256 ? 256 : capacity_;
    while (capacity < need && capacity <= SIZE_MAX / 2) capacity *= 2;
    if (capacity < need) capacity = need;
    auto *buf = static_cast<char *>(pz_mem_move(buf_, used_, capacity));
    if (buf == nullptr) return false;
    buf_ = buf;
    capacity_ = capacity;
    return true;
}

bool writer::append_value(const pz_variant_t *v) {
    if (v == nullptr) return false;
    // After the value: JSON's line break, and room for take_bytes()'s terminator.
    const size_t after = msgpack_ ? 1 : 2;
    size_t size = 0;
    if (!encode(v, &size)) return false;
    if (capacity_ - used_ < size || capacity_ - used_ - size < after) {
        // Walked again into a buffer of the size learnt: the same bytes.
        if (size > SIZE_MAX - used_ - after || !grow(used_ + size + after) || !encode(v, &size)) return false;
    }
    if (!msgpack_) buf_[used_ + size++] = '\n';
    used_ += size;
    if (fn_ == nullptr) return true;
    const bool taken = fn_(buf_, used_, data_) == 0;
    used_ = 0;
    return taken;
}

void *writer::take_bytes(size_t *len) {
    char *bytes = fn_ == nullptr && used_ != 0 ? buf_ : nullptr;
    if (len != nullptr) *len = bytes != nullptr ? used_ : 0;
    if (bytes == nullptr) return nullptr;
    bytes[used_] = '\0';
    buf_ = nullptr;
    capacity_ = used_ = 0;
    return bytes;
}

pz_stream_writer_t *pz::stream::new_writer(pz_stream_format format, unsigned flags, pz_write_callback_t fn,
                                           void *data) {
    if (format != PZ_STREAM_JSON && format != PZ_STREAM_NDJSON && format != PZ_STREAM_MSGPACK) return nullptr;
    void *block = HAL_Malloc(sizeof(pz_stream_writer_t));
    return block != nullptr ? new (block) pz_stream_writer_t(format, flags, fn, data) : nullptr;
}

extern "C" {

pz_stream_writer_t *pz_stream_writer_new(pz_stream_format format, unsigned flags) {
    return pz::stream::new_writer(format, flags, nullptr, nullptr);
}

pz_stream_writer_t *pz_stream_writer_new_callback(pz_stream_format format, unsigned flags, pz_write_callback_t fn,
                                                  void *data) {
    return fn != nullptr ? pz::stream::new_writer(format, flags, fn, data) : nullptr;
}

void pz_stream_writer_free(pz_stream_writer_t *writer) {
    if (writer == nullptr) return;
    writer->~pz_stream_writer_s();
    HAL_Free(writer);
}

bool pz_stream_write(pz_stream_writer_t *writer, const pz_variant_t *v) { return writer != nullptr && writer->append_value(v); }

void *pz_stream_writer_take(pz_stream_writer_t *writer, size_t *len) {
    if (writer != nullptr) return writer->take_bytes(len);
    if (len != nullptr) *len = 0;
    return nullptr;
}

}  // extern "C"
