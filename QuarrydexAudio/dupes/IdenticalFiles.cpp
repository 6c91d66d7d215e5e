#include "QuarrydexAudio/dupes/IdenticalFiles.h"

#include "QuarrydexAudio/dupes/FileHash.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace quarrydex {

namespace {

/// Appends the runs of two or more candidates with equal keys. Sorts the candidates.
template <typename Key>
void appendRuns(std::vector<CandId>& ids, IdenticalFiles::Groups& to, const Key& key) {
    const auto comesBefore = [&](CandId x, CandId y) {
        return key(x) < key(y) || (key(x) == key(y) && x < y);
    };
    std::sort(ids.begin(), ids.end(), comesBefore);
    for (auto begin = ids.begin(); begin != ids.end();) {
        auto end = begin + 1;
        while (end != ids.end() && key(*end) == key(*begin))
            ++end;
        if (end - begin >= 2)
            to.emplace_back(begin, end);
        begin = end;
    }
}

void dropSingles(IdenticalFiles::Groups& groups) {
    std::erase_if(groups, [](const std::vector<CandId>& group) { return group.size() < 2; });
}

} // namespace

IdenticalFiles::Groups IdenticalFiles::find(const DupStages& stages) {
    bySize(stages.contains(DupStage::size));
    const auto runs = [&](DupStage stage) {
        return stages.contains(stage) && !context_.stop.stop_requested();
    };
    const bool areEndsHashed = runs(DupStage::quickHash);
    if (areEndsHashed)
        byQuickHash();
    if (runs(DupStage::fullHash))
        byFullHash();
    else if (!areEndsHashed || stages.contains(DupStage::fullHash))
        open_.clear(); // equal sizes, or ends where all was asked for, are not enough
    Groups found = std::move(whole_);
    found.insert(found.end(), std::make_move_iterator(open_.begin()),
                 std::make_move_iterator(open_.end()));
    std::sort(found.begin(), found.end());
    context_.groups = found.size();
    return found;
}

void IdenticalFiles::bySize(bool isSelected) {
    std::vector<CandId> all(cands_.count());
    std::iota(all.begin(), all.end(), CandId{0});
    if (!isSelected) {
        open_.push_back(std::move(all));
        dropSingles(open_);
        return;
    }
    StageRun run(context_, DupStage::size, all.size());
    appendRuns(all, open_, [this](CandId id) { return cands_[id].size; });
    run.finish(0);
}

std::vector<CandId> IdenticalFiles::looked(const StageRun& run) {
    std::vector<CandId> all;
    for (const std::vector<CandId>& group : open_)
        all.insert(all.end(), group.begin(), group.end());
    std::sort(all.begin(), all.end());
    cands_.look(all, run);
    for (std::vector<CandId>& group : open_)
        std::erase_if(group, [this](CandId id) { return !cands_.sight(id).takesPart; });
    dropSingles(open_);

    all.clear();
    for (const std::vector<CandId>& group : open_)
        all.insert(all.end(), group.begin(), group.end());
    return readingOrder(std::move(all));
}

std::vector<CandId> IdenticalFiles::readingOrder(std::vector<CandId> ids) const {
    std::sort(ids.begin(), ids.end(), [this](CandId x, CandId y) {
        const FileState& a = cands_.sight(x).state;
        const FileState& b = cands_.sight(y).state;
        return std::pair(a.device, a.inode) < std::pair(b.device, b.inode);
    });
    return ids;
}

void IdenticalFiles::splitByDigest(Groups& groups) const {
    Groups split;
    for (std::vector<CandId>& group : groups) {
        std::erase_if(group, [this](CandId id) { return !cands_.sight(id).hasDigest; });
        appendRuns(group, split, [this](CandId id) { return cands_.sight(id).digest; });
    }
    groups = std::move(split);
}

void IdenticalFiles::byQuickHash() {
    std::size_t total = 0;
    for (const std::vector<CandId>& group : open_)
        total += group.size();
    StageRun run(context_, DupStage::quickHash, total);
    const std::vector<CandId> order = looked(run);
    const FileHash hash(reads_);
    run.forEach(order.size(), [&](std::size_t i) {
        Sight& sight = cands_.sight(order[i]);
        const auto quick = hash.quick(cands_.path(order[i]), sight.state.size);
        sight.hasDigest = quick.has_value();
        if (quick) {
            sight.digest = quick->digest;
            sight.isWhole = quick->whole;
        }
    });
    if (!run.isStopped())
        cands_.leftOut().unreadable += static_cast<std::size_t>(std::count_if(
            order.begin(), order.end(), [this](CandId id) { return !cands_.sight(id).hasDigest; }));

    splitByDigest(open_);
    const auto firstOpen =
        std::partition(open_.begin(), open_.end(), [this](const std::vector<CandId>& group) {
            return cands_.sight(group.front()).isWhole;
        });
    whole_.assign(std::make_move_iterator(open_.begin()), std::make_move_iterator(firstOpen));
    open_.erase(open_.begin(), firstOpen);
    context_.groups = whole_.size();
    run.finish(context_.groups);
}

void IdenticalFiles::byFullHash() {
    std::size_t total = 0;
    for (const std::vector<CandId>& group : open_)
        total += group.size();
    StageRun run(context_, DupStage::fullHash, total);
    const std::vector<CandId> order = looked(run);
    for (CandId id : order)
        cands_.sight(id).hasDigest = false;
    const FileHash hash(reads_);
    run.forEach(order.size(), [&](std::size_t i) {
        Sight& sight = cands_.sight(order[i]);
        const auto digest = hash.full(cands_.path(order[i]), sight.state.size, run.stop());
        sight.hasDigest = digest.has_value();
        sight.digest = digest.value_or(Digest128{});
    });
    if (!run.isStopped())
        cands_.leftOut().unreadable += static_cast<std::size_t>(std::count_if(
            order.begin(), order.end(), [this](CandId id) { return !cands_.sight(id).hasDigest; }));
    splitByDigest(open_);
    run.finish(whole_.size() + open_.size());
}

} // namespace quarrydex
