// The diff of two values as a JSON Patch: the add, remove and replace
// operations that turn the first into the second. One walk goes down both
// values where they are containers of one kind, guarded on the first one's
// side; anything else that differs is replaced whole.
#include <algorithm>
#include <cstdio>

#include "containers/arrays.h"
#include "containers/dicts.h"
#include "core/record.h"
#include "operations/copy.h"
#include "operations/nesting.h"
#include "operations/walk.h"
#include "pzvariant/pz_patch.h"

using namespace pz;

namespace {

class differ {
public:
    differ() = default;
    differ(const differ &) = delete;
    differ &operator=(const differ &) = delete;
    ~differ() {
        pz_variant_unref(ops_);
        pz_array_free(path_);
    }

    pz_patch_code run(const pz_variant_t *from, const pz_variant_t *to, pz_variant_t **patch) {
        ops_ = pz_variant_array_new();
        path_ = pz_array_new(1, 128);
        if (ops_ == nullptr || path_ == nullptr) return PZ_PATCH_OUT_OF_MEMORY;
        if (!diff(from, to)) return code_ != PZ_PATCH_OK ? code_ : PZ_PATCH_TOO_DEEP;
        *patch = ops_;
        ops_ = nullptr;
        return PZ_PATCH_OK;
    }

private:
    // The operations that turn `a` into `b`, both at the current path.
    bool diff(const pz_variant_t *a, const pz_variant_t *b) {
        const bool both = a != nullptr && b != nullptr && a->vt == b->vt;
        if (!both || (a->vt != vtype_dict && a->vt != vtype_array)) {
            return walk_.fits(a) && (pz_variant_equal(a, b) || emit("replace", b));
        }
        if (!walk_.enter(a)) return false;
        const bool done = a->vt == vtype_dict ? diff_dicts(a, b) : diff_arrays(a, b);
        walk_.leave();
        return done;
    }

    // Keys of `a` that `b` lacks are removed, those of both compared, and
    // those of `b` alone added. Their order is not compared.
    bool diff_dicts(const pz_variant_t *a, const pz_variant_t *b) {
        void *key, *value;
        for (uint32_t pos = 0; pz_hash_table_next(dict_of(a), &pos, &key, &value, nullptr);) {
            const auto *k = static_cast<const pz_string_t *>(key);
            const auto *va = static_cast<const pz_variant_t *>(value);
            const bool kept = pz_hash_table_contains(dict_of(b), k);
            if (!under_key(k, [&] { return kept ? diff(va, dict_find_key(b, k)) : emit("remove", nullptr); })) {
                return false;
            }
        }
        for (uint32_t pos = 0; pz_hash_table_next(dict_of(b), &pos, &key, &value, nullptr);) {
            const auto *k = static_cast<const pz_string_t *>(key);
            if (pz_hash_table_contains(dict_of(a), k)) continue;
            if (!under_key(k, [&] { return emit("add", static_cast<const pz_variant_t *>(value)); })) return false;
        }
        return true;
    }

    // Past the common start and end of the two arrays, the elements both
    // have are compared in place; the rest of `a` is removed, or the rest
    // of `b` added.
    bool diff_arrays(const pz_variant_t *a, const pz_variant_t *b) {
        const uint32_t n = pz_variant_array_size(a), m = pz_variant_array_size(b);
        uint32_t start = 0, end = 0;
        while (start < n && start < m && pz_variant_equal(array_at(a, start), array_at(b, start))) ++start;
        while (end < n - start && end < m - start &&
               pz_variant_equal(array_at(a, n - 1 - end), array_at(b, m - 1 - end))) {
            ++end;
        }
        const uint32_t both = std::min(n, m) - start - end;
        for (uint32_t i = start; i < start + both; ++i) {
            if (!under_index(i, [&] { return diff(array_at(a, i), array_at(b, i)); })) return false;
        }
        for (uint32_t i = start + both; i < n - end; ++i) {
            // Each removal moves the next element to the same index.
            if (!under_index(start + both, [&] { return emit("remove", nullptr); })) return false;
        }
        for (uint32_t i = start + both; i < m - end; ++i) {
            if (!under_index(i, [&] { return emit("add", array_at(b, i)); })) return false;
        }
        return true;
    }

    // Runs `body` with "/" and `index` added to the path.
    template <class F>
    bool under_index(uint32_t index, F body) {
        char digits[12];
        const int n = std::snprintf(digits, sizeof digits, "/%u", static_cast<unsigned>(index));
        const size_t at = path_->len;
        const bool done = append(digits, static_cast<size_t>(n)) && body();
        cut(at);
        return done;
    }

    // Runs `body` with "/" and `key`, escaped as a pointer token, added to
    // the path.
    template <class F>
    bool under_key(const pz_string_t *key, F body) {
        const size_t at = path_->len;
        bool ok = append("/", 1);
        for (int i = 0; ok && i < key->len; ++i) {
            const char c = key->cstr[i];
            ok = c == '~' ? append("~0", 2) : c == '/' ? append("~1", 2) : append(&c, 1);
        }
        const bool done = ok && body();
        cut(at);
        return done;
    }

    static pz_variant_t *dict_find_key(const pz_variant_t *d, const pz_string_t *key) {
        return static_cast<pz_variant_t *>(pz_hash_table_find(dict_of(d), key));
    }

    bool append(const char *bytes, size_t n) {
        const size_t before = path_->len;
        path_ = pz_array_append_vals(path_, bytes, n);
        return path_->len != before || fail(PZ_PATCH_OUT_OF_MEMORY);
    }

    // Cuts the path back to its first `len` bytes.
    void cut(size_t len) { path_->len = len; }

    // One operation at the current path; `value` (copied into it) for add
    // and replace, an empty slot written as a null.
    bool emit(const char *op, const pz_variant_t *value) {
        const bool has_value = std::strcmp(op, "remove") != 0;
        if (has_value && value != nullptr && !nesting_within(value)) return fail(PZ_PATCH_TOO_DEEP);
        pz_variant_t *record = pz_variant_dict_new();
        bool ok = dict_put_moved(record, "op", pz_variant_str_new(op)) &&
                  dict_put_moved(record, "path", vstr_sized_new(path_->data, static_cast<uint32_t>(path_->len)));
        if (ok && has_value) {
            walk_path walk;
            auto *v = const_cast<pz_variant_t *>(value);  // only read
            ok = dict_put_moved(record, "value", v != nullptr ? copy_within(v, walk) : new_record(vtype_null));
        }
        if (!ok) pz_variant_unref(record);
        // The array takes the record over, also when it cannot grow.
        return (ok && array_append_moved(ops_, record)) || fail(PZ_PATCH_OUT_OF_MEMORY);
    }

    bool fail(pz_patch_code code) {
        code_ = code;
        return false;
    }

    walk_path walk_;  // over `from`
    pz_variant_t *ops_ = nullptr;
    pz_array_t *path_ = nullptr;  // of char: the pointer of the values compared, not terminated
    pz_patch_code code_ = PZ_PATCH_OK;
};

}  // namespace

extern "C" pz_patch_code pz_variant_diff(const pz_variant_t *from, const pz_variant_t *to, pz_variant_t **patch) {
    if (patch != nullptr) *patch = nullptr;
    if (from == nullptr || to == nullptr || patch == nullptr) return PZ_PATCH_INVALID_ARGUMENT;
    differ d;
    return d.run(from, to, patch);
}
