// Several threads reading one value that no thread changes: dumps, copies,
// getters and comparisons of the shared value, and parses of each thread's
// own texts, all at once. Run under ThreadSanitizer by `make test` and under
// helgrind by `make memcheck`. Threads record what they saw wrong; the
// checks run on the main thread.
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "pz_test.h"

namespace {

using ConcurrentReaderThreads = LeakCheckedTest;

// One reader's rounds; appends to `wrong` the name of each check that failed.
void read_shared(pz_variant_t *shared, const std::string &expected, const std::string &mine, std::string *wrong) {
    auto check = [wrong](bool ok, const char *what) {
        if (!ok && wrong->find(what) == std::string::npos) *wrong += what;
    };
    std::vector<char> buf(expected.size() + 1);
    for (int i = 0; i < 40; ++i) {
        char *text = pz_variant_dump(shared);
        check(text != nullptr && expected == text, "dump ");
        const int32_t len = pz_variant_dump_buf(shared, buf.data(), static_cast<uint32_t>(buf.size()));
        check(len == static_cast<int32_t>(expected.size()) && expected == buf.data(), "dump_buf ");
        pz_variant_t *copy = pz_variant_dup(shared);
        check(pz_variant_equal(copy, shared) && pz_variant_equal(shared, copy), "copy ");
        // The plain getters take references on the shared children from every
        // thread; the typed ones only read.
        pz_variant_t *readings = pz_variant_dict_get(shared, "readings");
        pz_variant_t *inner = pz_variant_array_index(readings, 50);
        const char *name = vdict_str_default(shared, "name", nullptr);
        check(varray_int32(readings, 3) == 3 * 7 - 100 && vdict_float_default(inner, "gain", 0) == -2.5f &&
                  vdict_uint64_default(shared, "id", 0) == UINT64_MAX && name != nullptr &&
                  std::strcmp(name, "sensor-7") == 0,
              "getters ");
        pz_variant_unref(inner);
        pz_variant_unref(readings);
        pz_variant_t *back = pz_variant_from_dump(text);
        check(pz_variant_equal(back, copy), "reread ");
        // A text of this thread's own, good or cut short, parsed while the
        // others parse theirs.
        pz_variant_t *own = pz_variant_from_dump(mine.c_str());
        char *again = pz_variant_dump(own);
        check(mine.back() == '}' ? again != nullptr && mine == again : own == nullptr, "own text ");
        HAL_Free(again);
        for (pz_variant_t *v : {own, back, copy}) pz_variant_unref(v);
        HAL_Free(text);
    }
}

TEST_F(ConcurrentReaderThreads, DumpCopyGetCompareAndParseAtOnce) {
    // A record of the kinds the dump reads back, with nested containers.
    std::string text = R"({"dict":{"name":{"string":"sensor-7"},"id":{"uint64":18446744073709551615},)"
                       R"("ratio":{"double":0.30000000000000004},"raw":{"bytes":"0001feff"},"readings":{"array":[)";
    for (int i = 0; i < 50; ++i) text += R"({"int32":)" + std::to_string(i * 7 - 100) + "},";
    text += R"({"dict":{"on":{"bool":true},"gain":{"float":-2.5}}}]}}})";
    pz_variant_t *shared = pz_variant_from_dump(text.c_str());
    ASSERT_NE(shared, nullptr);
    const std::string own[] = {R"({"array":[{"int8":-1},{"string":"a"}]})", R"({"array":[{"int8":1},)",
                               R"({"dict":{"k":{"uint64":18446744073709551615}}})", R"({"double":1e999})"};
    std::vector<std::string> wrong(std::size(own));
    std::vector<std::thread> readers;
    for (size_t t = 0; t < std::size(own); ++t) {
        readers.emplace_back(read_shared, shared, std::cref(text), std::cref(own[t]), &wrong[t]);
    }
    for (std::thread &r : readers) r.join();
    EXPECT_EQ(wrong, std::vector<std::string>(std::size(own)));
    EXPECT_EQ(refcount(shared), 1) << "every reference a reader took was dropped";
    pz_variant_unref(shared);
}

}  // namespace
