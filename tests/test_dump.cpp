// The typed dump: the text written for each kind, the buffer variant, the
// nesting limit, reading the texts of dump_cases/, malformed input and
// allocation failure.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "pz_test.h"

namespace {

using Dump = LeakCheckedTest;

// The dump as a string, "NULL" when there is none.
std::string dump_text(const pz_variant_t *v) {
    char *text = pz_variant_dump(v);
    std::string out = text != nullptr ? text : "NULL";
    HAL_Free(text);
    return out;
}

// What reading `input` and writing the value again gives.
std::string reread(const char *input) {
    pz_variant_t *v = pz_variant_from_dump(input);
    std::string out = v != nullptr ? dump_text(v) : "NULL";
    pz_variant_unref(v);
    return out;
}

// Each line of the files: a text, a tab, what reading it and writing the
// value again gives.
TEST_F(Dump, CaseFilesComeBackAsListed) {
    for (const char *name : {"read_cases.txt", "bad_cases.txt"}) {
        int cases = 0;
        for_each_case(name, [&](const std::vector<std::string> &f) {
            ASSERT_EQ(f.size(), 2u);
            EXPECT_EQ(reread(f[0].c_str()), f[1]) << f[0];
            ++cases;
        });
        EXPECT_GT(cases, 20) << name;
    }
}

// What no text reads back to: NaN, an empty slot, the null kind made by
// clearing, and the pointer kinds, written as their address.
TEST_F(Dump, ValuesNoTextReadsBackAreWrittenToo) {
    static int target;
    char address[32];
    std::snprintf(address, sizeof address, "%p", static_cast<void *>(&target));
    pz_variant_t *with_hole = pz_variant_array_new();
    pz_variant_array_append(with_hole, nullptr);
    append_new(with_hole, pz_variant_float_new(NAN));
    pz_variant_t *cleared = pz_variant_str_new("x");
    pz_variant_clear(cleared);
    const std::string a = address;
    const struct {
        pz_variant_t *v;
        std::string text;
    } cases[] = {
        {with_hole, R"({"array":[{},{"float":null}]})"},
        {cleared, R"({"null":null})"},
        {pz_variant_ptr_new(&target), R"({"ptr":")" + a + "\"}"},
        {pz_variant_autoptr_new(&target, nullptr), R"({"autoptr":")" + a + "\"}"},
        {pz_variant_sharedptr_new(&target, nullptr, nullptr), R"({"sharedptr":")" + a + "\"}"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(dump_text(c.v), c.text);
        pz_variant_unref(c.v);
    }
    EXPECT_EQ(pz_variant_dump(nullptr), nullptr);
}

// Every max_len from 0 to one past the need: the dump fits exactly when
// there is room for its terminator; otherwise the message, cut to fit and
// terminated; never a byte past max_len.
TEST_F(Dump, BufferGetsTheDumpOrTheMessageAndNothingPastMaxLen) {
    const std::string message = "not enough buffer";
    pz_variant_t *v = pz_variant_str_new("hello world");
    const std::string text = R"({"string":"hello world"})";
    const auto n = static_cast<uint32_t>(text.size());
    ASSERT_GT(n, message.size());
    char buf[64];
    for (uint32_t max_len = 0; max_len <= n + 1; ++max_len) {
        std::memset(buf, '#', sizeof buf);
        const int32_t result = pz_variant_dump_buf(v, buf, max_len);
        if (max_len > n) {
            EXPECT_EQ(result, static_cast<int32_t>(n));
            EXPECT_EQ(std::string(buf), text);
        } else {
            EXPECT_EQ(result, -2) << max_len;
            if (max_len > 0) {
                EXPECT_EQ(std::string(buf), message.substr(0, max_len - 1)) << max_len;
            }
        }
        EXPECT_EQ(std::string(buf + max_len, sizeof buf - max_len), std::string(sizeof buf - max_len, '#'))
            << "written past max_len " << max_len;
    }
    EXPECT_EQ(pz_variant_dump_buf(v, nullptr, 3), static_cast<int32_t>(n));
    std::memset(buf, '#', sizeof buf);
    EXPECT_EQ(pz_variant_dump_buf(nullptr, buf, sizeof buf), -1);
    EXPECT_EQ(buf[0], '#');
    pz_variant_unref(v);
}

// The dump of arrays and dictionaries alternating around a uint64,
// `levels` deep counting the scalar.
std::string nested_text(int levels) {
    std::string open, close;
    for (int i = 1; i < levels; ++i) open += i % 2 != 0 ? R"({"array":[)" : R"({"dict":{"k":)";
    for (int i = levels - 1; i >= 1; --i) close += i % 2 != 0 ? "]}" : "}}";  // appending: linear
    return open + R"({"uint64":18446744073709551615})" + close;
}

TEST_F(Dump, DeepestValueRoundTripsAndDeeperOnesAreRefused) {
    const std::string text = nested_text(PZ_VARIANT_MAX_DEPTH);
    pz_variant_t *deepest = pz_variant_from_dump(text.c_str());
    ASSERT_NE(deepest, nullptr) << "the parser must accept the deepest dump";
    EXPECT_EQ(dump_text(deepest), text);

    pz_variant_t *too_deep = pz_variant_array_new();
    pz_variant_array_append(too_deep, deepest);
    EXPECT_EQ(pz_variant_dump(too_deep), nullptr);
    char buf[32];
    EXPECT_EQ(pz_variant_dump_buf(too_deep, buf, sizeof buf), -2);
    EXPECT_STREQ(buf, "not enough buffer");
    EXPECT_EQ(pz_variant_dump_buf(too_deep, nullptr, 0), -2);
    EXPECT_EQ(reread(nested_text(PZ_VARIANT_MAX_DEPTH + 1).c_str()), "NULL");
    pz_variant_unref(too_deep);
    pz_variant_unref(deepest);
}

