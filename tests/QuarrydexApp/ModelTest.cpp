#include "QuarrydexApp/model/Model.h"

#include "QuarrydexApp/model/Merge.h"
#include "QuarrydexApp/model/Roots.h"
#include "QuarrydexApp/model/SearchRun.h"

#include "tests/support/EventLoop.h"
#include "tests/support/PlainCatalog.h"
#include "tests/support/QtApplication.h"
#include "tests/support/TempTree.h"

#include <QCoreApplication>

#include <algorithm>
#include <random>
#include <tuple>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

using testing::catalogOf;
using testing::comesTo;
using testing::PlainEntry;

bool isAnswered(const Model& model) {
    return model.results()->generation == model.generation() && model.results()->complete;
}

const ResultSet& waitForResults(Model& model) {
    EXPECT_TRUE(comesTo([&] { return isAnswered(model); }));
    return *model.results();
}

void scan(Model& model) {
    model.startScans();
    EXPECT_TRUE(comesTo([&] { return !model.anyScanning(); }));
}

std::vector<std::string> paths(const ResultSet& results) {
    std::vector<std::string> out;
    for (Row row : results.rows)
        out.push_back(results.indexes[rowVolume(row)]->path(rowEntry(row)));
    return out;
}

/// A root with `count` files; names and values repeat, so that every order has ties.
std::vector<PlainEntry> manyFiles(const std::string& root, std::uint32_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<PlainEntry> entries = {{.name = root, .flags = EntryFlags::dir | EntryFlags::root}};
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint_fast32_t n = random() % (count / 2 + 1);
        entries.push_back({.name = "File" + std::to_string(n),
                           .parent = 0,
                           .size = random() % 7,
                           .mtime = static_cast<std::uint32_t>(random() % 5),
                           .ctime = static_cast<std::uint32_t>(random() % 3)});
    }
    return entries;
}

/// The rows as a plain sort of (value, volume, id) puts them.
std::vector<Row> naiveOrder(std::span<const std::shared_ptr<VolumeIndex>> indexes,
                            std::span<const std::vector<EntryId>> lists,
                            SortKey key,
                            bool desc) {
    std::vector<Row> rows;
    for (std::uint32_t v = 0; v < lists.size(); ++v)
        for (EntryId id : lists[v])
            rows.push_back(makeRow(v, id));
    const auto value = [&](Row row) {
        const VolumeIndex& index = *indexes[rowVolume(row)];
        const EntryId id = rowEntry(row);
        const bool isName = key == SortKey::name || key == SortKey::path;
        const std::uint64_t number = key == SortKey::path      ? rowVolume(row) // of flat trees
                                     : key == SortKey::size    ? index.size(id)
                                     : key == SortKey::date    ? index.mtime(id)
                                     : key == SortKey::created ? index.ctime(id)
                                                               : 0;
        return std::pair(number, std::string(isName ? index.foldedName(id) : ""));
    };
    std::ranges::stable_sort(
        rows, [&](Row a, Row b) { return desc ? value(b) < value(a) : value(a) < value(b); });
    if (key == SortKey::path && desc) // the exact reverse, ties included
        std::ranges::stable_sort(
            rows, [&](Row a, Row b) { return std::pair(value(b), b) < std::pair(value(a), a); });
    return rows;
}

std::vector<EntryId> allFiles(const VolumeIndex& index) {
    std::vector<EntryId> ids;
    for (EntryId id = 1; id < index.count(); ++id)
        ids.push_back(id);
    return ids;
}

} // namespace

// --- Several volumes ----------------------------------------------------------------------------

