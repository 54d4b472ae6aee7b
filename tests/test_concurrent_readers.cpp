// Several threads reading one value that no thread changes: dumps, copies,
// getters, comparisons and reading texts back all run at once. Run under
// ThreadSanitizer by `make test` and under helgrind by `make memcheck`.
// Threads record what they saw; the checks run on the main thread.
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "pz_test.h"

namespace {

using ConcurrentReaderThreads = LeakCheckedTest;

constexpr int kThreads = 4;

// A dictionary of the kinds the dump reads back, with nested containers.
pz_variant_t *shared_record() {
    const uint8_t raw[] = {0, 1, 0xfe, 0xff};
    pz_variant_t *d = pz_variant_dict_new();
    put_new(d, "name", pz_variant_str_new("sensor-7"));
    put_new(d, "id", pz_variant_uint64_new(UINT64_MAX));
    put_new(d, "ratio", pz_variant_double_new(0.1 + 0.2));
    put_new(d, "raw", vstr_buf_new(raw, sizeof raw));
    pz_variant_t *readings = pz_variant_array_new();
    for (int i = 0; i < 50; ++i) append_new(readings, pz_variant_int32_new(i * 7 - 100));
    pz_variant_t *inner = pz_variant_dict_new();
    put_new(inner, "on", pz_variant_bool_new(true));
    put_new(inner, "gain", pz_variant_float_new(-2.5f));
    append_new(readings, inner);
    put_new(d, "readings", readings);
    return d;
}

// What one reader found wrong; all zero when it saw what the main thread saw.
struct findings {
    int dump_differs = 0;
    int dump_buf_differs = 0;
    int copy_differs = 0;
    int getter_differs = 0;
    int reread_differs = 0;
    bool operator==(const findings &) const = default;
};

void read_shared(pz_variant_t *shared, const std::string &expected, int rounds, findings *out) {
    std::vector<char> buf(expected.size() + 1);
    for (int i = 0; i < rounds; ++i) {
        char *text = pz_variant_dump(shared);
        out->dump_differs += text == nullptr || expected != text;

        const int32_t len = pz_variant_dump_buf(shared, buf.data(), static_cast<uint32_t>(buf.size()));
        out->dump_buf_differs += len != static_cast<int32_t>(expected.size()) || expected != buf.data();

        pz_variant_t *copy = pz_variant_dup(shared);
        out->copy_differs += !pz_variant_equal(copy, shared) || !pz_variant_equal(shared, copy);

        // The plain getters take references on the shared children from
        // every thread; the typed ones only read.
        pz_variant_t *readings = pz_variant_dict_get(shared, "readings");
        pz_variant_t *inner = pz_variant_array_index(readings, 50);
        const char *name = vdict_str_default(shared, "name", nullptr);
        out->getter_differs += varray_int32(readings, 3) != 3 * 7 - 100 ||
                               vdict_float_default(inner, "gain", 0) != -2.5f ||
                               vdict_uint64_default(shared, "id", 0) != UINT64_MAX ||
                               name == nullptr || std::strcmp(name, "sensor-7") != 0;
        pz_variant_unref(inner);
        pz_variant_unref(readings);

        // Each thread parses its own text while the others parse theirs.
        pz_variant_t *back = pz_variant_from_dump(text);
        out->reread_differs += !pz_variant_equal(back, shared) || !pz_variant_equal(back, copy);
        pz_variant_unref(back);
        pz_variant_unref(copy);
        HAL_Free(text);
    }
}

TEST_F(ConcurrentReaderThreads, DumpCopyGetCompareAndRereadOneValue) {
    pz_variant_t *shared = shared_record();
    char *text = pz_variant_dump(shared);
    ASSERT_NE(text, nullptr);
    const std::string expected = text;
    HAL_Free(text);

    std::vector<findings> seen(kThreads);
    std::vector<std::thread> readers;
    for (int t = 0; t < kThreads; ++t) {
        readers.emplace_back(read_shared, shared, std::cref(expected), 40, &seen[t]);
    }
    for (std::thread &r : readers) r.join();
    EXPECT_EQ(seen, std::vector<findings>(kThreads));
    EXPECT_EQ(refcount(shared), 1) << "every reference a reader took was dropped";
    pz_variant_unref(shared);
}

// Different texts, good and bad, parsed at once: each reader gets its own
// answer, whatever the parser's shared error state says meanwhile.
TEST_F(ConcurrentReaderThreads, ParsesOfDifferentTextsRunAtOnce) {
    const std::vector<std::string> texts = {
        R"({"array":[{"int8":-1},{"string":"a"}]})",
        R"({"dict":{"k":{"uint64":18446744073709551615}}})",
        R"({"array":[{"int8":1},)",  // cut short: no value
        R"({"double":1e999})",
    };
    std::vector<int> wrong(kThreads, 0);
    std::vector<std::thread> readers;
    for (int t = 0; t < kThreads; ++t) {
        readers.emplace_back([&, t] {
            const std::string &mine = texts[static_cast<size_t>(t) % texts.size()];
            for (int i = 0; i < 200; ++i) {
                pz_variant_t *v = pz_variant_from_dump(mine.c_str());
                char *again = pz_variant_dump(v);
                const bool readable = mine.back() == '}';
                wrong[t] += readable ? again == nullptr || mine != again : v != nullptr;
                HAL_Free(again);
                pz_variant_unref(v);
            }
        });
    }
    for (std::thread &r : readers) r.join();
    EXPECT_EQ(wrong, std::vector<int>(kThreads, 0));
}

}  // namespace
