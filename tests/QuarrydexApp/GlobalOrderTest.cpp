#include "QuarrydexApp/model/GlobalOrder.h"

#include "QuarrydexApp/model/Merge.h"
#include "QuarrydexCore/base/Bytes.h"
#include "QuarrydexCore/base/Checksum.h"

#include "tests/support/RandomCatalog.h"
#include "tests/support/Snapshots.h"
#include "tests/support/TempTree.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

using testing::below;
using testing::Names;
using testing::PlainEntry;
using testing::Random;
using testing::randomEntries;
using testing::randomName;
using testing::readBytes;
using testing::Shape;
using testing::writeBytes;

/// Volumes that stay changeable, with room for more entries.
struct Volumes {
    void add(const std::vector<PlainEntry>& entries, std::uint64_t storeID = 0) {
        fidx* store = fidx_new(1 << 20, 1 << 25);
        testing::appendAll(store, entries);
        stores.push_back(store);
        indexes.push_back(
            VolumeIndex::adopting(store, storeID != 0 ? storeID : 100 + stores.size(), {}));
    }

    void append(std::size_t v, std::vector<PlainEntry> entries) const {
        testing::appendAll(stores[v], entries);
    }

    std::vector<fidx*> stores; ///< owned by the indexes
    std::vector<std::shared_ptr<VolumeIndex>> indexes;
};

const PlainEntry root = {"/root", noParent, EntryFlags::dir | EntryFlags::root};

/// Three volumes with the same names over and over, and one with nothing but its root.
Volumes randomVolumes(Random& random, Names names, std::uint32_t entries) {
    Volumes volumes;
    volumes.add(randomEntries(random, {entries, names, 2}));
    volumes.add(randomEntries(random, {entries / 3 + 2, names}));
    volumes.add({root});
    volumes.add(randomEntries(random, {entries / 2 + 1, names, 1, true}));
    return volumes;
}

// --- Comparing with the plain merge -------------------------------------------------------------

/// Hits by volume; null for a hidden one.
using Hits = std::vector<std::unique_ptr<HitSet>>;

/// One live entry in so many; roots may be among them.
Hits randomHits(const Volumes& volumes, Random& random, std::uint32_t oneIn) {
    Hits hits;
    for (const auto& index : volumes.indexes) {
        std::vector<EntryId> ids;
        for (EntryId id = 0; id < index->count(); ++id)
            if (below(random, oneIn) == 0 && (index->flags(id) & EntryFlags::deleted) == 0)
                ids.push_back(id);
        hits.push_back(
            std::make_unique<HitSet>(HitSet{index->hitBitset(ids), index->count(), ids.size()}));
    }
    return hits;
}

std::vector<const HitSet*> pointers(const Hits& hits) {
    std::vector<const HitSet*> out;
    for (const auto& set : hits)
        out.push_back(set.get());
    return out;
}

/// All hits in order, by each volume's order and the merge.
std::vector<Row> plainlyMerged(const Volumes& volumes, const Hits& hits, bool desc) {
    std::vector<std::vector<EntryId>> lists(hits.size());
    for (std::size_t v = 0; v < hits.size(); ++v)
        if (hits[v] != nullptr)
            lists[v] = volumes.indexes[v]->ordered(*hits[v], SortKey::name, {.descending = desc});
    return merge(volumes.indexes, lists, SortKey::name, {.desc = desc});
}

/// Compares every direction and limit with the plain merge. Returns how often the order served.
int checkHits(const GlobalOrder& order, const Volumes& volumes, const Hits& hits) {
    int served = 0;
    for (const bool desc : {false, true}) {
        const std::vector<Row> all = plainlyMerged(volumes, hits, desc);
        for (const std::size_t limit : {std::size_t{0}, std::size_t{1}, std::size_t{200},
                                        all.size() / 2, all.size(), all.size() + 99}) {
            const auto rows =
                order.mergeGlobal(pointers(hits), volumes.indexes, {.desc = desc, .limit = limit});
            if (!rows)
                continue;
            const std::vector<Row> want(all.begin(), all.begin() + std::min(limit, all.size()));
            const auto at = std::ranges::mismatch(want, *rows).in1 - want.begin();
            EXPECT_TRUE(want == *rows) << (desc ? "descending, limit " : "limit ") << limit
                                       << " of " << all.size() << ": row " << at << " differs";
            ++served;
        }
    }
    return served;
}

