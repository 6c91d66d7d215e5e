/// A POSIX extended regular expression, compiled for matching names of any encoding byte by byte.
///
/// Patterns come from what a user has typed so far, so anything may stand in them. One that is
/// malformed, holds a NUL, uses a back-reference (no part of POSIX extended syntax, and exponential
/// to match) or is too large to compile in a moment (RegexSyntax.h) is invalid: it matches nothing.
///
/// Threads: matching writes inside the compiled expression, so every worker takes a clone() of its
/// own; a single RegexPattern is for one thread at a time. Locale: compiled and matched under the C
/// locale whatever the program's is; the calling thread's locale is left as it was.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace quarrydex {

class RegexPattern {
  public:
    struct Options {
        bool caseSensitive = false; ///< otherwise A–Z and a–z are the same
    };

    RegexPattern(std::string_view pattern, Options options);

    RegexPattern(RegexPattern&&) noexcept;
    RegexPattern& operator=(RegexPattern&&) noexcept;
    ~RegexPattern();

    /// A copy for another thread.
    [[nodiscard]] RegexPattern clone() const { return {pattern_, options_}; }

    [[nodiscard]] bool isValid() const { return compiled_ != nullptr; }

    /// True when some part of the NUL-terminated name matches.
    [[nodiscard]] bool matches(const char* name);

    /// Bytes that stand in every name that matches; empty when none are known. Unless the pattern
    /// is case-sensitive they are in ASCII lower case and stand in the name's ASCII lower-case
    /// form.
    [[nodiscard]] const std::string& requiredLiteral() const { return requiredLiteral_; }

  private:
    struct Compiled;

    std::string pattern_;
    Options options_;
    std::string requiredLiteral_;
    std::unique_ptr<Compiled> compiled_; ///< null for an invalid pattern
};

} // namespace quarrydex
