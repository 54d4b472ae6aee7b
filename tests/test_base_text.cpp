// The writers' byte sink and the UTF-8 check that the text readers and
// writers share (the encoding of \u escapes at each length's bounds is
// pinned by json_cases/accept/escape_u_each_length_at_its_bounds).
#include "io/sink.h"
#include "pz_test.h"
#include "text/utf8.h"

namespace {

using TextBaseTest = LeakCheckedTest;

TEST(Utf8, LongestValidPrefixStopsAtTheFirstBadSequence) {
    for_each_case("utf8_cases.txt", [](const std::vector<std::string> &f) {
        const std::vector<uint8_t> text = bytes_of(f.at(0));
        EXPECT_EQ(pz::utf8_valid_prefix(reinterpret_cast<const char *>(text.data()), text.size()), std::stoul(f.at(1)));
    });
}

// Writes `pieces` of every size through the sink's three entry points.
template <class Sink>
std::string write_pieces(Sink &sink, int pieces) {
    std::string expect;
    for (int i = 0; i < pieces; ++i) {
        const std::string piece(static_cast<size_t>(i * 37 % 5000), static_cast<char>('a' + i % 26));
        sink.write(piece.data(), piece.size());
        sink.put(',');
        char *at = sink.room(3);
        std::memcpy(at, "xyz", 3);
        sink.commit(2);
        expect += piece + ",xy";
    }
    return expect;
}

TEST_F(TextBaseTest, SinkGrowsABlockAndHandsItOver) {
    pz::out_sink sink;
    const std::string expect = write_pieces(sink, 300);
    EXPECT_EQ(sink.size(), expect.size());
    size_t len = 0;
    char *text = sink.take(&len);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(std::string(text, len), expect);
    EXPECT_EQ(text[len], '\0');
    HAL_Free(text);
    pz::out_sink empty;
    char *nothing = empty.take(&len);
    EXPECT_STREQ(nothing, "");
    HAL_Free(nothing);
}

TEST_F(TextBaseTest, SinkKeepsWhatFitsTheCallersBufferAndCountsTheRest) {
    char buf[1000];
    pz::out_sink sink(buf, sizeof buf);
    const std::string expect = write_pieces(sink, 50);
    EXPECT_EQ(sink.size(), expect.size());
    EXPECT_FALSE(sink.whole());
    EXPECT_FALSE(sink.failed());
    pz::out_sink counting(static_cast<char *>(nullptr), 0);
    const size_t counted = write_pieces(counting, 50).size();
    EXPECT_EQ(counting.size(), counted);
    pz::out_sink roomy(buf, sizeof buf);
    const std::string small = write_pieces(roomy, 5);
    EXPECT_TRUE(roomy.whole());
    EXPECT_EQ(std::string(buf, roomy.size()), small);
}

TEST_F(TextBaseTest, SinkHandsChunksToItsCallbackUntilItSaysStop) {
    struct collected {
        std::string text;
        size_t limit;
    };
    auto collect = [](const char *bytes, size_t n, void *user) {
        auto *c = static_cast<collected *>(user);
        c->text.append(bytes, n);
        return c->text.size() <= c->limit;
    };
    collected all{"", SIZE_MAX};
    pz::out_sink sink(collect, &all);
    const std::string expect = write_pieces(sink, 200);
    EXPECT_TRUE(sink.flush());
    EXPECT_EQ(all.text, expect);
    collected some{"", 10000};
    pz::out_sink stopping(collect, &some);
    const size_t stopped = write_pieces(stopping, 200).size();
    EXPECT_EQ(stopping.size(), stopped);
    EXPECT_FALSE(stopping.flush());
    EXPECT_TRUE(stopping.failed());
    EXPECT_LT(some.text.size(), 10000 + pz::out_sink::kChunk + 1);
}

}  // namespace
