// The operations of the stateful API target, each on the library and on the
// model, with the states the header allows after a failed allocation.
#include <cmath>
#include <cstring>

#include "api_ops.h"
#include "pzvariant/hal/pz_hal.h"
#include "base/pz_memory.h"

namespace harness {

namespace {

/* ---------- making values ---------- */

void op_new_scalar(Harness &h) {
    const int s = h.slot();
    const char vt = scalar_kind(h);
    const uint64_t bits = h.in.bits(8);
    pz_variant_t *v = h.armed([&] { return new_scalar(vt, bits); });
    h.store(s, v);
    Model done = h.m;
    done.slots[static_cast<size_t>(s)] = done.scalar(vt, stored_bits(vt, bits));
    h.settle({done, with_slot(h.m, s, -1)}, "a scalar constructor");
}

void op_set_scalar(Harness &h) {
    const int s = h.slot();
    const char vt = scalar_kind(h);
    const uint64_t bits = h.in.bits(8);
    if (h.lib_at(s) == nullptr) return;
    h.armed([&] { return set_scalar(h.lib_at(s), vt, bits), 0; });
    Model done = h.m;
    const int n = h.node_at(s);
    done.clear(n);
    done.at(n).vt = vt;
    done.at(n).bits = stored_bits(vt, bits);
    h.settle({done}, "a scalar setter");
}

// A string or buffer made by one of the five constructors.
void op_new_text(Harness &h) {
    const int s = h.slot();
    const int way = h.in.byte() % 5;
    std::string t = h.in.text();
    if (way >= 3 && t.empty()) t = "x";  // a buffer handed over is not empty
    // A careful caller's block holds a terminator after the text.
    void *owned = way >= 3 ? pz_mem_dup(t.c_str(), t.size() + 1) : nullptr;
    const auto len = static_cast<uint32_t>(t.size());
    pz_variant_t *v = h.armed([&] {
        switch (way) {
            case 0: return pz_variant_str_new(t.c_str());
            case 1: return vstr_sized_new(t.data(), len);
            case 2: return vstr_buf_new(reinterpret_cast<const uint8_t *>(t.data()), len);
            case 3: return vstr_new_owned(static_cast<char *>(owned), len);
            default: return vstr_buf_new_owned(static_cast<uint8_t *>(owned), len);
        }
    });
    if (v == nullptr) HAL_Free(owned);  // the caller keeps it
    h.store(s, v);
    Model done = h.m;
    const bool bytes = way == 2 || way == 4;
    done.slots[static_cast<size_t>(s)] =
        done.text(bytes ? vtype_bytes : vtype_string, way == 0 ? std::string(t.c_str()) : t);
    h.settle({done, with_slot(h.m, s, -1)}, "a string or buffer constructor");
}

void op_set_text(Harness &h) {
    const int s = h.slot();
    const bool bytes = h.in.byte() % 2 != 0;
    const std::string t = h.in.text();
    pz_variant_t *v = h.lib_at(s);
    if (v == nullptr) return;
    const int n = h.node_at(s);
    // A buffer may be set from a piece of its own bytes.
    std::string from = t;
    const uint8_t *buf = reinterpret_cast<const uint8_t *>(t.data());
    if (bytes && v->vt == vtype_bytes && v->len > 0 && t.size() % 2 == 1) {
        const size_t at = t.size() % v->len;
        from = h.m.at(n).text.substr(at);
        buf = static_cast<const uint8_t *>(v->ptr_val) + at;
    }
    if (!bytes) from = std::string(t.c_str());
    h.armed([&] {
        return bytes ? vstr_buf_set(v, const_cast<uint8_t *>(buf), static_cast<uint32_t>(from.size()))
                     : pz_variant_str_set(v, t.empty() ? nullptr : t.c_str());
    });
    Model done = h.m, failed;
    done.clear(n);
    done.at(n).vt = bytes ? vtype_bytes : vtype_string;
    failed = done;
    done.at(n).text = from;
    h.settle({done, failed}, "a string or buffer setter");
}

void op_new_pointer(Harness &h) {
    const int s = h.slot();
    const bool owned = h.in.byte() % 2 != 0;
    void *object = h.new_object();
    if (object == nullptr) return;
    pz_variant_t *v = h.armed([&] {
        return owned ? pz_variant_autoptr_new(object, dtor) : pz_variant_sharedptr_new(object, ref, unref);
    });
    h.store(s, v);
    Model done = h.m;
    done.slots[static_cast<size_t>(s)] = pointer_node(done, owned ? vtype_autoptr : vtype_sharedptr, object);
    h.settle({done, with_slot(h.m, s, -1)}, "a pointer constructor");
}

// Setting a pointer works only in a record with room for its callbacks; a
// shared pointer may be set to the object it holds.
void op_set_pointer(Harness &h) {
    const int s = h.slot();
    const bool owned = h.in.byte() % 2 != 0;
    if (h.lib_at(s) == nullptr) return;
    const int n = h.node_at(s);
    const bool again = !owned && h.m.at(n).vt == vtype_sharedptr && h.in.byte() % 2 != 0;
    void *object = again ? &model::objects[h.m.at(n).object] : h.new_object();
    if (object == nullptr) return;
    pz_variant_t *got = h.armed([&] {
        return owned ? pz_variant_autoptr_set(h.lib_at(s), object, dtor)
                     : pz_variant_sharedptr_set(h.lib_at(s), object, ref, unref);
    });
    const bool fits = owned ? h.m.at(n).room != model::kPlain : h.m.at(n).room == kSharedRoom;
    if ((got != nullptr) != fits) fail("a pointer setter on a record with or without room");
    Model done = h.m;
    if (fits) {
        const model::Room room = done.at(n).room;
        const int made = pointer_node(done, owned ? vtype_autoptr : vtype_sharedptr, object);
        done.take_contents(n, made);
        done.at(n).room = room;
    }
    h.settle({done}, "a pointer setter");
}

void op_new_container(Harness &h) {
    const int s = h.slot();
    const bool array = h.in.byte() % 2 != 0;
    pz_variant_t *v = h.armed([&] { return array ? pz_variant_array_new() : pz_variant_dict_new(); });
    h.store(s, v);
    Model done = h.m;
    Node n;
    n.vt = array ? vtype_array : vtype_dict;
    done.slots[static_cast<size_t>(s)] = done.add(std::move(n));
    h.settle({done, with_slot(h.m, s, -1)}, "a container constructor");
}

constexpr char kAllKinds[] = {vtype_null,   vtype_bool,   vtype_int8,   vtype_uint8,   vtype_int16,
                              vtype_uint16, vtype_int32,  vtype_uint32, vtype_int64,   vtype_uint64,
                              vtype_float,  vtype_double, vtype_string, vtype_bytes,   vtype_ptr,
                              vtype_autoptr, vtype_sharedptr, vtype_array, vtype_dict};

// A pointer kind takes a new record in place of the caller's reference;
// the old record is left cleared for whoever else holds it.
void op_change_type(Harness &h) {
    const int s = h.slot();
    const char vt = kAllKinds[h.in.byte() % sizeof kAllKinds];
    if (h.lib_at(s) == nullptr) return;
    const int n = h.node_at(s);
    const bool same = h.m.at(n).vt == vt;
    const bool moves = !same && (vt == vtype_autoptr || vt == vtype_sharedptr);
    pz_variant_t *got = h.armed([&] { return pz_variant_change_type(h.lib_at(s), static_cast<pz_variant_type>(vt)); });
    if (moves) {
        h.lib_at(s) = nullptr;
        h.store(s, got);
    } else if (got != h.lib_at(s)) {
        fail("change_type returned another record");
    }
    Model done = h.m;
    if (!same) done.clear(n);
    Model failed = done;
    if (moves) {
        Node fresh;
        fresh.room = vt == vtype_autoptr ? kOwnedRoom : kSharedRoom;
        done.slots[static_cast<size_t>(s)] = done.add(std::move(fresh));
        failed.slots[static_cast<size_t>(s)] = -1;
    } else if (!same) {
        done.at(n).vt = failed.at(n).vt = vt;
        failed.at(n).storage = false;  // a container whose storage could not be made
    }
    h.settle({done, failed}, "change_type");
}

void op_clear_or_drop(Harness &h) {
    const int s = h.slot(), way = h.in.byte() % 3, to = h.slot();
    if (way == 0 && h.lib_at(s) != nullptr) {
        pz_variant_clear(h.lib_at(s));
        Model done = h.m;
        done.clear(h.node_at(s));
        h.settle({done}, "clear");
    } else if (way == 1) {
        h.store(s, nullptr);
        h.settle({with_slot(h.m, s, -1)}, "unref");
    } else {
        h.store(to, pz_variant_ref(h.lib_at(s)));
        h.settle({with_slot(h.m, to, h.node_at(s))}, "ref");
    }
}

}  // namespace

void run_operation(Harness &h, uint8_t code) {
    switch (code % 16) {
        case 0: return op_new_scalar(h);
        case 1: return op_set_scalar(h);
        case 2: return op_new_text(h);
        case 3: return op_set_text(h);
        case 4: return op_new_pointer(h);
        case 5: return op_set_pointer(h);
        case 6: return op_new_container(h);
        case 7: return op_change_type(h);
        case 8: return op_clear_or_drop(h);
        case 9:
        case 10: return op_containers(h, code / 16);
        case 11:
        case 12: return op_typed(h, code / 16);
        default: return op_copies(h, code / 16);
    }
}

}  // namespace harness
