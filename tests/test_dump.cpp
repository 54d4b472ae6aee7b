// The typed dump: the text written for each kind, the buffer variant, the
// nesting limit, reading the texts of dump_cases/, malformed input and
// allocation failure.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

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

void check_case_file(const std::string &name) {
    const std::string path = std::string(PZ_DUMP_CASES_DIR) + "/" + name;
    std::ifstream in(path);
    ASSERT_TRUE(in) << path;
    std::string line;
    int cases = 0;
    for (int number = 1; std::getline(in, line); ++number) {
        if (line.empty() || line[0] == '#') continue;
        const size_t tab = line.find('\t');
        ASSERT_NE(tab, std::string::npos) << path << ":" << number << " has no tab";
        EXPECT_EQ(reread(line.substr(0, tab).c_str()), line.substr(tab + 1))
            << path << ":" << number << ": " << line.substr(0, tab);
        ++cases;
    }
    EXPECT_GT(cases, 20);
}

TEST_F(Dump, ReadCasesComeBackAsListed) { check_case_file("read_cases.txt"); }

TEST_F(Dump, MalformedCasesGiveNothingOrWhatCouldBeRead) { check_case_file("bad_cases.txt"); }

pz_variant_t *null_value() {
    pz_variant_t *v = pz_variant_int8_new(0);
    pz_variant_clear(v);
    return v;
}

TEST_F(Dump, WritesOneTypedMemberPerValue) {
    const uint8_t raw[] = {0x00, 0xab, 0x7f};
    pz_variant_t *with_hole = pz_variant_array_new();
    pz_variant_array_append(with_hole, nullptr);
    pz_variant_t *one = pz_variant_int8_new(1);
    pz_variant_array_append(with_hole, one);
    pz_variant_unref(one);
    const struct {
        pz_variant_t *v;
        const char *text;
    } cases[] = {
        {null_value(), R"({"null":null})"},
        {pz_variant_bool_new(true), R"({"bool":true})"},
        {pz_variant_int8_new(-1), R"({"int8":-1})"},
        {pz_variant_uint8_new(255), R"({"uint8":255})"},
        {pz_variant_int16_new(INT16_MIN), R"({"int16":-32768})"},
        {pz_variant_uint16_new(UINT16_MAX), R"({"uint16":65535})"},
        {pz_variant_int32_new(INT32_MIN), R"({"int32":-2147483648})"},
        {pz_variant_uint32_new(UINT32_MAX), R"({"uint32":4294967295})"},
        {pz_variant_int64_new(INT64_MIN), R"({"int64":-9223372036854775808})"},
        {pz_variant_uint64_new(UINT64_MAX), R"({"uint64":18446744073709551615})"},
        {pz_variant_float_new(0.5f), R"({"float":0.5})"},
        {pz_variant_double_new(-0.0), R"({"double":-0})"},
        {pz_variant_double_new(0.1), R"({"double":0.1})"},
        {pz_variant_double_new(INFINITY), R"({"double":1e999})"},
        {pz_variant_float_new(-INFINITY), R"({"float":-1e999})"},
        {pz_variant_double_new(NAN), R"({"double":null})"},
        {pz_variant_str_new(""), R"({"string":""})"},
        {pz_variant_str_new("a\"\\\n"), R"({"string":"a\"\\\n"})"},
        {vstr_buf_new(raw, sizeof raw), R"({"bytes":"00ab7f"})"},
        {vstr_buf_new(nullptr, 0), R"({"bytes":""})"},
        {pz_variant_array_new(), R"({"array":[]})"},
        {pz_variant_dict_new(), R"({"dict":{}})"},
        {with_hole, R"({"array":[{},{"int8":1}]})"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(dump_text(c.v), c.text);
        pz_variant_unref(c.v);
    }
}

