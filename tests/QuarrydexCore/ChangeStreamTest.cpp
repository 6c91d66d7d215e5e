/// The system's own change streams on real folders.
#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/platform/Platform.h"

#include "tests/support/LoopImage.h"
#include "tests/support/TempTree.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/time.h>

namespace quarrydex {
namespace {

using Reports = std::map<std::string, std::uint32_t>; ///< path below the root → flags of all

class ChangeStreamTest : public testing::TestWithParam<StreamKind> {
  protected:
    ChangeStreamTest() { tree_.folder("root"); }

    void SetUp() override {
        const auto stream = streams().open({.paths = {root()}, .kind = GetParam()});
        QDX_NEEDS(stream->status().kind == GetParam() ? "" : "no such stream can be opened here");
    }

    [[nodiscard]] static ChangeStreams& streams() { return systemPlatform().changeStreams; }

    [[nodiscard]] std::string root() const { return tree_.path("root"); }

    void open(StreamOptions options = {}) {
        if (options.paths.empty())
            options.paths = {root()};
        options.kind = GetParam();
        {
            MutexLock held(lock_);
            top_ = options.paths[0];
            since_ = options.since.value_or(0);
            isLive_ = false;
        }
        stream_ = streams().open(std::move(options));
        stream_->start([this](std::vector<ChangeEvent> events) { note(events); });
        MutexLock held(lock_);
        while (!isLive_)
            changed_.wait(lock_);
    }

    void note(const std::vector<ChangeEvent>& events) {
        MutexLock held(lock_);
        for (const ChangeEvent& event : events) {
            EXPECT_GE(event.id, lastId_);
            lastId_ = event.id;
            if (!isLive_ && (event.flags & ChangeFlags::historyDone) == 0) {
                EXPECT_EQ(event.id, since_); // nothing is caught up with yet
            }
            if ((event.flags & ChangeFlags::historyDone) != 0) {
                isLive_ = true;
                doneId_ = event.id;
                continue;
            }
            EXPECT_TRUE(event.path.starts_with(top_)) << event.path;
            reports_[event.path == top_ ? "" : event.path.substr(top_.size() + 1)] |= event.flags;
        }
        changed_.notifyAll();
    }

    /// Everything reported since the last call.
    Reports take() {
        stream_->flush();
        MutexLock held(lock_);
        return std::exchange(reports_, {});
    }

