#include "QuarrydexAudio/tags/ID3.h"

#include "tests/support/AudioBytes.h"
#include "tests/support/DescribeAudio.h"

#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using namespace std::string_literals;
using namespace bytes;

Bytes asBytes(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// What the tag at the beginning of the bytes says, without the codec's name.
std::string tagOf(std::string_view file) {
    AudioMeta meta;
    ID3::parse(MemoryReader(file), 0, meta);
    return describe(meta).substr(std::string_view("unknown").size());
}

TEST(ID3Test, TagEndCountsHeaderAndFooter) {
    const std::pair<std::string, std::uint64_t> cases[] = {
        {"ID3\x03\0\0\0\0\0\x05"s, 100 + 15},
        {"ID3\x04\0\x10\0\0\0\x05"s, 100 + 25}, // footer
        {"ID3\x03\0\x10\0\0\0\x05"s, 100 + 15}, // not before 2.4
        {"ID3\x04\0\0\x7F\x7F\x7F\x7F"s, 100 + 10 + 0x0FFFFFFF},
        {"ID3\x04\0\0\0\0\x80\x05"s, 100}, // a size that is none
        {"ID3\x04\0\0\x80\0\0\x05"s, 100},
        {"ID2\x04\0\0\0\0\0\x05"s, 100},
        {"ID3\x04\0\0\0\0\0"s, 100}, // the file ends
    };
    for (const auto& [header, end] : cases)
        EXPECT_EQ(ID3::tagEnd(MemoryReader(zeros(100) + header), 100), end);
    EXPECT_EQ(ID3::tagEnd(MemoryReader(""), 7), 7U);
}

TEST(ID3Test, FrameTextsAreReadInTheirEncoding) {
    const std::pair<std::string, std::string> cases[] = {
        {"\0R\xF3s"s, "R\xC3\xB3s"},
        {"\0R\xC3\xB3s"s, "R\xC3\xB3s"}, // said to be Latin-1, is UTF-8
        {"\3R\xC3\xB3s"s, "R\xC3\xB3s"},
        {"\x7FRos"s, "Ros"},
        {"\0one\0two"s, "one"},
        {"\1\xFF\xFE"s + utf16le("one"), "one"},
        {"\1\xFE\xFF"s + utf16be("one"), "one"},
        {"\1"s + utf16le("one"), "one"},
        {"\2"s + utf16be("one"), "one"},
        {"\2\xFE\xFF"s + utf16be("one"), "one"},
        {"\2\xFF\xFE"s + utf16le("one"), "one"},
        {"\1\xFF\xFE"s + utf16le("one") + zeros(2) + utf16le("two"), "one"},
        // A zero pair counts on an even offset only: U+0041 U+0100 big-endian is 00 41 01 00.
        {"\2\x01\x00\x00\x41"s, "\xC4\x80\x41"},
        {"\1\xFF\xFE\x3C\xD8"s, ""}, // half a character
        {"\0"s, ""},
        {"\1"s, ""},
        {"\1\xFF"s, ""},
    };
    for (const auto& [body, text] : cases)
        EXPECT_EQ(ID3::frameText(asBytes(body)), text) << body;
    EXPECT_FALSE(ID3::frameText({}).has_value());
}

TEST(ID3Test, GenreNumbersHaveNames) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"(17)", "Rock"},          {"(17)Indie", "Indie"}, {"(17) ", "Rock"},
        {" (17) Indie ", "Indie"}, {"17", "Rock"},         {"0", "Blues"},
        {"79", "Hard Rock"},       {"(80)Folk", "Folk"},   {"(17)(18)", "(18)"}};
    for (const auto& [text, genre] : cases)
        EXPECT_EQ(ID3::genreName(text), genre) << text;
    for (const char* plain : {"80", "(80)", "(RX)", "()", "(17", "-1", "17.0", "Drum & Bass", "",
                              "99999999999999999999999", "(99999999999999999999999)"})
        EXPECT_EQ(ID3::genreName(plain), plain);
}

