#include "QuarrydexCore/catalog/DeepPass.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"
#include "QuarrydexCore/platform/Platform.h"

#include "tests/fakes/FakeDirReader.h"
#include "tests/support/FileStorm.h"
#include "tests/support/StoreDump.h"
#include "tests/support/TempTree.h"

#include <ctime>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

using Paths = std::vector<std::string>;

constexpr DirChild aFile{.type = ObjectType::file};

std::unique_ptr<VolumeIndex> scanned(const Paths& roots = {"/r"}) {
    auto index = std::make_unique<VolumeIndex>(1U << 20, std::uint64_t{1} << 26);
    index->scan(roots, 2);
    return index;
}

void expectAsScanned(const VolumeIndex& index, const Paths& roots = {"/r"}) {
    const StoreDump now = dumpStore(index.base());
    EXPECT_EQ(now, dumpStore(scanned(roots)->base()));
    EXPECT_EQ(index.liveCount(), now.size());
}

/// /r with the folders old (time 100) and young (time 1000), a file in each.
class ReconcileTest : public testing::Test {
  protected:
    ReconcileTest() {
        reader_.addFolder("/r", "old", {.mtime = 100, .birthTime = 1});
        reader_.addFolder("/r", "young", {.mtime = 1000, .birthTime = 1});
        reader_.add("/r/old", "f", aFile);
        reader_.add("/r/young", "f", aFile);
        index_ = scanned();
    }

    /// Makes both folders differ behind an unchanged time.
    void changeUnseen() {
        reader_.add("/r/old", "g", aFile);
        reader_.add("/r/young", "g", aFile);
    }

    [[nodiscard]] bool knows(const std::string& path) const {
        return dumpStore(index_->base()).contains(path);
    }

    FakeDirReader reader_;
    InstalledDirReader installed_{reader_};
    std::unique_ptr<VolumeIndex> index_;
};

TEST_F(ReconcileTest, FoldersWithAnotherTimeAreRead) {
    changeUnseen();
    const RefreshStats unseen = index_->reconcileByFolderMtime({.threads = 3});
    EXPECT_EQ(unseen.listed, 1U); // the root
    EXPECT_EQ(unseen.added, 0U);
    reader_.child("/r", "old").mtime = 99; // back counts too
    const RefreshStats stats = index_->reconcileByFolderMtime({.threads = 3});
    EXPECT_EQ(stats.listed, 2U);
    EXPECT_EQ(stats.added, 1U);
    EXPECT_TRUE(knows("/r/old/g"));
    EXPECT_EQ(index_->reconcileByFolderMtime({.threads = 3}).listed, 1U);
}

TEST_F(ReconcileTest, FoldersAsYoungAsTheReferenceAreReadWhateverTheirTime) {
    changeUnseen();

    const struct {
        std::int64_t reference;
        std::uint64_t listed;
    } cases[] = {{1003, 1}, {1002, 2}, {1000, 2}, {103, 2}, {102, 3}, {0, 3}};

    for (const auto& c : cases)
        EXPECT_EQ(index_->reconcileByFolderMtime({.threads = 1, .reference = c.reference}).listed,
                  c.listed)
            << c.reference;
    expectAsScanned(*index_);
}

TEST_F(ReconcileTest, FoldersMovedSinceTheReferenceAreReadWithAllBelow) {
    reader_.addFolder("/r/old", "sub", {.mtime = 50, .birthTime = 1});
    index_ = scanned();
    reader_.add("/r/old/sub", "other", aFile); // of a twin in its place
    reader_.moveTimes["/r/old"] = 997;
    EXPECT_EQ(index_->reconcileByFolderMtime({.reference = 1000}).added, 0U);
    EXPECT_EQ(index_->reconcileByFolderMtime({}).added, 0U);
    EXPECT_EQ(index_->reconcileByFolderMtime({.reference = 999}).added, 1U);
    expectAsScanned(*index_);
}

TEST_F(ReconcileTest, MissingRootChangesNothing) {
    const StoreDump before = dumpStore(index_->base());
    reader_.folders.clear();
    EXPECT_TRUE(index_->reconcileByFolderMtime({.threads = 2}).rootMissing);
    EXPECT_EQ(dumpStore(index_->base()), before);
}

TEST_F(ReconcileTest, NothingIsBelievedWhenTheGuardSaysNo) {
    const StoreDump before = dumpStore(index_->base());
    reader_.folders["/r"].children.clear(); // an empty mount point
    for (int allowed = 0; allowed < 2; ++allowed) {
        int asked = 0;
        const RefreshStats stats = index_->reconcileByFolderMtime(
            {.threads = 2, .mayGoOn = [&] { return asked++ < allowed; }});
        EXPECT_TRUE(stats.rootMissing);
        EXPECT_EQ(dumpStore(index_->base()), before);
    }
}

TEST(ReconcileOnDiskTest, TheSystemTellsAMoveFromAChangeOfNames) {
    TempTree tree;
    tree.folder("place/inside");
    const auto moveTime = [&] {
        PathStatus status;
        EXPECT_EQ(systemPlatform().dirReader.status(tree.path("place"), status), 0);
        return status.moveTime;
    };
    EXPECT_EQ(moveTime(), 0);
    const std::int64_t before = systemPlatform().clock.now();
    // Until the clock of the file system has gone on.
    for (int tries = 0; tries < 1'000'000 && moveTime() == 0; ++tries) {
        tree.rename("place", "away");
        tree.rename("away", "place");
    }
    EXPECT_NEAR(static_cast<double>(moveTime()), static_cast<double>(before), 2);
    tree.file("place/new", 1);
    EXPECT_EQ(moveTime(), 0);
}

TEST(ReconcileOnDiskTest, StormWithoutWritesInPlaceIsFound) {
    for (unsigned seed = 1; seed <= 8; ++seed) {
        TempTree tree;
        tree.folder("root");
        tree.folder("outside");
        FileStorm storm(tree.path("root"), tree.path("outside"),
                        {.seed = seed, .writesInPlace = false});
        storm.populate(200);
        const Paths roots = {tree.path("root")};
        std::int64_t reference = std::time(nullptr);
        const auto index = scanned(roots);
        for (int round = 0; round < 3; ++round) {
            storm.run(200);
            const std::int64_t start = std::time(nullptr);
            index->reconcileByFolderMtime({.threads = 3, .reference = reference});
            reference = start;
            expectAsScanned(*index, roots);
        }
    }
}

TEST(DeepPassTest, ReadsEveryFolderOnceTheYoungestFirst) {
    TempTree tree;
    for (int i = 0; i < 300; ++i) {
        const std::string folder = "d" + std::to_string(i);
        tree.file(folder + "/f", 1);
        tree.setTimes(folder, 1000 + i);
    }
    const auto index = scanned({tree.path()});
    for (int i = 0; i < 300; ++i) {
        const std::string folder = "d" + std::to_string(i);
        tree.file(folder + "/f", 2);
    }
    DeepPass pass(*index);
    EXPECT_EQ(pass.total(), 301U);
    EXPECT_EQ(pass.step({}).listed, DeepPass::slice);
    StoreDump dump = dumpStore(index->base());
    EXPECT_EQ(dump[tree.path("d299/f")].size, 2U);
    EXPECT_EQ(dump[tree.path("d0/f")].size, 1U);
    EXPECT_EQ(pass.step({}).listed, 301U - DeepPass::slice);
    EXPECT_TRUE(pass.isDone());
    expectAsScanned(*index, {tree.path()});
}

} // namespace
} // namespace quarrydex
