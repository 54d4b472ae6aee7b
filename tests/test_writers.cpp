// The three writers side by side: the caller's buffer at every size, what
// each refuses and why through every entry point, and files written, read
// back, refused and missing, in C and C++.
#include <cerrno>
#include <cmath>
#include <system_error>

#include "pz_test.h"
#include "pzvariant/pz_variant.hpp"
#include "writers.h"

namespace {

using Writers = LeakCheckedTest;

// At every size of the caller's buffer, up to past the room a piece needs
// to be printed in place: the full length, as much of the text as fits,
// terminated (MessagePack: all of it once it fits), nothing past the
// buffer.
TEST_F(Writers, TheCallersBufferHoldsAsMuchAsFitsAtEverySize) {
    for_each_case("buffer_cases.txt", [](const std::vector<std::string> &f) {
        pz_variant_t *v = pz_variant_from_dump_strict(f.at(0).data(), f[0].size(), nullptr);
        ASSERT_NE(v, nullptr);
        for (const writer w : {writer::json, writer::dump, writer::msgpack}) {
            const std::string whole = new_block(w, v).value_or("");
            for (size_t size = 0; size <= whole.size() + 24; ++size) {
                std::string buf(size + 1, 'x');
                ASSERT_EQ(into_buffer(w, v, 0, size > 0 ? buf.data() : nullptr, size), whole.size()) << size;
                if (w == writer::msgpack && size >= whole.size()) {
                    EXPECT_EQ(buf.substr(0, whole.size()), whole) << size;
                } else if (w != writer::msgpack && size > 0) {
                    EXPECT_EQ(std::string(buf.data()), whole.substr(0, std::min(whole.size(), size - 1))) << size;
                }
                EXPECT_EQ(buf[size], 'x') << "nothing past the buffer, " << size;
            }
        }
        pz_variant_unref(v);
    });
}

// A value a writer cannot take gives nothing through any entry point, and
// the callback's status says why.
TEST_F(Writers, RefusedValuesGiveNothingAnywhereAndSayWhy) {
    int object = 0;
    pz_variant_t *loop = pz_variant_array_new();
    pz_variant_array_append(loop, loop);
    pz_variant_t *deep = chain(PZ_VARIANT_MAX_DEPTH + 1, pz_variant_int32_new(1));
    pz_variant_t *ptr = pz_variant_ptr_new(&object), *owner = pz_variant_autoptr_new(&object, nullptr);
    pz_variant_t *not_utf8 = vstr_sized_new("\xC3\x28", 2), *bad_key = pz_variant_dict_new();
    vdict_set_int32(bad_key, "\xC3\x28", 1);
    const unsigned canonical = PZ_JSON_CANONICAL;
    const struct {
        pz_variant_t *v;
        writer w;
        unsigned flags;
        pz_status why;
    } cases[] = {
        {loop, writer::json, 0, PZ_STATUS_TOO_DEEP},        {loop, writer::dump, 0, PZ_STATUS_TOO_DEEP},
        {loop, writer::msgpack, 0, PZ_STATUS_TOO_DEEP},     {deep, writer::json, 0, PZ_STATUS_TOO_DEEP},
        {deep, writer::dump, 0, PZ_STATUS_TOO_DEEP},        {deep, writer::msgpack, 0, PZ_STATUS_TOO_DEEP},
        {nullptr, writer::json, 0, PZ_STATUS_NO_VALUE},     {nullptr, writer::dump, 0, PZ_STATUS_NO_VALUE},
        {nullptr, writer::msgpack, 0, PZ_STATUS_NO_VALUE},  {ptr, writer::json, PZ_JSON_REFUSE_POINTERS, PZ_STATUS_POINTER},
        {owner, writer::json, PZ_JSON_REFUSE_POINTERS, PZ_STATUS_POINTER},
        {ptr, writer::msgpack, 0, PZ_STATUS_POINTER},       {owner, writer::msgpack, 0, PZ_STATUS_POINTER},
        {not_utf8, writer::json, 0, PZ_STATUS_INVALID_UTF8}, {bad_key, writer::json, 0, PZ_STATUS_INVALID_UTF8},
        {not_utf8, writer::json, canonical | PZ_JSON_ESCAPE_INVALID, PZ_STATUS_INVALID_UTF8},
        {bad_key, writer::json, canonical, PZ_STATUS_INVALID_UTF8},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(&c - cases);
        pz_status why = PZ_STATUS_OK;
        EXPECT_EQ(written(c.w, c.v, c.flags, &why), std::nullopt);
        EXPECT_EQ(why, c.why);
    }
    // Canonical JSON holds no NaN or infinity, double or float.
    for (const double x : {NAN, INFINITY, -INFINITY}) {
        for (pz_variant_t *v : {pz_variant_pack("id", 1, x), pz_variant_pack("f", x)}) {
            pz_status why = PZ_STATUS_OK;
            EXPECT_EQ(written(writer::json, v, canonical, &why), std::nullopt);
            EXPECT_EQ(why, PZ_STATUS_NOT_FINITE);
            pz_variant_unref(v);
        }
    }
    // Left to the flags: pointers as null and nil, bad bytes escaped.
    EXPECT_EQ(written(writer::json, ptr), "null");
    EXPECT_EQ(written(writer::msgpack, owner, PZ_MSGPACK_POINTERS_AS_NIL), "c0");
    EXPECT_EQ(written(writer::json, not_utf8, PZ_JSON_ESCAPE_INVALID), R"("\u00c3(")");
    pz_variant_array_remove(loop, 0);
    for (pz_variant_t *v : {loop, deep, ptr, owner, not_utf8, bad_key}) pz_variant_unref(v);
}

// The C file functions of each format.
using pz::file_format;
pz_status write_file(file_format f, const pz_variant_t *v, const std::string &path, int *err) {
    return f == file_format::msgpack ? pz_variant_write_msgpack_file_ex(v, path.c_str(), 0, err)
                                     : pz_variant_write_file_ex(v, path.c_str(), f == file_format::json ? PZ_TEXT_JSON : PZ_TEXT_DUMP,
                                                                PZ_JSON_INDENT, err);
}
pz_variant_t *read_file(file_format f, const std::string &path, pz_read_error_t *why) {
    return f == file_format::msgpack ? pz_variant_read_msgpack_file(path.c_str(), why)
                                     : pz_variant_read_file(path.c_str(), f == file_format::json ? PZ_TEXT_JSON : PZ_TEXT_DUMP, why);
}

// Every format through a file and a stream, in C and C++: what is written
// reads back equal; a value that cannot be written leaves the file as it
// was; a missing file or folder gives the system's reason.
TEST_F(Writers, FilesReadBackOrKeepTheSystemsReason) {
    const std::string path = ::testing::TempDir() + "pz_writers_file", missing = ::testing::TempDir() + "no-such-dir/x";
    const pz::value doc = pz::from_json(R"({"n":18446744073709551615,"s":"a\u0000b","l":[1.5,true]})");
    pz::value loop = pz::array({});
    loop.push_back(loop);
    for (const file_format f : {file_format::json, file_format::dump, file_format::msgpack}) {
        SCOPED_TRACE(static_cast<int>(f));
        const auto read_back = [&] { return pz::value::adopt(read_file(f, path, nullptr)); };
        int err = -1;
        pz_read_error_t why;
        EXPECT_EQ(write_file(f, doc.get(), path, &err), PZ_STATUS_OK);
        EXPECT_EQ(err, 0);
        EXPECT_EQ(pz::value::adopt(read_file(f, path, &why)), doc) << why.reason;
        EXPECT_EQ(why.sys_errno, 0);
        FILE *stream = std::fopen(path.c_str(), "rb");
        const pz_text_format text = f == file_format::json ? PZ_TEXT_JSON : PZ_TEXT_DUMP;
        const bool msgpack = f == file_format::msgpack;
        EXPECT_EQ(pz::value::adopt(msgpack ? pz_variant_read_msgpack_stream(stream, nullptr)
                                           : pz_variant_read_stream(stream, text, nullptr)), doc);
        EXPECT_FALSE(msgpack ? pz_variant_write_msgpack_stream(doc.get(), stream, 0)
                             : pz_variant_write_stream(doc.get(), stream, text, 0)) << "a stream open for reading";
        std::fclose(stream);
        EXPECT_EQ(write_file(f, loop.get(), path, &err), PZ_STATUS_TOO_DEEP);
        EXPECT_EQ(read_back(), doc) << "the file as it was";
        EXPECT_EQ(write_file(f, doc.get(), missing, &err), PZ_STATUS_CANNOT_OPEN);
        EXPECT_EQ(err, ENOENT);
        EXPECT_EQ(read_file(f, missing, &why), nullptr);
        EXPECT_EQ(std::to_string(why.code) + " " + why.reason + " " + std::to_string(why.sys_errno),
                  std::to_string(PZ_READ_CANNOT_OPEN) + " cannot open file " + std::to_string(ENOENT));

        // C++: the same, failures thrown with the system's reason.
        pz::write_file(path, doc, f);
        EXPECT_EQ(pz::read_file(path, f), doc);
        EXPECT_THROW(pz::write_file(path, loop, f), pz::error);
        EXPECT_EQ(read_back(), doc) << "the file as it was";
        for (const auto &failing : {std::function<void()>([&] { pz::read_file(missing, f); }),
                                    std::function<void()>([&] { pz::write_file(missing, doc, f); })}) {
            const auto e = caught<std::system_error>(failing);
            EXPECT_TRUE(e && e->code() == std::errc::no_such_file_or_directory);
        }
    }
    EXPECT_FALSE(pz_variant_write_file(loop.get(), path.c_str(), PZ_TEXT_JSON, 0) ||
                 pz_variant_write_msgpack_file(loop.get(), path.c_str(), 0));
    int err = -1;
    EXPECT_EQ(pz_variant_write_file_ex(doc.get(), path.c_str(), static_cast<pz_text_format>(7), 0, &err),
              PZ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(err, 0);
    EXPECT_THROW(pz::write_file(path, pz::value()), pz::error);
    pz_read_error_t why;
    EXPECT_EQ(pz_variant_read_msgpack_file(::testing::TempDir().c_str(), &why), nullptr) << "a directory";
    EXPECT_EQ(std::to_string(why.code) + " " + std::to_string(why.sys_errno),
              std::to_string(PZ_READ_CANNOT_READ) + " " + std::to_string(EISDIR));

    // A text read whole: a NUL byte in it, a second value after the first.
    std::ofstream(path, std::ios::binary) << std::string("[1,\0 2]", 7);
    EXPECT_EQ(pz_variant_read_file(path.c_str(), PZ_TEXT_JSON, &why), nullptr);
    EXPECT_EQ(std::to_string(why.offset) + " " + why.reason, "3 NUL byte in the text");
    std::ofstream(path) << "{\n  \"a\": [1,\n  2,]\n}";
    const auto comma = caught<pz::parse_error>([&] { pz::read_file(path); });
    EXPECT_TRUE(comma && comma->code() == PZ_READ_TRAILING_COMMA && comma->line() == 3u);
    FILE *stream = std::tmpfile();
    EXPECT_TRUE(pz_variant_write_msgpack_stream(doc.get(), stream, 0) && pz_variant_write_msgpack_stream(doc.get(), stream, 0));
    std::rewind(stream);
    EXPECT_EQ(pz_variant_read_msgpack_stream(stream, &why), nullptr);
    EXPECT_EQ(std::to_string(why.offset) + " " + why.reason,
              std::to_string(pz_variant_to_msgpack_buf(doc.get(), 0, nullptr, 0)) + " bytes after the value");
    std::fclose(stream);
    std::remove(path.c_str());
    pz_variant_array_clear(loop.get());
}

}  // namespace
