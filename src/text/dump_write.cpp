// The typed dump writer: one typed object per value, {"<kind>": value},
// built as a cJSON tree and printed unformatted. The tree and its number
// texts live in one arena freed in a few blocks, and the text is printed
// straight into the block returned: a 10 MB document makes a million nodes.
#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdio>

#include "base/pz_hex.h"
#include "text/json_codec.h"
#include "text/dump.h"
#include "core/container_storage.h"
#include "operations/walk.h"

using namespace pz;

namespace {

// cJSON's unformatted text of `len` bytes as a string, escaped as the
// plain writer escapes (two-character escapes for the common controls and
// the quote and backslash, \u00xx for the other controls), except that
// every byte of 0x80 or more is written as it is, as cJSON does. Written to
// `out` when kWrite (with a terminator after it); the size is returned
// either way. `nul` tells whether a NUL byte was met, which cJSON itself
// cannot print. (A template, so that counting, the common case, tests for
// `out` nowhere.)
template <bool kWrite>
size_t print_string(const char *text, size_t len, char *out, bool *nul = nullptr) {
    size_t n = 2;
    if constexpr (kWrite) *out++ = '"';
    const auto *p = reinterpret_cast<const unsigned char *>(text);
    for (const unsigned char *last = p + len; p < last; ++p) {
        const unsigned char how = json::kStringByte[*p];
        if (how == json::kAsIs || how == json::kMultiByte) {
            ++n;
            if constexpr (kWrite) *out++ = static_cast<char>(*p);
            continue;
        }
        if (*p == 0 && nul != nullptr) *nul = true;
        n += how == json::kHexEscape ? 6 : 2;
        if constexpr (kWrite) out = json::write_escape(out, *p);
    }
    if constexpr (kWrite) {
        *out++ = '"';
        *out = '\0';
    }
    return n;
}

size_t printed_string_size(const char *text) { return print_string<false>(text, std::strlen(text), nullptr); }

// Builds the tree in the arena: nodes, number and hex texts. Names and
// string values are borrowed from `v` and the kind table. Alongside, it
// counts the bytes cJSON will print, so that the text can be printed into a
// block of the right size at once.
class tree_builder {
public:
    explicit tree_builder(dump_arena &arena) : arena_(arena) {}

    size_t printed_size() const { return size_; }

    // Whether the value met a container nested too deep or holding itself,
    // or memory ran out; the tree is then incomplete and must not be printed.
    bool refused() const { return walk_.refused(); }
    // Why: PZ_STATUS_TOO_DEEP or PZ_STATUS_OUT_OF_MEMORY.
    pz_status why() const { return walk_.why(); }

    // The typed object of `v` (empty for a null value, or when the member
    // cannot be made). Null when out of memory.
    cJSON *item(const pz_variant_t *v) {
        if (!walk_.fits(v)) return nullptr;
        cJSON *typed = object();
        if (typed == nullptr) return nullptr;
        size_ += 2;
        const char *name = v != nullptr ? kDumpNameOf[static_cast<unsigned char>(v->vt)] : nullptr;
        if (name != nullptr) add_member(typed, name, member_value(v));
        return typed;
    }

    // An array holding only the item of `element`, or an object holding
    // only that item under `key`: one piece of a large container, printed
    // on its own. Null when out of memory.
    cJSON *piece(const pz_variant_t *element, const char *key) {
        cJSON *holder = node(key == nullptr ? cJSON_Array : cJSON_Object);
        if (holder == nullptr) return nullptr;
        size_ += 2;
        cJSON *inner = item(element);
        if (inner == nullptr) return nullptr;
        if (key != nullptr) {
            inner->string = const_cast<char *>(key);
            inner->type |= cJSON_StringIsConst;
        }
        link(holder, inner, key != nullptr ? printed_string_size(key) + 1 : 0);
        return holder;
    }

