// Whatever the MessagePack reader accepts must survive a round trip: its
// bytes read back to an equal value, and that value writes the same bytes
// again (the writer's encoding is canonical), NaN payloads included. With
// the smallest integers the kinds may change, but the bytes still settle.
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    pz_read_error_t error;
    pz_variant_t *v = pz_variant_from_msgpack(data, size, &error);
    if (v == nullptr) {
        if (error.code == PZ_READ_OK || error.offset > size) std::abort();
        return 0;
    }
    check_round_trip(v, 0);
    check_round_trip(v, PZ_MSGPACK_SMALLEST);
    pz_variant_unref(v);
    return 0;
}
