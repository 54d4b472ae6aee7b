// Plain JSON out: one walk of the value writes its text, compact or laid out
// over lines, to any sink (a new block, the caller's buffer, a callback).
// (Plain JSON in is the reader's.)
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "pzvariant/pz_json_options.h"
#include "text/json_codec.h"
#include "text/json_writer.h"
#include "text/key_order.h"
#include "text/utf8.h"
#include "core/container_storage.h"
#include "core/kinds.h"
#include "operations/walk.h"

using namespace pz;

namespace {

// What the flags ask of the text's layout and spellings.
struct style {
    explicit style(unsigned flags)
        : canonical((flags & PZ_JSON_CANONICAL) != 0),
          sorted(canonical || (flags & PZ_JSON_SORT_KEYS) != 0),
          literals(!canonical && (flags & PZ_JSON_NONFINITE_LITERALS) != 0),
          escape_invalid(!canonical && (flags & PZ_JSON_ESCAPE_INVALID) != 0),
          refuse_pointers((flags & PZ_JSON_REFUSE_POINTERS) != 0),
          indent(!canonical && (flags & PZ_JSON_INDENT) != 0),
          pad((flags & PZ_JSON_INDENT_TABS & ~PZ_JSON_INDENT) != 0 ? '\t' : ' '),
          width(pad == '\t' ? 1 : (flags >> 8 & 15) == 0 ? 2 : std::min((flags >> 8 & 15) - 1, 8u)) {}

    bool canonical, sorted, literals, escape_invalid, refuse_pointers, indent;
    char pad;        // of an indent
    unsigned width;  // pads a level
};

// Indents are written from these, a piece at a time.
constexpr std::array<char, 64> filled(char c) {
    std::array<char, 64> text{};
    for (char &each : text) each = c;
    return text;
}
constexpr auto kSpaces = filled(' ');
constexpr auto kTabs = filled('\t');

class json_writer {
public:
    json_writer(out_sink &out, unsigned flags) : out_(out), style_(flags) {}

    // Writes `v` (null for an empty slot, written null); false once the
    // walk is refused or the sink has failed.
    bool value(const pz_variant_t *v) {
        if (v != nullptr && v->vt == vtype_array) return array(v);
        if (v != nullptr && v->vt == vtype_dict) return dict(v);
        if (!path_.fits(v)) return false;
        if (v == nullptr) return keyword("null", 4);
        switch (v->vt) {
#define PZ_JSON_SCALAR(name, ctype, code, va_type) \
    case code:                                     \
        return scalar(load<ctype>(v));
            PZ_SCALAR_KINDS(PZ_JSON_SCALAR)
#undef PZ_JSON_SCALAR
            case vtype_null:
                return keyword("null", 4);
            case vtype_string:
                return string(v->str_val, v->len);
            case vtype_bytes:
                return bytes(static_cast<const unsigned char *>(v->ptr_val), v->len);
            case vtype_autoptr:
            case vtype_sharedptr:
                return pointer();
            default:
                return path_.refuse(PZ_STATUS_WRONG_KIND);  // not a kind: nothing to write it as
        }
    }

private:
    bool keyword(const char *text, size_t n) {
        out_.write(text, n);
        return true;
    }

    template <class T>
    bool scalar(T value) {
        if constexpr (std::is_same_v<T, bool>) {
            return value ? keyword("true", 4) : keyword("false", 5);
        } else if constexpr (std::is_pointer_v<T>) {
            return pointer();
        } else if constexpr (std::is_floating_point_v<T>) {
            return real_text(value);
        } else {
            // Canonical JSON knows only doubles: an integer past 2^53 is
            // written as the double nearest to it, as its readers read it.
            if (style_.canonical) return ecmascript(static_cast<double>(value));
            char *room = out_.room(json::kNumberRoom);
            out_.commit(static_cast<size_t>(json::write_integer(room, value) - room));
            return true;
        }
    }

    // A float or double: in ECMAScript's form when canonical (which has no
    // NaN or infinity), as a literal when asked, else in the shortest text
    // that reads back to the same bits.
    template <class F>
    bool real_text(F value) {
        if (style_.canonical) {
            return std::isfinite(value) ? ecmascript(static_cast<double>(value)) : path_.refuse(PZ_STATUS_NOT_FINITE);
        }
        if (style_.literals && std::isnan(value)) return keyword("NaN", 3);
        if (style_.literals && std::isinf(value)) return value > 0 ? keyword("Infinity", 8) : keyword("-Infinity", 9);
        char *room = out_.room(json::kNumberRoom);
        out_.commit(static_cast<size_t>(json::write_real(room, value, true) - room));
        return true;
    }

    bool ecmascript(double d) {
        char *room = out_.room(json::kNumberRoom);
        out_.commit(static_cast<size_t>(json::write_ecmascript(room, d) - room));
        return true;
    }

    // Pointers have no JSON: null, or the whole text refused.
    bool pointer() { return style_.refuse_pointers ? path_.refuse(PZ_STATUS_POINTER) : keyword("null", 4); }

