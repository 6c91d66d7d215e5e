/// A save may fail, or the program die, at every one of its system calls: the old file is whole
/// afterwards, or the new one is, and nothing else is left.
#include "QuarrydexCore/catalog/ExportFile.h"
#include "QuarrydexCore/store/fidx_snapshot.h"

#include "tests/support/ScriptedOps.h"
#include "tests/support/Snapshots.h"

#include <cerrno>
#include <csignal>

#include <sys/wait.h>
#include <unistd.h>

namespace quarrydex {
namespace {

using namespace quarrydex::testing;

/// A catalogue that was saved once and has changed since.
struct Changed {
    Changed() {
        Random random(2);
        catalog.emplace(countedCatalog(randomEntries(random, {300, Names::fewWords})));
        catalog->buildOrders();
        catalog->index->save(path(), someInfo());
        old = readBytes(path());
        catalog->index->markDeleted(EntryId{7});
        catalog->index->change(std::vector<EntryChange>{{8, 1, 2, 3}});
    }

    [[nodiscard]] std::string path() const { return tree.path("a.idx"); }

    /// The file is the old one or, after a save that succeeded, holds the catalogue.
    void expectWhole() const {
        if (readBytes(path()) == old)
            return;
        const auto again = VolumeIndex::load(path(), {}, 1 << 20, 1 << 25);
        ASSERT_TRUE(again.has_value());
        expectSameEntries(*catalog->index, *again->index);
        EXPECT_TRUE(again->index->validate());
    }

    TempTree tree;
    std::optional<Catalog> catalog;
    std::string old;
};

int callsOfASave() {
    Changed changed;
    ScriptedOps ops;
    changed.catalog->index->save(changed.path(), someInfo());
    return ops.calls;
}

TEST(SaveFailureTest, EveryFailedCallLeavesTheOldFileAlone) {
    Changed changed;
    const int calls = callsOfASave();
    ASSERT_GE(calls, 15); // open, ten columns and five orders, size, header, fsync, close, rename
    for (const int error : {ENOSPC, EIO, EACCES}) {
        for (int failing = 1; failing <= calls; ++failing) {
            for (const bool isGone : {false, true}) { // from then on, as on a disk that was pulled
                ScriptedOps ops;
                ops.before = [&](int call) -> std::optional<int> {
                    errno = error;
                    return call == failing || (isGone && call > failing) ? std::optional(-1)
                                                                         : std::nullopt;
                };
                EXPECT_THROW(changed.catalog->index->save(changed.path(), someInfo()), IndexError)
                    << failing;
            }
            EXPECT_EQ(filesIn(changed.tree.path()), std::vector<std::string>{"a.idx"}) << failing;
            ASSERT_TRUE(readBytes(changed.path()) == changed.old) << failing;
            EXPECT_TRUE(changed.catalog->index->hasUnsavedChanges());
        }
    }
    changed.catalog->index->save(changed.path(), someInfo());
    EXPECT_FALSE(readBytes(changed.path()) == changed.old);
    changed.expectWhole();
}

TEST(SaveFailureTest, TheMessageTellsTheFileAndTheReason) {
    Changed changed;
    ScriptedOps ops;
    ops.before = [](int call) -> std::optional<int> {
        errno = ENOSPC;
        return call == 3 ? std::optional(-1) : std::nullopt;
    };
    try {
        changed.catalog->index->save(changed.path(), someInfo());
        FAIL() << "saved";
    } catch (const IndexError& error) {
        EXPECT_EQ(error.what(), "Cannot save “" + changed.path() + "”: No space left on device");
        EXPECT_EQ(error.kind(), IndexError::Case::cannotSave);
    }
}

/// Every other call is interrupted by a signal, and writes end early.
class InterruptedOps : public FileOps {
  public:
    InterruptedOps() { setFileOps(this); }

    ~InterruptedOps() override { setFileOps(nullptr); }

    InterruptedOps(const InterruptedOps&) = delete;
    InterruptedOps& operator=(const InterruptedOps&) = delete;

    ssize_t pwrite(int fd, const void* bytes, std::size_t count, off_t offset) override {
        return interrupts() ? -1 : FileOps::pwrite(fd, bytes, count / 2 + 1, offset);
    }

    int ftruncate(int fd, off_t size) override {
        return interrupts() ? -1 : FileOps::ftruncate(fd, size);
    }

    int fsync(int fd) override { return interrupts() ? -1 : FileOps::fsync(fd); }

    int interruptions = 0;

  private:
    bool interrupts() {
        isNext_ = !isNext_;
        interruptions += isNext_ ? 1 : 0;
        errno = EINTR;
        return isNext_;
    }

    bool isNext_ = false;
};

TEST(SaveFailureTest, SignalsAndShortWritesAreGoneThrough) {
    Changed changed;
    {
        InterruptedOps ops;
        changed.catalog->index->save(changed.path(), someInfo());
        EXPECT_GT(ops.interruptions, 50);
    }
    EXPECT_FALSE(readBytes(changed.path()) == changed.old);
    changed.expectWhole();
}

TEST(SaveFailureTest, OtherFilesAreReplacedAsAWholeToo) {
    TempTree tree;
    const std::string path = tree.path("a.csv");
    ExportFile{"old"}.save(path);
    for (int failing = 1; failing <= 5; ++failing) {
        ScriptedOps ops;
        ops.before = [&](int call) { return call == failing ? std::optional(-1) : std::nullopt; };
        EXPECT_THROW(ExportFile{"new list"}.save(path), IndexError) << failing;
        EXPECT_EQ(readBytes(path), "old");
        EXPECT_EQ(filesIn(tree.path()), std::vector<std::string>{"a.csv"});
    }
}

// --- Death --------------------------------------------------------------------------------------

TEST(SaveFailureTest, DyingAtAnyCallLeavesAWholeFile) {
    Changed changed;
    const int calls = callsOfASave();
    for (int last = 1; last <= calls; ++last) {
        for (const bool dieAfter : {false, true}) {
            const pid_t child = ::fork();
            if (child == 0) {
                ScriptedOps ops;
                if (dieAfter)
                    ops.after = [last](int call) { call == last ? ::raise(SIGKILL) : 0; };
                else
                    ops.before = [last](int call) -> std::optional<int> {
                        call == last ? ::raise(SIGKILL) : 0;
                        return std::nullopt;
                    };
                changed.catalog->index->save(changed.path(), someInfo());
                ::_exit(0);
            }
            int status = 0;
            ASSERT_EQ(::waitpid(child, &status, 0), child);
            EXPECT_TRUE(WIFSIGNALED(status)) << last;
            changed.expectWhole();
        }
    }
    // What a dead process left behind is in nobody's way.
    changed.catalog->index->save(changed.path(), someInfo());
    EXPECT_EQ(filesIn(changed.tree.path()), std::vector<std::string>{"a.idx"});
    changed.expectWhole();
}

} // namespace
} // namespace quarrydex
