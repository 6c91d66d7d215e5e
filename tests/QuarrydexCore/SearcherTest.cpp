#include "QuarrydexCore/search/Searcher.h"

#include "QuarrydexCore/search/OpSet.h"

#include "tests/support/PlainCatalog.h"

#include <array>
#include <atomic>
#include <functional>
#include <thread>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using testing::catalogOf;
using testing::PlainEntry;

Term name(std::string text, bool neg = false, bool caseSensitive = false) {
    return {neg, preds::Name{std::move(text)}, caseSensitive};
}

Query all(std::vector<Term> terms) {
    return {{std::move(terms)}};
}

const Term ext{false, preds::Ext{{"mp3"}}, false};
const Term junk{false, preds::Junk{}, false};

TEST(SearcherTest, ChunksCoverEverythingOnceInAtMostTwiceTheThreads) {
    const auto index = catalogOf({{"/r", noParent, EntryFlags::dir | EntryFlags::root}});
    Searcher searcher(*index);
    searcher.setThreads(3);
    for (auto [n, parts] : {std::pair{0U, 1U},
                            {1U, 1U},
                            {4095U, 1U},
                            {4096U, 2U},
                            {8192U, 3U},
                            {1'000'000U, 6U},
                            {4'000'000'000U, 6U}}) {
        const auto chunks = searcher.chunks(n);
        ASSERT_EQ(chunks.size(), parts) << n;
        std::uint32_t at = 0;
        for (auto [first, last] : chunks) {
            EXPECT_EQ(first, at);
            at = last;
        }
        EXPECT_EQ(at, n);
    }
    EXPECT_EQ(searcher.chunks(10'000)[1], (std::pair{3333U, 6666U}));
}

TEST(SearcherTest, OnlyMoreLettersInTheLastPlainWordExtendASearch) {
    const Query ab = all({ext, name("ab")});
    EXPECT_TRUE(Searcher::extends(all({ext, name("abc")}), ab));
    EXPECT_TRUE(Searcher::extends(ab, ab));
    EXPECT_TRUE(Searcher::extends(all({name("x")}), all({name("")})));
    for (const Query& other : {all({ext, name("ax")}), all({ext, name("xab")}), all({name("abc")}),
                               all({ext, name("abc", true)}), all({ext, name("abc", false, true)}),
                               all({ext, name("a"), name("abc")}), all({junk, name("abc")}),
                               all({ext, name("")}), all({ext, {false, preds::Glob{"abc"}, false}}),
                               Query{}, Query{{{ext, name("abc")}, {name("x")}}}})
        EXPECT_FALSE(Searcher::extends(other, ab));
    EXPECT_FALSE(Searcher::extends(all({name("abc", true)}), all({name("ab", true)})));
    // A syllable in the making: the name that holds it does not hold its first letter.
    EXPECT_FALSE(Searcher::extends(all({name("\u1100\u1161")}), all({name("\u1100")})));
}

TEST(SearcherTest, OpsAreSortedByCostAndKeepTheOrderOfEqualOnes) {
    const auto index = catalogOf({{"/r", noParent, EntryFlags::dir | EntryFlags::root}});
    const std::vector<Term> terms = {{false, preds::Regex{"a"}, false},
                                     {false, preds::Path{"a/b"}, false},
                                     {false, preds::Path{"a"}, false},
                                     {false, preds::Glob{"a*"}, false},
                                     name("x", false, true),
                                     name("y"),
                                     {false, preds::Audio{}, false},
                                     ext,
                                     {false, preds::Size{}, false},
                                     {false, preds::Date{}, false},
                                     junk,
                                     {true, preds::Kind{true}, false}};
    const OpSet set = OpSet::compile(*index, terms, 1, 1);
    using K = OpSet::K;
    constexpr std::array<K, 12> order = {K::junk, K::kind,    K::ext,      K::size,
                                         K::date, K::audio,   K::nameCS,   K::name,
                                         K::glob, K::pathDir, K::pathFull, K::regex};
    ASSERT_EQ(set.ops().size(), order.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        EXPECT_EQ(set.ops()[i].k, order[i]) << i;
    EXPECT_TRUE(set.ops()[1].neg);
}

TEST(SearcherTest, AnythingThatChangesTheCatalogueMakesAFullSearch) {
    std::vector<PlainEntry> entries = {{"/r", noParent, EntryFlags::dir | EntryFlags::root}};
    for (int i = 0; i < 100; ++i)
        entries.push_back({"abc" + std::to_string(i), 0});
    const auto index = catalogOf(entries);
    Searcher searcher(*index);
    EXPECT_EQ(searcher.search(all({name("ab")}), false)->size(), 100U);
    index->markDeleted(5);
    EXPECT_EQ(searcher.search(all({name("abc")}), false)->size(), 99U);
    EXPECT_EQ(searcher.search(all({name("abc1")}), false)->size(), 11U);
    // The audio table counts too: the same words, a term that now has an answer.
    const Term flac{false, preds::Audio{[] {
                        AudioCond cond;
                        cond.field = AudioCond::Field::codec;
                        cond.text = "flac";
                        return cond;
                    }()},
                    false};
    EXPECT_EQ(searcher.search(all({flac, name("a")}), false)->size(), 0U);
    AudioTable::Analysed row{7, 0, {}};
    row.meta.codec = AudioCodec::flac;
    index->audio().upsert(std::span(&row, 1));
    EXPECT_EQ(searcher.search(all({flac, name("ab")}), false), std::vector<EntryId>{7});
}

TEST(SearcherTest, OnlyASearchWithTheSameMaskIsRefined) {
    const auto index = catalogOf({{"/r", noParent, EntryFlags::dir | EntryFlags::root},
                                  {"abc", 0},
                                  {"abcd", 0, EntryFlags::junk}});
    Searcher searcher(*index);
    EXPECT_EQ(searcher.search(all({name("ab")}), false), (std::vector<EntryId>{1}));
    EXPECT_EQ(searcher.search(all({name("abc")}), true), (std::vector<EntryId>{1, 2}));
    EXPECT_EQ(searcher.search(all({name("abcd")}), false), (std::vector<EntryId>{}));
}

TEST(SearcherTest, ThePaddingOfFoldedNamesIsNeverFound) {
    const auto index = catalogOf({{"/r", noParent, EntryFlags::dir | EntryFlags::root},
                                  {"caf\u00e9", 0, EntryFlags::dir},
                                  {"x\u00e9", 1}});
    Searcher searcher(*index);
    const std::string padding(1, foldFiller);
    for (const Pred& pred :
         {Pred(preds::Name{padding}), Pred(preds::Path{padding}), Pred(preds::Glob{"*" + padding})})
        for (bool caseSensitive : {false, true})
            EXPECT_TRUE(searcher.search(all({{false, pred, caseSensitive}}), false)->empty())
                << pred.index() << caseSensitive;
}

TEST(SearcherTest, AnInvalidExpressionFindsNothingEitherWay) {
    const auto index = catalogOf({{"/r", noParent, EntryFlags::dir | EntryFlags::root}, {"a", 0}});
    Searcher searcher(*index);
    for (bool neg : {false, true})
        EXPECT_TRUE(searcher.search(all({{neg, preds::Regex{"("}, false}}), false)->empty());
}

/// "file 0" … "file 59999" under a root.
std::unique_ptr<VolumeIndex> manyFiles() {
    std::vector<PlainEntry> entries = {{"/r", noParent, EntryFlags::dir | EntryFlags::root}};
    for (int i = 0; i < 60'000; ++i)
        entries.push_back({"file " + std::to_string(i), 0});
    return catalogOf(entries);
}

/// Slow on every one of these names, so that something else can happen while it is searched.
Query slowOnFiles() {
    return all({{false, preds::Regex{"(i|f|l|e| )*[0-9]*(0|1|2)+$"}, false}});
}

TEST(SearcherTest, NewerSearchCancelsOlder) {
    const auto index = manyFiles();
    Searcher searcher(*index);
    const std::function<void()> interruptions[] = {
        [&] { searcher.cancel(); },
        [&] { static_cast<void>(searcher.searchBits(all({name("file 1")}), false)); }};
    for (const auto& interrupt : interruptions) {
        // An interruption may come before the search or after it: then it is tried again.
        bool gaveNothing = false;
        for (int round = 0; round < 20 && !gaveNothing; ++round) {
            std::atomic<bool> done{false};
            std::thread older([&] {
                gaveNothing = searcher.searchBits(slowOnFiles(), false) == nullptr;
                done = true;
            });
            do
                interrupt();
            while (!done);
            older.join();
        }
        EXPECT_TRUE(gaveNothing);
        // What was cancelled must not serve as a base to refine.
        EXPECT_EQ(searcher.search(all({name("file 12")}), false)->size(), 1'111U);
    }
}

TEST(SearcherTest, SearchesRunBesideAWriter) {
    fidx* store = fidx_new(100'000, 4'000'000);
    const auto index = VolumeIndex::adopting(store, 1, {});
    testing::appendAll(store, {{"/r", noParent, EntryFlags::dir | EntryFlags::root}});
    std::thread writer([&] {
        std::vector<PlainEntry> batch(100, {"some name.txt", 0});
        const fidx_listing listing = testing::listingOf(batch);
        std::vector<std::uint32_t> indices(batch.size());
        for (std::uint32_t i = 0; i < indices.size(); ++i)
            indices[i] = i;
        for (int i = 0; i < 300; ++i) {
            const EntryId first = fidx_append(store, 0, listing, indices.data(), indices.size());
            fidx_set_deleted(store, first + 1);
            fidx_set_meta(store, first + 2, 7, 8, 9);
        }
    });
    Searcher searcher(*index);
    const Query query = all({name("name"), ext, {false, preds::Size{{0, 100}}, false}});
    const Query dates = all({{true, preds::Date{{1, 2}}, false}, name("e.t")});
    std::size_t last = 0;
    while (last < 29'000) {
        EXPECT_EQ(searcher.searchBits(query, false)->count, 0U);
        last = searcher.searchBits(dates, false)->count;
    }
    writer.join();
    EXPECT_EQ(searcher.searchBits(dates, false)->count, 29'700U);
    // The same search once more: what was found before does not cover the newest entry.
    testing::appendAll(store, {{"some name.txt", 0}});
    EXPECT_EQ(searcher.searchBits(dates, false)->count, 29'701U);
}

} // namespace

} // namespace quarrydex
