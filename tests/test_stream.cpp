// Streams of values: every way of cutting a stream into pieces reads as the
// whole stream does, values and faults alike, each fault final; the case
// file's streams (numbers waiting at the top, faults placed from the start
// of the stream, NDJSON going on after a bad line, the limit on one value);
// memory that follows the value in flight, not the stream; the writers,
// each value whole or not at all.
#include <unistd.h>

#include <thread>

#include "pz_test.h"
#include "pzvariant/pz_variant.hpp"
#include "random_values.h"

namespace {

using Stream = LeakCheckedTest;

// What a reader gave, in order: each value as its dump, each error as
// "!code@offset:line:column"; then how it ended.
struct reading {
    std::vector<std::string> items;
    pz_stream_status last = PZ_STREAM_NEED_MORE;
    bool operator==(const reading &) const = default;
};

std::string shown(const reading &r) {
    std::string out;
    for (const std::string &item : r.items) out += item + " ";
    return out + "(ends " + std::to_string(r.last) + ")";
}
std::ostream &operator<<(std::ostream &out, const reading &r) { return out << shown(r); }

std::string fault(const pz_read_error_t &e) {
    return "!" + std::to_string(e.code) + "@" + std::to_string(e.offset) + ":" + std::to_string(e.line) + ":" +
           std::to_string(e.column);
}

// Takes every value the reader has; false once it stopped at an error. A
// value or a wait for more leaves no error; a fault gives no value and, but
// in NDJSON, is final: asked again, the reader gives it again.
bool drain(pz_stream_reader_t *r, pz_stream_format format, reading *out) {
    for (;;) {
        pz_variant_t *v = nullptr;
        pz_read_error_t e;
        out->last = pz_stream_reader_next(r, &v, &e);
        EXPECT_EQ(v != nullptr, out->last == PZ_STREAM_VALUE);
        EXPECT_TRUE(out->last == PZ_STREAM_ERROR || out->last == PZ_STREAM_END || e.code == PZ_READ_OK);
        if (out->last == PZ_STREAM_VALUE) {
            out->items.push_back(dumped(v));
            pz_variant_unref(v);
            continue;
        }
        if (out->last != PZ_STREAM_ERROR) return true;
        out->items.push_back(fault(e));
        if (format == PZ_STREAM_NDJSON) continue;
        EXPECT_EQ(pz_stream_reader_next(r, &v, &e), PZ_STREAM_ERROR);
        EXPECT_EQ(fault(e), out->items.back());
        return false;
    }
}

// Reads `bytes` fed in pieces that end at `cuts` (ascending), then the
// rest; then finishes the stream. A fault is final: the reader takes no
// more bytes after it.
reading read_cut(pz_stream_format format, const std::string &bytes, const std::vector<size_t> &cuts,
                 size_t limit = 0) {
    pz_stream_reader_t *r = pz_stream_reader_new(format, limit);
    reading out;
    size_t from = 0;
    bool going = true;
    for (size_t i = 0; going && i <= cuts.size(); ++i) {
        const size_t to = i < cuts.size() ? cuts[i] : bytes.size();
        EXPECT_TRUE(pz_stream_reader_feed(r, bytes.data() + from, to - from));
        from = to;
        going = drain(r, format, &out);
    }
    if (going) {
        pz_stream_reader_finish(r);
        drain(r, format, &out);
    } else {
        EXPECT_FALSE(pz_stream_reader_feed(r, "1", 1));
    }
    pz_stream_reader_free(r);
    return out;
}

reading read_whole(pz_stream_format format, const std::string &bytes, size_t limit = 0) {
    return read_cut(format, bytes, {}, limit);
}

std::vector<size_t> every_byte(size_t n) {
    std::vector<size_t> cuts;
    for (size_t i = 1; i < n; ++i) cuts.push_back(i);
    return cuts;
}

// A case file's stream: \xNN is the byte NN; any other escape stands as it
// is (it is JSON's); MessagePack is written in hex.
std::string stream_bytes(pz_stream_format format, const std::string &text) {
    if (format == PZ_STREAM_MSGPACK) {
        const std::vector<uint8_t> bytes = bytes_of(text);
        return {bytes.begin(), bytes.end()};
    }
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text.compare(i, 2, "\\x") == 0) {
            out += static_cast<char>(std::stoi(text.substr(i + 2, 2), nullptr, 16));
            i += 3;
        } else {
            out += text[i];
            if (text[i] == '\\' && i + 1 < text.size()) out += text[++i];
        }
    }
    return out;
}

