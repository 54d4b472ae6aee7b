// The three writers (plain JSON, the typed dump, MessagePack), each through
// its three entry points: a new block, the caller's buffer and a callback.
#ifndef PZ_WRITERS_H
#define PZ_WRITERS_H

#include <optional>

#include "pz_test.h"

enum class writer { json, dump, msgpack };

// A write callback that appends the chunks to a std::string.
inline int collect(const char *bytes, size_t n, void *text) {
    static_cast<std::string *>(text)->append(bytes, n);
    return 0;
}

// What `w` writes of `v` into a new block; nothing when it refuses.
inline std::optional<std::string> new_block(writer w, const pz_variant_t *v, unsigned flags = 0) {
    size_t len = 0;
    char *bytes = w == writer::json   ? pz_variant_to_json(v, flags)
                  : w == writer::dump ? pz_variant_dump(v)
                                      : reinterpret_cast<char *>(pz_variant_to_msgpack(v, flags, &len));
    if (bytes == nullptr) return std::nullopt;
    std::string out(bytes, w == writer::msgpack ? len : std::strlen(bytes));
    HAL_Free(bytes);
    return out;
}

// What `w` writes of `v` into `size` bytes at `buf`: the length it needs.
inline size_t into_buffer(writer w, const pz_variant_t *v, unsigned flags, char *buf, size_t size) {
    switch (w) {
        case writer::json: return pz_variant_to_json_buf(v, buf, size, flags);
        case writer::dump: return pz_variant_to_dump_buf(v, buf, size);
        default: return pz_variant_to_msgpack_buf(v, flags, reinterpret_cast<uint8_t *>(buf), size);
    }
}

inline pz_status to_callback(writer w, const pz_variant_t *v, unsigned flags, pz_write_callback_t fn, void *data) {
    switch (w) {
        case writer::json: return pz_variant_to_json_callback_ex(v, fn, data, flags);
        case writer::dump: return pz_variant_dump_callback(v, fn, data);
        default: return pz_variant_to_msgpack_callback(v, flags, fn, data);
    }
}

// What `w` writes of `v` with `flags`, the same through each entry point
// (the caller's buffer sized first): the text, MessagePack in hex; nothing
// when each refuses the value, the callback saying why in `*why`.
inline std::optional<std::string> written(writer w, const pz_variant_t *v, unsigned flags = 0, pz_status *why = nullptr) {
    const std::optional<std::string> made = new_block(w, v, flags);
    const size_t need = into_buffer(w, v, flags, nullptr, 0);
    std::string buf(need + 1, 'x');
    const size_t got = into_buffer(w, v, flags, buf.data(), buf.size());
    std::string chunks;
    const pz_status status = to_callback(w, v, flags, collect, &chunks);
    if (why != nullptr) *why = status;
    if (!made) {
        EXPECT_TRUE(need == 0 && got == 0) << "the buffer writer took what the others refused";
        EXPECT_TRUE(w == writer::msgpack || buf[0] == '\0') << "the buffer emptied";
        EXPECT_NE(status, PZ_STATUS_OK);
        return std::nullopt;
    }
    EXPECT_EQ(need, made->size());
    EXPECT_EQ(got, made->size());
    EXPECT_EQ(buf.substr(0, made->size()), *made) << "through the caller's buffer";
    EXPECT_TRUE(w == writer::msgpack || buf[made->size()] == '\0') << "terminated";
    EXPECT_EQ(status, PZ_STATUS_OK);
    EXPECT_EQ(chunks, *made) << "through the callback";
    return w == writer::msgpack ? hex_of(made->data(), made->size()) : *made;
}

// As written, "NULL" for nothing.
inline std::string written_or_null(writer w, const pz_variant_t *v, unsigned flags = 0) {
    return written(w, v, flags).value_or("NULL");
}

#endif  // PZ_WRITERS_H
