// Private to the library: where a JSON value ends, learnt across the pieces
// its bytes arrive in without reading it. The scanner follows only what
// decides the end (the depth of brackets, being inside a string and after a
// backslash there, the run of a number or literal at the top) and checks
// nothing else: the reader reads the value once the scanner says it is
// whole, and finds its faults then. Each byte is scanned once.
#ifndef PZ_JSON_SCANNER_H
#define PZ_JSON_SCANNER_H

#include <cstddef>

namespace pz::stream {

class json_scanner {
public:
    // A value begins at the next byte scanned, which is not whitespace.
    void start() { *this = json_scanner(); }

    // Scans the bytes from `p` to `end`, which follow those scanned before.
    // Where the value ends in them, the byte after its last one: after the
    // closing bracket or quote, or, for a number or literal at the top, the
    // first byte that cannot go on with it (nothing then tells where it
    // ends but what follows). Null when the value goes on past `end`.
    const char *scan(const char *p, const char *end);

    // Whether `c` may go on with a number or literal (`12` then `3`).
    static bool word_byte(char c);

private:
    void begin(char c);
    const char *in_string(const char *p, const char *end);
    const char *in_container(const char *p, const char *end);

    long depth_ = 0;       // brackets open
    bool begun_ = false;   // the first byte was scanned
    bool string_ = false;  // inside a string
    bool escape_ = false;  // after a backslash in a string
    bool word_ = false;    // a number or literal at the top
};

}  // namespace pz::stream

#endif  // PZ_JSON_SCANNER_H
