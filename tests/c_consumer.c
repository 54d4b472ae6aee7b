/* A plain C11 program against the public header, linked to the library as
 * any C user would link it. Exits non-zero on the first mismatch. */
#include <stdio.h>
#include <string.h>

#include <pzvariant/pz_variant.h>

static int failures = 0;
#define CHECK(cond)                                                  \
    do {                                                             \
        if (!(cond)) {                                               \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #cond); \
            ++failures;                                              \
        }                                                            \
    } while (0)

static int destroyed = 0;
static void destroy(void *p) {
    (void)p;
    ++destroyed;
}

int main(void) {
    pz_variant_t *n = pz_variant_int64_new(-42);
    CHECK(n != NULL && n->vt == vtype_int64 && n->int64_val == -42);
    CHECK(pz_variant_ref(n) == n);
    pz_variant_unref(n);

    pz_variant_t *s = pz_variant_str_new("hello");
    CHECK(s->len == 5 && strcmp(s->str_val, "hello") == 0);
    CHECK(pz_variant_str_cmp(s, "hello") == 0);

    pz_variant_t *arr = pz_variant_array_new();
    pz_variant_array_append(arr, n);
    pz_variant_array_append(arr, s);
    CHECK(pz_variant_array_size(arr) == 2);

    pz_variant_t *dict = pz_variant_dict_new();
    pz_variant_dict_put(dict, "list", arr);
    pz_variant_t *owned = pz_variant_autoptr_new(&failures, destroy);
    pz_variant_dict_put(dict, "owned", owned);
    CHECK(pz_variant_dict_size(dict) == 2);
    pz_variant_t *got = pz_variant_dict_get(dict, "list");
    CHECK(got == arr);
    pz_variant_unref(got);

    pz_variant_unref(owned);
    pz_variant_unref(arr);
    pz_variant_unref(s);
    pz_variant_unref(n);
    pz_variant_unref(dict);
    CHECK(destroyed == 1);

    void *block = HAL_Malloc(8);
    CHECK(block != NULL);
    HAL_Free(block);

    if (failures == 0) printf("c_consumer: all checks passed\n");
    return failures == 0 ? 0 : 1;
}
