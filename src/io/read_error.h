// Private to the library: the one table of the readers' faults, and how
// every reader fills a pz_read_error_t from it, so that the code, the
// reason, the offset and the line and column always agree.
#ifndef PZ_READ_ERROR_H
#define PZ_READ_ERROR_H

#include <cstddef>
#include <cstdint>

#include "pzvariant/pz_variant.h"

namespace pz {

// Every fault a reader reports: its name here, its code and its reason.
// A reader names the fault where it finds it; the code and the reason come
// from this table together, so two readers that meet the same fault report
// the same code. New faults go here, never as a text of their own.
#define PZ_READ_FAULTS(X)                                                                      \
    X(none, PZ_READ_OK, "")                                                                    \
    /* the input as a whole */                                                                 \
    X(no_text, PZ_READ_NO_TEXT, "no text")                                                     \
    X(no_input, PZ_READ_NO_TEXT, "no input")                                                   \
    X(no_value, PZ_READ_NO_VALUE, "no value")                                                  \
    X(end_of_text, PZ_READ_UNEXPECTED_END, "unexpected end of text")                           \
    X(end_of_input, PZ_READ_UNEXPECTED_END, "unexpected end of input")                         \
    X(text_after_value, PZ_READ_TEXT_AFTER_VALUE, "text after the value")                      \
    X(bytes_after_value, PZ_READ_TEXT_AFTER_VALUE, "bytes after the value")                    \
    X(nul_byte, PZ_READ_NUL_BYTE, "NUL byte in the text")                                      \
    /* the syntax of JSON */                                                                   \
    X(not_json, PZ_READ_INVALID_SYNTAX, "not valid JSON")                                      \
    X(expected_value, PZ_READ_INVALID_SYNTAX, "expected a value")                              \
    X(expected_key, PZ_READ_INVALID_SYNTAX, "expected a key")                                  \
    X(expected_colon, PZ_READ_INVALID_SYNTAX, "expected ':'")                                  \
    X(expected_array_next, PZ_READ_INVALID_SYNTAX, "expected ',' or ']'")                      \
    X(expected_object_next, PZ_READ_INVALID_SYNTAX, "expected ',' or '}'")                     \
    X(invalid_literal, PZ_READ_INVALID_SYNTAX, "invalid literal")                              \
    X(trailing_comma, PZ_READ_TRAILING_COMMA, "trailing comma")                                \
    X(malformed_number, PZ_READ_INVALID_NUMBER, "malformed number")                            \
    X(leading_zero, PZ_READ_INVALID_NUMBER, "leading zero")                                    \
    X(number_overflow, PZ_READ_OUT_OF_RANGE, "number past the range of a double")             \
    X(unterminated_string, PZ_READ_UNTERMINATED_STRING, "unterminated string")                 \
    X(malformed_escape, PZ_READ_INVALID_ESCAPE, "malformed escape")                            \
    X(invalid_escape, PZ_READ_INVALID_ESCAPE, "invalid escape")                                \
    X(lone_surrogate, PZ_READ_INVALID_ESCAPE, "lone surrogate")                                \
    X(control_in_string, PZ_READ_CONTROL_CHARACTER, "control character in a string")           \
    X(control_outside_string, PZ_READ_CONTROL_CHARACTER, "control character outside a string") \
    X(invalid_utf8, PZ_READ_INVALID_UTF8, "invalid UTF-8")                                     \
    /* the syntax of MessagePack */                                                            \
    X(never_used_byte, PZ_READ_INVALID_SYNTAX, "the never-used byte 0xc1")                     \
    X(ext_value, PZ_READ_INVALID_KIND, "an ext value is not read")                             \
    /* what a value can hold */                                                                \
    X(empty_key, PZ_READ_INVALID_KEY, "an empty key")                                          \
    X(nul_in_key, PZ_READ_INVALID_KEY, "a key holds a NUL byte")                               \
    X(key_not_string, PZ_READ_INVALID_KEY, "a key that is not a string")                       \
    X(duplicate_key, PZ_READ_DUPLICATE_KEY, "duplicate key")                                   \
    X(too_deep, PZ_READ_TOO_DEEP, "nested too deep")                                           \
    X(string_too_long, PZ_READ_TOO_LARGE, "string too long")                                   \
    X(bytes_too_long, PZ_READ_TOO_LARGE, "bytes too long")                                     \
    X(too_many_elements, PZ_READ_TOO_LARGE, "more elements than memory can hold")              \
    X(value_too_large, PZ_READ_TOO_LARGE, "value larger than the limit")                       \
    /* the typed dump's kinds */                                                               \
    X(not_typed_object, PZ_READ_INVALID_KIND, "not a typed object")                            \
    X(unknown_kind, PZ_READ_INVALID_KIND, "unknown kind")                                      \
    X(kind_mismatch, PZ_READ_INVALID_KIND, "value does not match its kind")                    \
    X(pointer_not_read, PZ_READ_INVALID_KIND, "a pointer is not read back")                    \
    X(bytes_not_hex, PZ_READ_INVALID_KIND, "bytes not in hex digits")                          \
    X(number_not_of_kind, PZ_READ_OUT_OF_RANGE, "number its kind cannot hold")                 \
    X(typed_extra_member, PZ_READ_INVALID_KIND, "a typed object of more than one member")      \
    /* the machine and the caller */                                                           \
    X(out_of_memory, PZ_READ_OUT_OF_MEMORY, "out of memory")                                   \
    X(cannot_open, PZ_READ_CANNOT_OPEN, "cannot open file")                                    \
    X(cannot_read, PZ_READ_CANNOT_READ, "cannot read file")                                    \
    X(unknown_format, PZ_READ_INVALID_ARGUMENT, "unknown format")                              \
    X(no_events, PZ_READ_INVALID_ARGUMENT, "no callbacks")                                     \
    X(no_reader, PZ_READ_INVALID_ARGUMENT, "no reader")

enum class fault : uint8_t {
#define PZ_FAULT_NAME(name, code, reason) name,
    PZ_READ_FAULTS(PZ_FAULT_NAME)
#undef PZ_FAULT_NAME
};

// The code and the reason of `f`.
pz_read_code code_of(fault f);
const char *reason_of(fault f);

// Fills `error` (when not null) for fault `f` at byte `offset` of the text
// `text` of `len` bytes, whose line and column are counted up to there (an
// offset past `len` is taken as `len`). A null `text` gives line and column
// 0, as does read_fault_binary. Returns null, for a reader to return.
pz_variant_t *read_fault(pz_read_error_t *error, fault f, const char *text, size_t len, size_t offset);

// As read_fault, for input that is not text (line and column are 0).
pz_variant_t *read_fault_binary(pz_read_error_t *error, fault f, size_t offset);

// As read_fault_binary at offset 0, for a file that could not be opened or
// read: `sys_errno` is the system's reason.
pz_variant_t *read_fault_system(pz_read_error_t *error, fault f, int sys_errno);

// Adds to the reason in `error` (when not null) the name the fault is
// about, quoted: `duplicate key "port"`. A name too long for the record is
// cut at a character's start, and one `cut` before already, marked so with
// "...".
void name_in_reason(pz_read_error_t *error, const char *name, size_t len, bool cut = false);

// Marks `error` (when not null) as read: PZ_READ_OK, reason "", offset,
// line and column 0.
void read_ok(pz_read_error_t *error);

}  // namespace pz

#endif  // PZ_READ_ERROR_H