    // Starts a new piece, whose element sits inside `container`.
    void restart(const pz_variant_t *container) {
        size_ = 0;
        while (walk_.depth() > 0) walk_.leave();
        walk_.enter(container);
    }

private:
    // `size` bytes of the arena; null, and the tree refused, when out of
    // memory: a dump is made whole or not at all.
    void *alloc(size_t size) {
        void *block = arena_.alloc(size);
        if (block == nullptr) walk_.refuse();
        return block;
    }

    // Counts nothing: a node counts once it is sure to be printed.
    cJSON *node(int type) {
        auto *item = static_cast<cJSON *>(alloc(sizeof(cJSON)));
        if (item == nullptr) return nullptr;
        std::memset(item, 0, sizeof *item);
        item->type = type;
        return item;
    }

    cJSON *object() { return node(cJSON_Object); }

    // Links `item` last under `parent`, as cJSON does, and counts it.
    void link(cJSON *parent, cJSON *item, size_t extra) {
        cJSON *first = parent->child;
        if (first == nullptr) {
            parent->child = item;
            item->prev = item;
        } else {
            cJSON *last = first->prev;
            last->next = item;
            item->prev = last;
            first->prev = item;
            ++size_;  // the comma
        }
        size_ += extra;
    }

    // `item` counts the bytes of itself and of what was added below it.
    void add_member(cJSON *object, const char *name, cJSON *item) {
        if (item == nullptr) return;
        item->string = const_cast<char *>(name);
        item->type |= cJSON_StringIsConst;  // the key outlives the tree
        link(object, item, printed_string_size(name) + 1);
    }

    cJSON *leaf(int type, char *text, size_t printed) {
        cJSON *item = node(type | cJSON_IsReference);
        if (item == nullptr) return nullptr;
        item->valuestring = text;
        size_ += printed;
        return item;
    }

    cJSON *raw(const char *first, const char *last) {
        const auto n = static_cast<size_t>(last - first);
        auto *text = static_cast<char *>(alloc(n + 1));
        if (text == nullptr) return nullptr;
        std::memcpy(text, first, n);
        text[n] = '\0';
        return leaf(cJSON_Raw, text, n);
    }

    cJSON *string(const char *text) { return string(text, std::strlen(text)); }

    // `len` bytes of text: borrowed, or when it holds a NUL (which cJSON
    // would end it at), printed here into a raw item.
    cJSON *string(const char *text, size_t len) {
        bool nul = false;
        const size_t printed = print_string<false>(text, len, nullptr, &nul);
        if (!nul) return leaf(cJSON_String, const_cast<char *>(text), printed);
        auto *escaped = static_cast<char *>(alloc(printed + 1));
        if (escaped == nullptr) return nullptr;
        print_string<true>(text, len, escaped);
        return leaf(cJSON_Raw, escaped, printed);
    }

    // A copy in the arena of a text made by the base library (null when it
    // could not be made).
    cJSON *string_copy(pz_string_t *text) {
        if (text == nullptr) {
            walk_.refuse();
            return nullptr;
        }
        auto *copy = static_cast<char *>(alloc(static_cast<size_t>(text->len) + 1));
        cJSON *item = nullptr;
        if (copy != nullptr) {
            std::memcpy(copy, text->cstr, static_cast<size_t>(text->len) + 1);
            item = string(copy);
        }
        pz_string_unref(text);
        return item;
    }

    // The address text.
    cJSON *pointer(void *ptr) { return string_copy(pz_string_format("%p", ptr)); }

    cJSON *keyword(int type, size_t printed) {
        cJSON *item = node(type);
        if (item != nullptr) size_ += printed;
        return item;
    }

    template <class T>
    cJSON *scalar(T value) {
        char text[json::kNumberRoom];
        if constexpr (std::is_same_v<T, bool>) {
            return value ? keyword(cJSON_True, 4) : keyword(cJSON_False, 5);
        } else if constexpr (std::is_floating_point_v<T>) {
            // A float as the double it widens to, which reads back exactly.
            const auto d = static_cast<double>(value);
            if (std::isnan(d)) return keyword(cJSON_NULL, 4);
            return raw(text, json::write_real(text, d, false));
        } else if constexpr (std::is_pointer_v<T>) {
            return pointer(value);
        } else {
            return raw(text, json::write_integer(text, value));  // exact at every width
        }
    }

