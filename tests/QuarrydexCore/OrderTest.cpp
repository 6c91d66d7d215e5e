#include "QuarrydexCore/catalog/KeptOrders.h"
#include "QuarrydexCore/catalog/NameOrder.h"
#include "QuarrydexCore/catalog/OrderedHits.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"

#include "tests/support/PlainCatalog.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <tuple>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

using testing::PlainEntry;
using Random = std::mt19937;

std::uint32_t below(Random& random, std::uint32_t bound) {
    return std::uniform_int_distribution<std::uint32_t>(0, bound - 1)(random);
}

// --- Catalogues ---------------------------------------------------------------------------------

/// What a random catalogue's names look like.
enum class Names { fewWords, anyBytes, longPrefixes };

std::string randomName(Random& random, Names kind) {
    switch (kind) {
    case Names::fewWords: {
        static const char* const words[] = {"a",          "A",       "b",        "readme",
                                            "README.md",  "café",    "cafe\x01", "cafe",
                                            "index.html", "indexes", "index.htm"};
        return words[below(random, std::size(words))];
    }
    case Names::anyBytes: {
        std::string name;
        for (std::uint32_t i = 0, n = 1 + below(random, 4); i < n; ++i) {
            const auto byte = static_cast<char>(1 + below(random, 255));
            name += byte == '/' ? '\x01' : byte;
        }
        return name;
    }
    case Names::longPrefixes: {
        static const std::string prefix = "a photograph of the very same day ";
        return prefix.substr(0, below(random, 35)) + std::to_string(below(random, 50));
    }
    }
    return "";
}

std::uint64_t randomSize(Random& random) {
    static const std::uint64_t sizes[] = {0,          1,          4096,       0xFFFFFFFE,
                                          0xFFFFFFFF, 1ULL << 32, 1ULL << 40, ~0ULL};
    return below(random, 3) > 0 ? sizes[below(random, std::size(sizes))] : random();
}

struct Shape {
    std::uint32_t entries;
    Names names;
    std::uint32_t roots = 1;
    bool isDeep = false; ///< the newest folder gets most of the children
};