TEST_F(Dump, PointerKindsWriteTheirAddress) {
    static int target;
    char address[32];
    std::snprintf(address, sizeof address, "%p", static_cast<void *>(&target));
    pz_variant_t *kinds[] = {pz_variant_ptr_new(&target), pz_variant_autoptr_new(&target, nullptr),
                             pz_variant_sharedptr_new(&target, nullptr, nullptr)};
    const char *names[] = {"ptr", "autoptr", "sharedptr"};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(dump_text(kinds[i]), std::string("{\"") + names[i] + "\":\"" + address + "\"}");
        pz_variant_unref(kinds[i]);
    }
}

TEST_F(Dump, ResultIsOneHalBlock) {
    pz_variant_t *v = pz_variant_str_new("x");
    const long before = hal_live_blocks();
    char *text = pz_variant_dump(v);
    EXPECT_EQ(hal_live_blocks(), before + 1);
    HAL_Free(text);
    EXPECT_EQ(pz_variant_dump(nullptr), nullptr);
    pz_variant_unref(v);
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
    EXPECT_EQ(pz_variant_dump_buf(v, nullptr, 0), static_cast<int32_t>(n));
    EXPECT_EQ(pz_variant_dump_buf(v, nullptr, 3), static_cast<int32_t>(n));
    std::memset(buf, '#', sizeof buf);
    EXPECT_EQ(pz_variant_dump_buf(nullptr, buf, sizeof buf), -1);
    EXPECT_EQ(buf[0], '#');
    pz_variant_unref(v);
}

std::string repeat(const std::string &s, int times) {
    std::string out;
    for (int i = 0; i < times; ++i) out += s;
    return out;
}

// The dump of arrays and dictionaries alternating around a uint64,
// `levels` deep counting the scalar.
std::string nested_text(int levels) {
    std::string open, close;
    for (int i = 1; i < levels; ++i) {
        open += i % 2 != 0 ? R"({"array":[)" : R"({"dict":{"k":)";
        close = (i % 2 != 0 ? "]}" : "}}") + close;
    }
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

    pz_variant_t *loop = pz_variant_array_new();
    pz_variant_array_append(loop, loop);
    EXPECT_EQ(pz_variant_dump(loop), nullptr);
    pz_variant_array_remove(loop, 0);
    pz_variant_unref(loop);
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
    EXPECT_EQ(reread(repeat("[", 100000).c_str()), "NULL");
    EXPECT_EQ(reread(repeat(R"({"dict":{"k":)", 100000).c_str()), "NULL");
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
    pz_variant_t *list = pz_variant_array_new();
    pz_variant_t *top = pz_variant_dict_new();
    for (size_t i = 0; i < std::size(parts); ++i) {
        pz_variant_array_append(list, parts[i]);
        pz_variant_dict_put(top, std::to_string(i).c_str(), parts[i]);
        pz_variant_unref(parts[i]);
    }
    pz_variant_dict_put(top, "list", list);
    pz_variant_unref(list);
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
    const std::string full = dump_text(v);
    EXPECT_GT(sweep_alloc_failures([&] {
                  char *text = pz_variant_dump(v);
                  if (text != nullptr) {
                      EXPECT_LE(std::strlen(text), full.size());
                  }
                  HAL_Free(text);
              }),
              0);
    EXPECT_GT(sweep_alloc_failures([&] {
                  char buf[512];
                  const int32_t len = pz_variant_dump_buf(v, buf, sizeof buf);
                  EXPECT_LE(len, static_cast<int32_t>(full.size()));
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

TEST_F(Dump, ThreadsReadingAtOnceAgree) {
    pz_variant_t *v = busy_value(false);
    const std::string full = dump_text(v);
    pz_variant_unref(v);
    std::vector<std::thread> readers;
    std::vector<int> mismatches(4, 0);
    for (int t = 0; t < 4; ++t) {
        readers.emplace_back([&, t] {
            for (int i = 0; i < 200; ++i) mismatches[t] += reread(full.c_str()) != full;
        });
    }
    for (std::thread &r : readers) r.join();
    EXPECT_EQ(mismatches, std::vector<int>(4, 0));
}

}  // namespace
