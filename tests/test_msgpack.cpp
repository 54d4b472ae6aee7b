// The MessagePack writer and reader: the bytes of every kind and the values
// of every format (dump_cases/msgpack_*), nil, the limits, and the C++
// entry points (test_writers.cpp has the buffers and files).
#include <cstdio>

#include "pz_test.h"
#include "writers.h"
#include "pzvariant/pz_variant.hpp"

namespace {

using MsgPack = LeakCheckedTest;

// The MessagePack of `v` in hex through each entry point ("NULL" when
// refused).
std::string written(const pz_variant_t *v, unsigned flags = 0) { return written_or_null(writer::msgpack, v, flags); }

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
    pz_variant_unref(d);
    pz_variant_unref(a);
}

// (One level more is refused: the read cases.)
TEST_F(MsgPack, TheDeepestValueIsWrittenAndReadBack) {
    pz_variant_t *deepest = chain(PZ_VARIANT_MAX_DEPTH, pz_variant_int8_new(1));
    pz_variant_t *back = read_hex(written(deepest));
    EXPECT_TRUE(pz_variant_equal(deepest, back));
    pz_variant_unref(back);
    pz_variant_unref(deepest);
}

// 499 containers, each header announcing as many elements as the bytes
// left can hold, around a last one that holds them: the read is refused at
// the end, and what it held on the way is in proportion to the input's
// length, however much each open level announced.
std::vector<uint8_t> stacked_headers(size_t len, bool maps) {
    std::vector<uint8_t> in;
    auto header = [&](size_t left) {
        const auto n = static_cast<uint32_t>(maps ? left / 2 : left);
        const uint8_t bytes[] = {uint8_t(maps ? 0xdf : 0xdd), uint8_t(n >> 24), uint8_t(n >> 16), uint8_t(n >> 8), uint8_t(n)};
        in.insert(in.end(), bytes, bytes + sizeof bytes);
    };
    for (int level = 0; level < PZ_VARIANT_MAX_DEPTH - 2; ++level) {
        header(len - in.size() - 5);
        if (maps) in.insert(in.end(), {0xa1, 0x61});  // the key of the next map
    }
    header(len - in.size() - 5);
    // Members "a": nil, the last one cut short.
    const uint8_t element[] = {0xa1, 0x61, 0xc0};
    for (size_t i = 0; in.size() < len; ++i) in.push_back(maps ? element[i % 3] : 0xc0);
    return in;
}

TEST_F(MsgPack, StackedHeadersCostInProportionToTheirLength) {
    for (const bool maps : {false, true}) {
        for (const size_t len : {size_t{64} << 10, size_t{1} << 20}) {
            SCOPED_TRACE(std::to_string(len) + (maps ? " bytes of maps" : " bytes of arrays"));
            const std::vector<uint8_t> in = stacked_headers(len, maps);
            pz_read_error_t error;
            hal_reset_peak();
            const long before = hal_live_bytes();
            EXPECT_EQ(pz_variant_from_msgpack(in.data(), in.size(), &error), nullptr);
            EXPECT_EQ(error.code, PZ_READ_UNEXPECTED_END);
            EXPECT_EQ(error.offset, in.size());
            // A slot or member of the innermost container (8 and 24 bytes
            // for 1 and 3 of input) on the builder's stack, doubled as it
            // grows, then in the container: at most about 24 bytes a byte.
            EXPECT_LT(hal_peak_bytes() - before, static_cast<long>(40 * in.size()));
        }
    }
}

TEST_F(MsgPack, TheCppInterface) {
    const pz::value v = pz::dict({{"n", pz::value(int16_t{5})}, {"s", pz::value(std::string_view("a\0b", 3))}});
    const std::vector<std::byte> bytes = v.to_msgpack();
    EXPECT_EQ(hex_of(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()), "82a16ed10005a173a3610062");
    EXPECT_EQ(pz::from_msgpack(bytes), v);
    int object = 0;
    EXPECT_THROW(pz::value(&object).to_msgpack(), pz::error);
    EXPECT_EQ(pz::value(&object).to_msgpack(PZ_MSGPACK_POINTERS_AS_NIL), std::vector<std::byte>{std::byte{0xc0}});
}

}  // namespace
