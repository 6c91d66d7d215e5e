/// The background part of one search: finding the hits of every volume and putting them in order.
///
/// Threads: made on the main thread, then handed from queue to queue; one thread at a time.
/// Cancelled searches: hits are abandoned as soon as `isStale` says so, or a Searcher is cancelled.
#pragma once

#include "QuarrydexApp/model/GlobalOrder.h"
#include "QuarrydexApp/model/ResultSet.h"
#include "QuarrydexApp/model/SearchState.h"
#include "QuarrydexCore/platform/Clock.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace quarrydex {

class SearchRun {
  public:
    /// Up to this many hits a volume's are sorted as they are; more want a kept order.
    static constexpr std::size_t directSortLimit = 300'000;

    struct Request {
        std::uint64_t generation{};
        const Clock* clock{};                              ///< outlives the run
        std::vector<std::shared_ptr<VolumeState>> volumes; ///< all, also those left out
        Query query; ///< what state.query says, with the filter
        SearchState state;
        std::shared_ptr<const GlobalOrder> global; ///< null for none
        bool resetScroll{};
        std::function<bool()> isStale; ///< any thread

        /// With the volumes' own searchers, which the next search cancels; else with new ones.
        bool sharesSearchers = true;
    };

    /// Main thread.
    explicit SearchRun(Request request);

    [[nodiscard]] std::uint64_t generation() const { return request_.generation; }

    [[nodiscard]] SortKey sortKey() const { return request_.state.sortKey; }

    /// Searches the volumes that are not hidden. False when the search was overtaken.
    [[nodiscard]] bool findHits();

    /// Number of rows that the whole result will have.
    [[nodiscard]] std::size_t wantedRows() const;

    /// True when sorting the wanted rows calls for a kept order that a volume does not have.
    [[nodiscard]] bool wantsOrder() const;

    /// The first `count` rows, or all that are wanted. Only the first call's set resets the scroll.
    [[nodiscard]] std::shared_ptr<const ResultSet> results(std::size_t count);

  private:
    /// What is needed of a volume off the main thread.
    struct Part {
        std::shared_ptr<VolumeIndex> index;
        std::shared_ptr<Searcher> searcher;
        std::shared_ptr<const HitSet> hits; ///< null: the volume is hidden
        bool hidden{};
    };

    [[nodiscard]] std::vector<Row> orderedRows(std::size_t count) const;
    [[nodiscard]] std::optional<std::vector<Row>>
    rowsByGlobalOrder(std::span<const std::shared_ptr<VolumeIndex>> indexes,
                      std::size_t count) const;

    Request request_;
    std::vector<Part> parts_; ///< as request_.volumes
    std::size_t total_ = 0;   ///< number of hits
    std::uint64_t startNs_;
};

/// The texts of the name terms that hits contain.
[[nodiscard]] std::vector<std::string> plainNameTerms(const Query& query);

} // namespace quarrydex
