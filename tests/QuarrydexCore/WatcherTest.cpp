#include "QuarrydexCore/platform/Platform.h"
#include "QuarrydexCore/watch/VolumeWatcher.h"

#include "tests/fakes/FakeChangeStream.h"
#include "tests/fakes/FakeClock.h"
#include "tests/support/StoreDump.h"
#include "tests/support/TempTree.h"

#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

constexpr std::uint64_t second = 1'000'000'000;

/// A small real tree, its catalogue, and a watcher whose stream and clock the test plays.
class WatcherTest : public testing::Test {
  protected:
    WatcherTest() {
        tree_.file("a/one", 1);
        tree_.file("b/c/two", 2);
        index_->scan(std::vector{tree_.path()}, 1);
    }

    void open(VolumeWatcher::Options options = {}) {
        if (options.root.empty())
            options.root = tree_.path();
        VolumeWatcher::Callbacks callbacks;
        callbacks.onApplied = [this](const RefreshStats& stats) { applied_.push_back(stats); };
        callbacks.onCaughtUp = [this] { ++caughtUp_; };
        callbacks.onNeedsRescan = [this](bool missing) { needsRescan_.push_back(missing); };
        callbacks.onAttached = [this] { ++attached_; };
        callbacks.onDeepPassDone = [this] { ++deepPasses_; };
        watcher_ = std::make_unique<VolumeWatcher>(index_, std::move(options), callbacks, streams_,
                                                   clock_);
        watcher_->start();
        settle();
    }

    /// Opens a watcher that is caught up.
    void openLive(VolumeWatcher::Options options = {}) {
        open(std::move(options));
        report("", ChangeFlags::historyDone, 10);
        applied_.clear();
    }

    void report(const std::string& rel, std::uint32_t flags, std::uint64_t id) {
        streams_.deliver(
            {{.path = rel.empty() ? tree_.path() : tree_.path(rel), .flags = flags, .id = id}});
        settle();
    }

    void advance(double seconds) {
        clock_.advance(seconds);
        settle();
    }

    void settle() { watcher_->settle(); }

    [[nodiscard]] bool knows(const std::string& rel) const {
        return dumpStore(index_->base()).contains(tree_.path(rel));
    }

    TempTree tree_;
    std::shared_ptr<VolumeIndex> index_ =
        std::make_shared<VolumeIndex>(1U << 16, std::uint64_t{1} << 22);
    FakeClock clock_;
    FakeChangeStreams streams_;
    std::vector<RefreshStats> applied_;
    std::vector<bool> needsRescan_;
    int caughtUp_ = 0;
    int attached_ = 0;
    int deepPasses_ = 0;
    std::unique_ptr<VolumeWatcher> watcher_;
};

// --- Applies ------------------------------------------------------------------------------------

TEST_F(WatcherTest, TenEventsWithinTheQuietPeriodAreOneRefresh) {
    openLive();
    for (std::uint64_t i = 0; i < 10; ++i) {
        tree_.file("a/new" + std::to_string(i));
        report("a", 0, 20 + i);
        advance(0.1);
    }
    EXPECT_TRUE(applied_.empty());
    advance(0.39);
    EXPECT_TRUE(applied_.empty());
    EXPECT_LT(watcher_->lastEventID(), 20U);
    advance(0.02);
    ASSERT_EQ(applied_.size(), 1U);
    EXPECT_EQ(applied_[0].listed, 1U);
    EXPECT_EQ(applied_[0].added, 10U);
    EXPECT_EQ(watcher_->lastEventID(), 29U);
    advance(10);
    EXPECT_EQ(applied_.size(), 1U);
}

TEST_F(WatcherTest, EndlessWriterDoesNotStarveTheApply) {
    openLive({.debounce = 0.5, .maxDelay = 2});
    tree_.file("a/new");
    for (std::uint64_t i = 0; i < 20; ++i) { // an event every 0.1 s
        report(i == 0 ? "a" : "b", 0, 20 + i);
        EXPECT_TRUE(applied_.empty());
        advance(0.1);
    }
    ASSERT_EQ(applied_.size(), 1U);
    EXPECT_TRUE(knows("a/new"));
    // The delay counts anew.
    for (std::uint64_t i = 0; i < 19; ++i) {
        report("b", 0, 60 + i);
        advance(0.1);
    }
    EXPECT_EQ(applied_.size(), 1U);
    advance(0.3);
    EXPECT_EQ(applied_.size(), 2U);
}