    cJSON *bytes(const pz_variant_t *v) {
        if (v->len > INT_MAX / 2) return nullptr;  // its text would not fit an int
        return string_copy(pz_hex(v->ptr_val, static_cast<int>(v->len)));
    }

    cJSON *array(const pz_variant_t *v) {
        if (!walk_.enter(v)) return nullptr;
        struct closer {
            walk_path &walk;
            ~closer() { walk.leave(); }
        } close{walk_};
        cJSON *items = node(cJSON_Array);
        const pz_array_t *a = array_of(v);
        if (items == nullptr) return nullptr;
        size_ += 2;
        if (a == nullptr) return items;
        for (size_t i = 0; i < a->len && !refused(); ++i) {
            cJSON *element = item(array_slots(a)[i]);
            if (element != nullptr) link(items, element, 0);
        }
        return items;
    }

    static bool dump_entry(void *key, void *value, void *self) {
        auto *b = static_cast<tree_builder *>(self);
        cJSON *element = b->item(static_cast<const pz_variant_t *>(value));
        if (element != nullptr) {
            // Keys outlive the tree, which lives only through the dump.
            const char *name = static_cast<pz_string_t *>(key)->cstr;
            element->string = const_cast<char *>(name);
            element->type |= cJSON_StringIsConst;
            b->link(b->members_, element, printed_string_size(name) + 1);
        }
        return !b->refused();
    }

    cJSON *dict(const pz_variant_t *v) {
        if (!walk_.enter(v)) return nullptr;
        struct closer {
            walk_path &walk;
            ~closer() { walk.leave(); }
        } close{walk_};
        cJSON *members = node(cJSON_Object);
        if (members == nullptr) return nullptr;
        size_ += 2;
        pz_hash_table_t *table = dict_of(v);
        if (table != nullptr) {
            cJSON *outer = members_;
            members_ = members;
            pz_hash_table_foreach(table, dump_entry, this);
            members_ = outer;
        }
        return members;
    }

    cJSON *member_value(const pz_variant_t *v) {
        switch (v->vt) {
#define PZ_DUMP_SCALAR(name, ctype, code, va_type) \
    case code:                                     \
        return scalar(load<ctype>(v));
            PZ_SCALAR_KINDS(PZ_DUMP_SCALAR)
#undef PZ_DUMP_SCALAR
            case vtype_null:
                return keyword(cJSON_NULL, 4);
            case vtype_string:
                // The value outlives the tree, so its text is borrowed. The
                // empty string (a null text) is written "" so that it reads
                // back as itself.
                return v->str_val != nullptr ? string(v->str_val, v->len) : string("");
            case vtype_bytes:
                return bytes(v);
            case vtype_autoptr:
            case vtype_sharedptr:
                return pointer(v->ptr_val);
            case vtype_array:
                return array(v);
            case vtype_dict:
                return dict(v);
            default:
                return nullptr;
        }
    }

    dump_arena &arena_;
    size_t size_ = 0;
    // The containers open on the way down, which bounds the recursion.
    walk_path walk_;
    cJSON *members_ = nullptr;  // the dictionary whose entries are being added
};

// Where the text of a dump goes: a block that grows and is handed over at
// the end, or the caller's buffer, past whose end the bytes are only
// counted. A printer asks for room, prints into it (a terminator after the
// text, and cJSON's look-ahead, included) and keeps as many bytes of it as
// belong to the text.
class dump_out {
public:
    dump_out() = default;
    // The caller's `size` bytes at `buf` (null when `size` is 0).
    dump_out(char *buf, size_t size) : text_(buf), cap_(size), callers_(true) {}
    ~dump_out() {
        if (!callers_) HAL_Free(text_);
        HAL_Free(scratch_);
    }
    dump_out(const dump_out &) = delete;
    dump_out &operator=(const dump_out &) = delete;

