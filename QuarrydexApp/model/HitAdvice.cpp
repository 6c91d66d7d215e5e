#include "QuarrydexApp/model/HitAdvice.h"

#include "QuarrydexApp/model/Model.h"
#include "QuarrydexCore/base/Calendar.h"
#include "QuarrydexCore/query/QueryError.h"
#include "QuarrydexCore/query/QueryParser.h"
#include "QuarrydexCore/search/Searcher.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace quarrydex {

// --- Words --------------------------------------------------------------------------------------

std::vector<std::string_view> HitAdvice::words(std::string_view query) {
    std::vector<std::string_view> out;
    std::size_t begin = 0;
    bool quoted = false;
    const auto endWord = [&](std::size_t end) {
        if (end > begin)
            out.push_back(query.substr(begin, end - begin));
        begin = end + 1;
    };
    for (std::size_t i = 0; i < query.size(); ++i) {
        const char c = query[i];
        if (c == '"')
            quoted = !quoted;
        else if (!quoted && (c == ' ' || c == '\t' || c == '|'))
            endWord(i);
    }
    endWord(query.size());
    return out;
}

namespace {

/// The query without the word, which is one of its own.
std::string without(const std::string& query, std::string_view word) {
    const auto at = static_cast<std::size_t>(word.data() - query.data());
    std::string rest = query.substr(0, at);
    while (rest.ends_with(' '))
        rest.pop_back();
    const std::string after = query.substr(at + word.size());
    return rest.empty() ? after.substr(std::min(after.find_first_not_of(' '), after.size()))
                        : rest + after;
}

} // namespace

// --- Counting -----------------------------------------------------------------------------------

/// One question: what is to be counted, over which catalogues. Made on the main thread, counted on
/// the queue; cancel() from the main thread.
class HitAdvice::Count {
  public:
    Count(const Model& model, std::int64_t now) : state_(model.searchState()), now_(now) {
        for (const auto& volume : model.volumes())
            if (!volume->hidden) {
                indexes_.push_back(volume->index);
                searchers_.push_back(std::make_unique<Searcher>(*volume->index));
            }
    }

    void cancel() {
        MutexLock held(lock_);
        isCancelled_ = true;
        for (const auto& searcher : searchers_)
            searcher->cancel();
    }

    [[nodiscard]] bool isCancelled() const {
        MutexLock held(lock_);
        return isCancelled_;
    }

    [[nodiscard]] std::vector<Without> run() {
        std::vector<Without> advice;
        const auto add = [&](std::string_view word, std::string rest, bool filtered) {
            const std::size_t hits = count(rest, filtered);
            if (hits > 0)
                advice.push_back(
                    {.word = std::string(word), .query = std::move(rest), .hits = hits});
        };
        if (state_.filter)
            add("", state_.query, false);
        const auto words = HitAdvice::words(state_.query);
        if (words.size() > 1 && words.size() <= maxWords)
            for (std::string_view word : words)
                add(word, without(state_.query, word), true);
        std::ranges::stable_sort(advice, std::ranges::greater(), &Without::hits);
        return advice;
    }

  private:
    [[nodiscard]] std::size_t count(const std::string& text, bool filtered) {
        Query query;
        try {
            query = QueryParser::parse(text, now_, LocalCalendar());
        } catch (const QueryError&) {
            return 0;
        }
        if (query.groups.empty() && !(filtered && state_.filter))
            return 0;
        if (filtered && state_.filter)
            query = query.and_(*state_.filter);
        std::size_t hits = 0;
        for (const auto& searcher : searchers_) {
            if (isCancelled())
                return 0;
            if (const auto found = searcher->searchBits(query, state_.showJunk))
                hits += found->count;
        }
        return hits;
    }

    const SearchState state_;
    const std::int64_t now_;
    std::vector<std::shared_ptr<const VolumeIndex>> indexes_;
    std::vector<std::unique_ptr<Searcher>> searchers_; ///< over indexes_
    mutable Mutex lock_;
    bool isCancelled_ QDX_GUARDED_BY(lock_) = false;
};

HitAdvice::HitAdvice(const Model& model) : model_(model) {}

HitAdvice::~HitAdvice() {
    withdraw();
}

void HitAdvice::ask() {
    withdraw();
    running_ = std::make_shared<Count>(model_, systemPlatform().clock.now());
    queue_.post([this, count = running_] {
        std::vector<Without> advice = count->run();
        mainQueue_.post([this, count, advice = std::move(advice)] {
            if (count == running_ && !advice.empty())
                Q_EMIT advised(advice);
        });
    });
}

void HitAdvice::withdraw() {
    if (const auto count = std::exchange(running_, nullptr))
        count->cancel();
}

} // namespace quarrydex