/// The same for several densities, once with a volume hidden.
void checkOrder(const GlobalOrder& order, const Volumes& volumes, Random& random) {
    for (const std::uint32_t oneIn : {1U, 2U, 5U, 60U, 2'000U}) {
        SCOPED_TRACE("one entry in " + std::to_string(oneIn));
        Hits hits = randomHits(volumes, random, oneIn);
        const int served = checkHits(order, volumes, hits);
        EXPECT_TRUE(oneIn > 5 || served >= 6) << "only " << served << " cases";
        hits[below(random, 2)] = nullptr;
        checkHits(order, volumes, hits);
    }
}

const std::pair<Names, std::uint32_t> kinds[] = {{Names::fewWords, 9},
                                                 {Names::fewWords, 9'000},
                                                 {Names::anyBytes, 4'000},
                                                 {Names::longPrefixes, 3'000}};

// --- Rows ---------------------------------------------------------------------------------------

TEST(GlobalOrderTest, RowsAreThoseOfThePlainMergeAlsoWhileEntriesComeAndGo) {
    Random random(2);
    for (const auto& [names, entries] : kinds) {
        const Volumes volumes = randomVolumes(random, names, entries);
        const auto order = GlobalOrder::build(volumes.indexes);
        ASSERT_NE(order, nullptr);
        for (int round = 0; round < 4; ++round) {
            ASSERT_TRUE(order->isUsable(volumes.indexes));
            if (entries > 100)
                checkOrder(*order, volumes, random);
            else
                checkHits(*order, volumes, randomHits(volumes, random, 1));
            for (std::size_t v = 0; v < volumes.indexes.size(); ++v) {
                const std::uint32_t count = volumes.indexes[v]->count();
                std::vector<PlainEntry> added;
                for (std::uint32_t i = 0; i < 1 + count / 200; ++i)
                    added.push_back({randomName(random, names), below(random, count)});
                volumes.append(v, added);
                for (std::uint32_t i = 0; i < count / 50; ++i)
                    volumes.indexes[v]->markDeleted(1 + below(random, count - 1));
            }
        }
    }
}

TEST(GlobalOrderTest, HitsOfAnOlderSearchAreOrderedByANewerOrder) {
    Random random(3);
    const Volumes volumes = randomVolumes(random, Names::fewWords, 700);
    const Hits hits = randomHits(volumes, random, 2);
    for (std::size_t v = 0; v < volumes.indexes.size(); ++v)
        volumes.append(v, std::vector<PlainEntry>(3'000, {"new", 0}));
    const auto order = GlobalOrder::build(volumes.indexes);
    EXPECT_GT(checkHits(*order, volumes, hits), 0);
}

TEST(GlobalOrderTest, LongOrdersAreMadeWalkedAndSavedInPartsWithoutSeams) {
    Random random(4);
    Volumes volumes;
    // One name all over, runs of a few names, and names that are told apart late.
    for (std::uint32_t v = 0; v < 3; ++v) {
        std::vector<PlainEntry> entries = {root};
        for (std::uint32_t i = 0; i < 150'000; ++i) {
            const std::string number = std::to_string(below(random, 30'000));
            entries.push_back({i % 3 == 0   ? "the same"
                               : i % 3 == 1 ? "the same" + number
                                            : number,
                               0});
        }
        volumes.add(entries);
    }
    const auto order = GlobalOrder::build(volumes.indexes);
    EXPECT_EQ(order->count(), 450'000U);
    for (const std::uint32_t oneIn : {1U, 3U, 300U})
        checkHits(*order, volumes, randomHits(volumes, random, oneIn));

    const TempTree files; // in which it stands in several pieces
    ASSERT_TRUE(order->persisted().writeCache(files.path("a.ord")));
    const auto loaded = GlobalOrder::load(files.path("a.ord"), volumes.indexes);
    ASSERT_NE(loaded, nullptr);
    for (std::size_t i = 0; i < order->count(); ++i)
        ASSERT_EQ(order->row(i), loaded->row(i));
}

TEST(GlobalOrderTest, FewRowsAreLeftToTheVolumesOwnOrders) {
    Random random(6);
    Volumes volumes;
    for (int v = 0; v < 2; ++v)
        volumes.add(randomEntries(random, {30'000, Names::longPrefixes}));
    const auto order = GlobalOrder::build(volumes.indexes);
    const auto serves = [&](std::uint32_t oneIn, std::size_t limit) {
        const Hits hits = randomHits(volumes, random, oneIn);
        return order->mergeGlobal(pointers(hits), volumes.indexes, {.limit = limit}).has_value();
    };
    EXPECT_TRUE(serves(20, 100'000));
    EXPECT_FALSE(serves(1'000, 100'000)) << "few hits";
    EXPECT_TRUE(serves(1, 20'000));
    EXPECT_FALSE(serves(1, 200)) << "a first screen";
}

// --- When it may be used ------------------------------------------------------------------------

TEST(GlobalOrderTest, IsUsableForItsOwnCataloguesInTheirPositionsAlone) {
    Random random(5);
    const Volumes volumes = randomVolumes(random, Names::fewWords, 100);
    const auto order = GlobalOrder::build(volumes.indexes);
    auto others = volumes.indexes;
    std::swap(others[0], others[1]);
    EXPECT_FALSE(order->isUsable(others));
    others = volumes.indexes;
    others.pop_back();
    EXPECT_FALSE(order->isUsable(others));
    Volumes again; // a catalogue with the store id of another one, as read from an older file
    again.add({root}, volumes.indexes[2]->storeID());
    others = volumes.indexes;
    others[2] = again.indexes[0];
    EXPECT_FALSE(order->isUsable(others));
    EXPECT_TRUE(order->isUsable(volumes.indexes));
    EXPECT_FALSE(GlobalOrder::build({})->isUsable(volumes.indexes));
    EXPECT_TRUE(GlobalOrder::build({})->isUsable({}));
}

TEST(GlobalOrderTest, IsOutgrownPastTheBoundOfOneCataloguesOrder) {
    Volumes volumes;
    volumes.add({root});
    volumes.add({root});
    const auto order = GlobalOrder::build(volumes.indexes);
    volumes.append(0, std::vector<PlainEntry>(15'000, {"n", 0}));
    volumes.append(1, std::vector<PlainEntry>(5'000, {"n", 0}));
    EXPECT_FALSE(order->isOutgrown(volumes.indexes));
    volumes.append(1, {{"n", 0}});
    EXPECT_TRUE(order->isOutgrown(volumes.indexes));
    Random random(13);
    const Hits hits = randomHits(volumes, random, 1);
    EXPECT_FALSE(order->mergeGlobal(pointers(hits), volumes.indexes, {}).has_value())
        << "nearly all hits are newer";
}

TEST(GlobalOrderTest, BuildingLoadingAndMergingCanBeCancelled) {
    Random random(7);
    const TempTree files;
    const Volumes volumes = randomVolumes(random, Names::fewWords, 300);
    ASSERT_TRUE(GlobalOrder::build(volumes.indexes)->persisted().writeCache(files.path("a.ord")));
    const std::function<std::shared_ptr<const GlobalOrder>(const GlobalOrder::IsStale&)> makers[] =
        {[&](const auto& isStale) { return GlobalOrder::build(volumes.indexes, isStale); },
         [&](const auto& isStale) {
             return GlobalOrder::load(files.path("a.ord"), volumes.indexes, isStale);
         }};
    for (const auto& make : makers) {
        int questions = 1;
        for (bool isCancelled = true; isCancelled && questions < 100; ++questions) {
            std::atomic<int> left = questions;
            isCancelled = make([&] { return --left == 0; }) == nullptr;
        }
        EXPECT_GT(questions, 3);
        EXPECT_LT(questions, 100) << "never made";
    }
    const Hits hits = randomHits(volumes, random, 1);
    const auto overtaken =
        GlobalOrder::build(volumes.indexes)
            ->mergeGlobal(pointers(hits), volumes.indexes, {.isStale = [] { return true; }});
    EXPECT_EQ(overtaken, std::vector<Row>());
}

// --- Its file -----------------------------------------------------------------------------------

TEST(GlobalOrderFileTest, ALoadedOrderIsTheSavedOne) {
    Random random(11);
    const TempTree files;
    for (const auto& [names, entries] : kinds) {
        const Volumes volumes = randomVolumes(random, names, entries);
        const auto saved = GlobalOrder::build(volumes.indexes);
        for (const auto& index : volumes.indexes) // of no concern to the order
            index->markDeleted(index->count() - 1);
        volumes.append(1, {{"newer", 0}, {"a", 0}});
        ASSERT_TRUE(saved->persisted().writeCache(files.path("a.ord")));
        const auto loaded = GlobalOrder::load(files.path("a.ord"), volumes.indexes);
        ASSERT_NE(loaded, nullptr);
        EXPECT_TRUE(loaded->isUsable(volumes.indexes));
        EXPECT_EQ(saved->ks(), loaded->ks());
        EXPECT_EQ(saved->persisted().bytes, loaded->persisted().bytes);
        if (entries > 100)
            checkOrder(*loaded, volumes, random);
    }
}

TEST(GlobalOrderFileTest, BytesAreThoseOfTheDescription) {
    Volumes volumes;
    volumes.add({root, {"b", 0}, {"a", 0}}, 7);
    volumes.add({root, {"B", 0}}, 8);
    const std::string bytes = GlobalOrder::build(volumes.indexes)->persisted().bytes;
    const auto word = [&](std::size_t i) { return loadLE<std::uint64_t>(bytes.data() + 8 * i); };
    ASSERT_EQ(bytes.size(), 14 * 8U);
    EXPECT_EQ(bytes.substr(0, 8), "QRDXORD1");
    EXPECT_EQ(checksum64("The quick brown fox jumps over the lazy dog.", 32, 5),
              0xA72CF33655E252AC);
    const std::vector<std::uint64_t> head = {2, 3, 7, 3};
    for (std::size_t i = 0; i < head.size(); ++i)
        EXPECT_EQ(head[i], word(1 + i)) << i;
    const std::string names("/root\0b\0a\0/root\0b\0", 18);
    EXPECT_EQ(word(5), checksum64(names.data(), 10));
    EXPECT_EQ(word(6), 8U);
    EXPECT_EQ(word(7), 2U);
    EXPECT_EQ(word(8), checksum64(names.data() + 10, 8));
    const std::vector<Row> rows = {makeRow(0, 2), makeRow(0, 1), makeRow(1, 1)};
    for (std::size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(rows[i], word(9 + i)) << i;
    EXPECT_EQ(word(12), 4U) << "row 2 has the name of row 1";
    std::uint64_t sum = 0;
    for (const auto& [begin, end] : {std::pair{0, 24}, {24, 72}, {72, 96}, {96, 104}})
        sum = checksum64(bytes.data() + begin, static_cast<std::size_t>(end - begin), sum);
    EXPECT_EQ(word(13), sum);
}

/// Three small volumes and the file of their order.
struct Saved {
    Saved() {
        Random random(12);
        volumes = randomVolumes(random, Names::fewWords, 20);
        EXPECT_TRUE(GlobalOrder::build(volumes.indexes)->persisted().writeCache(path));
        bytes = readBytes(path);
    }

    [[nodiscard]] bool loads(std::string_view contents) const {
        writeBytes(path, contents);
        return GlobalOrder::load(path, volumes.indexes) != nullptr;
    }

    /// The bytes with a checksum that is right, and another value at `offset`.
    [[nodiscard]] std::string resealed(std::size_t offset, std::uint64_t value) const {
        std::string out = bytes;
        storeLE(out.data() + offset, value);
        const std::size_t rows = loadLE<std::uint64_t>(bytes.data() + 16);
        const std::size_t cuts[] = {0, 24, firstRow, firstRow + 8 * rows, bytes.size() - 8};
        std::uint64_t sum = 0;
        for (std::size_t i = 0; i + 1 < std::size(cuts); ++i)
            sum = checksum64(out.data() + cuts[i], cuts[i + 1] - cuts[i], sum);
        storeLE(out.data() + bytes.size() - 8, sum);
        return out;
    }

    static constexpr std::size_t firstRow = 24 + 4 * 24;
    TempTree files;
    std::string path = files.path("a.ord");
    Volumes volumes;
    std::string bytes;
};

TEST(GlobalOrderFileTest, NothingButTheFileAsItWasSavedIsUsed) {
    const Saved saved;
    for (std::size_t length = 0; length < saved.bytes.size(); ++length)
        EXPECT_FALSE(saved.loads(saved.bytes.substr(0, length))) << length;
    EXPECT_FALSE(saved.loads(saved.bytes + '\0'));
    for (std::size_t at = 0; at < saved.bytes.size(); ++at)
        for (const int bit : {0, 3, 7}) {
            std::string bytes = saved.bytes;
            bytes[at] = static_cast<char>(bytes[at] ^ 1 << bit);
            EXPECT_FALSE(saved.loads(bytes)) << "byte " << at << ", bit " << bit;
        }
    for (const char* path : {"none.ord", ""})
        EXPECT_EQ(GlobalOrder::load(saved.files.path(path), saved.volumes.indexes), nullptr);
    EXPECT_TRUE(saved.loads(saved.bytes));
}

TEST(GlobalOrderFileTest, AContradictionUnderARightChecksumIsNotUsed) {
    const Saved saved;
    const auto word = [&](std::size_t offset) {
        return loadLE<std::uint64_t>(saved.bytes.data() + offset);
    };
    const std::size_t row = Saved::firstRow;
    ASSERT_TRUE(saved.loads(saved.resealed(row, word(row))));

    const std::tuple<const char*, std::size_t, std::uint64_t> cases[] = {
        {"other magic", 0, word(0) + 1},
        {"a volume more", 8, 5},
        {"a row fewer", 16, word(16) - 1},
        {"rows that wrap around to the right size", 16, word(16) + (std::uint64_t{1} << 61)},
        {"another store id", 24, 1},
        {"fewer entries of a volume", 32, word(32) - 1},
        {"more entries than the volume holds", 32, word(32) + 1},
        {"more entries than 32 bits", 32, word(32) + (std::uint64_t{1} << 32)},
        {"other names", 40, word(40) + 1},
        {"an id too high", row, makeRow(0, static_cast<EntryId>(word(32)))},
        {"a volume too high", row, makeRow(4, 1)},
        {"a row twice", row, word(row + 8)},
        {"a root", row, makeRow(0, 0)},
    };
    for (const auto& [what, offset, value] : cases)
        EXPECT_FALSE(saved.loads(saved.resealed(offset, value))) << what;
}

TEST(GlobalOrderFileTest, AnOrderOfOtherNamesIsNotUsed) {
    // The catalogue was read from a file older than the order, and has gone on differently since.
    const TempTree files;
    const std::string path = files.path("a.ord");
    for (const char* other : {"c", "x", "cc"}) {
        Volumes before;
        before.add({root, {"a", 0}, {"b", 0}}, 5);
        Volumes after;
        after.add({root, {"a", 0}}, 5);
        ASSERT_TRUE(GlobalOrder::build(before.indexes)->persisted().writeCache(path));
        EXPECT_EQ(GlobalOrder::load(path, after.indexes), nullptr) << "entries are missing";
        after.append(0, {{other, 0}});
        EXPECT_EQ(GlobalOrder::load(path, after.indexes), nullptr) << other;
    }
}

} // namespace
} // namespace quarrydex
