#include "QuarrydexCore/audio/AudioCond.h"

#include "QuarrydexCore/audio/AudioTable.h"
#include "QuarrydexCore/base/Bits.h"

#include "tests/support/EveryTarget.h"
#include "tests/support/RandomAudio.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

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

TEST(AudioCondTest, CodecsAreFoundByLabelAndByLoss) {
    AudioTable table;
    std::vector<Analysed> rows;
    for (EntryId i = 0; i < audioCodecCount; ++i)
        rows.push_back({i, 0, {.codec = static_cast<AudioCodec>(i)}});
    table.upsert(rows);
    EXPECT_EQ(hits(table, {.field = Field::lossless, .flag = true}), (Ids{3, 4, 5, 6, 7}));
    EXPECT_EQ(hits(table, {.field = Field::lossless}), (Ids{0, 1, 2, 8, 9, 10, 11}));
    EXPECT_EQ(hits(table, Field::codec, "PCM"), (Ids{5, 6}));
    EXPECT_EQ(hits(table, Field::codec, "a"), (Ids{2, 3, 4, 6, 7, 10}));
    EXPECT_EQ(hits(table, Field::codec, "?"), Ids{11});
    EXPECT_EQ(hits(table, Field::codec, ""), (Ids{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
}

TEST(AudioCondTest, TextsMatchFoldedAndWithinOneText) {
    AudioTable table;
    table.upsert(std::vector<Analysed>{{10, 0, {.artist = "BJÖRK", .title = "Jóga"}},
                                       {11, 0, {.artist = "Björk", .title = "Army of Me"}},
                                       {12, 0, {.artist = "", .title = "bjork"}},
                                       {13, 0, {.artist = "jor"}}});
    EXPECT_EQ(hits(table, Field::artist, "ÖR"), (Ids{10, 11, 13}));
    EXPECT_EQ(hits(table, Field::title, "BJÖRK"), Ids{12});
    // The raw form is never searched: no folded text holds capitals or accents.
    AudioTable raw;
    raw.upsert(std::vector<Analysed>{{1, 0, {.artist = "é"}}, {2, 0, {.artist = "x"}}});
    EXPECT_EQ(hits(raw, Field::artist, "\xC3"), Ids{});
    // Nor across the end of a text.
    EXPECT_EQ(hits(raw, {.field = Field::artist, .text = std::string("e\0x", 3)}), Ids{});
    EXPECT_EQ(hits(raw, Field::artist, "ex"), Ids{});
    // An empty text asks for any text.
    EXPECT_EQ(hits(table, Field::artist, ""), (Ids{10, 11, 13}));
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

class EveryAudioCondTest : public testing::EveryTarget {};

INSTANTIATE_TEST_SUITE_P(Targets, EveryAudioCondTest, testing::targetsHere(), testing::targetName);

TEST_P(EveryAudioCondTest, AgreesWithLookingAtEveryRecord) {
    std::mt19937 random(77);
    for (int round = 0; round < 40; ++round) {
        AudioTable table;
        std::vector<Analysed> rows;
        // The largest tables have several blocks of rows and several stretches of texts.
        const std::size_t count = round % 20 == 19 ? 20'000 : 500;
        for (EntryId id = 30; rows.size() < count; id += random() % 30 == 0 ? 90 : 1)
            rows.push_back({id, 0, testing::randomMeta(random)});
        for (std::size_t i = 0; i < count; i += count / 4)
            table.upsert(std::span(rows).subspan(i, count / 4));
        for (int asked = 0; asked < 30; ++asked) {
            const AudioCond cond = testing::randomCond(random, rows[random() % rows.size()].meta);
            Ids expected;
            for (const Analysed& row : rows)
                if (testing::satisfies(row.meta, cond))
                    expected.push_back(row.entry);
            ASSERT_EQ(hits(table, cond, rows.back().entry + 1), expected)
                << rawValue(cond.field) << " " << cond.text;
        }
    }
}

} // namespace
} // namespace quarrydex
