#include "QuarrydexCore/audio/AudioCond.h"

#include "QuarrydexCore/audio/AudioTable.h"
#include "QuarrydexCore/base/Bits.h"
#include "QuarrydexCore/text/Fold.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <hwy/highway.h>

namespace quarrydex {
namespace {

using Field = AudioCond::Field;
using Analysed = AudioTable::Analysed;

constexpr std::size_t entries = 10'000;

std::vector<std::size_t>
hits(const AudioTable& table, const AudioCond& cond, std::size_t n = entries) {
    BitWords bits(bitWords(n));
    table.fill(cond, bits, n);
    std::vector<std::size_t> out;
    forEachBit(bits, [&](std::size_t id) { out.push_back(id); });
    return out;
}

std::vector<std::size_t> hits(const AudioTable& table, Field field, const char* text) {
    return hits(table, {.field = field, .text = text});
}

using Ids = std::vector<std::size_t>;

TEST(AudioCondTest, UnknownNumbersMatchNoRange) {
    AudioTable table;
    table.upsert(std::vector<Analysed>{{1, 0, {}},
                                       {2, 0, {.bitrateKbps = 128, .bpm10 = 1200}},
                                       {3, 0, {.bitrateKbps = 129, .bpm10 = 1205}}});
    EXPECT_EQ(hits(table, {.field = Field::bitrate, .lo = 0, .hi = 128}), Ids{2});
    EXPECT_EQ(hits(table, {.field = Field::bitrate}), (Ids{2, 3}));
    EXPECT_EQ(hits(table, {.field = Field::bitrate, .hi = 0}), Ids{});
    EXPECT_EQ(hits(table, {.field = Field::bpm, .lo = 1200, .hi = 1200}), Ids{2});
    EXPECT_EQ(hits(table, {.field = Field::bpm, .lo = 1201}), Ids{3});
    EXPECT_EQ(hits(table, {.field = Field::bpm, .lo = 70'000, .hi = 80'000}), Ids{});
    EXPECT_EQ(hits(table, {.field = Field::bpm, .lo = 1300, .hi = 1100}), Ids{});
}

TEST(AudioCondTest, NumbersAreTestedInTheirOwnColumnToBothEnds) {
    AudioTable table;
    table.upsert(std::vector<Analysed>{{5,
                                        0,
                                        {.durationMs = 0xFFFFFFFF,
                                         .bitrateKbps = 0xFFFF,
                                         .sampleRate = 96'000,
                                         .bits = 255,
                                         .channels = 1,
                                         .bpm10 = 0xFFFE,
                                         .year = 1}}});
    const std::pair<Field, std::int64_t> values[] = {
        {Field::dur, 0xFFFFFFFF}, {Field::bitrate, 0xFFFF}, {Field::rate, 96'000},
        {Field::bits, 255},       {Field::channels, 1},     {Field::bpm, 0xFFFE},
        {Field::year, 1}};
    for (const auto& [field, value] : values) {
        EXPECT_EQ(hits(table, {.field = field, .lo = value, .hi = value}), Ids{5});
        EXPECT_EQ(hits(table, {.field = field, .lo = value}), Ids{5});
        EXPECT_EQ(hits(table, {.field = field, .hi = value}), Ids{5});
        EXPECT_EQ(hits(table, {.field = field, .lo = value + 1}), Ids{});
        EXPECT_EQ(hits(table, {.field = field, .hi = value - 1}), Ids{});
    }
}

TEST(AudioCondTest, CodecsAreFoundByLabelAndByLoss) {
    AudioTable table;
    std::vector<Analysed> rows;
    for (EntryId i = 0; i < audioCodecCount; ++i)
        rows.push_back({i, 0, {.codec = static_cast<AudioCodec>(i)}});
    table.upsert(rows);
    EXPECT_EQ(hits(table, {.field = Field::lossless, .flag = true}), (Ids{3, 4, 5, 6, 7}));
    EXPECT_EQ(hits(table, {.field = Field::lossless}), (Ids{0, 1, 2, 8, 9, 10, 11}));
    EXPECT_EQ(hits(table, Field::codec, "mp3"), Ids{1});
    EXPECT_EQ(hits(table, Field::codec, "flac"), Ids{4});
    EXPECT_EQ(hits(table, Field::codec, "PCM"), (Ids{5, 6}));
    EXPECT_EQ(hits(table, Field::codec, "a"), (Ids{2, 3, 4, 6, 7, 10}));
    EXPECT_EQ(hits(table, Field::codec, "o"), (Ids{6, 8, 9}));
    EXPECT_EQ(hits(table, Field::codec, "?"), Ids{11});
    EXPECT_EQ(hits(table, Field::codec, "none"), Ids{});
    EXPECT_EQ(hits(table, Field::codec, ""), (Ids{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
}

TEST(AudioCondTest, TextsMatchFoldedAndWithinOneText) {
    AudioTable table;
    table.upsert(std::vector<Analysed>{{10, 0, {.artist = "BJÖRK", .title = "Jóga", .key = "Am"}},
                                       {11, 0, {.artist = "Björk", .title = "Army of Me"}},
                                       {12, 0, {.artist = "", .title = "bjork"}},
                                       {13, 0, {.artist = "jor", .title = "", .album = "Jo"}}});
    EXPECT_EQ(hits(table, Field::artist, "bjork"), (Ids{10, 11}));
    EXPECT_EQ(hits(table, Field::artist, "ÖR"), (Ids{10, 11, 13}));
    EXPECT_EQ(hits(table, Field::title, "BJÖRK"), Ids{12});
    EXPECT_EQ(hits(table, Field::title, "j"), (Ids{10, 12}));
    EXPECT_EQ(hits(table, Field::key, "am"), Ids{10});
    EXPECT_EQ(hits(table, Field::genre, "a"), Ids{});
    // The raw form is never searched: no folded text holds capitals or accents.
    AudioTable raw;
    raw.upsert(std::vector<Analysed>{{1, 0, {.artist = "é"}}, {2, 0, {.artist = "x"}}});
    EXPECT_EQ(hits(raw, Field::artist, "\xC3"), Ids{});
    // Nor across the end of a text.
    EXPECT_EQ(hits(raw, {.field = Field::artist, .text = std::string("e\0x", 3)}), Ids{});
    EXPECT_EQ(hits(raw, Field::artist, "ex"), Ids{});
    // An empty text asks for any text.
    EXPECT_EQ(hits(table, Field::artist, ""), (Ids{10, 11, 13}));
    EXPECT_EQ(hits(table, Field::album, ""), Ids{13});
}

TEST(AudioCondTest, KeepsBitsAndIgnoresEntriesBeyondTheEnd) {
    AudioTable table;
    std::vector<Analysed> rows;
    for (EntryId i = 0; i < 300; ++i)
        rows.push_back({i, 0, {.year = 2000}});
    table.upsert(rows);
    for (const std::size_t n : {0U, 1U, 63U, 64U, 65U, 127U, 128U, 200U, 299U, 300U, 301U}) {
        BitWords bits(bitWords(n));
        setBit(bits, n / 2);
        const BitWords guard = bits;
        table.fill({.field = Field::year}, bits, n);
        EXPECT_EQ(countBits(bits), std::max(std::min<std::size_t>(n, 300), countBits(guard))) << n;
        EXPECT_TRUE(testBit(bits, n / 2));
    }
    BitWords kept(bitWords(500));
    setBit(kept, 400);
    table.fill({.field = Field::year, .lo = 2001}, kept, 500);
    EXPECT_EQ(countBits(kept), 1U);
}

/// A record whose values come from small sets, so that every condition has hits and misses.
AudioMeta randomMeta(std::mt19937& random) {
    static const std::vector<std::string> words = {"",
                                                   "a",
                                                   "Ab",
                                                   "abc",
                                                   "Café del Mar",
                                                   "ÉTÉ",
                                                   "b a",
                                                   "aaaa",
                                                   "東京",
                                                   "Straße",
                                                   "x\xFF",
                                                   "y",
                                                   std::string(150, 'q') + "Z"};
    const auto word = [&] { return words[random() % words.size()]; };
    AudioMeta meta;
    meta.durationMs = static_cast<std::uint32_t>(random() % 4 * 1000);
    meta.bitrateKbps = static_cast<std::uint16_t>(random() % 4 * 64);
    meta.year = static_cast<std::uint16_t>(random() % 3 == 0 ? 0 : 1990 + random() % 30);
    meta.channels = static_cast<std::uint8_t>(random() % 3);
    meta.codec = static_cast<AudioCodec>(random() % audioCodecCount);
    meta.artist = word();
    meta.title = word() + word();
    meta.album = word() + " " + word();
    return meta;
}

bool obviouslyMatches(const AudioMeta& meta, const AudioCond& cond) {
    const auto inRange = [&](std::int64_t v) { return v != 0 && cond.lo <= v && v <= cond.hi; };
    const auto holds = [&](std::string_view text) {
        return !text.empty() && fold(text).find(fold(cond.text)) != std::string::npos;
    };
    switch (cond.field) {
    case Field::dur:
        return inRange(meta.durationMs);
    case Field::bitrate:
        return inRange(meta.bitrateKbps);
    case Field::year:
        return inRange(meta.year);
    case Field::channels:
        return inRange(meta.channels);
    case Field::lossless:
        return isLossless(meta.codec) == cond.flag;
    case Field::codec:
        return holds(label(meta.codec));
    case Field::artist:
        return holds(meta.artist);
    case Field::title:
        return holds(meta.title);
    case Field::album:
        return holds(meta.album);
    default:
        return false;
    }
}

/// Once for each instruction set that the loops are compiled for and this processor has.
class EveryAudioCondTest : public ::testing::TestWithParam<std::int64_t> {
  protected:
    void SetUp() override { useOnly(GetParam()); }

    void TearDown() override { useOnly(0); }

  private:
    /// 0 gives the choice back.
    static void useOnly(std::int64_t targets) {
        hwy::SetSupportedTargetsForTest(targets);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    }
};

std::vector<std::int64_t> targetsHere() {
    std::vector<std::int64_t> targets;
    for (std::int64_t left = hwy::SupportedTargets() & HWY_TARGETS; left != 0; left &= left - 1)
        targets.push_back(left & -left);
    return targets;
}

INSTANTIATE_TEST_SUITE_P(EveryTarget,
                         EveryAudioCondTest,
                         ::testing::ValuesIn(targetsHere()),
                         [](const auto& target) -> std::string {
                             return hwy::TargetName(target.param);
                         });

TEST_P(EveryAudioCondTest, AgreesWithLookingAtEveryRecord) {
    std::mt19937 random(77);
    const std::vector<Field> fields = {Field::dur,      Field::bitrate,  Field::year,
                                       Field::channels, Field::lossless, Field::codec,
                                       Field::artist,   Field::title,    Field::album};
    const std::vector<std::string> texts = {"",    "a",   "B",  "cafe", "ete",  "ss",
                                            "aa",  "qqz", "京", "q",    "\xFF", "é d",
                                            "MAR", "zz",  " ",  "c",    "flac"};
    for (int round = 0; round < 40; ++round) {
        AudioTable table;
        std::vector<Analysed> rows;
        // Runs of neighbours and gaps: both ways of writing bits are needed.
        for (EntryId id = 30; rows.size() < 500; id += random() % 200 == 0 ? 90 : 1)
            rows.push_back({id, 0, randomMeta(random)});
        for (std::size_t i = 0; i < rows.size(); i += 125)
            table.upsert(std::span(rows).subspan(i, 125));
        for (const Field field : fields) {
            AudioCond cond{.field = field};
            cond.text = texts[random() % texts.size()];
            cond.flag = random() % 2 == 0;
            cond.lo = random() % 3 == 0 ? cond.lo : static_cast<std::int64_t>(random() % 2100);
            cond.hi = random() % 3 == 0 ? cond.hi : static_cast<std::int64_t>(random() % 2100);
            Ids expected;
            for (const Analysed& row : rows)
                if (obviouslyMatches(row.meta, cond) && row.entry < entries)
                    expected.push_back(row.entry);
            ASSERT_EQ(hits(table, cond), expected) << rawValue(field) << " " << cond.text;
        }
    }
}

} // namespace
} // namespace quarrydex
