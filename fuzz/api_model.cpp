// The shadow model: the rules each operation follows, written from the
// header's promises, and the comparison with the library's values.
#include "api_model.h"

#include <charconv>
#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <unordered_map>

#include "base/pz_memory.h"
#include "containers/arrays.h"

namespace model {

int objects[kObjects];
Calls calls[kObjects];

int object_of(const void *p) {
    const auto *o = static_cast<const int *>(p);
    return o >= objects && o < objects + kObjects ? static_cast<int>(o - objects) : -1;
}

namespace {

constexpr int kLoop = INT_MAX / 2;

bool container_kind(char vt) { return vt == vtype_array || vt == vtype_dict; }

template <class T>
T bits_as(uint64_t bits) {
    T value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

template <class T>
uint64_t bits_of(T value) {
    uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof value);
    return bits;
}

std::string hex(const std::string &bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string out;
    for (const unsigned char c : bytes) {
        out += kDigits[c >> 4];
        out += kDigits[c & 15];
    }
    return out;
}

// A float in plain JSON: its shortest text, read back as a double.
double float_as_read(float f) {
    char text[64];
    const auto written = std::to_chars(text, text + sizeof text, f);
    double d = 0;
    std::from_chars(text, written.ptr, d);
    return d;
}

// Any integer kind as plain JSON reads it back: int64 when it fits.
std::pair<char, uint64_t> plain_integer(char vt, uint64_t bits) {
    int64_t value = 0;
    switch (vt) {
        case vtype_int8: value = bits_as<int8_t>(bits); break;
        case vtype_int16: value = bits_as<int16_t>(bits); break;
        case vtype_int32: value = bits_as<int32_t>(bits); break;
        case vtype_int64: value = bits_as<int64_t>(bits); break;
        case vtype_uint8: value = bits_as<uint8_t>(bits); break;
        case vtype_uint16: value = bits_as<uint16_t>(bits); break;
        case vtype_uint32: value = bits_as<uint32_t>(bits); break;
        default: {
            const auto u = bits_as<uint64_t>(bits);
            if (u > INT64_MAX) return {vtype_uint64, u};
            value = static_cast<int64_t>(u);
        }
    }
    return {vtype_int64, bits_of(value)};
}

}  // namespace

/* ---------- building ---------- */

int Model::add(Node node) {
    nodes.push_back(std::move(node));
    return static_cast<int>(nodes.size() - 1);
}

int Model::scalar(char vt, uint64_t bits) {
    Node n;
    n.vt = vt;
    n.bits = bits;
    return add(std::move(n));
}

int Model::text(char vt, std::string bytes) {
    Node n;
    n.vt = vt;
    n.text = std::move(bytes);
    return add(std::move(n));
}

bool Model::is_container(int n) const { return n >= 0 && container_kind(at(n).vt); }

void Model::clear(int n) {
    Node &node = at(n);
    node.vt = vtype_null;
    node.bits = 0;
    node.len = 0;
    node.text.clear();
    node.elems.clear();
    node.entries.clear();
    node.storage = true;
    node.object = -1;
}

void Model::take_contents(int to, int from) {
    Node moved = at(from);
    moved.lib = at(to).lib;
    moved.room = at(to).room;
    at(to) = std::move(moved);
}

int Model::find(int d, const std::string &key) const {
    for (const auto &[k, v] : at(d).entries) {
        if (k == key) return v;
    }
    return -1;
}

void Model::put(int d, const std::string &key, int v) {
    auto &entries = at(d).entries;
    for (size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].first != key) continue;
        if (v < 0) {
            entries.erase(entries.begin() + static_cast<long>(i));
        } else {
            entries[i].second = v;
        }
        return;
    }
    if (v >= 0) entries.emplace_back(key, v);
}

/* ---------- walking ---------- */

int Model::depth(int n) const {
    std::vector<int> memo(nodes.size(), 0);  // -1: open on the way down
    std::function<int(int)> of = [&](int i) {
        if (!is_container(i)) return 1;
        int &m = memo[static_cast<size_t>(i)];
        if (m != 0) return m < 0 ? kLoop : m;
        m = -1;
        int d = 1;
        const Node &node = at(i);
        for (const int e : node.elems) d = std::max(d, std::min(kLoop, 1 + of(e)));
        for (const auto &entry : node.entries) d = std::max(d, std::min(kLoop, 1 + of(entry.second)));
        memo[static_cast<size_t>(i)] = d;
        return d;
    };
    return of(n);
}

