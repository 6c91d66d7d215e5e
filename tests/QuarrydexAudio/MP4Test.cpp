#include "tests/support/AudioBytes.h"
#include "tests/support/DescribeAudio.h"

#include <string>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using namespace std::string_literals;
using namespace bytes;

// Hexadecimal digits would go on in the name.
const std::string artistType = "\xA9"
                               "ART";
const std::string albumType = "\xA9"
                              "alb";
const std::string dayType = "\xA9"
                            "day";

const std::string fileType = atom("ftyp", "M4A " + zeros(12));
const std::string twoSeconds = movieHeader(1000, 2000);
const std::string aac = track("soun", sampleEntry({}, esds(0x40, 128'000)));

std::string file(const std::string& movie, const std::string& more = "") {
    return fileType + atom("moov", movie) + more;
}

std::string configOf(unsigned bits, unsigned channels, std::uint32_t bitrate, std::uint32_t rate) {
    return zeros(4) + zeros(5) + be(bits, 1) + zeros(3) + be(channels, 1) + zeros(6) +
           be(bitrate, 4) + be(rate, 4);
}

/// What a movie with these items says, without its length.
std::string textsOf(const std::string& items) {
    return readAs(file(twoSeconds + userData(items)))
        .substr(std::string_view("unknown 2000 ms").size());
}

TEST(MP4Test, MovieHeaderGivesTheLength) {
    const std::string longHeader = "\1"s + zeros(3 + 16) + be(44'100, 4);

    const std::pair<std::string, std::string_view> cases[] = {
        {twoSeconds, "unknown 2000 ms"},
        {movieHeader(44'100, 1), "nothing"},
        {movieHeader(0, 2000), "nothing"},
        {movieHeader(1, ~0U), "unknown 4294967295 ms"},
        {atom("mvhd", longHeader + be(44'100ULL * 3, 8)), "unknown 3000 ms"},
        {atom("mvhd", longHeader + be(~0ULL, 8)), "unknown 4294967295 ms"},
        {atom("mvhd", longHeader + be(1, 7)), "nothing"},
        {atom("mvhd", zeros(16)), "nothing"},
        {longAtom("mvhd", zeros(12) + be(1000, 4) + be(2000, 4)), "unknown 2000 ms"},
        {be(0, 4) + "mvhd" + zeros(12) + be(1000, 4) + be(2000, 4), "unknown 2000 ms"},
        {"", "nothing"},
    };
    for (const auto& [movie, wanted] : cases)
        EXPECT_EQ(readAs(file(movie)), wanted);
}

TEST(MP4Test, TopLevelAtomsAreFoundWhateverTheirSizesSay) {
    const std::string movie = twoSeconds + aac;
    const std::string moov = atom("moov", movie);
    const std::string media = atom("mdat", zeros(39'992)); // 40,000 bytes: 160 kbit/s
    constexpr std::string_view with = "aac 2000 ms 160k 44100 Hz 16 bit 2 ch";
    constexpr std::string_view without = "aac 2000 ms 128k 44100 Hz 16 bit 2 ch";
    std::string others;
    for (int i = 0; i < 62; ++i)
        others += atom("free", "");

    const std::pair<std::string, std::string_view> cases[] = {
        {moov + media, with},
        {media + moov, with},
        {moov, without},
        {longAtom("moov", movie) + longAtom("mdat", zeros(39'984)), with},
        {moov + be(0, 4) + "mdat" + zeros(39'992), with},
        {moov + be(40'000, 4) + "mdat" + "cut", with}, // the size counts, not what is there
        {media + be(0, 4) + "moov" + movie, with},
        {moov + be(~0U, 4) + "mdat", "aac 2000 ms 65535k 44100 Hz 16 bit 2 ch"},
        {moov + be(1, 4) + "mdat" + be(~0ULL, 8), "aac 2000 ms 65535k 44100 Hz 16 bit 2 ch"},
        {moov + be(1, 4) + "mdat" + be(~0ULL, 7), without},
        {be(1, 4) + "free" + be(~0ULL - 15, 8) + moov, "nothing"}, // would wrap to where it stands
        {be(1, 4) + "free" + be(15, 8) + moov, "nothing"},
        {be(1, 4) + "free" + be(12, 8) + "free" + zeros(4) + moov, "nothing"},
        {be(7, 4) + "free" + moov, "nothing"},
        {others + moov, without}, // the 64th
        {others + atom("free", "") + moov, "nothing"},
        {moov + atom("moov", movieHeader(1000, 9000)), without}, // one movie is read
        {be(16 << 20, 4) + "moov" + movie, without},             // 16 MiB, and the file ends before
        {be((16 << 20) + 1, 4) + "moov" + movie, "nothing"},
    };
    for (const auto& [rest, wanted] : cases)
        EXPECT_EQ(readAs(fileType + rest), wanted);
}

TEST(MP4Test, SampleEntryGivesCodecAndProperties) {
    const std::string alac = atom("alac", configOf(24, 6, 1'234'567, 96'000));
    const std::string plainEsds =
        atom("esds", zeros(4) + descriptor(4, "\x6B" + zeros(8) + be(64'000, 4)));
    const std::string flagged =
        descriptor(3, zeros(2) + "\xE0" + zeros(2) + "\3url" + zeros(2) + descriptor(5, "x") +
                          descriptor(4, "\x69" + zeros(8) + be(96'000, 4)));

    const std::pair<std::string, std::string_view> cases[] = {
        {sampleEntry({}), "aac 2000 ms 44100 Hz 16 bit 2 ch"},
        {sampleEntry({}, esds(0x40, 128'999)), "aac 2000 ms 128k 44100 Hz 16 bit 2 ch"},
        {sampleEntry({}, esds(0x69, 64'000)), "mp3 2000 ms 64k 44100 Hz 16 bit 2 ch"},
        {sampleEntry({}, esds(0x6B, 64'000)), "mp3 2000 ms 64k 44100 Hz 16 bit 2 ch"},
        {sampleEntry({}, esds(0x40, ~0U)), "aac 2000 ms 65535k 44100 Hz 16 bit 2 ch"},
        {sampleEntry({}, plainEsds), "mp3 2000 ms 64k 44100 Hz 16 bit 2 ch"},
        {sampleEntry({}, atom("esds", zeros(4) + flagged)), "mp3 2000 ms 96k 44100 Hz 16 bit 2 ch"},
        {sampleEntry({}, atom("esds", zeros(4) + "\3\xFF\xFF\xFF\xFF\xFF")),
         "aac 2000 ms 44100 Hz 16 bit 2 ch"},
        {sampleEntry({}, atom("free", "x") + esds(0x40, 1000)),
         "aac 2000 ms 1k 44100 Hz 16 bit 2 ch"},
        // QuickTime: more fixed fields, or everything inside a "wave" atom.
        {sampleEntry({}, zeros(16) + esds(0x40, 1000)), "aac 2000 ms 1k 44100 Hz 16 bit 2 ch"},
        {sampleEntry({}, zeros(36) + esds(0x40, 1000)), "aac 2000 ms 1k 44100 Hz 16 bit 2 ch"},
        {sampleEntry({}, zeros(16) + atom("wave", atom("frma", "mp4a") + esds(0x6B, 1000))),
         "mp3 2000 ms 1k 44100 Hz 16 bit 2 ch"},
        {sampleEntry({.channels = 300, .bits = 256, .rate = 65'535}),
         "aac 2000 ms 65535 Hz 255 bit 255 ch"},
        {sampleEntry({.type = "alac"}, alac), "alac 2000 ms 1234k 96000 Hz 24 bit 6 ch"},
        {sampleEntry({.type = "alac"}, atom("alac", configOf(16, 2, ~0U, ~0U))),
         "alac 2000 ms 65535k 4294967295 Hz 16 bit 2 ch"},
        {sampleEntry({.type = "alac"}, atom("alac", zeros(27))),
         "alac 2000 ms 44100 Hz 16 bit 2 ch"},
        {sampleEntry({.type = "alac"}), "alac 2000 ms 44100 Hz 16 bit 2 ch"},
        {sampleEntry({.type = "Opus"}, esds(0x6B, 1000)), "other 2000 ms 44100 Hz 16 bit 2 ch"},
        {atom("mp4a", zeros(17)), "aac 2000 ms"},
        {be(1000, 4) + "mp4a" + zeros(28), "unknown 2000 ms"},
        {"", "unknown 2000 ms"},
    };
    for (const auto& [entry, wanted] : cases)
        EXPECT_EQ(readAs(file(twoSeconds + track("soun", entry))), wanted);
}

TEST(MP4Test, OnlySoundTracksCount) {
    const std::string picture = track("vide", sampleEntry({.type = "avc1"}));
    const std::string text = track("text", sampleEntry({.type = "text"}));
    constexpr std::string_view wanted = "aac 2000 ms 128k 44100 Hz 16 bit 2 ch";
    EXPECT_EQ(readAs(file(twoSeconds + picture)), "unknown 2000 ms");
    EXPECT_EQ(readAs(file(twoSeconds + picture + aac + text)), wanted);
    EXPECT_EQ(readAs(file(aac + twoSeconds)), wanted);
    EXPECT_EQ(readAs(file(twoSeconds + atom("trak", "") + atom("trak", atom("mdia", "")))),
              "unknown 2000 ms");
}

TEST(MP4Test, ItemsFillTheirFields) {
    const std::pair<std::string, std::string> cases[] = {
        {item("\xA9nam", "t") + item(artistType, "a") + item(albumType, "b") +
             item("\xA9gen", "(17)") + item(dayType, "2011-05-02"),
         " 2011 artist=a title=t album=b genre=(17)"},
        {item("aART", "band"), " artist=band"},
        {item("aART", "band") + item(artistType, "a"), " artist=a"},
        {item("\xA9nam", " R\xF3s\0\0"s), " title=R\xC3\xB3s"},
        {item(dayType, "0999"), ""},
        {item("gnre", be(0, 2)), ""},
        {item("gnre", be(1, 2)), " genre=Blues"},
        {item("gnre", be(80, 2)), " genre=Hard Rock"},
        {item("gnre", be(81, 2)), ""},
        {item("gnre", be(65535, 2)), ""},
        {item("gnre", "\1"), ""},
        {item("\xA9gen", "Folk") + item("gnre", be(0, 2)), " genre=Folk"},
        {item("tmpo", be(128, 2)), " 128.0 bpm"},
        {item("tmpo", be(6554, 2)), " 6553.5 bpm"},
        {item("tmpo", be(65535, 2)), " 6553.5 bpm"},
        {item("tmpo", "\1"), ""},
        {namedItem("initialkey", "Am"), " key=Am"},
        {namedItem("initial key", "8A"), " key=8A"},
        {namedItem("KEY", "C"), " key=C"},
        {namedItem("keys", "C") + namedItem("", "C"), ""},
        {namedItem("bpm", "128,5") + namedItem("MOOD", "x"), " 128.5 bpm"},
        {atom("name", zeros(4) + "key") + atom("data", zeros(8) + "C"), ""}, // not in an item
        {item("\xA9nam", "t") + atom("\xA9nam", atom("data", zeros(7))), " title=t"},
        {atom("\xA9nam", "") + atom("\xA9nam", atom("data", zeros(7))), ""},
        {atom("\xA9nam", atom("name", zeros(9) + "x") + atom("data", zeros(8) + "t")), " title=t"},
        {atom("\xA9nam", be(100, 4) + "data" + zeros(8) + "t"), ""},
    };
    for (const auto& [items, wanted] : cases)
        EXPECT_EQ(textsOf(items), wanted);
}

TEST(MP4Test, ItemsAreFoundWithAndWithoutAVersionBeforeThem) {
    const std::string ilst = atom("ilst", item("\xA9nam", "t"));
    const std::string hdlr = atom("hdlr", zeros(25));
    for (const std::string& meta : {zeros(4) + ilst, zeros(4) + hdlr + ilst, hdlr + ilst, ilst})
        EXPECT_EQ(readAs(file(twoSeconds + atom("udta", zeros(0) + atom("meta", meta)))),
                  "unknown 2000 ms title=t");
}

TEST(MP4Test, DeepNestsAreNotFollowed) {
    for (const char* const type :
         {"moov", "trak", "mdia", "udta", "meta", "ilst", "wave", "----", "free"}) {
        std::string nest = "x";
        for (int depth = 0; depth < 4000; ++depth)
            nest = atom(type, nest);
        EXPECT_EQ(readAs(file(twoSeconds + aac + nest)), "aac 2000 ms 128k 44100 Hz 16 bit 2 ch")
            << type;
    }
    std::string nest = "x";
    for (int depth = 0; depth < 4000; ++depth)
        nest = be(3, 1) + "\xFF\xFF\xFF\x7F" + zeros(3) + nest;
    EXPECT_EQ(
        readAs(file(twoSeconds + track("soun", sampleEntry({}, atom("esds", zeros(4) + nest))))),
        "aac 2000 ms 44100 Hz 16 bit 2 ch");
}

TEST(MP4Test, ReadsHeadersAndSmallMoviesAtOnce) {
    const std::string movie = atom("moov", twoSeconds + aac + userData(item("\xA9nam", "t")));
    const std::string whole =
        fileType + movie + atom("free", zeros(1000)) + atom("mdat", zeros(100'000));
    const MemoryReader reader(whole);
    EXPECT_TRUE(AudioParser::parse(reader, "m4a").has_value());
    EXPECT_LE(reader.bytesRead(), 12 + 4 * 16 + 48 + movie.size());
    EXPECT_LE(reader.reads(), 5U);
}

TEST(MP4Test, StepsOverTablesAndPictures) {
    const std::string longTrack =
        track("soun", sampleEntry({}, esds(0x40, 128'000)) + zeros(3'000'000));
    const std::string items = item("\xA9nam", "t") + item("covr", zeros(2'000'000)) +
                              atom("----", "") + item(artistType, "a");
    const std::string whole =
        file(twoSeconds + longTrack + userData(items) + atom("free", zeros(1'000'000)));
    const MemoryReader reader(whole);
    const auto meta = AudioParser::parse(reader, "m4a");
    ASSERT_TRUE(meta.has_value());
    EXPECT_EQ(describe(*meta), "aac 2000 ms 128k 44100 Hz 16 bit 2 ch artist=a title=t");
    EXPECT_LE(reader.bytesRead(), 30'000U);
    EXPECT_LE(reader.reads(), 8U);
}

TEST(MP4Test, LongTextsAreReadWhole) {
    const std::string title(100'000, 't');
    EXPECT_EQ(textsOf(item("\xA9nam", title) + item(artistType, "a")), " artist=a title=" + title);
}

} // namespace

} // namespace quarrydex
