#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"

#include "tests/fakes/FakeDirReader.h"
#include "tests/support/FileStorm.h"
#include "tests/support/StoreDump.h"
#include "tests/support/TempTree.h"

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

using Paths = std::vector<std::string>;

constexpr DirChild aFile{.type = ObjectType::file};

std::unique_ptr<VolumeIndex> scanned(const Paths& roots, Paths excludes = {}) {
    auto index =
        std::make_unique<VolumeIndex>(1U << 20, std::uint64_t{1} << 26, std::move(excludes));
    index->scan(roots, 2);
    return index;
}

StoreDump dump(const VolumeIndex& index) {
    return dumpStore(index.base());
}

EntryId idOf(const VolumeIndex& index, const std::string& path) {
    for (EntryId id = 0; id < index.count(); ++id)
        if ((index.flags(id) & EntryFlags::deleted) == 0 && index.path(id) == path)
            return id;
    return noParent;
}

void expectStats(const RefreshStats& stats, const RefreshStats& expected) {
    EXPECT_EQ(stats.listed, expected.listed);
    EXPECT_EQ(stats.added, expected.added);
    EXPECT_EQ(stats.removed, expected.removed);
    EXPECT_EQ(stats.updated, expected.updated);
    EXPECT_EQ(stats.fullRescan, expected.fullRescan);
    EXPECT_EQ(stats.rootMissing, expected.rootMissing);
}

/// A catalogue over a table of folders that a test then changes.
struct FakeVolume {
    FakeDirReader reader;
    InstalledDirReader installed{reader};
    std::unique_ptr<VolumeIndex> index;

    void scan(const Paths& roots = {"/r"}) { index = scanned(roots); }

    RefreshStats refresh(const Paths& dirs, bool recursive = false) {
        return index->refresh(dirs, {.recursive = recursive, .threads = 2});
    }

    /// True when the catalogue holds what a scan of the present state holds.
    void expectAsScanned(const Paths& roots = {"/r"}) const {
        EXPECT_EQ(dump(*index), dump(*scanned(roots)));
        EXPECT_EQ(index->liveCount(), dump(*index).size());
    }
};

// --- One folder ---------------------------------------------------------------------------------

TEST(RefreshTest, ChangedFolderIsMatchedByName) {
    TempTree tree;
    tree.file("d/same", 1);
    tree.file("d/grows", 1);
    tree.file("d/touched", 1);
    tree.file("d/goes", 1);
    tree.file("other/unseen", 1);
    const auto index = scanned({tree.path()});
    const EntryId same = idOf(*index, tree.path("d/same"));
    const std::int64_t mutations = index->mutations();

    tree.file("d/grows", 5);
    tree.setTimes("d/touched", 1234);
    tree.remove("d/goes");
    tree.file("d/new.txt", 9);
    tree.file("d/sub/below", 3);
    tree.file("other/unseen", 100);
    tree.setTimes("d", 777); // tells that the folder's own time is taken over
    const Paths dirs = {tree.path("d"), tree.path("d/")};
    expectStats(index->refresh(dirs, {}), {.listed = 1, .added = 3, .removed = 1, .updated = 3});

    EXPECT_EQ(idOf(*index, tree.path("d/same")), same);
    StoreDump now = dump(*index);
    StoreDump fresh = dump(*scanned({tree.path()}));
    EXPECT_EQ(now[tree.path("other/unseen")].size, 1U); // nobody asked for that folder
    now.erase(tree.path("other/unseen"));
    fresh.erase(tree.path("other/unseen"));
    EXPECT_EQ(now, fresh);
    EXPECT_EQ(index->liveCount(), index->count() - 1);
    EXPECT_GT(index->mutations(), mutations);
}

TEST(RefreshTest, UnchangedFolderChangesNothing) {
    TempTree tree;
    tree.file("a/b/c.txt", 3);
    tree.link("a/l", "b");
    const auto index = scanned({tree.path()});
    const std::int64_t mutations = index->mutations();
    expectStats(index->refresh(Paths{tree.path()}, {.recursive = true}), {.listed = 3});
    expectStats(index->refresh(Paths{"/elsewhere", tree.path() + "x", "", "relative"}, {}), {});
    EXPECT_EQ(index->mutations(), mutations);
}

