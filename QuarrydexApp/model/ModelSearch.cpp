#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/model/SearchRun.h"
#include "QuarrydexCore/base/Calendar.h"
#include "QuarrydexCore/query/QueryError.h"
#include "QuarrydexCore/query/QueryParser.h"

#include <utility>

namespace quarrydex {

namespace {

/// Rows that are published before a long result is ordered to its end: more than a window shows.
constexpr std::size_t firstScreenRows = 200;

/// Results up to this long are ordered in about a millisecond and published in one go.
constexpr std::size_t oneStepRows = 10'000;

} // namespace

void Model::setSearchState(SearchState state) {
    state_ = std::move(state);
    runSearch(true);
}

void Model::setQuery(std::string query) {
    state_.query = std::move(query);
    runSearch(true);
}

void Model::setFilter(std::optional<Term> filter) {
    state_.filter = std::move(filter);
    runSearch(true);
}

void Model::setBrowseAll(bool browseAll) {
    state_.browseAll = browseAll;
    runSearch(true);
}

void Model::setShowJunk(bool showJunk) {
    state_.showJunk = showJunk;
    runSearch(true);
}

void Model::setSort(SortKey key, bool desc) {
    state_.sortKey = key;
    state_.sortDesc = desc;
    if (options_.keepsOrders)
        prepareSort(key);
    runSearch(true);
}

void Model::runSearch(bool resetScroll) {
    startSearch(resetScroll, false);
}

void Model::startSearch(bool resetScroll, bool ordersArePrepared) {
    Query query;
    try {
        query = QueryParser::parse(state_.query, platform_.clock.now(), LocalCalendar());
    } catch (const QueryError& error) {
        setQueryError(error.what());
        return;
    }
    setQueryError(std::nullopt);
    if (state_.filter)
        query = query.and_(*state_.filter);

    audioPasses_.setResultsDependOnTags(query.asksForAudio());

    const std::uint64_t generation = beginGeneration();
    if (query.groups.empty() && !state_.browseAll) {
        auto nothing = std::make_shared<ResultSet>();
        nothing->generation = generation;
        nothing->setVolumes(volumes_);
        nothing->resetScroll = resetScroll;
        publish(std::move(nothing));
        return;
    }
    auto run = std::make_shared<SearchRun>(
        SearchRun::Request{.generation = generation,
                           .clock = &platform_.clock,
                           .volumes = volumes_,
                           .query = std::move(query),
                           .state = state_,
                           .global = global_.order(),
                           .resetScroll = resetScroll,
                           .isStale = [this, generation] { return !isCurrent(generation); }});
    const bool mayPrepare = options_.keepsOrders && !ordersArePrepared;
    searchQueue_.post([this, run = std::move(run), mayPrepare] { search(run, mayPrepare); });
}

void Model::search(const std::shared_ptr<SearchRun>& run, bool mayPrepareOrders) {
    if (!run->findHits())
        return;
    if (run->wantedRows() <= oneStepRows) {
        publish(run->results(run->wantedRows()));
        return;
    }
    publish(run->results(firstScreenRows));
    if (mayPrepareOrders && run->wantsOrder()) {
        // The rest comes from the search that follows the preparation.
        mainQueue_.post([this, run] {
            if (isCurrent(run->generation()))
                completeByKeptOrder(run->sortKey());
        });
        return;
    }
    completeQueue_.post([this, run] {
        if (isCurrent(run->generation()))
            publish(run->results(run->wantedRows()));
    });
}

void Model::completeByKeptOrder(SortKey key) {
    prepareSort(key);
    if (!keysInPreparation_.contains(key)) // made meanwhile by someone else
        startSearch(false, true);
}

void Model::publish(std::shared_ptr<const ResultSet> results) {
    mainQueue_.post([this, results = std::move(results)] {
        if (!isCurrent(results->generation))
            return;
        const auto replaced = std::exchange(results_, results);
        Q_EMIT resultsChanged();
        if (replaced->rows.size() > oneStepRows) // giving much memory back takes milliseconds
            completeQueue_.post([replaced] {});
    });
}

std::uint64_t Model::beginGeneration() {
    std::uint64_t generation;
    {
        MutexLock held(genLock_);
        generation = ++gen_;
    }
    // A search that slips between its check of the generation and its start is not cancelled; it
    // runs to its end and its result is dropped.
    for (const auto& volume : volumes_)
        volume->searcher->cancel();
    return generation;
}

std::uint64_t Model::generation() const {
    MutexLock held(genLock_);
    return gen_;
}

bool Model::isCurrent(std::uint64_t generation) const {
    MutexLock held(genLock_);
    return gen_ == generation;
}

void Model::setQueryError(std::optional<std::string> message) {
    if (queryError_ == message)
        return;
    queryError_ = std::move(message);
    Q_EMIT queryErrorChanged();
}

} // namespace quarrydex
