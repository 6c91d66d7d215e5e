#include "QuarrydexCore/catalog/ExportFile.h"
#include "QuarrydexCore/store/fidx_snapshot.h"

#include "tests/support/ChildProcess.h"
#include "tests/support/ScriptedOps.h"
#include "tests/support/Snapshots.h"

#include <atomic>
#include <numeric>
#include <thread>

#include <sys/stat.h>
#include <unistd.h>

namespace quarrydex {
namespace {

using namespace quarrydex::testing;

const std::string golden = std::string(QDX_TEST_DATA) + "/golden/small";

std::unique_ptr<VolumeIndex> loaded(const std::string& path) {
    auto result = VolumeIndex::load(path, {}, 1 << 20, 1 << 25);
    EXPECT_TRUE(result.has_value()) << path;
    return result ? std::move(result->index) : nullptr;
}

/// The file of a catalogue with orders that is no longer in memory.
std::string savedIn(const TempTree& tree, std::uint32_t roots = 1) {
    Random random(6);
    const Catalog catalog = countedCatalog(randomEntries(random, {2000, Names::fewWords, roots}));
    catalog.buildOrders();
    catalog.index->save(tree.path("a.idx"), someInfo());
    return tree.path("a.idx");
}

// --- The format ---------------------------------------------------------------------------------

TEST(SnapshotTest, ReadsTheFrozenFile) {
    const auto header = VolumeIndex::peek(golden + ".idx");
    ASSERT_TRUE(header.has_value());
    EXPECT_EQ(header->count, 8U);
    auto result = VolumeIndex::load(golden + ".idx", {"/golden/x"}, 100, 10'000);
    ASSERT_TRUE(result.has_value());
    for (const SnapshotInfo& info : {header->info, result->info}) {
        EXPECT_EQ(info.uuid, "2f5e-volume");
        EXPECT_EQ(info.fseUUID, "history-7");
        EXPECT_EQ(info.root, "/golden");
        EXPECT_EQ(info.eventID, 77U);
        EXPECT_EQ(info.savedAt, 1'700'000'100);
        EXPECT_EQ(info.exclHash, 0xABCDEFU);
        EXPECT_EQ(info.deleted, 1U);
        EXPECT_EQ(info.storeID, 0x1122334455667788U);
    }
    VolumeIndex& index = *result->index;
    EXPECT_EQ(index.excludes(), std::vector<std::string>{"/golden/x"});
    EXPECT_EQ(index.liveCount(), 7U);
    EXPECT_EQ(index.roots(), (std::vector<EntryId>{0, 6}));
    EXPECT_EQ(index.path(3), "/golden/Music/Café.FLAC");
    EXPECT_EQ(index.foldedName(3), "cafe.flac");
    EXPECT_EQ(index.size(3), 1ULL << 33);
    EXPECT_EQ(index.mtime(3), 0xFFFFFFFF);
    EXPECT_EQ(index.ext(7), "mp3");
    EXPECT_FALSE(index.hasUnsavedChanges());
    EXPECT_TRUE(index.validate());
    expectRightOrders(index);
    EXPECT_EQ(index.usablePerm(SortKey::size)->movedCount, 1U);

    ASSERT_TRUE(index.loadAudio(golden + ".idx"));
    EXPECT_EQ(index.audio().meta(3)->title, "Ágætis byrjun");
    EXPECT_EQ(index.audio().meta(4)->key, "Am");
}

TEST(SnapshotTest, WritesTheFrozenFileAgainByteForByte) {
    const TempTree tree;
    auto result = VolumeIndex::load(golden + ".idx", {}, 100, 10'000);
    ASSERT_TRUE(result && result->index->loadAudio(golden + ".idx"));
    result->index->save(tree.path("again.idx"), result->info);
    EXPECT_TRUE(readBytes(tree.path("again.idx")) == readBytes(golden + ".idx"));
    ASSERT_TRUE(result->index->saveAudio(tree.path("again.idx")));
    EXPECT_TRUE(readBytes(tree.path("again.aud")) == readBytes(golden + ".aud"));

    struct stat status {};

    ASSERT_EQ(::stat(tree.path("again.idx").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST(SnapshotTest, TextsAreCutToTheirRoom) {
    const TempTree tree;
    const auto index = catalogOf({{"/r", noParent, EntryFlags::dir | EntryFlags::root}});
    SnapshotInfo info = someInfo();
    info.root = std::string(2000, 'x');
    info.uuid = std::string(48, 'u');
    index->save(tree.path("a.idx"), info);
    const auto header = VolumeIndex::peek(tree.path("a.idx"));
    ASSERT_TRUE(header.has_value());
    EXPECT_EQ(header->info.root, std::string(1023, 'x'));
    EXPECT_EQ(header->info.uuid, std::string(47, 'u'));
}

// --- There and back -----------------------------------------------------------------------------

class RoundTrip : public ::testing::TestWithParam<Shape> {};

TEST_P(RoundTrip, KeepsEntriesAndOrders) {
    const TempTree tree;
    Random random(5);
    const Catalog catalog = countedCatalog(randomEntries(random, GetParam()));
    catalog.buildOrders();
    for (EntryId id = 1; id < catalog.index->count(); id += 17)
        catalog.change(SortKey::size, id, below(random, 3));
    const std::string path = tree.path("a.idx");
    catalog.index->save(path, someInfo());
    expectRightOrders(*catalog.index); // whose columns are mapped from the file by now

    const auto again = loaded(path);
    ASSERT_NE(again, nullptr);
    expectSameEntries(*catalog.index, *again);
    EXPECT_EQ(again->storeID(), catalog.index->storeID());
    std::vector<EntryId> roots(GetParam().roots);
    std::iota(roots.begin(), roots.end(), 0);
    EXPECT_EQ(again->roots(), roots);
    for (SortKey key : allSortKeys)
        EXPECT_FALSE(again->usablePerm(key).has_value()) << "unchecked orders are for nobody";
    expectRightOrders(*again);
    ASSERT_TRUE(again->validate());
    for (SortKey key : allSortKeys) {
        const auto before = catalog.index->usablePerm(key);
        const auto after = again->usablePerm(key);
        ASSERT_TRUE(before.has_value());
        if (before->perm.count() == 0)
            continue; // an empty slot is none
        ASSERT_TRUE(after.has_value()) << rawValue(key);
        EXPECT_EQ(before->covers, after->covers);
        EXPECT_EQ(before->movedCount, after->movedCount);
        EXPECT_EQ(after->rank != nullptr, key == SortKey::name);
        EXPECT_TRUE(std::ranges::equal(before->perm.ids(), after->perm.ids()));
    }
    expectRightOrders(*again);
}

INSTANTIATE_TEST_SUITE_P(Shapes,
                         RoundTrip,
                         ::testing::Values(Shape{1, Names::fewWords},
                                           Shape{3000, Names::fewWords, 3},
                                           Shape{800, Names::anyBytes, 1, true},
                                           Shape{5000, Names::longPrefixes, 2}));

TEST(SnapshotTest, ALoadedCatalogueGrowsAndSavesItsOwnFileAgain) {
    const TempTree tree;
    const std::string path = savedIn(tree, 2);
    fidx_info ignored;
    fidx* store = fidx_load(path.c_str(), 1 << 20, 1 << 25, &ignored);
    ASSERT_NE(store, nullptr);
    const auto grown = VolumeIndex::adopting(store, 1, {});
    for (int round = 0; round < 3; ++round) {
        const std::vector<PlainEntry> more = {{"New.MD", 1, 0, 5, 6, 7}, {"b.mp3", 2, 0, 8, 9, 1}};
        appendAll(store, more);
        const EntryId victims[] = {4, 5, static_cast<EntryId>(6 + round)};
        grown->markDeleted(victims);
        grown->change(std::vector<EntryChange>{{8, 1234, 5, 6}, {9, 4, 5, 6}});
        grown->save(path, someInfo());
        const auto again = loaded(path);
        ASSERT_NE(again, nullptr);
        expectSameEntries(*grown, *again);
        EXPECT_TRUE(again->validate());
        const std::string known[] = {"md"}; // it was in the file
        EXPECT_EQ(again->extID(grown->count() - 2), again->extIDs(known).at(0));
    }
}

TEST(SnapshotTest, ALoadedOrderStaysRightWhileItsFileIsReplaced) {
    const TempTree tree;
    const std::string path = savedIn(tree);
    const auto index = loaded(path);
    const auto held = index->ordered(everything(*index), SortKey::path, {});
    index->save(path, someInfo()); // unchecked orders are saved like others
    expectRightOrders(*index);
    ASSERT_TRUE(index->validate());
    const auto perm = index->cachedPermutation(SortKey::path);
    index->save(path, someInfo());
    ASSERT_TRUE(perm && perm->isMapped());
    EXPECT_TRUE(std::ranges::equal(perm->ids(), held));
    expectRightOrders(*index);
}

TEST(SnapshotTest, ValuesThatChangeBeforeTheCheckCountAsMoved) {
    const TempTree tree;
    const std::string path = savedIn(tree);
    const auto index = loaded(path);
    Random random(8);
    std::vector<EntryChange> changes;
    for (EntryId id = 1; id < 2000; id += 3)
        changes.push_back({id, below(random, 9), below(random, 9), below(random, 9)});
    index->change(changes);
    expectRightOrders(*index);
    EXPECT_TRUE(index->validate());
    expectRightOrders(*index);
    EXPECT_TRUE(index->usablePerm(SortKey::size).has_value());
}

// --- What is saved ------------------------------------------------------------------------------

TEST(SnapshotTest, AChangeIsUnsavedUntilASaveHasSeenIt) {
    const TempTree tree;
    const auto index = catalogOf({{"/r", noParent, EntryFlags::dir | EntryFlags::root}, {"a", 0}});
    EXPECT_FALSE(index->hasUnsavedChanges());
    index->change(std::vector<EntryChange>{{1, 0, 0, 0}});
    EXPECT_FALSE(index->hasUnsavedChanges()) << "nothing is different";
    index->change(std::vector<EntryChange>{{1, 3, 0, 0}});
    EXPECT_TRUE(index->hasUnsavedChanges());
    index->save(tree.path("a.idx"), someInfo());
    EXPECT_FALSE(index->hasUnsavedChanges());
    index->markDeleted(1);
    EXPECT_TRUE(index->hasUnsavedChanges());
    EXPECT_THROW(index->save(tree.path("none/a.idx"), someInfo()), IndexError);
    EXPECT_TRUE(index->hasUnsavedChanges());
}

/// Changes in the midst of saves: every one is in memory afterwards, and what is saved belongs
/// together. Readers go on all the while.
TEST(SnapshotTest, NoChangeIsLostToASave) {
    const TempTree tree;
    const std::string path = tree.path("a.idx");
    Random random(9);
    const Catalog catalog = countedCatalog(randomEntries(random, {20'000, Names::fewWords}));
    VolumeIndex& index = *catalog.index;
    index.rebuildPermutation(SortKey::size);
    std::atomic<bool> isDone = false;
    std::vector<std::uint64_t> sizes(index.count()); // 0: never written
    std::thread writer([&] {
        for (std::uint64_t size = 5; !isDone; ++size) {
            const EntryId id = static_cast<EntryId>(1 + size * 7 % (index.count() - 1));
            sizes[id] = size;
            index.change(std::vector<EntryChange>{{id, size, id, id}});
            if (id % 3 == 0)
                index.markDeleted(id);
        }
    });
    std::thread reader([&] {
        std::uint64_t sum = 0;
        while (!isDone)
            for (EntryId id = 0; id < index.count(); ++id)
                sum += index.size(id) + index.name(id).size() + index.flags(id);
        EXPECT_NE(sum, 0U);
    });
    for (int saves = 0; saves < 6; ++saves) {
        index.save(path, someInfo());
        const auto again = loaded(path);
        EXPECT_TRUE(again && again->validate()) << "values and moved bits of different moments";
    }
    isDone = true;
    writer.join();
    reader.join();
    for (EntryId id = 1; id < index.count(); ++id) {
        if (sizes[id] == 0)
            continue;
        ASSERT_EQ(index.size(id), sizes[id]) << id;
        ASSERT_TRUE((index.flags(id) & EntryFlags::deleted) != 0 || id % 3 != 0) << id;
    }
    index.save(path, someInfo());
    EXPECT_FALSE(index.hasUnsavedChanges());
    expectSameEntries(index, *loaded(path));
    expectRightOrders(index);
}

TEST(SnapshotTest, AChangeThatWaitedForASaveIsNotCountedAsSaved) {
    const TempTree tree;
    const std::string path = tree.path("a.idx");
    Random random(10);
    const Catalog catalog = countedCatalog(randomEntries(random, {500, Names::fewWords}));
    catalog.buildOrders();
    VolumeIndex& index = *catalog.index;
    const int calls = [&] {
        ScriptedOps ops;
        index.save(path, someInfo());
        return ops.calls;
    }();
    for (std::uint64_t round = 0; round < 40; ++round) {
        std::thread changer;
        ScriptedOps ops;
        ops.before = [&](int call) -> std::optional<int> {
            if (call == calls - 2) { // all is written and to be flushed, closed and renamed
                EXPECT_EQ(index.roots().size(), 0U) << "readers go on"; // these were not scanned
                changer = std::thread([&, round] {
                    index.change(std::vector<EntryChange>{{5, 100 + round, 1, 1}});
                });
            }
            return std::nullopt;
        };
        index.save(path, someInfo());
        changer.join();
        EXPECT_EQ(index.size(5), 100 + round);
        if (loaded(path)->size(5) != 100 + round) {
            EXPECT_TRUE(index.hasUnsavedChanges()) << round;
        }
    }
}

TEST(SnapshotTest, ASaveForAnotherCountIsRefused) {
    const TempTree tree;
    const Catalog catalog({{"/r", noParent, EntryFlags::dir | EntryFlags::root}, {"a", 0}});
    fidx_info info{};
    const std::string path = tree.path("a.idx");
    EXPECT_EQ(fidx_save(catalog.store, path.c_str(), &info, 1, {}), fidx_changed);
    EXPECT_TRUE(filesIn(tree.path()).empty());
    EXPECT_EQ(fidx_save(catalog.store, path.c_str(), &info, 2, {}), fidx_ok);
}

// --- Paths --------------------------------------------------------------------------------------

TEST(SnapshotTest, OnlyFilesOfTheProgramsOwnAreWrittenAndRemoved) {
    TempTree tree;
    tree.folder("d.idx");
    const std::string longest = "/" + std::string(1015 - tree.path("/.idx").size(), 'x') + ".idx";

    const struct {
        std::string path;
        int written;
        int removed;
    } cases[] = {
        {tree.path("a.idx"), fidx_ok, fidx_ok},
        {tree.path("a.aud"), fidx_ok, fidx_ok},
        {tree.path("a.ord"), fidx_ok, fidx_refused},
        {tree.path("a.txt"), fidx_refused, fidx_refused},
        {tree.path("a.idx.tmp"), fidx_refused, fidx_refused},
        {tree.path("d.idx"), fidx_error, fidx_error},    // a folder stands there
        {tree.path() + longest, fidx_error, fidx_error}, // allowed, but no system has such a name
        {tree.path() + longest + "x.idx", fidx_refused, fidx_refused},
        {".idx", fidx_refused, fidx_refused},
        {"", fidx_refused, fidx_refused},
    };

    for (const auto& one : cases) {
        EXPECT_EQ(fidx_write_file(one.path.c_str(), "x", 1), one.written) << one.path;
        EXPECT_EQ(fidx_remove_cache(one.path.c_str()), one.removed) << one.path;
    }
    EXPECT_EQ(filesIn(tree.path()), (std::vector<std::string>{"a.ord", "d.idx"}));
}

TEST(SnapshotTest, ListsAreExportedUnderTheirOwnNamesOnly) {
    TempTree tree;

    const struct {
        std::string path;
        int result;
    } cases[] = {{tree.path("a.csv"), fidx_ok},         {tree.path("a.TSV"), fidx_ok},
                 {tree.path("a.m3u"), fidx_ok},         {tree.path("a.M3U8"), fidx_ok},
                 {tree.path("a.idx"), fidx_refused},    {tree.path("a.m3u9"), fidx_refused},
                 {tree.path("no/a.csv"), fidx_refused}, {"/.csv", fidx_refused}};

    for (const auto& one : cases)
        EXPECT_EQ(fidx_export_file(one.path.c_str(), "list", 4), one.result) << one.path;
    EXPECT_EQ(readBytes(tree.path("a.TSV")), "list");
    ExportFile{"longer list"}.save(tree.path("a.csv"));
    EXPECT_EQ(readBytes(tree.path("a.csv")), "longer list");
    const mode_t mask = ::umask(0);
    ::umask(mask);

    struct stat status {};

    ASSERT_EQ(::stat(tree.path("a.csv").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0644U & ~mask);
    EXPECT_THROW(ExportFile{""}.save(tree.path("a.txt")), IndexError);
    EXPECT_EQ(filesIn(tree.path()).size(), 4U);
}

/// In a root folder of its own, so that there is a /Volumes to be kept away from.
TEST(SnapshotTest, NothingIsEverWrittenBelowVolumes) {
    TempTree tree;
    tree.folder("Volumes/X/data");
    tree.folder("Volumesome");
    tree.folder("home");
    tree.link("home/link", "/Volumes/X/data");
    tree.file("Volumes/X/old.idx", 1);
    const int result = runInChild([&] {
        if (::chroot(tree.path().c_str()) != 0 || ::chdir("/") != 0)
            return childSkipped;
        for (const char* path :
             {"/Volumes/a.idx", "/Volumes/X/old.idx", "/Volumes/X/data/a.aud", "/home/link/a.idx",
              "/home/../Volumes/X/old.idx", "Volumes/a.idx"}) {
            EXPECT_EQ(fidx_write_file(path, "x", 1), fidx_refused) << path;
            EXPECT_EQ(fidx_remove_cache(path), fidx_refused) << path;
        }
        EXPECT_EQ(fidx_export_file("/Volumes/X/list.csv", "x", 1), fidx_refused);
        EXPECT_EQ(fidx_write_file("/Volumesome/a.idx", "x", 1), fidx_ok);
        EXPECT_EQ(fidx_write_file("b.idx", "x", 1), fidx_ok);
        return 0;
    });
    if (result == childSkipped)
        GTEST_SKIP() << "may not change the root folder";
    EXPECT_EQ(filesIn(tree.path("Volumes/X")), (std::vector<std::string>{"data", "old.idx"}));
    EXPECT_TRUE(filesIn(tree.path("Volumes/X/data")).empty());
}

TEST(SnapshotTest, TheAudioFileStandsBesideTheSnapshot) {
    EXPECT_EQ(VolumeIndex::audioPath("/x/a.idx"), "/x/a.aud");
    EXPECT_EQ(VolumeIndex::audioPath("/x/a"), "/x/a.aud");
    EXPECT_EQ(VolumeIndex::audioPath("/x.idx/a.idx.idx"), "/x.idx/a.idx.aud");

    const TempTree tree;
    const std::string path = tree.path("a.idx");
    const Catalog catalog({{"/r", noParent, EntryFlags::dir | EntryFlags::root}, {"a", 0}});
    catalog.index->save(path, someInfo());
    EXPECT_FALSE(loaded(path)->loadAudio(path));
    // The table is of a later moment than the snapshot: entry 2 is not in it.
    catalog.index->audio().upsert(
        std::vector<AudioTable::Analysed>{{1, 5, {.title = "one"}}, {2, 5, {.title = "two"}}});
    ASSERT_TRUE(catalog.index->saveAudio(path));
    const auto again = loaded(path);
    ASSERT_TRUE(again->loadAudio(path));
    EXPECT_EQ(again->audio().count(), 1U);
    EXPECT_EQ(again->audio().meta(1)->title, "one");

    EXPECT_TRUE(VolumeIndex::forgetCatalog(path));
    EXPECT_TRUE(filesIn(tree.path()).empty());
    EXPECT_FALSE(VolumeIndex::forgetCatalog(path));
}

} // namespace
} // namespace quarrydex
