// Plain JSON written from every kind and with every flag
// (json_write_cases.txt) through each entry point, long texts in chunks, and
// strings that are not UTF-8. The reader's cases are texts in json_cases/;
// test_writers.cpp puts the writers side by side.
#include <cstdio>
#include <map>

#include "pz_test.h"
#include "writers.h"

namespace {

using Json = LeakCheckedTest;


// The writer's flags as the case file names them, joined by "|".
unsigned flags_named(const std::string &names) {
    static const std::map<std::string, unsigned> known = {
        {"indent", PZ_JSON_INDENT}, {"tabs", PZ_JSON_INDENT_TABS}, {"sort_keys", PZ_JSON_SORT_KEYS},
        {"canonical", PZ_JSON_CANONICAL}, {"nonfinite_literals", PZ_JSON_NONFINITE_LITERALS}};
    unsigned flags = 0;
    std::istringstream split(names);
    for (std::string name; std::getline(split, name, '|');) {
        const auto found = known.find(name);
        if (name.rfind("indent_width(", 0) == 0) {
            flags |= PZ_JSON_INDENT_WIDTH(std::stoi(name.substr(13)));
        } else if (found != known.end()) {
            flags |= found->second;
        } else {
            ADD_FAILURE() << "no flag " << name;
        }
    }
    return flags;
}

// Each case through every entry point; a text written reads back (the
// literals under their reading flag) to a value that writes it again.
TEST_F(Json, CasesWrittenAndReadBackAsJson) {
    for_each_case("json_write_cases.txt", [&](const std::vector<std::string> &f) {
        ASSERT_TRUE(f.size() == 2u || f.size() == 3u);
        const unsigned flags = f.size() == 3u ? flags_named(f[2]) : 0;
        std::string want = f[1];
        if (flags & PZ_JSON_INDENT) {
            pz_variant_t *text = json_read(want.c_str());
            ASSERT_TRUE(text != nullptr && text->vt == vtype_string) << "a layout's text is a JSON string";
            want.assign(text->str_val, text->len);
            pz_variant_unref(text);
        }
        pz_variant_t *v = case_value(f[0]);
        EXPECT_EQ(written_or_null(writer::json, v, flags), want);
        if (want != "NULL") {
            const auto read = [flags](const char *text) {
                const unsigned literals = flags & PZ_JSON_NONFINITE_LITERALS ? PZ_JSON_READ_NONFINITE : 0;
                return pz_variant_from_json_opts(text, std::strlen(text), literals, nullptr);
            };
            expect_round_trip(v, read, [flags](const pz_variant_t *w) { return pz_variant_to_json(w, flags); }, false);
        }
        pz_variant_unref(v);
    });
}

// A value long enough that a writer's sink hands it on in several chunks,
// with every kind of container, empty ones and texts to escape.
pz_variant_t *long_value() {
    pz_variant_t *v = pz_variant_from_json(R"({"a":[],"b":{},"c":[1,{"d":"e\né"}]})", nullptr);
    pz_variant_t *list = pz_variant_array_new();
    for (int i = 0; i < 2000; ++i) append_new(list, pz_variant_double_new(i / 7.0));
    put_new(v, "list", list);
    return v;
}

// A long text goes to a stream in chunks, as the writers write it (the
// sink's own tests hand chunks to a callback and stop it); the caller's
// buffer takes it with no allocation.
TEST_F(Json, ALongTextInChunksToAStreamAndABuffer) {
    pz_variant_t *v = long_value();
    const std::string path = ::testing::TempDir() + "pz_json_stream_test";
    for (const unsigned flags : {0u, unsigned{PZ_JSON_INDENT}}) {
        const std::string text = written(writer::json, v, flags).value_or("");
        ASSERT_GT(text.size(), 3 * 4096u);  // several of the callback's chunks
        std::vector<char> buf(text.size() + 1, 'x');
        hal_fail_nth(1, 1);  // every allocation fails from here
        EXPECT_EQ(pz_variant_to_json_buf(v, buf.data(), buf.size(), flags), text.size());
        hal_fail_nth(0, 0);
        EXPECT_EQ(std::string(buf.data()), text);
        FILE *stream = std::fopen(path.c_str(), "wb");
        ASSERT_TRUE(pz_variant_write_stream(v, stream, PZ_TEXT_JSON, flags));
        std::fclose(stream);
        EXPECT_EQ(slurp(path), text + "\n");
    }
    std::remove(path.c_str());
    pz_variant_unref(v);
}

// A string or key that is not UTF-8 never makes invalid JSON: refused by
// every entry point, or each bad byte escaped on request; a good text is
// written as it is either way.
TEST_F(Json, TextThatIsNotUtf8IsRefusedOrEscapedByteByByte) {
    for_each_case("utf8_cases.txt", [](const std::vector<std::string> &f) {
        if (f.size() < 3) return;
        const std::vector<uint8_t> bytes = bytes_of(f[0]);
        const std::string text(bytes.begin(), bytes.end());
        const bool valid = std::stoul(f[1]) == text.size();
        pz_variant_t *s = vstr_sized_new(text.data(), static_cast<uint32_t>(text.size()));
        pz_variant_t *keyed = pz_variant_dict_new();
        put_new(keyed, text.c_str(), pz_variant_int32_new(1));
        for (pz_variant_t *v : {s, keyed}) {
            pz_status why;
            const std::optional<std::string> out = written(writer::json, v, PZ_JSON_INDENT, &why);
            EXPECT_EQ(out == std::nullopt, !valid);
            EXPECT_EQ(why, valid ? PZ_STATUS_OK : PZ_STATUS_INVALID_UTF8);
        }
        EXPECT_TRUE(!valid || written(writer::json, s) == f[2]) << "a good text as it is";
        EXPECT_EQ(written(writer::json, s, PZ_JSON_ESCAPE_INVALID), f[2]);
        EXPECT_EQ(written(writer::json, keyed, PZ_JSON_ESCAPE_INVALID), "{" + f[2] + ":1}");
        for (pz_variant_t *v : {s, keyed}) pz_variant_unref(v);
    });
}

}  // namespace
