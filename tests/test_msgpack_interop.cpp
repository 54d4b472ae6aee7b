// MessagePack against msgpack-c: it reads what we write to the same values
// and kinds, and we read what its packer writes in every format family.
// (Python's msgpack talks with us through peer/msgpack_peer.c.)
#include <msgpack.h>

#include <cmath>

#include "pz_test.h"

namespace {

using MsgPackInterop = LeakCheckedTest;

// msgpack-c's reading of `bytes`, packed again by msgpack-c (which packs
// every number in the fewest bytes), in hex.
std::string repacked(const uint8_t *bytes, size_t len) {
    msgpack_unpacked tree;
    msgpack_unpacked_init(&tree);
    size_t offset = 0;
    EXPECT_EQ(msgpack_unpack_next(&tree, reinterpret_cast<const char *>(bytes), len, &offset), MSGPACK_UNPACK_SUCCESS);
    EXPECT_EQ(offset, len);
    msgpack_sbuffer buffer;
    msgpack_sbuffer_init(&buffer);
    msgpack_packer pk;
    msgpack_packer_init(&pk, &buffer, msgpack_sbuffer_write);
    msgpack_pack_object(&pk, tree.data);
    const std::string hex = hex_of(buffer.data, buffer.size);
    msgpack_sbuffer_destroy(&buffer);
    msgpack_unpacked_destroy(&tree);
    return hex;
}

// msgpack-c reads our bytes, sized or smallest, to the values we wrote: its
// object tree packs again to exactly what we write with the smallest
// integers (each integer in its sign's family, floats at their width and
// bits, str apart from bin, the order kept). The values of the write cases,
// and a NaN and an empty slot.
TEST_F(MsgPackInterop, MsgpackCReadsOurBytesToTheSameValues) {
    const auto check = [](const pz_variant_t *v) {
        size_t sized_len = 0, smallest_len = 0;
        uint8_t *sized = pz_variant_to_msgpack(v, 0, &sized_len);
        uint8_t *smallest = pz_variant_to_msgpack(v, PZ_MSGPACK_SMALLEST, &smallest_len);
        ASSERT_TRUE(sized != nullptr && smallest != nullptr);
        EXPECT_EQ(repacked(sized, sized_len), hex_of(smallest, smallest_len));
        EXPECT_EQ(repacked(smallest, smallest_len), hex_of(smallest, smallest_len));
        HAL_Free(smallest);
        HAL_Free(sized);
    };
    for_each_case("msgpack_write_cases.txt", [&](const std::vector<std::string> &f) {
        pz_variant_t *v = case_value(f[0]);
        check(v);
        pz_variant_unref(v);
    });
    pz_variant_t *list = pz_variant_pack("dd", NAN, 0.1);
    pz_variant_array_append(list, nullptr);
    check(list);
    pz_variant_unref(list);
}

// Every format family of msgpack-c's packer reads, and holds what msgpack-c
// reads: written with the smallest integers, it gives the bytes msgpack-c
// packs of its own reading. (Which kind each format gives is pinned by the
// read cases.)
TEST_F(MsgPackInterop, WeReadEveryFormatFamilyOfMsgpackCsPacker) {
    msgpack_sbuffer buffer;
    msgpack_sbuffer_init(&buffer);
    msgpack_packer packer;
    msgpack_packer_init(&packer, &buffer, msgpack_sbuffer_write);
    msgpack_packer *pk = &packer;
    msgpack_pack_array(pk, 31);
    msgpack_pack_int(pk, 7), msgpack_pack_int(pk, -7);  // fixints
    msgpack_pack_fix_uint8(pk, 200), msgpack_pack_fix_uint16(pk, 2), msgpack_pack_fix_uint32(pk, 3);
    msgpack_pack_fix_uint64(pk, UINT64_MAX), msgpack_pack_uint64(pk, 1ull << 40);
    msgpack_pack_fix_int8(pk, -100), msgpack_pack_fix_int16(pk, -300), msgpack_pack_fix_int32(pk, INT32_MIN);
    msgpack_pack_fix_int64(pk, INT64_MIN), msgpack_pack_int64(pk, -40000);
    msgpack_pack_float(pk, 0.25f), msgpack_pack_double(pk, INFINITY), msgpack_pack_double(pk, NAN);
    msgpack_pack_nil(pk), msgpack_pack_true(pk), msgpack_pack_false(pk);
    // Texts and buffers, arrays and maps, with each size of header.
    for (size_t n : {size_t{2}, size_t{200}, size_t{300}, size_t{70000}}) {
        const std::string text(n, 't');
        msgpack_pack_str_with_body(pk, text.data(), n);
    }
    for (size_t n : {size_t{3}, size_t{300}, size_t{70000}}) {
        const std::string bytes(n, '\0');
        msgpack_pack_bin_with_body(pk, bytes.data(), n);
    }
    for (uint32_t n : {3u, 20u, 70000u}) {
        msgpack_pack_array(pk, n);
        for (uint32_t i = 0; i < n; ++i) msgpack_pack_uint32(pk, i);
    }
    for (uint32_t n : {2u, 20u, 70000u}) {
        msgpack_pack_map(pk, n);
        for (uint32_t i = 0; i < n; ++i) {
            const std::string key = "k" + std::to_string(i);
            msgpack_pack_str_with_body(pk, key.data(), key.size()), msgpack_pack_int32(pk, -static_cast<int32_t>(i));
        }
    }
    const auto *bytes = reinterpret_cast<const uint8_t *>(buffer.data);
    pz_read_error_t error;
    pz_variant_t *got = pz_variant_from_msgpack(bytes, buffer.size, &error);
    EXPECT_NE(got, nullptr) << error.reason << " at " << error.offset;
    size_t len = 0;
    uint8_t *ours = pz_variant_to_msgpack(got, PZ_MSGPACK_SMALLEST, &len);
    EXPECT_TRUE(ours != nullptr && hex_of(ours, len) == repacked(bytes, buffer.size));
    HAL_Free(ours);
    pz_variant_unref(got);

    // An ext value, a timestamp here, is refused where it starts.
    const size_t ext_at = buffer.size;
    const msgpack_timestamp ts = {1700000000, 5};
    msgpack_pack_timestamp(pk, &ts);
    EXPECT_EQ(pz_variant_from_msgpack(buffer.data + ext_at, buffer.size - ext_at, &error), nullptr);
    EXPECT_EQ(error.code, PZ_READ_INVALID_KIND);
    EXPECT_EQ(error.offset, 0u);
    msgpack_sbuffer_destroy(&buffer);
}

}  // namespace
