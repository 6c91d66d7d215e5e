#include "QuarrydexCore/query/Query.h"

#include <algorithm>

namespace quarrydex {

Query Query::and_(const Term& term) const {
    if (groups.empty())
        return {{{term}}};
    Query out = *this;
    for (std::vector<Term>& group : out.groups)
        group.push_back(term);
    return out;
}

bool Query::asksForAudio() const {
    return std::ranges::any_of(groups, [](const std::vector<Term>& group) {
        return std::ranges::any_of(group, [](const Term& term) {
            return std::holds_alternative<preds::Audio>(term.pred);
        });
    });
}

} // namespace quarrydex