TEST_F(Dump, ReaderSurvivesOddTexts) {
    EXPECT_EQ(pz_variant_from_dump(nullptr), nullptr);
    EXPECT_EQ(pz_variant_from_dump(""), nullptr);
    EXPECT_EQ(pz_variant_from_dump(" \n"), nullptr);

    // The text ends at the first NUL.
    const char after[] = "{\"int8\":1}\0{\"int8\":2}";
    EXPECT_EQ(reread(after), R"({"int8":1})");
    const char inside[] = "{\"int\0\":1}";
    EXPECT_EQ(reread(inside), "NULL");

    // Far past the parser's nesting limit, closed or not.
    std::string open_dicts;
    for (int i = 0; i < 100000; ++i) open_dicts += R"({"dict":{"k":)";
    EXPECT_EQ(reread(std::string(100000, '[').c_str()), "NULL");
    EXPECT_EQ(reread(open_dicts.c_str()), "NULL");
    EXPECT_EQ(reread(nested_text(100000).c_str()), "NULL");
}

// A value whose writing allocates from the platform layer (hex and, with a
// pointer, address texts) and whose reading does too (records, copies,
// storage, keys). Pointers are not read back.
pz_variant_t *busy_value(bool with_pointer) {
    const uint8_t raw[] = {1, 2, 3};
    pz_variant_t *parts[] = {vstr_buf_new(raw, sizeof raw), pz_variant_str_new("text"),
                             pz_variant_int64_new(INT64_MIN), pz_variant_dict_new(),
                             with_pointer ? pz_variant_ptr_new(nullptr) : pz_variant_bool_new(true)};
    pz_variant_t *list = pz_variant_array_new(), *top = pz_variant_dict_new();
    for (size_t i = 0; i < std::size(parts); ++i) {
        pz_variant_array_append(list, parts[i]);
        put_new(top, std::to_string(i).c_str(), parts[i]);
    }
    put_new(top, "list", list);
    return top;
}

// A top-level container is written one element at a time; the result must
// be the text its elements give on their own, joined as a container would
// be: commas between, escaped keys, nested containers whole.
TEST_F(Dump, TopLevelContainersJoinTheirElementsDumps) {
    pz_variant_t *inner = pz_variant_dict_new();
    pz_variant_t *n = pz_variant_int64_new(INT64_MIN);
    pz_variant_dict_put(inner, "tab\there", n);
    pz_variant_unref(n);
    pz_variant_t *elements[] = {pz_variant_str_new("quote \" back \\ bell \a nl \n"),
                                pz_variant_double_new(0.1), pz_variant_uint64_new(UINT64_MAX),
                                pz_variant_bool_new(false), pz_variant_bool_new(true), inner};
    pz_variant_clear(elements[4]);  // the null kind
    const char *keys[] = {"a", "\"q\"", "\x01ctl", "\xc3\xa9", "e", "nest"};
    pz_variant_t *list = pz_variant_array_new();
    pz_variant_t *dict = pz_variant_dict_new();
    std::string list_text = "{\"array\":[";
    std::string dict_text = "{\"dict\":{";
    for (size_t i = 0; i < std::size(elements); ++i) {
        pz_variant_array_append(list, elements[i]);
        pz_variant_dict_put(dict, keys[i], elements[i]);
        const std::string sep = i == 0 ? "" : ",";
        list_text += sep + dump_text(elements[i]);
        // A key is escaped as a string value is: take it from a string's dump.
        pz_variant_t *key = pz_variant_str_new(keys[i]);
        const std::string key_dump = dump_text(key);  // {"string":"..."}
        pz_variant_unref(key);
        dict_text += sep + key_dump.substr(10, key_dump.size() - 11) + ":" + dump_text(elements[i]);
        pz_variant_unref(elements[i]);
    }
    EXPECT_EQ(dump_text(list), list_text + "]}");
    EXPECT_EQ(dump_text(dict), dict_text + "}}");
    EXPECT_EQ(reread(dump_text(dict).c_str()), dump_text(dict));

    pz_variant_t *empty_list = pz_variant_array_new();
    pz_variant_t *empty_dict = pz_variant_dict_new();
    EXPECT_EQ(dump_text(empty_list), R"({"array":[]})");
    EXPECT_EQ(dump_text(empty_dict), R"({"dict":{}})");
    pz_variant_unref(empty_list);
    pz_variant_unref(empty_dict);
    pz_variant_unref(list);
    pz_variant_unref(dict);
}

TEST_F(Dump, AllocationFailuresLeaveOutPartsAndLeakNothing) {
    pz_variant_t *v = busy_value(true);
    const size_t full = dump_text(v).size();
    EXPECT_GT(sweep_alloc_failures([&] {
                  char *text = pz_variant_dump(v);
                  EXPECT_LE(text != nullptr ? std::strlen(text) : 0, full);
                  HAL_Free(text);
                  char buf[512];
                  EXPECT_LE(pz_variant_dump_buf(v, buf, sizeof buf), static_cast<int32_t>(full));
              }),
              0);
    pz_variant_unref(v);

    v = busy_value(false);
    const std::string readable = dump_text(v);
    EXPECT_GT(sweep_alloc_failures([&] { pz_variant_unref(pz_variant_from_dump(readable.c_str())); }),
              10);
    EXPECT_EQ(reread(readable.c_str()), readable) << "once allocations succeed again";
    pz_variant_unref(v);
}

}  // namespace
