#include "QuarrydexCore/catalog/KeptOrders.h"
#include "QuarrydexCore/catalog/NameOrder.h"
#include "QuarrydexCore/catalog/OrderedHits.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"

#include "tests/support/RandomCatalog.h"

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

using namespace quarrydex::testing;

// --- Comparing with the obvious way -------------------------------------------------------------

HitSet hitsOf(const VolumeIndex& index, const std::vector<EntryId>& ids) {
    HitSet hits;
    hits.bits = index.hitBitset(ids);
    hits.entries = index.count();
    hits.count = countBits(hits.bits);
    return hits;
}

/// Hit sets of different density and place; `order` is the key's order.
std::vector<HitSet>
hitSets(const VolumeIndex& index, Random& random, const std::vector<EntryId>& order) {
    const auto n = static_cast<std::uint32_t>(order.size());
    std::vector<HitSet> sets;
    for (const std::uint32_t oneIn : {1U, 2U, 30U, 900U}) {
        std::vector<EntryId> ids;
        for (EntryId id : order)
            if (below(random, oneIn) == 0 && (index.flags(id) & EntryFlags::deleted) == 0)
                ids.push_back(id);
        sets.push_back(hitsOf(index, ids));
    }
    sets.push_back(hitsOf(index, {order.end() - n / 20, order.end()}));
    sets.push_back(hitsOf(index, {order.begin(), order.begin() + n / 20}));
    std::vector<EntryId> withRoots(order.begin(), order.begin() + n / 7);
    std::vector<EntryId> firstInWord;
    for (EntryId id = 0; id < index.count(); ++id) {
        if ((index.flags(id) & EntryFlags::root) != 0)
            withRoots.push_back(id);
        else if (id % 320 == 0)
            firstInWord.push_back(id);
    }
    sets.push_back(hitsOf(index, withRoots));
    sets.push_back(hitsOf(index, firstInWord));
    return sets;
}

std::vector<EntryId>
expected(const std::vector<EntryId>& order, const HitSet& hits, std::size_t limit) {
    std::vector<EntryId> ids;
    for (EntryId id : order)
        if (hits.has(id) && ids.size() < limit)
            ids.push_back(id);
    return ids;
}

