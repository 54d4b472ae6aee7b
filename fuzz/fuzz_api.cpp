// A stateful fuzz target of the C API: the input drives operations over a
// few value slots, with an allocation failing inside any of them (once, or
// from then on), and a model of every value beside the library. After each
// step every value must be what the model says (kinds, contents, order,
// shared values, reference counts) and the callbacks balanced; at the end
// every block is released.
//
// Input: per operation one byte for the failure (its top two bits set: the
// n-th allocation fails, n in its low five bits, from then on when bit 5
// is set), one for the operation, then its arguments.
#include <cstdint>

#include "api_harness.h"
#include "pzvariant/hal/pz_hal.h"
#include "pzvariant/pz_variant.h"

namespace {

constexpr int kMaxOperations = 64;
constexpr size_t kMaxNodes = 6000;

}  // namespace

namespace {

// What each slot holds, in the library and in the states allowed.
void report(const harness::Harness &h, const std::vector<harness::Model> &states) {
    for (size_t s = 0; s < model::kSlots; ++s) {
        char *text = pz_variant_dump(h.lib[s]);
        std::fprintf(stderr, "slot %zu: %s\n  model: %s\n", s, text != nullptr ? text : "NULL",
                     model::describe(h.m, h.m.slots[s]).c_str());
        for (const harness::Model &state : states) {
            std::fprintf(stderr, "  or: %s\n", model::describe(state, state.slots[s]).c_str());
        }
        HAL_Free(text);
    }
}

}  // namespace

void harness::Harness::settle(std::vector<Model> states, const char *op) {
    if (!fired) states.resize(1);
    for (Model &state : states) {
        if (!model::matches(lib, state)) continue;
        m = std::move(state);
        if (!model::callbacks_balanced(m, objects_used, was_owned)) fail(op);
        return;
    }
    report(*this, states);
    fail(op);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const long live = hal_live_blocks();
    for (model::Calls &c : model::calls) c = {};
    harness::Harness h;
    h.in = {data, size};
    for (int i = 0; i < kMaxOperations && !h.in.empty() && h.m.nodes.size() < kMaxNodes; ++i) {
        const uint8_t failure = h.in.byte();
        const bool armed = (failure & 0xC0) == 0xC0;
        h.fail_nth = armed ? (failure & 0x1F) + 1 : 0;
        h.persist = (failure & 0x20) != 0;
        h.fired = false;
        harness::run_operation(h, h.in.byte());
    }
    for (int s = 0; s < model::kSlots; ++s) h.store(s, nullptr);
    h.m.slots.fill(-1);
    h.fired = false;
    h.settle({h.m}, "release at the end");
    if (hal_live_blocks() != live) harness::fail("blocks left when every value is released");
    return 0;
}