TEST(ModelTest, SeveralVolumesAreSortedAsOne) {
    Model model({});
    std::vector<std::shared_ptr<VolumeIndex>> indexes;
    std::vector<std::vector<EntryId>> all;
    const std::pair<const char*, unsigned> volumes[] = {
        {"/b", 60}, {"/a", 0}, {"/c", 41}, {"/d", 1}};
    for (const auto& [root, count] : volumes) {
        indexes.push_back(catalogOf(manyFiles(root, count, count)));
        all.push_back(allFiles(*indexes.back()));
        model.addVolume(root, indexes.back());
    }
    for (SortKey key : allSortKeys)
        for (bool desc : {false, true}) {
            SCOPED_TRACE(std::string(rawValue(key)) + (desc ? " descending" : ""));
            const std::vector<Row> expected = naiveOrder(indexes, all, key, desc);
            model.setSearchState({.browseAll = true, .sortKey = key, .sortDesc = desc});
            EXPECT_EQ(waitForResults(model).rows, expected);
            EXPECT_EQ(model.results()->hitVolumes, (std::vector<std::uint32_t>{0, 2, 3}));

            model.setSearchState(
                {.browseAll = true, .sortKey = key, .sortDesc = desc, .limit = 17});
            EXPECT_EQ(waitForResults(model).rows,
                      std::vector<Row>(expected.begin(), expected.begin() + 17));
            EXPECT_EQ(model.results()->total, expected.size());
        }
}

TEST(MergeTest, ListsThatAreNotSortedFollowOneAnother) {
    const auto index = std::shared_ptr<VolumeIndex>(
        catalogOf({{.name = "/a"}, {.name = "z", .parent = 0}, {.name = "b", .parent = 0}}));
    const std::vector<std::vector<EntryId>> lists = {{1, 2}, {1, 2}};
    const std::vector<Row> inTurn = {makeRow(0, 1), makeRow(0, 2), makeRow(1, 1), makeRow(1, 2)};
    for (SortKey key : {SortKey::name, SortKey::path})
        EXPECT_EQ(merge(std::vector{index, index}, lists, key, {.desc = true, .sorted = false}),
                  inTurn);
}

TEST(ModelTest, HiddenVolumesAreLeftOut) {
    Model model({});
    model.addVolume("/a", catalogOf(manyFiles("/a", 3, 1)));
    model.addVolume("/b", catalogOf(manyFiles("/b", 4, 2)));
    model.setBrowseAll(true);
    model.setHidden(*model.volumes()[0], true);
    EXPECT_EQ(waitForResults(model).total, 4U);
    EXPECT_EQ(model.results()->hitVolumes, std::vector<std::uint32_t>{1});
    model.setHidden(*model.volumes()[0], false);
    EXPECT_EQ(waitForResults(model).total, 7U);
}

// --- Generations --------------------------------------------------------------------------------

