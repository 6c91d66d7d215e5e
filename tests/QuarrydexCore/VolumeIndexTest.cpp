#include "QuarrydexCore/catalog/VolumeIndex.h"

#include "tests/fakes/FakeDirReader.h"
#include "tests/support/HookedReader.h"
#include "tests/support/RandomCatalog.h"
#include "tests/support/TempTree.h"

#include <atomic>
#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

using testing::Catalog;
using testing::PlainEntry;

constexpr std::uint8_t rootFlags = EntryFlags::dir | EntryFlags::root;

// --- Entries ------------------------------------------------------------------------------------

TEST(VolumeIndexTest, PathsEndWhereAParentIsNotBelowItsChild) {
    const Catalog catalog({{"/r", noParent, rootFlags}, {"a", 0}, {"b", 1}, {"c", 2}});
    catalog.store->parent[2] = 3;
    EXPECT_EQ(catalog.index->path(3), "b/c");
    catalog.store->parent[2] = 2;
    EXPECT_EQ(catalog.index->path(3), "b/c");
    catalog.store->parent[2] = 0xFFFFFFF0;
    EXPECT_EQ(catalog.index->path(3), "b/c");
}

TEST(VolumeIndexTest, ExtensionsAreFoldedWhenAskedFor) {
    const auto index = testing::catalogOf({{"/r", noParent, rootFlags},
                                           {"x.ABC", 0},
                                           {"y.abc", 0},
                                           {"Café.É", 0},
                                           {".profile", 0},
                                           {"a.0123456789abcde", 0}});
    const std::uint16_t abc = index->extID(1);
    EXPECT_EQ(index->extID(2), abc);
    EXPECT_EQ(index->ext(1), "abc");
    EXPECT_EQ(index->extName(abc), "abc");
    EXPECT_EQ(index->ext(3), "e");
    EXPECT_EQ(index->ext(4), std::nullopt);
    EXPECT_EQ(index->ext(5), "0123456789abcde") << "fifteen bytes fill the slot";
    const std::vector<std::string> asked = {"é", "xyz", "Abc", ".abc", "abc"};
    EXPECT_EQ(index->extIDs(asked), (std::vector{index->extID(3), abc, abc}));
}

// --- Folder cache -------------------------------------------------------------------------------

TEST(VolumeIndexTest, FoldersAreThoseBelowTheBoundDeletedOnesIncluded) {
    const Catalog catalog({{"/r", noParent, rootFlags},
                           {"file", 0},
                           {"d2", 0, EntryFlags::dir},
                           {"d3", 0, EntryFlags::dir | EntryFlags::deleted},
                           {"file", 0},
                           {"d5", 0, EntryFlags::dir}});
    const VolumeIndex& index = *catalog.index;
    using Ids = std::vector<EntryId>;
    EXPECT_EQ(index.directories(3), (Ids{0, 2}));
    EXPECT_EQ(index.directories(6), (Ids{0, 2, 3, 5}));
    EXPECT_EQ(index.directories(5), (Ids{0, 2, 3})) << "a prefix of what is cached";
    EXPECT_EQ(index.directories(0), Ids{});
    testing::appendAll(catalog.store, {{"d6", 0, EntryFlags::dir}});
    EXPECT_EQ(index.directories(7), (Ids{0, 2, 3, 5, 6}));
}

