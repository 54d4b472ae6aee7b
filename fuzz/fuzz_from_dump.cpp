// Whatever the reader accepts must survive a round trip: its dump reads back
// to an equal value, and dumping that value again gives the same text.
#include <cstdint>
#include <string>

#include "round_trip.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    // The reader takes a zero-terminated text; an embedded NUL just ends it.
    const std::string text(reinterpret_cast<const char *>(data), size);
    pz_variant_t *v = pz_variant_from_dump(text.c_str());
    if (v == nullptr) return 0;
    check_round_trip(v, pz_variant_from_dump, pz_variant_dump);
    pz_variant_unref(v);
    return 0;
}