// A stream of a few random values in `format`, and what each reads back
// as alone.
std::string random_stream(std::mt19937 &rng, pz_stream_format format, std::vector<std::string> *alone) {
    static const char *const kSpaces[] = {" ", "\n", "\r\n\t ", "  \n\n"};
    std::string bytes;
    random_values gen(rng());
    for (unsigned n = 1 + rng() % 6; n > 0; --n) {
        pz_variant_t *v = gen.value(static_cast<int>(rng() % 4));
        pz_variant_t *back = nullptr;
        if (format == PZ_STREAM_MSGPACK) {
            size_t len = 0;
            uint8_t *b = pz_variant_to_msgpack(v, rng() % 2 != 0 ? PZ_MSGPACK_SMALLEST : 0, &len);
            bytes.append(reinterpret_cast<const char *>(b), len);
            back = pz_variant_from_msgpack(b, len, nullptr);
            HAL_Free(b);
        } else {
            const unsigned flags = format == PZ_STREAM_JSON && rng() % 3 == 0 ? PZ_JSON_INDENT : 0;
            const std::string text = taken(pz_variant_to_json(v, flags));
            bytes += text + (format == PZ_STREAM_NDJSON ? (rng() % 4 == 0 ? "\r\n\n" : "\n") : kSpaces[rng() % 4]);
            back = pz_variant_from_json(text.c_str(), nullptr);
        }
        alone->push_back(dumped(back));
        pz_variant_unref(back);
        pz_variant_unref(v);
    }
    return bytes;
}

// Random streams, read whole, give the values written; then, often spoilt
// by a changed, lost or added byte, they read in random pieces (and a byte
// at a time) exactly as whole.
TEST_F(Stream, RandomCutsReadAsTheWholeStream) {
    std::mt19937 rng(2024);
    for (const pz_stream_format format : {PZ_STREAM_JSON, PZ_STREAM_NDJSON, PZ_STREAM_MSGPACK}) {
        for (int round = 0; round < 150; ++round) {
            std::vector<std::string> alone;
            std::string bytes = random_stream(rng, format, &alone);
            const reading whole = read_whole(format, bytes);
            EXPECT_EQ(whole.items, alone) << format << ": " << bytes;
            if (rng() % 3 != 0) {
                const size_t at = rng() % bytes.size();
                switch (rng() % 3) {
                    case 0: bytes[at] = static_cast<char>(rng()); break;
                    case 1: bytes.erase(at, 1); break;
                    default: bytes.insert(at, 1, static_cast<char>(rng())); break;
                }
            }
            const reading spoilt = read_whole(format, bytes);
            SCOPED_TRACE(hex_of(bytes.data(), bytes.size()));
            EXPECT_EQ(read_cut(format, bytes, every_byte(bytes.size())), spoilt);
            for (int cutting = 0; cutting < 8; ++cutting) {
                std::vector<size_t> cuts;
                for (size_t at = rng() % 40; at < bytes.size(); at += 1 + rng() % 40) cuts.push_back(at);
                EXPECT_EQ(read_cut(format, bytes, cuts), spoilt);
            }
        }
    }
}

// The streams of stream_cases.txt read as listed, whole, a byte at a time
// and cut at every point.
TEST_F(Stream, CaseFileStreamsReadAsListedHoweverCut) {
    for_each_case("stream_cases.txt", [](const std::vector<std::string> &f) {
        ASSERT_EQ(f.size(), 4u);
        const pz_stream_format format = f[0] == "json"     ? PZ_STREAM_JSON
                                        : f[0] == "ndjson" ? PZ_STREAM_NDJSON
                                                           : PZ_STREAM_MSGPACK;
        const std::string bytes = stream_bytes(format, f[2]);
        const size_t limit = std::stoul(f[1]);
        const reading whole = read_whole(format, bytes, limit);
        EXPECT_EQ(shown(whole), f[3]);
        EXPECT_EQ(read_cut(format, bytes, every_byte(bytes.size()), limit), whole);
        for (size_t cut = 1; cut < bytes.size(); ++cut) {
            EXPECT_EQ(read_cut(format, bytes, {cut}, limit), whole) << "cut at " << cut;
        }
    });
}

