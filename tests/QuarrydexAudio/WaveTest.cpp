// The two formats made of chunks: WAV and AIFF.

#include "QuarrydexAudio/tags/AIFF.h"
#include "QuarrydexAudio/tags/WAV.h"

#include "tests/support/AudioBytes.h"
#include "tests/support/DescribeAudio.h"

#include <cmath>
#include <string>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using namespace std::string_literals;
using namespace bytes;

const std::string titleTag = id3Tag(3, id3Text(3, "TIT2", "t") + id3Text(3, "TPE1", "tag"));

// 17,640 bytes are 100 ms of CD audio.
constexpr std::string_view tenthSecond = "pcm 100 ms 1411k 44100 Hz 16 bit 2 ch";
const std::string cdData = chunkLE("data", zeros(17'640));

TEST(WaveTest, WavFormatGivesTheProperties) {
    const std::pair<std::string, std::string_view> cases[] = {
        {waveFormat(), tenthSecond},
        {waveFormat({.tag = 3, .channels = 1, .byteRate = 176'400, .bits = 32}),
         "float 100 ms 1411k 44100 Hz 32 bit 1 ch"},
        {waveFormat({.tag = 6}), "other 100 ms 1411k 44100 Hz 16 bit 2 ch"},
        {waveFormat({.tag = 0xFFFE}, le(22, 2) + zeros(6) + le(3, 2) + zeros(14)),
         "float 100 ms 1411k 44100 Hz 16 bit 2 ch"},
        {waveFormat({.tag = 0xFFFE}, le(22, 2) + zeros(6) + le(1, 2) + zeros(14)), tenthSecond},
        {waveFormat({.tag = 0xFFFE}, zeros(8) + le(1, 2)), tenthSecond},
        {waveFormat({.tag = 0xFFFE}, zeros(8) + le(1, 1)),
         "other 100 ms 1411k 44100 Hz 16 bit 2 ch"},
        {waveFormat({.channels = 256, .bits = 65535}), "pcm 100 ms 1411k 44100 Hz 255 bit 255 ch"},
        {waveFormat({}, zeros(1000)), tenthSecond},
        {waveFormat({.rate = ~0U, .byteRate = 8'191'999}),
         "pcm 2 ms 65535k 4294967295 Hz 16 bit 2 ch"},
        {waveFormat({.byteRate = 8'192'000}), "pcm 2 ms 65535k 44100 Hz 16 bit 2 ch"},
        {waveFormat({.byteRate = 1}), "pcm 17640000 ms 44100 Hz 16 bit 2 ch"},
        {waveFormat({.byteRate = 0}), "nothing"},
        {waveFormat({.byteRate = ~0U}), "nothing"}, // lasts less than 1 ms
        {"fmt " + le(15, 4) + zeros(16), "nothing"},
        {"", "nothing"},
    };
    for (const auto& [format, wanted] : cases)
        EXPECT_EQ(readAs(wave(format + cdData)), wanted);
}

TEST(WaveTest, WavLengthIsThatOfTheDataThatIsThere) {
    const std::string format = waveFormat();

    const std::pair<std::string, std::string_view> cases[] = {
        {format + "data" + le(0xFFFFFFFF, 4) + zeros(17'640), tenthSecond},
        {format + "data" + le(0xFFFFFFFE, 4) + zeros(17'640), tenthSecond},
        {format + "data" + le(17'641, 4) + zeros(17'640), tenthSecond},
        {format + "data" + le(17'640, 4) + zeros(50'000), tenthSecond},
        {cdData + format, tenthSecond},
        {format + chunkLE("odd!", "1") + cdData, tenthSecond},
        {format + "odd!" + le(1, 4) + "1" + cdData, "nothing"}, // the padding is missing
        {format + "data" + le(0xFFFFFFFF, 4), "nothing"},
        {format + "data" + le(0, 4), "nothing"},
        {format, "nothing"},
    };
    for (const auto& [chunks, wanted] : cases)
        EXPECT_EQ(readAs(wave(chunks)), wanted);
}

TEST(WaveTest, WavTextsComeFromListAndTag) {
    const auto info = [](const std::string& chunks) { return chunkLE("LIST", "INFO" + chunks); };
    const std::string title = chunkLE("INAM", "name"s + zeros(1));

    const std::pair<std::string, std::string_view> cases[] = {
        {info(title + chunkLE("IART", "odd") + chunkLE("IPRD", "al") + chunkLE("IGNR", "(17)") +
              chunkLE("ICRD", "1959-08-17") + chunkLE("ISFT", "x")),
         " 1959 artist=odd title=name album=al genre=(17)"},
        {info(chunkLE("INAM", "R\xF3s")), " title=R\xC3\xB3s"},
        {info("INAM" + le(5, 4) + "name"), ""},
        {info("INAM" + le(~0U, 4) + "name"), ""},
        {info(chunkLE("ICRD", "0999")), ""},
        {chunkLE("LIST", "adtl" + title), ""},
        {chunkLE("LIST", "INF"), ""},
        {info(title + zeros((1 << 20) - 4 - title.size() - 1)), " title=name"},
        {info(title + zeros((1 << 20) - 4 - title.size())), ""}, // 1 MiB
        {"LIST" + le(1000, 4) + "INFO" + title, " title=name"},  // the file ends before
        {chunkLE("id3 ", titleTag), " artist=tag title=t"},
        {chunkLE("ID3 ", titleTag), " artist=tag title=t"},
        {chunkLE("id3\0"s, titleTag), " artist=tag title=t"},
        {info(title + chunkLE("IART", "list")) + chunkLE("id3 ", titleTag), " artist=list title=t"},
    };
    for (const auto& [chunks, wanted] : cases)
        EXPECT_EQ(readAs(wave(waveFormat() + cdData + chunks)),
                  std::string(tenthSecond) + std::string(wanted));
}

TEST(WaveTest, AtMost64ChunksAreRead) {
    std::string others;
    for (int i = 0; i < 62; ++i)
        others += chunkLE("junk", "");
    EXPECT_EQ(readAs(wave(others + waveFormat() + cdData)), tenthSecond);
    EXPECT_EQ(readAs(wave(others + chunkLE("junk", "") + waveFormat() + cdData)), "nothing");
    const std::string iff = others + chunkBE("FVER", zeros(4));
    EXPECT_EQ(readAs(aiff(iff + chunkBE("COMM", common()))).substr(0, 4), "aiff");
    EXPECT_EQ(readAs(aiff(iff + chunkBE("SSND", "") + chunkBE("COMM", common()))), "nothing");
}

double numberOf(const std::string& text) {
    return AIFF::extended({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, 0);
}

TEST(WaveTest, ExtendedNumbersAreReadOverTheirWholeRange) {
    const std::uint64_t half = std::uint64_t{1} << 63;
    EXPECT_EQ(numberOf(extended(44100)), 44100);
    EXPECT_EQ(numberOf(extended(16383, half)), 1);
    EXPECT_EQ(numberOf(extended(16382, half)), 0.5);
    EXPECT_EQ(numberOf(extended(16383 | 0x8000, half)), 1) << "without its sign";
    EXPECT_EQ(numberOf(extended(0, half)), 0);
    EXPECT_EQ(numberOf(extended(16383, 0)), 0);
    EXPECT_EQ(numberOf(extended(44100).substr(0, 9)), 0);
    EXPECT_TRUE(std::isinf(numberOf(extended(0x7FFF, ~std::uint64_t{0}))));
    EXPECT_EQ(numberOf(extended(1, half)), 0);
}

constexpr std::string_view aiffSecond = "aiff 1000 ms 1411k 44100 Hz 16 bit 2 ch";

TEST(WaveTest, AiffCommonChunkGivesTheProperties) {
    const std::uint64_t half = std::uint64_t{1} << 63;

    const std::pair<std::string, std::string_view> cases[] = {
        {common(), aiffSecond},
        {common({.channels = 1, .frames = 24'000, .bits = 24, .rate = extended(48'000)}),
         "aiff 500 ms 1152k 48000 Hz 24 bit 1 ch"},
        {common({.channels = 300, .bits = 256}), "aiff 1000 ms 65535k 44100 Hz 255 bit 255 ch"},
        {common({}, "NONE"), aiffSecond},
        {common({}, "sowt\0\0"s), aiffSecond},
        {common({}, "twos"), aiffSecond},
        {common({}, "fl32"), "float 1000 ms 1411k 44100 Hz 16 bit 2 ch"},
        {common({}, "fl64\x0c"
                    "Float 64-bit"),
         "float 1000 ms 1411k 44100 Hz 16 bit 2 ch"},
        {common({}, "FL32"), "other 1000 ms 1411k 44100 Hz 16 bit 2 ch"},
        {common({}, "ima4"), "other 1000 ms 1411k 44100 Hz 16 bit 2 ch"},
        {common({}, "fl3"), aiffSecond}, // too short to say
        {common({.frames = 0}), "nothing"},
        {common({.rate = zeros(10)}), "nothing"},
        {common().substr(0, 17), "nothing"},
        // 22,254.5454… Hz, as the first Macintosh had
        {common({.rate = extended(0x400D, 0xADDD'1745'D145'826B)}),
         "aiff 1981 ms 712k 22254 Hz 16 bit 2 ch"},
        // Rates beyond every field, and below every second.
        {common({.rate = extended(0x7FFE, half)}), "nothing"},
        {common({.bits = 0, .rate = extended(0x7FFE, half)}), "nothing"},
        {common({.frames = ~0U, .bits = 0, .rate = extended(16383 + 33, half)}),
         "aiff 499 ms 4294967295 Hz 2 ch"},
        {common({.frames = ~0U, .rate = extended(16383 + 32, half)}),
         "aiff 999 ms 65535k 4294967295 Hz 16 bit 2 ch"},
        {common({.rate = extended(16383 - 20, half)}), "aiff 4294967295 ms 16 bit 2 ch"},
        {common({.rate = extended(16383 - 1050, half)}), "aiff 4294967295 ms 16 bit 2 ch"},
    };
    for (const auto& [common, wanted] : cases)
        EXPECT_EQ(readAs(aiff(chunkBE("COMM", common))), wanted);
}

TEST(WaveTest, AiffTextsComeFromChunksAndTag) {
    const std::string longest(4095, 'x');

    const std::pair<std::string, std::string> cases[] = {
        {chunkBE("NAME", "odd") + chunkBE("AUTH", "me\0\0"s), " artist=me title=odd"},
        {chunkBE("NAME", "R\xF3s") + chunkBE("NAME", ""), " title=R\xC3\xB3s"},
        {chunkBE("NAME", longest), " title=" + longest},
        {chunkBE("NAME", longest + "x") + chunkBE("AUTH", longest + "x"), ""},
        {"NAME" + be(100, 4) + "cut", " title=cut"},
        {"NAME" + be(0xFFFFFFFF, 4) + "cut", ""},
        {chunkBE("ID3 ", titleTag), " artist=tag title=t"},
        {chunkBE("id3 ", titleTag), " artist=tag title=t"},
        {chunkBE("AUTH", "chunk") + chunkBE("ID3 ", titleTag), " artist=chunk title=t"},
    };
    for (const std::string_view type : {"AIFF", "AIFC"})
        for (const auto& [chunks, wanted] : cases)
            EXPECT_EQ(readAs(aiff(chunkBE("COMM", common()) + chunks, type)),
                      std::string(aiffSecond) + wanted);
}

TEST(WaveTest, ReadsLessThanAKilobyteOfChunksWithoutTexts) {
    std::string others;
    for (int i = 0; i < 62; ++i)
        others += chunkLE("junk", zeros(100));
    const std::string extensible = waveFormat({.tag = 0xFFFE}, zeros(24));
    const std::string many = wave(others + extensible + cdData);
    const std::string iff = aiff(chunkBE("FVER", zeros(4)) + chunkBE("COMM", common({}, "NONE")) +
                                 chunkBE("SSND", zeros(10'000)));
    const std::string plain = wave(extensible + chunkLE("LIST", "adtl" + zeros(2000)) + cdData);

    const std::pair<std::string, std::size_t> cases[] = {{many, 70}, {plain, 5}, {iff, 4}};
    for (const auto& [file, reads] : cases) {
        const MemoryReader reader(file);
        EXPECT_TRUE(AudioParser::parse(reader, "").has_value());
        EXPECT_LE(reader.bytesRead(), 1000U);
        EXPECT_LE(reader.reads(), reads);
    }
}

} // namespace

} // namespace quarrydex
