/* A MessagePack conversation with Python's msgpack (python3-msgpack) over a
 * pipe each way, through the stream reader and writer. Each round this side
 * sends a message of its making and reads it back as Python echoes it, then
 * reads a message of Python's and echoes it. Python checks the bytes (see
 * msgpack_peer.py); this side checks that each echo of its own message is
 * the message it sent, written again bit for bit, and that the stream ends
 * cleanly. Exit 0 when both sides agree, 77 when Python has no msgpack.
 *
 * Usage: msgpack_peer PYTHON SCRIPT */
#define _POSIX_C_SOURCE 200809L
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <pzvariant/pz_variant.h>

enum { ROUNDS = 10000 };

static uint64_t state = 0x9E3779B97F4A7C15u;

static uint64_t random_bits(void) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return state;
}

static pz_variant_t *random_text(void) {
    static const char *const pieces[] = {"plain", "caf\xc3\xa9", "\xe6\x97\xa5", "\xf0\x9f\x98\x80", "q\"t\\", ""};
    char text[600] = "";
    const unsigned n = (unsigned)(random_bits() % 4 == 0 ? 60 : random_bits() % 4);
    for (unsigned i = 0; i < n; ++i) strcat(text, pieces[random_bits() % 6]);
    return pz_variant_str_new(text);
}

/* A scalar of any kind Python reads back as itself when written in the
 * fewest bytes: every integer width, doubles, texts, bytes, bools, null. */
static pz_variant_t *random_scalar(void) {
    const uint64_t x = random_bits();
    switch (random_bits() % 10) {
    case 0: return pz_variant_int8_new((int8_t)x);
    case 1: return pz_variant_int32_new((int32_t)x);
    case 2: return pz_variant_int64_new((int64_t)x);
    case 3: return pz_variant_uint16_new((uint16_t)x);
    case 4: return pz_variant_uint64_new(x);
    case 5: return pz_variant_double_new((double)(int64_t)x / 1e7);
    case 6: return random_text();
    case 7: return vstr_buf_new((const uint8_t *)&state, (uint32_t)(x % 9));
    case 8: return pz_variant_bool_new(x % 2 != 0);
    default: return pz_variant_change_type(pz_variant_bool_new(false), vtype_null);
    }
}

static pz_variant_t *random_value(int depth) {
    const unsigned kind = (unsigned)(random_bits() % (depth < 3 ? 8 : 6));
    if (kind < 6) return random_scalar();
    pz_variant_t *c = kind == 6 ? pz_variant_array_new() : pz_variant_dict_new();
    for (unsigned i = (unsigned)(random_bits() % 5); i > 0; --i) {
        pz_variant_t *e = random_value(depth + 1);
        char key[16];
        snprintf(key, sizeof key, "k%u", i);
        if (kind == 6) {
            pz_variant_array_append(c, e);
        } else {
            pz_variant_dict_put(c, key, e);
        }
        pz_variant_unref(e);
    }
    return c;
}

/* A dictionary of six members of mixed kinds. */
static pz_variant_t *message(unsigned round) {
    static const char *const names[] = {"id", "name", "score", "tags", "blob", "meta"};
    pz_variant_t *m = pz_variant_dict_new();
    for (int i = 0; i < 6; ++i) {
        pz_variant_t *v = i == 0 ? pz_variant_uint32_new(round) : random_value(1);
        pz_variant_dict_put(m, names[i], v);
        pz_variant_unref(v);
    }
    return m;
}

/* Whether `a` and `b` write the same bytes, in the fewest bytes. */
static bool same_bytes(const pz_variant_t *a, const pz_variant_t *b) {
    size_t la = 0, lb = 0;
    uint8_t *ba = pz_variant_to_msgpack(a, PZ_MSGPACK_SMALLEST, &la);
    uint8_t *bb = pz_variant_to_msgpack(b, PZ_MSGPACK_SMALLEST, &lb);
    const bool same = ba != NULL && bb != NULL && la == lb && memcmp(ba, bb, la) == 0;
    HAL_Free(ba);
    HAL_Free(bb);
    return same;
}

static pz_variant_t *receive(pz_stream_reader_t *in, int fd) {
    pz_variant_t *v = NULL;
    pz_read_error_t why;
    if (pz_stream_reader_read_fd(in, fd, &v, &why) != PZ_STREAM_VALUE) {
        fprintf(stderr, "C: no message (%s at byte %zu)\n", why.reason, why.offset);
    }
    return v;
}

int main(int argc, char **argv) {
    if (argc != 3) return 2;
    char check[512];
    snprintf(check, sizeof check, "%s -c 'import msgpack' >/dev/null 2>&1", argv[1]);
    if (system(check) != 0) {
        fprintf(stderr, "skipped: %s has no msgpack\n", argv[1]);
        return 77;
    }
    int to_python[2], from_python[2];
    if (pipe(to_python) != 0 || pipe(from_python) != 0) return 2;
    const pid_t python = fork();
    if (python == 0) {
        dup2(to_python[0], 0);
        dup2(from_python[1], 1);
        close(to_python[1]);
        close(from_python[0]);
        execl(argv[1], argv[1], argv[2], (char *)NULL);
        _exit(127);
    }
    close(to_python[0]);
    close(from_python[1]);

    pz_stream_writer_t *out = pz_stream_writer_new_fd(PZ_STREAM_MSGPACK, PZ_MSGPACK_SMALLEST, to_python[1]);
    pz_stream_reader_t *in = pz_stream_reader_new(PZ_STREAM_MSGPACK, 0);
    unsigned rounds = 0, failures = 0;
    for (; rounds < ROUNDS; ++rounds) {
        pz_variant_t *mine = message(rounds);
        if (!pz_stream_write(out, mine)) break;
        pz_variant_t *echo = receive(in, from_python[0]);
        pz_variant_t *theirs = receive(in, from_python[0]);
        failures += echo == NULL || theirs == NULL || !same_bytes(mine, echo);
        const bool echoed = theirs != NULL && pz_stream_write(out, theirs);
        pz_variant_unref(mine);
        pz_variant_unref(echo);
        pz_variant_unref(theirs);
        if (!echoed) break;
    }
    close(to_python[1]);
    pz_variant_t *extra = NULL;
    const pz_stream_status end = pz_stream_reader_read_fd(in, from_python[0], &extra, NULL);
    pz_variant_unref(extra);
    pz_stream_reader_free(in);
    pz_stream_writer_free(out);
    close(from_python[0]);
    int status = 0;
    waitpid(python, &status, 0);
    fprintf(stderr, "C: %u rounds, %u echoes that differ, stream %s\n", rounds, failures,
            end == PZ_STREAM_END ? "ended" : "did not end");
    const bool python_ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return rounds == ROUNDS && failures == 0 && end == PZ_STREAM_END && python_ok ? 0 : 1;
}