TEST(RefreshTest, AnotherKindOfObjectIsARemovalAndAnAddition) {
    const struct {
        DirChild before, after;
    } cases[] = {
        {aFile, {.type = ObjectType::folder}},
        {{.type = ObjectType::folder}, aFile},
        {aFile, {.type = ObjectType::symlink}},
        {{.type = ObjectType::folder}, {.type = ObjectType::symlink}},
        {aFile, {.type = ObjectType::file, .isHidden = true}},
        {{.type = ObjectType::folder}, {.type = ObjectType::folder, .isHidden = true}},
    };

    for (const auto& c : cases) {
        FakeVolume volume;
        volume.reader.add("/r", "x", c.before);
        volume.reader.add("/r/x", "inside", aFile);
        volume.scan();
        const EntryId before = idOf(*volume.index, "/r/x");
        volume.reader.child("/r", "x") = c.after;
        volume.refresh({"/r"});
        EXPECT_NE(idOf(*volume.index, "/r/x"), before);
        volume.expectAsScanned();
    }
}

TEST(RefreshTest, ChildFolderKeepsItsTimeUntilItIsListedItself) {
    TempTree tree;
    tree.file("d/f");
    const auto index = scanned({tree.path()});
    const EntryId d = idOf(*index, tree.path("d"));
    const std::uint32_t before = index->mtime(d);
    tree.setTimes("d", 4711);
    expectStats(index->refresh(Paths{tree.path()}, {}), {.listed = 1});
    EXPECT_EQ(index->mtime(d), before);
    expectStats(index->refresh(Paths{tree.path("d")}, {}), {.listed = 1, .updated = 1});
    EXPECT_EQ(index->mtime(d), 4711U);
}

TEST(RefreshTest, NewEntriesInheritHiddenAndJunk) {
    FakeVolume volume;
    volume.reader.addFolder("/r", ".h");
    volume.reader.addFolder("/r/.h", "RECYCLED");
    volume.scan();
    volume.reader.add("/r/.h/RECYCLED", "f", aFile);
    volume.reader.addFolder("/r/.h/RECYCLED", "d");
    volume.reader.add("/r/.h/RECYCLED/d", "g", aFile);
    volume.refresh({"/r/.h/RECYCLED"});
    EXPECT_EQ(dump(*volume.index)["/r/.h/RECYCLED/d/g"].flags,
              EntryFlags::hidden | EntryFlags::junk);
    volume.expectAsScanned();
}

TEST(RefreshTest, NameShownTwiceByAFolderIsOneEntry) {
    FakeVolume volume;
    volume.reader.add("/r", "old", aFile);
    volume.scan();
    for (const char* name : {"new", "old", "new"})
        volume.reader.add("/r", name, aFile);
    expectStats(volume.refresh({"/r"}), {.listed = 1, .added = 1});
    // And a duplicate that a scan took over goes.
    const auto index = scanned({"/r"});
    EXPECT_EQ(index->liveCount(), 5U);
    expectStats(index->refresh(Paths{"/r"}, {}), {.listed = 1, .removed = 2});
}

TEST(RefreshTest, OrdersLearnWhichValuesChanged) {
    TempTree tree;
    tree.file("a", 1);
    tree.file("b", 1);
    const auto index = scanned({tree.path()});
    for (SortKey key : allSortKeys)
        index->permutation(key);
    tree.file("a", 2);
    tree.setTimes("a", index->mtime(idOf(*index, tree.path("a"))));
    tree.setTimes("b", 99);
    index->refresh(Paths{tree.path()}, {});
    const auto moved = [&](SortKey key, const char* name) {
        const auto entry = index->usablePerm(key);
        const EntryId id = idOf(*index, tree.path(name));
        return entry && entry->movedCount == 1 && testBit(*entry->moved, id);
    };
    EXPECT_TRUE(moved(SortKey::size, "a"));
    EXPECT_TRUE(moved(SortKey::date, "b"));
    EXPECT_EQ(index->usablePerm(SortKey::created)->movedCount, 0U);
    EXPECT_EQ(index->usablePerm(SortKey::name)->movedCount, 0U);
}

