// Exact 64-bit integers, exact doubles, whole strings and borrowed member
// names over the installed cJSON, which stores every number as a double
// (exact only below 2^53), prints doubles with 15-17 significant digits and
// hands out strings as C strings; and a walk over the tokens of a text that
// tells the text's own spelling of each number and string.
//
// Private to the library and kept in a C++ namespace, so that a program with
// its own cJSON extensions never meets these names.
#ifndef PZ_CJSON64_H
#define PZ_CJSON64_H

#include <cjson/cJSON.h>

#include <cstddef>
#include <cstdint>
#include "text/json_lexer.h"

namespace pz::cjson64 {

// The kind tests on the type field, inline: cJSON's own are calls into the
// shared library, made for every item a read walks.
inline bool is_kind(const cJSON *item, int kind) { return (item->type & 0xFF) == kind; }
inline bool is_bool(const cJSON *item) { return (item->type & (cJSON_True | cJSON_False)) != 0; }

// Room for any 64-bit integer in decimal, its sign and terminator.
inline constexpr int kIntegerText = 24;

// The decimal text of an integer given by sign and magnitude, written at the
// end of `text`; returns where it starts.
char *integer_text(char (&text)[kIntegerText], bool negative, uint64_t magnitude);

// Written items are raw items holding the exact decimal text (cJSON prints
// raw text verbatim); null when out of memory.
cJSON *cJSON_CreateInt64(int64_t value);
cJSON *cJSON_CreateUInt64(uint64_t value);

// The shortest text that reads back to the same bits. JSON cannot spell NaN
// or the infinities: infinities are written 1e999 and -1e999, which any
// parser reads back as infinite; NaN is written as null.
cJSON *cJSON_CreateDouble(double value);

// Adds `item` to `object` under `name` without copying the name, which must
// outlive the tree. Takes `item` over in every case; false (and `item`
// deleted) when either is null.
bool cJSON_SetObjectItem(cJSON *object, const char *name, cJSON *item);

// Plain decimal digits with an optional minus, magnitude below 2^64.
bool parse_digits(const char *first, const char *last, bool *negative, uint64_t *magnitude);

// The string and number tokens of a text that cJSON has read, one after
// the other: the order in which a pre-order walk of cJSON's tree meets
// member names, strings and numbers. Read by the JSON lexer, its strings
// lenient as cJSON's are, so that each decodes to the bytes cJSON made of it.
// The text is NUL-terminated, as cJSON's is; the tokens end at `len`.
class text_tokens {
public:
    text_tokens(const char *text, size_t len) : lexer_(text, len, true) {}

    enum kind : uint8_t {
        end,         // the text ended, or the lexer ran out of memory
        string,      // decoded in string_token()
        number,      // read in number_token()
        odd_number,  // a number cJSON reads but strict JSON does not, such as 01
    };

    // The next token (strings passed over unless `strings`).
    kind next(bool strings);

    const json::text_token &string_token() const { return string_; }
    const json::number_token &number_token() const { return number_; }

    // Whether a string's decoding ran out of memory, ending the tokens early
    // (the only fault of a text cJSON accepted).
    bool out_of_memory() const { return out_of_memory_; }

private:
    kind number_at();

    json::lexer lexer_;
    json::text_token string_{};
    json::number_token number_{};
    bool out_of_memory_ = false;
};

// What cJSON cannot hold of one parsed text, recovered from the text
// itself. cJSON keeps only a double per number, so integers of magnitude
// 2^53 or more are looked up in the text; and it hands out strings as C
// strings, which a \u0000 escape cuts short, so the true length of such a
// string (or member name) is taken from the text. The text is scanned once,
// on the first lookup that needs it: a text without large integers or
// \u0000 escapes pays nothing. Lives no longer than the text and the tree it
// was made for, whose tokens end at `len`. The entries live in small HAL
// blocks.
class exact_values {
public:
    exact_values(const char *text, size_t len, const cJSON *root)
        : text_(text), len_(len), root_(root), numbers_(text, len) {}
    exact_values(const exact_values &) = delete;
    exact_values &operator=(const exact_values &) = delete;
    ~exact_values();

    // A walk that meets every number item of the tree once, in text order,
    // tells each one here before it asks `find` about it. The text's number
    // tokens are then matched in step, one pass over the text and none over
    // the tree. A token that does not match its item's value ends this, and
    // lookups go by the scan.
    void take(const cJSON *item);

    // Sign and magnitude of `item` as written, when it was written as plain
    // digits of magnitude below 2^64; false otherwise.
    bool find(const cJSON *item, bool *negative, uint64_t *magnitude);

    // The length in bytes of the string value of `item`, NUL bytes included.
    size_t string_length(const cJSON *item);

    // Whether the name of the member `item` holds a NUL byte, so that
    // cJSON's C string of it is cut short.
    bool name_cut(const cJSON *item);

    // Whether the scan ran out of memory, so that a lookup may have fallen
    // back to what cJSON holds.
    bool failed() const { return failed_; }

    // Frees the entries early (lookups then find nothing): before cJSON's
    // tree, whose many small frees they would otherwise follow.
    void release();

private:
    enum what : uint8_t { number, value_text, name_text };
    struct entry {
        const cJSON *item;
        uint64_t value;  // the magnitude, or the length of the text
        uint8_t what;
        bool negative;
        bool digits;  // a number: written as plain digits below 2^64; a text: cut short by cJSON
    };
    struct chunk;
    struct scanner;
    bool nul_escapes();
    const entry *lookup(const cJSON *item, what kind);
    void scan();
    bool add(const entry &e);

    const char *text_;
    size_t len_;
    const cJSON *root_;
    text_tokens numbers_;  // the tokens matched in step with `take`
    bool in_step_ = true;
    entry taken_{};        // the last item taken
    bool scanned_ = false;
    bool failed_ = false;
    int8_t nul_escapes_ = -1;  // whether the text holds \u0000; -1 not yet known
    chunk *head_ = nullptr;    // the entries in text order
    chunk *tail_ = nullptr;
    chunk *last_chunk_ = nullptr;  // where the last lookup found its item
    size_t last_at_ = 0;
};

// The integer value of a number item (or of an integer item made above),
// read in the getter's type:
// - an integer of magnitude below 2^64 is taken modulo 2^64, as C++ converts
//   integers, so 18446744073709551615 reads as int64 -1 and -1 as uint64
//   18446744073709551615 (the reader then keeps the low bits of narrower
//   kinds the same way);
// - a fraction is first truncated toward zero;
// - a magnitude of 2^64 or more (also written with an exponent) and the
//   infinities saturate to the type's limit on their side; NaN gives 0;
// - anything that is not a number gives 0.
// Integers written as plain digits are exact at any magnitude when `exact`
// is given; otherwise above 2^53 they are as exact as their double.
int64_t cJSON_GetInt64Value(const cJSON *item, exact_values *exact);
uint64_t cJSON_GetUInt64Value(const cJSON *item, exact_values *exact);

}  // namespace pz::cjson64

#endif  // PZ_CJSON64_H
