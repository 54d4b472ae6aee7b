/* pzvariant: the types that the whole C API shares: the value record and
 * its kinds, the statuses of paths, the read errors, the writers' flags and
 * callback, the text formats of files.
 *
 * The public headers stand in layers: this one at the bottom (over
 * basictypes.h), each feature header over it, and pz_variant.h on top,
 * including them all. A feature header takes the types it shares from here
 * and never includes pz_variant.h; a program includes pz_variant.h. Valid
 * C11 and C++. */
#ifndef PZ_TYPES_H
#define PZ_TYPES_H

#include "basictypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @defgroup pz_record Kinds and the value record
 * The nineteen kinds, the value record every function works on, and the
 * deepest nesting that the walking operations accept.
 * @{ */

/** The kinds of value; each code is one character, also the letter of the
 * kind in pack/unpack formats. */
typedef enum pz_variant_type_e {
    vtype_null = 0,
    vtype_bool = 'b',
    vtype_int8 = 'o',
    vtype_uint8 = 'y',
    vtype_int16 = 'n',
    vtype_uint16 = 'q',
    vtype_int32 = 'i',
    vtype_uint32 = 'u',
    vtype_int64 = 'x',
    vtype_uint64 = 't',
    vtype_float = 'f',
    vtype_double = 'd',
    vtype_string = 'c',
    vtype_bytes = 'm',
    vtype_ptr = '*',
    vtype_autoptr = 'a',
    vtype_sharedptr = 's',
    vtype_array = '[',
    vtype_dict = '{'
} pz_variant_type;

/** The value record. `vt` says which union member is meaningful; members
 * narrower than 8 bytes occupy the first bytes and the rest stay zero. */
typedef struct pz_variant_s {
    union {
        bool bool_val;
        int8_t int8_val;
        uint8_t uint8_val;
        int16_t int16_val;
        uint16_t uint16_val;
        int32_t int32_val;
        uint32_t uint32_val;
        int64_t int64_val;
        uint64_t uint64_val;
        float float_val;
        double double_val;
        void *ptr_val;  /* bytes, raw/owned/shared pointers, array, dict */
        char *str_val;  /* string text, NUL-terminated, or null when empty */
    };
    char vt;            /**< the kind, a pz_variant_type code */
    uint8_t layout;     /**< private: room for pointer callbacks in this block */
    uint32_t len;       /**< string/bytes length; 0 for the other kinds */
} pz_variant_t;

/** The deepest nesting that copies, merges and dumps accept, a scalar
 * counting as one level and each enclosing array or dictionary as one more.
 * A deeper value, or one that contains itself, makes them fail as they fail
 * when out of memory. Releasing has no limit. */
#define PZ_VARIANT_MAX_DEPTH 500

/** @} */

/** @addtogroup pz_paths
 * @{ */

/** Why pz_variant_path_set stored nothing. */
typedef enum pz_path_status_e {
    PZ_PATH_OK = 0,        /**< stored */
    PZ_PATH_INVALID,       /**< a null argument, a malformed pointer, the pointer "" (the root
                                cannot replace itself) or an empty key on the way */
    PZ_PATH_BLOCKED,       /**< a step names a value that is not a container, or an array element
                                that is not there */
    PZ_PATH_OUT_OF_MEMORY, /**< out of memory */
    PZ_PATH_MISSING        /**< a lookup found nothing: a missing key, an index past the end, an
                                empty slot (pz_variant_path_find_ex only) */
} pz_path_status;

/** @} */

/** @addtogroup pz_dump
 * @{ */

/** What stopped a read, for a program to switch on; the reason text says
 * the same for a person. New codes are only ever added at the end. */
typedef enum pz_read_code_e {
    PZ_READ_OK = 0,              /**< the input was read */
    PZ_READ_NO_TEXT,             /**< "no text": a null pointer */
    PZ_READ_NO_VALUE,            /**< "no value": nothing but whitespace */
    PZ_READ_INVALID_SYNTAX,      /**< "not valid JSON" and other characters out of place */
    PZ_READ_UNEXPECTED_END,      /**< "unexpected end of text" (or "of input"): the input ends inside
                                      the value, and the offset is its length */
    PZ_READ_TEXT_AFTER_VALUE,    /**< "text after the value" */
    PZ_READ_TRAILING_COMMA,      /**< "trailing comma" */
    PZ_READ_INVALID_NUMBER,      /**< "malformed number", "leading zero" */
    PZ_READ_UNTERMINATED_STRING, /**< "unterminated string" */
    PZ_READ_INVALID_ESCAPE,      /**< "malformed escape", "invalid escape", "lone surrogate" */
    PZ_READ_CONTROL_CHARACTER,   /**< "control character in a string" or outside one */
    PZ_READ_INVALID_UTF8,        /**< "invalid UTF-8" */
    PZ_READ_INVALID_KEY,         /**< "an empty key", "a key holds a NUL byte", a key of another kind */
    PZ_READ_TOO_DEEP,            /**< "nested too deep" */
    PZ_READ_INVALID_KIND,        /**< a kind that cannot be read: "unknown kind", "not a typed object",
                                      "value does not match its kind", "a pointer is not read back", ... */
    PZ_READ_TOO_LARGE,           /**< a string, buffer or container longer than a value can hold:
                                      "string too long", "bytes too long", "more elements than
                                      memory can hold" */
    PZ_READ_OUT_OF_MEMORY,       /**< "out of memory" */
    PZ_READ_CANNOT_OPEN,         /**< "cannot open file" */
    PZ_READ_CANNOT_READ,         /**< "cannot read file" */
    PZ_READ_NUL_BYTE,            /**< "NUL byte in the text" */
    PZ_READ_INVALID_ARGUMENT,    /**< an argument the reader cannot use, such as "unknown format" */
    PZ_READ_OUT_OF_RANGE,        /**< a number past what its kind holds: with PZ_JSON_READ_REFUSE_OVERFLOW
                                      one past the doubles (pz_json_options.h) */
    PZ_READ_DUPLICATE_KEY        /**< "duplicate key" and the key, with PZ_JSON_READ_REFUSE_DUPLICATES */
} pz_read_code;

/** Where and why an input could not be read. The first two members are
 * those of earlier versions; the others were added after them. */
typedef struct pz_read_error_s {
    size_t offset;     /**< byte offset in the input at which reading stopped */
    char reason[80];   /**< a short reason, NUL-terminated; "" when the input was read */
    pz_read_code code; /**< the reason as a code; PZ_READ_OK when the input was read */
    size_t line;       /**< the line of `offset`, from 1; 0 for binary input and when read */
    size_t column;     /**< its column in characters (UTF-8 sequences), from 1; 0 as for line */
    int sys_errno;     /**< the system's errno for PZ_READ_CANNOT_OPEN and PZ_READ_CANNOT_READ, else 0 */
} pz_read_error_t;

/** @} */

/** @addtogroup pz_json
 * @{ */

/** Flags of the plain JSON writers: PZ_JSON_INDENT lays the text out over
 * lines, two spaces a level, for people; PZ_JSON_REFUSE_POINTERS makes a
 * value holding a pointer kind fail instead of writing null for it.
 * A string (or key) that is not well-formed UTF-8 makes the value fail, so
 * that no text written is invalid JSON; PZ_JSON_ESCAPE_INVALID writes each
 * byte that starts no well-formed sequence as `\u00XX` of the byte instead.
 * That text is valid JSON, but it does not read back to the same bytes (it
 * reads as the characters U+0080 to U+00FF). More flags (indent width,
 * sorted keys, canonical JSON, NaN literals) are in pz_json_options.h. */
enum { PZ_JSON_INDENT = 1, PZ_JSON_REFUSE_POINTERS = 2, PZ_JSON_ESCAPE_INVALID = 4 };

/** Takes `size` (more than 0) bytes of a text at `buffer`, which lives only
 * for the call; returns 0 to go on, anything else to stop the writer. */
typedef int (*pz_write_callback_t)(const char *buffer, size_t size, void *data);

/** @} */

#ifndef PZ_NO_STDIO
/** @addtogroup pz_files
 * @{ */

/** The text formats of files and streams: the typed dump, or plain JSON. */
typedef enum pz_text_format_e { PZ_TEXT_DUMP, PZ_TEXT_JSON } pz_text_format;

/** @} */
#endif /* PZ_NO_STDIO */

#ifdef __cplusplus
}
#endif

#endif /* PZ_TYPES_H */
