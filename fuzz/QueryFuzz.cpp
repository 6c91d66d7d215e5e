/// Any bytes at all are read as a query or refused with a message.

#include "QuarrydexCore/base/Calendar.h"
#include "QuarrydexCore/query/ExtPatterns.h"
#include "QuarrydexCore/query/QueryError.h"
#include "QuarrydexCore/query/QueryParser.h"
#include "QuarrydexCore/text/Fold.h"

#include <cstdlib>
#include <string>

namespace quarrydex {

namespace {

void require(bool claim) {
    if (!claim)
        std::abort();
}

/// What every predicate of a parsed query must hold.
struct PredCheck {
    void operator()(const preds::Size& pred) const { require(pred.range.lo <= pred.range.hi); }

    void operator()(const preds::Date& pred) const { require(pred.range.lo <= pred.range.hi); }

    void operator()(const preds::Audio& pred) const {
        require(pred.cond.lo <= pred.cond.hi);
        require(pred.cond.isText() != pred.cond.text.empty());
    }

    void operator()(const preds::Ext& pred) const {
        require(!pred.exts.empty());
        for (const std::string& ext : pred.exts)
            require(!ext.empty() && ext.front() != '.' && ext.back() != '.');
    }

    void operator()(const preds::Path& pred) const { require(!pred.text.empty()); }

    void operator()(const preds::Glob& pred) const {
        require(pred.pattern.find_first_of("*?") != pred.pattern.npos);
    }

    template <typename Other> void operator()(const Other&) const {}
};

void checkQuery(std::string_view text) {
    constexpr std::int64_t now = 1709208000;
    const FixedOffsetCalendar calendar(7200);
    try {
        const Query query = QueryParser::parse(text, now, calendar);
        require(query == QueryParser::parse(text, now, calendar));
        for (const std::vector<Term>& group : query.groups) {
            require(!group.empty());
            for (const Term& term : group)
                std::visit(PredCheck{}, term.pred);
        }
    } catch (const QueryError& error) {
        require(!std::string_view(error.what()).empty());
    }
}

void checkTokens(std::string_view text) {
    std::size_t bytes = 0;
    for (const QueryParser::Token& token : QueryParser::tokenize(text)) {
        require(!token.text.empty() || token.quoted);
        require(!token.isOr || token.text == "|");
        bytes += token.text.size();
    }
    require(bytes <= text.size());
}

void checkFold(std::string_view text) {
    const std::string folded = fold(text);
    require(fold(folded) == folded);
    std::string name(text.size(), '\0');
    foldName(text.data(), text.size(), name.data());
    require(std::string_view(folded).starts_with(withoutFiller(name)) ||
            withoutFiller(folded) == withoutFiller(name));
}

} // namespace

} // namespace quarrydex

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    quarrydex::checkTokens(text);
    quarrydex::checkQuery(text);
    quarrydex::checkFold(text);
    for (const std::string& ext : quarrydex::ExtPatterns::parse(text).exts)
        quarrydex::require(!ext.empty());
    return 0;
}
