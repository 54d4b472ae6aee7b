// MessagePack against implementations we did not write: msgpack-c reads
// what we write to the same values and kinds, we read what its packer
// writes in every format family, and Python's msgpack reads a file of ours
// and writes one we read (skipped where python3-msgpack is missing).
#include <msgpack.h>

#include <cmath>
#include <cstdlib>

#include "pz_test.h"

namespace {

using MsgPackInterop = LeakCheckedTest;

template <class T>
uint64_t bits_of(T x) {
    std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t> bits;
    std::memcpy(&bits, &x, sizeof bits);
    return bits;
}

// The keys of `dict` in its order.
std::vector<std::string> keys_of(pz_variant_t *dict) {
    std::vector<std::string> keys;
    pz_variant_dict_foreach(
        dict,
        [](void *key, void *, void *user) {
            static_cast<std::vector<std::string> *>(user)->push_back(static_cast<pz_string_t *>(key)->cstr);
            return true;
        },
        &keys);
    return keys;
}

bool same_integer(const msgpack_object &o, bool negative, int64_t i, uint64_t u) {
    return negative ? o.type == MSGPACK_OBJECT_NEGATIVE_INTEGER && o.via.i64 == i
                    : o.type == MSGPACK_OBJECT_POSITIVE_INTEGER && o.via.u64 == u;
}

// Whether msgpack-c's object `o` holds what `v` (null: an empty slot) holds,
// in the family of its kind.
bool same(const msgpack_object &o, pz_variant_t *v) {
    if (v == nullptr || v->vt == vtype_null) return o.type == MSGPACK_OBJECT_NIL;
    switch (v->vt) {
        case vtype_bool: return o.type == MSGPACK_OBJECT_BOOLEAN && o.via.boolean == v->bool_val;
        case vtype_int8: return same_integer(o, v->int8_val < 0, v->int8_val, static_cast<uint64_t>(v->int8_val));
        case vtype_int16: return same_integer(o, v->int16_val < 0, v->int16_val, static_cast<uint64_t>(v->int16_val));
        case vtype_int32: return same_integer(o, v->int32_val < 0, v->int32_val, static_cast<uint64_t>(v->int32_val));
        case vtype_int64: return same_integer(o, v->int64_val < 0, v->int64_val, static_cast<uint64_t>(v->int64_val));
        case vtype_uint8: return same_integer(o, false, 0, v->uint8_val);
        case vtype_uint16: return same_integer(o, false, 0, v->uint16_val);
        case vtype_uint32: return same_integer(o, false, 0, v->uint32_val);
        case vtype_uint64: return same_integer(o, false, 0, v->uint64_val);
        case vtype_float:
            return o.type == MSGPACK_OBJECT_FLOAT32 && bits_of(static_cast<float>(o.via.f64)) == bits_of(v->float_val);
        case vtype_double: return o.type == MSGPACK_OBJECT_FLOAT64 && bits_of(o.via.f64) == bits_of(v->double_val);
        case vtype_string:
        case vtype_bytes:
            return o.type == (v->vt == vtype_string ? MSGPACK_OBJECT_STR : MSGPACK_OBJECT_BIN) &&
                   o.via.str.size == v->len && (v->len == 0 || std::memcmp(o.via.str.ptr, v->ptr_val, v->len) == 0);
        case vtype_array:
            if (o.type != MSGPACK_OBJECT_ARRAY || o.via.array.size != pz_variant_array_size(v)) return false;
            for (uint32_t i = 0; i < o.via.array.size; ++i) {
                pz_variant_t *e = pz_variant_array_index(v, i);
                const bool ok = same(o.via.array.ptr[i], e);
                pz_variant_unref(e);
                if (!ok) return false;
            }
            return true;
        case vtype_dict: {
            const std::vector<std::string> keys = keys_of(v);
            if (o.type != MSGPACK_OBJECT_MAP || o.via.map.size != keys.size()) return false;
            for (uint32_t i = 0; i < o.via.map.size; ++i) {
                const msgpack_object &key = o.via.map.ptr[i].key;
                if (key.type != MSGPACK_OBJECT_STR || std::string(key.via.str.ptr, key.via.str.size) != keys[i]) return false;
                pz_variant_t *e = pz_variant_dict_get(v, keys[i].c_str());
                const bool ok = same(o.via.map.ptr[i].val, e);
                pz_variant_unref(e);
                if (!ok) return false;
            }
            return true;
        }
        default: return false;
    }
}

// Every kind, extremes of the integers, NaN, a NUL byte, an empty slot.
pz_variant_t *every_kind() {
    pz_variant_t *v = pz_variant_from_dump(
        R"({"dict":{"i8":{"int8":-128},"u8":{"uint8":255},"i16":{"int16":5},"u16":{"uint16":65535},)"
        R"("i32":{"int32":-2147483648},"u32":{"uint32":4294967295},"i64":{"int64":-9223372036854775808},)"
        R"("u64":{"uint64":18446744073709551615},"pos":{"int64":7},"f":{"float":0.1},"d":{"double":-1e999},)"
        R"("s":{"string":"a\u0000b"},"b":{"bytes":"00ff"},"t":{"bool":true},"n":{"null":null},)"
        R"("m":{"dict":{"deep":{"array":[{"int8":1},{"string":""}]}}}}})");
    pz_variant_t *list = pz_variant_pack("bd", 0, NAN);
    pz_variant_array_append(list, nullptr);
    put_new(v, "list", list);
    return v;
}

TEST_F(MsgPackInterop, MsgpackCReadsOurBytesToTheSameValues) {
    pz_variant_t *v = every_kind();
    for (unsigned flags : {0u, static_cast<unsigned>(PZ_MSGPACK_SMALLEST)}) {
        size_t len = 0;
        uint8_t *bytes = pz_variant_to_msgpack(v, flags, &len);
        ASSERT_NE(bytes, nullptr);
        msgpack_unpacked result;
        msgpack_unpacked_init(&result);
        size_t offset = 0;
        ASSERT_EQ(msgpack_unpack_next(&result, reinterpret_cast<const char *>(bytes), len, &offset),
                  MSGPACK_UNPACK_SUCCESS);
        EXPECT_EQ(offset, len);
        EXPECT_TRUE(same(result.data, v)) << flags;
        msgpack_unpacked_destroy(&result);
        HAL_Free(bytes);
    }
    pz_variant_unref(v);
}

// msgpack-c's packer and the value each of its formats should read as,
// side by side.
class packed {
public:
    packed() : expected_(pz_variant_array_new()) {
        msgpack_sbuffer_init(&buffer_);
        msgpack_packer_init(&packer_, &buffer_, msgpack_sbuffer_write);
    }
    ~packed() {
        msgpack_sbuffer_destroy(&buffer_);
        pz_variant_unref(expected_);
    }
    msgpack_packer *packer() { return &packer_; }

