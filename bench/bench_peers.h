// What the workloads run against the peers share: sizes, keys, the
// conversion of the document into a peer's tree, and the memory counting.
// Benchmarks are named "W<n>/<library>"; bench_main.cpp prints the table.
#ifndef PZ_BENCH_PEERS_H
#define PZ_BENCH_PEERS_H

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "bench_document.h"
#include "pzvariant/pz_variant.h"

#define PZ_W(fn, name) BENCHMARK(fn)->Name(name)->Unit(benchmark::kMillisecond)->MinTime(0.3)

namespace pz_bench {

inline constexpr int kScalars = 1000000;
inline constexpr int kElements = 1000000;
inline constexpr int kKeys = 100000;
inline constexpr const char *kName = "a short name";

inline const std::vector<std::string> &keys() {
    static const std::vector<std::string> k = [] {
        std::vector<std::string> out;
        out.reserve(kKeys);
        char buf[16];
        for (int i = 0; i < kKeys; ++i) {
            std::snprintf(buf, sizeof buf, "k%d", i);
            out.emplace_back(buf);
        }
        return out;
    }();
    return k;
}

template <class Node>
struct converter {
    virtual ~converter() = default;
    virtual Node scalar(const pz_variant_t *v) = 0;
    virtual Node array() = 0;
    virtual void append(Node array, Node item) = 0;
    virtual Node object() = 0;
    virtual void set(Node object, const char *key, Node item) = 0;

    Node convert(const pz_variant_t *v) {
        if (v->vt == vtype_array) {
            Node out = array();
            const uint32_t n = pz_variant_array_size(v);
            for (uint32_t i = 0; i < n; ++i) {
                pz_variant_t *item = pz_variant_array_index(v, i);
                append(out, convert(item));
                pz_variant_unref(item);
            }
            return out;
        }
        if (v->vt == vtype_dict) {
            Node out = object();
            std::pair<converter *, Node> ctx{this, out};
            pz_variant_dict_foreach(const_cast<pz_variant_t *>(v), member, &ctx);
            return out;
        }
        return scalar(v);
    }

    static bool member(void *key, void *value, void *user) {
        auto *ctx = static_cast<std::pair<converter *, Node> *>(user);
        ctx->first->set(ctx->second, static_cast<pz_string_t *>(key)->cstr,
                        ctx->first->convert(static_cast<const pz_variant_t *>(value)));
        return true;
    }
};

// Numbers as the peer's integer or double, texts as texts, flags as flags.
template <class Node, class Int, class Dbl, class Str, class Bool>
Node scalar_of(const pz_variant_t *v, Int integer, Dbl dbl, Str str, Bool flag) {
    switch (v->vt) {
        case vtype_bool: return flag(v->bool_val);
        case vtype_int8: return integer(v->int8_val);
        case vtype_uint8: return integer(v->uint8_val);
        case vtype_int16: return integer(v->int16_val);
        case vtype_uint16: return integer(v->uint16_val);
        case vtype_int32: return integer(v->int32_val);
        case vtype_uint32: return integer(v->uint32_val);
        case vtype_int64: return integer(v->int64_val);
        case vtype_uint64: return integer(static_cast<int64_t>(v->uint64_val));
        case vtype_float: return dbl(v->float_val);
        case vtype_double: return dbl(v->double_val);
        case vtype_string: return str(v->str_val != nullptr ? v->str_val : "");
        default: return str("");
    }
}

inline constexpr int kMemItems = 100000;

// Bytes in use, small blocks and mapped ones alike.
inline size_t heap_in_use() {
    const struct mallinfo2 m = mallinfo2();
    return m.uordblks + m.hblkhd;
}

// `make` builds kMemItems items and returns what releases them.
template <class Make>
double bytes_per_item(Make make) {
    malloc_trim(0);
    const size_t before = heap_in_use();
    auto release = make();
    const size_t after = heap_in_use();
    release();
    return static_cast<double>(after - before) / kMemItems;
}

// kMemItems separate scalars, held in a vector made before counting starts.
template <class Make, class Drop>
double bytes_per_scalar(Make make, Drop drop) {
    std::vector<decltype(make(0))> held;
    held.reserve(kMemItems);
    malloc_trim(0);
    const size_t before = heap_in_use();
    for (int i = 0; i < kMemItems; ++i) held.push_back(make(i));
    const size_t after = heap_in_use();
    for (auto v : held) drop(v);
    return static_cast<double>(after - before) / kMemItems;
}

// Bytes in use per item, measured at glibc's allocator.
struct memory_bytes {
    double scalar;   // a separate integer value
    double element;  // an integer value appended to an array
    double entry;    // an integer value put in a dictionary under a short key
};

// Peak memory of reading the document: ours, and cJSON's parse of the same
// text (the floor), in bytes.
struct peak_bytes {
    double ours;
    double floor;
};

peak_bytes read_peak();

// The rise of the resident set's high-water mark while `run` runs, in a
// child process, so that each run starts from the same heap: what one run
// frees cannot serve the next. Freed memory is handed back first, and the
// mark reset, so that the rise is the run's own. -1 when it cannot be had.
template <class Run>
double resident_peak(Run run) {
    auto status = [](const char *field) {
        double kb = -1.0;
        if (FILE *f = std::fopen("/proc/self/status", "r")) {
            char line[256];
            const size_t n = std::strlen(field);
            while (std::fgets(line, sizeof line, f) != nullptr) {
                if (std::strncmp(line, field, n) == 0) kb = std::atof(line + n);
            }
            std::fclose(f);
        }
        return kb * 1024;
    };
    int out[2];
    if (pipe(out) != 0) return -1.0;
    const pid_t child = fork();
    if (child == 0) {
        malloc_trim(0);
        if (FILE *f = std::fopen("/proc/self/clear_refs", "w")) {
            std::fputs("5", f);  // resets the high-water mark to the current set
            std::fclose(f);
        }
        const double before = status("VmRSS:");
        run();
        const double rise = status("VmHWM:") - before;
        _exit(write(out[1], &rise, sizeof rise) == sizeof rise ? 0 : 1);
    }
    close(out[1]);
    double rise = -1.0;
    if (child < 0 || read(out[0], &rise, sizeof rise) != sizeof rise) rise = -1.0;
    close(out[0]);
    if (child > 0) waitpid(child, nullptr, 0);
    return rise;
}

memory_bytes memory_pz();
memory_bytes memory_jansson();
memory_bytes memory_jsonc();
memory_bytes memory_cjson();
memory_bytes memory_glib();

// A library's plain JSON, behind untyped pointers for bench_json.cpp: read a
// text into its tree, release the tree, write the tree as compact text (and
// drop the text).
struct plain_json {
    void *(*read)(const char *text);
    void (*release)(void *tree);
    void (*write)(void *tree);
};

plain_json plain_json_pz();
plain_json plain_json_jansson();
plain_json plain_json_jsonc();
plain_json plain_json_cjson();

}  // namespace pz_bench

#endif  // PZ_BENCH_PEERS_H
