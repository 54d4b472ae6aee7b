// The plain JSON reader: values made straight from the lexer's tokens, in
// one pass, with no tree in between and no state beyond the read. The
// elements and members of the containers being read wait on two stacks,
// so that each container is made once at its full size when it closes.
#include <span>

#include "text/json_lexer.h"
#include "io/key_cache.h"
#include "io/read_error.h"
#include "containers/arrays.h"
#include "containers/dicts.h"

using namespace pz;
using namespace pz::json;

namespace {

// A stack of trivially copyable items in one HAL block, grown by doubling.
// What is left on it when the read ends is released by `drop`.
template <class T, void (*drop)(T &)>
class read_stack {
public:
    read_stack() = default;
    read_stack(const read_stack &) = delete;
    read_stack &operator=(const read_stack &) = delete;
    ~read_stack() {
        for (size_t i = 0; i < size_; ++i) drop(items_[i]);
        HAL_Free(items_);
    }

    size_t size() const { return size_; }
    T *from(size_t base) { return items_ + base; }
    // Forgets the items above `base`, which the caller has taken over.
    void cut(size_t base) { size_ = base; }

    // False when out of memory; `item` is then dropped.
    bool push(T item) {
        if (size_ == capacity_ && !grow()) {
            drop(item);
            return false;
        }
        items_[size_++] = item;
        return true;
    }

private:
    bool grow() {
        const size_t capacity = capacity_ == 0 ? 64 : capacity_ * 2;
        if (capacity > SIZE_MAX / sizeof(T) / 2) return false;
        auto *grown = static_cast<T *>(HAL_Malloc(static_cast<unsigned long>(capacity * sizeof(T))));
        if (grown == nullptr) return false;
        if (size_ != 0) std::memcpy(static_cast<void *>(grown), items_, size_ * sizeof(T));
        HAL_Free(items_);
        items_ = grown;
        capacity_ = capacity;
        return true;
    }

    T *items_ = nullptr;
    size_t size_ = 0;
    size_t capacity_ = 0;
};

// The byte that starts each text of a JSON text sequence (RFC 7464).
constexpr int kRecordSeparator = 0x1E;

struct member {
    pz_string_t *key;
    pz_variant_t *value;
    uint32_t hash;
};

void drop_value(pz_variant_t *&v) { pz_variant_unref(v); }
void drop_member(member &m) {
    pz_string_unref(m.key);
    pz_variant_unref(m.value);
}

class plain_reader {
public:
    plain_reader(const char *text, size_t len) : lx_(text, len) {}

    // The one value of the whole text.
    pz_variant_t *whole(pz_read_error_t *error) {
        lx_.skip_mark();
        pz_variant_t *v = nullptr;
        if (lx_.peek() < 0) {
            lx_.fail(lx_.pos(), fault::no_value);
        } else if ((v = value()) != nullptr && lx_.peek() >= 0) {
            lx_.unexpected(fault::text_after_value);
        }
        return finish(v, error);
    }

    // The value at the front of the text, after separators; `*used` (when
    // not null) the bytes taken, the whitespace after the value included, or
    // when refused the separators before where it starts.
    pz_variant_t *prefix(size_t *used, pz_read_error_t *error) {
        const char *start = separators();
        pz_variant_t *v = nullptr;
        if (lx_.failed()) {
            // cut inside the mark
        } else if (lx_.peek() < 0) {
            start = lx_.pos();  // nothing but separators, all passed over
            lx_.fail(start, fault::no_value);
        } else if ((v = value()) != nullptr) {
            lx_.peek();  // the whitespace after it
            start = lx_.pos();
        }
        if (used != nullptr) *used = static_cast<size_t>(start - lx_.begin());
        return finish(v, error);
    }

private:
    pz_variant_t *finish(pz_variant_t *v, pz_read_error_t *error) {
        if (!lx_.failed()) {
            read_ok(error);
            return v;
        }
        pz_variant_unref(v);
        return read_fault(error, lx_.fault(), lx_.begin(), lx_.length(),
                          static_cast<size_t>(lx_.fault_at() - lx_.begin()));
    }

