// The stream reader fed random pieces must read exactly as when fed the
// whole input at once: the same values (compared by their MessagePack,
// exact for every kind) and the same faults at the same offsets, lines and
// columns. Without a limit, the values read whole are those the prefix
// readers give one after the other over the whole input. The first byte
// picks the form and the limit on one value; the pieces' sizes come from a
// generator seeded by the input.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "pzvariant/pz_variant.h"

namespace {

void pack(std::string &seen, const pz_variant_t *v) {
    size_t len = 0;
    uint8_t *bytes = pz_variant_to_msgpack(v, 0, &len);
    if (bytes == nullptr) std::abort();  // whatever a reader makes can be written
    seen.append(reinterpret_cast<const char *>(bytes), len);
    HAL_Free(bytes);
}

// The values the prefix reader gives one after the other, until it gives none.
std::string one_after_another(pz_stream_format format, const uint8_t *data, size_t size) {
    std::string seen;
    for (size_t at = 0, used = 0;; at += used) {
        pz_variant_t *v = format == PZ_STREAM_MSGPACK
                              ? pz_variant_from_msgpack_prefix(data + at, size - at, &used, nullptr)
                              : pz_variant_from_json_prefix(reinterpret_cast<const char *>(data) + at, size - at, &used,
                                                            nullptr);
        if (v == nullptr) return seen;
        pack(seen, v);
        pz_variant_unref(v);
    }
}

// Each value packed, each fault as its code and place after the byte no
// value is written with, in order.
std::string drain(pz_stream_reader_t *r, pz_stream_format format, bool *stopped) {
    std::string seen;
    for (;;) {
        pz_variant_t *v = nullptr;
        pz_read_error_t e;
        const pz_stream_status status = pz_stream_reader_next(r, &v, &e);
        if (status == PZ_STREAM_VALUE) {
            pack(seen, v);
            pz_variant_unref(v);
            continue;
        }
        if (status == PZ_STREAM_ERROR) {
            if (e.code == PZ_READ_OK || e.reason[0] == '\0') std::abort();
            seen += "\xc1" + std::to_string(e.code) + "@" + std::to_string(e.offset) + ":" + std::to_string(e.line) +
                    ":" + std::to_string(e.column);
            if (format == PZ_STREAM_NDJSON) continue;
            *stopped = true;
        }
        return seen;
    }
}

// Reads `data` fed whole (`seed` 0), a byte at a time (1), or in random
// pieces from 1 to 64 bytes.
std::string read_in_pieces(pz_stream_format format, size_t limit, const uint8_t *data, size_t size,
                           uint32_t seed) {
    pz_stream_reader_t *r = pz_stream_reader_new(format, limit);
    std::string seen;
    bool stopped = false;
    for (size_t at = 0; at < size && !stopped;) {
        size_t piece = seed == 0 ? size : 1;
        if (seed > 1) {
            seed = seed * 1103515245u + 12345u;
            piece = 1 + (seed >> 16) % 64;
        }
        const size_t n = piece < size - at ? piece : size - at;
        if (!pz_stream_reader_feed(r, data + at, n)) std::abort();
        at += n;
        seen += drain(r, format, &stopped);
    }
    if (!stopped) {
        pz_stream_reader_finish(r);
        seen += drain(r, format, &stopped);
    }
    pz_stream_reader_free(r);
    return seen;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    const auto format = static_cast<pz_stream_format>(data[0] % 3);
    const size_t limit = (data[0] & 0x80) != 0 ? 1 + (data[0] >> 2) % 32 : 0;
    ++data;
    --size;
    uint32_t seed = 2166136261u;
    for (size_t i = 0; i < size; ++i) seed = (seed ^ data[i]) * 16777619u;
    const std::string whole = read_in_pieces(format, limit, data, size, 0);
    if (limit == 0 && format != PZ_STREAM_NDJSON) {
        const std::string values = one_after_another(format, data, size);
        const bool more = whole.size() > values.size();
        if (whole.compare(0, values.size(), values) != 0 || (more && whole[values.size()] != '\xc1')) std::abort();
    }
    if (read_in_pieces(format, limit, data, size, seed | 2) != whole) std::abort();
    if (size <= 256 && read_in_pieces(format, limit, data, size, 1) != whole) std::abort();
    return 0;
}
