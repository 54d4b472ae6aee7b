// The reporting family: each failure of the writes, lookups, copies and
// writers gives its own status (test_writers.cpp has the writers' refusals
// and files); keys with a length; the path lookup's step; kind names; the
// hash that agrees with equality; the typed dump read from a length.
#include "pz_test.h"
#include "writers.h"

namespace {

using Status = LeakCheckedTest;

// A dictionary {"d": {}, "n": 1, "a": [1, <empty slot>]}.
pz_variant_t *record() {
    pz_variant_t *d = pz_variant_dict_new();
    put_new(d, "d", pz_variant_dict_new());
    vdict_set_int32(d, "n", 1);
    pz_variant_t *a = pz_variant_array_new();
    varray_add_int32(a, 1);
    pz_variant_array_append(a, nullptr);
    put_new(d, "a", a);
    return d;
}

TEST_F(Status, ContainerWritesSayWhyTheyStoredNothing) {
    pz_variant_t *d = record();
    pz_variant_t *n = pz_variant_int8_new(3);
    pz_variant_t *a = pz_variant_dict_find(d, "a");
    const char key[] = "new-key, not terminated here";
    pz_variant_t *held = nullptr;
    EXPECT_EQ(pz_variant_dict_put_ex(d, key, 7, n), PZ_STATUS_OK);
    EXPECT_EQ(pz_variant_dict_find(d, "new-key"), n) << "the key is its 7 bytes";
    EXPECT_EQ(refcount(n), 2);
    const struct {
        pz_status got, want;
    } cases[] = {
        {pz_variant_dict_put_ex(d, "k", 1, nullptr), PZ_STATUS_NO_VALUE},
        {pz_variant_dict_put_ex(nullptr, "k", 1, n), PZ_STATUS_NO_VALUE},
        {pz_variant_dict_put_ex(a, "k", 1, n), PZ_STATUS_WRONG_KIND},
        {pz_variant_dict_put_ex(d, "", 0, n), PZ_STATUS_INVALID_KEY},
        {pz_variant_dict_put_ex(d, "k\0x", 3, n), PZ_STATUS_INVALID_KEY},
        {pz_variant_dict_put_scalar_ex(d, "s", 1, a), PZ_STATUS_WRONG_KIND},
        {pz_variant_dict_put_scalar_ex(d, "s", 1, n), PZ_STATUS_OK},
        {pz_variant_array_append_ex(d, n), PZ_STATUS_WRONG_KIND},
        {pz_variant_array_append_ex(a, nullptr), PZ_STATUS_OK},
        {pz_variant_dict_erase_ex(d, "s", 1), PZ_STATUS_OK},
        {pz_variant_dict_erase_ex(d, "s", 1), PZ_STATUS_NOT_FOUND},
        {pz_variant_dict_erase_ex(d, "s\0", 2), PZ_STATUS_INVALID_KEY},
        {vdict_child_ex(d, "nothing more", 1, &held), PZ_STATUS_OCCUPIED},
        {vdict_child_ex(n, "n", 1, nullptr), PZ_STATUS_WRONG_KIND},
    };
    for (size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(cases[i].got, cases[i].want) << "case " << i;
    EXPECT_EQ(pz_variant_array_size(a), 3u);
    EXPECT_EQ(held, pz_variant_dict_find(d, "n")) << "what holds the key";
    pz_variant_t *child = nullptr;
    EXPECT_EQ(vdict_child_ex(d, "made", 4, &child), PZ_STATUS_OK);
    EXPECT_EQ(child, pz_variant_dict_find(d, "made"));
    EXPECT_EQ(refcount(child), 1) << "borrowed: the dictionary holds the one reference";
    pz_variant_t *again = nullptr;
    EXPECT_EQ(vdict_child_ex(d, "made", 4, &again), PZ_STATUS_OK);
    EXPECT_EQ(again, child);
    pz_variant_unref(n);
    pz_variant_unref(d);
}

TEST_F(Status, LookupsTellMissingFromTheWrongKindAndSayAtWhichStep) {
    pz_variant_t *d = record();
    pz_variant_t *found = nullptr;
    EXPECT_EQ(pz_variant_dict_find_ex(d, "nx", 1, &found), PZ_STATUS_OK);
    EXPECT_EQ(found, pz_variant_dict_find(d, "n"));
    EXPECT_EQ(pz_variant_dict_find_ex(d, "x", 1, &found), PZ_STATUS_NOT_FOUND);
    EXPECT_EQ(pz_variant_dict_find_ex(found, "x", 1, nullptr), PZ_STATUS_WRONG_KIND);
    EXPECT_EQ(pz_variant_array_at_ex(d, 0, nullptr), PZ_STATUS_WRONG_KIND);
    const pz_variant_t *a = pz_variant_dict_find(d, "a");
    EXPECT_EQ(pz_variant_array_at_ex(a, 1, nullptr), PZ_STATUS_NOT_FOUND) << "an empty slot";
    EXPECT_EQ(pz_variant_array_at_ex(a, 2, nullptr), PZ_STATUS_NOT_FOUND);

    const struct {
        const char *pointer;
        pz_path_status want;
        size_t step;
    } paths[] = {
        {"", PZ_PATH_OK, 0},          {"/a/0", PZ_PATH_OK, 0},      {"/x/y", PZ_PATH_MISSING, 1},
        {"/d/x", PZ_PATH_MISSING, 2}, {"/a/1", PZ_PATH_MISSING, 2}, {"/a/-", PZ_PATH_MISSING, 2},
        {"/a/01", PZ_PATH_MISSING, 2}, {"/n/x", PZ_PATH_BLOCKED, 2}, {"/a/0/x/y", PZ_PATH_BLOCKED, 3},
        {"a", PZ_PATH_INVALID, 0},    {"/a~2", PZ_PATH_INVALID, 0}, {"/a~", PZ_PATH_INVALID, 0},
    };
    for (const auto &p : paths) {
        size_t step = 99;
        EXPECT_EQ(pz_variant_path_find_ex(d, p.pointer, std::strlen(p.pointer), nullptr, &step), p.want) << p.pointer;
        EXPECT_EQ(step, p.step) << p.pointer;
    }
    // Where the walk stopped: the container that lacks the step, the value
    // that is none.
    EXPECT_EQ(pz_variant_path_find_ex(d, "/d/x", 4, &found, nullptr), PZ_PATH_MISSING);
    EXPECT_EQ(found, pz_variant_dict_find(d, "d"));
    EXPECT_EQ(pz_variant_path_find_ex(d, "/a/0/x/y", 8, &found, nullptr), PZ_PATH_BLOCKED);
    EXPECT_EQ(found, pz_variant_array_at(a, 0));
    EXPECT_EQ(pz_variant_path_find_ex(d, "/n/", 2, &found, nullptr), PZ_PATH_OK) << "the length ends it";
    EXPECT_EQ(found->int32_val, 1);
    EXPECT_EQ(pz_variant_path_find_ex(d, "/n\0x", 4, nullptr, nullptr), PZ_PATH_INVALID);
    pz_variant_t *v = pz_variant_int32_new(7);
    EXPECT_EQ(pz_variant_path_set_ex(d, "/d/k/rest", 4, v), PZ_PATH_OK);
    EXPECT_EQ(pz_variant_path_find(d, "/d/k"), v);
    EXPECT_EQ(pz_variant_path_set_ex(d, "/d\0", 3, v), PZ_PATH_INVALID);
    pz_variant_unref(v);
    pz_variant_unref(d);
}

// A value holding itself, with the loop cut at the end.
struct looped {
    pz_variant_t *v = pz_variant_array_new();
    looped() { pz_variant_array_append(v, v); }
    ~looped() {
        pz_variant_array_clear(v);
        pz_variant_unref(v);
    }
};

int stop(const char *, size_t, void *) { return 1; }

TEST_F(Status, CopiesAndWritersNameWhatTheyRefuse) {
    looped loop;
    pz_variant_t *d = record();
    pz_variant_t *owner = pz_variant_autoptr_new(nullptr, nullptr);
    pz_variant_t *copy = nullptr;
    EXPECT_EQ(pz_variant_dup_ex(loop.v, &copy), PZ_STATUS_TOO_DEEP);
    EXPECT_EQ(pz_variant_dup_ex(nullptr, &copy), PZ_STATUS_NO_VALUE);
    EXPECT_EQ(copy, nullptr);
    pz_variant_t *target = d;
    EXPECT_EQ(pz_variant_concat_ex(&target, loop.v), PZ_STATUS_TOO_DEEP);
    EXPECT_EQ(pz_variant_concat_ex(&target, owner), PZ_STATUS_POINTER);
    EXPECT_EQ(target, d);
    EXPECT_EQ(pz_variant_merge_patch_ex(d, owner), PZ_STATUS_POINTER);
    EXPECT_EQ(pz_variant_merge_patch_ex(d, loop.v), PZ_STATUS_TOO_DEEP);
    EXPECT_EQ(pz_variant_merge_patch_ex(nullptr, d), PZ_STATUS_NO_VALUE);

    // (test_writers.cpp has the writers' refusals.)
    EXPECT_EQ(pz_variant_to_json_callback_ex(d, stop, nullptr, 0), PZ_STATUS_STOPPED);
    EXPECT_EQ(pz_variant_dump_callback(d, stop, nullptr), PZ_STATUS_STOPPED);
    EXPECT_EQ(pz_variant_to_msgpack_callback(d, 0, nullptr, nullptr), PZ_STATUS_NO_VALUE);
    std::string text;
    text.reserve(256);
    const long mallocs = hal_malloc_calls();
    EXPECT_EQ(pz_variant_to_msgpack_callback(d, 0, collect, &text), PZ_STATUS_OK);
    EXPECT_EQ(hal_malloc_calls(), mallocs) << "chunks go to the callback from the stack";
    EXPECT_EQ(text.size(), pz_variant_to_msgpack_buf(d, 0, nullptr, 0));
    for (pz_variant_t *v : {owner, d}) pz_variant_unref(v);
}

TEST_F(Status, KindNamesAreTheDumpsAndEveryStatusHasAText) {
    const char *letters = "boynqiuxtfdcm*as[{";
    for (const char *c = letters; *c != '\0'; ++c) {
        const char *name = pz_variant_kind_name(static_cast<pz_variant_type>(*c));
        ASSERT_NE(name, nullptr) << *c;
        pz_variant_t *v = pz_variant_change_type(pz_variant_bool_new(false), static_cast<pz_variant_type>(*c));
        if (*c != 'a' && *c != 's') {
            EXPECT_EQ(dumped(v).compare(0, std::strlen(name) + 3, std::string("{\"") + name + "\""), 0) << name;
        }
        pz_variant_unref(v);
    }
    EXPECT_STREQ(pz_variant_kind_name(vtype_null), "null");
    EXPECT_EQ(pz_variant_kind_name(static_cast<pz_variant_type>('Z')), nullptr);
    EXPECT_STREQ(pz_status_text(PZ_STATUS_OK), "");
    for (int s = PZ_STATUS_NO_VALUE; s <= PZ_STATUS_INVALID_ARGUMENT; ++s) {
        EXPECT_NE(std::string(pz_status_text(static_cast<pz_status>(s))), "") << s;
        EXPECT_NE(std::string(pz_status_text(static_cast<pz_status>(s))), "unknown status") << s;
    }
    pz_variant_t *null = pz_variant_null_new();
    EXPECT_EQ(null->vt, vtype_null);
    EXPECT_EQ(refcount(null), 1);
    pz_variant_unref(null);
}

TEST_F(Status, EqualValuesHashAlike) {
    pz_variant_t *a = pz_variant_from_json(R"({"x":[1,"two",{"k":null}],"y":2.5,"z":true})", nullptr);
    pz_variant_t *b = pz_variant_from_json(R"({"z":true,"y":2.5,"x":[1,"two",{"k":null}]})", nullptr);
    pz_variant_t *c = pz_variant_from_json(R"({"z":true,"y":2.5,"x":["two",1,{"k":null}]})", nullptr);
    ASSERT_TRUE(pz_variant_equal(a, b));
    EXPECT_EQ(pz_variant_hash(a), pz_variant_hash(b)) << "entries in another order";
    EXPECT_NE(pz_variant_hash(a), pz_variant_hash(c)) << "elements in another order";
    pz_variant_t *i32 = pz_variant_int32_new(1), *i64 = pz_variant_int64_new(1);
    EXPECT_NE(pz_variant_hash(i32), pz_variant_hash(i64)) << "kinds count, as for equality";
    looped loop;
    EXPECT_EQ(pz_variant_hash(loop.v), 0u);
    EXPECT_EQ(pz_variant_hash(nullptr), 0u);
    for (pz_variant_t *v : {a, b, c, i32, i64}) pz_variant_unref(v);
}

// (The dump's case files are also read from their lengths, test_dump.cpp.)
TEST_F(Status, TheDumpIsReadFromALength) {
    const std::string text = R"({"array":[{"int8":1},{"string":"x"}]}trailing, not read)";
    pz_read_error_t why;
    pz_variant_t *v = pz_variant_from_dump_n(text.data(), text.find("trailing"), &why);
    EXPECT_EQ(dumped(v), text.substr(0, text.find("trailing"))) << why.reason;
    pz_variant_unref(v);
    const std::string nul("{\"int8\":\0}", 10);
    EXPECT_EQ(pz_variant_from_dump_n(nul.data(), nul.size(), &why), nullptr);
    EXPECT_EQ(why.code, PZ_READ_NUL_BYTE);
    EXPECT_EQ(why.offset, 8u);
}

}  // namespace
