/** @file cpp/files.hpp
 * Reading and writing values as files: plain JSON, the typed dump and
 * MessagePack, with the system's reason when a file cannot be used.
 * Part of the C++ interface: include <pzvariant/pz_variant.hpp>. */
#ifndef PZ_CPP_FILES_HPP
#define PZ_CPP_FILES_HPP

#ifndef PZ_NO_STDIO
#include <filesystem>
#include <new>
#include <string>
#include <system_error>

#include "text.hpp"

namespace pz {

/** @addtogroup cpp
 * @{ */

/** The forms of a file. */
enum class file_format {
    json,     ///< plain JSON, kinds by the rule in pz_variant.h
    dump,     ///< the typed dump, every kind kept
    msgpack,  ///< MessagePack, every kind and every double bit kept
};

/** The value in the file at `path`, read whole in `format`. Throws
 * std::system_error when the file cannot be opened or read (code() the
 * system's errno, as std::generic_category names it), pz::parse_error when
 * its content is not one readable value, std::bad_alloc when out of
 * memory. */
inline value read_file(const std::filesystem::path &path, file_format format = file_format::json) {
    const std::string name = path.string();
    pz_read_error_t error;
    pz_variant_t *v = format == file_format::msgpack
                          ? pz_variant_read_msgpack_file(name.c_str(), &error)
                          : pz_variant_read_file(name.c_str(), format == file_format::json ? PZ_TEXT_JSON : PZ_TEXT_DUMP,
                                                 &error);
    if (v == nullptr && (error.code == PZ_READ_CANNOT_OPEN || error.code == PZ_READ_CANNOT_READ)) {
        throw std::system_error(error.sys_errno, std::generic_category(), "pz::read_file: " + std::string(error.reason) + " " + name);
    }
    return detail::read_result(v, error);
}

/** Writes `v` to the file at `path` in `format`, replacing it; texts end
 * with a newline. `flags` are those of the JSON writer (PZ_JSON_INDENT, ...)
 * for file_format::json and those of the MessagePack writer for
 * file_format::msgpack. The content is made first: a value that cannot be
 * written (pz::error: an empty handle, nested too deep, containing itself,
 * a pointer or a text the form refuses) leaves the file as it was. Throws
 * std::system_error when the file cannot be opened or written,
 * std::bad_alloc when out of memory. */
inline void write_file(const std::filesystem::path &path, const value &v, file_format format = file_format::json,
                       unsigned flags = 0) {
    const std::string name = path.string();
    int sys_errno = 0;
    const pz_status status =
        format == file_format::msgpack
            ? pz_variant_write_msgpack_file_ex(v.get(), name.c_str(), flags, &sys_errno)
            : pz_variant_write_file_ex(v.get(), name.c_str(), format == file_format::json ? PZ_TEXT_JSON : PZ_TEXT_DUMP,
                                       flags, &sys_errno);
    if (status == PZ_STATUS_OK) return;
    if (status == PZ_STATUS_CANNOT_OPEN || status == PZ_STATUS_CANNOT_WRITE) {
        throw std::system_error(sys_errno, std::generic_category(), "pz::write_file: " + std::string(pz_status_text(status)) + " " + name);
    }
    if (status == PZ_STATUS_NO_VALUE) throw error("pzvariant: write_file of an empty handle");
    detail::throw_status(status, "write_file");
}

/** @} */

}  // namespace pz

#endif  // PZ_NO_STDIO
#endif  // PZ_CPP_FILES_HPP