bool Model::walkable(int n) const { return depth(n) <= PZ_VARIANT_MAX_DEPTH; }

bool Model::reaches(int outer, int inner) const {
    std::vector<char> seen(nodes.size(), 0);
    std::vector<int> todo{outer};
    while (!todo.empty()) {
        const int i = todo.back();
        todo.pop_back();
        if (i < 0 || seen[static_cast<size_t>(i)]) continue;
        if (i == inner) return true;
        seen[static_cast<size_t>(i)] = 1;
        for (const int e : at(i).elems) todo.push_back(e);
        for (const auto &entry : at(i).entries) todo.push_back(entry.second);
    }
    return false;
}

std::vector<int> Model::reachable() const {
    std::vector<char> seen(nodes.size(), 0);
    std::vector<int> out, todo(slots.begin(), slots.end());
    while (!todo.empty()) {
        const int i = todo.back();
        todo.pop_back();
        if (i < 0 || seen[static_cast<size_t>(i)]) continue;
        seen[static_cast<size_t>(i)] = 1;
        out.push_back(i);
        for (const int e : at(i).elems) todo.push_back(e);
        for (const auto &entry : at(i).entries) todo.push_back(entry.second);
    }
    return out;
}

/* ---------- copies, reads and merges ---------- */

int Model::copy(int n) {
    const Node src = at(n);
    Node out;
    out.vt = src.vt;
    switch (src.vt) {
        case vtype_autoptr:
            return n;  // one owner: the copy is the record
        case vtype_sharedptr:
            out.bits = src.bits;
            out.object = src.object;
            out.room = kSharedRoom;
            return add(std::move(out));
        case vtype_string:
        case vtype_bytes:
            out.text = src.text;
            return add(std::move(out));
        case vtype_array:
            for (const int e : src.elems) {
                if (e >= 0) out.elems.push_back(copy(e));
            }
            return add(std::move(out));
        case vtype_dict:
            for (const auto &[k, v] : src.entries) out.entries.emplace_back(k, copy(v));
            return add(std::move(out));
        default:
            out.bits = src.bits;  // a raw pointer's length is not copied
            return add(std::move(out));
    }
}

int Model::read_back(int n, bool plain) {
    if (n < 0) return plain ? scalar(vtype_null, 0) : -1;
    const Node src = at(n);
    switch (src.vt) {
        case vtype_bool:
            return scalar(vtype_bool, (src.bits & 0xff) != 0 ? 1 : 0);
        case vtype_float:
        case vtype_double: {
            const double d = src.vt == vtype_float ? bits_as<float>(src.bits) : bits_as<double>(src.bits);
            if (std::isnan(d)) return plain ? scalar(vtype_null, 0) : -1;
            if (!plain) return scalar(src.vt, src.bits);
            return scalar(vtype_double, bits_of(src.vt == vtype_float && !std::isinf(d)
                                                    ? float_as_read(bits_as<float>(src.bits))
                                                    : d));
        }
        case vtype_string:
            return text(vtype_string, src.text);
        case vtype_bytes:
            return plain ? text(vtype_string, hex(src.text)) : text(vtype_bytes, src.text);
        case vtype_null:
            return scalar(vtype_null, 0);
        case vtype_ptr:
        case vtype_autoptr:
        case vtype_sharedptr:
            return plain ? scalar(vtype_null, 0) : -1;
        case vtype_array: {
            Node out;
            out.vt = vtype_array;
            for (const int e : src.elems) {
                const int r = read_back(e, plain);
                if (r >= 0) out.elems.push_back(r);
            }
            return add(std::move(out));
        }
        case vtype_dict: {
            Node out;
            out.vt = vtype_dict;
            for (const auto &[k, v] : src.entries) {
                const int r = read_back(v, plain);
                if (r >= 0) out.entries.emplace_back(k, r);
            }
            return add(std::move(out));
        }
        default: {
            if (!plain) return scalar(src.vt, src.bits);
            const auto [vt, bits] = plain_integer(src.vt, src.bits);
            return scalar(vt, bits);
        }
    }
}

int Model::read_back_binary(int n, bool in_array) {
    const char vt = n >= 0 ? at(n).vt : vtype_null;
    const bool nil = vt == vtype_null || vt == vtype_ptr || vt == vtype_autoptr || vt == vtype_sharedptr;
    if (nil) return in_array ? -1 : scalar(vtype_null, 0);
    const Node src = at(n);
    if (vt == vtype_string || vt == vtype_bytes) return text(vt, src.text);
    if (vt != vtype_array && vt != vtype_dict) return scalar(vt, src.bits);
    Node out;
    out.vt = vt;
    for (const int e : src.elems) out.elems.push_back(read_back_binary(e, true));
    for (const auto &[k, v] : src.entries) out.entries.emplace_back(k, read_back_binary(v, false));
    return add(std::move(out));
}

