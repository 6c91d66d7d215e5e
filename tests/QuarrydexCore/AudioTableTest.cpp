#include "QuarrydexCore/audio/AudioTable.h"

#include "QuarrydexCore/audio/AudioColumns.h"
#include "QuarrydexCore/base/Bytes.h"
#include "QuarrydexCore/text/Fold.h"

#include <atomic>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

constexpr std::uint64_t storeID = 0x1122334455667788;

using Analysed = AudioTable::Analysed;

Analysed analysed(EntryId entry, std::string artist = "", std::string title = "") {
    Analysed row{.entry = entry, .mtime = entry * 10, .meta = {}};
    row.meta.artist = std::move(artist);
    row.meta.title = std::move(title);
    return row;
}

AudioMeta fullMeta() {
    return {.durationMs = 241'000,
            .bitrateKbps = 320,
            .sampleRate = 44'100,
            .bits = 24,
            .channels = 2,
            .codec = AudioCodec::float_,
            .vbr = true,
            .bpm10 = 1'205,
            .year = 1999,
            .artist = "Sigur Rós",
            .title = "Svefn-g-englar",
            .album = "Ágætis byrjun",
            .genre = "Post-Rock",
            .key = "F♯m"};
}

std::string poolOf(const AudioTable& table) {
    return std::string(table.snapshot()->pool);
}

TEST(AudioTableTest, ARecordIsEmptyWithoutLengthRateArtistAndTitle) {
    EXPECT_TRUE((AudioMeta{.bitrateKbps = 320, .album = "Album"}).isEmpty());
    for (const AudioMeta& meta : {AudioMeta{.durationMs = 1}, AudioMeta{.sampleRate = 1},
                                  AudioMeta{.artist = "x"}, AudioMeta{.title = "x"}})
        EXPECT_FALSE(meta.isEmpty());
}

TEST(AudioTableTest, PoolHoldsEachTextAndItsFoldedCopy) {
    using namespace std::string_literals;
    AudioTable table;
    table.upsert(std::vector{analysed(1, "Café", "Song"), analysed(2, "Café", "Song"),
                             analysed(3, "cut\0here"s, "\0none"s)});
    EXPECT_EQ(poolOf(table), "\0Café\0cafe\0Song\0song\0Song\0song\0cut\0cut\0"s);
    const auto cols = table.snapshot();
    EXPECT_EQ(cols->artist[0], cols->artist[1]);
    EXPECT_NE(cols->title[0], cols->title[1]);
    EXPECT_EQ(cols->title[2], 0U);
}

TEST(AudioTableTest, UpsertsMergeLikeAMapAlsoAcrossReloads) {
    std::mt19937 random(5);
    const auto below = [&](std::uint32_t n) { return static_cast<std::uint32_t>(random() % n); };
    auto table = std::make_unique<AudioTable>();
    std::map<EntryId, Analysed> expected;
    for (int batch = 0; batch < 60; ++batch) {
        std::vector<Analysed> rows;
        for (std::uint32_t n = 1 + below(40); n > 0; --n) {
            Analysed row = analysed(below(300));
            row.mtime = below(1'000'000);
            row.meta.artist = "Artist " + std::to_string(below(5));
            row.meta.title = "Title " + std::to_string(below(1'000'000));
            rows.push_back(row);
            expected[row.entry] = row; // the later one counts
        }
        table->upsert(rows);
        if (batch % 20 == 10)
            table = AudioTable::deserialize(table->serialize(storeID), storeID);
    }
    const auto cols = table->snapshot();
    ASSERT_EQ(cols->count(), expected.size());
    std::set<std::uint32_t> artistOffsets;
    std::size_t at = 0;
    for (const auto& [entry, row] : expected) {
        ASSERT_EQ(cols->entry[at], entry);
        ASSERT_EQ(cols->mtime[at], row.mtime);
        ASSERT_EQ(AudioTable::meta(*cols, at), row.meta);
        artistOffsets.insert(cols->artist[at]);
        ++at;
    }
    EXPECT_EQ(artistOffsets.size(), 5U);
}