TEST(VolumeIndexTest, FolderViewsStayAsTheyWereWhileTheCacheGrows) {
    std::vector<PlainEntry> entries = {{"/r", noParent, rootFlags}};
    for (int i = 1; i < 20'000; ++i)
        entries.push_back({"d", 0, EntryFlags::dir});
    const Catalog catalog(entries);
    const FolderIds early = catalog.index->folderIds(2);
    std::atomic<std::uint32_t> upTo{1};
    std::thread grower([&] {
        for (std::uint32_t n = 1; n <= 20'000; n += 37) {
            static_cast<void>(catalog.index->folderIds(n));
            upTo = n;
        }
    });
    for (std::uint32_t n = 0; n < 19'900;) {
        n = upTo;
        const FolderIds view = catalog.index->folderIds(n);
        ASSERT_EQ(view.ids.size(), n);
        for (std::uint32_t i = 0; i < n; ++i)
            ASSERT_EQ(view.ids[i], i);
    }
    grower.join();
    EXPECT_EQ(early.ids.data(), early.owner->data());
}

// --- Changes ------------------------------------------------------------------------------------

TEST(VolumeIndexTest, DeletionsAreCountedOnceAndRaiseMutations) {
    const Catalog catalog({{"/r", noParent, rootFlags}, {"a", 0}, {"b", 0}, {"c", 0}});
    VolumeIndex& index = *catalog.index;
    EXPECT_FALSE(index.hasUnsavedChanges());
    index.markDeleted(1);
    const std::int64_t once = index.mutations();
    EXPECT_TRUE(index.hasUnsavedChanges());
    index.markDeleted(1);
    EXPECT_EQ(index.mutations(), once) << "nothing changed";
    index.markDeleted(2);
    EXPECT_GT(index.mutations(), once);
    EXPECT_EQ(index.count(), 4U);
    EXPECT_EQ(index.liveCount(), 2U);
    EXPECT_NE(index.flags(1) & EntryFlags::deleted, 0);
}

TEST(VolumeIndexTest, AnAdoptedStoreCountsItsDeletedEntries) {
    fidx* store = fidx_new(10, 100);
    testing::appendAll(store,
                       {{"/r", noParent, rootFlags}, {"a", 0, EntryFlags::deleted}, {"b", 0}});
    const auto index = VolumeIndex::adopting(store, 77, {"/x/", "/y//", "/"});
    EXPECT_EQ(index->liveCount(), 2U);
    EXPECT_EQ(index->storeID(), 77U);
    EXPECT_EQ(index->excludes(), (std::vector<std::string>{"/x", "/y/", "/"}));
    EXPECT_FALSE(index->hasUnsavedChanges());
}

TEST(VolumeIndexTest, NewCataloguesHaveStoreIDsOfTheirOwn) {
    const VolumeIndex a(10, 100);
    const VolumeIndex b(10, 100);
    EXPECT_NE(a.storeID(), 0U);
    EXPECT_NE(a.storeID(), b.storeID());
}

// --- Scans --------------------------------------------------------------------------------------

TEST(VolumeIndexTest, AScanStopsAtTheFirstRootThatCannotBeOpened) {
    TempTree tree;
    tree.file("a/file");
    tree.file("b/file");
    VolumeIndex index(1'000, 100'000);
    const std::string missing = tree.path("missing");
    try {
        index.scan(std::vector{tree.path("a"), missing, tree.path("b")}, 1);
        FAIL() << "must throw";
    } catch (const IndexError& error) {
        EXPECT_EQ(error.kind(), IndexError::Case::cannotOpen);
        EXPECT_EQ(error.path(), missing);
        EXPECT_NE(std::string(error.what()).find("“" + missing + "”"), std::string::npos);
    }
    EXPECT_FALSE(index.isScanning());
    EXPECT_EQ(index.roots().size(), 1U);
    EXPECT_EQ(index.stats().files, 1U);
    EXPECT_THROW(index.scan(std::vector{tree.path("a/file")}, 1), IndexError);
}

TEST(VolumeIndexTest, NoOrderIsUsableDuringAScan) {
    VolumeIndex index(1'000, 100'000);
    FakeDirReader folders;
    folders.folders["/somewhere"];
    int lists = 0;
    const testing::HookedReader reader(folders, [&](const std::string&) {
        ++lists;
        EXPECT_TRUE(index.isScanning());
        EXPECT_EQ(index.staleKeys(), (std::vector{SortKey::name, SortKey::date}));
        for (SortKey key : allSortKeys)
            EXPECT_FALSE(index.cachedPermutation(key) || index.usablePerm(key));
    });
    const InstalledDirReader installed(reader);
    for (SortKey key : {SortKey::name, SortKey::date}) {
        index.rebuildPermutation(key);
        ASSERT_TRUE(index.cachedPermutation(key).has_value());
    }
    index.scan(std::vector<std::string>{"/somewhere"}, 1);
    EXPECT_EQ(lists, 1);
    EXPECT_TRUE(index.cachedPermutation(SortKey::name).has_value()) << "again, afterwards";
    EXPECT_TRUE(index.staleKeys().empty());
}

} // namespace
} // namespace quarrydex
