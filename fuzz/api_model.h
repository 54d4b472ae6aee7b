// The shadow model of the stateful API target: what every value the
// program holds must contain, beside the library's values.
//
// Values are nodes in one vector, linked by index (-1: an empty slot), so
// that a state can be copied whole: an operation that may end in one of a
// few documented states builds each as a copy of the model, and the state
// that matches the library becomes the model. A node learns which library
// value it stands for on its first match and must stay that value.
#ifndef PZ_FUZZ_API_MODEL_H
#define PZ_FUZZ_API_MODEL_H

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "pzvariant/pz_variant.h"

namespace model {

// Objects behind the owned and shared pointers, and the calls made on them.
constexpr int kObjects = 512;
extern int objects[kObjects];
struct Calls {
    int dtor = 0, ref = 0, unref = 0;
};
extern Calls calls[kObjects];
int object_of(const void *p);

// The record sizes a value's block has room for (see autoptr/sharedptr_set).
enum Room : uint8_t { kPlain, kOwnedRoom, kSharedRoom };

struct Node {
    char vt = vtype_null;
    uint64_t bits = 0;  // the union, for the kinds that live in it and the pointers
    uint32_t len = 0;   // a raw pointer's length (strings and buffers: text.size())
    std::string text;   // a string's or buffer's bytes
    bool storage = true;  // a container has storage
    std::vector<int> elems;
    std::vector<std::pair<std::string, int>> entries;
    int object = -1;  // the object of an owned or shared pointer
    Room room = kPlain;
    const pz_variant_t *lib = nullptr;  // the library value, once matched
    // Leeway of a state built for a failure: this element may be an empty
    // slot, and an array may end anywhere from `min_len` on.
    bool may_be_empty = false;
    size_t min_len = SIZE_MAX;
};

constexpr int kSlots = 4;

struct Model {
    std::vector<Node> nodes;
    std::array<int, kSlots> slots{-1, -1, -1, -1};

    Node &at(int n) { return nodes[static_cast<size_t>(n)]; }
    const Node &at(int n) const { return nodes[static_cast<size_t>(n)]; }
    int add(Node node);
    int scalar(char vt, uint64_t bits);
    int text(char vt, std::string bytes);
    bool is_container(int n) const;
    // Whether `n` can be walked: nested at most PZ_VARIANT_MAX_DEPTH deep
    // and holding no loop.
    bool walkable(int n) const;
    int depth(int n) const;
    // Whether `inner` is `outer` or lies inside it.
    bool reaches(int outer, int inner) const;
    // The nodes the slots reach, each once.
    std::vector<int> reachable() const;

    // A deep copy as pz_variant_dup makes it.
    int copy(int n);
    // What the typed dump or plain JSON of `n` reads back as; -1 for a value
    // that does not read back.
    int read_back(int n, bool plain);
    // What the MessagePack of `n` (pointers written as nil) reads back as;
    // -1 for an empty slot, which is what a nil in an array reads as.
    int read_back_binary(int n, bool in_array);
    // A dictionary merged into an empty one, leaving out nulls.
    int patched_copy(int patch);
    // merge_patch of `patch` into `target`; false when it is refused.
    bool merge_patch(int target, int patch);
    // pz_variant_equal.
    bool equal(int a, int b) const;
    // Moves `from`'s contents into `to`, keeping `to`'s identity and room.
    void take_contents(int to, int from);
    void clear(int n);
    // Sets `key` of the dictionary `d` to `v` (-1 removes it).
    void put(int d, const std::string &key, int v);
    int find(int d, const std::string &key) const;

private:
    void merge_dicts(int target, int patch);
};

// Whether the library's values in the slots are the model's: kinds,
// contents, order, identity of shared values and reference counts; the
// leeway of a failure state is resolved in `m` to what was found. Also
// checks that the callbacks are balanced with what the model holds.
bool matches(const std::array<pz_variant_t *, kSlots> &slots, Model &m);
// A model value written out, for a failure report.
std::string describe(const Model &m, int n, int depth = 0);
bool callbacks_balanced(const Model &m, int objects_used, std::vector<char> &was_owned);

}  // namespace model

#endif  // PZ_FUZZ_API_MODEL_H
