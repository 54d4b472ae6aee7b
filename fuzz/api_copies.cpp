// Copies, merges and texts in the stateful API target: dup, concat,
// merge_patch, the typed dump, plain JSON and MessagePack both ways, equality, and values
// the walks must refuse (containing themselves, nested too deep).
#include <algorithm>

#include "text/utf8.h"

#include "api_ops.h"
#include "pzvariant/hal/pz_hal.h"

namespace harness {

namespace {

void dup(Harness &h) {
    const int s = h.slot(), to = h.slot();
    const int n = h.node_at(s);
    h.store(to, h.armed([&] { return pz_variant_dup(h.lib_at(s)); }));
    Model done = h.m;
    done.slots[static_cast<size_t>(to)] = n >= 0 && done.walkable(n) ? done.copy(n) : -1;
    h.settle({done, with_slot(h.m, to, -1)}, "dup");
}

// The states of `v` (slot `s`) after copying a container into it: the copies of the
// first k elements or entries added, the last state (the whole copy) first;
// a `v` of another kind first becomes an empty container, or one without
// storage when that cannot be made. Without a failure only the whole copy
// is built, and for an array only the k that the library's size shows.
std::vector<Model> container_states(Harness &h, int s, int v, int other) {
    const Model &m = h.m;
    Model start = m;
    const char vt = m.at(other).vt;
    const auto old = m.at(other);  // as it was, should `v` be `other`
    std::vector<Model> states;
    if (start.at(v).vt != vt) {
        start.clear(v);
        start.at(v).vt = vt;
        Model bare = start;
        bare.at(v).storage = false;
        states.push_back(bare);
    }
    // An array left without storage (a change of kind short of memory)
    // takes nothing, as every array operation does.
    if (!start.at(v).storage) return {start};
    const size_t before = start.at(v).elems.size();
    const size_t got = pz_variant_array_size(h.lib_at(s));
    const size_t count = vt == vtype_array ? old.elems.size() : old.entries.size();
    Model step = start;
    for (size_t i = 0, added = 0; i <= count; ++i) {
        const bool shown = vt != vtype_array || before + added == got;
        if (h.fired && shown) states.push_back(step);
        if (i == count) break;
        if (vt == vtype_dict) {
            step.put(v, old.entries[i].first, step.copy(old.entries[i].second));
        } else if (old.elems[i] >= 0) {
            const int c = step.copy(old.elems[i]);  // first: it may move the nodes
            step.at(v).elems.push_back(c);
            ++added;
        }
    }
    states.insert(states.begin(), std::move(step));
    return states;
}

// What concat into the existing value `v` of slot `s` may leave.
std::vector<Model> concat_states(Harness &h, int s, int v, int other) {
    const Model &m = h.m;
    const Node &o = m.at(other);
    Model done = m;
    switch (o.vt) {
        case vtype_autoptr:
            return {m};
        case vtype_sharedptr: {
            if (m.at(v).vt == vtype_sharedptr) {
                done.at(v).object = o.object;
                done.at(v).bits = o.bits;
                return {done};
            }
            done.clear(v);
            Model failed = with_slot(done, s, -1);
            done.slots[static_cast<size_t>(s)] = pointer_node(done, vtype_sharedptr, &model::objects[o.object]);
            return {done, failed};
        }
        case vtype_string:
        case vtype_bytes: {
            const std::string text = o.vt == vtype_string ? std::string(o.text.c_str()) : o.text;
            done.clear(v);
            done.at(v).vt = o.vt;
            Model failed = done;
            done.at(v).text = text;
            return {done, failed};
        }
        case vtype_array:
        case vtype_dict:
            return container_states(h, s, v, other);
        default: {
            const bool same = m.at(v).vt == o.vt;
            const uint32_t len = m.at(v).len;
            done.clear(v);
            done.at(v).vt = o.vt;
            done.at(v).bits = o.bits;
            done.at(v).len = same ? len : 0;
            return {done};
        }
    }
}

void concat(Harness &h) {
    const int s = h.slot(), from = h.slot();
    const int v = h.node_at(s), other = h.node_at(from);
    // Not modelled: `v` strictly inside `other`, whose copy would see `v`
    // change while it is made.
    if (v >= 0 && other >= 0 && v != other && h.m.reaches(other, v)) return;
    // Empty slots make no nodes, so the node limit does not bound an array
    // of them concatenated to itself over and over: this does.
    constexpr size_t kMaxElements = 1 << 14;
    if (v >= 0 && other >= 0 && h.m.at(v).elems.size() + h.m.at(other).elems.size() > kMaxElements) return;
    pz_variant_t *target = h.lib_at(s);
    pz_variant_t *got = h.armed([&] { return pz_variant_concat(target, h.lib_at(from)); });
    if (v < 0) {
        h.store(s, got);
        Model done = h.m;
        done.slots[static_cast<size_t>(s)] = other >= 0 && done.walkable(other) ? done.copy(other) : -1;
        return h.settle({done, h.m}, "concat into nothing");
    }
    const bool refused = other < 0 || !h.m.walkable(other) || h.m.at(other).vt == vtype_autoptr;
    if (refused) {
        if (got != nullptr) fail("concat of a value it must refuse");
        return h.settle({h.m}, "a refused concat");
    }
    if (got != target) {
        h.lib_at(s) = nullptr;  // the caller's reference went with the old record
        h.store(s, got);
    }
    h.settle(concat_states(h, s, v, other), "concat");
}

void merge_patch(Harness &h) {
    const int s = h.slot(), from = h.slot();
    const int target = h.node_at(s), patch = h.node_at(from);
    const bool got = h.armed([&] { return pz_variant_merge_patch(h.lib_at(s), h.lib_at(from)); });
    Model done = h.m;
    const bool ok = target >= 0 && patch >= 0 && done.merge_patch(target, patch);
    if (got != ok && !(h.fired && !got)) fail("merge_patch's result");
    h.fired = false;  // all or nothing: the state follows the result
    h.settle({got ? done : h.m}, "merge_patch");
}

bool holds_pointer(const Model &m, int n) {
    if (n < 0) return false;
    const char vt = m.at(n).vt;
    if (vt == vtype_ptr || vt == vtype_autoptr || vt == vtype_sharedptr) return true;
    if (!m.is_container(n) || !m.walkable(n)) return false;
    for (const int e : m.at(n).elems) {
        if (holds_pointer(m, e)) return true;
    }
    for (const auto &entry : m.at(n).entries) {
        if (holds_pointer(m, entry.second)) return true;
    }
    return false;
}

// Whether a string or key under `n` (walkable) is not UTF-8, which plain
// JSON refuses to write without PZ_JSON_ESCAPE_INVALID.
bool holds_invalid_text(const Model &m, int n) {
    if (n < 0) return false;
    const Node &node = m.at(n);
    if (node.vt == vtype_string && !pz::utf8_valid(node.text.data(), node.text.size())) return true;
    for (const int e : node.elems) {
        if (holds_invalid_text(m, e)) return true;
    }
    for (const auto &[k, e] : node.entries) {
        if (!pz::utf8_valid(k.data(), k.size()) || holds_invalid_text(m, e)) return true;
    }
    return false;
}

// Writes the value of one slot as the typed dump or as plain JSON and reads
// the text back into another; the failure is armed in the writer or the
// reader.
void text_round_trip(Harness &h, bool plain) {
    const int s = h.slot(), to = h.slot();
    const uint8_t how = h.in.byte();
    const unsigned flags = how & 3;
    const bool in_writer = (how & 4) != 0;
    const int n = h.node_at(s);
    char *text = nullptr;
    auto write = [&] { return plain ? pz_variant_to_json(h.lib_at(s), flags) : pz_variant_dump(h.lib_at(s)); };
    text = in_writer ? h.armed(write) : write();
    const bool writes = n >= 0 && h.m.walkable(n) && !(plain && (flags & PZ_JSON_REFUSE_POINTERS) && holds_pointer(h.m, n)) &&
                        !(plain && holds_invalid_text(h.m, n));
    if ((text != nullptr) != writes && !(h.fired && text == nullptr)) fail(plain ? "to_json's result" : "dump's result");
    if (!plain && text != nullptr && pz_variant_dump_buf(h.lib_at(s), nullptr, 0) != static_cast<int32_t>(std::strlen(text))) {
        fail("dump_buf's length");
    }
    pz_read_error_t error;
    auto read = [&] { return plain ? pz_variant_from_json(text, &error) : pz_variant_from_dump_ex(text, &error); };
    pz_variant_t *back = text == nullptr ? nullptr : in_writer ? read() : h.armed(read);
    HAL_Free(text);
    if (!in_writer && h.fired) {
        // Short of memory the readers leave out what they could not make
        // (and say so in the error): no state to compare, only no leak.
        pz_variant_unref(back);
        back = nullptr;
    }
    h.store(to, back);
    Model done = h.m;
    done.slots[static_cast<size_t>(to)] = text != nullptr ? done.read_back(n, plain) : -1;
    h.settle({done, with_slot(h.m, to, -1)}, plain ? "plain JSON written and read back" : "dump written and read back");
}

// Writes the value of one slot as MessagePack and reads it back into
// another, the failure armed in the writer or the reader: both are all or
// nothing, so a failure leaves no value rather than a part of one.
void binary_round_trip(Harness &h) {
    const int s = h.slot(), to = h.slot();
    const uint8_t how = h.in.byte();
    const unsigned flags = (how & 1) != 0 ? PZ_MSGPACK_POINTERS_AS_NIL : 0;
    const bool in_writer = (how & 2) != 0;
    const int n = h.node_at(s);
    size_t len = 0;
    auto write = [&] { return pz_variant_to_msgpack(h.lib_at(s), flags, &len); };
    uint8_t *bytes = in_writer ? h.armed(write) : write();
    const bool written = bytes != nullptr;
    const bool writes = n >= 0 && h.m.walkable(n) && (flags != 0 || !holds_pointer(h.m, n));
    if (written != writes && !(h.fired && !written)) fail("to_msgpack's result");
    auto read = [&] { return pz_variant_from_msgpack(bytes, len, nullptr); };
    pz_variant_t *back = !written ? nullptr : in_writer ? read() : h.armed(read);
    HAL_Free(bytes);
    h.store(to, back);
    Model done = h.m;
    done.slots[static_cast<size_t>(to)] = written ? done.read_back_binary(n, false) : -1;
    h.settle({done, with_slot(h.m, to, -1)}, "MessagePack written and read back");
}

void equal(Harness &h) {
    const int a = h.slot(), b = h.slot();
    const int x = h.node_at(a), y = h.node_at(b);
    if (x < 0 || y < 0) return;
    const bool want = h.m.walkable(x) && h.m.walkable(y) && h.m.equal(x, y);
    if (pz_variant_equal(h.lib_at(a), h.lib_at(b)) != want) fail("equal");
}

// Every walk refuses a value holding itself, also short of memory.
void refuse_all(Harness &h, pz_variant_t *v) {
    pz_variant_t *copy = h.armed([&] { return pz_variant_dup(v); });
    char *dump = h.armed([&] { return pz_variant_dump(v); });
    char *json = h.armed([&] { return pz_variant_to_json(v, 0); });
    size_t len = 0;
    uint8_t *binary = h.armed([&] { return pz_variant_to_msgpack(v, PZ_MSGPACK_POINTERS_AS_NIL, &len); });
    pz_variant_t *target = pz_variant_dict_new(), *number = pz_variant_int32_new(3);
    const bool merged = h.armed([&] { return pz_variant_merge_patch(target, v); });
    pz_variant_t *concatenated = h.armed([&] { return pz_variant_concat(number, v); });
    if (copy != nullptr || dump != nullptr || json != nullptr || binary != nullptr || merged || concatenated != nullptr ||
        pz_variant_equal(v, v) || pz_variant_dict_size(target) != 0 || (number != nullptr && number->int32_val != 3)) {
        fail("a walk over a value holding itself");
    }
    pz_variant_unref(target);
    pz_variant_unref(number);
}

// The container of a slot put inside itself, or inside a container it
// holds, for the length of the checks.
void loop(Harness &h) {
    const int s = h.slot();
    const bool deeper = h.in.byte() % 2 != 0;
    const int c = h.node_at(s);
    if (!is_array(h.m, c) && !is_dict(h.m, c)) return;
    int holder = c;
    if (deeper) {
        for (const int e : h.m.at(c).elems) holder = holder == c && (is_array(h.m, e) || is_dict(h.m, e)) ? e : holder;
        for (const auto &[k, e] : h.m.at(c).entries) holder = holder == c && (is_array(h.m, e) || is_dict(h.m, e)) ? e : holder;
    }
    pz_variant_t *v = h.lib_at(s);
    auto *held = const_cast<pz_variant_t *>(h.m.at(holder).lib);
    const bool array = h.m.at(holder).vt == vtype_array;
    array ? pz_variant_array_append(held, v) : pz_variant_dict_put(held, "~loop", v);
    refuse_all(h, v);
    array ? pz_variant_array_remove(held, pz_variant_array_size(held) - 1) : (void)pz_variant_dict_erase(held, "~loop");
    h.fired = false;
    h.settle({h.m}, "a value held inside itself for a moment");
}

// The value of a slot wrapped in containers up to one level short of the
// deepest nesting the walks take, to it, or one past it.
void deep(Harness &h) {
    const int s = h.slot();
    const int n = h.node_at(s);
    const int depth = n >= 0 ? h.m.depth(n) : 1;
    const int levels = PZ_VARIANT_MAX_DEPTH - depth - 1 + h.in.byte() % 3;
    if (levels <= 0 || depth > PZ_VARIANT_MAX_DEPTH) return;
    pz_variant_t *inner = pz_variant_ref(h.lib_at(s));
    Model done = h.m;
    int inner_node = n;
    for (int i = 0; i < levels; ++i) {
        const bool array = i % 2 == 0;
        pz_variant_t *outer = array ? pz_variant_array_new() : pz_variant_dict_new();
        array ? pz_variant_array_append(outer, inner) : pz_variant_dict_put(outer, "k", inner);
        pz_variant_unref(inner);
        inner = outer;
        Node wrap;
        wrap.vt = array ? vtype_array : vtype_dict;
        if (array) wrap.elems.push_back(inner_node);
        if (!array && inner_node >= 0) wrap.entries.emplace_back("k", inner_node);
        inner_node = done.add(std::move(wrap));
    }
    h.store(s, inner);
    done.slots[static_cast<size_t>(s)] = inner_node;
    h.fired = false;
    h.settle({done}, "a value wrapped deep");
}

}  // namespace

void op_copies(Harness &h, int which) {
    switch (which % 11) {
        case 0: return dup(h);
        case 1: case 2: return concat(h);
        case 3: case 4: return merge_patch(h);
        case 5: return text_round_trip(h, false);
        case 6: return text_round_trip(h, true);
        case 7: return equal(h);
        case 8: return loop(h);
        case 10: return binary_round_trip(h);
        default: return h.in.byte() % 4 == 0 ? deep(h) : dup(h);
    }
}

}  // namespace harness
