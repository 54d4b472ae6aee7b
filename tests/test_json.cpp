// Plain JSON written from every kind (json_write_cases.txt), the writer's
// entry points (a new block, the caller's buffer, a callback, a stream),
// strings that are not UTF-8, files and streams. The reader's cases are
// texts in json_cases/.
#include <cstdio>

#include "pz_test.h"

namespace {

using Json = LeakCheckedTest;


TEST_F(Json, CasesWrittenAndReadBackAsJson) {
    for_each_case("json_write_cases.txt", [&](const std::vector<std::string> &f) {
        ASSERT_EQ(f.size(), 2u);
        pz_variant_t *v = case_value(f[0]);
        EXPECT_EQ(expect_round_trip(v, json_read, json_write, false), f[1]);
        pz_variant_unref(v);
    });
}

// The chunks a callback is handed, gathered; it stops after `stop_after`
// chunks when that is not 0.
struct gathered {
    std::string text;
    int chunks = 0;
    int stop_after = 0;
    static int take(const char *buffer, size_t size, void *self) {
        auto *g = static_cast<gathered *>(self);
        g->text.append(buffer, size);
        return ++g->chunks == g->stop_after ? 1 : 0;
    }
};

// A value long enough that the callback gets several chunks, with every
// kind of container, empty ones and texts to escape.
pz_variant_t *long_value() {
    pz_variant_t *v = pz_variant_from_json(R"({"a":[],"b":{},"c":[1,{"d":"e\né"}]})", nullptr);
    pz_variant_t *list = pz_variant_array_new();
    for (int i = 0; i < 2000; ++i) append_new(list, pz_variant_double_new(i / 7.0));
    put_new(v, "list", list);
    return v;
}

// Every entry point gives the same text, compact and indented; the
// caller's buffer is sized first, with no allocation.
TEST_F(Json, EveryEntryPointWritesTheSameText) {
    pz_variant_t *v = long_value();
    const std::string path = ::testing::TempDir() + "pz_json_stream_test";
    for (const unsigned flags : {0u, unsigned{PZ_JSON_INDENT}}) {
        const std::string text = taken(pz_variant_to_json(v, flags));
        ASSERT_GT(text.size(), 3 * 4096u);  // several of the callback's chunks

        hal_fail_nth(1, 1);  // every allocation fails from here
        EXPECT_EQ(pz_variant_to_json_buf(v, nullptr, 0, flags), text.size());
        std::vector<char> buf(text.size() + 1, 'x');
        EXPECT_EQ(pz_variant_to_json_buf(v, buf.data(), text.size(), flags), text.size());
        EXPECT_EQ(std::string(buf.data()), text.substr(0, text.size() - 1)) << "as much as fits, terminated";
        EXPECT_EQ(pz_variant_to_json_buf(v, buf.data(), buf.size(), flags), text.size());
        EXPECT_EQ(std::string(buf.data()), text);
        hal_fail_nth(0, 0);

        gathered g;
        EXPECT_TRUE(pz_variant_to_json_callback(v, gathered::take, &g, flags));
        EXPECT_EQ(g.text, text);
        EXPECT_GE(g.chunks, 3);

        FILE *stream = std::fopen(path.c_str(), "wb");
        ASSERT_TRUE(pz_variant_write_stream(v, stream, PZ_TEXT_JSON, flags));
        std::fclose(stream);
        EXPECT_EQ(slurp(path), text + "\n");
    }
    std::remove(path.c_str());

    gathered stopped{"", 0, 2};
    EXPECT_FALSE(pz_variant_to_json_callback(v, gathered::take, &stopped, 0));
    EXPECT_EQ(stopped.chunks, 2) << "no chunk after the callback said stop";
    pz_variant_unref(v);
}

// At every size of the caller's buffer, across numbers, escapes and hex
// written in place: the full length, and as much of the text as fits.
TEST_F(Json, TheCallersBufferHoldsAsMuchAsFitsAtEverySize) {
    pz_variant_t *v = pz_variant_from_json(R"({"n":[-9223372036854775808,0.1,1e999],"s":"\u0001\"\\x"})", nullptr);
    const uint8_t bytes[] = {0x00, 0xff, 0x10};
    put_new(v, "b", vstr_buf_new(bytes, sizeof bytes));
    const std::string text = taken(pz_variant_to_json(v, 0));
    ASSERT_EQ(text, R"({"n":[-9223372036854775808,0.1,1e999],"s":"\u0001\"\\x","b":"00ff10"})");
    for (size_t size = 0; size <= text.size() + 1; ++size) {
        std::vector<char> buf(size + 1, 'x');
        ASSERT_EQ(pz_variant_to_json_buf(v, size > 0 ? buf.data() : nullptr, size, 0), text.size()) << size;
        if (size > 0) {
            EXPECT_EQ(std::string(buf.data()), text.substr(0, std::min(text.size(), size - 1))) << size;
        }
        EXPECT_EQ(buf[size], 'x') << "nothing past the buffer";
    }
    pz_variant_unref(v);
}