TEST(ModelTest, OfManySearchesOnlyTheLastIsLeftAtTheEnd) {
    Model model({});
    model.addVolume("/a", catalogOf(manyFiles("/a", 30'000, 1)));
    model.addVolume("/b", catalogOf(manyFiles("/b", 20'000, 2)));
    std::vector<std::uint64_t> published;
    QObject::connect(&model, &Model::resultsChanged,
                     [&] { published.push_back(model.results()->generation); });

    std::mt19937 random(7);
    for (int i = 0; i < 300; ++i) {
        model.setQuery("file" + std::to_string(random() % 30));
        model.setSort(allSortKeys[random() % sortKeyCount], random() % 2 == 0);
        if (random() % 4 == 0) // else the next search begins while this one runs
            QCoreApplication::processEvents();
        if (random() % 16 == 0)
            waitForResults(model);
    }
    // A long one: it passes through every queue, so that nothing can come after it.
    model.setSearchState({.query = "file1", .sortKey = SortKey::size});
    waitForResults(model);
    QCoreApplication::processEvents(); // an order that became ready searches once more
    waitForResults(model);

    EXPECT_TRUE(std::ranges::is_sorted(published));
    EXPECT_EQ(published.back(), model.generation());
    std::size_t expected = 0;
    for (const auto& volume : model.volumes())
        for (EntryId id : allFiles(*volume->index))
            expected += volume->index->name(id).starts_with("File1") ? 1 : 0;
    EXPECT_EQ(model.results()->total, expected);
    EXPECT_EQ(model.results()->rows.size(), expected);
    EXPECT_EQ(model.results()->terms, std::vector<std::string>{"file1"});
}

TEST(ModelTest, RestOfAnOvertakenResultIsDropped) {
    Model model({});
    model.addVolume("/a", catalogOf(manyFiles("/a", 12'000, 1)));
    std::vector<std::pair<std::uint64_t, bool>> published;
    QObject::connect(&model, &Model::resultsChanged, [&] {
        const ResultSet& results = *model.results();
        published.emplace_back(results.generation, results.complete);
        if (results.generation == 1)
            model.setQuery("nothing has this name");
    });
    model.setBrowseAll(true);
    const std::uint64_t overtaken = model.generation();
    ASSERT_TRUE(comesTo([&] { return model.generation() > overtaken && isAnswered(model); }));
    model.setQuery("");
    waitForResults(model);
    EXPECT_EQ(published[0], std::pair(overtaken, false));
    EXPECT_FALSE(
        std::ranges::any_of(published, [&](auto p) { return p == std::pair(overtaken, true); }));
    EXPECT_EQ(published.back(), std::pair(model.generation(), true));
}

TEST(ModelTest, ModelMayGoWhileItSearchesAndScans) {
    TempTree tree;
    for (int i = 0; i < 50; ++i)
        tree.file("d" + std::to_string(i) + "/f");
    const std::shared_ptr<VolumeIndex> index = catalogOf(manyFiles("/a", 20'000, 1));
    for (int i = 0; i < 20; ++i) {
        Model model({.roots = {tree.path()}});
        model.addVolume("/a", index);
        model.startScans();
        model.setSearchState({.browseAll = true, .sortKey = SortKey::size});
        if (i % 2 == 0)
            QCoreApplication::processEvents();
    }
}

// --- Long results -------------------------------------------------------------------------------

TEST(ModelTest, LongResultBeginsWithItsFirstScreen) {
    Model model({});
    model.addVolume("/a", catalogOf(manyFiles("/a", 12'000, 1)));
    model.addVolume("/b", catalogOf(manyFiles("/b", 13'000, 2)));
    std::vector<std::shared_ptr<const ResultSet>> published;
    QObject::connect(&model, &Model::resultsChanged, [&] { published.push_back(model.results()); });
    for (SortKey key : allSortKeys)
        for (bool desc : {false, true}) {
            SCOPED_TRACE(std::string(rawValue(key)) + (desc ? " descending" : ""));
            published.clear();
            model.setSearchState({.browseAll = true, .sortKey = key, .sortDesc = desc});
            waitForResults(model);
            ASSERT_EQ(published.size(), 2U);
            const ResultSet& first = *published[0];
            const ResultSet& whole = *published[1];
            EXPECT_FALSE(first.complete);
            EXPECT_EQ(first.rows.size(), 200U);
            EXPECT_EQ(whole.rows.size(), 25'000U);
            EXPECT_EQ(first.total, whole.total);
            EXPECT_TRUE(std::ranges::equal(first.rows, std::span(whole.rows).first(200)));
            EXPECT_TRUE(first.resetScroll);
            EXPECT_FALSE(whole.resetScroll); // who has begun to scroll is left where they are
        }
}

TEST(ModelTest, ResultTooLongToSortWaitsForAKeptOrder) {
    constexpr std::uint32_t count = SearchRun::directSortLimit + 10;
    const std::shared_ptr<VolumeIndex> index = catalogOf(manyFiles("/a", count, 1));
    Model model({});
    model.addVolume("/a", index);
    bool wasSorting = false;
    QObject::connect(&model, &Model::sortingChanged,
                     [&] { wasSorting = wasSorting || model.sorting(); });
    model.setSearchState({.browseAll = true, .sortKey = SortKey::size});
    waitForResults(model);
    EXPECT_TRUE(wasSorting);
    EXPECT_FALSE(model.sorting());
    EXPECT_TRUE(index->usablePerm(SortKey::size).has_value());
    EXPECT_FALSE(index->usablePerm(SortKey::name).has_value()); // nobody asked for it
    const std::vector<Row>& rows = model.results()->rows;
    ASSERT_EQ(rows.size(), count);
    EXPECT_TRUE(std::ranges::is_sorted(
        rows, {}, [&](Row row) { return std::tuple(index->size(rowEntry(row)), rowEntry(row)); }));

    Model single({.keepsOrders = false}); // one search alone builds none
    single.addVolume("/a", index);
    single.setSearchState({.browseAll = true, .sortKey = SortKey::date});
    EXPECT_EQ(waitForResults(single).rows.size(), count);
    EXPECT_FALSE(index->usablePerm(SortKey::date).has_value());
}

TEST(ModelTest, PreparedSortSearchesAgainUnderThatKeyOnly) {
    Model model({});
    const std::shared_ptr<VolumeIndex> index = catalogOf(manyFiles("/a", 100, 1));
    model.addVolume("/a", index);
    model.setSearchState({.browseAll = true, .sortKey = SortKey::date});
    waitForResults(model);
    for (SortKey key : {SortKey::size, SortKey::date}) {
        const std::uint64_t before = model.generation();
        model.prepareSort(key);
        EXPECT_TRUE(model.sorting());
        EXPECT_TRUE(comesTo([&] { return !model.sorting(); }));
        EXPECT_TRUE(index->usablePerm(key).has_value());
        EXPECT_EQ(model.generation() != before, key == SortKey::date);
    }
}

// --- What is searched ---------------------------------------------------------------------------

TEST(ModelTest, EmptyQueryShowsNothingUnlessAsked) {
    Model model({});
    model.addVolume("/a", catalogOf(manyFiles("/a", 8, 1)));
    const Term files{.neg = false, .pred = preds::Kind{.folder = false}, .caseSensitive = false};
    const Term folders{.neg = false, .pred = preds::Kind{.folder = true}, .caseSensitive = false};

    const struct {
        const char* query;
        std::optional<Term> filter;
        bool browseAll;
        std::size_t total;
    } cases[] = {
        {"", std::nullopt, false, 0},     {"", std::nullopt, true, 8},
        {"  ", std::nullopt, false, 0},   {"", files, false, 8},
        {"file", folders, false, 0},      {"file", files, true, 8},
        {"file", std::nullopt, false, 8},
    };

    for (const auto& c : cases) {
        model.setSearchState({.query = c.query, .filter = c.filter, .browseAll = c.browseAll});
        EXPECT_EQ(waitForResults(model).total, c.total) << "'" << c.query << "' " << c.browseAll;
    }
}

TEST(ModelTest, QueryThatCannotBeParsedLeavesTheResults) {
    Model model({});
    model.addVolume("/a", catalogOf(manyFiles("/a", 8, 1)));
    int changes = 0;
    QObject::connect(&model, &Model::queryErrorChanged, [&] { ++changes; });
    model.setQuery("file");
    waitForResults(model);
    model.setQuery("file size:10xb");
    EXPECT_EQ(model.queryError(), "size: 10xb");
    EXPECT_EQ(model.results()->total, 8U);
    model.setQuery("file size:0..100");
    EXPECT_EQ(model.queryError(), std::nullopt);
    EXPECT_EQ(changes, 2);
    waitForResults(model);
}

// --- Roots --------------------------------------------------------------------------------------

TEST(ModelTest, OverlappingRootsShowEveryFileOnce) {
    TempTree tree;
    tree.file("a/one");
    tree.file("a/in/two");
    tree.file("a/.hid/three");
    tree.link("toIn", "a/in");

    const struct {
        const char* what;
        std::vector<std::string> roots;
        std::vector<std::string> files;
    } cases[] = {
        {"named twice", {"a", "a/", "a/../a/."}, {"a/in", "a/in/two", "a/one"}},
        {"named through a link", {"a/in", "toIn"}, {"a/in/two"}},
        {"one inside the other", {"a", "a/in"}, {"a/in", "a/one", "a/in/two"}},
        {"the inner one first", {"a/in", "a"}, {"a/in/two", "a/in", "a/one"}},
        {"the inner one a link", {"a", "toIn"}, {"a/in", "a/one", "toIn/two"}},
        {"the inner one hidden", {"a", "a/.hid"}, {"a/in", "a/in/two", "a/one", "a/.hid/three"}},
    };

    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        ModelOptions options;
        for (const std::string& root : c.roots)
            options.roots.push_back(tree.path() + "/" + root);
        Model model(options);
        scan(model);
        model.setSearchState({.browseAll = true, .sortKey = SortKey::path});
        std::vector<std::string> expected;
        for (const std::string& file : c.files)
            expected.push_back(tree.path(file));
        EXPECT_EQ(paths(waitForResults(model)), expected);
    }
}

TEST(ModelTest, ExcludedFoldersAreFoundUnderAnySpelling) {
    TempTree tree;
    tree.file("a/skip/one");
    tree.file("a/stay/two");
    tree.link("link", "a");
    const std::string spellings[] = {"a/skip", "a/skip/", "link/skip", "a/stay/../skip"};
    for (const char* root : {"a", "link"})
        for (const std::string& spelling : spellings) {
            SCOPED_TRACE(root + (" without " + spelling));
            const std::string exclude = tree.path() + "/" + spelling;
            Model model({.roots = {tree.path(root)}, .excludes = std::vector{exclude}});
            scan(model);
            model.setSearchState({.query = "file:", .sortKey = SortKey::path});
            EXPECT_EQ(paths(waitForResults(model)),
                      std::vector{tree.path() + "/" + root + "/stay/two"});
        }
}

TEST(RootsTest, PathsBecomeAbsoluteAndPlain) {
    TempTree tree;
    tree.folder("real/inner");
    tree.link("link", "real/inner");
    const std::string top = tree.path();
    const std::pair<std::string, std::string> cases[] = {
        {"/", "/"},
        {"//", "/"},
        {"/..", "/"},
        {"", ""},
        {top + "/", top},
        {top + "//real/./inner/", top + "/real/inner"},
        {top + "/real/inner/..", top + "/real"},
        {top + "/link", top + "/link"},
        {top + "/link/..", top + "/real"}, // not the folder that holds the link
        {top + "/none/../real", top + "/real"},
        {top + "/a\nb\xFF", top + "/a\nb\xFF"},
    };
    for (const auto& [typed, clean] : cases)
        EXPECT_EQ(cleanPath(typed), clean) << typed;
    EXPECT_TRUE(cleanPath("x").ends_with("/x"));
    EXPECT_TRUE(cleanPath("x").starts_with("/"));
}

TEST(ModelTest, AllVolumesAreTakenInAgainByOneSearch) {
    Model model({});
    model.addVolume("/a", catalogOf(manyFiles("/a", 3, 1)));
    model.addVolume("/b", catalogOf(manyFiles("/b", 4, 2)));
    model.setBrowseAll(true);
    for (const auto& volume : model.volumes())
        model.setHidden(*volume, true);
    EXPECT_EQ(waitForResults(model).total, 0U);
    int tellings = 0;
    QObject::connect(&model, &Model::volumesChanged, [&] { ++tellings; });
    const std::uint64_t before = model.generation();
    model.showAllVolumes();
    EXPECT_EQ(model.generation(), before + 1);
    EXPECT_EQ(tellings, 1);
    EXPECT_EQ(waitForResults(model).total, 7U);
}

} // namespace quarrydex