std::vector<PlainEntry> randomEntries(Random& random, const Shape& shape) {
    std::vector<PlainEntry> entries;
    for (std::uint32_t id = 0; id < shape.entries; ++id) {
        PlainEntry entry;
        if (id < shape.roots) {
            entry = {"/root" + std::to_string(shape.roots - id), noParent,
                     EntryFlags::dir | EntryFlags::root};
        } else {
            const std::uint32_t reach = shape.isDeep ? std::min(id, 3U) : id;
            entry = {randomName(random, shape.names),
                     id - 1 - below(random, reach),
                     static_cast<std::uint8_t>(below(random, 20) == 0 ? EntryFlags::deleted : 0),
                     randomSize(random),
                     below(random, 2) == 0 ? 7 : static_cast<std::uint32_t>(random()),
                     1'500'000'000 + below(random, 40)};
        }
        entries.push_back(entry);
    }
    return entries;
}

struct Catalog {
    explicit Catalog(const std::vector<PlainEntry>& entries)
        : store(fidx_new(1 << 20, 1 << 25)), index(VolumeIndex::adopting(store, 1, {})) {
        testing::appendAll(store, entries);
    }

    void buildOrders() const {
        for (SortKey key : allSortKeys)
            index->rebuildPermutation(key);
    }

    void change(SortKey key, EntryId id, std::uint64_t value) const {
        const auto seconds = static_cast<std::uint32_t>(value);
        fidx_set_meta(store, id, key == SortKey::size ? value : index->size(id),
                      key == SortKey::date ? seconds : index->mtime(id),
                      key == SortKey::created ? seconds : index->ctime(id));
        index->markMoved(key, std::span(&id, 1));
    }

    fidx* store; ///< owned by the index
    std::unique_ptr<VolumeIndex> index;
};

// --- The obvious way ----------------------------------------------------------------------------

/// All ids in key order by plain comparisons; equal keys by ascending id, also when descending.
class Reference {
  public:
    explicit Reference(const VolumeIndex& index) : index_(index), chains_(index.count()) {
        for (EntryId id = 0; id < index.count(); ++id) {
            if (const auto parent = index.parent(id))
                chains_[id] = chains_[*parent];
            chains_[id].push_back(id);
        }
    }

    [[nodiscard]] int compare(EntryId a, EntryId b, SortKey key) const {
        const auto threeWay = [](auto x, auto y) { return x < y ? -1 : x > y ? 1 : 0; };
        switch (key) {
        case SortKey::name:
            return names(a, b);
        case SortKey::path:
            return paths(a, b);
        case SortKey::size:
            return threeWay(index_.size(a), index_.size(b));
        case SortKey::date:
            return threeWay(index_.mtime(a), index_.mtime(b));
        case SortKey::created:
            return threeWay(index_.ctime(a), index_.ctime(b));
        }
        return 0;
    }

    [[nodiscard]] std::vector<EntryId> order(SortKey key, bool descending) const {
        std::vector<EntryId> ids;
        for (EntryId id = 0; id < index_.count(); ++id)
            if ((index_.flags(id) & EntryFlags::root) == 0)
                ids.push_back(id);
        std::stable_sort(ids.begin(), ids.end(), [&](EntryId a, EntryId b) {
            return descending ? compare(b, a, key) < 0 : compare(a, b, key) < 0;
        });
        return ids;
    }

  private:
    [[nodiscard]] int names(EntryId a, EntryId b) const {
        const fidx& base = index_.base();
        return std::strcmp(base.folded + base.name_off[a], base.folded + base.name_off[b]);
    }

    [[nodiscard]] int paths(EntryId a, EntryId b) const {
        const std::vector<EntryId>& x = chains_[a];
        const std::vector<EntryId>& y = chains_[b];
        for (std::size_t i = 0; i < std::min(x.size(), y.size()); ++i) {
            if (x[i] == y[i])
                continue;
            const int order = names(x[i], y[i]);
            return order != 0 ? order : x[i] < y[i] ? -1 : 1;
        }
        return x.size() < y.size() ? -1 : x.size() > y.size() ? 1 : 0;
    }

    const VolumeIndex& index_;
    std::vector<std::vector<EntryId>> chains_;
};

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
    for (EntryId root : index.roots())
        withRoots.push_back(root);
    sets.push_back(hitsOf(index, withRoots));
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

TEST(OrderTest, HitsComeInOrderWithoutKeptOrders) {
    Random random(2);
    for (const Shape& shape : shapes)
        checkOrdered(Catalog(randomEntries(random, shape)), random);
}

TEST(OrderTest, HitsComeInOrderByKeptOrders) {
    Random random(3);
    for (const Shape& shape : shapes) {
        const Catalog catalog(randomEntries(random, shape));
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
            testing::appendAll(catalog.store, added);
            checkOrdered(catalog, random);
        }
    }
}