// A value that cannot be written gives nothing through any entry point.
TEST_F(Json, RefusedValuesGiveNothingAnywhere) {
    pz_variant_t *loop = pz_variant_array_new();
    pz_variant_array_append(loop, loop);
    pz_variant_t *deep = chain(PZ_VARIANT_MAX_DEPTH + 1, pz_variant_int32_new(1));
    pz_variant_t *ptr = pz_variant_ptr_new(&loop);
    for (const pz_variant_t *v : {loop, deep, ptr, static_cast<pz_variant_t *>(nullptr)}) {
        const unsigned flags = PZ_JSON_REFUSE_POINTERS;
        EXPECT_EQ(taken(pz_variant_to_json(v, flags)), "NULL");
        char buf[16] = "x";
        EXPECT_EQ(pz_variant_to_json_buf(v, buf, sizeof buf, flags), 0u);
        EXPECT_STREQ(buf, "");
        gathered g;
        EXPECT_FALSE(pz_variant_to_json_callback(v, gathered::take, &g, flags));
    }
    EXPECT_EQ(taken(pz_variant_to_json(ptr, 0)), "null");
    pz_variant_array_remove(loop, 0);
    for (pz_variant_t *v : {loop, deep, ptr}) pz_variant_unref(v);
}

// The indented layout: a line per element and member, two spaces a level,
// ": " after a name, empty containers as [] and {}.
TEST_F(Json, IndentedLayout) {
    pz_variant_t *v = pz_variant_from_json(R"({"a":[1,[],{}],"b":{"c":"x"},"d":[[null]]})", nullptr);
    EXPECT_EQ(taken(pz_variant_to_json(v, PZ_JSON_INDENT)),
              "{\n  \"a\": [\n    1,\n    [],\n    {}\n  ],\n  \"b\": {\n    \"c\": \"x\"\n  },\n"
              "  \"d\": [\n    [\n      null\n    ]\n  ]\n}");
    pz_variant_unref(v);
}

