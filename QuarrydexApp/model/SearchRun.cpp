#include "QuarrydexApp/model/SearchRun.h"

#include "QuarrydexApp/model/Merge.h"

#include <algorithm>
#include <utility>

namespace quarrydex {

SearchRun::SearchRun(Request request)
    : request_(std::move(request)), startNs_(request_.clock->monotonicNs()) {
    for (const auto& volume : request_.volumes)
        parts_.push_back({volume->index,
                          request_.sharesSearchers ? volume->searcher
                                                   : std::make_shared<Searcher>(*volume->index),
                          nullptr, volume->hidden});
}

bool SearchRun::findHits() {
    for (Part& part : parts_) {
        if (request_.isStale())
            return false;
        if (part.hidden)
            continue;
        part.hits = part.searcher->searchBits(request_.query, request_.state.showJunk);
        if (part.hits == nullptr)
            return false;
        total_ += part.hits->count;
    }
    return true;
}

std::size_t SearchRun::wantedRows() const {
    return std::min(total_, request_.state.limit);
}

bool SearchRun::wantsOrder() const {
    return std::ranges::any_of(parts_, [&](const Part& part) {
        return part.hits != nullptr &&
               std::min(part.hits->count, request_.state.limit) > directSortLimit &&
               !part.index->isScanning() && !part.index->usablePerm(sortKey()).has_value();
    });
}

std::shared_ptr<const ResultSet> SearchRun::results(std::size_t count) {
    auto results = std::make_shared<ResultSet>();
    results->generation = request_.generation;
    results->vols = request_.volumes;
    for (const Part& part : parts_)
        results->indexes.push_back(part.index);
    results->rows = orderedRows(count);
    results->total = total_;
    results->complete = count >= wantedRows();
    for (std::size_t v = 0; v < parts_.size(); ++v)
        if (parts_[v].hits != nullptr && parts_[v].hits->count > 0)
            results->hitVolumes.push_back(static_cast<std::uint32_t>(v));
    results->terms = plainNameTerms(request_.query);
    results->resetScroll = std::exchange(request_.resetScroll, false);
    results->searchMs = static_cast<double>(request_.clock->monotonicNs() - startNs_) / 1e6;
    return results;
}

std::vector<Row> SearchRun::orderedRows(std::size_t count) const {
    const bool desc = request_.state.sortDesc;
    std::vector<std::shared_ptr<VolumeIndex>> indexes;
    for (const Part& part : parts_)
        indexes.push_back(part.index);
    if (auto rows = rowsByGlobalOrder(indexes, count))
        return *std::move(rows);
    std::vector<std::vector<EntryId>> lists;
    for (const Part& part : parts_) {
        lists.emplace_back();
        if (part.hits != nullptr && !request_.isStale())
            lists.back() = part.index->ordered(
                *part.hits, sortKey(),
                {.descending = desc, .limit = count, .directSortLimit = directSortLimit});
    }
    auto rows = merge(indexes, lists, sortKey(), {.desc = desc, .isStale = request_.isStale});
    if (rows.size() > count)
        rows.resize(count);
    return rows;
}

/// Nothing where there is no such order, or the other way is the faster one.
std::optional<std::vector<Row>>
SearchRun::rowsByGlobalOrder(std::span<const std::shared_ptr<VolumeIndex>> indexes,
                             std::size_t count) const {
    if (sortKey() != SortKey::name || !request_.global || !request_.global->isUsable(indexes))
        return std::nullopt;
    std::vector<const HitSet*> hits;
    for (const Part& part : parts_)
        hits.push_back(part.hits.get());
    return request_.global->mergeGlobal(
        hits, indexes,
        {.desc = request_.state.sortDesc, .limit = count, .isStale = request_.isStale});
}

std::vector<std::string> plainNameTerms(const Query& query) {
    std::vector<std::string> terms;
    for (const auto& group : query.groups)
        for (const Term& term : group)
            if (const auto* name = std::get_if<preds::Name>(&term.pred);
                name != nullptr && !term.neg)
                terms.push_back(name->text);
    return terms;
}

} // namespace quarrydex