    // Expects `v` (taken over; null: an empty slot) as the next element.
    void expect(pz_variant_t *v) { pz_variant_array_append(expected_, v), pz_variant_unref(v); }

    void check() {
        pz_read_error_t error;
        pz_variant_t *got = pz_variant_from_msgpack(buffer_.data, buffer_.size, &error);
        EXPECT_NE(got, nullptr) << error.reason << " at " << error.offset;
        EXPECT_TRUE(pz_variant_equal(got, expected_));
        pz_variant_unref(got);
    }

    // Packs the header of an array of `n` elements, for the calls after.
    void start(size_t n) { msgpack_pack_array(&packer_, n); }

private:
    msgpack_sbuffer buffer_;
    msgpack_packer packer_;
    pz_variant_t *expected_;
};

// What an unsigned number packed in the fewest bytes reads as.
pz_variant_t *smallest_unsigned(uint32_t i) {
    if (i <= 127) return pz_variant_int64_new(i);
    if (i <= UINT8_MAX) return pz_variant_uint8_new(static_cast<uint8_t>(i));
    if (i <= UINT16_MAX) return pz_variant_uint16_new(static_cast<uint16_t>(i));
    return pz_variant_uint32_new(i);
}

TEST_F(MsgPackInterop, WeReadEveryFormatFamilyOfMsgpackCsPacker) {
    packed p;
    msgpack_packer *pk = p.packer();
    const std::string str8(200, 's'), str16(300, 't'), str32(70000, 'u');
    p.start(30);
    msgpack_pack_int(pk, 7), p.expect(pz_variant_int64_new(7));  // positive fixint
    msgpack_pack_int(pk, -7), p.expect(pz_variant_int64_new(-7));  // negative fixint
    msgpack_pack_fix_uint8(pk, 200), p.expect(pz_variant_uint8_new(200));
    msgpack_pack_fix_uint16(pk, 2), p.expect(pz_variant_uint16_new(2));
    msgpack_pack_fix_uint32(pk, 3), p.expect(pz_variant_uint32_new(3));
    msgpack_pack_fix_uint64(pk, UINT64_MAX), p.expect(pz_variant_uint64_new(UINT64_MAX));
    msgpack_pack_fix_int8(pk, -100), p.expect(pz_variant_int8_new(-100));
    msgpack_pack_fix_int16(pk, -300), p.expect(pz_variant_int16_new(-300));
    msgpack_pack_fix_int32(pk, INT32_MIN), p.expect(pz_variant_int32_new(INT32_MIN));
    msgpack_pack_fix_int64(pk, INT64_MIN), p.expect(pz_variant_int64_new(INT64_MIN));
    msgpack_pack_int64(pk, -40000), p.expect(pz_variant_int32_new(-40000));  // the packer's smallest
    msgpack_pack_uint64(pk, 1ull << 40), p.expect(pz_variant_uint64_new(1ull << 40));
    msgpack_pack_float(pk, 0.25f), p.expect(pz_variant_float_new(0.25f));
    msgpack_pack_double(pk, INFINITY), p.expect(pz_variant_double_new(INFINITY));
    msgpack_pack_nil(pk), p.expect(nullptr);
    msgpack_pack_true(pk), p.expect(pz_variant_bool_new(true));
    msgpack_pack_false(pk), p.expect(pz_variant_bool_new(false));
    for (const std::string *s : {&str8, &str16, &str32}) {
        msgpack_pack_str_with_body(pk, s->data(), s->size());
        p.expect(vstr_sized_new(s->data(), static_cast<uint32_t>(s->size())));
    }
    msgpack_pack_str_with_body(pk, "ab", 2), p.expect(pz_variant_str_new("ab"));  // fixstr
    for (size_t n : {size_t{3}, size_t{300}, size_t{70000}}) {
        const std::string bytes(n, '\0');
        msgpack_pack_bin_with_body(pk, bytes.data(), n);
        p.expect(vstr_buf_new(reinterpret_cast<const uint8_t *>(bytes.data()), static_cast<uint32_t>(n)));
    }
    // Arrays and maps of the fixed, 16-bit and 32-bit headers.
    for (uint32_t n : {3u, 20u, 70000u}) {
        msgpack_pack_array(pk, n);
        pz_variant_t *a = pz_variant_array_new();
        for (uint32_t i = 0; i < n; ++i) msgpack_pack_true(pk), varray_add_bool(a, true);
        p.expect(a);
    }
    for (uint32_t n : {3u, 20u, 70000u}) {
        msgpack_pack_map(pk, n);
        pz_variant_t *d = pz_variant_dict_new();
        for (uint32_t i = 0; i < n; ++i) {
            const std::string key = "k" + std::to_string(i);
            msgpack_pack_str_with_body(pk, key.data(), key.size());
            msgpack_pack_uint32(pk, i);
            put_new(d, key.c_str(), smallest_unsigned(i));
        }
        p.expect(d);
    }
    p.check();
}

TEST_F(MsgPackInterop, ExtValuesOfMsgpackCAreRefused) {
    msgpack_sbuffer buffer;
    msgpack_sbuffer_init(&buffer);
    msgpack_packer pk;
    msgpack_packer_init(&pk, &buffer, msgpack_sbuffer_write);
    msgpack_pack_array(&pk, 2);
    msgpack_pack_nil(&pk);
    const msgpack_timestamp ts = {1700000000, 5};
    msgpack_pack_timestamp(&pk, &ts);
    pz_read_error_t error;
    EXPECT_EQ(pz_variant_from_msgpack(buffer.data, buffer.size, &error), nullptr);
    EXPECT_EQ(error.code, PZ_READ_INVALID_KIND);
    EXPECT_EQ(error.offset, 2u);
    msgpack_sbuffer_destroy(&buffer);
}

// A Python that imports msgpack: Debian's own (python3-msgpack), or the
// first on the path; "" for none.
std::string python_with_msgpack() {
    for (const char *python : {"/usr/bin/python3", "python3"}) {
        const std::string check = std::string(python) + " -c 'import msgpack' >/dev/null 2>&1";
        if (std::system(check.c_str()) == 0) return python;
    }
    return "";
}

TEST_F(MsgPackInterop, PythonReadsOurFileAndWritesOneWeRead) {
    const std::string python = python_with_msgpack();
    if (python.empty()) GTEST_SKIP() << "python3-msgpack is not installed";
    const std::string ours = ::testing::TempDir() + "pz_msgpack_ours";
    const std::string theirs = ::testing::TempDir() + "pz_msgpack_theirs";
    const std::string repr = ::testing::TempDir() + "pz_msgpack_repr";
    pz_variant_t *v = pz_variant_from_dump(
        R"({"dict":{"i":{"int16":-5},"u":{"uint64":18446744073709551615},"f":{"double":1.5},)"
        R"("s":{"string":"a\u0000b"},"b":{"bytes":"00ff"},"a":{"array":[{"int8":1},{"bool":true}]},)"
        R"("m":{"dict":{"x":{"float":0.5}}}}})");
    ASSERT_TRUE(pz_variant_write_msgpack_file(v, ours.c_str(), 0));
    pz_variant_unref(v);
    const std::string script =
        "import msgpack, sys\n"
        "v = msgpack.unpackb(open(sys.argv[1], 'rb').read(), raw=False)\n"
        "open(sys.argv[3], 'w').write(repr(v))\n"
        "open(sys.argv[2], 'wb').write(msgpack.packb({'small': 5, 'neg': -3, 'big': 2**40, 'u8': 200,\n"
        "    'i16': -200, 'pi': 3.25, 'text': 'h\\u00e9', 'raw': b'\\x01\\x02', 'list': [None, False],\n"
        "    'nested': {'k': []}}))\n";
    const std::string program = ::testing::TempDir() + "pz_msgpack_peer.py";
    std::ofstream(program) << script;
    const std::string command = python + " " + program + " " + ours + " " + theirs + " " + repr;
    ASSERT_EQ(std::system(command.c_str()), 0) << command;

    std::ifstream in(repr);
    const std::string seen{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    EXPECT_EQ(seen,
              "{'i': -5, 'u': 18446744073709551615, 'f': 1.5, 's': 'a\\x00b', 'b': b'\\x00\\xff', "
              "'a': [1, True], 'm': {'x': 0.5}}");

    pz_variant_t *got = pz_variant_read_msgpack_file(theirs.c_str(), nullptr);
    pz_variant_t *want = pz_variant_from_dump(
        R"({"dict":{"small":{"int64":5},"neg":{"int64":-3},"big":{"uint64":1099511627776},"u8":{"uint8":200},)"
        R"("i16":{"int16":-200},"pi":{"double":3.25},"text":{"string":"h\u00e9"},"raw":{"bytes":"0102"},)"
        R"("list":{"array":[{"null":null},{"bool":false}]},"nested":{"dict":{"k":{"array":[]}}}}})");
    pz_variant_t *list = pz_variant_dict_get(want, "list");
    pz_variant_array_set(list, 0, nullptr);  // nil in an array: an empty slot
    pz_variant_unref(list);
    EXPECT_TRUE(pz_variant_equal(got, want)) << dumped(got);
    pz_variant_unref(want);
    pz_variant_unref(got);
    for (const std::string &path : {ours, theirs, repr, program}) std::remove(path.c_str());
}

}  // namespace