/// Compares every key, direction, density and limit with the obvious way.
void checkOrdered(const Catalog& catalog, Random& random) {
    const VolumeIndex& index = *catalog.index;
    const Reference reference(index);
    for (SortKey key : allSortKeys) {
        const std::optional<PermEntry> kept = index.usablePerm(key);
        for (bool descending : {false, true}) {
            const std::vector<EntryId> order = reference.order(key, descending);
            for (const HitSet& hits : hitSets(index, random, order)) {
                for (std::size_t limit : {std::size_t{0}, std::size_t{1}, std::size_t{50},
                                          hits.count / 2, hits.count, hits.count + 9}) {
                    const std::vector<EntryId> want = expected(order, hits, limit);
                    const std::string what =
                        std::string(rawValue(key)) + (descending ? " descending, " : ", ") +
                        std::to_string(hits.count) + " hits, limit " + std::to_string(limit);
                    ASSERT_EQ(want, index.ordered(hits, key, {descending, limit})) << what;
                    ASSERT_EQ(want, index.ordered(hits, key, {descending, limit, 0}))
                        << what << ", by the kept order";
                    if (!kept || !kept->rank)
                        continue;
                    PermEntry unranked = *kept;
                    unranked.rank = nullptr;
                    for (std::size_t direct : {std::size_t{0}, std::size_t{300'000}})
                        ASSERT_EQ(want, orderedHits(index.base(), hits,
                                                    {key, descending, limit, direct}, &unranked))
                            << what << ", without ranks, direct sort up to " << direct;
                }
            }
        }
    }
}

const Shape shapes[] = {
    {2, Names::fewWords},
    {70, Names::anyBytes},
    {300, Names::fewWords, 3},
    {5'000, Names::fewWords, 2},
    {1'500, Names::anyBytes, 1},
    {1'500, Names::longPrefixes, 1},
    {500, Names::fewWords, 2, true},
};

// --- Orders and their use -----------------------------------------------------------------------

TEST(OrderTest, KeptOrdersAgreeWithPlainComparisons) {
    Random random(1);
    for (const Shape& shape : shapes) {
        const Catalog catalog(randomEntries(random, shape));
        catalog.buildOrders();
        const VolumeIndex& index = *catalog.index;
        const Reference reference(index);
        for (SortKey key : allSortKeys) {
            SCOPED_TRACE(std::string(rawValue(key)) + " of " + std::to_string(shape.entries));
            const PermEntry kept = index.usablePerm(key).value();
            const std::span<const EntryId> rows = kept.perm.ids();
            const std::vector<EntryId> ids(rows.begin(), rows.end());
            ASSERT_EQ(reference.order(key, false), ids);
            ASSERT_EQ(kept.covers, index.count());
            ASSERT_EQ(kept.rank != nullptr, key == SortKey::name);
            const auto less = index.comparator(key);
            for (std::size_t row = 1; row < ids.size(); ++row) {
                ASSERT_TRUE(less(ids[row - 1], ids[row]) && !less(ids[row], ids[row - 1]));
                const bool isEqual = reference.compare(ids[row - 1], ids[row], key) == 0;
                ASSERT_EQ(isEqual, kept.equalToPrevious && testBit(*kept.equalToPrevious, row));
                ASSERT_TRUE(!kept.rank || (*kept.rank)[ids[row]] == row);
            }
        }
    }
}

TEST(OrderTest, HitsComeInOrderWithAndWithoutKeptOrders) {
    Random random(2);
    for (const Shape& shape : shapes) {
        const Catalog catalog(randomEntries(random, shape));
        checkOrdered(catalog, random);
        catalog.buildOrders();
        checkOrdered(catalog, random);
    }
}

TEST(OrderTest, NewAndMovedHitsAreMergedIn) {
    Random random(4);
    for (const Shape& shape : shapes) {
        for (std::uint32_t share : {100U, 3U}) { // one in so many entries is uncovered
            const Catalog catalog(randomEntries(random, shape));
            catalog.buildOrders();
            for (EntryId id = shape.roots; id < shape.entries; ++id)
                if (below(random, share) == 0)
                    for (SortKey key : {SortKey::size, SortKey::date, SortKey::created})
                        catalog.change(key, id, randomSize(random));
            std::vector<PlainEntry> added;
            for (std::uint32_t i = 0; i <= shape.entries / share; ++i)
                added.push_back({randomName(random, shape.names), below(random, shape.entries), 0,
                                 randomSize(random), 7, 1'500'000'000 + below(random, 40)});
            appendAll(catalog.store, added);
            checkOrdered(catalog, random);
        }
    }
}

TEST(OrderTest, HitsOfAnOlderSearchAreOrderedByANewerOrder) {
    Random random(5);
    const Catalog catalog(randomEntries(random, {700, Names::fewWords}));
    const HitSet hits = hitsOf(*catalog.index, {699, 5, 640, 64});
    appendAll(catalog.store, std::vector<PlainEntry>(5'000, {"new", 0}));
    catalog.buildOrders();
    const Reference reference(*catalog.index);
    for (SortKey key : allSortKeys)
        for (bool descending : {false, true})
            EXPECT_EQ(expected(reference.order(key, descending), hits, 9),
                      catalog.index->ordered(hits, key, {descending}));
}

TEST(OrderTest, LongRunsOfEqualKeysKeepAscendingIdsInBothDirections) {
    // Runs that span words, chunks and tasks of a walk.
    constexpr std::uint32_t entries = 150'000;
    std::vector<PlainEntry> plain = {{"/", noParent, EntryFlags::dir | EntryFlags::root}};
    for (std::uint32_t i = 1; i < entries; ++i)
        plain.push_back({"x", 0, 0, i % 20'000 == 0 ? 1U : 5U, i < 100'000 ? 9U : i, i / 70});
    const Catalog catalog(plain);
    catalog.buildOrders();
    const VolumeIndex& index = *catalog.index;
    constexpr std::pair<EntryId, EntryId> firstAndStep[] = {{1, 1}, {1, 3}, {1, 90}, {131'000, 1}};
    for (const auto& [first, step] : firstAndStep) {
        std::vector<EntryId> ids;
        for (EntryId id = first; id < entries; id += step)
            ids.push_back(id);
        const HitSet hits = hitsOf(index, ids);
        for (SortKey key : {SortKey::name, SortKey::size, SortKey::date, SortKey::created}) {
            for (bool descending : {false, true}) {
                std::vector<EntryId> want = ids;
                std::ranges::stable_sort(want, [&](EntryId a, EntryId b) {
                    return descending ? index.less(b, index, a, key) : index.less(a, index, b, key);
                });
                ASSERT_EQ(want, index.ordered(hits, key, {descending, hits.count, 0}));
                want.resize(1'000);
                ASSERT_EQ(want, index.ordered(hits, key, {descending, 1'000, 0}));
            }
        }
    }
}

TEST(OrderTest, ManyNamesAreSplitBetweenThreads) {
    constexpr std::uint32_t entries = 100'000; // more than one thread takes at a time
    const auto nameOf = [](std::uint32_t kind, std::uint32_t i) {
        const std::string number = std::to_string(i * 7919 % 1'000);
        switch (kind) {
        case 0:
            return number + std::string(i % 3, 'x');
        case 1:
            return "the same" + number; // differ from the second chunk on
        default:
            return std::string("sixteen bytes, a"); // all equal, ending with a chunk
        }
    };
    for (std::uint32_t kind = 0; kind < 3; ++kind) {
        std::vector<PlainEntry> plain;
        for (std::uint32_t i = 0; i < entries; ++i)
            plain.push_back({nameOf(kind, i), noParent});
        const Catalog catalog(plain);
        const Reference reference(*catalog.index);
        const std::vector<EntryId> order = reference.order(SortKey::name, false);
        const NameChunks names(catalog.index->base(), entries);
        for (const RowWindow window :
             {RowWindow{0, entries}, RowWindow{0, 50}, RowWindow{entries - 1'000, entries - 1}}) {
            std::vector<EntryId> ids(order);
            std::sort(ids.begin(), ids.end());
            EqualRows equal(entries);
            sortByName(names, ids, &equal, 3, window);
            for (std::size_t row = window.begin; row < window.end; ++row) {
                const bool isEqual =
                    row > 0 && reference.compare(order[row - 1], order[row], SortKey::name) == 0;
                ASSERT_EQ(order[row], ids[row]) << "kind " << kind << ", row " << row;
                ASSERT_EQ(isEqual, testBit(equal.words(), row)) << "kind " << kind;
            }
        }
    }
}

TEST(OrderTest, LessComparesAcrossCataloguesWithoutTieBreak) {
    const PlainEntry root = {"/r", noParent, EntryFlags::dir | EntryFlags::root};
    const auto a = catalogOf({root, {"Beta", 0, 0, 1, 8, 3}});
    const auto b = catalogOf({root, {"beta", 0, 0, 2, 8, 2}, {"gamma", 0, 0, 1, 9, 3}});
    EXPECT_FALSE(a->less(1, *b, 1, SortKey::name)) << "equal is not less";
    EXPECT_TRUE(a->less(1, *b, 2, SortKey::path));
    EXPECT_FALSE(b->less(2, *a, 1, SortKey::name));
    EXPECT_TRUE(a->less(1, *b, 1, SortKey::size));
    EXPECT_FALSE(a->less(1, *b, 1, SortKey::date));
    EXPECT_TRUE(a->less(1, *b, 2, SortKey::date));
    EXPECT_TRUE(b->less(1, *a, 1, SortKey::created));
}

// --- Which orders may be used -------------------------------------------------------------------

TEST(KeptOrdersTest, AnOrderIsUsableUpToItsBoundOfStaleEntries) {
    struct Case {
        std::uint32_t count;
        std::uint32_t covers;
        std::size_t moved;
        bool isUsable;
    };

    const Case cases[] = {
        {200'000, 200'000, 25'000, true},  {200'000, 200'000, 25'001, false},
        {200'000, 175'000, 0, true},       {200'000, 174'999, 0, false},
        {200'000, 190'000, 15'001, false}, {100'000, 100'000, 20'000, true},
        {159'999, 139'999, 1, false},      {160'000, 139'999, 0, false},
        {160'008, 160'008, 20'001, true},  {5, 0, 0, true},
    };
    for (const Case& c : cases) {
        PermEntry entry;
        entry.covers = c.covers;
        entry.movedCount = c.moved;
        EXPECT_EQ(c.isUsable, KeptOrders::isUsable(entry, c.count))
            << c.count << " entries, " << c.covers << " covered, " << c.moved << " moved";
    }
}

PermEntry coveringOrder(std::uint32_t covers) {
    PermEntry entry;
    entry.covers = covers;
    return entry;
}

std::vector<std::size_t> movedIn(const PermEntry& entry) {
    std::vector<std::size_t> ids;
    if (entry.moved)
        forEachBit(*entry.moved, [&](std::size_t id) { ids.push_back(id); });
    EXPECT_EQ(entry.movedCount, ids.size());
    return ids;
}

using Ids = std::vector<EntryId>;
using Bits = std::vector<std::size_t>;

TEST(KeptOrdersTest, MovesCountOnceAndOnlyBelowTheCover) {
    KeptOrders orders;
    orders.markMoved(SortKey::size, Ids{1}); // no order yet: nothing to note
    orders.beginBuild(SortKey::size);
    orders.install(SortKey::size, coveringOrder(100));
    EXPECT_EQ(movedIn(*orders.usable(SortKey::size, 100)), Bits{});
    orders.markMoved(SortKey::size, Ids{7, 7, 99, 100, 4'000'000'000});
    orders.markMoved(SortKey::size, Ids{99, 64});
    orders.markMoved(SortKey::date, Ids{3});
    EXPECT_EQ(movedIn(*orders.usable(SortKey::size, 100)), (Bits{7, 64, 99}));
}

TEST(KeptOrdersTest, WhatWasHandedOutNeverChanges) {
    KeptOrders orders;
    orders.beginBuild(SortKey::date);
    orders.install(SortKey::date, coveringOrder(100));
    orders.markMoved(SortKey::date, Ids{1});
    const PermEntry before = *orders.usable(SortKey::date, 100);
    orders.markMoved(SortKey::date, Ids{2});
    orders.markMoved(SortKey::date, Ids{3});
    EXPECT_EQ(movedIn(before), (Bits{1}));
    EXPECT_EQ(movedIn(*orders.usable(SortKey::date, 100)), (Bits{1, 2, 3}));
}

TEST(KeptOrdersTest, MovesDuringABuildCountInTheNewOrder) {
    KeptOrders orders;
    orders.beginBuild(SortKey::size);
    orders.install(SortKey::size, coveringOrder(10));
    orders.markMoved(SortKey::size, Ids{1});
    orders.beginBuild(SortKey::size);
    orders.markMoved(SortKey::size, Ids{2, 30});
    EXPECT_EQ(movedIn(*orders.usable(SortKey::size, 10)), (Bits{1, 2})) << "the old one, meanwhile";
    orders.install(SortKey::size, coveringOrder(40));
    EXPECT_EQ(movedIn(*orders.usable(SortKey::size, 40)), (Bits{2, 30}));

    // Two builds at once: what moves between their beginnings is new to the first.
    orders.beginBuild(SortKey::size);
    orders.markMoved(SortKey::size, Ids{3});
    orders.beginBuild(SortKey::size);
    orders.markMoved(SortKey::size, Ids{4});
    orders.install(SortKey::size, coveringOrder(40));
    EXPECT_EQ(movedIn(*orders.usable(SortKey::size, 40)), (Bits{3, 4}));
    orders.markMoved(SortKey::size, Ids{5});
    orders.install(SortKey::size, coveringOrder(40));
    const Bits moved = movedIn(*orders.usable(SortKey::size, 40));
    EXPECT_TRUE(std::ranges::includes(moved, Bits{4, 5}));

    orders.beginBuild(SortKey::size);
    orders.install(SortKey::size, coveringOrder(40));
    EXPECT_EQ(movedIn(*orders.usable(SortKey::size, 40)), Bits{}) << "nothing is left behind";
}

TEST(KeptOrdersTest, StaleKeysComeInCaseOrder) {
    KeptOrders orders;
    for (SortKey key : {SortKey::date, SortKey::name, SortKey::created}) {
        orders.beginBuild(key);
        orders.install(key, coveringOrder(key == SortKey::name ? 5'000 : 0));
    }
    EXPECT_EQ(orders.stale(20'000), (std::vector<SortKey>{}));
    EXPECT_EQ(orders.stale(20'001), (std::vector{SortKey::date, SortKey::created}));
    EXPECT_EQ(orders.stale(std::nullopt),
              (std::vector{SortKey::name, SortKey::date, SortKey::created}));
    EXPECT_FALSE(orders.usable(SortKey::date, 20'001).has_value());
    EXPECT_FALSE(orders.usable(SortKey::path, 1).has_value());
}

TEST(KeptOrdersTest, RanksGoToTheOrderTheyWereMadeFor) {
    KeptOrders orders;
    PermEntry first = coveringOrder(2);
    first.perm = Perm({0, 1});
    PermEntry second = coveringOrder(2);
    second.perm = Perm({1, 0});
    const Perm firstPerm = first.perm;
    const auto rank = std::make_shared<const std::vector<std::uint32_t>>(2);
    orders.beginBuild(SortKey::name);
    orders.install(SortKey::name, std::move(first));
    orders.beginBuild(SortKey::name);
    orders.install(SortKey::name, second);
    orders.setRanks(firstPerm, rank);
    EXPECT_EQ(orders.usable(SortKey::name, 2)->rank, nullptr);
    orders.setRanks(second.perm, rank);
    EXPECT_EQ(orders.usable(SortKey::name, 2)->rank, rank);
}

// --- While things change ------------------------------------------------------------------------

TEST(OrderTest, ChangesDuringBuildsAndSearchesLeaveNoWrongOrder) {
    Random random(8);
    constexpr std::uint32_t entries = 10'000;
    const Catalog catalog(randomEntries(random, {entries, Names::fewWords}));
    std::vector<EntryId> all;
    for (EntryId id = 1; id < entries; ++id)
        all.push_back(id);
    const HitSet hits = hitsOf(*catalog.index, all);

    std::atomic<bool> isDone{false};
    std::thread changer([&] {
        Random own(9);
        for (std::uint32_t i = 0; !isDone; ++i) {
            catalog.change(SortKey::size, 1 + below(own, entries - 1), randomSize(own));
            if (i % 64 == 0 && catalog.index->count() < entries + 5'000)
                appendAll(catalog.store, {{randomName(own, Names::fewWords), 0}});
        }
    });
    std::thread searcher([&] {
        while (!isDone)
            for (SortKey key : {SortKey::size, SortKey::name})
                for (std::size_t limit : {std::size_t{20}, std::size_t{entries}})
                    EXPECT_EQ(catalog.index->ordered(hits, key, {true, limit}).size(),
                              std::min<std::size_t>(limit, hits.count));
    });
    for (int i = 0; i < 20; ++i) {
        catalog.index->rebuildPermutation(SortKey::size);
        catalog.index->rebuildPermutation(SortKey::name);
    }
    isDone = true;
    changer.join();
    searcher.join();

    const std::vector<EntryId> order =
        expected(Reference(*catalog.index).order(SortKey::size, false), hits, entries);
    EXPECT_EQ(order, catalog.index->ordered(hits, SortKey::size, {}));
    EXPECT_EQ(order, catalog.index->ordered(hits, SortKey::size, {.directSortLimit = 0}));
}

} // namespace
} // namespace quarrydex
