/// The application's one model: the volumes that are searched, how they are kept current, and the
/// search.
///
/// Every change of the search state starts a search of a new generation in the background and
/// cancels the one before; its result is published on the main thread unless a still newer one has
/// begun. A long result is published twice: the first screen at once, then all of it.
///
/// A volume is loaded from its saved catalogue and caught up with the disk, or scanned; then it is
/// watched, and saved now and then. With `persist` off it is scanned and left alone.
///
/// Threads: the main thread, whose event loop must run for results to arrive; everything slow runs
/// on the queues at the end and on the volumes' own. Signals are emitted on the main thread.
/// Locks: genLock_, a leaf.
/// Failure: a root that cannot be scanned is told in its VolumeState, a query that cannot be parsed
/// in queryError(). A catalogue that cannot be saved is tried again later; the old file stays.
#pragma once

#include "QuarrydexApp/model/AudioPasses.h"
#include "QuarrydexApp/model/Candidate.h"
#include "QuarrydexApp/model/GlobalOrderKeeper.h"
#include "QuarrydexApp/model/ModelOptions.h"
#include "QuarrydexApp/model/QtMainQueue.h"
#include "QuarrydexApp/model/ResultSet.h"
#include "QuarrydexApp/model/SearchState.h"
#include "QuarrydexApp/model/VolumeState.h"
#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/base/SerialQueue.h"
#include "QuarrydexCore/platform/Platform.h"

#include <QObject>
#include <QTimer>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace quarrydex {

class SearchRun;

class Model : public QObject {
    Q_OBJECT

  public:
    explicit Model(ModelOptions options, const Platform& platform = systemPlatform());

    /// Cancels the search and scans; waits for what else runs in the background.
    ~Model() override;

    // --- Volumes --------------------------------------------------------------------------------

    /// Makes a volume of each root or configured source and of unplugged drives. Call once.
    void startScans();

    /// Adds a volume over a catalogue that is already filled; it is neither watched nor saved.
    void addVolume(std::string root, std::shared_ptr<VolumeIndex> index);

    [[nodiscard]] const std::vector<std::shared_ptr<VolumeState>>& volumes() const {
        return volumes_;
    }

    /// True while a volume's first rows are not all there, drives that are still asked included.
    [[nodiscard]] bool anyScanning() const;

    /// True while a volume is scanned or caught up with the disk.
    [[nodiscard]] bool anyUpdating() const;

    /// Leaves a volume out of searches, or takes it in again.
    void setHidden(VolumeState& volume, bool hidden);

    /// Takes every volume in again, with one search.
    void showAllVolumes();

    /// Scans a volume anew, beside what it holds now, which is searched until that is done.
    void rescan(const std::shared_ptr<VolumeState>& volume);

    /// `forgetCatalog`: removes the volume's files and the volume. The drive itself is not touched.
    void forgetCatalog(const std::shared_ptr<VolumeState>& volume);

    /// Brings the volumes in line with the sources and settings as they are now.
    void applySources();

    /// Mounted drives that were neither chosen nor ignored.
    [[nodiscard]] const std::vector<Candidate>& newDrives() const { return newDrives_; }

    void indexNewDrive(const Candidate& drive);
    void ignoreNewDrive(const Candidate& drive);

    /// `saveSnapshot(sync:)` where it is worth it, after applying what was reported. Blocks.
    void saveAll();

    // --- Search state: each setter starts a search ----------------------------------------------

    [[nodiscard]] const SearchState& searchState() const { return state_; }

    /// Replaces the whole state with one search.
    void setSearchState(SearchState state);
    void setQuery(std::string query);
    void setFilter(std::optional<Term> filter);
    void setBrowseAll(bool browseAll);
    void setShowJunk(bool showJunk);

    /// `setSort(_:desc:)`: searches at once, and again when the key's kept order is ready.
    void setSort(SortKey key, bool desc);

    /// `runSearch(resetScroll:)`: searches for the present state; the result arrives later. With a
    /// query that cannot be parsed only queryError() changes, and the results stay.
    void runSearch(bool resetScroll);

    // --- What was found -------------------------------------------------------------------------

    /// The newest published result. Never null.
    [[nodiscard]] const std::shared_ptr<const ResultSet>& results() const { return results_; }

    /// Of the newest search that was begun.
    [[nodiscard]] std::uint64_t generation() const QDX_EXCLUDES(genLock_);

    /// Why the query cannot be parsed; the interface puts "Invalid search: " in front.
    [[nodiscard]] const std::optional<std::string>& queryError() const { return queryError_; }

    [[nodiscard]] double searchMs() const { return results_->searchMs; }

    // --- Music ----------------------------------------------------------------------------------

    /// Begins to read the tags of new and changed files, which else begins within half a second.
    void analyseAudio();

    /// True until the tags of every file that the catalogues know have been read.
    [[nodiscard]] bool anyAnalysing() const;

    // --- Orders ---------------------------------------------------------------------------------

    /// Builds the key's order where a volume lacks a usable one, and searches again when done.
    void prepareSort(SortKey key);

    /// True while prepareSort works.
    [[nodiscard]] bool sorting() const { return !keysInPreparation_.empty(); }

  Q_SIGNALS:
    void resultsChanged();
    void queryErrorChanged();
    void sortingChanged();

