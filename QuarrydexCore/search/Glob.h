/// Shell-style patterns on whole names: * is any run of bytes, ? one character.
///
/// A character is a UTF-8 sequence, or a single byte that is part of none, so a name of any
/// encoding has one division into characters. ? never stands for a part of one; * takes bytes.
/// There is no escape: a * or ? in a pattern is always a wildcard.
///
/// Threads: a Glob is built by one and read by many. Cost: linear in the name in practice; at
/// worst name × pattern, whatever the number of stars.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

class Glob {
  public:
    explicit Glob(std::string_view pattern);

    /// True when the whole name matches. A folded name is passed without its filler.
    [[nodiscard]] bool matches(std::string_view name) const;

  private:
    /// A stretch of the pattern between stars.
    struct Piece {
        std::string text;
        std::size_t wildcards{}; ///< number of ? in text

        /// Where a match that begins at `at` ends, or npos.
        [[nodiscard]] std::size_t matchAt(std::string_view name, std::size_t at) const;

        /// Where the first match at or after `from` ends, or npos.
        [[nodiscard]] std::size_t find(std::string_view name, std::size_t from) const;

        /// True when a match that begins at or after `from` ends where the name ends.
        [[nodiscard]] bool endsName(std::string_view name, std::size_t from) const;
    };

    Piece front_;               ///< before the first star; the whole pattern when there is none
    std::vector<Piece> middle_; ///< between stars, none of them empty
    Piece back_;                ///< after the last star
    bool hasStar_ = false;
};

/// One match without keeping the pattern.
[[nodiscard]] bool globMatches(std::string_view pattern, std::string_view name);

/// The longest run of bytes without * or ?, the first of equally long ones; points into `pattern`.
/// Every name that matches holds it.
[[nodiscard]] std::string_view literalRun(std::string_view pattern);

} // namespace quarrydex
