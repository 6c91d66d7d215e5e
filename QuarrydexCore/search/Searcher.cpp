#include "QuarrydexCore/search/Searcher.h"

#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"
#include "QuarrydexCore/search/BlockEvaluator.h"
#include "QuarrydexCore/search/OpSet.h"
#include "QuarrydexCore/text/Fold.h"

#include <algorithm>
#include <iterator>

namespace quarrydex {

namespace {

const std::string* plainWord(const Term& term) {
    const auto* name = std::get_if<preds::Name>(&term.pred);
    return name != nullptr && !term.neg ? &name->text : nullptr;
}

template <typename P> bool holds(std::span<const Term> terms) {
    return std::ranges::any_of(
        terms, [](const Term& term) { return std::holds_alternative<P>(term.pred); });
}

/// One group with what removes entries before its ops.
struct Group {
    OpSet ops;
    std::uint8_t mask; ///< none of these flags may be set
};

/// Everything that the workers of one search share.
struct Evaluation {
    std::vector<Group> groups;
    std::shared_ptr<const HitSet> previous; ///< when set, only these can be hits
    HitSet& hits;
    const std::atomic<std::uint32_t>& cancelled;

    /// Fills the hits of ids first … last − 1; `first` is a multiple of 64. Returns their number.
    std::size_t run(std::uint32_t first, std::uint32_t last) const {
        std::vector<BlockEvaluator> evaluators;
        evaluators.reserve(groups.size());
        for (const Group& group : groups)
            evaluators.emplace_back(group.ops, cancelled);
        std::size_t found = 0;
        for (std::uint32_t at = first; at < last; at += blockEntries) {
            if (cancelled.load(std::memory_order_relaxed) != 0)
                break;
            const std::uint32_t count = std::min(blockEntries, last - at);
            const std::span<std::uint64_t> out(hits.bits.data() + at / 64, (count + 63) / 64);
            for (std::size_t g = 0; g < groups.size(); ++g)
                addGroup(groups[g], evaluators[g], at, count, out);
            found += kernels::countBits(out);
        }
        return found;
    }

  private:
    /// Adds the group's hits among `count` ids from `at` to `out`.
    void addGroup(const Group& group,
                  BlockEvaluator& evaluator,
                  std::uint32_t at,
                  std::uint32_t count,
                  std::span<std::uint64_t> out) const {
        std::array<std::uint64_t, blockEntries / 64> bits;
        if (previous != nullptr) {
            std::copy_n(previous->bits.data() + at / 64, out.size(), bits.begin());
            evaluator.narrow(at, count, bits.data());
        } else {
            evaluator.find(at, count, group.mask, bits.data());
        }
        for (std::size_t w = 0; w < out.size(); ++w)
            out[w] |= bits[w];
    }
};

} // namespace

Searcher::Searcher(const VolumeIndex& index)
    : index_(index), flag_(std::make_shared<Flag>()), threads_(processorCount()) {}

void Searcher::cancel() {
    MutexLock held(lock_);
    flag_->cancelled.store(1, std::memory_order_relaxed);
}

std::uint8_t Searcher::excludeMask(std::span<const Term> terms, bool showJunk) {
    constexpr std::uint8_t always = EntryFlags::deleted | EntryFlags::root;
    if (holds<preds::Junk>(terms))
        return always;
    if (!showJunk)
        return always | EntryFlags::junk | EntryFlags::hidden;
    // Asking for a kind of file shows hidden ones on request, but never clutter.
    return holds<preds::Ext>(terms) ? always | EntryFlags::junk : always;
}

std::vector<std::pair<std::uint32_t, std::uint32_t>> Searcher::chunks(std::uint32_t n) const {
    const std::uint64_t k = std::max<std::uint64_t>(
        1, std::min<std::uint64_t>(n / 4096 + 1, std::uint64_t{2} * threads_));
    std::vector<std::pair<std::uint32_t, std::uint32_t>> out;
    for (std::uint64_t i = 0; i < k; ++i)
        out.emplace_back(static_cast<std::uint32_t>(n * i / k),
                         static_cast<std::uint32_t>(n * (i + 1) / k));
    return out;
}

std::vector<EntryId> Searcher::union_(std::span<const EntryId> a, std::span<const EntryId> b) {
    std::vector<EntryId> out;
    out.reserve(a.size() + b.size());
    std::ranges::set_union(a, b, std::back_inserter(out));
    return out;
}

bool Searcher::extends(const Query& next, const Query& previous) {
    if (next.groups.size() != 1 || previous.groups.size() != 1)
        return false;
    const std::span<const Term> now = next.groups[0];
    const std::span<const Term> before = previous.groups[0];
    if (now.empty() || now.size() != before.size() ||
        now.back().caseSensitive != before.back().caseSensitive ||
        !std::ranges::equal(now.first(now.size() - 1), before.first(before.size() - 1)))
        return false;
    const std::string* longer = plainWord(now.back());
    const std::string* shorter = plainWord(before.back());
    if (longer == nullptr || shorter == nullptr || longer->empty() ||
        !longer->starts_with(*shorter))
        return false;
    // Folding may join what was typed with what comes next (Hangul letters become a syllable).
    return now.back().caseSensitive || fold(*longer).starts_with(fold(*shorter));
}

std::shared_ptr<const HitSet> Searcher::searchBits(const Query& query, bool showJunk) {
    auto flag = std::make_shared<Flag>();
    std::shared_ptr<const Last> last;
    {
        MutexLock held(lock_);
        flag_->cancelled.store(1, std::memory_order_relaxed);
        flag->count = index_.count();
        flag_ = flag;
        last = last_;
    }
    const std::uint32_t n = flag->count;
    const std::int64_t mutations = index_.mutations();
    const std::int64_t audioVersion = index_.audioVersion();

    auto hits = std::make_shared<HitSet>();
    hits->bits.resize(bitWords(n));
    hits->entries = n;
    Evaluation evaluation{{}, nullptr, *hits, flag->cancelled};
    if (last && last->showJunk == showJunk && last->count == n && last->mutations == mutations &&
        last->audioVersion == audioVersion && extends(query, last->query)) {
        // What was found satisfies every term but the last, which has only become stricter.
        evaluation.previous = last->hits;
        evaluation.groups.push_back(
            {OpSet::compile(index_, std::span(query.groups[0]).last(1), n, threads_), 0});
    } else {
        static const std::vector<std::vector<Term>> everything(1);
        for (const std::vector<Term>& terms : query.groups.empty() ? everything : query.groups)
            evaluation.groups.push_back(
                {OpSet::compile(index_, terms, n, threads_), excludeMask(terms, showJunk)});
    }

    const auto parts = chunks(n);
    std::atomic<std::size_t> total{0};
    parallelFor(parts.size(), threads_, [&](std::size_t i) {
        // Words must not be shared between workers: each part begins and ends on a whole one.
        const std::uint32_t first = parts[i].first / 64 * 64;
        const std::uint32_t end = i + 1 == parts.size() ? n : parts[i].second / 64 * 64;
        total += evaluation.run(first, end);
    });
    hits->count = total;

    MutexLock held(lock_);
    if (flag->cancelled.load(std::memory_order_relaxed) != 0)
        return nullptr;
    last_ = std::make_shared<Last>(Last{query, showJunk, n, mutations, audioVersion, hits});
    return hits;
}

std::optional<std::vector<EntryId>> Searcher::search(const Query& query, bool showJunk) {
    const std::shared_ptr<const HitSet> hits = searchBits(query, showJunk);
    return hits ? std::optional(hits->ids()) : std::nullopt;
}

} // namespace quarrydex
