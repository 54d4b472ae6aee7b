/* Built against an installed pzvariant found through pkg-config. */
#include <pzvariant/pz_variant.h>
#include <stdio.h>

int main(void) {
    pz_variant_t *d = pz_variant_dict_new();
    pz_variant_t *n = pz_variant_uint16_new(65535);
    pz_variant_dict_put(d, "n", n);
    pz_variant_unref(n);
    pz_variant_t *got = pz_variant_dict_get(d, "n");
    const int ok = got != NULL && got->vt == vtype_uint16 && got->uint16_val == 65535;
    pz_variant_unref(got);
    pz_variant_unref(d);
    printf("C consumer: %s\n", ok ? "ok" : "FAILED");
    return ok ? 0 : 1;
}