int Model::patched_copy(int patch) {
    Node out;
    out.vt = vtype_dict;
    for (const auto &[k, v] : at(patch).entries) {
        if (at(v).vt == vtype_null) continue;
        const int stored = at(v).vt == vtype_dict ? patched_copy(v) : copy(v);
        out.entries.emplace_back(k, stored);
    }
    return add(std::move(out));
}

// Entry by entry, each seeing what the ones before it changed.
void Model::merge_dicts(int target, int patch) {
    const auto entries = at(patch).entries;
    for (const auto &[k, pv] : entries) {
        const int tv = find(target, k);
        if (at(pv).vt == vtype_null) {
            put(target, k, -1);
        } else if (at(pv).vt == vtype_dict && tv >= 0 && at(tv).vt == vtype_dict && at(tv).storage) {
            merge_dicts(tv, pv);
        } else {
            put(target, k, at(pv).vt == vtype_dict ? patched_copy(pv) : copy(pv));
        }
    }
}

bool Model::merge_patch(int target, int patch) {
    if (!walkable(patch)) return false;
    const char vt = at(patch).vt;
    if (vt == vtype_autoptr || vt == vtype_sharedptr) return false;
    // The patch as it was: the library reads it all before changing anything.
    const int p = copy(patch);
    if (vt != vtype_dict) {
        take_contents(target, p);
    } else if (at(target).vt != vtype_dict || !at(target).storage) {
        take_contents(target, patched_copy(p));
    } else {
        merge_dicts(target, p);
    }
    return true;
}

bool Model::equal(int a, int b) const {
    if (a < 0 || b < 0) return a == b;
    const Node &x = at(a), &y = at(b);
    if (x.vt != y.vt) return false;
    switch (x.vt) {
        case vtype_null:
            return true;
        case vtype_string:
        case vtype_bytes:
            return x.text == y.text;
        case vtype_array:
            if (x.elems.size() != y.elems.size()) return false;
            for (size_t i = 0; i < x.elems.size(); ++i) {
                if (!equal(x.elems[i], y.elems[i])) return false;
            }
            return true;
        case vtype_dict:
            if (x.entries.size() != y.entries.size()) return false;
            for (const auto &[k, v] : x.entries) {
                const int other = find(b, k);
                if (other < 0 || !equal(v, other)) return false;
            }
            return true;
        default:
            return x.bits == y.bits;
    }
}

/* ---------- matching the library ---------- */

namespace {

class matcher {
public:
    explicit matcher(Model &m) : m_(m), done_(m.nodes.size(), 0) {
        for (const int n : m.reachable()) {
            if (m.at(n).lib != nullptr && !bound_.emplace(m.at(n).lib, n).second) ok_ = false;
        }
    }

    bool match(const pz_variant_t *v, int n) {
        if (n < 0 || v == nullptr) return n < 0 && v == nullptr;
        Node &node = m_.at(n);
        if (node.lib == nullptr) {
            if (!bound_.emplace(v, n).second) return false;  // already another value
            node.lib = v;
        }
        if (node.lib != v) return false;
        if (done_[static_cast<size_t>(n)]) return true;
        done_[static_cast<size_t>(n)] = 1;
        return v->vt == node.vt && room_fits(v, node) && contents(v, n);
    }

    bool ok() const { return ok_; }

private:
    static bool room_fits(const pz_variant_t *v, const Node &node) {
        return node.room == kPlain ? v->layout == pz::layout_plain || v->layout == pz::layout_text
                                   : v->layout == node.room;
    }

    bool contents(const pz_variant_t *v, int n) {
        const Node &node = m_.at(n);
        switch (node.vt) {
            case vtype_string:
                return v->len == node.text.size() &&
                       (v->len == 0 || (std::memcmp(v->str_val, node.text.data(), v->len) == 0 && v->str_val[v->len] == 0));
            case vtype_bytes:
                return v->len == node.text.size() && (v->len == 0 || std::memcmp(v->ptr_val, node.text.data(), v->len) == 0);
            case vtype_autoptr:
            case vtype_sharedptr:
                return object_of(v->ptr_val) == node.object && node.object >= 0;
            case vtype_array:
                return (v->ptr_val != nullptr) == node.storage && array(v, n);
            case vtype_dict:
                return (v->ptr_val != nullptr) == node.storage && dict(v, n);
            default:
                return v->uint64_val == node.bits && v->len == node.len;
        }
    }

