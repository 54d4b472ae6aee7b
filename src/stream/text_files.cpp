// Texts to and from files and streams, apart from the rest so that a port
// without stdio can leave this file out (and define PZ_NO_STDIO). A stream
// is read whole as the stream reader gathers bytes.
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "text/dump.h"
#include "text/json_writer.h"
#include "io/file_io.h"
#include "io/read_error.h"
#include "pzvariant/hal/pz_hal.h"
#include "stream/files.h"

namespace {

// A refusal before any text is read (line and column 0), or of the text
// `text` of `len` bytes at `offset`.
pz_variant_t *refused(pz_read_error_t *error, size_t offset, pz::fault why, const char *text = nullptr,
                      size_t len = 0) {
    return pz::read_fault(error, why, text, len, offset);
}

// The text of `v` in `format`, its length in `*len`; null, with the reason
// in `*why`, when it cannot be made.
char *text_of(const pz_variant_t *v, pz_text_format format, unsigned flags, size_t *len, pz_status *why) {
    char *text = nullptr;
    if (format == PZ_TEXT_DUMP) {
        text = pz::print_text(v, why);
    } else {
        pz::out_sink out;
        if (pz::write_json(v, out, flags, why)) text = out.take();
    }
    *len = text != nullptr ? std::strlen(text) : 0;
    return text;
}

// Writes `text` and a newline to `stream`, and frees it.
bool write_text(char *text, FILE *stream) {
    const size_t len = std::strlen(text);
    const bool written = std::fwrite(text, 1, len, stream) == len && std::fputc('\n', stream) != EOF;
    HAL_Free(text);
    return written;
}

// The whole of `stream` read as `format`, plain JSON with the reading
// `flags` of pz_json_options.h.
pz_variant_t *read_from(FILE *stream, pz_text_format format, unsigned flags, pz_read_error_t *error) {
    if (stream == nullptr) return pz::read_fault_system(error, pz::fault::cannot_read, EINVAL);
    if (format != PZ_TEXT_DUMP && format != PZ_TEXT_JSON) return refused(error, 0, pz::fault::unknown_format);
    pz::stream::held_bytes all;
    pz::fault why = pz::fault::none;
    int sys_errno = 0;
    if (!pz::stream::read_rest(stream, all, &why, &sys_errno)) return pz::read_fault_system(error, why, sys_errno);
    const char *text = all.data();
    const size_t len = all.size();
    // Plain JSON is read from its length, which refuses a NUL byte where it
    // stands. The dump reader takes a NUL-terminated text, which a NUL
    // inside it would cut short.
    const size_t first_nul = std::strlen(text);
    if (format == PZ_TEXT_JSON) return pz_variant_from_json_opts(text, len, flags, error);
    if (first_nul < len) return refused(error, first_nul, pz::fault::nul_byte, text, len);
    return pz_variant_from_dump_ex(text, error);
}

// The file at `path` read as read_from reads a stream.
pz_variant_t *read_path(const char *path, pz_text_format format, unsigned flags, pz_read_error_t *error) {
    FILE *stream = pz::open_file(path, "rb");
    if (stream == nullptr) return pz::read_fault_system(error, pz::fault::cannot_open, errno);
    pz_variant_t *v = read_from(stream, format, flags, error);
    std::fclose(stream);
    return v;
}

}  // namespace

extern "C" {

pz_variant_t *pz_variant_read_stream(FILE *stream, pz_text_format format, pz_read_error_t *error) {
    return read_from(stream, format, 0, error);
}

pz_variant_t *pz_variant_read_file(const char *path, pz_text_format format, pz_read_error_t *error) {
    return read_path(path, format, 0, error);
}

pz_variant_t *pz_variant_read_json_stream(FILE *stream, unsigned flags, pz_read_error_t *error) {
    return read_from(stream, PZ_TEXT_JSON, flags, error);
}

pz_variant_t *pz_variant_read_json_file(const char *path, unsigned flags, pz_read_error_t *error) {
    return read_path(path, PZ_TEXT_JSON, flags, error);
}

bool pz_variant_write_stream(const pz_variant_t *v, FILE *stream, pz_text_format format, unsigned flags) {
    if (v == nullptr || stream == nullptr) return false;
    if (format == PZ_TEXT_JSON) {
        // Straight to the stream, with no text in memory.
        pz::out_sink out(pz::stream::to_file, stream);
        const bool written = pz::write_json(v, out, flags) && out.flush();
        return written && std::fputc('\n', stream) != EOF;
    }
    if (format != PZ_TEXT_DUMP) return false;
    char *text = pz::print_text(v);
    return text != nullptr && write_text(text, stream);
}

bool pz_variant_write_file(const pz_variant_t *v, const char *path, pz_text_format format, unsigned flags) {
    return pz_variant_write_file_ex(v, path, format, flags, nullptr) == PZ_STATUS_OK;
}

pz_status pz_variant_write_file_ex(const pz_variant_t *v, const char *path, pz_text_format format,
                                   unsigned flags, int *sys_errno) {
    if (sys_errno != nullptr) *sys_errno = 0;
    if (v == nullptr) return PZ_STATUS_NO_VALUE;
    if (path == nullptr || (format != PZ_TEXT_DUMP && format != PZ_TEXT_JSON)) return PZ_STATUS_INVALID_ARGUMENT;
    // The text first, so that a value that cannot be written leaves the
    // file as it was.
    size_t len = 0;
    pz_status why = PZ_STATUS_OUT_OF_MEMORY;
    char *text = text_of(v, format, flags, &len, &why);
    if (text == nullptr) return why;
    const pz_status status = pz::write_whole_file(path, text, len, true, sys_errno);
    HAL_Free(text);
    return status;
}

}  // extern "C"
