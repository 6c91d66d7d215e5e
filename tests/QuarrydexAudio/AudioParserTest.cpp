#include "QuarrydexAudio/tags/AudioParser.h"

#include "QuarrydexAudio/tags/FileReader.h"

#include "tests/support/AudioBytes.h"
#include "tests/support/DescribeAudio.h"
#include "tests/support/TempTree.h"

#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace quarrydex {

namespace {

using namespace bytes;

struct Sample {
    std::string file;
    std::string ext;
    std::string codec;
};

/// One small file of every kind.
std::vector<Sample> samples() {
    const std::string flac = "fLaC" + flacBlock(0, streamInfo(), {.isLast = true});
    const std::string tag = id3Tag(4, id3Text(4, "TIT2", "t"));
    const std::string mpeg = mpegFrames(10);
    const std::string entry = sampleEntry({}, esds(0x40, 128'000));
    const std::string properties = chunkBE("COMM", common());
    return {
        {flac, "flac", "flac"},
        {tag + flac, "flac", "flac"},
        {mpeg, "mp3", "mp3"},
        {tag + mpeg + id3v1({.title = "t"}), "mp3", "mp3"},
        {wave(waveFormat() + chunkLE("data", zeros(2000))), "wav", "pcm"},
        {aiff(properties), "aif", "aiff"},
        {aiff(properties, "AIFC"), "aifc", "aiff"},
        {atom("ftyp", "M4A ") + atom("moov", movieHeader(1000, 2000) + track("soun", entry) +
                                                 userData(item("\xA9nam", "t"))),
         "m4a", "aac"},
    };
}

std::string codecOf(std::string_view file, std::string_view ext) {
    const std::string text = readAs(file, ext);
    return text.substr(0, text.find(' '));
}

TEST(AudioParserTest, ContentsDecideAndNotTheExtension) {
    for (const Sample& sample : samples())
        for (const char* const ext : {"mp3", "mp2", "flac", "wav", "aif", "m4a", "txt", ""})
            EXPECT_EQ(codecOf(sample.file, ext), sample.codec) << ext;
}

TEST(AudioParserTest, WhatShowsNothingIsSearchedOnlyUnderTwoExtensions) {
    const std::string tag = id3Tag(3, zeros(100));
    const std::string hidden = "12 bytes of text, then " + mpegFrames(10);

    const Sample cases[] = {
        {hidden, "mp3", "mp3"},
        {hidden, "mp2", "mp3"},
        {hidden, "mp1", "nothing"},
        {hidden, "MP3", "nothing"}, // callers give it in lower case
        {hidden, "", "nothing"},
        {"\xFF\xE0" + hidden, "", "mp3"}, // a sync at the beginning, whatever follows
        {"\xFF\xDF" + hidden, "", "nothing"},
        {tag + hidden, "", "mp3"},
        {"ID3\x03" + zeros(2) + "\x80\x80\x80\x80" + hidden, "", "mp3"}, // a tag that is none
        {tag + "fLaX" + zeros(100), "flac", "nothing"},
        {"RIFF" + zeros(4) + "AVI " + hidden, "wav", "nothing"},
        {"FORM" + zeros(4) + "8SVX" + hidden, "aiff", "nothing"},
        {"OggS" + hidden, "ogg", "nothing"},
        {"", "mp3", "nothing"},
    };
    for (const Sample& c : cases)
        EXPECT_EQ(codecOf(c.file, c.ext), c.codec) << c.ext;
}

TEST(AudioParserTest, FilesCutAnywhereAreReadOrTurnedAway) {
    for (const Sample& sample : samples())
        for (std::size_t size = 0; size < sample.file.size(); ++size) {
            const std::string_view cut = std::string_view(sample.file).substr(0, size);
            // A file that is this short, and one that became so after it was opened.
            const std::string codec = codecOf(cut, sample.ext);
            EXPECT_TRUE(codec == sample.codec || codec == "unknown" || codec == "nothing") << size;
            const MemoryReader shrunk(cut, sample.file.size());
            const auto meta = AudioParser::parse(shrunk, sample.ext);
            EXPECT_TRUE(!meta || meta->title.empty() || meta->title == "t") << size;
        }
}

TEST(AudioParserTest, OnlyRegularFilesAreRead) {
    TempTree tree;
    const Sample sample = samples()[3];
    tree.file("a.mp3", sample.file);
    tree.file("empty.mp3");
    tree.link("link.mp3", "a.mp3");
    tree.link("lost.mp3", "no such file");
    tree.fifo("pipe.mp3");
    tree.socket("socket.mp3");
    tree.folder("folder.mp3");
    const auto parse = [](const std::string& path) { return AudioParser::parse(path, "mp3"); };

    const auto fromMemory = AudioParser::parse(MemoryReader(sample.file), "mp3");
    ASSERT_TRUE(fromMemory.has_value());
    EXPECT_EQ(parse(tree.path("a.mp3")), fromMemory);
    EXPECT_EQ(parse(tree.path("link.mp3")), fromMemory);
    for (const char* const name :
         {"empty.mp3", "lost.mp3", "pipe.mp3", "socket.mp3", "folder.mp3", "nothing.mp3"})
        EXPECT_FALSE(parse(tree.path(name)).has_value()) << name;
    for (const char* const device : {"/dev/zero", "/dev/null", "/dev/tty"})
        EXPECT_FALSE(FileReader::open(device).has_value()) << device;

    // A pipe that somebody writes into is left unread.
    const Fd keptOpen(::open(tree.path("pipe.mp3").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    ASSERT_EQ(::write(keptOpen.get(), sample.file.data(), 100), 100);
    EXPECT_FALSE(parse(tree.path("pipe.mp3")).has_value());
    char buffer[200];
    EXPECT_EQ(::read(keptOpen.get(), buffer, sizeof buffer), 100);
}

TEST(AudioParserTest, FileReaderReadsLikeTheFile) {
    TempTree tree;
    tree.file("a", "0123456789");
    const auto reader = FileReader::open(tree.path("a"));
    ASSERT_TRUE(reader.has_value());
    EXPECT_EQ(reader->size(), 10U);
    std::uint8_t buffer[4];
    EXPECT_EQ(charsOf(reader->read(2, buffer)), "2345");
    EXPECT_EQ(charsOf(reader->read(8, buffer)), "89");
    EXPECT_EQ(charsOf(reader->read(10, buffer)), "");
    EXPECT_EQ(charsOf(reader->read(~std::uint64_t{0}, buffer)), "");
}

} // namespace

} // namespace quarrydex
