/// The application's one model: the volumes that are searched, and the search.
///
/// Every change of the search state starts a search of a new generation in the background and
/// cancels the one before; its result is published on the main thread unless a still newer one has
/// begun. A long result is published twice: the first screen at once, then all of it.
///
/// Threads: the main thread, whose event loop must run for results to arrive; everything slow runs
/// on the queues at the end. Signals are emitted on the main thread.
/// Locks: genLock_, a leaf.
/// Failure: a root that cannot be scanned is told in its VolumeState, a query that cannot be parsed
/// in queryError().
#pragma once

#include "QuarrydexApp/model/QtMainQueue.h"
#include "QuarrydexApp/model/ResultSet.h"
#include "QuarrydexApp/model/SearchState.h"
#include "QuarrydexApp/model/VolumeState.h"
#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/base/SerialQueue.h"
#include "QuarrydexCore/platform/Platform.h"

#include <QObject>
#include <QTimer>

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace quarrydex {

class SearchRun;

struct ModelOptions {
    std::vector<std::string> roots{};       ///< folders to search, as the user named them
    std::vector<std::string> excludes{};    ///< folders never entered, likewise
    std::vector<std::string> includeExts{}; ///< when not empty, the only extensions recorded
    /// Builds missing orders in the background when a result is too long to be sorted each time.
    /// Off where one search is all there will be.
    bool keepsOrders = true;
};

class Model : public QObject {
    Q_OBJECT

  public:
    explicit Model(ModelOptions options, const Platform& platform = systemPlatform());

    /// Cancels the search; waits for what else runs in the background, a scan too.
    ~Model() override;

    // --- Volumes --------------------------------------------------------------------------------

    /// Makes a volume of each root and scans them. Call once.
    void startScans();

    /// Adds a volume over a catalogue that is already filled.
    void addVolume(std::string root, std::shared_ptr<VolumeIndex> index);

    [[nodiscard]] const std::vector<std::shared_ptr<VolumeState>>& volumes() const {
        return volumes_;
    }

    [[nodiscard]] bool anyScanning() const;

    /// Leaves a volume out of searches, or takes it in again.
    void setHidden(VolumeState& volume, bool hidden);

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

    // --- Orders ---------------------------------------------------------------------------------

    /// Builds the key's order where a volume lacks a usable one, and searches again when done.
    void prepareSort(SortKey key);

    /// True while prepareSort works.
    [[nodiscard]] bool sorting() const { return !keysInPreparation_.empty(); }

  Q_SIGNALS:
    void resultsChanged();
    void queryErrorChanged();
    void sortingChanged();

    /// A field of a VolumeState changed.
    void volumesChanged();

  private:
    /// What a finished scan has to tell.
    struct ScanOutcome {
        double seconds{};
        std::optional<std::string> failure;
    };

    std::shared_ptr<VolumeState> makeVolume(std::string root, std::shared_ptr<VolumeIndex> index);
    void startScan(const std::shared_ptr<VolumeState>& volume);
    void scanFinished(VolumeState& volume, ScanOutcome outcome);

    /// Publishes counts and sees to orders that have gone stale. Every half second.
    void tick();
    void rebuildStaleOrders(const std::shared_ptr<VolumeState>& volume);
    void sortPrepared(SortKey key);

    void startSearch(bool resetScroll, bool ordersArePrepared);
    std::uint64_t beginGeneration() QDX_EXCLUDES(genLock_);
    [[nodiscard]] bool isCurrent(std::uint64_t generation) const QDX_EXCLUDES(genLock_);
    void setQueryError(std::optional<std::string> message);

    /// The background part of a search, on searchQueue_.
    void search(const std::shared_ptr<SearchRun>& run, bool mayPrepareOrders);

    /// Searches again as soon as the key's order is there.
    void completeByKeptOrder(SortKey key);

    /// Brings a result to the main thread and shows it there if it is still wanted. Any thread.
    void publish(std::shared_ptr<const ResultSet> results);

    const ModelOptions options_;
    const Platform platform_;
    std::vector<std::shared_ptr<VolumeState>> volumes_;
    QTimer timer_;

    SearchState state_;
    std::shared_ptr<const ResultSet> results_;
    std::optional<std::string> queryError_;
    std::set<SortKey> keysInPreparation_;

    mutable Mutex genLock_;
    std::uint64_t gen_ QDX_GUARDED_BY(genLock_) = 0;

    // Last, and in this order: a queue is waited for before what its tasks use is destroyed.
    QtMainQueue mainQueue_;
    SerialQueue scanQueue_;
    SerialQueue orderQueue_;    ///< builds kept orders
    SerialQueue completeQueue_; ///< orders long results to their end
    SerialQueue searchQueue_;   ///< finds hits and their first screen
};

} // namespace quarrydex
