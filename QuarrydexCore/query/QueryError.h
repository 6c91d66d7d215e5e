/// What is wrong with a query, as a message for the user: shown as it is after "Invalid search: ".
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace quarrydex {

class QueryError : public std::runtime_error {
  public:
    /// "ext: needs a value"
    [[nodiscard]] static QueryError needsValue(std::string_view key);

    /// "size: 10xb", the value as it was typed.
    [[nodiscard]] static QueryError badValue(std::string_view key, std::string_view value);

  private:
    explicit QueryError(const std::string& message) : std::runtime_error(message) {}
};

} // namespace quarrydex
