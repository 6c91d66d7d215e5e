#include "QuarrydexApp/headless/Session.h"

#include "QuarrydexApp/headless/Terminal.h"
#include "QuarrydexApp/headless/WaitTeller.h"
#include "QuarrydexApp/model/WaitUntil.h"
#include "QuarrydexApp/prefs/Prefs.h"
#include "QuarrydexCore/base/Calendar.h"
#include "QuarrydexCore/query/QueryError.h"
#include "QuarrydexCore/query/QueryParser.h"
#include "QuarrydexCore/text/tr.h"

#include <algorithm>
#include <utility>

namespace quarrydex {

namespace {

std::optional<std::vector<std::string>> given(const std::vector<std::string>& values) {
    return values.empty() ? std::nullopt : std::optional(values);
}

ModelOptions modelOptions(const Options& options, const Session::Settings& settings) {
    ModelOptions wanted = modelOptions(options);
    wanted.keepsOrders = settings.keepsOrders;
    wanted.watches = settings.watches;
    wanted.analysesAudio = settings.analysesAudio;
    return wanted;
}

} // namespace

ModelOptions modelOptions(const Options& options) {
    return {.roots = options.roots,
            .excludes = given(options.excludes),
            .includeExts = given(options.includeExts),
            .persist = options.persist,
            .prefs = &Prefs::shared()};
}

Session::Session(const Options& options, Settings settings)
    : model_(modelOptions(options, settings)) {}

void Session::scan() {
    {
        const WaitTeller teller(model_);
        model_.startScans();
        waitUntil(model_, [this] { return !model_.anyUpdating(); });
    }
    reportFailures();
}

void Session::reportFailures() const {
    for (const auto& volume : model_.volumes())
        if (volume->failure)
            printError(*volume->failure);
}

bool Session::hasFailures() const {
    return std::ranges::any_of(model_.volumes(),
                               [](const auto& volume) { return volume->failure.has_value(); });
}

void Session::analyseAudio() {
    const WaitTeller teller(model_);
    model_.analyseAudio();
    waitUntil(model_, [this] { return !model_.anyAnalysing(); });
}

bool Session::asksForAudio(const std::string& query) {
    return QueryParser::parse(query, systemPlatform().clock.now(), LocalCalendar()).asksForAudio();
}

std::optional<std::string> Session::queryFault(const std::string& query) {
    try {
        (void)QueryParser::parse(query, systemPlatform().clock.now(), LocalCalendar());
    } catch (const QueryError& error) {
        return tr("Invalid search: ") + error.what();
    }
    return std::nullopt;
}

std::shared_ptr<const ResultSet> Session::search(SearchState state) {
    model_.setSearchState(std::move(state));
    waitUntil(model_, [&, generation = model_.generation()] {
        const ResultSet& results = *model_.results();
        return results.generation >= generation && results.complete;
    });
    return model_.results();
}

} // namespace quarrydex