    /// A field of a VolumeState changed, or the list.
    void volumesChanged();
    void newDrivesChanged();

  private:
    static constexpr std::chrono::milliseconds tickPeriod{500};
    using VolumePtr = std::shared_ptr<VolumeState>;

    // ModelLifecycle.cpp: from a plan to a live volume, and to disk.
    VolumePtr makeVolume(VolumePlan plan);
    void setIndex(VolumeState& volume, std::shared_ptr<VolumeIndex> index);
    void openInBackground(const VolumePtr& volume);
    void volumeOpened(const VolumePtr& volume, OpenedVolume opened);
    void start(const VolumePtr& volume);
    void catchUp(const VolumePtr& volume);
    void startScan(const VolumePtr& volume);
    void postScan(const VolumePtr& volume);
    void scanFinished(const VolumePtr& volume, std::optional<std::string> failure);
    [[nodiscard]] bool takePlace(const VolumePtr& volume);
    [[nodiscard]] bool canWatch(const VolumeState& volume) const;
    void startWatcher(const VolumePtr& volume, std::optional<std::uint64_t> since);
    void filesChanged(VolumeState& volume);
    void needsRescan(const VolumePtr& volume, bool rootMissing);
    void reconcile(const VolumePtr& volume);
    void reconciled(const VolumePtr& volume, const RefreshStats& stats);
    void saveSnapshot(VolumeState& volume, bool sync);
    [[nodiscard]] bool isSaveDue(const VolumeState& volume) const;
    [[nodiscard]] static bool hasNews(const VolumeState& volume);
    void dropWatcher(VolumeState& volume);
    void retire(VolumeState& volume);
    /// Calls f on the main thread if the volume is still the model's by then. Any thread.
    void onMain(std::weak_ptr<VolumeState> volume, std::function<void(const VolumePtr&)> f);
    [[nodiscard]] bool isOurs(const VolumePtr& volume) const;

    // ModelMounts.cpp: drives that come and go, and what the user chose.
    void observeMounts();
    void mountsChanged(const std::vector<Mount>& added, const std::vector<Mount>& removed);
    void findSources();
    void sourcesFound(std::vector<Candidate> candidates);
    void discover(const Candidate& drive);
    void refreshNewDrives();
    [[nodiscard]] bool isChosen(const std::string& identity) const;
    [[nodiscard]] std::vector<std::string> excludedPaths() const;
    [[nodiscard]] std::vector<std::string> includeExts() const;
    [[nodiscard]] VolumePlan planOf(const Candidate& drive) const;
    [[nodiscard]] VolumePtr volumeOf(const std::string& identity) const;
    void replaceBy(const VolumePtr& old, VolumePlan plan);
    void addOfflineCatalogs();
    void removeVolume(const VolumePtr& volume);
    void goOffline(VolumeState& volume);
    void dropVolume(const VolumePtr& volume);
    void lookWhetherBack(const VolumePtr& volume);
    void tick(); ///< every half second: counts, orders, music, saves
    void maintain(const VolumePtr& volume);
    void rebuildStaleOrders(const VolumePtr& volume);

    // ModelSearch.cpp, and Model.cpp what concerns orders and music
    [[nodiscard]] AudioPasses::Surroundings aroundAudio();
    void sortPrepared(SortKey key);
    void startSearch(bool resetScroll, bool ordersArePrepared);
    std::uint64_t beginGeneration() QDX_EXCLUDES(genLock_);
    [[nodiscard]] bool isCurrent(std::uint64_t generation) const QDX_EXCLUDES(genLock_);
    void setQueryError(std::optional<std::string> message);

    /// The background part of a search, on searchQueue_.
    void search(const std::shared_ptr<SearchRun>& run, bool mayPrepareOrders);

    void completeByKeptOrder(SortKey key); ///< searches again as soon as the order is there

    /// Brings a result to the main thread and shows it there if it is still wanted. Any thread.
    void publish(std::shared_ptr<const ResultSet> results);

    const ModelOptions options_;
    const Platform platform_;
    std::vector<VolumePtr> volumes_;
    std::vector<VolumePtr> replacements_; ///< being scanned, to replace one of volumes_
    std::vector<Candidate> candidates_;
    std::vector<Candidate> newDrives_;
    int scouting_ = 0; ///< looks at drives under way
    QTimer timer_;

    SearchState state_;
    std::shared_ptr<const ResultSet> results_;
    std::optional<std::string> queryError_;
    std::set<SortKey> keysInPreparation_;

    mutable Mutex genLock_;
    std::uint64_t gen_ QDX_GUARDED_BY(genLock_) = 0;

    // Last, and in this order: a queue is waited for before what its tasks use is destroyed.
    QtMainQueue mainQueue_;
    GlobalOrderKeeper global_;
    SerialQueue scoutQueue_; ///< asks drives who they are
    SerialQueue orderQueue_; ///< builds kept orders
    AudioPasses audioPasses_;
    SerialQueue completeQueue_; ///< orders long results to their end
    SerialQueue searchQueue_;   ///< finds hits and their first screen
    SerialQueue retireQueue_;   ///< ends what takes long to end
    std::unique_ptr<Subscription> mountWatch_;
};

} // namespace quarrydex
