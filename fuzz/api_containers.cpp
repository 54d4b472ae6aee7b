// Container operations of the stateful API target: arrays and dictionaries
// with shared children, their typed accessors, and building by format.
#include <climits>

#include "api_ops.h"
#include "va_entry.h"

namespace harness {

namespace {

// Whether storing the value of slot `child` in slot `container` would make
// a value that contains itself (the loop operation makes those on purpose).
bool would_loop(Harness &h, int container, int child) {
    return h.node_at(child) >= 0 && h.m.reaches(h.node_at(child), h.node_at(container));
}

std::vector<int> &elems(Model &m, int s) { return m.at(m.slots[static_cast<size_t>(s)]).elems; }

void array_add(Harness &h, int way) {
    const int c = h.slot(), v = h.slot();
    const uint32_t index = h.in.byte() % 8;
    if (would_loop(h, c, v)) return;
    pz_variant_t *a = h.lib_at(c), *child = h.lib_at(v);
    h.armed([&] {
        switch (way) {
            case 0: pz_variant_array_append(a, child); break;
            case 1: pz_variant_array_prepend(a, child); break;
            case 2: pz_variant_array_insert(a, index, child); break;
            default: pz_variant_array_set(a, index, child); break;
        }
        return 0;
    });
    Model done = h.m;
    if (is_array(done, h.node_at(c))) {
        std::vector<int> &e = elems(done, c);
        const int n = h.node_at(v);
        if (way == 0 || (way == 2 && index >= e.size())) {
            e.push_back(n);
        } else if (way < 3) {
            e.insert(e.begin() + (way == 1 ? 0 : index), n);
        } else if (index < e.size()) {
            e[index] = n;
        }
    }
    h.settle({done, h.m}, "an array adder");
}

// Removing, clearing and reading elements, which allocate nothing.
void array_take(Harness &h, int way) {
    const int c = h.slot(), to = h.slot();
    const uint32_t index = h.in.byte() % 8;
    Model done = h.m;
    const bool array = is_array(h.m, h.node_at(c));
    if (way == 0) {
        pz_variant_array_remove(h.lib_at(c), index);
        if (array && index < elems(done, c).size()) elems(done, c).erase(elems(done, c).begin() + index);
    } else if (way == 1) {
        pz_variant_array_clear(h.lib_at(c));
        if (array) elems(done, c).clear();
    }
    if (pz_variant_array_size(h.lib_at(c)) != (array ? elems(done, c).size() : 0)) fail("array size");
    if (way == 2) {
        h.store(to, pz_variant_array_index(h.lib_at(c), index));
        done.slots[static_cast<size_t>(to)] = array && index < elems(done, c).size() ? elems(done, c)[index] : -1;
    }
    h.settle({done}, "an array remover or getter");
}

// Whether the library's dictionary in slot `d` has the model's size and
// finds `key` as the model does.
void check_lookup(Harness &h, const Model &m, int d, const std::string &key) {
    const int dn = m.slots[static_cast<size_t>(d)];
    const bool dict = is_dict(m, dn);
    if (pz_variant_dict_contains(h.lib_at(d), key.c_str()) != (dict && !key.empty() && m.find(dn, key) >= 0) ||
        pz_variant_dict_size(h.lib_at(d)) != (dict ? m.at(dn).entries.size() : 0)) {
        fail("dict_contains or dict_size");
    }
}

void dict_op(Harness &h, int way) {
    const int d = h.slot(), v = h.slot();
    const std::string key = h.in.byte() % 8 == 0 ? std::string() : h.in.key();
    const int dn = h.node_at(d);
    const bool dict = is_dict(h.m, dn);
    Model done = h.m;
    const int found = dict && !key.empty() ? h.m.find(dn, key) : -1;
    switch (way) {
        case 0:
            if (would_loop(h, d, v)) return;
            h.armed([&] { return pz_variant_dict_put(h.lib_at(d), key.c_str(), h.lib_at(v)), 0; });
            // A null value stores nothing (it would read as a removal).
            if (dict && !key.empty() && h.node_at(v) >= 0) done.put(dn, key, h.node_at(v));
            return h.settle({done, h.m}, "dict_put");
        case 1:
            check_lookup(h, h.m, d, key);
            h.store(v, pz_variant_dict_get(h.lib_at(d), key.c_str()));
            return h.settle({with_slot(h.m, v, found)}, "dict_get");
        case 2:
            if (pz_variant_dict_erase(h.lib_at(d), key.c_str()) != (found >= 0)) fail("dict_erase");
            if (found >= 0) done.put(dn, key, -1);
            break;
        default:
            pz_variant_dict_clear(h.lib_at(d));
            if (dict) done.at(dn).entries.clear();
            break;
    }
    check_lookup(h, done, d, key);
    h.settle({done}, "a dictionary operation");
}

// The dictionary under a key, found, or made and stored.
void dict_child(Harness &h) {
    const int d = h.slot(), to = h.slot();
    const std::string key = h.in.key();
    const int dn = h.node_at(d);
    pz_variant_t *got = h.armed([&] { return vdict_child(h.lib_at(d), key.c_str()); });
    h.store(to, got);
    const int found = is_dict(h.m, dn) ? h.m.find(dn, key) : -1;
    if (found >= 0) {
        return h.settle({with_slot(h.m, to, h.m.at(found).vt == vtype_dict ? found : -1)}, "vdict_child");
    }
    Model done = h.m;
    Node fresh;
    fresh.vt = vtype_dict;
    const int child = done.add(std::move(fresh));
    Model detached = with_slot(done, to, child);
    if (is_dict(h.m, dn)) done.put(dn, key, child);
    done.slots[static_cast<size_t>(to)] = child;
    h.settle({done, detached, with_slot(h.m, to, -1)}, "vdict_child");
}

/* ---------- typed accessors ---------- */

// A value made by a typed setter or adder: kinds 0..11 are the scalars,
// then a sized raw pointer, a string, a buffer, an owned and a shared
// pointer.
struct Made {
    int kind;
    char vt;
    uint64_t bits;
    std::string text;
    void *object;
};

Made typed_value(Harness &h, int kinds) {
    Made m{h.in.byte() % kinds, vtype_null, h.in.bits(8), h.in.text(), nullptr};
    if (m.kind < kScalarCount) {
        m.vt = kScalarKinds[m.kind];
    } else if (m.kind == kScalarCount + 3 || m.kind == kScalarCount + 4) {
        m.object = h.new_object();
        if (m.object == nullptr) m.kind = 0, m.vt = kScalarKinds[0];
    }
    return m;
}

int made_node(Model &m, const Made &made, bool sized_text) {
    switch (made.kind - kScalarCount) {
        case 0: {
            const int n = m.scalar(vtype_ptr, bits_of(&model::objects[0]));
            m.at(n).len = static_cast<uint32_t>(made.bits);
            return n;
        }
        case 1: return m.text(vtype_string, sized_text ? made.text : std::string(made.text.c_str()));
        case 2: return m.text(vtype_bytes, made.text);
        case 3: return pointer_node(m, vtype_autoptr, made.object);
        case 4: return pointer_node(m, vtype_sharedptr, made.object);
        default: return m.scalar(made.vt, stored_bits(made.vt, made.bits));
    }
}

void vdict_set(Harness &h) {
    const int d = h.slot();
    const std::string key = h.in.key();
    const Made made = typed_value(h, kScalarCount + 5);
    pz_variant_t *dict = h.lib_at(d);
    const auto len = static_cast<uint32_t>(made.text.size());
    h.armed([&] {
        switch (made.kind - kScalarCount) {
            case 0: vdict_set_sized_ptr(dict, key.c_str(), &model::objects[0], static_cast<uint32_t>(made.bits)); break;
            case 1: vdict_set_str(dict, key.c_str(), made.text.c_str()); break;
            case 2: vdict_set_bytes(dict, key.c_str(), reinterpret_cast<const uint8_t *>(made.text.data()), len); break;
            case 3: vdict_set_autoptr(dict, key.c_str(), made.object, dtor); break;
            case 4: vdict_set_sharedptr(dict, key.c_str(), made.object, ref, unref); break;
            default: vdict_set_scalar(dict, key.c_str(), made.vt, made.bits); break;
        }
        return 0;
    });
    Model done = h.m;
    if (is_dict(done, h.node_at(d))) done.put(h.node_at(d), key, made_node(done, made, false));
    h.settle({done, h.m}, "a typed dictionary setter");
}

void varray_add(Harness &h) {
    const int c = h.slot();
    const Made made = typed_value(h, kScalarCount + 7);
    pz_variant_t *a = h.lib_at(c);
    const auto len = static_cast<uint32_t>(made.text.size());
    h.armed([&] {
        switch (made.kind - kScalarCount) {
            case 0: varray_add_str(a, made.text.c_str()); break;
            case 1: varray_add_sized_str(a, made.text.data(), len); break;
            case 2: varray_add_dict(a); break;
            case 3: varray_add_autoptr(a, made.object, dtor); break;
            case 4: varray_add_sharedptr(a, made.object, ref, unref); break;
            case 5: varray_add_array(a); break;
            case 6: varray_add_str(a, nullptr); break;
            default: varray_add_scalar(a, made.vt, made.bits); break;
        }
        return 0;
    });
    Model done = h.m, failed = h.m;
    if (is_array(done, h.node_at(c))) {
        int n = -1;
        switch (made.kind - kScalarCount) {
            case 0: n = done.text(vtype_string, std::string(made.text.c_str())); break;
            case 1: n = done.text(vtype_string, made.text); break;
            case 2: case 5: {
                Node fresh;
                fresh.vt = made.kind - kScalarCount == 2 ? vtype_dict : vtype_array;
                n = done.add(std::move(fresh));
                break;
            }
            case 6: n = done.text(vtype_string, ""); break;
            default: n = made_node(done, made, false);
        }
        elems(done, c).push_back(n);
        failed = done;
        failed.at(n).may_be_empty = true;  // the element could not be made
        failed.at(failed.slots[static_cast<size_t>(c)]).min_len = elems(done, c).size() - 1;
    }
    h.settle({done, failed}, "a typed array adder");
}

// The typed getters of one kind, on a dictionary key or an array index.
void typed_get_check(Harness &h, bool by_key) {
    const int c = h.slot();
    const char vt = scalar_kind(h);
    const std::string key = h.in.key();
    const uint32_t index = h.in.byte() % 8;
    const uint64_t def = h.in.bits(8);
    const int cn = h.node_at(c);
    int found = -1;
    if (by_key && is_dict(h.m, cn)) found = h.m.find(cn, key);
    if (!by_key && is_array(h.m, cn) && index < h.m.at(cn).elems.size()) found = h.m.at(cn).elems[index];
    const uint64_t got = typed_get(h.lib_at(c), by_key ? key.c_str() : nullptr, index, vt, def);
    const char kind = found >= 0 ? h.m.at(found).vt : vtype_null;
    const bool known = kind != vtype_string && kind != vtype_bytes && kind != vtype_array && kind != vtype_dict;
    const uint64_t want = found >= 0 ? read_bits(vt, h.m.at(found).bits) : (by_key ? stored_bits(vt, def) : 0);
    if (known && got != want) fail("a typed getter");
    const char *text = by_key ? vdict_str_default(h.lib_at(c), key.c_str(), "def") : varray_str(h.lib_at(c), index);
    if (kind == vtype_string) {
        const std::string &t = h.m.at(found).text;
        if (t.empty() ? text != nullptr : text == nullptr || std::memcmp(text, t.data(), t.size()) != 0) {
            fail("a typed text getter");
        }
    } else if (found < 0 && (by_key ? std::strcmp(text, "def") != 0 : text != nullptr)) {
        fail("a typed text getter of nothing");
    }
}

/* ---------- formats ---------- */

#define PZ_FORMAT_0 "boynqiuxtfdc*as-", 1, -8, 200, -16, 60000, INT32_MIN, UINT32_MAX, INT64_MIN, UINT64_MAX, \
                    1.5, -2.25, "text", owned, owned, dtor, shared, ref, unref
#define PZ_FORMAT_1 "ic?s", 7, "te\0xt", shared, ref, unref
#define PZ_FORMAT_2 "dcx", 0.5, "", INT64_MAX
#define PZ_FORMAT_3 "a", owned, dtor

// The elements format `f` makes.
std::vector<int> format_nodes(Model &m, int f, void *owned, void *shared) {
    switch (f) {
        case 0:
            return {m.scalar(vtype_bool, 1), m.scalar(vtype_int8, bits_of(int8_t{-8})),
                    m.scalar(vtype_uint8, 200), m.scalar(vtype_int16, bits_of(int16_t{-16})),
                    m.scalar(vtype_uint16, 60000), m.scalar(vtype_int32, bits_of(INT32_MIN)),
                    m.scalar(vtype_uint32, UINT32_MAX), m.scalar(vtype_int64, bits_of(INT64_MIN)),
                    m.scalar(vtype_uint64, UINT64_MAX), m.scalar(vtype_float, bits_of(1.5f)),
                    m.scalar(vtype_double, bits_of(-2.25)), m.text(vtype_string, "text"),
                    m.scalar(vtype_ptr, bits_of(owned)), pointer_node(m, vtype_autoptr, owned),
                    pointer_node(m, vtype_sharedptr, shared), -1};
        case 1:
            return {m.scalar(vtype_int32, 7), m.text(vtype_string, "te"), -1, pointer_node(m, vtype_sharedptr, shared)};
        case 2:
            return {m.scalar(vtype_double, bits_of(0.5)), m.text(vtype_string, ""), m.scalar(vtype_int64, bits_of(INT64_MAX))};
        default:
            return {pointer_node(m, vtype_autoptr, owned)};
    }
}

#define PZ_BY_FORMAT(call)              \
    switch (f) {                        \
        case 0: call(PZ_FORMAT_0); break; \
        case 1: call(PZ_FORMAT_1); break; \
        case 2: call(PZ_FORMAT_2); break; \
        default: call(PZ_FORMAT_3); break; \
    }

// Appends by one of the three entry points, or packs by one of two.
pz_variant_t *build(int way, int f, pz_variant_t *a, void *owned, void *shared) {
    pz_variant_t *out = a;
#define PZ_APPEND_VALS(...) pz_variant_array_append_vals(a, __VA_ARGS__)
#define PZ_APPEND_ARGS(...) append_args_from(a, __VA_ARGS__)
#define PZ_APPEND_INTERNAL(...) append_internal_from(a, __VA_ARGS__)
#define PZ_PACK(...) out = pz_variant_pack(__VA_ARGS__)
#define PZ_PACK_ARG(...) out = pack_arg_from(0, __VA_ARGS__)
    switch (way) {
        case 0: PZ_BY_FORMAT(PZ_APPEND_VALS) break;
        case 1: PZ_BY_FORMAT(PZ_APPEND_ARGS) break;
        case 2: PZ_BY_FORMAT(PZ_APPEND_INTERNAL) break;
        case 3: PZ_BY_FORMAT(PZ_PACK) break;
        default: PZ_BY_FORMAT(PZ_PACK_ARG) break;
    }
    return out;
}

void by_format(Harness &h) {
    const int c = h.slot(), way = h.in.byte() % 5, f = h.in.byte() % 4;
    void *owned = h.new_object(), *shared = h.new_object();
    if (owned == nullptr || shared == nullptr) return;
    const bool packs = way >= 3;
    pz_variant_t *got = h.armed([&] { return build(way, f, h.lib_at(c), owned, shared); });
    if (packs) h.store(c, got);
    Model done = h.m;
    int target = h.node_at(c);
    if (packs) {
        Node fresh;
        fresh.vt = vtype_array;
        target = done.slots[static_cast<size_t>(c)] = done.add(std::move(fresh));
    }
    if (!is_array(done, target)) return h.settle({done}, "append by format");
    const size_t before = done.at(target).elems.size();
    for (const int n : format_nodes(done, f, owned, shared)) done.at(target).elems.push_back(n);
    Model failed = done;
    for (size_t i = before; i < failed.at(target).elems.size(); ++i) {
        const int n = failed.at(target).elems[i];
        if (n >= 0) failed.at(n).may_be_empty = true;
    }
    // Each letter's element made or left empty; or no room for the format:
    // nothing appended, or no array packed.
    h.settle({done, failed, with_slot(h.m, c, packs ? -1 : h.node_at(c))}, "append or pack by format");
}

// Unpacks the slot's array by letters of the input; allocates nothing.
void unpack_check(Harness &h) {
    const int c = h.slot();
    static constexpr char kLetters[] = "boynqiuxtfdc*as-[";
    char fmt[9] = {};
    const int letters = 1 + h.in.byte() % 8;
    for (int i = 0; i < letters; ++i) fmt[i] = kLetters[h.in.byte() % (sizeof kLetters - 1)];
    uint64_t out[8];
    std::fill(out, out + 8, UINT64_C(0xa5a5a5a5a5a5a5a5));
#define PZ_O(i) &out[i]
    const int32_t n = pz_variant_unpack(h.lib_at(c), fmt, PZ_O(0), PZ_O(1), PZ_O(2), PZ_O(3), PZ_O(4), PZ_O(5), PZ_O(6), PZ_O(7));
#undef PZ_O
    const int cn = h.node_at(c);
    const size_t size = is_array(h.m, cn) ? h.m.at(cn).elems.size() : 0;
    const bool whole = cn >= 0 && h.m.at(cn).vt == vtype_array && size >= static_cast<size_t>(letters);
    if (n != (whole ? letters : 0)) fail("unpack's count");
    int pointer = 0;
    for (int i = 0; i < letters && static_cast<size_t>(i) < size; ++i) {
        const char *at = std::strchr("boynqiuxtfdc*as", fmt[i]);
        if (at == nullptr) continue;
        const uint64_t slot = out[pointer++];
        const int e = h.m.at(cn).elems[static_cast<size_t>(i)];
        const char kind = e >= 0 ? h.m.at(e).vt : vtype_null;
        if (e < 0) {
            if (slot != UINT64_C(0xa5a5a5a5a5a5a5a5)) fail("unpack wrote at an empty slot");
        } else if (kind != vtype_string && kind != vtype_bytes && kind != vtype_array && kind != vtype_dict &&
                   fmt[i] != 'b' && fmt[i] != 'c') {
            const size_t width = std::strchr("oy", fmt[i]) ? 1 : std::strchr("nq", fmt[i]) ? 2 : std::strchr("iuf", fmt[i]) ? 4 : 8;
            const uint64_t bits = h.m.at(e).bits;
            if (std::memcmp(&slot, &bits, width) != 0) fail("unpack's value");
        }
    }
}

}  // namespace

void op_containers(Harness &h, int which) {
    switch (which % 10) {
        case 0: case 1: case 2: case 3: return array_add(h, which % 10);
        case 4: return array_take(h, h.in.byte() % 3);
        case 5: case 6: return dict_op(h, 0);
        case 7: return dict_op(h, 1 + h.in.byte() % 3);
        case 8: return dict_child(h);
        default: return by_format(h);
    }
}

void op_typed(Harness &h, int which) {
    switch (which % 6) {
        case 0: case 1: return vdict_set(h);
        case 2: return varray_add(h);
        case 3: return typed_get_check(h, true);
        case 4: return typed_get_check(h, false);
        default: return unpack_check(h);
    }
}

}  // namespace harness