    // Lowercase hex, two digits a byte, written in place a chunk at a time.
    bool bytes(const unsigned char *p, size_t n) {
        static constexpr char kHex[] = "0123456789abcdef";
        out_.put('"');
        while (n > 0) {
            const size_t piece = std::min(n, out_sink::kChunk / 2);
            char *room = out_.room(2 * piece);
            for (size_t i = 0; i < piece; ++i) {
                room[2 * i] = kHex[p[i] >> 4];
                room[2 * i + 1] = kHex[p[i] & 15];
            }
            out_.commit(2 * piece);
            p += piece;
            n -= piece;
        }
        out_.put('"');
        return true;
    }

    // The bytes between the quotes: runs that need nothing copied as they
    // are, the others escaped by table. A UTF-8 sequence is checked where it
    // starts and joins the run; a byte that starts no well-formed one
    // refuses the text, or with PZ_JSON_ESCAPE_INVALID is written \u00XX.
    bool string(const char *text, size_t n) {
        out_.put('"');
        const auto *p = reinterpret_cast<const unsigned char *>(text);
        const unsigned char *end = p + n;
        while (p < end) {
            const unsigned char *run = p;
            for (;;) {
                p = plain_run(p, end);
                const size_t len = p < end ? utf8_sequence(p, static_cast<size_t>(end - p)) : 0;
                if (len == 0) break;
                p += len;
            }
            out_.write(run, static_cast<size_t>(p - run));
            if (p == end) break;
            if (json::kStringByte[*p] == json::kMultiByte && !style_.escape_invalid) {
                return path_.refuse(PZ_STATUS_INVALID_UTF8);
            }
            char *room = out_.room(6);
            out_.commit(static_cast<size_t>(json::write_escape(room, *p++) - room));
        }
        out_.put('"');
        return true;
    }

    // Where the run of bytes from `p` that are written as they are ends:
    // the first control character, quote, backslash or byte of 0x80 or
    // more. Eight bytes at a time while none of them is one.
    static const unsigned char *plain_run(const unsigned char *p, const unsigned char *end) {
        constexpr uint64_t kOnes = 0x0101010101010101u, kTops = 0x8080808080808080u;
        auto has_zero = [](uint64_t w) { return (w - kOnes) & ~w & kTops; };
        while (end - p >= 8) {
            uint64_t w;
            std::memcpy(&w, p, sizeof w);
            const uint64_t low = (w - 0x20 * kOnes) & ~w;  // a byte below 0x20
            if (((low | w) & kTops) != 0 || has_zero(w ^ ('"' * kOnes)) != 0 || has_zero(w ^ ('\\' * kOnes)) != 0) break;
            p += 8;
        }
        while (p < end && json::kStringByte[*p] == json::kAsIs) ++p;
        return p;
    }

    // The length of the well-formed UTF-8 sequence at `p`, 0 when there is
    // none (or `p` is not 0x80 or more). Two-byte sequences, the most
    // common, are checked here.
    static size_t utf8_sequence(const unsigned char *p, size_t left) {
        if (*p < 0x80) return 0;
        if (*p >= 0xC2 && *p <= 0xDF) return left >= 2 && (p[1] & 0xC0) == 0x80 ? 2 : 0;
        const size_t len = *p < 0xF0 ? 3 : 4;
        const size_t window = std::min(len, left);
        return utf8_valid_prefix(reinterpret_cast<const char *>(p), window) >= len ? len : 0;
    }

    // A line break before an element, a member or a closing bracket, and
    // the indent of the containers open; nothing when compact.
    void new_line(int depth) {
        if (!style_.indent) return;
        out_.put('\n');
        const char *pad = style_.pad == '\t' ? kTabs.data() : kSpaces.data();
        for (size_t n = style_.width * static_cast<size_t>(depth); n > 0;) {
            const size_t piece = std::min(n, kSpaces.size());
            out_.write(pad, piece);
            n -= piece;
        }
    }

    // Opens `v`; its elements follow, each after first_or_comma().
    bool open(const pz_variant_t *v, char bracket) {
        if (!path_.enter(v)) return false;
        out_.put(bracket);
        return true;
    }

    void first_or_comma(bool first) {
        if (!first) out_.put(',');
        new_line(path_.depth());
    }

    bool close(bool empty, char bracket) {
        path_.leave();
        if (!empty) new_line(path_.depth());
        out_.put(bracket);
        return ok();
    }

    bool ok() const { return !path_.refused() && !out_.failed(); }

public:
    // Why the text could not be written: the sink's failure, else the walk's.
    pz_status why() const { return out_.failed() ? out_.failure() : path_.why(); }

private:

    bool array(const pz_variant_t *v) {
        if (!open(v, '[')) return false;
        const pz_array_t *a = array_of(v);
        const size_t n = a != nullptr ? a->len : 0;
        for (size_t i = 0; i < n; ++i) {
            first_or_comma(i == 0);
            if (!value(array_slots(a)[i]) || out_.failed()) return false;
        }
        return close(n == 0, ']');
    }

