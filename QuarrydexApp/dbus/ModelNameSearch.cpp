#include "QuarrydexApp/dbus/ModelNameSearch.h"

#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/model/SearchRun.h"
#include "QuarrydexCore/base/Calendar.h"
#include "QuarrydexCore/query/QueryError.h"
#include "QuarrydexCore/query/QueryParser.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace quarrydex {

namespace {

/// Of so many of the newest hits those that begin with the text are put first.
constexpr std::size_t looked = 200;

std::optional<Query> queryOf(const std::string& text, std::int64_t now) {
    try {
        Query query = QueryParser::parse(text, now, LocalCalendar());
        if (!query.groups.empty())
            return query;
    } catch (const QueryError&) {
        // Half a query while it is typed.
    }
    return std::nullopt;
}

std::vector<FoundItem> best(const ResultSet& results, const std::string& text, std::size_t limit) {
    const std::string folded = VolumeIndex::fold(text);
    std::vector<Row> rows = results.rows;
    std::stable_partition(rows.begin(), rows.end(), [&](Row row) {
        return VolumeIndex::fold(results.indexes[rowVolume(row)]->name(rowEntry(row)))
            .starts_with(folded);
    });
    rows.resize(std::min(rows.size(), limit));
    std::vector<FoundItem> items;
    for (Row row : rows) {
        const VolumeIndex& index = *results.indexes[rowVolume(row)];
        items.push_back({.path = index.path(rowEntry(row)),
                         .isFolder = (index.flags(rowEntry(row)) & EntryFlags::dir) != 0});
    }
    return items;
}

} // namespace

void ModelNameSearch::find(const std::string& text, std::size_t limit, Answer answer) {
    const std::uint64_t number = ++newest_;
    auto query = queryOf(text, clock_.now());
    if (!query) {
        answer({});
        return;
    }
    SearchState state;
    state.query = text;
    state.sortKey = SortKey::date;
    state.sortDesc = true;
    state.limit = std::max(looked, limit);
    auto run = std::make_shared<SearchRun>(
        SearchRun::Request{.generation = number,
                           .clock = &clock_,
                           .volumes = model_.volumes(),
                           .query = std::move(*query),
                           .state = std::move(state),
                           .global = nullptr,
                           .resetScroll = false,
                           .isStale = [this, number] { return newest_ != number; },
                           .sharesSearchers = false});
    // The run holds volumes, which only the main thread may let go: it goes back there in any case.
    queue_.post([this, run = std::move(run), text, limit, answer = std::move(answer)]() mutable {
        std::vector<FoundItem> items;
        if (run->findHits())
            items = best(*run->results(run->wantedRows()), text, limit);
        mainQueue_.post([run = std::move(run), answer = std::move(answer),
                         items = std::move(items)]() mutable { answer(std::move(items)); });
    });
}

} // namespace quarrydex
