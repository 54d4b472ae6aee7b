// Filling a reader's error report.
#include "io/read_error.h"

#include <algorithm>
#include <cstring>

namespace {

struct named_reason {
    const char *reason;
    pz_read_code code;
};

// The reasons that more than one reader gives, each with its code.
constexpr named_reason kReasons[] = {
    {"no text", PZ_READ_NO_TEXT},
    {"no value", PZ_READ_NO_VALUE},
    {"not valid JSON", PZ_READ_INVALID_SYNTAX},
    {"unexpected end of text", PZ_READ_UNEXPECTED_END},
    {"text after the value", PZ_READ_TEXT_AFTER_VALUE},
    {"trailing comma", PZ_READ_TRAILING_COMMA},
    {"expected a value", PZ_READ_INVALID_SYNTAX},
    {"expected a key", PZ_READ_INVALID_SYNTAX},
    {"expected ':'", PZ_READ_INVALID_SYNTAX},
    {"expected ',' or ']'", PZ_READ_INVALID_SYNTAX},
    {"expected ',' or '}'", PZ_READ_INVALID_SYNTAX},
    {"invalid literal", PZ_READ_INVALID_SYNTAX},
    {"malformed number", PZ_READ_INVALID_NUMBER},
    {"leading zero", PZ_READ_INVALID_NUMBER},
    {"unterminated string", PZ_READ_UNTERMINATED_STRING},
    {"malformed escape", PZ_READ_INVALID_ESCAPE},
    {"invalid escape", PZ_READ_INVALID_ESCAPE},
    {"lone surrogate", PZ_READ_INVALID_ESCAPE},
    {"control character in a string", PZ_READ_CONTROL_CHARACTER},
    {"control character outside a string", PZ_READ_CONTROL_CHARACTER},
    {"invalid UTF-8", PZ_READ_INVALID_UTF8},
    {"an empty key", PZ_READ_INVALID_KEY},
    {"a key holds a NUL byte", PZ_READ_INVALID_KEY},
    {"nested too deep", PZ_READ_TOO_DEEP},
    {"not a typed object", PZ_READ_INVALID_KIND},
    {"unknown kind", PZ_READ_INVALID_KIND},
    {"value does not match its kind", PZ_READ_INVALID_KIND},
    {"a pointer is not read back", PZ_READ_INVALID_KIND},
    {"bytes not in hex digits", PZ_READ_INVALID_KIND},
    {"not JSON", PZ_READ_INVALID_KIND},
    {"string too long", PZ_READ_TOO_LARGE},
    {"bytes too long", PZ_READ_TOO_LARGE},
    {"out of memory", PZ_READ_OUT_OF_MEMORY},
    {"cannot open file", PZ_READ_CANNOT_OPEN},
    {"cannot read file", PZ_READ_CANNOT_READ},
    {"NUL byte in the text", PZ_READ_NUL_BYTE},
    {"unknown format", PZ_READ_INVALID_ARGUMENT},
};

void fill(pz_read_error_t *error, pz_read_code code, const char *reason, size_t offset) {
    error->code = code;
    error->offset = offset;
    const size_t n = std::min(std::strlen(reason), sizeof error->reason - 1);
    std::memcpy(error->reason, reason, n);
    error->reason[n] = '\0';
    error->line = 0;
    error->column = 0;
    error->sys_errno = 0;
}

}  // namespace

pz_variant_t *pz::read_fault(pz_read_error_t *error, pz_read_code code, const char *reason,
                             const char *text, size_t len, size_t offset) {
    if (error == nullptr) return nullptr;
    fill(error, code, reason, offset);
    if (text == nullptr) return nullptr;
    // Only on the way out of a refused read, so a plain count will do. A
    // column counts characters: every byte but UTF-8's continuation bytes.
    const size_t end = offset < len ? offset : len;
    size_t line = 1;
    size_t column = 1;
    for (size_t i = 0; i < end; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte == '\n') {
            ++line;
            column = 1;
        } else if ((byte & 0xC0) != 0x80) {
            ++column;
        }
    }
    error->line = line;
    error->column = column;
    return nullptr;
}

pz_variant_t *pz::read_fault_binary(pz_read_error_t *error, pz_read_code code, const char *reason,
                                    size_t offset) {
    if (error != nullptr) fill(error, code, reason, offset);
    return nullptr;
}

void pz::read_ok(pz_read_error_t *error) {
    if (error != nullptr) fill(error, PZ_READ_OK, "", 0);
}

pz_read_code pz::read_code_of(const char *reason) {
    for (const named_reason &r : kReasons) {
        if (std::strcmp(r.reason, reason) == 0) return r.code;
    }
    return PZ_READ_INVALID_SYNTAX;
}

pz_variant_t *pz::read_fault_system(pz_read_error_t *error, pz_read_code code, const char *reason, int sys_errno) {
    if (error != nullptr) {
        fill(error, code, reason, 0);
        error->sys_errno = sys_errno;
    }
    return nullptr;
}
