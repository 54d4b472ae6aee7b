// Plain JSON written from every kind (json_write_cases.txt), files and
// streams. The indented layout is checked through the C++ stream output,
// the reader's cases are texts in json_cases/.
#include <cstdio>

#include "pz_test.h"

namespace {

using Json = LeakCheckedTest;


TEST_F(Json, CasesWrittenAndReadBackAsJson) {
    for_each_case("json_write_cases.txt", [&](const std::vector<std::string> &f) {
        ASSERT_EQ(f.size(), 2u);
        pz_variant_t *v = pz_variant_from_dump(f[0].c_str());
        EXPECT_EQ(expect_round_trip(v, json_read, json_write, false), f[1]);
        pz_variant_unref(v);
    });
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
