// The state of one run of the stateful API target: the library's values in
// a few slots, the model beside them, the input that drives the operations
// and the allocation failure armed for the current one.
#ifndef PZ_FUZZ_API_HARNESS_H
#define PZ_FUZZ_API_HARNESS_H

#include <cstdio>
#include <cstdlib>
#include <string>

#include "api_model.h"
#include "counting_hal.h"

namespace harness {

using model::Model;
using model::Node;

[[noreturn]] inline void fail(const char *what) {
    std::fprintf(stderr, "fuzz_api: %s\n", what);
    std::abort();
}

// Bytes of the input, read in order; zeros once it is used up.
struct Input {
    const uint8_t *data;
    size_t size;

    bool empty() const { return size == 0; }
    uint8_t byte() {
        if (size == 0) return 0;
        --size;
        return *data++;
    }
    uint64_t bits(int bytes) {
        uint64_t out = 0;
        for (int i = 0; i < bytes; ++i) out = out << 8 | byte();
        return out;
    }
    // Up to 15 bytes of text, NULs included.
    std::string text() {
        std::string out;
        for (int n = byte() % 16; n > 0; --n) out += static_cast<char>(byte());
        return out;
    }
    // A dictionary key: 1 to 4 letters of a small alphabet, so that keys meet.
    std::string key() {
        std::string out(1 + byte() % 2, 'a');
        for (char &c : out) c = static_cast<char>('a' + byte() % 4);
        return out;
    }
};

struct Harness {
    std::array<pz_variant_t *, model::kSlots> lib{};
    Model m;
    Input in{nullptr, 0};
    int objects_used = 0;
    std::vector<char> was_owned = std::vector<char>(model::kObjects, 0);
    long fail_nth = 0;
    bool persist = false;
    bool fired = false;  // an allocation failed inside the armed call

    int slot() { return in.byte() % model::kSlots; }
    pz_variant_t *&lib_at(int s) { return lib[static_cast<size_t>(s)]; }
    int &node_at(int s) { return m.slots[static_cast<size_t>(s)]; }
    // A fresh object for an owned or shared pointer; null when all are used.
    void *new_object() {
        return objects_used < model::kObjects ? &model::objects[objects_used++] : nullptr;
    }

    // Runs `call` with the operation's failure armed.
    template <class Call>
    auto armed(Call call) {
        const long before = hal_failed_mallocs();
        hal_fail_nth(fail_nth, persist ? 1 : 0);
        auto result = call();
        hal_fail_nth(0, 0);
        fired |= hal_failed_mallocs() != before;
        return result;
    }

    // Puts the new reference `v` in slot `s`, dropping the one there.
    void store(int s, pz_variant_t *v) {
        pz_variant_unref(lib_at(s));
        lib_at(s) = v;
    }

    // The library must be in the first of `states` (or, when an allocation
    // failed, in any of them), which becomes the model.
    void settle(std::vector<Model> states, const char *op);
};

// Every operation: reads its arguments from the input, runs its call on the
// library and the model and settles.
void run_operation(Harness &h, uint8_t code);

}  // namespace harness

#endif  // PZ_FUZZ_API_HARNESS_H