TEST(ID3Test, FramesOfEveryVersionFillTheirFields) {
    using Case = std::tuple<unsigned, std::string_view, std::string_view, std::string_view>;
    const Case cases[] = {
        {2, "TP1", "a", " artist=a"},
        {3, "TPE1", "a", " artist=a"},
        {2, "TP2", "a", " artist=a"},
        {4, "TPE2", "a", " artist=a"},
        {2, "TT2", "t", " title=t"},
        {3, "TIT2", "t", " title=t"},
        {2, "TAL", "b", " album=b"},
        {4, "TALB", "b", " album=b"},
        {2, "TCO", "(8)", " genre=Jazz"},
        {3, "TCON", "(8)", " genre=Jazz"},
        {2, "TYE", "1959", " 1959"},
        {3, "TYER", "0999", ""},
        {4, "TDRC", "2011-05-02", " 2011"},
        {4, "TDRL", "1960", " 1960"},
        {4, "TDOR", "1961", " 1961"},
        {2, "TBP", "128,5", " 128.5 bpm"},
        {4, "TBPM", "600", ""},
        {2, "TKE", "Am", " key=Am"},
        {4, "TKEY", "Am", " key=Am"},
        {3, "TPE3", "conductor", ""},
        {3, "TP1 ", "a", " artist=a"}, // as some write it in 2.3
    };
    for (const auto& [major, id, text, wanted] : cases)
        EXPECT_EQ(tagOf(id3Tag(major, id3Text(major, id, text))), wanted) << id;
}

TEST(ID3Test, RepeatedFramesCountAsTheirFieldSays) {
    const std::string frames =
        id3Text(4, "TPE2", "band") + id3Text(4, "TPE1", "") + id3Text(4, "TPE1", "one") +
        id3Text(4, "TPE1", "two") + id3Text(4, "TIT2", "first") + id3Text(4, "TIT2", "last") +
        id3Text(4, "TDRC", "2011") + id3Text(4, "TDOR", "1975") + id3Text(4, "TBPM", "120") +
        id3Text(4, "TBPM", "fast") + id3Text(4, "TALB", "b") + id3Text(4, "TALB", "last") +
        id3Text(4, "TCON", "g") + id3Text(4, "TCON", "last") + id3Text(4, "TKEY", "k") +
        id3Text(4, "TKEY", "last");
    EXPECT_EQ(tagOf(id3Tag(4, frames)),
              " 1975 artist=one title=last album=last genre=last key=last");
}

TEST(ID3Test, ExtendedHeaderIsSkipped) {
    const std::string title3 = id3Text(3, "TIT2", "t");
    const std::string title4 = id3Text(4, "TIT2", "t");
    EXPECT_EQ(tagOf(id3Tag(3, be(6, 4) + zeros(6) + title3, 0x40)), " title=t");
    EXPECT_EQ(tagOf(id3Tag(4, synchsafe(6) + zeros(2) + title4, 0x40)), " title=t");
    EXPECT_EQ(tagOf(id3Tag(4, synchsafe(134) + zeros(130) + title4, 0x40)), " title=t");
    EXPECT_EQ(tagOf(id3Tag(2, id3Text(2, "TT2", "t"), 0x40)), " title=t") << "not before 2.3";
    EXPECT_EQ(tagOf(id3Tag(3, be(0xFFFFFFFF, 4) + title3, 0x40)), "");
}

