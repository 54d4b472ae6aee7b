// Shared test fixture: every test starts with no allocation set to fail and
// fresh callback counts, and ends by checking that it leaked no block.
#ifndef PZ_TEST_H
#define PZ_TEST_H

#include <gtest/gtest.h>

// Also the standard headers most tests use, so that they need not repeat them.
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "counting_hal.h"
#include "base/pz_memory.h"
#include "containers/arrays.h"
#include "containers/dicts.h"
#include "pzvariant/pz_variant.h"
#include "pzvariant/pz_variant.hpp"
#include "text/dump.h"

// Counts the callbacks of owned and shared pointers; an unref with no ref
// left to give back, which would free a shared object in use, is noted.
struct CallbackLog {
    static inline int dtor_calls = 0, ref_calls = 0, unref_calls = 0;
    static inline void *last_dtor_arg = nullptr, *last_unref_arg = nullptr;
    static inline bool early_unref = false;

    static void reset() {
        dtor_calls = ref_calls = unref_calls = 0;
        last_dtor_arg = last_unref_arg = nullptr;
        early_unref = false;
    }
    static void dtor(void *p) { ++dtor_calls, last_dtor_arg = p; }
    static void *ref(void *p) { return ++ref_calls, p; }
    static void unref(void *p) { early_unref |= ++unref_calls > ref_calls, last_unref_arg = p; }
};

class LeakCheckedTest : public ::testing::Test {
protected:
    void SetUp() override {
        hal_fail_nth(0, 0);
        CallbackLog::reset();
        live_at_start_ = hal_live_blocks();
    }
    void TearDown() override {
        hal_fail_nth(0, 0);
        EXPECT_EQ(hal_live_blocks(), live_at_start_) << "blocks leaked by this test";
    }

private:
    long live_at_start_ = 0;
};

// Runs `op` with the 1st, 2nd, 3rd ... allocation failing until a run
// completes with no failure. After each run `op` must have released all it
// made; a leak fails the test at that failure point. Returns the number of
// failing runs, so that a test can check the operation allocated at all.
template <class Op>
int sweep_alloc_failures(Op op) {
    int failing_runs = 0;
    for (long n = 1;; ++n) {
        const long live_before = hal_live_blocks();
        hal_fail_nth(n, 0);
        const long failed_before = hal_failed_mallocs();
        op();
        const bool failed = hal_failed_mallocs() != failed_before;
        hal_fail_nth(0, 0);
        EXPECT_EQ(hal_live_blocks(), live_before) << "leak when allocation " << n << " fails";
        if (!failed) return failing_runs;
        ++failing_runs;
    }
}

// Calls `check(fields)` for each line of dump_cases/`name` (or of the file
// at an absolute `name`) that is neither blank nor a comment, its fields
// split at tabs, with the line traced. A file that cannot be read, or holds
// no case, fails the test.
template <class Check>
void for_each_case(const std::filesystem::path &name, Check check) {
    const std::string path = (std::filesystem::path(PZ_DUMP_CASES_DIR) / name).string();
    std::ifstream in(path);
    ASSERT_TRUE(in) << path;
    std::string line;
    int cases = 0;
    for (int number = 1; std::getline(in, line); ++number) {
        if (line.empty() || line[0] == '#') continue;
        SCOPED_TRACE(path + ":" + std::to_string(number));
        std::vector<std::string> fields;
        std::istringstream split(line);
        for (std::string field; std::getline(split, field, '\t');) fields.push_back(field);
        ++cases;
        check(fields);
    }
    EXPECT_GT(cases, 0) << path << " holds no case";
}