    // Passes over what may stand before a value read from the front: a byte
    // order mark, then whitespace and the record separators of JSON text
    // sequences. Returns where they end; a text cut inside the mark is
    // refused as cut short.
    const char *separators() {
        constexpr char kMark[] = "\xEF\xBB\xBF";
        const size_t len = lx_.length();
        if (len < 3 && len > 0 && std::memcmp(lx_.begin(), kMark, len) == 0) {
            lx_.fail(lx_.begin() + len, fault::end_of_text);
            return lx_.begin();
        }
        lx_.skip_mark();
        while (lx_.peek() == kRecordSeparator) lx_.advance();
        return lx_.pos();
    }

    pz_variant_t *made(pz_variant_t *v) {
        if (v == nullptr) lx_.fail(lx_.pos(), fault::out_of_memory);
        return v;
    }

    // The value that starts under the cursor (whitespace passed over),
    // `depth_` containers deep: refused past PZ_VARIANT_MAX_DEPTH levels,
    // the value itself counting as one.
    pz_variant_t *value() {
        const int c = lx_.peek();
        if (depth_ >= PZ_VARIANT_MAX_DEPTH) {
            lx_.fail(lx_.pos(), fault::too_deep);
            return nullptr;
        }
        switch (c) {
            case '"': return string();
            case '[': return nested(&plain_reader::array);
            case '{': return nested(&plain_reader::object);
            case 't': return lx_.literal("true", 4) ? made(pz_variant_bool_new(true)) : nullptr;
            case 'f': return lx_.literal("false", 5) ? made(pz_variant_bool_new(false)) : nullptr;
            case 'n': return lx_.literal("null", 4) ? made(new_record(vtype_null)) : nullptr;
            default: break;
        }
        if (c == '-' || (c >= '0' && c <= '9')) return number();
        lx_.unexpected(fault::expected_value);
        return nullptr;
    }

    // Each container around a value is one more level.
    pz_variant_t *nested(pz_variant_t *(plain_reader::*container)()) {
        ++depth_;
        pz_variant_t *v = (this->*container)();
        --depth_;
        return v;
    }

    pz_variant_t *string() {
        text_token t;
        if (!lx_.string(&t)) return nullptr;
        if (t.len > UINT32_MAX - 1) {
            lx_.fail(lx_.pos(), fault::string_too_long);
            return nullptr;
        }
        return made(vstr_sized_new(t.data, static_cast<uint32_t>(t.len)));
    }

    // By the rule of kinds: an integer is int64 when it fits, else uint64
    // when it fits; anything else a double.
    pz_variant_t *number() {
        number_token n;
        if (!lx_.number(&n)) return nullptr;
        if (!n.integer) return made(pz_variant_double_new(n.value));
        if (!n.negative) {
            return made(n.magnitude <= INT64_MAX ? pz_variant_int64_new(static_cast<int64_t>(n.magnitude))
                                                 : pz_variant_uint64_new(n.magnitude));
        }
        if (n.magnitude <= uint64_t{1} << 63) return made(pz_variant_int64_new(static_cast<int64_t>(0 - n.magnitude)));
        return made(pz_variant_double_new(-static_cast<double>(n.magnitude)));
    }

    // After an element or member: true at a comma (passed) that another one
    // follows, false at the closing `close` (passed) or a fault.
    bool more(char close, fault expected) {
        const int c = lx_.peek();
        if (c == close) {
            lx_.advance();
            return false;
        }
        if (c != ',') return lx_.unexpected(expected);
        const char *comma = lx_.pos();
        lx_.advance();
        return lx_.peek() != close || lx_.fail(comma, fault::trailing_comma);
    }

