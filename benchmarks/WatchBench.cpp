/// What it costs to stay current: catching up with a tree, searching beside a program that writes,
/// and doing nothing beside a watched catalogue.
#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"
#include "QuarrydexCore/platform/Platform.h"
#include "QuarrydexCore/query/Query.h"
#include "QuarrydexCore/search/Searcher.h"
#include "QuarrydexCore/watch/VolumeWatcher.h"

#include "benchmarks/support/Bench.h"
#include "benchmarks/support/TempFolder.h"

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quarrydex::bench {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t treeFolders = 100'000;
constexpr std::size_t filesPerFolder = 9; ///< with its folder, a million entries

constexpr std::size_t maxEntries = std::size_t{1} << 24;
constexpr std::size_t maxNameBytes = std::size_t{1} << 30;

/// A real tree of empty files on the disk that the benchmark is started on, removed with the
/// object.
class Tree {
  public:
    explicit Tree(std::size_t folders) {
        if (!isMade())
            return;
        constexpr std::size_t perTask = 500;
        parallelFor(folders / perTask, processorCount(), [&](std::size_t task) {
            const std::string group = path() + "/group " + std::to_string(task);
            ::mkdir(group.c_str(), 0700);
            for (std::size_t i = 0; i < perTask; ++i) {
                const std::string folder = group + "/folder " + std::to_string(i);
                ::mkdir(folder.c_str(), 0700);
                for (std::size_t file = 0; file < filesPerFolder; ++file)
                    make(folder + "/a file with a name " + std::to_string(file) + ".mp3");
            }
        });
    }

    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    static void make(const std::string& path) {
        const Fd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    }

    [[nodiscard]] bool isMade() const { return folder_.isMade(); }

    [[nodiscard]] const std::string& path() const { return folder_.path(); }

    [[nodiscard]] std::shared_ptr<VolumeIndex> scanned() const {
        auto index = std::make_shared<VolumeIndex>(maxEntries, maxNameBytes);
        index->scan(std::vector<std::string>{path()}, static_cast<int>(processorCount()));
        return index;
    }

  private:
    TempFolder folder_ = TempFolder::onDisk();
};

/// A watcher that has caught up.
class Watched {
  public:
    Watched(const Tree& tree, std::shared_ptr<VolumeIndex> index) {
        VolumeWatcher::Options options;
        options.root = tree.path();
        options.since = systemPlatform().changeStreams.currentEventId();
        VolumeWatcher::Callbacks callbacks;
        callbacks.onCaughtUp = [this] { caughtUp_.set_value(); };
        watcher_ =
            std::make_unique<VolumeWatcher>(std::move(index), std::move(options), callbacks,
                                            systemPlatform().changeStreams, systemPlatform().clock);
        watcher_->start();
        caughtUp_.get_future().wait();
    }

  private:
    std::promise<void> caughtUp_;
    std::unique_ptr<VolumeWatcher> watcher_;
};

/// Makes, renames and removes a hundred files a second, evenly, until its end.
class Writer {
  public:
    explicit Writer(const Tree& tree) : thread_([this, path = tree.path()] { write(path); }) {}

    ~Writer() {
        isOver_ = true;
        thread_.join();
    }

    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

  private:
    void write(const std::string& path) {
        auto next = std::chrono::steady_clock::now();
        for (std::size_t i = 0; !isOver_; ++i) {
            const std::size_t file = i / 3;
            const std::string folder = path + "/group " + std::to_string(file % 7) + "/folder " +
                                       std::to_string(file % 500);
            const std::string made = folder + "/a new name";
            const std::string renamed = folder + "/another name";
            if (i % 3 == 0)
                Tree::make(made);
            else if (i % 3 == 1)
                ::rename(made.c_str(), renamed.c_str());
            else
                ::unlink(renamed.c_str());
            next += 10ms;
            std::this_thread::sleep_until(next);
        }
    }

    std::atomic<bool> isOver_{false};
    std::thread thread_;
};

std::size_t firstScreen(const VolumeIndex& index) {
    Searcher searcher(index);
    Term term;
    term.pred = preds::Name{"name"};
    const auto hits = searcher.searchBits(Query{{{term}}}, false);
    return index.ordered(*hits, SortKey::name, {.limit = 200}).size();
}

/// Keystrokes with pauses between them, as someone types; the median of one.
double typed(const VolumeIndex& index) {
    std::vector<double> ms;
    for (int i = 0; i < 60; ++i) {
        ms.push_back(timeOnce([&] { keep(firstScreen(index)); }).wallMs);
        std::this_thread::sleep_for(30ms);
    }
    return quantile(std::move(ms), 0.5);
}

} // namespace

QDX_BENCH(watch) {
    report.progress("making a tree of a million entries");
    const Tree tree(treeFolders);
    if (!tree.isMade()) {
        report.skip("watching", "no temporary folder here");
        return;
    }
    const std::shared_ptr<VolumeIndex> index = tree.scanned();
    index->permutation(SortKey::name);

    // Long after everything was made, so that no folder counts as just changed.
    const std::int64_t reference = systemPlatform().clock.now() + 3600;
    const auto [sweep, scan] = alternate(
        3, [&] { keep(index->reconcileByFolderMtime({.threads = 8, .reference = reference})); },
        [&] { keep(tree.scanned()); });
    report.row({.step = "catch-up sweep of 100,000 folders",
                .ours = sweep.wallMs,
                .anchor = scan.wallMs,
                .anchorName = "scanning them anew"});

    const Watched watched(tree, index);
    std::vector<double> quiet;
    std::vector<double> beside;
    for (int round = 0; round < 3; ++round) {
        quiet.push_back(typed(*index));
        const Writer writer(tree);
        std::this_thread::sleep_for(1s);
        beside.push_back(typed(*index));
    }
    report.row({.step = "keystroke beside a writer of 100 files a second",
                .ours = quantile(beside, 0.5),
                .anchor = quantile(quiet, 0.5),
                .anchorName = "quiet catalogue",
                .goal = 1.3});

    std::this_thread::sleep_for(4s); // the last changes are applied
    constexpr auto idle = 20s;
    const double before = processorMs();
    std::this_thread::sleep_for(idle);
    report.row({.step = "processor time of 20 s beside a watched million",
                .ours = processorMs() - before,
                .anchor = 0.005 * std::chrono::duration<double, std::milli>(idle).count(),
                .anchorName = "0.5 % of a core",
                .goal = 1});
}

} // namespace quarrydex::bench