TEST(AudioTableTest, SnapshotsStayAsTheyWere) {
    AudioTable table;
    table.upsert(std::vector{analysed(5, "Old", "One")});
    const auto before = table.snapshot();
    for (EntryId i = 0; i < 1'000; ++i)
        table.upsert(std::vector{analysed(i % 50, "New", "Another")});
    ASSERT_EQ(before->count(), 1U);
    EXPECT_EQ(AudioTable::meta(*before, 0).artist, "Old");
    EXPECT_EQ(table.meta(5)->artist, "New");
    EXPECT_EQ(table.version(), 1'001);
}

TEST(AudioTableTest, ReadersAndTheWriterMeetNoHalfBatch) {
    AudioTable table;
    std::atomic<bool> done{false};
    std::atomic<int> wrong{0};
    const auto read = [&] {
        AudioCond cond{.field = AudioCond::Field::title, .text = "track"};
        std::vector<std::uint64_t> bits(100);
        while (!done) {
            const auto cols = table.snapshot();
            for (std::size_t row = 0; row < cols->count(); ++row)
                wrong += AudioTable::meta(*cols, row).title ==
                                 "Track " + std::to_string(cols->entry[row])
                             ? 0
                             : 1;
            wrong += cols->count() % 2 == 0 ? 0 : 1;
            table.fill(cond, bits, 6'000);
        }
    };
    std::thread first(read);
    std::thread second(read);
    for (EntryId i = 0; i < 400; i += 2) {
        const std::string a = "Track " + std::to_string(i);
        const std::string b = "Track " + std::to_string(i + 1);
        table.upsert(std::vector{analysed(i, "Same", a), analysed(i + 1, "Same", b)});
    }
    done = true;
    first.join();
    second.join();
    EXPECT_EQ(wrong, 0);
}

TEST(AudioTableFileTest, LoadsWhatWasSavedAndGoesOn) {
    AudioTable table;
    table.upsert(std::vector{Analysed{3, 30, fullMeta()}, analysed(8, "Sigur Rós", "Other")});
    table.upsert({});
    EXPECT_EQ(table.version(), 1);
    EXPECT_EQ(table.meta(4), std::nullopt);
    const std::string bytes = table.serialize(storeID);
    const auto loaded = AudioTable::deserialize(bytes, storeID);
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(loaded->serialize(storeID), bytes);
    EXPECT_EQ(loaded->meta(3), fullMeta());

    // Texts that the file brought are shared with rows that come later.
    loaded->upsert(std::vector{analysed(5, "Sigur Rós", "New")});
    const auto cols = loaded->snapshot();
    EXPECT_EQ(cols->entry, (std::vector<std::uint32_t>{3, 5, 8}));
    EXPECT_EQ(cols->artist[1], cols->artist[0]);
    EXPECT_EQ(cols->pool.size(), poolOf(table).size() + 8);
    EXPECT_EQ(loaded->meta(5)->title, "New");
    EXPECT_EQ(loaded->version(), 1);
}

/// A file of the given rows, each with all five texts at one offset, and a pool as given.
std::string fileOf(std::vector<std::uint32_t> entries,
                   std::uint32_t textOffset,
                   std::string_view pool,
                   std::uint8_t codec = 1) {
    AudioTable::Cols cols;
    cols.entry = std::move(entries);
    std::string out = "QRDXAUD2";
    for (std::uint64_t value :
         {storeID, std::uint64_t{cols.entry.size()}, std::uint64_t{pool.size()}})
        out.append(reinterpret_cast<const char*>(&value), 8);
    forEachAudioColumn([&](auto column) {
        auto& values = cols.*column;
        values.resize(cols.entry.size());
    });
    for (auto column : {&AudioTable::Cols::artist, &AudioTable::Cols::title,
                        &AudioTable::Cols::album, &AudioTable::Cols::genre, &AudioTable::Cols::key})
        for (auto& offset : cols.*column)
            offset = textOffset;
    for (auto& value : cols.codec)
        value = codec;
    forEachAudioColumn([&](auto column) {
        const auto& values = cols.*column;
        out.append(reinterpret_cast<const char*>(values.data()), values.size() * sizeof values[0]);
    });
    return out + std::string(pool);
}

TEST(AudioTableFileTest, RejectsWhatIsNoWholeTableOfTheStore) {
    AudioTable table;
    table.upsert(std::vector{Analysed{3, 30, fullMeta()}, Analysed{4, 30, fullMeta()}});
    const std::string good = table.serialize(storeID);
    ASSERT_NE(AudioTable::deserialize(good, storeID), nullptr);
    EXPECT_EQ(AudioTable::deserialize(good, storeID + 1), nullptr);
    EXPECT_EQ(AudioTable::deserialize(good + '\0', storeID), nullptr);
    for (std::size_t length = 0; length < good.size(); ++length)
        EXPECT_EQ(AudioTable::deserialize(good.substr(0, length), storeID), nullptr) << length;
    for (std::size_t at = 0; at < 8; ++at) {
        std::string bad = good;
        bad[at] ^= 1;
        EXPECT_EQ(AudioTable::deserialize(bad, storeID), nullptr) << at;
    }
    // Counts whose sizes wrap around to the right length.
    for (const std::uint64_t rows : {std::uint64_t{1} << 63, std::uint64_t{0} - 2}) {
        std::string bad = good;
        storeLE<std::uint64_t>(&bad[16], rows);
        storeLE<std::uint64_t>(&bad[24], good.size() - 32 - 46 * rows);
        EXPECT_EQ(AudioTable::deserialize(bad, storeID), nullptr) << rows;
    }
    const std::string_view pool("\0", 1);
    EXPECT_NE(AudioTable::deserialize(fileOf({1, 2, 9}, 0, pool), storeID), nullptr);
    EXPECT_EQ(AudioTable::deserialize(fileOf({1, 2, 2}, 0, pool), storeID), nullptr);
    EXPECT_EQ(AudioTable::deserialize(fileOf({1, 3, 2}, 0, pool), storeID), nullptr);
}

TEST(AudioTableFileTest, ForeignOffsetsAndCodecsAreReadWithinThePool) {
    using namespace std::string_literals;
    const std::tuple<std::string, std::uint32_t, const char*> cases[] = {
        {"\0abc\0abc\0"s, 1, "abc"},
        {"\0abc\0abc\0"s, 3, "c"},
        {"\0abc\0abc\0"s, 8, ""},
        {"\0xbc\0bc\0"s, 2, "bc"},
        {"\0abc\0abc\0"s, 9, ""},
        {"\0abc"s, 2, "bc"},
        {"\0abc"s, 0xFFFFFFFF, ""},
        {"x"s, 0, ""},
        {""s, 0, ""},
        {""s, 1, ""},
    };
    for (const auto& [pool, offset, text] : cases) {
        const auto table = AudioTable::deserialize(fileOf({4, 6}, offset, pool, 200), storeID);
        ASSERT_NE(table, nullptr);
        const AudioMeta meta = *table->meta(6);
        EXPECT_EQ(meta.artist, text);
        EXPECT_EQ(meta.key, text);
        EXPECT_EQ(meta.codec, AudioCodec::unknown);
        // New rows after such a pool are whole, and the old ones still read the same.
        table->upsert(std::vector{analysed(5, "bc", "abc")});
        EXPECT_EQ(table->meta(5)->artist, "bc");
        EXPECT_EQ(table->meta(5)->title, "abc");
        EXPECT_EQ(table->meta(4)->artist, text);
        for (const auto field : {AudioCond::Field::artist, AudioCond::Field::title}) {
            std::vector<std::uint64_t> bits(1);
            table->fill({.field = field, .text = "BC"}, bits, 10);
            EXPECT_NE(bits[0] & 1U << 5, 0U) << testing::PrintToString(pool);
        }
    }
}

} // namespace
} // namespace quarrydex