    static bool member(void *key, void *value, void *self) {
        auto *w = static_cast<json_writer *>(self);
        const auto *name = static_cast<const pz_string_t *>(key);
        w->first_or_comma(w->members_++ == 0);
        if (!w->string(name->cstr, static_cast<size_t>(name->len))) return false;
        w->out_.put(':');
        if (w->style_.indent) w->out_.put(' ');
        return w->value(static_cast<const pz_variant_t *>(value)) && !w->out_.failed();
    }

    bool dict(const pz_variant_t *v) {
        if (!open(v, '{')) return false;
        const size_t outer = members_;
        members_ = 0;
        if (style_.sorted) {
            sorted_members(dict_of(v));
        } else {
            pz_hash_table_foreach(dict_of(v), member, this);
        }
        const bool empty = members_ == 0;
        members_ = outer;
        return ok() && close(empty, '}');
    }

    // The members of `table` in the order of their keys. Canonical order
    // needs well-formed keys to be an order at all; the others are refused
    // when written in any case.
    void sorted_members(const pz_hash_table_t *table) {
        struct entry {
            pz_string_t *key;
            void *value;
        };
        const uint32_t n = pz_hash_table_size(table);
        if (n == 0) return;
        auto *entries = static_cast<entry *>(HAL_Malloc(static_cast<unsigned long>(n * sizeof(entry))));
        if (entries == nullptr) {
            path_.refuse(PZ_STATUS_OUT_OF_MEMORY);
            return;
        }
        uint32_t count = 0;
        void *key, *value;
        for (uint32_t pos = 0; count < n && pz_hash_table_next(table, &pos, &key, &value, nullptr);) {
            entries[count++] = {static_cast<pz_string_t *>(key), value};
        }
        bool keys_valid = true;
        for (uint32_t i = 0; i < count && style_.canonical; ++i) {
            keys_valid &= utf8_valid(entries[i].key->cstr, static_cast<size_t>(entries[i].key->len));
        }
        if (!keys_valid) {
            path_.refuse(PZ_STATUS_INVALID_UTF8);
        } else if (style_.canonical) {
            std::sort(entries, entries + count, [](const entry &a, const entry &b) { return key_before_utf16(a.key, b.key); });
        } else {
            std::sort(entries, entries + count, [](const entry &a, const entry &b) { return key_before_bytes(a.key, b.key); });
        }
        for (uint32_t i = 0; i < count && keys_valid && member(entries[i].key, entries[i].value, this);) ++i;
        HAL_Free(entries);
    }

    out_sink &out_;
    style style_;
    walk_path path_;
    size_t members_ = 0;  // of the dictionary being written
};

// The sink's callback for a FILE-like user callback: 0 from it goes on.
struct user_callback {
    pz_write_callback_t fn;
    void *data;
    static bool chunk(const char *bytes, size_t n, void *self) {
        const auto *c = static_cast<const user_callback *>(self);
        return c->fn(bytes, n, c->data) == 0;
    }
};

}  // namespace

bool pz::write_json(const pz_variant_t *v, out_sink &out, unsigned flags, pz_status *why) {
    json_writer w(out, flags);
    const bool written = w.value(v) && !out.failed();
    if (why != nullptr) *why = written ? PZ_STATUS_OK : w.why();
    return written;
}

extern "C" {

char *pz_variant_to_json(const pz_variant_t *v, unsigned flags) {
    if (v == nullptr) return nullptr;
    out_sink out;
    return write_json(v, out, flags) ? out.take() : nullptr;
}

size_t pz_variant_to_json_buf(const pz_variant_t *v, char *buf, size_t size, unsigned flags) {
    if (buf == nullptr) size = 0;
    if (v == nullptr) {
        if (size > 0) buf[0] = '\0';
        return 0;
    }
    out_sink out(buf, size);
    const bool written = write_json(v, out, flags);
    const size_t len = written ? out.size() : 0;
    // Always terminated: after the text, after the part that fits, or
    // empty when the value was refused.
    if (size > 0) buf[std::min(len, size - 1)] = '\0';
    return len;
}

bool pz_variant_to_json_callback(const pz_variant_t *v, pz_write_callback_t fn, void *data, unsigned flags) {
    return pz_variant_to_json_callback_ex(v, fn, data, flags) == PZ_STATUS_OK;
}

pz_status pz_variant_to_json_callback_ex(const pz_variant_t *v, pz_write_callback_t fn, void *data,
                                         unsigned flags) {
    if (v == nullptr || fn == nullptr) return PZ_STATUS_NO_VALUE;
    user_callback user{fn, data};
    out_sink out(user_callback::chunk, &user);
    pz_status why = PZ_STATUS_OK;
    if (!write_json(v, out, flags, &why)) return why;
    return out.flush() ? PZ_STATUS_OK : out.failure();
}

}  // extern "C"