    pz_variant_t *array() {
        lx_.advance();  // the '['
        const size_t base = values_.size();
        bool open = lx_.peek() != ']';
        if (!open) lx_.advance();
        while (open) {
            pz_variant_t *v = value();
            if (v == nullptr || !values_.push(v)) return made(nullptr);
            open = more(']', fault::expected_array_next);
        }
        if (lx_.failed()) return nullptr;
        const size_t count = values_.size() - base;
        pz_variant_t *va = array_new_for(count);
        pz_array_t *a = array_of(va);
        if (a == nullptr) {
            pz_variant_unref(va);
            return made(nullptr);
        }
        if (count != 0) std::memcpy(static_cast<void *>(array_slots(a)), values_.from(base), count * sizeof(pz_variant_t *));
        a->len = count;
        values_.cut(base);
        return va;
    }

    // The name of a member, under the cursor; false (a fault recorded) when
    // it is not a string a dictionary can keep.
    bool key(member *m) {
        const char *at = lx_.pos();
        if (lx_.peek() != '"') return lx_.unexpected(fault::expected_key);
        text_token t;
        if (!lx_.string(&t)) return false;
        if (t.len == 0) return lx_.fail(at, fault::empty_key);
        if (t.has_nul) return lx_.fail(at, fault::nul_in_key);
        m->hash = pz_hash_bytes(t.data, t.len);
        m->key = keys_.key(t.data, t.len, m->hash);
        return m->key != nullptr || lx_.fail(at, fault::out_of_memory);
    }

    bool member_at(member *m) {
        if (!key(m)) return false;
        if (lx_.peek() != ':') {
            pz_string_unref(m->key);
            return lx_.unexpected(fault::expected_colon);
        }
        lx_.advance();
        m->value = value();
        if (m->value == nullptr) pz_string_unref(m->key);
        return m->value != nullptr && (members_.push(*m) || lx_.fail(lx_.pos(), fault::out_of_memory));
    }

    pz_variant_t *object() {
        lx_.advance();  // the '{'
        const size_t base = members_.size();
        bool open = lx_.peek() != '}';
        if (!open) lx_.advance();
        member m{};
        while (open && member_at(&m)) open = more('}', fault::expected_object_next);
        if (lx_.failed()) return nullptr;
        const size_t count = members_.size() - base;
        pz_variant_t *dict = dict_new_for(count);
        pz_hash_table_t *table = dict_of(dict);
        if (table == nullptr) {
            pz_variant_unref(dict);
            return made(nullptr);
        }
        // The table takes both references of every member over, also when
        // it cannot grow; a later duplicate takes the first one's place.
        bool stored = true;
        for (const member &each : std::span(members_.from(base), count)) {
            stored &= pz_hash_table_insert_hashed(table, each.key, each.value, each.hash);
        }
        members_.cut(base);
        if (stored) return dict;
        pz_variant_unref(dict);
        return made(nullptr);
    }

    lexer lx_;
    key_cache keys_;
    read_stack<pz_variant_t *, drop_value> values_;
    read_stack<member, drop_member> members_;
    int depth_ = 0;  // containers open around the cursor
};

}  // namespace

extern "C" {

pz_variant_t *pz_variant_from_json_n(const char *text, size_t len, pz_read_error_t *error) {
    if (text == nullptr) return read_fault(error, fault::no_text, nullptr, 0, 0);
    return plain_reader(text, len).whole(error);
}

pz_variant_t *pz_variant_from_json_prefix(const char *text, size_t len, size_t *used, pz_read_error_t *error) {
    if (used != nullptr) *used = 0;
    if (text == nullptr) return read_fault(error, fault::no_text, nullptr, 0, 0);
    return plain_reader(text, len).prefix(used, error);
}

pz_variant_t *pz_variant_from_json(const char *text, pz_read_error_t *error) {
    return pz_variant_from_json_n(text, text != nullptr ? std::strlen(text) : 0, error);
}

}  // extern "C"
