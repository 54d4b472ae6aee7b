// Whatever the MessagePack reader accepts must survive a round trip: its
// bytes read back to an equal value, and that value writes the same bytes
// again (the writer's encoding is canonical), NaN payloads included. With
// the smallest integers the kinds may change, but the bytes still settle.
// An input cut short is refused at its very end; the reader from the front
// and the event reader agree with the reader of the whole.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "pzvariant/hal/pz_hal.h"
#include "pzvariant/pz_variant.h"

namespace {

// Writes `v` with `flags`; aborts, for the fuzzer to report, when it cannot
// or when the buffer writer disagrees on the size.
uint8_t *written(const pz_variant_t *v, unsigned flags, size_t *len) {
    uint8_t *bytes = pz_variant_to_msgpack(v, flags, len);
    if (bytes == nullptr || pz_variant_to_msgpack_buf(v, flags, nullptr, 0) != *len) std::abort();
    return bytes;
}

void check_round_trip(const pz_variant_t *v, unsigned flags) {
    size_t len = 0;
    uint8_t *first = written(v, flags, &len);
    pz_variant_t *again = pz_variant_from_msgpack(first, len, nullptr);
    if (again == nullptr) std::abort();
    if ((flags & PZ_MSGPACK_SMALLEST) == 0 && !pz_variant_equal(v, again)) std::abort();
    size_t second_len = 0;
    uint8_t *second = written(again, flags, &second_len);
    if (second_len != len || std::memcmp(first, second, len) != 0) std::abort();
    HAL_Free(second);
    HAL_Free(first);
    pz_variant_unref(again);
}

// From the front, the value read whole with every byte used, or the value
// before the bytes after it; as events, read or refused alike (keys that
// only a dictionary refuses go on to the callbacks, and may meet another
// fault later).
void check_other_readers(const uint8_t *data, size_t size, const pz_variant_t *v, const pz_read_error_t &error) {
    size_t used = 0;
    pz_read_error_t front;
    pz_variant_t *first = pz_variant_from_msgpack_prefix(data, size, &used, &front);
    if (v != nullptr && (!pz_variant_equal(v, first) || used != size)) std::abort();
    if (first == nullptr && (front.code != error.code || front.offset != error.offset)) std::abort();
    if (first != nullptr && v == nullptr && error.code != PZ_READ_TEXT_AFTER_VALUE) std::abort();
    pz_variant_unref(first);
    const pz_events_t none{};
    pz_read_error_t by_events;
    const pz_events_end end = pz_events_read_msgpack(data, size, 0, &none, nullptr, &used, &by_events);
    if (v != nullptr && end != PZ_EVENTS_READ) std::abort();
    if (v == nullptr && error.code != PZ_READ_INVALID_KEY &&
        (end != PZ_EVENTS_REFUSED || by_events.code != error.code || by_events.offset != error.offset)) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    pz_read_error_t error;
    pz_variant_t *v = pz_variant_from_msgpack(data, size, &error);
    check_other_readers(data, size, v, error);
    if (v == nullptr) {
        if (error.code == PZ_READ_OK || error.offset > size) std::abort();
        if (error.code == PZ_READ_UNEXPECTED_END && error.offset != size) std::abort();
        return 0;
    }
    check_round_trip(v, 0);
    check_round_trip(v, PZ_MSGPACK_SMALLEST);
    pz_variant_unref(v);
    return 0;
}
