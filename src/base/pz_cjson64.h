// Exact 64-bit integers, exact doubles and borrowed member names over the
// installed cJSON, which stores every number as a double (exact only below
// 2^53) and prints doubles with 15-17 significant digits.
//
// Private to the library and kept in a C++ namespace, so that a program with
// its own cJSON extensions never meets these names.
#ifndef PZ_CJSON64_H
#define PZ_CJSON64_H

#include <cjson/cJSON.h>

#include <cstdint>

namespace pz::cjson64 {

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

// The exact integers of one parsed text. cJSON keeps only a double per
// number, so integers of magnitude 2^53 or more are recovered from the text
// itself; this is done once, on the first such lookup, so reads of texts
// without large integers pay nothing. Lives no longer than the text and the
// tree it was made for.
//
// The numbers are kept in text order, in small blocks (a large one would
// make glibc merge every small block freed before it), and lookups that
// come in text order, as a walk of the tree makes them, resume where the
// last one stopped. When the numbers cannot be stored, integers read as
// exactly as their double.
class exact_numbers {
public:
    exact_numbers(const char *text, const cJSON *root) : text_(text), root_(root) {}
    ~exact_numbers();
    exact_numbers(const exact_numbers &) = delete;
    exact_numbers &operator=(const exact_numbers &) = delete;

    // Sign and magnitude of `item` as written, when it was written as plain
    // digits of magnitude below 2^64; false otherwise.
    bool find(const cJSON *item, bool *negative, uint64_t *magnitude);

private:
    struct entry {
        const cJSON *item;
        uint64_t magnitude;
        bool negative;
        bool digits;  // written as plain digits below 2^64
    };
    struct chunk;
    void scan();
    bool add(const entry &e);
    const entry *search(chunk *from, size_t at, const cJSON *item);

    const char *text_;
    const cJSON *root_;
    bool scanned_ = false;
    chunk *head_ = nullptr;
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
int64_t cJSON_GetInt64Value(const cJSON *item, exact_numbers *exact);
uint64_t cJSON_GetUInt64Value(const cJSON *item, exact_numbers *exact);

}  // namespace pz::cjson64

#endif  // PZ_CJSON64_H