TEST_F(WatcherTest, FlagsChooseWhatIsRead) {
    const struct {
        const char* folder;
        std::uint32_t flags;
        std::uint64_t listed; ///< 0: no apply
    } cases[] = {
        {"b", 0, 1},
        {"b", ChangeFlags::mustScanSubDirs, 2},
        {"b", ChangeFlags::userDropped, 2},
        {"b", ChangeFlags::kernelDropped, 2},
        {"", ChangeFlags::mustScanSubDirs | ChangeFlags::kernelDropped, 4},
        {"b", ChangeFlags::mustScanSubDirs | ChangeFlags::mount, 2},
        {"b", ChangeFlags::mount, 0},
        {"b", ChangeFlags::unmount, 0},
    };

    openLive();
    std::uint64_t id = 100;
    for (const auto& c : cases) {
        applied_.clear();
        report(c.folder, c.flags, ++id);
        advance(1);
        EXPECT_EQ(applied_.size(), c.listed == 0 ? 0U : 1U) << c.flags;
        if (!applied_.empty()) {
            EXPECT_EQ(applied_[0].listed, c.listed) << c.flags;
        }
    }
    EXPECT_TRUE(needsRescan_.empty());
}

TEST_F(WatcherTest, FlushAppliesAtOnce) {
    openLive();
    tree_.file("a/new");
    report("a", 0, 20);
    watcher_->flush();
    EXPECT_EQ(applied_.size(), 1U);
    EXPECT_EQ(watcher_->lastEventID(), 20U);
    watcher_->flush();
    advance(5);
    EXPECT_EQ(applied_.size(), 1U); // the timer finds nothing left
}

TEST_F(WatcherTest, DataPrefixIsMappedBack) {
    openLive({.dataPrefix = "/data"});
    tree_.file("a/new");
    streams_.deliver({{.path = "/data" + tree_.path("a"), .flags = 0, .id = 20}});
    settle();
    advance(1);
    EXPECT_TRUE(knows("a/new"));
    // A root that begins with the prefix itself keeps its paths.
    openLive({.dataPrefix = tree_.path().substr(0, 4)});
    tree_.file("a/newer");
    report("a", 0, 30);
    advance(1);
    EXPECT_TRUE(knows("a/newer"));
}

TEST_F(WatcherTest, SubtreeEventIsLoggedWhenVerbose) {
    ::setenv("QUARRYDEX_VERBOSE", "1", 1);
    open();
    ::unsetenv("QUARRYDEX_VERBOSE");
    testing::internal::CaptureStderr();
    report("a", 0x05, 4711);
    report("b", 0, 4712);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "fsevents: rescan subtree " + tree_.path("a") + " flags=0x5 id=4711\n");
    open();
    testing::internal::CaptureStderr();
    report("a", 0x1, 4713);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// --- Start, replay, stop ------------------------------------------------------------------------

TEST_F(WatcherTest, ReplayIsCaughtUpWithExactlyOnce) {
    open({.since = 5 * second});
    ASSERT_EQ(streams_.opened().size(), 1U);
    EXPECT_EQ(streams_.opened()[0].since, 5 * second);
    EXPECT_EQ(streams_.opened()[0].paths, std::vector{tree_.path()});
    EXPECT_EQ(watcher_->lastEventID(), 5 * second);

    tree_.file("a/new");
    report("a", 0, 5 * second);
    advance(1); // the history may come in pieces
    EXPECT_TRUE(knows("a/new"));
    EXPECT_FALSE(watcher_->isCaughtUp());
    tree_.file("b/new");
    report("b", 0, 5 * second);
    report("", ChangeFlags::historyDone, 6 * second);
    EXPECT_TRUE(knows("b/new")); // at once
    EXPECT_TRUE(watcher_->isCaughtUp());
    EXPECT_EQ(watcher_->lastEventID(), 6 * second);
    report("", ChangeFlags::historyDone, 7 * second);
    report("a", 0, 8 * second);
    advance(1);
    EXPECT_EQ(caughtUp_, 1);
    EXPECT_EQ(attached_, 1);
}

TEST_F(WatcherTest, SweepReportsWhatDiffersFromTheCatalogue) {
    const std::int64_t past = 1'000'000;
    for (const char* folder : {"a", "b", "b/c"})
        tree_.setTimes(folder, past);
    index_->refresh(std::vector{tree_.path(), tree_.path("a"), tree_.path("b"), tree_.path("b/c")},
                    {});
    const auto now = static_cast<std::uint64_t>(systemPlatform().clock.now());
    open({.since = (now + 100) * second});
    tree_.setTimes("b/c", past + 1);
    std::vector<std::string> differing;
    streams_.opened()[0].sweep({.enter = {}, .differs = [&](const std::string& folder, bool) {
                                    differing.push_back(folder);
                                }});
    EXPECT_EQ(differing, (std::vector{tree_.path(), tree_.path("b/c")})); // a root always
}

