// Whatever the reader accepts must survive a round trip: its dump reads back
// to an equal value, and dumping that value again gives the same text.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "hal/pz_hal.h"
#include "pz_variant.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    // The reader takes a zero-terminated text; an embedded NUL just ends it.
    const std::string text(reinterpret_cast<const char *>(data), size);
    pz_variant_t *v = pz_variant_from_dump(text.c_str());
    if (v == nullptr) return 0;

    char *first = pz_variant_dump(v);
    if (first == nullptr) std::abort();
    pz_variant_t *again = pz_variant_from_dump(first);
    if (again == nullptr || !pz_variant_equal(v, again)) std::abort();
    char *second = pz_variant_dump(again);
    if (second == nullptr || std::strcmp(first, second) != 0) std::abort();

    HAL_Free(second);
    HAL_Free(first);
    pz_variant_unref(again);
    pz_variant_unref(v);
    return 0;
}
