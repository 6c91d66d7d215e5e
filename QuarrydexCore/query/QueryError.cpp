#include "QuarrydexCore/query/QueryError.h"

#include "QuarrydexCore/text/tr.h"

namespace quarrydex {

QueryError QueryError::needsValue(std::string_view key) {
    return QueryError(tr("{key}: needs a value", {{"key", key}}));
}

QueryError QueryError::badValue(std::string_view key, std::string_view value) {
    return QueryError(tr("{key}: {value}", {{"key", key}, {"value", value}}));
}

} // namespace quarrydex