// --- Which folders are read ---------------------------------------------------------------------

TEST(RefreshTest, UnknownAndVanishedFoldersAreFoundFromTheNearestThatIsThere) {
    TempTree outside;
    outside.file("b/secret");

    const struct {
        const char* what;
        std::function<void(TempTree&)> change;
        std::vector<const char*> dirs;
        RefreshStats expected;
    } cases[] = {
        {"new ones",
         [](TempTree& tree) { tree.file("a/b/new/deep/x"), tree.file("a/b/new/y"); },
         {"a/b/new/deep", "a/b/new", "a/b/vanished/again"},
         {.listed = 1, .added = 4, .updated = 1}},
        {"a file in place of one above",
         [](TempTree& tree) { tree.remove("a/b"), tree.file("a/b", 12); },
         {"a/b/c/d"},
         {.listed = 1, .added = 1, .removed = 4, .updated = 1}},
        {"a link that leads elsewhere", // and is not followed
         [&](TempTree& tree) { tree.remove("a"), tree.link("a", outside.path()); },
         {"a/b"},
         {.listed = 1, .added = 1, .removed = 6}},
    };

    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        TempTree tree;
        tree.file("a/b/c/d/f");
        tree.file("a/g");
        for (const char* folder : {"a/b", "a", "."})
            tree.setTimes(folder, 1000);
        const auto index = scanned({tree.path()});
        c.change(tree);
        Paths dirs;
        for (const char* dir : c.dirs)
            dirs.push_back(tree.path(dir));
        expectStats(index->refresh(dirs, {}), c.expected);
        EXPECT_EQ(dump(*index), dump(*scanned({tree.path()})));
    }
}

TEST(RefreshTest, FolderRemovedByItsParentsListingIsNotMatchedItself) {
    FakeVolume volume;
    volume.reader.addFolder("/r", "d");
    volume.reader.add("/r/d", "f", aFile);
    volume.scan();
    volume.reader.child("/r", "d").isHidden = true; // another object by the rules
    volume.reader.add("/r/d", "g", aFile);
    expectStats(volume.refresh({"/r/d", "/r"}), {.listed = 1, .added = 3, .removed = 2});
    volume.expectAsScanned();
}

TEST(RefreshTest, RecursiveReadsEveryKnownFolderBelow) {
    TempTree tree;
    tree.file("a/b/c/f", 1);
    tree.file("z/f", 1);
    const auto index = scanned({tree.path()});
    tree.file("a/b/c/f", 2);
    tree.file("a/b/g", 2);
    tree.file("z/f", 2);
    expectStats(index->refresh(Paths{tree.path("a")}, {}), {.listed = 1});
    const RefreshStats stats = index->refresh(Paths{tree.path("a")}, {.recursive = true});
    EXPECT_EQ(stats.listed, 3U);
    EXPECT_EQ(stats.added, 1U);
    EXPECT_EQ(dump(*index)[tree.path("z/f")].size, 1U);
    EXPECT_EQ(index->refresh(Paths{tree.path()}, {.recursive = true}).listed, 5U);
    EXPECT_EQ(dump(*index), dump(*scanned({tree.path()})));
}

TEST(RefreshTest, ReplacedFolderIsReadWithEverythingBelow) {
    const auto build = [](FakeDirReader& reader, std::int64_t born, std::uint64_t size) {
        reader.folders.clear();
        reader.addFolder("/r", "d", {.mtime = 5, .birthTime = born});
        reader.addFolder("/r/d", "e", {.mtime = 5, .birthTime = born});
        reader.add("/r/d/e", "f", {.size = size, .type = ObjectType::file});
        reader.addFolder("/r", "plain", {.mtime = 5, .birthTime = 1});
    };
    for (const Paths& dirs : {Paths{"/r"}, Paths{"/r/d"}, Paths{"/r", "/r/d", "/r/d/e"}}) {
        FakeVolume volume;
        build(volume.reader, 10, 1);
        volume.scan();
        build(volume.reader, 20, 2);
        const RefreshStats stats = volume.refresh(dirs);
        EXPECT_EQ(stats.listed, dirs == Paths{"/r/d"} ? 2U : 3U);
        EXPECT_EQ(stats.updated, 3U);
        volume.expectAsScanned();
    }
}