    // `n` bytes to print into at the end of the text: the text's own where
    // it has them, else scratch. Null when out of memory.
    char *room(size_t n) {
        staged_ = callers_ ? cap_ - std::min(len_, cap_) < n : !reserve(len_ + n);
        if (!staged_) return text_ + len_;
        if (!callers_) return nullptr;  // the block could not grow
        if (n > scratch_cap_) {
            HAL_Free(scratch_);
            scratch_ = static_cast<char *>(HAL_Malloc(static_cast<unsigned long>(n)));
            scratch_cap_ = scratch_ != nullptr ? n : 0;
        }
        return scratch_;
    }

    // The first `n` bytes of the last room are text.
    void keep(size_t n) {
        // Of staged bytes, what fits before the buffer's last byte, which
        // the terminator needs.
        if (staged_ && len_ + 1 < cap_) std::memcpy(text_ + len_, scratch_, std::min(n, cap_ - 1 - len_));
        len_ += n;
    }

    bool put(const char *text) {
        const size_t n = std::strlen(text);
        char *r = room(n + 1);
        if (r == nullptr) return false;
        std::memcpy(r, text, n + 1);
        keep(n);
        return true;
    }

    // A growing block starts with room for this many bytes, so that a text
    // printed in pieces grows rarely.
    void expect(size_t n) {
        if (!callers_) reserve(n);
    }

    // The length of the whole text.
    size_t length() const { return len_; }

    // Starts the text again, empty.
    void restart() { len_ = 0; }

    // The growing block, terminated; null when nothing could be kept.
    char *take() {
        if (text_ != nullptr) text_[len_] = '\0';
        char *out = text_;
        text_ = nullptr;
        return out;
    }

    // Terminates the caller's buffer: after the text, after the part that
    // fits, or at its start when `whole` is false (no text could be made).
    size_t finish(bool whole) {
        const size_t len = whole ? len_ : 0;
        if (cap_ > 0) text_[std::min(len, cap_ - 1)] = '\0';
        return len;
    }

private:
    // Room for `size` bytes in all in the growing block (never the
    // caller's buffer); false when out of memory.
    bool reserve(size_t size) {
        if (size <= cap_) return true;
        const size_t cap = std::max(size, cap_ * 2);
        auto *grown = static_cast<char *>(pz_mem_move(text_, len_, cap));
        if (grown == nullptr) return false;
        text_ = grown;
        cap_ = cap;
        return true;
    }

    char *text_ = nullptr;
    size_t cap_ = 0;
    size_t len_ = 0;
    bool callers_ = false;   // the caller's buffer, not a block of its own
    bool staged_ = false;    // the last room is scratch
    char *scratch_ = nullptr;
    size_t scratch_cap_ = 0;
};

// `tree`, whose unformatted text is `printed` bytes as counted, printed at
// the end of `out`, its first byte replaced by `lead` (unless 0) and its
// last `drop` bytes left out. -1 when out of memory; 0 when cJSON refuses to
// print into the room (not expected, as the size was counted); else the
// bytes kept.
long print_tree(cJSON *tree, size_t printed, dump_out &out, char lead = 0, size_t drop = 0) {
    // The counted size, plus room for cJSON's look-ahead and the terminator.
    const size_t room = printed + 16;
    if (room > INT_MAX) return 0;
    char *r = out.room(room);
    if (r == nullptr) return -1;
    r[printed] = 1;  // becomes the terminator if the count was exact
    if (!cJSON_PrintPreallocated(tree, r, static_cast<int>(room), false)) return 0;
    const size_t len = r[printed] == '\0' ? printed : std::strlen(r);
    if (lead != 0) r[0] = lead;
    out.keep(len - drop);
    return static_cast<long>(len - drop);
}

// The whole text printed from one tree; false, with the reason in `*why`,
// when it cannot be made.
bool print_whole(const pz_variant_t *v, dump_out &out, pz_status *why) {
    dump_arena arena;
    size_t size = 0;
    *why = PZ_STATUS_OUT_OF_MEMORY;
    cJSON *tree = dump_tree(v, arena, &size, why);
    if (tree == nullptr) return false;
    const long kept = print_tree(tree, size, out);
    if (kept != 0) return kept > 0;
    // Not expected: the count fell short. Let cJSON size the text itself.
    char *printed = cJSON_PrintUnformatted(tree);
    const bool put = printed != nullptr && out.put(printed);
    cJSON_free(printed);
    return put;
}

// A top-level array or dictionary is printed one element or entry at a
// time, each from a small tree in an arena that is reused: a tree of the
// whole would be tens of bytes per node for every value, in fresh memory.
// Each piece is built once and printed straight into the text. Each piece
// prints as its own holder, "[{...}]" or "{"key":{...}}"; the holders'
// opening brackets become the container's bracket and the commas between
// the pieces, and their closing brackets are left out.
class piecewise_printer {
public:
    piecewise_printer(const pz_variant_t *v, dump_out &out) : v_(v), out_(out), builder_(arena_) {}
    // Why print() gave false.
    pz_status why() const { return why_; }

