// One fault, one code, whichever reader meets it: plain JSON read whole or
// from the front, the typed dump, MessagePack read both ways, and the C++
// readers, whose exceptions carry all the C reader says. (The event readers
// refuse as the value readers do: test_events.cpp.)

#include "pz_test.h"
#include "pzvariant/pz_variant.hpp"

namespace {

using ReadFaults = LeakCheckedTest;

// An input for each form; an empty one where the form cannot hold the fault.
struct same_fault {
    const char *name;
    pz_read_code code;
    std::string json, dump, msgpack_hex;
};

std::string repeated(const std::string &s, int n) {
    std::string out;
    for (int i = 0; i < n; ++i) out += s;
    return out;
}

std::vector<same_fault> faults() {
    const int deep = PZ_VARIANT_MAX_DEPTH;  // containers around a value: one too many
    return {
        {"cut short", PZ_READ_UNEXPECTED_END, "[1,", R"({"array":[{"int8":1},)", "92c0"},
        {"cut inside a string", PZ_READ_UNEXPECTED_END, R"(["ab)", R"({"string":"ab)", "a3ab"},
        {"an empty key", PZ_READ_INVALID_KEY, R"({"":1})", "", "81a0c0"},
        {"a NUL in a key", PZ_READ_INVALID_KEY, R"({"a\u0000":1})", "", "81a26100c0"},
        {"a key of another kind", PZ_READ_INVALID_KEY, "", "", "8101c0"},
        {"too deep", PZ_READ_TOO_DEEP, repeated("[", deep) + "1" + repeated("]", deep),
         repeated(R"({"array":[)", deep) + R"({"int8":1})" + repeated("]}", deep), repeated("91", deep) + "01"},
        {"no value", PZ_READ_NO_VALUE, " ", " ", ""},
        {"a value after the value", PZ_READ_TEXT_AFTER_VALUE, "1 2", "", "0102"},
        {"too large", PZ_READ_TOO_LARGE, "", "", "dbffffffff"},
        {"a bad escape on line 2", PZ_READ_INVALID_ESCAPE, "[1,\n \"a\\q\"]", "", ""},
    };
}

// The code each reader gives for the input in its form, named.
using coded = std::vector<std::pair<std::string, pz_read_code>>;

// What a reader said: the reason and the place.
std::string said(const char *reason, size_t offset, size_t line, size_t column) {
    return std::string(reason) + " at " + std::to_string(offset) + " (" + std::to_string(line) + ":" +
           std::to_string(column) + ")";
}

// The C++ reader's code, from the exception it throws, which says what the
// C reader said in `c`.
template <class Read>
pz_read_code thrown(Read read, const pz_read_error_t &c) {
    try {
        read();
    } catch (const pz::parse_error &e) {
        EXPECT_EQ(said(e.what(), e.offset(), e.line(), e.column()), said(c.reason, c.offset, c.line, c.column));
        return e.code();
    }
    return PZ_READ_OK;
}

void text_codes(coded &out, const same_fault &f) {
    const std::string &json = f.json, &dump = f.dump;
    pz_read_error_t error, front_error;
    size_t used = 0;
    if (!json.empty()) {
        EXPECT_EQ(pz_variant_from_json_n(json.data(), json.size(), &error), nullptr);
        out.emplace_back("json", error.code);
        // From the front, a value followed by another is no fault.
        pz_variant_t *front = pz_variant_from_json_prefix(json.data(), json.size(), &used, &front_error);
        out.emplace_back("json prefix", front != nullptr ? PZ_READ_TEXT_AFTER_VALUE : front_error.code);
        pz_variant_unref(front);
        out.emplace_back("pz::from_json", thrown([&] { pz::from_json(json); }, error));
    }
    if (!dump.empty()) {
        EXPECT_EQ(pz_variant_from_dump_ex(dump.c_str(), &error), nullptr);
        out.emplace_back("dump", error.code);
        out.emplace_back("pz::from_dump", thrown([&] { pz::from_dump(dump); }, error));
    }
}

void msgpack_codes(coded &out, const same_fault &f) {
    pz_read_error_t error, front_error;
    size_t used = 0;
    const std::vector<uint8_t> bytes = bytes_of(f.msgpack_hex);
    EXPECT_EQ(pz_variant_from_msgpack(bytes.data(), bytes.size(), &error), nullptr);
    out.emplace_back("msgpack", error.code);
    pz_variant_t *front = pz_variant_from_msgpack_prefix(bytes.data(), bytes.size(), &used, &front_error);
    out.emplace_back("msgpack prefix", front != nullptr ? PZ_READ_TEXT_AFTER_VALUE : front_error.code);
    pz_variant_unref(front);
    out.emplace_back("pz::from_msgpack", thrown([&] { pz::from_msgpack(bytes.data(), bytes.size()); }, error));
}

TEST_F(ReadFaults, EveryReaderGivesTheSameCodeForTheSameFault) {
    for (const same_fault &f : faults()) {
        SCOPED_TRACE(f.name);
        coded codes;
        text_codes(codes, f);
        if (!f.msgpack_hex.empty() || f.code == PZ_READ_NO_VALUE) msgpack_codes(codes, f);
        for (const auto &[reader, code] : codes) EXPECT_EQ(code, f.code) << reader;
    }
}
// Out of memory at the first block, and a null input.
TEST_F(ReadFaults, MemoryAndMissingInputAlike) {
    const uint8_t one[] = {0x91, 0x01};
    pz_read_error_t e[5];
    size_t used = 0;
    hal_fail_nth(1, 1);
    pz_variant_from_json("[1]", &e[0]);
    pz_variant_from_json_prefix("[1]", 3, &used, &e[1]);
    pz_variant_from_dump_ex(R"({"array":[{"int8":1}]})", &e[2]);
    pz_variant_from_msgpack(one, sizeof one, &e[3]);
    pz_variant_from_msgpack_prefix(one, sizeof one, &used, &e[4]);
    hal_fail_nth(0, 0);
    for (const pz_read_error_t &each : e) EXPECT_EQ(each.code, PZ_READ_OUT_OF_MEMORY) << each.reason;

    pz_variant_from_json(nullptr, &e[0]);
    pz_variant_from_json_prefix(nullptr, 3, &used, &e[1]);
    pz_variant_from_dump_ex(nullptr, &e[2]);
    pz_variant_from_msgpack(nullptr, 1, &e[3]);
    pz_variant_from_msgpack_prefix(nullptr, 1, &used, &e[4]);
    for (const pz_read_error_t &each : e) EXPECT_EQ(each.code, PZ_READ_NO_TEXT) << each.reason;
}

}  // namespace
