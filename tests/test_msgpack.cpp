// The MessagePack writer and reader: the bytes of every kind and the values
// of every format (dump_cases/msgpack_*), the limits, and the C++, buffer
// and file entry points.
#include <cstdio>

#include "pz_test.h"
#include "pzvariant/pz_variant.hpp"

namespace {

using MsgPack = LeakCheckedTest;

// The MessagePack of `v` in hex ("NULL" when refused), checked against what
// the buffer writer gives, sized first.
std::string written(const pz_variant_t *v, unsigned flags = 0) {
    size_t len = 0;
    uint8_t *bytes = pz_variant_to_msgpack(v, flags, &len);
    const size_t size = pz_variant_to_msgpack_buf(v, flags, nullptr, 0);
    if (bytes == nullptr) {
        EXPECT_EQ(size, 0u);
        return "NULL";
    }
    std::vector<uint8_t> buf(size);
    EXPECT_EQ(pz_variant_to_msgpack_buf(v, flags, buf.data(), buf.size()), len);
    const std::string hex = hex_of(bytes, len);
    EXPECT_EQ(hex_of(buf.data(), buf.size()), hex);
    HAL_Free(bytes);
    return hex;
}

pz_variant_t *read_hex(const std::string &hex, pz_read_error_t *error = nullptr) {
    const std::vector<uint8_t> bytes = bytes_of(hex);
    return pz_variant_from_msgpack(bytes.data(), bytes.size(), error);
}

TEST_F(MsgPack, EachKindIsWrittenInItsOwnFormatAndReadsBack) {
    for_each_case("msgpack_write_cases.txt", [](const std::vector<std::string> &f) {
        ASSERT_GE(f.size(), 2u);
        const bool smallest = f.size() > 2 && f[2] == "smallest";
        const unsigned flags = smallest ? PZ_MSGPACK_SMALLEST : 0;
        pz_variant_t *v = case_value(f[0]);
        ASSERT_NE(v, nullptr);
        EXPECT_EQ(written(v, flags), f[1]);
        // Read back: the same value, or with the smallest integers the kinds
        // of the reading rule, written again to the same bytes.
        pz_variant_t *back = read_hex(f[1]);
        EXPECT_TRUE(smallest || pz_variant_equal(v, back)) << dumped(back);
        EXPECT_EQ(written(back, flags), f[1]);
        pz_variant_unref(back);
        pz_variant_unref(v);
    });
}

TEST_F(MsgPack, EachFormatReadsAsPinnedOrIsRefusedWithReasonAndOffset) {
    for_each_case("msgpack_read_cases.txt", [](const std::vector<std::string> &f) {
        ASSERT_GE(f.size(), 2u);
        pz_read_error_t error;
        std::memset(&error, 'x', sizeof error);
        const long calls = hal_malloc_calls();
        pz_variant_t *v = read_hex(f[0], &error);
        // A header that announces more than the input holds costs nothing.
        EXPECT_TRUE(f.size() < 5 || hal_malloc_calls() == calls);
        EXPECT_EQ(dumped(v), f[1]);
        EXPECT_EQ(error.line, 0u);
        if (v == nullptr) {
            ASSERT_GE(f.size(), 4u);
            EXPECT_EQ(std::to_string(error.offset) + " " + error.reason, f[2] + " " + f[3]);
            EXPECT_NE(error.code, PZ_READ_OK);
            return;
        }
        EXPECT_EQ(error.code, PZ_READ_OK);
        EXPECT_STREQ(error.reason, "");
        // What we write of it reads back equal, bit for bit.
        pz_variant_t *again = read_hex(written(v));
        EXPECT_TRUE(pz_variant_equal(v, again));
        pz_variant_unref(again);
        pz_variant_unref(v);
    });
}

// MessagePack has one nil: for an empty slot, the null kind (which reads
// back as an empty slot in an array) and, by a flag, the pointers.
TEST_F(MsgPack, NilStandsForEmptySlotsNullsAndPointers) {
    pz_variant_t *slots = pz_variant_pack("b", 1);
    pz_variant_array_append(slots, nullptr);
    pz_variant_t *back = read_hex(written(slots));
    EXPECT_TRUE(pz_variant_equal(slots, back));
    append_new(slots, pz_variant_change_type(pz_variant_bool_new(false), vtype_null));
    EXPECT_EQ(written(slots), "93c3c0c0");
    pz_variant_unref(back);
    pz_variant_unref(slots);

    int object = 0;
    pz_variant_t *a = pz_variant_pack("i*", 1, &object);
    append_new(a, pz_variant_sharedptr_new(&object, CallbackLog::ref, CallbackLog::unref));
    pz_variant_t *d = pz_variant_dict_new();
    put_new(d, "owned", pz_variant_autoptr_new(&object, CallbackLog::dtor));
    EXPECT_EQ(written(a) + written(d), "NULLNULL");
    EXPECT_EQ(written(a, PZ_MSGPACK_POINTERS_AS_NIL), "93d200000001c0c0");
    EXPECT_EQ(written(d, PZ_MSGPACK_POINTERS_AS_NIL), "81a56f776e6564c0");
    EXPECT_EQ(written(nullptr), "NULL");
    pz_variant_unref(d);
    pz_variant_unref(a);
}

TEST_F(MsgPack, NestingIsBoundedBothWays) {
    pz_variant_t *deepest = chain(PZ_VARIANT_MAX_DEPTH, pz_variant_int8_new(1));
    const std::string hex = written(deepest);
    pz_variant_t *back = read_hex(hex);
    EXPECT_TRUE(pz_variant_equal(deepest, back));
    pz_variant_unref(back);
    pz_variant_t *deeper = chain(2, pz_variant_ref(deepest));
    EXPECT_EQ(written(deeper), "NULL");
    pz_variant_unref(deeper);
    pz_variant_unref(deepest);

    pz_variant_t *loop = pz_variant_array_new();
    pz_variant_array_append(loop, loop);
    EXPECT_EQ(written(loop), "NULL");
    pz_variant_unref(pz_variant_array_clear(loop));

    // Reading, one level more than the deepest value that was written.
    pz_read_error_t error;
    EXPECT_EQ(read_hex("91" + hex, &error), nullptr);
    EXPECT_EQ(error.code, PZ_READ_TOO_DEEP);
    EXPECT_EQ(error.offset, hex.size() / 2 - 1);  // at the innermost value, d0 01
}

TEST_F(MsgPack, BuffersFilesAndStreams) {
    pz_variant_t *v = pz_variant_from_dump(R"({"dict":{"a":{"int16":5},"b":{"string":"x\u0000y"}}})");
    uint8_t buf[16];
    std::memset(buf, 0xee, sizeof buf);
    EXPECT_EQ(pz_variant_to_msgpack_buf(v, 0, buf, 4), 12u);
    EXPECT_EQ(hex_of(buf + 4, 12), "eeeeeeeeeeeeeeeeeeeeeeee");  // nothing past the capacity

    const std::string path = ::testing::TempDir() + "pz_msgpack_file";
    ASSERT_TRUE(pz_variant_write_msgpack_file(v, path.c_str(), 0));
    // A value that cannot be written leaves the file as it was.
    pz_variant_t *pointer = pz_variant_ptr_new(buf);
    EXPECT_FALSE(pz_variant_write_msgpack_file(pointer, path.c_str(), 0));
    pz_variant_unref(pointer);
    pz_variant_t *back = pz_variant_read_msgpack_file(path.c_str(), nullptr);
    EXPECT_TRUE(pz_variant_equal(v, back));
    pz_variant_unref(back);
    std::remove(path.c_str());
    pz_read_error_t error;
    EXPECT_EQ(pz_variant_read_msgpack_file(path.c_str(), &error), nullptr);
    EXPECT_EQ(error.code, PZ_READ_CANNOT_OPEN);

    // Two values in a stream, read whole: the second is bytes after the first.
    FILE *stream = std::tmpfile();
    ASSERT_NE(stream, nullptr);
    EXPECT_TRUE(pz_variant_write_msgpack_stream(v, stream, 0) && pz_variant_write_msgpack_stream(v, stream, 0));
    std::rewind(stream);
    EXPECT_EQ(pz_variant_read_msgpack_stream(stream, &error), nullptr);
    EXPECT_EQ(std::to_string(error.offset) + " " + error.reason, "12 bytes after the value");
    std::fclose(stream);
    pz_variant_unref(v);
    EXPECT_EQ(pz_variant_from_msgpack(nullptr, 3, &error), nullptr);
    EXPECT_EQ(error.code, PZ_READ_NO_TEXT);
}

TEST_F(MsgPack, TheCppInterface) {
    const pz::value v = pz::dict({{"n", pz::value(int16_t{5})}, {"s", pz::value(std::string_view("a\0b", 3))}});
    const std::vector<std::byte> bytes = v.to_msgpack();
    EXPECT_EQ(hex_of(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()), "82a16ed10005a173a3610062");
    EXPECT_EQ(pz::from_msgpack(bytes), v);
    try {
        pz::from_msgpack("\x92\xc0", 2);
        ADD_FAILURE() << "no exception";
    } catch (const pz::parse_error &e) {
        EXPECT_STREQ(e.what(), "unexpected end of input");
        EXPECT_EQ(e.code(), PZ_READ_UNEXPECTED_END);
        EXPECT_EQ(e.offset(), 2u);
    }
    int object = 0;
    EXPECT_THROW(pz::value(&object).to_msgpack(), pz::error);
    EXPECT_EQ(pz::value(&object).to_msgpack(PZ_MSGPACK_POINTERS_AS_NIL), std::vector<std::byte>{std::byte{0xc0}});
}

}  // namespace