// Cut at points through it, a MessagePack stream with headers of every
// size reads as whole, up to the value cut short at the end
// (stream_cases.txt has text streams cut at every point).
TEST_F(Stream, EverySplitPointReadsAsTheWholeStream) {
    pz_variant_t *list = pz_variant_pack("qxtdc", 300, INT64_MIN, UINT64_MAX, -0.25, std::string(300, 'z').c_str());
    append_new(list, vstr_sized_new(std::string(70000, 'y').data(), 70000));
    size_t len = 0;
    uint8_t *b = pz_variant_to_msgpack(list, PZ_MSGPACK_SMALLEST, &len);
    const std::string bytes = std::string("\x81\xa1k\xc0\x05", 5) + std::string(reinterpret_cast<char *>(b), len) +
                              std::string("\xdd\x00\x00\x00\x02\xc3", 6);
    HAL_Free(b);
    pz_variant_unref(list);
    const reading whole = read_whole(PZ_STREAM_MSGPACK, bytes);
    ASSERT_EQ(whole.items.size(), 4u) << whole;
    EXPECT_EQ(whole.items.back(), "!4@" + std::to_string(bytes.size()) + ":0:0");
    for (size_t cut = 1; cut < bytes.size(); cut += 97) {  // (the 70000-byte text is passed in steps)
        EXPECT_EQ(read_cut(PZ_STREAM_MSGPACK, bytes, {cut}), whole) << "cut at " << cut;
    }
}

// A long NDJSON stream fed 64 KiB at a time costs the piece, the record
// cut by its end, and what reading one record alone costs: the peak does
// not grow with the stream.
TEST_F(Stream, MemoryFollowsTheValueInFlightNotTheStream) {
    std::string record = R"({"id":1300000000000000000,"user":{"name":"Zo\u00eb","followers":12},"text":")";
    record += std::string(400, 'w') + R"(","score":12.5,"favorited":false})" "\n";
    const size_t piece = size_t{64} << 10;
    hal_reset_peak();
    long before = hal_live_bytes();
    pz_variant_unref(pz_variant_from_json_n(record.data(), record.size(), nullptr));
    const long alone = hal_peak_bytes() - before;
    auto peak_reading = [&](size_t records) {
        std::string stream;
        for (size_t i = 0; i < records; ++i) stream += record;
        hal_reset_peak();
        before = hal_live_bytes();
        pz_stream_reader_t *r = pz_stream_reader_new(PZ_STREAM_NDJSON, 0);
        size_t values = 0;
        for (size_t at = 0; at < stream.size(); at += piece) {
            pz_stream_reader_feed(r, stream.data() + at, std::min(piece, stream.size() - at));
            pz_variant_t *v = nullptr;
            while (pz_stream_reader_next(r, &v, nullptr) == PZ_STREAM_VALUE) values += (pz_variant_unref(v), 1);
        }
        pz_stream_reader_free(r);
        EXPECT_EQ(values, records);
        return hal_peak_bytes() - before;
    };
    const long small = peak_reading(300), large = peak_reading(3000);
    EXPECT_LT(large - small, static_cast<long>(record.size()));
    // The reader's own state is a few hundred bytes.
    EXPECT_LT(static_cast<size_t>(large), piece + record.size() + static_cast<size_t>(alone) + 1024)
        << "peak " << large << ", one record read alone " << alone;
}

