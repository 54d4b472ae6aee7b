// TEMPORARY, until the prefix readers land: one value from the front of a
// buffer through the whole-input readers, which say where the value ended
// when they refuse what follows it. A JSON value that the scanner finds
// still open at the end is cut short, whatever the reader said.
#include "stream/json_scanner.h"
#include "stream/prefix.h"

pz_variant_t *pz::stream::read_prefix(bool msgpack, const char *data, size_t len, size_t *used,
                                      pz_read_error_t *error) {
    pz_read_error_t why;
    size_t took = len;
    pz_variant_t *v = nullptr;
    if (msgpack) {
        v = pz_variant_from_msgpack(data, len, &why);
        if (v == nullptr && why.code == PZ_READ_TEXT_AFTER_VALUE) {
            took = why.offset;
            v = pz_variant_from_msgpack(data, took, &why);
        }
    } else {
        json_scanner scanner;
        scanner.start();
        const char *end = len != 0 ? scanner.scan(data, data + len) : nullptr;
        if (end != nullptr) took = static_cast<size_t>(end - data);
        v = pz_variant_from_json_n(data, took, &why);
        if (v == nullptr && end == nullptr && why.code != PZ_READ_OUT_OF_MEMORY) why.code = PZ_READ_UNEXPECTED_END;
    }
    if (v == nullptr && why.code == PZ_READ_UNEXPECTED_END) why.offset = len;
    if (v != nullptr) *used = took;
    if (error != nullptr) *error = why;
    return v;
}