    bool array(const pz_variant_t *v, int n) {
        const size_t size = pz_variant_array_size(v);
        const size_t want = m_.at(n).elems.size();
        if (size > want || size < std::min(want, m_.at(n).min_len)) return false;
        for (size_t i = 0; i < size; ++i) {
            const int e = m_.at(n).elems[i];
            const pz_variant_t *got = pz::array_at(v, static_cast<uint32_t>(i));
            if (got == nullptr && e >= 0 && m_.at(e).may_be_empty) {
                m_.at(n).elems[i] = -1;
            } else if (!match(got, e)) {
                return false;
            }
        }
        m_.at(n).elems.resize(size);
        return true;
    }

    bool dict(const pz_variant_t *v, int n) {
        std::vector<std::pair<std::string, const pz_variant_t *>> got;
        pz_variant_dict_foreach(const_cast<pz_variant_t *>(v), [](void *key, void *value, void *user) {
            static_cast<decltype(got) *>(user)->emplace_back(static_cast<pz_string_t *>(key)->cstr,
                                                             static_cast<const pz_variant_t *>(value));
            return true;
        }, &got);
        const auto entries = m_.at(n).entries;
        if (got.size() != entries.size()) return false;
        for (size_t i = 0; i < got.size(); ++i) {
            if (got[i].first != entries[i].first || !match(got[i].second, entries[i].second)) return false;
        }
        return true;
    }

    Model &m_;
    std::vector<char> done_;
    std::unordered_map<const pz_variant_t *, int> bound_;
    bool ok_ = true;
};

}  // namespace

bool matches(const std::array<pz_variant_t *, kSlots> &slots, Model &m) {
    matcher match(m);
    for (int s = 0; s < kSlots; ++s) {
        if (!match.match(slots[static_cast<size_t>(s)], m.slots[static_cast<size_t>(s)])) return false;
    }
    if (!match.ok()) return false;
    // Every reference the slots and containers hold, counted.
    std::unordered_map<int, long> refs;
    for (const int s : m.slots) ++refs[s];
    const std::vector<int> live = m.reachable();
    for (const int n : live) {
        for (const int e : m.at(n).elems) ++refs[e];
        for (const auto &entry : m.at(n).entries) ++refs[entry.second];
    }
    for (const int n : live) {
        Node &node = m.at(n);
        if (*pz_ref_count(node.lib) != refs[n]) return false;
        node.may_be_empty = false;
        node.min_len = SIZE_MAX;
    }
    return true;
}

bool callbacks_balanced(const Model &m, int objects_used, std::vector<char> &was_owned) {
    std::vector<int> owned(static_cast<size_t>(objects_used), 0), shared(owned);
    for (const int n : m.reachable()) {
        const Node &node = m.at(n);
        if (node.vt == vtype_autoptr) ++owned[static_cast<size_t>(node.object)];
        if (node.vt == vtype_sharedptr) ++shared[static_cast<size_t>(node.object)];
    }
    for (size_t o = 0; o < owned.size(); ++o) {
        const Calls &c = calls[o];
        was_owned[o] |= owned[o] != 0;
        const bool destroyed_once = owned[o] != 0 ? c.dtor == 0 : c.dtor == (was_owned[o] ? 1 : c.dtor) && c.dtor <= 1;
        if (!destroyed_once || c.ref - c.unref != shared[o]) return false;
    }
    return true;
}

std::string describe(const Model &m, int n, int depth) {
    if (n < 0) return "_";
    const Node &node = m.at(n);
    std::string out = "#" + std::to_string(n) + ":" + (node.vt == 0 ? std::string("null") : std::string(1, node.vt));
    if (depth > 6) return out + "...";
    if (node.vt == vtype_array || node.vt == vtype_dict) {
        out += node.storage ? "(" : "(no storage";
        for (const int e : node.elems) out += describe(m, e, depth + 1) + " ";
        for (const auto &[k, v] : node.entries) out += k + "=" + describe(m, v, depth + 1) + " ";
        return out + ")";
    }
    return out + "[" + std::to_string(node.bits) + " '" + node.text + "' o" + std::to_string(node.object) + "]";
}

}  // namespace model
