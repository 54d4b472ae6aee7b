/* Built against an installed pzvariant found through pkg-config or CMake.
 * The dump and its reading back pull in the parts of the library that need
 * the C++ runtime. */
#include <pzvariant/pz_variant.h>
#include <stdio.h>

static int count_scalar(void *n, const pz_variant_t *value) {
    (void)value;
    ++*(int *)n;
    return 0;
}

int main(void) {
    pz_variant_t *d = pz_variant_dict_new();
    vdict_set_uint16(d, "n", 65535);
    char *text = pz_variant_dump(d);
    pz_variant_t *back = pz_variant_from_dump(text);
    uint16_t n = 0;
    const int checked = pz_variant_get_uint16(pz_variant_path_find(back, "/n"), &n) == PZ_GET_OK && n == 65535;
    pz_events_t events = {0};
    events.scalar = count_scalar;
    int scalars = 0;
    const int evented = pz_events_read_json("[1,2,3]", 7, 0, &events, &scalars, NULL, NULL) == PZ_EVENTS_READ;
    const int ok = checked && evented && scalars == 3 && vdict_uint16_default(back, "n", 0) == 65535 &&
                   pz_variant_equal(back, d);
    HAL_Free(text);
    pz_variant_unref(back);
    pz_variant_unref(d);
    printf("C consumer: %s\n", ok ? "ok" : "FAILED");
    return ok ? 0 : 1;
}
