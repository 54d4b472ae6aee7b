// Reading values one after the other from the front of a buffer: the cases
// of dump_cases/*_prefix_cases.txt, and every cut of every value read from
// the front being "cut short" at the cut, never another fault.
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

TEST_F(PrefixRead, JsonValuesOneAfterTheOther) {
    for_each_case("json_prefix_cases.txt", [](const std::vector<std::string> &f) {
        ASSERT_GE(f.size(), 2u);
        pz_variant_t *text = pz_variant_from_json(f[0].c_str(), nullptr);
        ASSERT_NE(text, nullptr) << "the input is a JSON string";
        const std::string input(text->str_val, text->len);
        pz_variant_unref(text);
        EXPECT_EQ(read_all(input, json_prefix, true), std::vector<std::string>(f.begin() + 1, f.end()));
    });
}

TEST_F(PrefixRead, MessagePackValuesBackToBack) {
    for_each_case("msgpack_prefix_cases.txt", [](const std::vector<std::string> &f) {
        ASSERT_GE(f.size(), 2u);
        const std::vector<uint8_t> bytes = bytes_of(f[0]);
        const std::string input(bytes.begin(), bytes.end());
        EXPECT_EQ(read_all(input, pz_variant_from_msgpack_prefix, false),
                  std::vector<std::string>(f.begin() + 1, f.end()));
    });
}

// Every cut of a whole value leaves a front that is cut short at the cut:
// what a caller reading a stream takes for "more to come". Only a number
// at the top, cut after a digit, is a value of its own. Each cut is read
// from a block of exactly its length, so that a read past it shows.
void expect_cut_short_everywhere(const std::string &whole, prefix_reader read, bool json) {
    const std::string trimmed = json ? whole.substr(0, whole.find_last_not_of(" \t\r\n") + 1) : whole;
    const bool number = json && trimmed.find_first_of("[{\"tfn") == std::string::npos;
    for (size_t cut = 0; cut < trimmed.size(); ++cut) {
        const std::unique_ptr<char[]> front(new char[cut + 1]);
        std::memcpy(front.get(), trimmed.data(), cut);
        pz_read_error_t error;
        size_t used = 0;
        pz_variant_t *v = read(front.get(), cut, &used, &error);
        const bool blank = json ? trimmed.find_first_not_of(" \t\r\n") >= cut : cut == 0;
        if (v != nullptr) {
            EXPECT_TRUE(number) << "cut at " << cut;
            EXPECT_EQ(used, cut);
            pz_variant_unref(v);
        } else if (blank) {
            EXPECT_EQ(error.code, PZ_READ_NO_VALUE) << "cut at " << cut;
        } else {
            EXPECT_EQ(error.code, PZ_READ_UNEXPECTED_END) << "cut at " << cut << ": " << error.reason;
            EXPECT_EQ(error.offset, cut);
        }
    }
}

TEST_F(PrefixRead, EveryCutOfAJsonValueIsCutShort) {
    int cases = 0;
    for (const auto &path : json_cases("accept")) {
        const std::string text = slurp(path);
        if (text.size() > 2000) continue;
        SCOPED_TRACE(path.filename().string());
        expect_cut_short_everywhere(text, json_prefix, true);
        ++cases;
    }
    EXPECT_GT(cases, 30);
}

TEST_F(PrefixRead, EveryCutOfAMessagePackValueIsCutShort) {
    for_each_case("msgpack_write_cases.txt", [](const std::vector<std::string> &f) {
        const std::vector<uint8_t> bytes = bytes_of(f.at(1));
        expect_cut_short_everywhere(std::string(bytes.begin(), bytes.end()), pz_variant_from_msgpack_prefix, false);
    });
}

}  // namespace
