// JSON Pointer paths: the finds and stores of dump_cases/path_*_cases.txt,
// what the cases cannot show (borrowing, long pointers, memory), and the
// C++ members.
#include "pz_test.h"
#include "pzvariant/pz_variant.hpp"

namespace {

using Paths = LeakCheckedTest;

std::string json_of(const pz_variant_t *v) { return v != nullptr ? taken(json_write(v)) : "NULL"; }

TEST_F(Paths, FindsWhatEachPointerNames) {
    pz_variant_t *doc = nullptr;
    for_each_case("path_find_cases.txt", [&doc](const std::vector<std::string> &f) {
        ASSERT_EQ(f.size(), 2u);
        if (f[0] == "document") {
            doc = json_read(f[1].c_str());
            ASSERT_NE(doc, nullptr);
            return;
        }
        EXPECT_EQ(json_of(pz_variant_path_find(doc, f[0].c_str())), f[1]);
    });
    pz_variant_unref(doc);
}

const char *const kPathStatus[] = {"ok", "invalid", "blocked", "out of memory"};

TEST_F(Paths, StoresMakeTheWayOrLeaveTheDocumentAsItWas) {
    for_each_case("path_set_cases.txt", [](const std::vector<std::string> &f) {
        ASSERT_EQ(f.size(), 4u);
        pz_variant_t *doc = json_read(f[0].c_str()), *value = json_read(f[2].c_str());
        ASSERT_TRUE(doc != nullptr && value != nullptr);
        const pz_path_status status = pz_variant_path_set(doc, f[1].c_str(), value);
        if (status == PZ_PATH_OK) {
            EXPECT_EQ(json_of(doc), f[3]);
            EXPECT_EQ(pz_variant_path_find(doc, f[1].c_str()), f[1].back() == '-' ? nullptr : value)
                << "the value itself is stored, not a copy";
            EXPECT_EQ(refcount(value), 2) << "the container holds its own reference";
        } else {
            EXPECT_EQ(kPathStatus[status], f[3]);
            EXPECT_EQ(json_of(doc), f[0]);
            EXPECT_EQ(refcount(value), 1);
        }
        pz_variant_unref(doc);
        pz_variant_unref(value);
    });
}

// A found value is borrowed: no reference is taken, and short pointers
// allocate nothing. A pointer too long for the stack is decoded in a block
// of its own, for finds and stores alike.
TEST_F(Paths, FindsBorrowAndLongPointersWork) {
    pz_variant_t *doc = json_read("{\"a\":{\"b\":[10,20]}}"), *one = pz_variant_int8_new(1);
    const long mallocs = hal_malloc_calls(), incs = hal_atomic_incs();
    int32_t x = 0;
    EXPECT_EQ(pz_variant_get_int32(pz_variant_path_find(doc, "/a/b/1"), &x), PZ_GET_OK);
    EXPECT_EQ(x, 20);
    EXPECT_TRUE(hal_malloc_calls() == mallocs && hal_atomic_incs() == incs);
    EXPECT_TRUE(pz_variant_path_find(nullptr, "") == nullptr && pz_variant_path_find(doc, nullptr) == nullptr);
    EXPECT_EQ(pz_variant_path_set(nullptr, "/a", one), PZ_PATH_INVALID);
    EXPECT_EQ(pz_variant_path_set(doc, nullptr, one), PZ_PATH_INVALID);
    EXPECT_EQ(pz_variant_path_set(doc, "/a", nullptr), PZ_PATH_INVALID);

    const std::string key(300, 'k'), pointer = "/a/" + key + "/~0" + key;
    EXPECT_EQ(pz_variant_path_set(doc, pointer.c_str(), one), PZ_PATH_OK);
    EXPECT_EQ(pz_variant_path_find(doc, pointer.c_str()), one);
    EXPECT_EQ(vdict_int8_default(pz_variant_path_find(doc, ("/a/" + key).c_str()), ("~" + key).c_str(), 0), 1);
    hal_fail_nth(1, 0);
    EXPECT_EQ(pz_variant_path_find(doc, pointer.c_str()), nullptr);
    hal_fail_nth(1, 0);
    EXPECT_EQ(pz_variant_path_set(doc, (pointer + "x").c_str(), one), PZ_PATH_OUT_OF_MEMORY);
    hal_fail_nth(0, 0);
    EXPECT_EQ(refcount(one), 2);
    pz_variant_unref(one);
    pz_variant_unref(doc);
}

TEST_F(Paths, CppAtPathAndSetPath) {
    pz::value cfg = pz::dict({{"server", pz::dict({{"hosts", pz::array({"a", "b"})}})}});
    cfg.set_path("/server/tls/port", 9443).set_path(std::string_view("/server/hosts/-"), "c");
    EXPECT_EQ(cfg.at_path("/server/tls/port").get_as<uint16_t>(), 9443);
    EXPECT_EQ(cfg.at_path("/server/hosts/2").value_or(""), "c");
    EXPECT_FALSE(cfg.at_path("/server/nothing").has_value());
    EXPECT_EQ(cfg.at_path("").get(), cfg.get());
    EXPECT_FALSE(pz::value().at_path("/a").has_value());

    const std::string before = cfg.to_json();
    for (const char *pointer : {"server", "/a~"}) EXPECT_THROW(cfg.at_path(pointer), pz::error);
    EXPECT_THROW(cfg.at_path(std::string_view("/a\0b", 4)), pz::error);
    for (const char *pointer : {"/server/tls/port/x", "/server/hosts/9", "", "/server/", "/a~2"}) {
        EXPECT_THROW(cfg.set_path(pointer, 1), pz::error) << pointer;
    }
    EXPECT_THROW(cfg.set_path("/x", pz::value()), pz::error);
    EXPECT_THROW(pz::value().set_path("/x", 1), pz::error);
    EXPECT_EQ(cfg.to_json(), before) << "a refused store changes nothing";

    const pz::value flag(true);
    hal_fail_nth(1, 1);
    EXPECT_THROW(cfg.set_path("/new/deep", flag), std::bad_alloc);
    hal_fail_nth(0, 0);
    EXPECT_EQ(cfg.to_json(), before);
}

}  // namespace