// Writers: each value a line of compact JSON, or back-to-back MessagePack;
// a value that cannot be written writes nothing; what is written reads
// back, through a descriptor and a FILE as through memory.
TEST_F(Stream, WritersAppendWholeValuesThatReadBack) {
    pz::value record = pz::dict({{"id", 7}, {"tags", pz::array({"a", "b"})}});
    pz::value pointer = pz::dict({{"p", pz::value(static_cast<void *>(&record))}});
    pz_stream_writer_t *w = pz_stream_writer_new(PZ_STREAM_NDJSON, PZ_JSON_INDENT | PZ_JSON_REFUSE_POINTERS);
    EXPECT_TRUE(pz_stream_write(w, record.get()));
    EXPECT_FALSE(pz_stream_write(w, pointer.get()));
    EXPECT_TRUE(pz_stream_write(w, pz::value(1.5).get()));
    size_t len = 0;
    EXPECT_EQ(taken(static_cast<char *>(pz_stream_writer_take(w, &len))), "{\"id\":7,\"tags\":[\"a\",\"b\"]}\n1.5\n");
    EXPECT_EQ(pz_stream_writer_take(w, &len), nullptr);
    pz_stream_writer_free(w);

    std::vector<std::string> calls;
    w = pz_stream_writer_new_callback(PZ_STREAM_MSGPACK, 0, [](const char *b, size_t n, void *seen) {
        static_cast<std::vector<std::string> *>(seen)->emplace_back(b, n);
        return 0;
    }, &calls);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(pz_stream_write(w, record.get()));
    EXPECT_FALSE(pz_stream_write(w, pointer.get()));
    pz_stream_writer_free(w);
    ASSERT_EQ(calls.size(), 3u);
    const std::vector<std::byte> one = record.to_msgpack();
    EXPECT_EQ(calls[2], std::string(reinterpret_cast<const char *>(one.data()), one.size()));

    // 2000 records through a pipe, written by a thread, each read as soon
    // as it is whole.
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    std::thread writer([&] {
        pz_stream_writer_t *out = pz_stream_writer_new_fd(PZ_STREAM_MSGPACK, 0, fds[1]);
        for (int i = 0; i < 2000; ++i) pz_stream_write(out, record.get());
        pz_stream_writer_free(out);
        close(fds[1]);
    });
    pz_stream_reader_t *r = pz_stream_reader_new(PZ_STREAM_MSGPACK, 0);
    int read = 0;
    pz_variant_t *v = nullptr;
    while (pz_stream_reader_read_fd(r, fds[0], &v, nullptr) == PZ_STREAM_VALUE) {
        read += pz_variant_equal(v, record.get());
        pz_variant_unref(v);
    }
    writer.join();
    close(fds[0]);
    pz_stream_reader_free(r);
    EXPECT_EQ(read, 2000);

    FILE *file = std::tmpfile();
    w = pz_stream_writer_new_file(PZ_STREAM_JSON, PZ_JSON_INDENT, file);
    EXPECT_TRUE(pz_stream_write(w, record.get()) && pz_stream_write(w, record.get()));
    pz_stream_writer_free(w);
    std::rewind(file);
    int values = 0;
    for (pz::value got : pz::value_stream(file, PZ_STREAM_JSON)) values += got.to_json() == record.to_json();
    EXPECT_EQ(values, 2);
    std::fclose(file);
}

// C++: a range over a stream's values, going on after a bad NDJSON line;
// a writer to a std::ostream; a reader fed by hand.
TEST_F(Stream, CppRangesAndWriters) {
    std::ostringstream text;
    pz::stream_writer out(text, PZ_STREAM_NDJSON);
    out.write(pz::dict({{"n", 1}})).write(pz::array({true}));
    EXPECT_THROW(out.write(pz::value()), pz::error);
    std::istringstream in(text.str() + "{oops\n\"end\"\n");
    pz::value_stream values(in, PZ_STREAM_NDJSON);
    std::vector<std::string> seen;
    for (;;) {
        try {
            for (pz::value v : values) seen.push_back(v.to_json());
            break;
        } catch (const pz::parse_error &e) {
            seen.push_back("line " + std::to_string(e.line()));
        }
    }
    EXPECT_EQ(seen, (std::vector<std::string>{R"({"n":1})", "[true]", "line 3", R"("end")"}));

    pz::stream_reader reader(PZ_STREAM_MSGPACK);
    const std::vector<std::byte> bytes = pz::array({1, 2}).to_msgpack();
    reader.feed(bytes.data(), 2);
    EXPECT_FALSE(reader.next().has_value());
    reader.feed(bytes.data() + 2, bytes.size() - 2);
    std::optional<pz::value> got = reader.next();
    ASSERT_TRUE(got.has_value());
    EXPECT_EQ(*got, pz::array({1, 2}));
    reader.finish();
    EXPECT_FALSE(reader.next().has_value());
    EXPECT_TRUE(reader.ended());
    EXPECT_THROW(reader.feed("x"), pz::error);
}

}  // namespace
