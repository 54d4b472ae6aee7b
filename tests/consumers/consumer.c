/* Built against an installed pzvariant found through pkg-config or CMake.
 * The dump and its reading back pull in the parts of the library that need
 * the C++ runtime. */
#include <pzvariant/pz_variant.h>
#include <stdio.h>

int main(void) {
    pz_variant_t *d = pz_variant_dict_new();
    pz_variant_t *n = pz_variant_uint16_new(65535);
    pz_variant_dict_put(d, "n", n);
    pz_variant_unref(n);
    pz_variant_t *got = pz_variant_dict_get(d, "n");
    char *text = pz_variant_dump(d);
    pz_variant_t *back = pz_variant_from_dump(text);
    const int ok = got != NULL && got->vt == vtype_uint16 && got->uint16_val == 65535 &&
                   pz_variant_equal(back, d);
    HAL_Free(text);
    pz_variant_unref(back);
    pz_variant_unref(got);
    pz_variant_unref(d);
    printf("C consumer: %s\n", ok ? "ok" : "FAILED");
    return ok ? 0 : 1;
}
