#include "QuarrydexAudio/tags/MP3.h"

#include "tests/support/AudioBytes.h"
#include "tests/support/DescribeAudio.h"

#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using namespace bytes;

std::optional<MP3::Frame> headerOf(const std::string& text) {
    return MP3::header({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, 0);
}

TEST(MP3Test, HeaderIsDecodedByTheTablesOfTheStandard) {
    // Version, layer, bit rate, sample rate, channels, length, samples, padding.
    const std::pair<MpegHeader, MP3::Frame> cases[] = {
        {{3, 3, 1, 0}, {0, 1, 32'000, 44'100, 2, 32, 384, 0}},
        {{3, 3, 14, 1, 1}, {0, 1, 448'000, 48'000, 2, 452, 384, 1}},
        {{3, 2, 1, 2}, {0, 2, 32'000, 32'000, 2, 144, 1152, 0}},
        {{3, 2, 14, 0, 1}, {0, 2, 384'000, 44'100, 2, 1254, 1152, 1}},
        {{3, 1, 9, 0}, {0, 3, 128'000, 44'100, 2, 417, 1152, 0}},
        {{3, 1, 14, 1, 0, 3}, {0, 3, 320'000, 48'000, 1, 960, 1152, 0}},
        {{2, 3, 14, 2}, {1, 1, 256'000, 16'000, 2, 768, 384, 0}},
        {{2, 2, 1, 0}, {1, 2, 8'000, 22'050, 2, 52, 1152, 0}},
        {{2, 1, 14, 1, 1, 1}, {1, 3, 160'000, 24'000, 2, 481, 576, 1}},
        {{0, 1, 1, 0, 0, 2}, {2, 3, 8'000, 11'025, 2, 52, 576, 0}},
        {{0, 2, 13, 2}, {2, 2, 144'000, 8'000, 2, 2592, 1152, 0}},
        {{0, 1, 8, 1, 0, 3}, {2, 3, 64'000, 12'000, 1, 384, 576, 0}},
    };
    const auto values = [](const MP3::Frame& f) {
        return std::tuple(f.version, f.layer, f.bitrate, f.sampleRate, f.channels, f.length,
                          f.samples, f.padding);
    };
    for (const auto& [coded, wanted] : cases) {
        const auto frame = headerOf(coded.bytes());
        ASSERT_TRUE(frame.has_value());
        EXPECT_EQ(values(*frame), values(wanted));
    }
}

TEST(MP3Test, WhatIsNoHeaderIsTurnedAway) {
    const MpegHeader cases[] = {
        {.version = 1}, {.layer = 0}, {.bitrate = 0}, {.bitrate = 15}, {.rate = 3}};
    for (const MpegHeader& c : cases)
        EXPECT_FALSE(headerOf(c.bytes()).has_value());
    const std::string header = MpegHeader().bytes();
    EXPECT_TRUE(headerOf(header).has_value());
    EXPECT_FALSE(headerOf(header.substr(0, 3)).has_value());
    EXPECT_FALSE(headerOf("\xFE" + header.substr(1)).has_value());
    EXPECT_FALSE(headerOf("\xFF\xDB" + header.substr(2)).has_value());
}

// 41,700 bytes of audio at 128 kbit/s are 2,606.25 ms.
constexpr std::string_view hundredFrames = "mp3 2606 ms 128k 44100 Hz 2 ch";

TEST(MP3Test, LengthWithoutHeaderIsReckonedFromTheMeanBitRate) {
    EXPECT_EQ(readAs(mpegFrames(100)), hundredFrames);
    const MpegHeader faster{.bitrate = 11}; // 192 kbit/s, 626 bytes
    const std::string both = mpegFrame() + mpegFrame(faster, 626);
    std::string mixed;
    for (int i = 0; i < 10; ++i)
        mixed += both;
    EXPECT_EQ(readAs(mixed), "mp3 521 ms 160k 44100 Hz 2 ch vbr");
    EXPECT_EQ(readAs(mpegFrame({.mode = 3})), "mp3 26 ms 128k 44100 Hz 1 ch");
}

TEST(MP3Test, MeanIsThatOfTheFirst200Frames) {
    const MpegHeader small{.version = 0, .bitrate = 1, .rate = 2}; // 8 kbit/s, 72 bytes
    const MpegHeader large{.version = 0, .bitrate = 2, .rate = 2}; // 16 kbit/s, 144 bytes
    std::string frames;
    for (int i = 0; i < 199; ++i)
        frames += mpegFrame(small, 72);
    EXPECT_EQ(readAs(frames + mpegFrame(small, 72) + mpegFrame(large, 144)),
              "mp3 14544 ms 8k 8000 Hz 2 ch");
    EXPECT_EQ(readAs(frames + mpegFrame(large, 144)), "mp3 14400 ms 8k 8000 Hz 2 ch vbr");
}

TEST(MP3Test, WalkForTheMeanEndsWithWhatIsInTheBuffer) {
    std::string frames = mpegFrames(39); // 16,263 bytes
    const std::string last = mpegFrame({.bitrate = 11}, 626);
    const std::string behind = mpegFrame({.bitrate = 14}, 1044);
    EXPECT_EQ(readAs(frames + last + behind), "mp3 1106 ms 129k 44100 Hz 2 ch vbr");
    EXPECT_EQ(readAs(frames + "no frame" + behind), "mp3 1082 ms 128k 44100 Hz 2 ch");
}

TEST(MP3Test, FirstFrameIsFoundAndConfirmedByTheNext) {
    const std::string frames = mpegFrames(100);

    const std::tuple<std::string, std::string_view, std::string_view> cases[] = {
        {zeros(1000) + frames, "mp3", hundredFrames},
        {zeros(1000) + frames, "mp2", hundredFrames},
        {zeros(1000) + frames, "wav", "nothing"},
        {zeros(1000) + frames, "", "nothing"},
        // A header that no other one follows, or one of another stream.
        {MpegHeader().bytes() + zeros(50) + frames, "", hundredFrames},
        {mpegFrame({.version = 2}, 417) + frames, "", hundredFrames},
        {mpegFrame({.rate = 1}, 384) + frames, "", hundredFrames},
        {mpegFrame({.layer = 2}, 417) + frames, "", hundredFrames},
        {"\xFF\xFF\xFF" + frames, "", hundredFrames},
        // Nothing can confirm what stands at the end of the bytes searched.
        {zeros(16384 - 5) + frames, "mp3", hundredFrames},
        {zeros(16384 - 4) + frames, "mp3", "nothing"},
        {zeros(16384) + frames, "mp3", "nothing"},
        {zeros(100'000), "mp3", "nothing"},
        {std::string(100'000, '\xFF'), "mp3", "nothing"},
    };
    for (const auto& [file, ext, wanted] : cases)
        EXPECT_EQ(readAs(file, ext), wanted);
    EXPECT_EQ(readAs(MpegHeader().bytes() + zeros(8)), "nothing") << "12 bytes last less than 1 ms";
    EXPECT_EQ(readAs(MpegHeader().bytes() + zeros(12)), "mp3 1 ms 128k 44100 Hz 2 ch");
}

TEST(MP3Test, TagsBeforeAndBehindAreNoAudio) {
    const std::string frames = mpegFrames(100);
    const std::string head = id3Tag(3, id3Text(3, "TIT2", "t") + zeros(3000));
    const std::string tail = id3v1({.title = "v1 title", .artist = "v1 artist"});
    const std::string plain(hundredFrames);
    EXPECT_EQ(readAs(head + frames), plain + " title=t");
    EXPECT_EQ(readAs(frames + tail), plain + " artist=v1 artist title=v1 title");
    EXPECT_EQ(readAs(head + frames + tail), plain + " title=t");
    // The only frame stands inside the tag at the end.
    const std::string v1 = id3v1({.title = "v1"}).substr(0, 123) + MpegHeader().bytes();
    EXPECT_EQ(readAs(zeros(16) + v1 + zeros(1), "mp3"), "nothing");
}

TEST(MP3Test, HeaderOfTheEncoderGivesLengthAndBitRate) {
    const std::string rest = mpegFrames(9);
    const MpegHeader mono{.mode = 3};
    const MpegHeader half{.version = 2, .bitrate = 13};                // 144 kbit/s
    const MpegHeader halfMono{.version = 2, .bitrate = 13, .mode = 3}; // 470 bytes
    const auto with = [&](const MpegHeader& header, std::size_t at, const std::string& content) {
        return mpegFrame(header, 417, 4 + at, content) + rest;
    };
    const std::string full = be(1000, 4) + be(500'000, 4);

    const std::pair<std::string, std::string_view> cases[] = {
        // 1,000 × 1,152 ÷ 44,100 s
        {with({}, 32, xing("Xing", 3, full)), "mp3 26122 ms 153k 44100 Hz 2 ch vbr"},
        {with({}, 32, xing("Info", 3, full)), "mp3 26122 ms 153k 44100 Hz 2 ch"},
        {with(mono, 17, xing("Xing", 3, full)), "mp3 26122 ms 153k 44100 Hz 1 ch vbr"},
        {mpegFrame(half, 470, 4 + 17, xing("Xing", 3, full)),
         "mp3 26122 ms 153k 22050 Hz 2 ch vbr"},
        {mpegFrame(halfMono, 470, 4 + 9, xing("Info", 3, full)), "mp3 26122 ms 153k 22050 Hz 1 ch"},
        // No count of bytes: those of the file. No count of frames: the frames are walked.
        {with({}, 32, xing("Xing", 1, be(20, 4))), "mp3 522 ms 64k 44100 Hz 2 ch vbr"},
        {with({}, 32, xing("Xing", 3, be(20, 4) + be(0, 4))), "mp3 522 ms 64k 44100 Hz 2 ch vbr"},
        {with({}, 32, xing("Xing", 2, full)), "mp3 260 ms 128k 44100 Hz 2 ch vbr"},
        {with({}, 32, xing("Info", 0, full)), "mp3 260 ms 128k 44100 Hz 2 ch"},
        {with({}, 32, xing("Xing", 3, be(0, 4) + be(5, 4))), "mp3 260 ms 128k 44100 Hz 2 ch vbr"},
        // Elsewhere it is audio.
        {with({}, 17, xing("Xing", 3, full)), "mp3 260 ms 128k 44100 Hz 2 ch"},
        {with(mono, 32, xing("Xing", 3, full)), "mp3 260 ms 128k 44100 Hz 1 ch"},
        {with({}, 32, vbri(500'000, 1000)), "mp3 26122 ms 153k 44100 Hz 2 ch vbr"},
        {with(mono, 32, vbri(500'000, 1000)), "mp3 26122 ms 153k 44100 Hz 1 ch vbr"},
        {with({}, 32, vbri(500'000, 0)), "mp3 260 ms 128k 44100 Hz 2 ch vbr"},
        // Counts that lie.
        {with({}, 32, xing("Xing", 3, be(1, 4) + be(~0U, 4))),
         "mp3 26 ms 65535k 44100 Hz 2 ch vbr"},
        {mpegFrame({.version = 0, .bitrate = 1, .rate = 2}, 72, 4 + 17,
                   xing("Xing", 1, be(~0U, 4))),
         "mp3 4294967295 ms 8000 Hz 2 ch vbr"},
        // A file that ends inside the header.
        {mpegFrame({}, 36) + xing("Xing", 3, be(1000, 4)), "mp3 26122 ms 44100 Hz 2 ch vbr"},
        {mpegFrame({}, 36) + xing("Xing", 3, ""), "mp3 2 ms 128k 44100 Hz 2 ch"},
    };
    for (const auto& [file, wanted] : cases)
        EXPECT_EQ(readAs(file), wanted);
}

TEST(MP3Test, ReadsHeadAndTailAndTheTag) {
    const std::string frames = mpegFrames(1000) + id3v1({});
    const MemoryReader plain(frames);
    EXPECT_TRUE(AudioParser::parse(plain, "mp3").has_value());
    EXPECT_LE(plain.bytesRead(), 17U * 1000);
    EXPECT_LE(plain.reads(), 4U);

    const std::string texts = id3Text(3, "TIT2", "title") + id3Text(3, "TPE1", "a");
    const std::string tag = id3Tag(3, texts + id3Frame(3, "APIC", zeros(500'000)));
    const std::string both = tag + frames;
    const MemoryReader tagged(both);
    EXPECT_TRUE(AudioParser::parse(tagged, "mp3").has_value());
    EXPECT_LE(tagged.bytesRead(), 17U * 1000 + texts.size() + 20);
    EXPECT_LE(tagged.reads(), 7U);
}

} // namespace

} // namespace quarrydex