TEST(ID3Test, WalkEndsAtPaddingAndAtFramesThatDoNotFit) {
    const std::string album = id3Text(3, "TALB", "b");
    const std::string title = id3Text(3, "TIT2", "t");
    EXPECT_EQ(tagOf(id3Tag(3, album + zeros(10) + title)), " album=b");
    EXPECT_EQ(tagOf(id3Tag(3, album + "TXXX" + zeros(6) + title)), " album=b") << "size 0";
    EXPECT_EQ(tagOf(id3Tag(3, album + "TIT2" + be(7, 4) + zeros(2) + "\0title"s)), " album=b");
    EXPECT_EQ(tagOf(id3Tag(3, album + "TIT2" + be(6, 4) + zeros(2) + "\0title"s)),
              " title=title album=b");
    EXPECT_EQ(tagOf(id3Tag(3, album + "TIT2" + be(0xFFFFFFFF, 4) + zeros(2))), " album=b");
    EXPECT_EQ(tagOf(id3Tag(3, album) + title), " album=b") << "behind the tag";
    EXPECT_EQ(tagOf(id3Tag(3, album).substr(0, 20)), "") << "the file ends";
    EXPECT_EQ(tagOf(""), "");
}

TEST(ID3Test, AtMost400FramesAreRead) {
    std::string frames;
    for (int i = 0; i < 399; ++i)
        frames += id3Text(3, "TXXX", "x");
    const std::string album = id3Text(3, "TALB", "b");
    const std::string title = id3Text(3, "TIT2", "t");
    EXPECT_EQ(tagOf(id3Tag(3, frames + album + title)), " album=b");
}

TEST(ID3Test, LargeFramesAreSkippedUnread) {
    const std::string title = id3Text(3, "TIT2", "t");
    const auto artistOf = [](std::size_t bodySize) {
        return id3Text(3, "TPE1", std::string(bodySize - 1, 'a'));
    };
    const std::string largest = id3Tag(3, artistOf(8192) + title);
    EXPECT_EQ(tagOf(largest), " artist=" + std::string(8191, 'a') + " title=t");

    const std::string tooLarge =
        id3Tag(3, artistOf(8193) + id3Frame(3, "APIC", zeros(100'000)) + title);
    const MemoryReader reader(tooLarge);
    AudioMeta meta;
    EXPECT_EQ(ID3::parse(reader, 0, meta), tooLarge.size());
    EXPECT_EQ(meta, AudioMeta{.title = "t"});
    EXPECT_LE(reader.bytesRead(), 100U);
}

TEST(ID3Test, FrameSizesAreSynchsafeInVersion4Only) {
    const std::string text(200, 'x');
    EXPECT_EQ(tagOf(id3Tag(4, id3Text(4, "TIT2", text) + id3Text(4, "TKEY", "C"))),
              " title=" + text + " key=C");
    EXPECT_EQ(tagOf(id3Tag(3, id3Text(3, "TIT2", text) + id3Text(3, "TKEY", "C"))),
              " title=" + text + " key=C");
}

TEST(ID3Test, Version1TagEndsTheAudioAndFillsAnEmptyRecord) {
    const std::string tag = id3v1({"Title", "Artist", "Album", "1959", 8});

    struct Case {
        std::string file;
        AudioMeta before;
        std::string wanted;
        std::uint64_t end;
    };

    const Case cases[] = {
        {"x" + tag, {}, " 1959 artist=Artist title=Title album=Album genre=Jazz", 1},
        {tag, {}, "", 128}, // no audio before it
        {"x" + tag, {.title = "t"}, " title=t", 1},
        {"x" + tag, {.artist = "a"}, " artist=a", 1},
        {"x" + tag, {.album = "b"}, " 1959 artist=Artist title=Title album=Album genre=Jazz", 1},
        {"x" + id3v1({.year = "0999", .genre = 80}),
         {.year = 2001, .album = "b", .genre = "Folk"},
         " 2001 album=b genre=Folk",
         1},
        {"x" + id3v1({.title = std::string_view("R\xF3s\0junk", 8)}), {}, " title=R\xC3\xB3s", 1},
        {"x" + id3v1({.genre = 79}), {}, " genre=Hard Rock", 1},
        {tag + "x", {}, "", 129},
    };
    for (const Case& c : cases) {
        AudioMeta meta = c.before;
        EXPECT_EQ(ID3::parseV1(MemoryReader(c.file), meta), c.end);
        EXPECT_EQ(describe(meta), "unknown" + c.wanted);
    }
}

} // namespace

} // namespace quarrydex
