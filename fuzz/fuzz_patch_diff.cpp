// JSON Patch and diff on two plain JSON texts split at the input's first
// NUL byte (a byte no JSON text holds): the diff of the two values, applied
// to the first, gives the second, also after going through its JSON text,
// and the diff of a value with itself is empty. The second value is also
// applied to the first as a patch: refused, it leaves the first as it was.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "pzvariant/pz_variant.h"

namespace {

pz_variant_t *read(const uint8_t *data, size_t size) {
    return pz_variant_from_json_n(reinterpret_cast<const char *>(data), size, nullptr);
}

void require(bool holds) {
    if (!holds) std::abort();
}

// `patch` applied to a copy of `doc` gives `want`.
void expect_patched(const pz_variant_t *doc, const pz_variant_t *patch, const pz_variant_t *want) {
    pz_variant_t *copy = pz_variant_dup(const_cast<pz_variant_t *>(doc));
    require(copy != nullptr && pz_variant_patch(copy, patch, nullptr) && pz_variant_equal(copy, want));
    pz_variant_unref(copy);
}

void expect_diff_round_trip(const pz_variant_t *a, const pz_variant_t *b) {
    pz_variant_t *patch = nullptr;
    require(pz_variant_diff(a, b, &patch) == PZ_PATCH_OK);
    expect_patched(a, patch, b);
    // Its text is written unless the patch, two levels above the values it
    // holds, nests too deep.
    char *text = pz_variant_to_json(patch, 0);
    if (text != nullptr) {
        pz_variant_t *read_back = pz_variant_from_json(text, nullptr);
        require(read_back != nullptr);
        expect_patched(a, read_back, b);
        pz_variant_unref(read_back);
        HAL_Free(text);
    }
    pz_variant_unref(patch);
}

// A refused patch leaves the document equal to what it was; an applied one
// changed a copy, not the value it was copied from.
void expect_all_or_nothing(const pz_variant_t *doc, const pz_variant_t *patch) {
    pz_variant_t *copy = pz_variant_dup(const_cast<pz_variant_t *>(doc));
    pz_patch_error_t error;
    const bool applied = pz_variant_patch(copy, patch, &error);
    require(applied ? error.code == PZ_PATCH_OK : error.code != PZ_PATCH_OK && error.reason[0] != '\0');
    require(applied || pz_variant_equal(copy, doc));
    require(applied || error.index < pz_variant_array_size(patch) || pz_variant_array_size(patch) == 0);
    pz_variant_unref(copy);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const auto *split = static_cast<const uint8_t *>(std::memchr(data, 0, size));
    if (split == nullptr) return 0;
    pz_variant_t *a = read(data, static_cast<size_t>(split - data));
    pz_variant_t *b = read(split + 1, size - static_cast<size_t>(split - data) - 1);
    if (a != nullptr && b != nullptr) {
        expect_diff_round_trip(a, b);
        pz_variant_t *none = nullptr;
        require(pz_variant_diff(b, b, &none) == PZ_PATCH_OK && pz_variant_array_size(none) == 0);
        pz_variant_unref(none);
        expect_all_or_nothing(a, b);
    }
    pz_variant_unref(a);
    pz_variant_unref(b);
    return 0;
}