TEST(RefreshTest, ExcludedFoldersAreNotRead) {
    TempTree tree;
    tree.file("skip/deep/f");
    tree.file("skip2/f");
    const auto index = scanned({tree.path()}, {tree.path("skip/"), tree.path("later")});
    tree.file("skip/deep/new");
    tree.file("skip2/new");
    tree.file("later/new");
    const Paths dirs = {tree.path("skip"), tree.path("skip/deep"), tree.path("skip2")};
    EXPECT_EQ(index->refresh(dirs, {}).listed, 1U);
    EXPECT_EQ(index->refresh(Paths{tree.path()}, {.recursive = true}).listed, 2U);
    StoreDump now = dump(*index);
    EXPECT_TRUE(now.contains(tree.path("skip2/new")));
    EXPECT_TRUE(now.contains(tree.path("later")));
    EXPECT_FALSE(now.contains(tree.path("later/new")));
    EXPECT_FALSE(now.contains(tree.path("skip/deep")));
}

TEST(RefreshTest, RepeatingFoldersStayUnread) {
    FakeVolume volume;
    std::string path = "/r";
    for (int i = 0; i < 5; ++i) {
        volume.reader.addFolder(path, "a");
        path += "/a";
    }
    volume.scan();
    volume.reader.addFolder(path, "a");
    volume.reader.add(path + "/a", "f", aFile);
    volume.refresh({path, path + "/a"});
    EXPECT_EQ(volume.refresh({path + "/a"}).listed, 0U);
    volume.expectAsScanned();
}

TEST(RefreshTest, IncludedExtensionsHold) {
    TempTree tree;
    tree.file("a.mp3");
    VolumeIndex index(1U << 16, 1U << 20);
    index.setIncludeExts({"mp3"});
    index.scan(Paths{tree.path()}, 1);
    tree.file("b.MP3");
    tree.file("b.txt");
    tree.file("d/c.mp3");
    tree.file("d/c.txt");
    EXPECT_EQ(index.refresh(Paths{tree.path()}, {}).added, 3U);
}

TEST(RefreshTest, FolderUnderTwoRootsIsReadForBoth) {
    TempTree tree;
    tree.file("a/b/f");
    const Paths roots = {tree.path(), tree.path("a")};
    const auto index = scanned(roots);
    tree.file("a/b/g");
    EXPECT_EQ(index->refresh(Paths{tree.path("a/b")}, {}).added, 2U);
    EXPECT_EQ(dump(*index), dump(*scanned(roots)));
}

TEST(RefreshTest, RootAtTheTopOfTheSystem) {
    FakeVolume volume;
    volume.reader.folders["/"];
    volume.reader.add("/", "a", {.type = ObjectType::folder});
    volume.reader.folders["/a"];
    volume.reader.folders[""].children = volume.reader.folders["/"].children; // for status("/a")
    volume.scan({"/"});
    volume.reader.add("/a", "f", aFile);
    expectStats(volume.refresh({"/a"}), {.listed = 1, .added = 1});
    volume.reader.add("/", "g", aFile);
    expectStats(volume.refresh({"/"}), {.listed = 1, .added = 1});
    EXPECT_EQ(volume.index->path(2), "/a/f");
}

// --- Mounts, refusals, the end of the root -------------------------------------------------------

