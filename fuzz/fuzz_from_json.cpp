// Whatever the plain JSON reader accepts survives a round trip: the text
// written from it, compact or indented, reads back to an equal value, kinds
// included, and writing that value again gives the same text (keys sorted
// too); its canonical text, when it has one, reads back to the same canonical
// text. What it refuses it refuses with a reason and an offset within the
// text, a text cut short at its very end. The reader from the front and the
// event reader agree with it.
#include <cstdint>
#include <initializer_list>

#include "round_trip.h"

namespace {

// The other readers of the same text: from the front, a value read whole is
// read with every byte used; as events, it reads, or is refused alike
// (keys that only a dictionary refuses go on to the callbacks, and may meet
// another fault later).
void check_other_readers(const char *text, size_t size, const pz_variant_t *v, const pz_read_error_t &error) {
    size_t used = 0;
    pz_read_error_t front;
    pz_variant_t *first = pz_variant_from_json_prefix(text, size, &used, &front);
    if (v != nullptr && (!pz_variant_equal(v, first) || used != size)) std::abort();
    if (first == nullptr && front.code == PZ_READ_UNEXPECTED_END && front.offset != size) std::abort();
    pz_variant_unref(first);
    const pz_events_t none{};
    pz_read_error_t by_events;
    const pz_events_end end = pz_events_read_json(text, size, 0, &none, nullptr, &used, &by_events);
    if (v != nullptr && end != PZ_EVENTS_READ) std::abort();
    if (v == nullptr && error.code != PZ_READ_INVALID_KEY &&
        (end != PZ_EVENTS_REFUSED || by_events.code != error.code || by_events.offset != error.offset)) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    pz_read_error_t error;
    const auto *text = reinterpret_cast<const char *>(data);
    pz_variant_t *v = pz_variant_from_json_n(text, size, &error);
    check_other_readers(text, size, v, error);
    if (v == nullptr) {
        if (error.offset > size || error.reason[0] == '\0' || (error.line == 0 && error.code != PZ_READ_NO_TEXT)) std::abort();
        if (error.code == PZ_READ_UNEXPECTED_END && error.offset != size) std::abort();
        return 0;
    }
    const auto read = [](const char *t) { return pz_variant_from_json(t, nullptr); };
    // A string that is not UTF-8 is not written; escaped byte by byte, it
    // makes a text that reads, though not to the same bytes.
    char *plain = pz_variant_to_json(v, 0);
    if (plain == nullptr) {
        char *escaped = pz_variant_to_json(v, PZ_JSON_ESCAPE_INVALID);
        pz_variant_t *back = escaped != nullptr ? read(escaped) : nullptr;
        if (back == nullptr) std::abort();
        pz_variant_unref(back);
        HAL_Free(escaped);
        pz_variant_unref(v);
        return 0;
    }
    // The caller's buffer is sized to the same text.
    if (pz_variant_to_json_buf(v, nullptr, 0, 0) != std::strlen(plain)) std::abort();
    HAL_Free(plain);
    for (const unsigned flags : {0u, static_cast<unsigned>(PZ_JSON_INDENT), PZ_JSON_SORT_KEYS | PZ_JSON_INDENT_TABS}) {
        check_round_trip(v, read, [flags](const pz_variant_t *w) { return pz_variant_to_json(w, flags); });
    }
    // The canonical form, where it holds the value, is a fixed point: read
    // and written again it is the same text.
    char *canonical = pz_variant_to_json(v, PZ_JSON_CANONICAL);
    if (canonical != nullptr) {
        pz_variant_t *back = read(canonical);
        char *again = back != nullptr ? pz_variant_to_json(back, PZ_JSON_CANONICAL) : nullptr;
        if (again == nullptr || std::strcmp(again, canonical) != 0) std::abort();
        HAL_Free(again);
        pz_variant_unref(back);
        HAL_Free(canonical);
    }
    pz_variant_unref(v);
    return 0;
}