    bool print() {
        out_.expect(4096);
        // The typed object around the container.
        const char *name = kDumpNameOf[static_cast<unsigned char>(v_->vt)];
        if (!out_.put("{\"") || !out_.put(name) || !out_.put("\":")) return false;
        size_t written = 0;
        const bool whole = for_each_piece([&](cJSON *piece, size_t printed) {
            // A text past what an int counts goes to the one-tree printer,
            // which has the same limit.
            too_long_ = out_.length() + printed + 16 > INT_MAX / 2;
            if (too_long_) return false;
            const long kept = print_tree(piece, printed, out_, written != 0 ? ',' : 0, 1);
            if (kept > 0) ++written;  // else the piece is left out
            return kept >= 0;
        });
        if (!whole && too_long_ && !refused_) {
            out_.restart();
            return print_whole(v_, out_, &why_);
        }
        if (!whole) return false;
        const bool array = v_->vt == vtype_array;
        return (written != 0 || out_.put(array ? "[" : "{")) && out_.put(array ? "]}" : "}}");
    }

private:
    // Calls fn(piece tree, its printed size) for each element or entry that
    // could be made, with the arena emptied before each; false as soon as fn
    // gives false.
    template <class Fn>
    bool for_each_piece(Fn fn) {
        bool go_on = true;
        auto one = [&](const pz_variant_t *element, const char *key) {
            arena_.reset();
            builder_.restart(v_);
            cJSON *piece = builder_.piece(element, key);
            if (builder_.refused()) {
                refused_ = true;
                why_ = builder_.why();
                return go_on = false;
            }
            go_on = piece == nullptr || fn(piece, builder_.printed_size());
            return go_on;
        };
        if (v_->vt == vtype_array) {
            const pz_array_t *a = array_of(v_);
            for (size_t i = 0; go_on && a != nullptr && i < a->len; ++i) one(array_slots(a)[i], nullptr);
            return go_on;
        }
        auto entry = [](void *key, void *value, void *ctx) {
            return (*static_cast<decltype(one) *>(ctx))(static_cast<const pz_variant_t *>(value),
                                                       static_cast<pz_string_t *>(key)->cstr);
        };
        pz_hash_table_foreach(dict_of(v_), entry, &one);
        return go_on;
    }

    const pz_variant_t *v_;
    dump_out &out_;
    dump_arena arena_;
    tree_builder builder_;
    bool too_long_ = false;
    bool refused_ = false;  // too deep, containing itself, or out of memory
    pz_status why_ = PZ_STATUS_OUT_OF_MEMORY;
};


// The one message, cut to fit and always terminated within `max_len`.
void write_message(char *buf, uint32_t max_len) {
    static constexpr char kMessage[] = "not enough buffer";
    if (buf == nullptr || max_len == 0) return;
    const unsigned long n = std::min<unsigned long>(sizeof kMessage - 1, max_len - 1);
    pz_strncpy(buf, kMessage, n);
    buf[n] = '\0';
}

}  // namespace