TEST(RefreshTest, MountPointIsClosedAndOpensAgain) {
    FakeVolume volume;
    volume.reader.addFolder("/r", "m", {.mtime = 1, .birthTime = 1});
    volume.reader.addFolder("/r/m", "under");
    volume.reader.add("/r/m/under", "f", aFile);
    volume.scan();
    const DirChild unmounted = volume.reader.child("/r", "m");
    const DirChild mounted = {
        .mtime = 9, .birthTime = 9, .type = ObjectType::folder, .isMountPoint = true};
    for (const char* dir : {"/r", "/r/m", "/r/m/under", "/r/m/unknown/x"}) {
        volume.reader.child("/r", "m") = mounted;
        EXPECT_EQ(volume.refresh({dir}).removed, 2U) << dir;
        volume.expectAsScanned();
        volume.refresh({"/r/m/unknown/x", "/r/m"}, true); // what is mounted there is not ours
        volume.expectAsScanned();
        volume.reader.child("/r", "m") = unmounted;
        EXPECT_EQ(volume.refresh({"/r/m"}).added, 2U) << dir;
        volume.expectAsScanned();
    }
}

TEST(RefreshTest, NewMountPointIsRecordedAndNotEntered) {
    FakeVolume volume;
    volume.reader.folders["/r"];
    volume.scan();
    volume.reader.addFolder("/r", "m", {.isMountPoint = true});
    volume.reader.add("/r/m", "f", aFile);
    expectStats(volume.refresh({"/r"}), {.listed = 1, .added = 1});
    volume.expectAsScanned();
}

TEST(RefreshTest, FolderThatCannotBeReadKeepsItsEntries) {
    for (int error : {EACCES, EIO}) {
        FakeVolume volume;
        volume.reader.addFolder("/r", "d");
        volume.reader.add("/r/d", "f", aFile);
        volume.scan();
        volume.reader.folders["/r/d"] = {.children = {}, .error = error};
        expectStats(volume.refresh({"/r/d"}), {});
        EXPECT_TRUE(dump(*volume.index).contains("/r/d/f"));
    }
}

TEST(RefreshTest, MissingRootIsReportedAndNothingIsRemoved) {
    for (bool becomesFile : {false, true}) {
        TempTree tree;
        tree.file("root/d/f");
        const auto index = scanned({tree.path("root")});
        const StoreDump before = dump(*index);
        tree.remove("root");
        if (becomesFile)
            tree.file("root");
        for (const char* dir : {"root", "root/d", "root/unknown/x"}) {
            expectStats(index->refresh(Paths{tree.path(dir)}, {.recursive = true}),
                        {.rootMissing = true});
            EXPECT_EQ(dump(*index), before);
        }
    }
}

TEST(RefreshTest, FullStoreAsksForARescan) {
    for (bool inNewFolder : {false, true}) {
        TempTree tree;
        tree.folder("d");
        VolumeIndex index(10, 10'000);
        index.scan(Paths{tree.path()}, 1);
        EXPECT_FALSE(index.refresh(Paths{tree.path()}, {}).fullRescan);
        for (int i = 0; i < 20; ++i)
            tree.file((inNewFolder ? "d/new/" : "d/") + std::to_string(i));
        EXPECT_TRUE(index.refresh(Paths{tree.path("d")}, {}).fullRescan);
        EXPECT_EQ(index.liveCount(), inNewFolder ? 3U : 2U);
    }
}

// --- Against a fresh scan -----------------------------------------------------------------------

TEST(RefreshTest, CatalogueAfterAStormEqualsAFreshScan) {
    for (unsigned seed = 1; seed <= 8; ++seed) {
        TempTree tree;
        tree.folder("root");
        tree.folder("outside");
        const Paths roots = {tree.path("root")};
        FileStorm storm(roots[0], tree.path("outside"), {.seed = seed});
        storm.populate(100);
        const auto index = scanned(roots);
        for (int round = 0; round < 4; ++round) {
            storm.run(60);
            index->refresh(storm.takeFolders(), {.threads = 3});
            ASSERT_EQ(dump(*index), dump(*scanned(roots))) << "seed " << seed;
            ASSERT_EQ(index->liveCount(), dump(*index).size());
        }
    }
}

} // namespace
} // namespace quarrydex
