#include "QuarrydexCore/query/Query.h"

namespace quarrydex {

Query Query::and_(const Term& term) const {
    if (groups.empty())
        return {{{term}}};
    Query out = *this;
    for (std::vector<Term>& group : out.groups)
        group.push_back(term);
    return out;
}

} // namespace quarrydex