// The bytes of the file at `path`; a .out file's without its final newline.
inline std::string slurp(const std::filesystem::path &path) {
    std::ifstream in(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (path.extension() == ".out" && !text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

#ifdef PZ_JSON_CASES_DIR
// The .json cases of json_cases/`folder`, in order.
inline std::vector<std::filesystem::path> json_cases(const std::filesystem::path &folder) {
    std::vector<std::filesystem::path> cases;
    for (const auto &entry : std::filesystem::directory_iterator(std::filesystem::path(PZ_JSON_CASES_DIR) / folder)) {
        if (entry.path().extension() == ".json") cases.push_back(entry.path());
    }
    std::sort(cases.begin(), cases.end());
    return cases;
}
#endif

// Store a new value in a container and drop the caller's reference to it.
inline void put_new(pz_variant_t *dict, const char *key, pz_variant_t *value) {
    pz_variant_dict_put(dict, key, value);
    pz_variant_unref(value);
}
inline void append_new(pz_variant_t *array, pz_variant_t *value) {
    pz_variant_array_append(array, value);
    pz_variant_unref(value);
}

// The E that `f` throws; nothing, and a failure, when it throws none.
template <class E, class F>
std::optional<E> caught(F f) {
    try {
        f();
    } catch (const E &e) {
        return e;
    }
    ADD_FAILURE() << "nothing thrown";
    return std::nullopt;
}

// A text the library made, as a string ("NULL" for none); frees it.
inline std::string taken(char *text) {
    std::string out = text != nullptr ? text : "NULL";
    HAL_Free(text);
    return out;
}

// The dump of `v` ("NULL" for none).
inline std::string dumped(const pz_variant_t *v) { return taken(pz_variant_dump(v)); }

// Whether the dump reader made `v` of the typed object `typed` (that text
// as plain JSON read it) with nothing left out: `v` is of the kind the one
// member names, and a container holds as many elements or entries, each
// kept in its place; {} is an empty slot.
inline bool kept_whole(pz::view typed, pz::view v) {
    if (typed.kind() != pz::kind::dict || typed.size() > 1) return false;
    if (typed.size() == 0) return !v.has_value();
    const auto [name, inner] = *typed.entries().begin();
    const char *kind = v.has_value() ? pz::kDumpNameOf[static_cast<unsigned char>(v.kind())] : nullptr;
    if (kind == nullptr || name != kind) return false;
    if (v.kind() != pz::kind::array && v.kind() != pz::kind::dict) return true;
    bool whole = inner.kind() == v.kind() && inner.size() == v.size();
    for (uint32_t i = 0; whole && v.kind() == pz::kind::array && i < v.size(); ++i) whole = kept_whole(inner[i], v[i]);
    if (whole && v.kind() == pz::kind::dict) {
        for (const auto &[key, e] : inner.entries()) whole = whole && kept_whole(e, v[key]);
    }
    return whole;
}

// A case input: a value read from its dump text, strictly. The dump reader
// is lenient by design (what it cannot read is left out), so that a typo
// would silently shrink an input. Until the library has a strict typed
// reader, the text is also read as strict plain JSON, and every typed object
// there must have become a value of its kind in its place. A text that
// fails either way fails the test.
inline pz_variant_t *case_value(const std::string &dump) {
    pz_variant_t *v = pz_variant_from_dump(dump.c_str());
    pz_read_error_t error;
    pz_variant_t *typed = pz_variant_from_json(dump.c_str(), &error);
    if (typed == nullptr) {
        ADD_FAILURE() << "not strict JSON at " << error.offset << " (" << error.reason << "): " << dump;
    } else if (v == nullptr || !kept_whole(pz::view(typed), pz::view(v))) {
        ADD_FAILURE() << "the dump reader leaves part of it out: " << dump << " reads as " << taken(pz_variant_dump(v));
    }
    pz_variant_unref(typed);
    return v;
}

// Writes `v` with `write` and reads the text back with `read`: the value read
// writes the same text again and, with `same_kinds`, equals `v`. Returns the
// text.
template <class Read, class Write>
std::string expect_round_trip(const pz_variant_t *v, Read read, Write write, bool same_kinds = true) {
    const std::string text = taken(write(v));
    pz_variant_t *back = read(text.c_str());
    EXPECT_TRUE(!same_kinds || pz_variant_equal(v, back)) << text;
    EXPECT_EQ(taken(write(back)), text);
    pz_variant_unref(back);
    return text;
}
inline pz_variant_t *json_read(const char *text) { return pz_variant_from_json(text, nullptr); }
inline char *json_write(const pz_variant_t *v) { return pz_variant_to_json(v, 0); }

// `len` bytes in lowercase hex, and back.
inline std::string hex_of(const void *data, size_t len) {
    std::string hex;
    for (size_t i = 0; i < len; ++i) {
        const auto byte = static_cast<const uint8_t *>(data)[i];
        hex += "0123456789abcdef"[byte >> 4];
        hex += "0123456789abcdef"[byte & 15];
    }
    return hex;
}
inline std::vector<uint8_t> bytes_of(const std::string &hex) {
    std::vector<uint8_t> out;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) out.push_back(static_cast<uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    return out;
}

// The reference count of a live value.
inline long refcount(const pz_variant_t *v) { return *pz_ref_count(v); }

// What a getter of type To reads from a union holding `value`: its bytes
// first, zero after, read back raw. 255 for an int8 -1 read as int64 on a
// little-endian target, 0xff << 56 on a big-endian one.
template <class To, class From>
To union_read(From value) {
    unsigned char bytes[8] = {};
    std::memcpy(bytes, &value, sizeof value);
    To out;
    std::memcpy(&out, bytes, sizeof out);
    return out;
}

// Dictionaries and arrays alternating around `inner` (taken over), `levels`
// deep counting `inner`.
inline pz_variant_t *chain(int levels, pz_variant_t *inner) {
    for (int i = 1; i < levels; ++i) {
        pz_variant_t *outer = i % 2 == 0 ? pz_variant_array_new() : pz_variant_dict_new();
        outer->vt == vtype_array ? append_new(outer, inner) : put_new(outer, "k", inner);
        inner = outer;
    }
    return inner;
}

// A value of T far from zero, so that a copy at the wrong width shows: the
// lowest signed value, the highest unsigned one, true, or `object`.
template <class T>
T far_from_zero(int *object) {
    if constexpr (std::is_pointer_v<T>) {
        return object;
    } else if constexpr (std::is_same_v<T, bool>) {
        return true;
    } else if constexpr (std::is_signed_v<T>) {
        return std::numeric_limits<T>::lowest();
    } else {
        return std::numeric_limits<T>::max();
    }
}

#endif  // PZ_TEST_H