// A string or key that is not UTF-8 never makes invalid JSON: refused by
// every entry point, or each bad byte escaped on request.
TEST_F(Json, TextThatIsNotUtf8IsRefusedOrEscapedByteByByte) {
    const struct {
        const char *bytes;
        const char *escaped;
    } cases[] = {
        {"a\xff" "b", R"("a\u00ffb")"},
        {"\xe2\x82", R"("\u00e2\u0082")"},                  // cut short
        {"\xc0\xaf\"", R"("\u00c0\u00af\"")"},             // overlong
        {"\xed\xa0\x80", R"("\u00ed\u00a0\u0080")"},       // a surrogate
        {"\xf4\x90\x80\x80", R"("\u00f4\u0090\u0080\u0080")"},  // past U+10FFFF
        {"\x80\xe2\x82\xac", "\"\\u0080\xe2\x82\xac\""},  // a stray byte, then a good euro sign
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.escaped);
        pz_variant_t *s = pz_variant_str_new(c.bytes);
        pz_variant_t *keyed = pz_variant_dict_new();
        put_new(keyed, c.bytes, pz_variant_int32_new(1));
        for (pz_variant_t *v : {s, keyed}) {
            EXPECT_EQ(taken(pz_variant_to_json(v, 0)), "NULL");
            char buf[64] = "x";
            EXPECT_EQ(pz_variant_to_json_buf(v, buf, sizeof buf, 0), 0u);
            EXPECT_STREQ(buf, "");
            gathered g;
            EXPECT_FALSE(pz_variant_to_json_callback(v, gathered::take, &g, PZ_JSON_INDENT));
        }
        EXPECT_EQ(taken(pz_variant_to_json(s, PZ_JSON_ESCAPE_INVALID)), c.escaped);
        EXPECT_EQ(taken(pz_variant_to_json(keyed, PZ_JSON_ESCAPE_INVALID)), "{" + std::string(c.escaped) + ":1}");
        for (pz_variant_t *v : {s, keyed}) pz_variant_unref(v);
    }
    pz_variant_t *good = pz_variant_str_new("\xf0\x9f\x98\x80 \xc3\xa9 \x7f");
    EXPECT_EQ(taken(pz_variant_to_json(good, 0)), "\"\xf0\x9f\x98\x80 \xc3\xa9 \x7f\"");
    pz_variant_unref(good);
}

// Both formats through a file and a stream; what cannot be read says why.
TEST_F(Json, FilesAndStreamsInBothFormats) {
    const std::string path = ::testing::TempDir() + "pz_text_file_test";
    pz_variant_t *v = pz_variant_from_json(R"({"n":18446744073709551615,"s":"a\u0000b","l":[1.5,null]})", nullptr);
    pz_read_error_t error;
    for (const pz_text_format format : {PZ_TEXT_DUMP, PZ_TEXT_JSON}) {
        ASSERT_TRUE(pz_variant_write_file(v, path.c_str(), format, PZ_JSON_INDENT));
        pz_variant_t *back = pz_variant_read_file(path.c_str(), format, &error);
        EXPECT_TRUE(pz_variant_equal(v, back)) << error.reason;
        pz_variant_unref(back);
        FILE *stream = std::fopen(path.c_str(), "rb");
        ASSERT_NE(stream, nullptr);
        back = pz_variant_read_stream(stream, format, nullptr);
        EXPECT_TRUE(pz_variant_equal(v, back));
        EXPECT_FALSE(pz_variant_write_stream(v, stream, format, 0)) << "a stream open for reading";
        std::fclose(stream);
        pz_variant_unref(back);
    }
    // A value that cannot be written leaves the file as it was.
    pz_variant_t *p = pz_variant_ptr_new(&error);
    EXPECT_FALSE(pz_variant_write_file(p, path.c_str(), PZ_TEXT_JSON, PZ_JSON_REFUSE_POINTERS));
    pz_variant_unref(p);
    pz_variant_t *back = pz_variant_read_file(path.c_str(), PZ_TEXT_JSON, nullptr);
    EXPECT_TRUE(pz_variant_equal(v, back));
    pz_variant_unref(back);

    FILE *stream = std::fopen(path.c_str(), "wb");
    std::fwrite("[1,\0 2]", 1, 7, stream);
    std::fclose(stream);
    EXPECT_EQ(pz_variant_read_file(path.c_str(), PZ_TEXT_JSON, &error), nullptr);
    EXPECT_STREQ(error.reason, "NUL byte in the text");
    EXPECT_EQ(error.offset, 3u);
    std::remove(path.c_str());
    EXPECT_EQ(pz_variant_read_file(path.c_str(), PZ_TEXT_DUMP, &error), nullptr);
    EXPECT_STREQ(error.reason, "cannot open file");
    EXPECT_FALSE(pz_variant_write_file(v, (path + "/no/such/dir").c_str(), PZ_TEXT_DUMP, 0));
    pz_variant_unref(v);
}

}  // namespace