TEST_F(WatcherTest, HeldWatcherAppliesAfterRelease) {
    open({.isHeld = true});
    EXPECT_FALSE(streams_.opened()[0].since.has_value());
    report("", ChangeFlags::historyDone, 20);
    EXPECT_EQ(attached_, 1);
    tree_.file("a/new");
    report("a", 0, 21);
    advance(10);
    watcher_->flush();
    EXPECT_FALSE(knows("a/new"));
    EXPECT_EQ(watcher_->lastEventID(), streams_.currentId);
    watcher_->release();
    settle();
    EXPECT_TRUE(knows("a/new"));
    EXPECT_EQ(caughtUp_, 1);
}

TEST_F(WatcherTest, StoppedWatcherGoesOnWhereItEnded) {
    openLive();
    report("a", 0, 3 * second);
    advance(1);
    report("b", 0, 4 * second); // pending
    watcher_->stop();
    EXPECT_FALSE(streams_.isPlaying());
    advance(10);
    EXPECT_EQ(watcher_->lastEventID(), 3 * second);
    watcher_->start();
    settle();
    ASSERT_EQ(streams_.opened().size(), 2U);
    EXPECT_EQ(streams_.opened()[1].since, 3 * second);
    report("", ChangeFlags::historyDone, 5 * second);
    EXPECT_EQ(watcher_->lastEventID(), 5 * second);
    EXPECT_EQ(caughtUp_, 1);
}

TEST_F(WatcherTest, DestroyedWatcherIsNotCalledBack) {
    openLive();
    report("a", 0, 20);
    EXPECT_GT(clock_.waiting(), 0U);
    watcher_.reset();
    clock_.advance(10);
    streams_.deliver({{.path = tree_.path("a"), .flags = 0, .id = 30}});
    EXPECT_TRUE(applied_.empty());
}

// --- The end of the root ------------------------------------------------------------------------

TEST_F(WatcherTest, ChangedRootAsksForARescanOnce) {
    const struct {
        std::uint32_t flags;
        bool isRemoved;
        bool missing;
    } cases[] = {
        {ChangeFlags::rootChanged, false, false}, // another folder stands there now
        {ChangeFlags::rootChanged, true, true},
        {ChangeFlags::rootChanged | ChangeFlags::unmount, false, true},
    };

    for (const auto& c : cases) {
        TempTree tree;
        tree.file("root/a/f");
        index_ = std::make_shared<VolumeIndex>(1U << 16, std::uint64_t{1} << 22);
        index_->scan(std::vector{tree.path("root")}, 1);
        needsRescan_.clear();
        openLive({.root = tree.path("root")});
        if (c.isRemoved)
            tree.remove("root");
        const auto report = [&](std::uint32_t flags, std::uint64_t id) {
            streams_.deliver({{.path = tree.path("root"), .flags = flags, .id = id}});
            settle();
            advance(1);
        };
        report(c.flags, 20);
        EXPECT_EQ(needsRescan_, std::vector{c.missing});
        report(c.flags, 21);
        report(0, 22);
        EXPECT_EQ(needsRescan_.size(), 1U);
        EXPECT_TRUE(applied_.empty());
        EXPECT_LT(watcher_->lastEventID(), 20U);
    }
}

TEST_F(WatcherTest, NothingIsBelievedOnceTheRootIsAnotherFolder) {
    openLive();
    const StoreDump before = dumpStore(index_->base());
    tree_.remove("a");
    tree_.remove("b");
    streams_.rootsAreIntact = false; // as after an unmount that nobody has told of yet
    report("a", 0, 20);
    report("", ChangeFlags::mustScanSubDirs, 21);
    advance(1);
    EXPECT_EQ(dumpStore(index_->base()), before);
    EXPECT_EQ(needsRescan_, std::vector{true});
}

// --- Deep pass ----------------------------------------------------------------------------------

TEST_F(WatcherTest, DeepPassFindsWhatFolderTimesDoNotTell) {
    for (int i = 0; i < 600; ++i) // several slices
        tree_.folder("many" + std::to_string(i));
    index_->refresh(std::vector{tree_.path()}, {});
    open({.since = second, .deepPass = true});
    tree_.file("b/c/two", 200);
    report("", ChangeFlags::historyDone, 2 * second);
    EXPECT_EQ(dumpStore(index_->base())[tree_.path("b/c/two")].size, 2U);
    int slices = 0;
    for (; deepPasses_ == 0 && slices < 100; ++slices) {
        report("a", 0, 3 * second); // what is reported comes first
        advance(0.3);
        advance(0.3);
    }
    EXPECT_GE(slices, 3) << "not all at once";
    EXPECT_EQ(deepPasses_, 1);
    EXPECT_EQ(dumpStore(index_->base())[tree_.path("b/c/two")].size, 200U);
    EXPECT_EQ(watcher_->status().deepPassDone, 604U);
    EXPECT_EQ(watcher_->status().deepPassTotal, 604U);
}

} // namespace
} // namespace quarrydex
