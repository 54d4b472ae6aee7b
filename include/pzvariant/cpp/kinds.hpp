/** @file cpp/kinds.hpp
 * The kinds of value and the exceptions of the C++ interface.
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_KINDS_HPP
#define PZ_CPP_KINDS_HPP

#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>

#include "../pz_variant.h"

namespace pz {

/** @addtogroup cpp
 * @{ */

/** The kinds of value, named; each enumerator's value is the C type code. */
enum class kind : char {
    null = vtype_null,            ///< no value (vtype_null)
    boolean = vtype_bool,         ///< bool
    int8 = vtype_int8,            ///< int8_t
    uint8 = vtype_uint8,          ///< uint8_t
    int16 = vtype_int16,          ///< int16_t
    uint16 = vtype_uint16,        ///< uint16_t
    int32 = vtype_int32,          ///< int32_t
    uint32 = vtype_uint32,        ///< uint32_t
    int64 = vtype_int64,          ///< int64_t
    uint64 = vtype_uint64,        ///< uint64_t
    float32 = vtype_float,        ///< float
    float64 = vtype_double,       ///< double
    string = vtype_string,        ///< text (read as std::string_view or std::string)
    bytes = vtype_bytes,          ///< byte buffer
    ptr = vtype_ptr,              ///< raw pointer, not owned
    autoptr = vtype_autoptr,      ///< owned pointer with its destructor
    sharedptr = vtype_sharedptr,  ///< shared pointer with its reference callbacks
    array = vtype_array,          ///< array of values
    dict = vtype_dict,            ///< dictionary from text keys to values
};

/** Bad input or misuse (an empty handle, a value of the wrong kind, a value
 * that cannot be written, a text that cannot be read); what() says which.
 * std::bad_alloc stays reserved for memory. */
class error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** A text that could not be read: what() says why, code() the same for a
 * program, offset(), line() and column() where. */
class parse_error : public error {
public:
    /** An error for `reason`, found at byte `offset` of the text, with
     * `code` (PZ_READ_INVALID_SYNTAX when not given). */
    parse_error(const std::string &reason, size_t offset, pz_read_code code = PZ_READ_INVALID_SYNTAX)
        : error(reason), offset_(offset), code_(code) {}
    /** An error as a C reader reported it. */
    explicit parse_error(const pz_read_error_t &e)
        : error(e.reason), offset_(e.offset), code_(e.code), line_(e.line), column_(e.column) {}
    /** The byte offset in the text at which reading stopped. */
    size_t offset() const noexcept { return offset_; }
    /** The reason as a code (PZ_READ_INVALID_SYNTAX when made from a reason alone). */
    pz_read_code code() const noexcept { return code_; }
    /** The line of offset(), from 1; 0 when not known. */
    size_t line() const noexcept { return line_; }
    /** Its column in characters, from 1; 0 when not known. */
    size_t column() const noexcept { return column_; }

private:
    size_t offset_;
    pz_read_code code_ = PZ_READ_INVALID_SYNTAX;
    size_t line_ = 0;
    size_t column_ = 0;
};

/** A lookup by at() that found nothing: status() says why as the C path
 * lookup does (PZ_PATH_MISSING: nothing under the key or at the index;
 * PZ_PATH_BLOCKED: a step into a value that is no container, or a key of
 * an array; PZ_PATH_INVALID: a malformed pointer, or a key no dictionary
 * can hold), step() at which step of the path, from 1. */
class path_error : public error {
public:
    /** An error with the text `what`, for `status` at `step`. */
    path_error(const std::string &what, pz_path_status status, size_t step)
        : error(what), status_(status), step_(step) {}
    /** Why nothing was found. */
    pz_path_status status() const noexcept { return status_; }
    /** The step at fault, from 1 (a key or an index is step 1); 0 for a
     * malformed pointer. */
    size_t step() const noexcept { return step_; }

private:
    pz_path_status status_;
    size_t step_;
};

/** A value that as<T>() (or a from_pz of a user's type) cannot convert:
 * status() says why as the C checked reads do (PZ_GET_ABSENT,
 * PZ_GET_WRONG_KIND, PZ_GET_OUT_OF_RANGE), path() where inside the value
 * converted: the fields and elements on the way, "position.lat" or
 * "readings[2]"; "" for the value itself. what() says both. */
class conversion_error : public error {
public:
    /** An error for `status`, described by `reason`, at `path`. */
    conversion_error(pz_get_status status, const std::string &reason, std::string path = "")
        : error("pzvariant: " + (path.empty() ? std::string() : "at " + path + ": ") + reason),
          status_(status),
          reason_(reason),
          path_(std::move(path)) {}
    /** Why the value does not convert. */
    pz_get_status status() const noexcept { return status_; }
    /** Where: the fields and elements on the way to the value at fault. */
    const std::string &path() const noexcept { return path_; }
    /** The same error one step further out: under the field or key `name`
     * (or the element "[i]" when it starts with "["). */
    conversion_error within(const std::string &name) const {
        const bool element = !path_.empty() && path_[0] == '[';
        return conversion_error(status_, reason_, path_.empty() ? name : name + (element ? "" : ".") + path_);
    }

private:
    pz_get_status status_;
    std::string reason_;
    std::string path_;
};

/** @} */

}  // namespace pz

#endif  // PZ_CPP_KINDS_HPP
