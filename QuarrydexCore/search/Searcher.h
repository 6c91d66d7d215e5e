/// Answers parsed queries against one catalogue.
///
/// A search is one pass over flat columns, in blocks of ids shared out to the processors; hits stay
/// a bitset until rows are shown. Typing further letters refines the previous result.
///
/// Threads: any thread may start a search; each start cancels the one before, which then returns
/// nothing. The lock is held only to swap the flag and the cache, never while evaluating.
/// Ownership: the catalogue must outlive the searcher and its searches.
#pragma once

#include "QuarrydexCore/base/HitSet.h"
#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/query/Query.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quarrydex {

class VolumeIndex;

class Searcher {
  public:
    /// `init(index:)`
    explicit Searcher(const VolumeIndex& index);
    Searcher(const Searcher&) = delete;
    Searcher& operator=(const Searcher&) = delete;

    /// The hits as a bitset, or nothing when this search was cancelled by a newer one or cancel().
    [[nodiscard]] std::shared_ptr<const HitSet> searchBits(const Query& query, bool showJunk);

    /// `search(_:showJunk:)`: the same as ascending ids.
    [[nodiscard]] std::optional<std::vector<EntryId>> search(const Query& query, bool showJunk);

    /// Stops the running search, if any.
    void cancel();

    /// Worker threads of one search; all processors unless set. Not during a search.
    void setThreads(unsigned threads) { threads_ = threads; }

    [[nodiscard]] unsigned threads() const { return threads_; }

    // --- The rules of evaluation, open to tests --------------------------------------------------

    /// Flag bits whose presence removes an entry before any term is looked at.
    [[nodiscard]] static std::uint8_t excludeMask(std::span<const Term> terms, bool showJunk);

    /// The id ranges [first, last) that are evaluated in parallel.
    [[nodiscard]] std::vector<std::pair<std::uint32_t, std::uint32_t>>
    chunks(std::uint32_t n) const;

    /// Two ascending id lists as one, without duplicates.
    [[nodiscard]] static std::vector<EntryId> union_(std::span<const EntryId> a,
                                                     std::span<const EntryId> b);

    /// True when the hits of `next` are a subset of those of `previous` because letters were added
    /// to the end of its last plain word.
    [[nodiscard]] static bool extends(const Query& next, const Query& previous);

  private:
    struct Flag {
        std::atomic<std::uint32_t> cancelled{0};
        std::uint32_t count{}; ///< the search covers the ids below this
    };

    struct Last {
        Query query;
        bool showJunk{};
        std::uint32_t count{};
        std::int64_t mutations{};
        std::int64_t audioVersion{};
        std::shared_ptr<const HitSet> hits;
    };

    const VolumeIndex& index_;
    Mutex lock_;
    std::shared_ptr<Flag> flag_ QDX_GUARDED_BY(lock_);
    std::shared_ptr<const Last> last_ QDX_GUARDED_BY(lock_); ///< the last completed search
    unsigned threads_;
};

} // namespace quarrydex
