/// Storms of file operations under real change streams: whatever happens, when, and in what order,
/// the catalogue must in the end hold what a fresh scan finds.
///
/// QDX_STORM_SEED and QDX_STORM_OPERATIONS choose the storm; the seed is printed. QDX_STORM_TREE is
/// a folder on the file system to use; memory by default, where the storm itself costs least.
#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/catalog/LoadedCatalog.h"
#include "QuarrydexCore/platform/Platform.h"
#include "QuarrydexCore/watch/VolumeWatcher.h"

#include "tests/fakes/FakeDirReader.h"
#include "tests/support/FileStorm.h"
#include "tests/support/LoopImage.h"
#include "tests/support/StoreDump.h"
#include "tests/support/TempTree.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <future>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace quarrydex {
namespace {

using Paths = std::vector<std::string>;

std::size_t number(const char* variable, std::size_t otherwise) {
    const char* text = std::getenv(variable);
    return text != nullptr ? std::strtoull(text, nullptr, 10) : otherwise;
}

std::size_t operationsOfThisRun() {
    return number("QDX_STORM_OPERATIONS", 60'000);
}

const char* treeOfThisRun() {
    if (const char* chosen = std::getenv("QDX_STORM_TREE"))
        return chosen;
    return ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : nullptr;
}

unsigned seedOfThisRun() {
    static const auto seed =
        static_cast<unsigned>(number("QDX_STORM_SEED", std::random_device{}() % 1'000'000));
    return seed;
}

/// The system's folder reader, counting the folders listed.
class CountingReader final : public DirReader {
  public:
    mutable std::atomic<std::uint64_t> listed = 0;

    [[nodiscard]] int
    list(const std::string& path, ListOptions options, DirListing& out) const override {
        ++listed;
        return systemPlatform().dirReader.list(path, options, out);
    }

    [[nodiscard]] int status(const std::string& path, PathStatus& out) const override {
        return systemPlatform().dirReader.status(path, out);
    }

    [[nodiscard]] int probeFolder(const std::string& path, std::uint64_t& device) const override {
        return systemPlatform().dirReader.probeFolder(path, device);
    }
};

/// The system's streams, each with a kernel queue that runs over soon. Its length is set for the
/// whole machine, but looked at when a queue is made only: the usual one is back after a moment.
class ShortQueues final : public ChangeStreams {
  public:
    explicit ShortQueues(StreamKind kind)
        : setting_(kind == StreamKind::fanotify ? "/proc/sys/fs/fanotify/max_queued_events"
                                                : "/proc/sys/fs/inotify/max_queued_events") {
        std::ifstream(setting_) >> usual_;
    }

    /// Why the setting cannot be changed; empty when it can.
    [[nodiscard]] std::string lack() const {
        return usual_ > 0 && set(usual_) ? "" : "this process may not shorten the kernel's queues";
    }

    [[nodiscard]] std::uint64_t currentEventId() const override {
        return systemPlatform().changeStreams.currentEventId();
    }

    [[nodiscard]] std::string historyIdentity(const std::string& path) const override {
        return systemPlatform().changeStreams.historyIdentity(path);
    }

    [[nodiscard]] std::unique_ptr<ChangeStream> open(StreamOptions options) override {
        constexpr int eventsHeld = 16;
        EXPECT_TRUE(set(eventsHeld));
        auto stream = systemPlatform().changeStreams.open(std::move(options));
        EXPECT_TRUE(set(usual_));
        return stream;
    }

  private:
    [[nodiscard]] bool set(int events) const {
        return static_cast<bool>(std::ofstream(setting_) << events << std::flush);
    }

    const std::string setting_;
    int usual_ = 0;
};

/// A tree under a storm, its catalogue and the watcher between them.
class StormTest : public testing::TestWithParam<StreamKind> {
  protected:
    using Watch = VolumeWatcher::Options;

    StormTest() {
        tree_.folder("root");
        tree_.folder("outside");
        std::printf("seed %u\n", seedOfThisRun());
    }

    void SetUp() override {
        const auto stream = streams_->open({.paths = {root()}, .kind = GetParam()});
        QDX_NEEDS(std::string(stream->status().kind == GetParam()
                                  ? ""
                                  : "the system lets this process open no such stream"));
    }

    [[nodiscard]] std::string root() const { return tree_.path("root"); }

    FileStorm& storm(bool writesInPlace = true) {
        if (!storm_) {
            storm_ = std::make_unique<FileStorm>(
                root(), tree_.path("outside"),
                FileStorm::Options{.seed = seedOfThisRun(), .writesInPlace = writesInPlace});
            storm_->populate(3000);
        }
        return *storm_;
    }

    void scan() {
        index_ = std::make_shared<VolumeIndex>(1U << 24, std::uint64_t{1} << 30);
        index_->scan(Paths{root()}, 4);
    }

    [[nodiscard]] Watch watch() const {
        Watch options;
        options.root = root();
        options.stream.kind = GetParam();
        return options;
    }

    void openWatcher(Watch options) {
        VolumeWatcher::Callbacks callbacks;
        callbacks.onApplied = [this](const RefreshStats&) { touched_ += storm_->takeTouched(); };
        callbacks.onCaughtUp = [this] { caughtUp_.set_value(); };
        callbacks.onAttached = [this] { attached_.set_value(); };
        callbacks.onDeepPassDone = [this] { deepPassDone_.set_value(); };
        callbacks.onNeedsRescan = [this](bool) { ++rescans_; };
        caughtUp_ = {};
        attached_ = {};
        deepPassDone_ = {};
        watcher_ = std::make_unique<VolumeWatcher>(index_, std::move(options), callbacks, *streams_,
                                                   systemPlatform().clock);
        watcher_->start();
    }

    /// Scans and watches, until both are done.
    void follow(Watch options) {
        storm();
        options.since = streams_->currentEventId();
        scan();
        openWatcher(std::move(options));
        caughtUp_.get_future().wait();
    }

    /// Watches from a moment on, until what has happened since is caught up with.
    void resume(std::uint64_t since, bool deepPass = false) {
        Watch options = watch();
        options.since = since;
        options.deepPass = deepPass;
        openWatcher(std::move(options));
        caughtUp_.get_future().wait();
    }

    /// Operations at full speed, with applies, and `beside`, at any moment between them.
    void rage(
        std::size_t operations, const std::function<void()>& beside = [] {}) {
        constexpr std::size_t wave = 200;
        constexpr std::size_t end = ~std::size_t{0};
        std::atomic<std::size_t> waves = 0;
        const auto afterWaves = [&](const std::function<void()>& call) {
            for (std::size_t seen = 0; seen != end; seen = waves) {
                call();
                waves.wait(seen);
            }
        };
        std::thread applies(afterWaves, [&] { watcher_->flush(); });
        std::thread others(afterWaves, beside);
        for (std::size_t done = 0; done < operations; done += wave) {
            storm().run(std::min(wave, operations - done));
            ++waves;
            waves.notify_all();
        }
        waves = end;
        waves.notify_all();
        applies.join();
        others.join();
        watcher_->flush();
    }

    void save() const {
        SnapshotInfo info;
        info.eventID = watcher_->lastEventID(); // before the catalogue is looked at
        index_->save(tree_.path("a.idx"), info);
    }

    /// The catalogue of the snapshot, found to be sound.
    [[nodiscard]] LoadedCatalog loaded() const {
        auto catalog = VolumeIndex::load(tree_.path("a.idx"), {}, 1U << 24, std::uint64_t{1} << 30);
        if (!catalog)
            throw std::runtime_error("there is no snapshot");
        EXPECT_TRUE(catalog->index->validate());
        return std::move(*catalog);
    }

    void expectAsScanned() {
        VolumeIndex fresh(1U << 24, std::uint64_t{1} << 30);
        fresh.scan(Paths{root()}, 4);
        const StoreDump now = dumpStore(index_->base());
        const StoreDump then = dumpStore(fresh.base());
        EXPECT_EQ(now.size(), then.size());
        std::size_t differences = 0;
        for (const auto& [path, entry] : then)
            if (const auto found = now.find(path); found == now.end() || found->second != entry)
                if (++differences < 10)
                    ADD_FAILURE() << path << " is " << entry << ", the catalogue holds "
                                  << (found == now.end() ? DumpedEntry{} : found->second);
        for (const auto& [path, entry] : now)
            if (!then.contains(path) && ++differences < 10)
                ADD_FAILURE() << path << " is gone, the catalogue holds " << entry;
        EXPECT_EQ(differences, 0U);
        EXPECT_EQ(index_->liveCount(), now.size());
        EXPECT_EQ(rescans_, 0);
        std::printf("%zu entries, %zu differences\n", then.size(), differences);
    }

    ChangeStreams* streams_ = &systemPlatform().changeStreams;
    CountingReader reader_;
    InstalledDirReader installed_{reader_};
    TempTree tree_{treeOfThisRun()};
    std::unique_ptr<FileStorm> storm_;
    std::shared_ptr<VolumeIndex> index_;
    std::promise<void> caughtUp_, attached_, deepPassDone_;
    std::atomic<int> rescans_ = 0;
    std::atomic<std::uint64_t> touched_ = 0;
    std::unique_ptr<VolumeWatcher> watcher_; ///< last: it calls back into the members above
};

TEST_P(StormTest, CatalogueFollowsALiveStorm) {
    follow(watch());
    for (SortKey key : allSortKeys)
        index_->permutation(key);
    (void)storm().takeTouched();
    touched_ = 0;

    std::uint64_t listed = 0;
    for (int part = 0; part < 6; ++part) { // what was missed may be mended later by chance
        reader_.listed = 0;
        rage(operationsOfThisRun() / 6);
        listed += reader_.listed;
        expectAsScanned();
        if (HasFailure())
            return;
    }
    EXPECT_EQ(watcher_->status().stream.overflows, 0U);
    EXPECT_EQ(watcher_->status().deepPassTotal, 0U);
    std::printf("%zu folders listed, %zu touched\n", std::size_t{listed}, std::size_t{touched_});
    EXPECT_GT(listed, 0U);
    EXPECT_LE(listed, 3 * touched_);

    std::vector<EntryId> live;
    for (EntryId id = 0; id < index_->count(); ++id)
        if ((index_->flags(id) & (EntryFlags::deleted | EntryFlags::root)) == 0)
            live.push_back(id);
    const HitSet hits{index_->hitBitset(live), index_->count(), live.size()};
    for (SortKey key : allSortKeys) {
        const std::vector<EntryId> rows = index_->ordered(hits, key, {.directSortLimit = 0});
        EXPECT_EQ(rows.size(), hits.count);
        EXPECT_TRUE(std::is_sorted(rows.begin(), rows.end(), index_->comparator(key)));
    }
}

TEST_P(StormTest, StormDuringTheScanIsNotLost) {
    storm();
    index_ = std::make_shared<VolumeIndex>(1U << 24, std::uint64_t{1} << 30);
    Watch options = watch();
    options.isHeld = true;
    openWatcher(options);
    attached_.get_future().wait();
    std::thread storming([this] { storm().run(10'000); });
    index_->scan(Paths{root()}, 4);
    watcher_->release();
    caughtUp_.get_future().wait();
    storming.join();
    watcher_->flush();
    expectAsScanned();
}

TEST_P(StormTest, AnySnapshotOfAStormCanBeCaughtUpFrom) {
    storm(false);
    follow(watch());
    std::size_t saves = 0;
    for (int round = 0; round < 3; ++round) { // the later ones replace a file that is mapped
        for (SortKey key : allSortKeys)
            index_->permutation(key);
        rage(operationsOfThisRun() / 12, [&] {
            save();
            ++saves;
        });
        watcher_.reset();
        LoadedCatalog saved = loaded();
        index_ = std::move(saved.index);
        resume(saved.info.eventID);
        expectAsScanned();
    }
    std::printf("%zu saves\n", saves);
}

TEST_P(StormTest, ReplayFindsWhatHappenedWhileNobodyWatched) {
    storm(false);
    follow(watch());
    std::uint64_t since = watcher_->lastEventID();
    for (int round = 0; round < 3; ++round) {
        watcher_.reset();
        storm().run(3'000);
        resume(since);
        expectAsScanned();
        storm().run(500);
        watcher_->flush();
        expectAsScanned();
        EXPECT_GT(watcher_->lastEventID(), since);
        since = watcher_->lastEventID();
    }
}

TEST_P(StormTest, DeepPassFindsWritesInPlaceWhileNobodyWatched) {
    follow(watch());
    const std::uint64_t since = watcher_->lastEventID();
    watcher_.reset();
    storm().run(3'000);
    resume(since, /*deepPass=*/true);
    deepPassDone_.get_future().wait();
    watcher_->flush();
    expectAsScanned();
}

TEST_P(StormTest, LostEventsAreMadeUpFor) {
    Watch options = watch();
    options.stream.queuedBytes = 1024;
    follow(options);
    rage(20'000);
    expectAsScanned();
    const std::uint64_t overflows = watcher_->status().stream.overflows;
    EXPECT_GT(overflows, 0U);
    for (int i = 0; i < 500; ++i) { // and from then on nothing is missed
        storm().step();
        watcher_->flush();
    }
    expectAsScanned();
    EXPECT_LT(watcher_->status().stream.overflows, overflows + 50);
}

TEST_P(StormTest, EventsThatTheKernelDropsAreMadeUpFor) {
    ShortQueues streams(GetParam());
    QDX_NEEDS(streams.lack());
    streams_ = &streams;
    follow(watch());
    rage(operationsOfThisRun() / 6);
    expectAsScanned();
    const std::uint64_t overflows = watcher_->status().stream.overflows;
    EXPECT_GT(overflows, 0U);
    std::printf("the queue ran over %zu times\n", std::size_t{overflows});
    watcher_.reset();
}

TEST_P(StormTest, FoldersBeyondTheWatchLimitArePolled) {
    if (GetParam() != StreamKind::inotify)
        GTEST_SKIP() << "a mark has no such limit";
    Watch options = watch();
    options.stream.watchLimit = 50;
    follow(options);
    rage(5'000);
    const StreamStatus status = watcher_->status().stream;
    EXPECT_TRUE(status.limitReached);
    EXPECT_GT(status.polledFolders, 0U);
    EXPECT_LE(status.watchedFolders, 50U);
    watcher_->startDeepPass(); // files written in place in a polled folder
    deepPassDone_.get_future().wait();
    watcher_->flush();
    expectAsScanned();
}

INSTANTIATE_TEST_SUITE_P(Streams,
                         StormTest,
                         testing::Values(StreamKind::fanotify, StreamKind::inotify),
                         [](const auto& suite) {
                             return suite.param == StreamKind::fanotify ? "Fanotify" : "Inotify";
                         });

} // namespace
} // namespace quarrydex