    TempTree tree_;
    Mutex lock_;
    CondVar changed_;
    std::string top_ QDX_GUARDED_BY(lock_);
    std::uint64_t since_ QDX_GUARDED_BY(lock_) = 0;
    Reports reports_ QDX_GUARDED_BY(lock_);
    bool isLive_ QDX_GUARDED_BY(lock_) = false;
    std::uint64_t lastId_ QDX_GUARDED_BY(lock_) = 0;
    std::uint64_t doneId_ QDX_GUARDED_BY(lock_) = 0;
    std::unique_ptr<ChangeStream> stream_; ///< last: it delivers into the members above
};

TEST_P(ChangeStreamTest, EachChangeIsReportedForItsFolder) {
    tree_.file("root/a/file", 1);
    tree_.file("root/b/other", 1);
    tree_.folder("root/b/sub/deep");
    tree_.folder("outside/moved/deep");
    open();
    constexpr std::uint32_t all = ChangeFlags::mustScanSubDirs;
    const std::function<int(const char*, const char*)> exchange = [&](const char* x,
                                                                      const char* y) {
        return ::renameat2(AT_FDCWD, tree_.path(x).c_str(), AT_FDCWD, tree_.path(y).c_str(),
                           RENAME_EXCHANGE);
    };

    const timeval past[2] = {{1000, 0}, {1000, 0}};

    const struct {
        const char* what;
        std::function<void()> change;
        Reports expected;
    } cases[] = {
        {"create", [&] { tree_.file("root/a/new"); }, {{"a", 0}}},
        {"write", [&] { tree_.file("root/a/file", "bytes"); }, {{"a", 0}}},
        {"mode", [&] { tree_.chmod("root/a/file", 0600); }, {{"a", 0}}},
        {"times",
         [&] { ASSERT_EQ(::utimes(tree_.path("root/a/file").c_str(), past), 0); },
         {{"a", 0}}},
        {"a folder's times",
         [&] { ASSERT_EQ(::utimes(tree_.path("root/a").c_str(), past), 0); },
         {{"a", 0}}},
        {"link", [&] { tree_.link("root/a/link", "x"); }, {{"a", 0}}},
        {"rename", [&] { tree_.rename("root/a/new", "root/a/newer"); }, {{"a", 0}}},
        {"rename over", [&] { tree_.rename("root/a/newer", "root/a/file"); }, {{"a", 0}}},
        {"move", [&] { tree_.rename("root/a/file", "root/b/file"); }, {{"a", 0}, {"b", 0}}},
        {"remove", [&] { tree_.remove("root/b/file"); }, {{"b", 0}}},
        {"in the root", [&] { tree_.file("root/top"); }, {{"", 0}}},
        {"folder", [&] { tree_.folder("root/a/made"); }, {{"a", 0}, {"a/made", all}}},
        {"in it", [&] { tree_.file("root/a/made/f"); }, {{"a/made", 0}}},
        {"folder moves",
         [&] { tree_.rename("root/b/sub", "root/a/sub"); },
         {{"a", 0}, {"b", 0}, {"a/sub", all}}},
        {"below it", [&] { tree_.file("root/a/sub/deep/f"); }, {{"a/sub/deep", 0}}},
        {"out", [&] { tree_.rename("root/a/sub", "outside/sub"); }, {{"a", 0}}},
        {"outside", [&] { tree_.file("outside/sub/deep/g"); }, {}},
        {"in",
         [&] { tree_.rename("outside/moved", "root/b/moved"); },
         {{"b", 0}, {"b/moved", all}}},
        {"below that", [&] { tree_.file("root/b/moved/deep/f"); }, {{"b/moved/deep", 0}}},
        {"exchange",
         [&] { ASSERT_EQ(exchange("root/a/made", "root/b/moved"), 0); },
         {{"a", 0}, {"b", 0}, {"a/made", all}, {"b/moved", all}}},
        {"in the one", [&] { tree_.file("root/a/made/deep/g"); }, {{"a/made/deep", 0}}},
        {"in the other", [&] { tree_.file("root/b/moved/f"); }, {{"b/moved", 0}}},
    };

    for (const auto& c : cases) {
        (void)take();
        c.change();
        EXPECT_EQ(take(), c.expected) << c.what;
    }
}

TEST_P(ChangeStreamTest, ReportsComeWithoutBeingAskedFor) {
    open();
    tree_.file("root/f");
    MutexLock held(lock_);
    while (!reports_.contains(""))
        changed_.wait(lock_);
}

TEST_P(ChangeStreamTest, IgnoredFoldersAreNotReported) {
    tree_.folder("root/own/deep");
    open({.ignored = {tree_.path("root/own/")}});
    tree_.file("root/own/f");
    tree_.file("root/own/deep/f");
    tree_.file("root/own2/f");
    const Reports reports = take();
    EXPECT_FALSE(reports.contains("own"));
    EXPECT_FALSE(reports.contains("own/deep"));
    EXPECT_TRUE(reports.contains("own2"));
}

TEST_P(ChangeStreamTest, PathsAreSpelledAsTheRootIs) {
    tree_.folder("root/a");
    tree_.link("link", "root");
    open({.paths = {tree_.path("link")}});
    tree_.file("root/a/f");
    EXPECT_EQ(take(), (Reports{{"a", 0}}));
}

TEST_P(ChangeStreamTest, RootThatIsNoLongerThereIsReportedOnceAndLast) {
    const struct {
        const char* what;
        std::function<void(TempTree&)> change;
    } cases[] = {
        {"moved", [](TempTree& tree) { tree.rename("x/root", "x/elsewhere"); }},
        {"removed", [](TempTree& tree) { tree.remove("x/root"); }},
        {"replaced",
         [](TempTree& tree) {
             tree.rename("x/root", "x/elsewhere");
             tree.folder("x/root/a");
         }},
        {"moved with a folder above", [](TempTree& tree) { tree.rename("x", "y"); }},
    };

    for (const auto& c : cases) {
        TempTree tree;
        tree.folder("x/root/a");
        open({.paths = {tree.path("x/root")}});
        EXPECT_TRUE(stream_->rootsAreIntact());
        c.change(tree);
        EXPECT_FALSE(stream_->rootsAreIntact()) << c.what;
        EXPECT_EQ(take(), (Reports{{"", ChangeFlags::rootChanged}})) << c.what;
        tree.file("x/root/a/f");
        EXPECT_EQ(take(), Reports{}) << c.what;
        stream_.reset();
    }
}

TEST_P(ChangeStreamTest, StoppedStreamIsSilent) {
    open();
    stream_->stop();
    tree_.file("root/f");
    EXPECT_EQ(take(), Reports{});
}

TEST_P(ChangeStreamTest, NoChangeFallsBetweenSweepAndLiveReports) {
    tree_.folder("root/a/deep");
    tree_.folder("root/b/new/deep"); // the catalogue does not know what is in b
    const std::uint64_t since =
        streams().currentEventId() + 1'000'000'000'000; // the clock went back
    StreamOptions options;
    options.since = since;
    options.sweep = [&](const SweepCalls& calls) {
        EXPECT_TRUE(calls.mayGoOn());
        for (const char* folder : {"root", "root/a", "root/a/deep", "root/b", "root/gone"}) {
            calls.enter(tree_.path(folder));
            if (std::string(folder) == "root/a/deep")
                tree_.file("root/a/deep/f"); // behind the sweep
        }
        calls.differs(tree_.path("root/b"), false);
        calls.differs(tree_.path("root/gone"), true);
    };
    open(std::move(options));
    {
        MutexLock held(lock_);
        EXPECT_TRUE(reports_.contains("b"));
        EXPECT_EQ(reports_["gone"], ChangeFlags::mustScanSubDirs);
        EXPECT_FALSE(reports_.contains("a"));
        EXPECT_GT(doneId_, since);
    }
    EXPECT_TRUE(take().contains("a/deep"));
    tree_.file("root/b/new/deep/f");
    EXPECT_TRUE(take().contains("b/new/deep"));
    EXPECT_GT(streams().currentEventId(), since);
}

TEST_P(ChangeStreamTest, MountsInsideTheRootAreReportedAndNotEntered) {
    const std::string mountPoint = tree_.path("root/a/m");
    tree_.folder("root/a/m");
    open();
    QDX_NEEDS(mountLack());
    ASSERT_EQ(::mount("none", mountPoint.c_str(), "tmpfs", 0, "size=1m"), 0);
    const auto waitFor = [&](std::uint32_t flag) {
        MutexLock held(lock_);
        while ((reports_["a/m"] & flag) == 0)
            changed_.wait(lock_);
        EXPECT_NE(reports_["a/m"] & ChangeFlags::mustScanSubDirs, 0U);
    };
    waitFor(ChangeFlags::mount);
    (void)take();
    tree_.file("root/a/m/f");
    EXPECT_EQ(take(), Reports{});
    EXPECT_EQ(::umount(mountPoint.c_str()), 0);
    waitFor(ChangeFlags::unmount);
}

TEST_P(ChangeStreamTest, WatchedDriveCanBeUnmounted) {
    QDX_NEEDS(mountLack());
    ASSERT_EQ(::mount("none", root().c_str(), "tmpfs", 0, "size=1m"), 0);
    tree_.folder("root/a/b");
    open();
    tree_.file("root/a/b/f");
    EXPECT_TRUE(take().contains("a/b"));
    EXPECT_EQ(::umount(root().c_str()), 0);
    EXPECT_FALSE(stream_->rootsAreIntact());
    EXPECT_EQ(take(), (Reports{{"", ChangeFlags::rootChanged | ChangeFlags::unmount}}));
}

TEST(HistoryIdentityTest, TellsAFolderMadeAnew) {
    ChangeStreams& streams = systemPlatform().changeStreams;
    TempTree tree;
    tree.folder("d");
    const std::string identity = streams.historyIdentity(tree.path("d"));
    EXPECT_FALSE(identity.empty());
    EXPECT_LE(identity.size(), 47U);
    tree.file("d/f");
    EXPECT_EQ(streams.historyIdentity(tree.path("d")), identity);
    tree.rename("d", "e");
    EXPECT_EQ(streams.historyIdentity(tree.path("e")), identity);
    tree.folder("d");
    EXPECT_NE(streams.historyIdentity(tree.path("d")), identity);
    EXPECT_EQ(streams.historyIdentity(tree.path("none")), "");
}

TEST(StreamChoiceTest, MissingRootIsWatchedByNothing) {
    TempTree tree;
    const auto stream = systemPlatform().changeStreams.open(
        {.paths = {tree.path("none")}, .kind = StreamKind::none});
    EXPECT_EQ(stream->status().kind, StreamKind::none);
    EXPECT_FALSE(stream->rootsAreIntact());
}

INSTANTIATE_TEST_SUITE_P(Streams,
                         ChangeStreamTest,
                         testing::Values(StreamKind::fanotify, StreamKind::inotify),
                         [](const auto& suite) {
                             return suite.param == StreamKind::fanotify ? "Fanotify" : "Inotify";
                         });

} // namespace
} // namespace quarrydex
