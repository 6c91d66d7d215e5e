#include "QuarrydexAudio/tags/FLAC.h"

#include "tests/support/AudioBytes.h"
#include "tests/support/DescribeAudio.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using namespace std::string_literals;
using namespace bytes;

constexpr unsigned infoType = 0;
constexpr unsigned paddingType = 1;
constexpr unsigned commentType = 4;
constexpr unsigned pictureType = 6;

/// One second of CD audio, in 10,000 bytes behind the metadata.
constexpr std::string_view oneSecond = "flac 1000 ms 80k 44100 Hz 16 bit 2 ch";

std::string flacFile(const std::string& blocks) {
    return "fLaC" + blocks + zeros(10'000);
}

std::string info(const StreamInfo& wanted = {}, BlockOptions options = {}) {
    return flacBlock(infoType, streamInfo(wanted), options);
}

/// What comments say, without the codec's name.
std::string commentsOf(const std::string& block) {
    AudioMeta meta;
    FLAC::vorbisComments({reinterpret_cast<const std::uint8_t*>(block.data()), block.size()}, meta);
    return describe(meta).substr(std::string_view("unknown").size());
}

TEST(FLACTest, StreamInfoGivesTheProperties) {
    const std::pair<StreamInfo, std::string_view> cases[] = {
        {{}, oneSecond},
        {{48000, 1, 24, 24000}, "flac 500 ms 160k 48000 Hz 24 bit 1 ch"},
        {{655350, 8, 32, 655350}, "flac 1000 ms 80k 655350 Hz 32 bit 8 ch"},
        {{192000, 6, 24, 1ULL << 35}, "flac 178956970 ms 192000 Hz 24 bit 6 ch"},
        {{1, 2, 16, (1ULL << 36) - 1}, "flac 4294967295 ms 1 Hz 16 bit 2 ch"},
        {{44100, 2, 16, 0}, "flac 44100 Hz 16 bit 2 ch"}, // a length that nobody knew
        {{0, 2, 16, 44100}, "flac 16 bit 2 ch"},
        {{655350, 2, 16, 656}, "flac 1 ms 65535k 655350 Hz 16 bit 2 ch"},
    };
    for (const auto& [stream, wanted] : cases)
        EXPECT_EQ(readAs(flacFile(info(stream, {.isLast = true}))), wanted);
}

TEST(FLACTest, BlocksAreWalkedToTheLast) {
    const std::string texts = flacBlock(commentType, comments({"TITLE=t"}));
    const std::string padding = flacBlock(paddingType, zeros(1000));
    const std::string lastPadding = flacBlock(paddingType, zeros(1000), {.isLast = true});
    const std::string titled = std::string(oneSecond) + " title=t";

    const std::pair<std::string, std::string> cases[] = {
        {flacFile(info() + padding + texts + lastPadding), titled},
        {flacFile(padding + texts + info({}, {.isLast = true})), titled},
        {flacFile(info() + lastPadding) + texts, "flac 1000 ms 80k 44100 Hz 16 bit 2 ch"},
        // A stream info that is too short is none; one cut by the end of the file neither.
        {flacFile(flacBlock(infoType, zeros(33), {.isLast = true})), "nothing"},
        {flacFile(texts + lastPadding), "nothing"},
        {"fLaC" + info().substr(0, 37), "nothing"},
        {"fLaC" + info() + be(commentType, 1) + be(100, 3), "flac 1000 ms 44100 Hz 16 bit 2 ch"},
        {"fLaC" + info(), "flac 1000 ms 44100 Hz 16 bit 2 ch"},
        {"fLaC" + zeros(8), "nothing"},
    };
    for (const auto& [file, wanted] : cases)
        EXPECT_EQ(readAs(file, "flac").substr(0, wanted.size()), wanted);
    // The longer stream info counts whole, more than 34 bytes are skipped.
    EXPECT_EQ(readAs(flacFile(flacBlock(infoType, streamInfo() + zeros(6)) + texts + lastPadding)),
              titled);
}

TEST(FLACTest, AtMost64BlocksAreExamined) {
    std::string padding;
    for (int i = 0; i < 62; ++i)
        padding += flacBlock(paddingType, "");
    const std::string title = flacBlock(commentType, comments({"TITLE=t"}));
    const std::string album = flacBlock(commentType, comments({"ALBUM=b"}));
    EXPECT_EQ(readAs("fLaC" + info() + padding + title + album + zeros(10'000 - album.size())),
              std::string(oneSecond) + " title=t");
}

TEST(FLACTest, CommentsFillTheirFields) {
    const std::pair<std::vector<std::string>, std::string_view> cases[] = {
        {{"TITLE=t", "ARTIST=a", "ALBUM=b", "GENRE=(17)", "DATE=2011-05-02", "BPM=128,5", "KEY=Am"},
         " 128.5 bpm 2011 artist=a title=t album=b genre=(17) key=Am"},
        {{"title=t", "Artist=a", "YEAR=1959", "tempo=90", "InitialKey=8A"},
         " 90.0 bpm 1959 artist=a title=t key=8A"},
        {{"ALBUMARTIST=band"}, " artist=band"},
        {{"ALBUMARTIST=band", "ARTIST=a", "ARTIST=b"}, " artist=a"},
        {{"TITLE=a=b"}, " title=a=b"},
        {{"TITLE=", "=x", "ALBUM", "", "COMMENT=c", "TITLES=x", "TITL=x"}, ""},
        {{"TITLE=R\xF3s"}, " title=R\xC3\xB3s"},
        {{"DATE=0999", "BPM=600"}, ""},
    };
    for (const auto& [texts, wanted] : cases)
        EXPECT_EQ(commentsOf(comments(texts)), wanted);
}

TEST(FLACTest, LyingLengthsInCommentsEndTheWalk) {
    const std::string title = le(7, 4) + "TITLE=t";
    EXPECT_EQ(commentsOf(le(0, 4) + le(9, 4) + title), " title=t") << "fewer than said";
    EXPECT_EQ(commentsOf(le(0, 4) + le(~0U, 4) + title), " title=t");
    EXPECT_EQ(commentsOf(le(0, 4) + le(1, 4) + title + title), " title=t");
    EXPECT_EQ(commentsOf(le(0, 4) + le(0, 4) + title), "");
    EXPECT_EQ(commentsOf(le(~0U, 4) + le(1, 4) + title), "") << "a vendor that is too long";
    EXPECT_EQ(commentsOf(le(0, 4) + le(2, 4) + title + le(~0U, 4) + "ALBUM=b"), " title=t");
    EXPECT_EQ(commentsOf(le(0, 4) + le(2, 4) + title + le(8, 4) + "ALBUM=b"), " title=t");
    EXPECT_EQ(commentsOf(le(0, 4)), "");
    EXPECT_EQ(commentsOf(""), "");
}

TEST(FLACTest, AtMost500CommentsOfABlockAreRead) {
    std::vector<std::string> texts(499, "COMMENT=c");
    texts.insert(texts.end(), {"TITLE=t", "ALBUM=b"});
    EXPECT_EQ(commentsOf(comments(texts)), " title=t");
}

TEST(FLACTest, TextsBehindALargeCommentAreRead) {
    const std::string picture = "METADATA_BLOCK_PICTURE=" + std::string(12'000'000, 'A');
    const std::string block =
        flacBlock(commentType, comments({picture, "TITLE=t"}), {.isLast = true});
    EXPECT_EQ(readAs(flacFile(info() + block)), std::string(oneSecond) + " title=t");
}

TEST(FLACTest, CommentBlocksTogetherAreBounded) {
    const std::size_t most = FLAC::mostCommentBytes;
    const std::string large = comments({"TITLE=t"}) + zeros(15'000'000);
    const std::string first = flacBlock(commentType, large);
    // The second is read in part, where its first text stands; of the third nothing is.
    const std::string second = flacBlock(commentType, comments({"ALBUM=b"}) + zeros(15'000'000));
    const std::string third = flacBlock(commentType, comments({"GENRE=g"}), {.isLast = true});
    const std::string file = flacFile(info() + first + second + third);
    const MemoryReader reader(file);
    const auto meta = AudioParser::parse(reader, "flac");
    ASSERT_TRUE(meta.has_value());
    EXPECT_EQ(describe(*meta), std::string(oneSecond) + " title=t album=b");
    EXPECT_LE(reader.bytesRead(), most + 1000);
}

TEST(FLACTest, ReadsHeadersAndComments) {
    const std::string texts = comments({"TITLE=t", "ARTIST=a"});
    const std::string file =
        flacFile(info() + flacBlock(3, zeros(18 * 100)) + flacBlock(commentType, texts) +
                 flacBlock(pictureType, zeros(500'000)) +
                 flacBlock(paddingType, zeros(8192), {.isLast = true}));
    const MemoryReader reader(file);
    EXPECT_TRUE(AudioParser::parse(reader, "flac").has_value());
    EXPECT_LE(reader.bytesRead(), 12 + 5 * 4 + 34 + texts.size());
    EXPECT_LE(reader.reads(), 6U);
}

} // namespace

} // namespace quarrydex
