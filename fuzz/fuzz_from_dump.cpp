// Whatever the reader accepts must survive a round trip: its dump reads back
// to an equal value, and dumping that value again gives the same text. So
// must whatever the strict reader accepts, read strictly.
#include <cstdint>
#include <cstring>
#include <string>

#include "round_trip.h"

namespace {

pz_variant_t *read_strictly(const char *text) { return pz_variant_from_dump_strict(text, std::strlen(text), nullptr); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    // The reader takes a zero-terminated text; an embedded NUL just ends it.
    const std::string text(reinterpret_cast<const char *>(data), size);
    pz_variant_t *v = pz_variant_from_dump(text.c_str());
    // The strict reader reads the bytes from their length, and refuses
    // where they are not the dump's form; what it reads, the lenient one
    // reads too, and its dump reads back strictly to an equal value.
    pz_read_error_t why;
    pz_variant_t *strict = pz_variant_from_dump_strict(text.data(), text.size(), &why);
    if (strict != nullptr) {
        if (v == nullptr) std::abort();
        check_round_trip(strict, read_strictly, pz_variant_dump);
        pz_variant_unref(strict);
    } else if (why.reason[0] == '\0' || why.offset > size) {
        std::abort();
    }
    if (v == nullptr) return 0;
    check_round_trip(v, pz_variant_from_dump, pz_variant_dump);
    pz_variant_unref(v);
    return 0;
}