TEST(OrderTest, HitsOfAnOlderSearchAreOrderedByANewerOrder) {
    Random random(5);
    const Catalog catalog(randomEntries(random, {700, Names::fewWords}));
    const HitSet hits = hitsOf(*catalog.index, {699, 5, 640, 64});
    testing::appendAll(catalog.store, std::vector<PlainEntry>(5'000, {"new", 0}));
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
    for (EntryId step : {1U, 3U, 90U}) {
        std::vector<EntryId> ids;
        for (EntryId id = 1; id < entries; id += step)
            ids.push_back(id);
        const HitSet hits = hitsOf(index, ids);
        for (SortKey key : {SortKey::name, SortKey::size, SortKey::date, SortKey::created}) {
            std::vector<EntryId> want = ids;
            std::stable_sort(want.begin(), want.end(),
                             [&](EntryId a, EntryId b) { return index.less(b, index, a, key); });
            ASSERT_EQ(want, index.ordered(hits, key, {.descending = true, .directSortLimit = 0}));
            want.resize(1'000);
            ASSERT_EQ(want, index.ordered(hits, key, {true, 1'000, 0}));
        }
    }
}

TEST(OrderTest, NamesAreOrderedInsideTheAskedWindowOnly) {
    Random random(6);
    const Catalog catalog(randomEntries(random, {100'000, Names::anyBytes}));
    const std::vector<EntryId> order = Reference(*catalog.index).order(SortKey::name, false);
    for (const RowWindow window : {RowWindow{0, 50}, RowWindow{99'000, 99'999}}) {
        std::vector<EntryId> ids(order);
        std::sort(ids.begin(), ids.end());
        const NameChunks names(catalog.index->base(), catalog.index->count());
        sortByName(names, ids, nullptr, 2, window);
        for (std::size_t row = window.begin; row < window.end; ++row)
            ASSERT_EQ(order[row], ids[row]);
    }
}

TEST(OrderTest, LessComparesAcrossCataloguesWithoutTieBreak) {
    const PlainEntry root = {"/r", noParent, EntryFlags::dir | EntryFlags::root};
    const auto a = testing::catalogOf({root, {"Beta", 0, 0, 1, 8, 3}});
    const auto b = testing::catalogOf({root, {"beta", 0, 0, 2, 8, 2}, {"gamma", 0, 0, 1, 9, 3}});
    EXPECT_FALSE(a->less(1, *b, 1, SortKey::name)) << "equal is not less";
    EXPECT_TRUE(a->less(1, *b, 2, SortKey::path));
    EXPECT_FALSE(b->less(2, *a, 1, SortKey::name));
    EXPECT_TRUE(a->less(1, *b, 1, SortKey::size));
    EXPECT_FALSE(a->less(1, *b, 1, SortKey::date));
    EXPECT_TRUE(a->less(1, *b, 2, SortKey::date));
    EXPECT_TRUE(b->less(1, *a, 1, SortKey::created));
}

// --- Damage -------------------------------------------------------------------------------------

TEST(OrderTest, DamagedParentsAndOffsetsEndNoSort) {
    Random random(7);
    Catalog catalog(randomEntries(random, {5'000, Names::fewWords}));
    fidx* store = catalog.store;
    for (EntryId id = 1; id < 5'000; id += 17)
        store->parent[id] = id + below(random, 3) - 1;
    for (EntryId id = 5; id < 5'000; id += 97)
        store->name_off[id] = 0xFFFFFFF0;
    const auto ordered = [&](SortKey key) {
        std::vector<EntryId> ids;
        for (EntryId id = 1; id < 5'000; ++id)
            ids.push_back(id);
        return catalog.index->ordered(hitsOf(*catalog.index, ids), key, {}).size();
    };
    EXPECT_EQ(ordered(SortKey::name), 4'999U);
    EXPECT_EQ(ordered(SortKey::path), 4'999U);
    catalog.buildOrders();
    EXPECT_EQ(ordered(SortKey::path), 4'999U);
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
        {200'000, 200'000, 25'000, true},
        {200'000, 200'000, 25'001, false},
        {200'000, 175'000, 0, true},
        {200'000, 174'999, 0, false},
        {200'000, 190'000, 15'000, true},
        {200'000, 190'000, 15'001, false},
        {100'000, 100'000, 20'000, true},
        {100'000, 100'000, 20'001, false},
        {159'999, 140'000, 1, true},
        {159'999, 139'999, 1, false},
        {160'000, 140'000, 0, true},
        {160'000, 139'999, 0, false},
        {160'007, 160'007, 20'000, true},
        {160'008, 160'008, 20'001, true},
        {5, 0, 0, true},
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
        while (!isDone)
            catalog.change(SortKey::size, 1 + below(own, entries - 1), randomSize(own));
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

    const std::vector<EntryId> order = Reference(*catalog.index).order(SortKey::size, false);
    EXPECT_EQ(order, catalog.index->ordered(hits, SortKey::size, {}));
    EXPECT_EQ(order, catalog.index->ordered(hits, SortKey::size, {.directSortLimit = 0}));
}

} // namespace
} // namespace quarrydex
