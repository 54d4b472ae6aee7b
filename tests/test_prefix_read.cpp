// Reading values one after the other from the front of a buffer: the cases
// of dump_cases/*_prefix_cases.txt, and every cut of every value read from
// the front being "cut short" at the cut, never another fault; every cut
// of every JSON case read from exactly its length, whole and from the front.
#include <memory>

#include "pz_test.h"

namespace {

using PrefixRead = LeakCheckedTest;

// A reader of one value from the front of `len` bytes.
using prefix_reader = pz_variant_t *(*)(const void *, size_t, size_t *, pz_read_error_t *);

pz_variant_t *json_prefix(const void *text, size_t len, size_t *used, pz_read_error_t *error) {
    return pz_variant_from_json_prefix(static_cast<const char *>(text), len, used, error);
}

// Reads `input` from the front again and again, as the case files write
// it: "<used> <value>" for each value, then "end", or the refusal (its
// offset counted from where that read started; the JSON reader's also
// says the separators it used).
std::vector<std::string> read_all(const std::string &input, prefix_reader read, bool json) {
    std::vector<std::string> out;
    size_t at = 0;
    for (;;) {
        if (at == input.size() && !out.empty()) return out.push_back("end"), out;
        pz_read_error_t error;
        size_t used = 12345;
        pz_variant_t *v = read(input.data() + at, input.size() - at, &used, &error);
        if (v == nullptr) {
            const std::string place = std::string(error.reason) + " at " + std::to_string(error.offset);
            EXPECT_TRUE(json || used == 0);
            out.push_back(json ? std::to_string(used) + " " + place : place);
            return out;
        }
        EXPECT_EQ(error.code, PZ_READ_OK);
        EXPECT_GT(used, 0u);
        out.push_back(std::to_string(used) + " " + (json ? taken(pz_variant_to_json(v, 0)) : dumped(v)));
        pz_variant_unref(v);
        at += used;
    }
}

// The JSON cases are JSON strings holding the input, the MessagePack ones hex.
TEST_F(PrefixRead, ValuesOneAfterTheOther) {
    for (const bool json : {true, false}) {
        for_each_case(json ? "json_prefix_cases.txt" : "msgpack_prefix_cases.txt", [json](const std::vector<std::string> &f) {
            ASSERT_GE(f.size(), 2u);
            std::string input;
            if (json) {
                pz_variant_t *text = pz_variant_from_json(f[0].c_str(), nullptr);
                ASSERT_NE(text, nullptr) << "the input is a JSON string";
                input.assign(text->str_val, text->len);
                pz_variant_unref(text);
            } else {
                const std::vector<uint8_t> bytes = bytes_of(f[0]);
                input.assign(bytes.begin(), bytes.end());
            }
            EXPECT_EQ(read_all(input, json ? json_prefix : pz_variant_from_msgpack_prefix, json),
                      std::vector<std::string>(f.begin() + 1, f.end()));
        });
    }
}

// Every cut of `text`, each read from a block of exactly its length so that
// a read past it shows: from the front with `read` and, for JSON, whole,
// strictly and with every reading flag. Of a whole value (`whole`) every
// cut leaves a front that is cut short at the cut: what a caller reading a
// stream takes for "more to come". Only a number at the top, cut after a
// digit, is a value of its own.
void read_every_cut(const std::string &text, prefix_reader read, bool json, bool whole) {
    const std::string trimmed = json ? text.substr(0, text.find_last_not_of(" \t\r\n") + 1) : text;
    const bool number = json && trimmed.find_first_of("[{\"tfn") == std::string::npos;
    for (size_t cut = 0; cut <= text.size(); ++cut) {
        const std::unique_ptr<char[]> front(new char[cut == 0 ? 1 : cut]);
        std::memcpy(front.get(), text.data(), cut);
        pz_read_error_t error;
        for (const unsigned flags : {0u, PZ_JSON_READ_COMMENTS | PZ_JSON_READ_TRAILING_COMMAS | PZ_JSON_READ_NONFINITE |
                                             PZ_JSON_READ_REFUSE_OVERFLOW | PZ_JSON_READ_REFUSE_DUPLICATES}) {
            pz_variant_t *v = json ? pz_variant_from_json_opts(front.get(), cut, flags, &error) : nullptr;
            EXPECT_TRUE(!json || v != nullptr || (error.offset <= cut && error.line > 0)) << cut;
            pz_variant_unref(v);
        }
        size_t used = 0;
        pz_variant_t *v = read(front.get(), cut, &used, &error);
        const bool blank = json ? trimmed.find_first_not_of(" \t\r\n") >= cut : cut == 0;
        if (!whole || cut >= trimmed.size()) {
            EXPECT_LE(used, cut);
        } else if (v != nullptr) {
            EXPECT_TRUE(number) << "cut at " << cut;
            EXPECT_EQ(used, cut);
        } else if (blank) {
            EXPECT_EQ(error.code, PZ_READ_NO_VALUE) << "cut at " << cut;
        } else {
            EXPECT_EQ(error.code, PZ_READ_UNEXPECTED_END) << "cut at " << cut << ": " << error.reason;
            EXPECT_EQ(error.offset, cut);
        }
        pz_variant_unref(v);
    }
}

TEST_F(PrefixRead, EveryCutOfEveryJsonCase) {
    int whole_values = 0;
    for (const char *folder : {"accept", "refuse", "implementation-defined", "with/comments", "with/trailing_commas",
                               "with/nonfinite", "with/refuse_overflow", "with/refuse_duplicates"}) {
        const bool whole = std::string(folder) == "accept";
        for (const auto &path : json_cases(folder)) {
            const std::string text = slurp(path);
            if (text.size() > (whole ? 2000u : 400u)) continue;
            SCOPED_TRACE(path.filename().string());
            read_every_cut(text, json_prefix, true, whole);
            whole_values += whole;
        }
    }
    EXPECT_GT(whole_values, 30);
}

TEST_F(PrefixRead, EveryCutOfAMessagePackValueIsCutShort) {
    for_each_case("msgpack_write_cases.txt", [](const std::vector<std::string> &f) {
        const std::vector<uint8_t> bytes = bytes_of(f.at(1));
        read_every_cut(std::string(bytes.begin(), bytes.end()), pz_variant_from_msgpack_prefix, false, true);
    });
}

}  // namespace
