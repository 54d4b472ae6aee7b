// Private to the library: the stream writer behind pz_stream_writer_t.
// Each value is written whole into the writer's own buffer before any of
// it is handed on, so that a value refused part way writes nothing and the
// stream stays well-formed.
#ifndef PZ_STREAM_WRITER_H
#define PZ_STREAM_WRITER_H

#include "pzvariant/pz_stream.h"

namespace pz::stream {

class writer {
public:
    // Hands each value's bytes to `fn` with `data`; with a null `fn` they
    // stay in memory for take_bytes().
    writer(pz_stream_format format, unsigned flags, pz_write_callback_t fn, void *data);
    writer(const writer &) = delete;
    writer &operator=(const writer &) = delete;
    ~writer();

    // Appends `v` whole, or nothing of it.
    bool append_value(const pz_variant_t *v);
    // The bytes held, in a new HAL block the caller frees; null when none.
    void *take_bytes(size_t *len);

private:
    bool encode(const pz_variant_t *v, size_t *size);
    bool grow(size_t need);

    const bool msgpack_;
    const unsigned flags_;
    const pz_write_callback_t fn_;
    void *const data_;
    char *buf_ = nullptr;
    size_t capacity_ = 0;
    size_t used_ = 0;  // bytes held: values written and not yet taken
};

}  // namespace pz::stream

// The C handle is the writer itself.
struct pz_stream_writer_s final : pz::stream::writer {
    using writer::writer;
};

namespace pz::stream {

// A new writer in a HAL block, as pz_stream_writer_free releases it; null
// for an unknown format or when out of memory.
pz_stream_writer_t *new_writer(pz_stream_format format, unsigned flags, pz_write_callback_t fn, void *data);

}  // namespace pz::stream

#endif  // PZ_STREAM_WRITER_H
