/// --batch: answers requests from standard input, one a line, until it ends.
#pragma once

#include "QuarrydexApp/headless/Session.h"

#include <string>
#include <string_view>
#include <variant>

namespace quarrydex {

/// The search that a request asks for, or what is wrong with the request.
[[nodiscard]] std::variant<SearchState, CommandLineError> parseRequest(std::string_view line);

[[nodiscard]] ExitStatus runBatch(const Options& options);

} // namespace quarrydex
