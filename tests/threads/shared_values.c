/* Values shared across threads as a program does it: workers take their
 * own references to one configuration, read it, make and drop values of
 * their own, and drop their references while the others still read; the
 * last one to let go frees it. Run under helgrind by run_helgrind.sh, it
 * must give no report. */
#include <pthread.h>
#include <stdio.h>

#include <pzvariant/pz_variant.h>

enum { kWorkers = 4, kRounds = 200 };

static void *work(void *arg) {
    pz_variant_t *cfg = (pz_variant_t *)arg; /* this thread's own reference */
    long sum = 0;
    for (int round = 0; round < kRounds; ++round) {
        pz_variant_t *hosts = pz_variant_dict_get(cfg, "hosts");
        pz_variant_t *host = pz_variant_array_index(hosts, (uint32_t)round % 3);
        uint16_t port = 0;
        if (pz_variant_get_uint16(pz_variant_path_find(cfg, "/server/port"), &port) == PZ_GET_OK) sum += port;
        pz_variant_t *copy = pz_variant_dup(host);
        sum += pz_variant_equal(copy, host);
        pz_variant_unref(copy);
        pz_variant_unref(host);
        pz_variant_unref(hosts);
    }
    char *text = pz_variant_dump(cfg);
    sum += text != NULL;
    HAL_Free(text);
    pz_variant_unref(cfg);
    return (void *)sum;
}

int main(void) {
    pz_variant_t *cfg = pz_variant_from_json(
        "{\"server\":{\"port\":8080},\"hosts\":[\"a\",{\"name\":\"b\",\"tags\":[1,2]},\"c\"]}", NULL);
    if (cfg == NULL) return 1;
    pthread_t workers[kWorkers];
    for (int i = 0; i < kWorkers; ++i) {
        if (pthread_create(&workers[i], NULL, work, pz_variant_ref(cfg)) != 0) return 1;
    }
    pz_variant_unref(cfg); /* the workers hold the value now */
    long total = 0;
    for (int i = 0; i < kWorkers; ++i) {
        void *sum;
        pthread_join(workers[i], &sum);
        total += (long)sum;
    }
    const long want = (long)kWorkers * (kRounds * (8080 + 1) + 1);
    printf("shared values: %s\n", total == want ? "ok" : "FAILED");
    return total == want ? 0 : 1;
}