void *pz::dump_arena::alloc(size_t size) {
    size = PZ_ALIGN_UP(size);
    if (size > left_) {
        // Blocks double up to 1 MB, and a larger request gets its own.
        const size_t want = std::max(size, next_);
        auto *block = static_cast<char *>(HAL_Malloc(static_cast<unsigned long>(want + kArenaHeader)));
        if (block == nullptr) return nullptr;
        std::memcpy(block, &blocks_, sizeof blocks_);
        blocks_ = block;
        cursor_ = block + kArenaHeader;
        left_ = want;
        next_ = std::min<size_t>(next_ * 2, size_t{1} << 20);
    }
    void *out = cursor_;
    cursor_ += size;
    left_ -= size;
    return out;
}

void pz::dump_arena::reset() {
    // Keeps the newest block, the largest, and frees the others.
    if (blocks_ == nullptr) return;
    char *older;
    std::memcpy(&older, blocks_, sizeof older);
    while (older != nullptr) {
        char *next;
        std::memcpy(&next, older, sizeof next);
        HAL_Free(older);
        older = next;
    }
    std::memset(blocks_, 0, sizeof(void *));
    left_ += static_cast<size_t>(cursor_ - (blocks_ + kArenaHeader));
    cursor_ = blocks_ + kArenaHeader;
}

pz::dump_arena::~dump_arena() {
    while (blocks_ != nullptr) {
        char *next;
        std::memcpy(&next, blocks_, sizeof next);
        HAL_Free(blocks_);
        blocks_ = next;
    }
}

cJSON *pz::dump_tree(const pz_variant_t *v, dump_arena &arena, size_t *printed_size, pz_status *why) {
    tree_builder builder(arena);
    cJSON *root = builder.item(v);
    if (builder.refused()) {
        if (why != nullptr) *why = builder.why();
        return nullptr;
    }
    if (printed_size != nullptr) *printed_size = builder.printed_size();
    return root;
}

namespace {

// The text of `v` at the end of `out`; false, with the reason in `*why`,
// when it cannot be made.
bool print_into(const pz_variant_t *v, dump_out &out, pz_status *why) {
    const bool container = (v->vt == vtype_array && array_of(v) != nullptr) ||
                           (v->vt == vtype_dict && dict_of(v) != nullptr);
    if (!container) return print_whole(v, out, why);
    piecewise_printer printer(v, out);
    const bool whole = printer.print();
    if (!whole) *why = printer.why();
    return whole;
}

}  // namespace

char *pz::print_text(const pz_variant_t *v, pz_status *why) {
    pz_status ignored;
    dump_out out;
    return print_into(v, out, why != nullptr ? why : &ignored) ? out.take() : nullptr;
}

extern "C" {

char *pz_variant_dump(const pz_variant_t *v) { return v != nullptr ? print_text(v) : nullptr; }

pz_status pz_variant_dump_callback(const pz_variant_t *v, pz_write_callback_t fn, void *data) {
    if (v == nullptr || fn == nullptr) return PZ_STATUS_NO_VALUE;
    pz_status why = PZ_STATUS_OK;
    char *text = print_text(v, &why);
    if (text == nullptr) return why;
    const int stop = fn(text, std::strlen(text), data);
    HAL_Free(text);
    return stop == 0 ? PZ_STATUS_OK : PZ_STATUS_STOPPED;
}

int32_t pz_variant_dump_buf(const pz_variant_t *v, char *buf, uint32_t max_len) {
    if (v == nullptr) return -1;
    char *text = print_text(v);
    const size_t len = text != nullptr ? std::strlen(text) : 0;
    int32_t result = -2;
    if (text != nullptr && len <= INT32_MAX && (buf == nullptr || len < max_len)) {
        if (buf != nullptr) std::memcpy(buf, text, len + 1);
        result = static_cast<int32_t>(len);
    } else {
        write_message(buf, max_len);
    }
    HAL_Free(text);
    return result;
}

size_t pz_variant_to_dump_buf(const pz_variant_t *v, char *buf, size_t size) {
    if (buf == nullptr) size = 0;
    dump_out out(buf, size);
    pz_status ignored;
    return out.finish(v != nullptr && print_into(v, out, &ignored));
}

}  // extern "C"
