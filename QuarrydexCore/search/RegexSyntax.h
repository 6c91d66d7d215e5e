/// What can be told from a POSIX extended regular expression without compiling it: whether the
/// system's compiler can be trusted with it, and bytes that every match holds.
///
/// The system's compiler copies a repeated part once for every repetition and keeps, for every
/// part, the parts reachable without reading a byte. A pattern of 20 bytes can so take gigabytes,
/// and one of nested groups the stack. The limits below keep compiling under 50 ms and 64 MiB.
///
/// Threads: any; no state. Fails: never; a malformed pattern is a result.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quarrydex {

struct RegexSyntax {
    static constexpr std::size_t maxLength = 8'192; ///< bytes
    static constexpr std::size_t maxDepth = 64;     ///< groups inside one another
    static constexpr std::size_t maxParts = 2'000;  ///< after repetitions are written out
    /// ^ $ and word ends in one alternative; each enclosing repetition at least doubles their
    /// number.
    static constexpr std::size_t maxAnchors = 16;

    /// Well-formed as far as can be told here, without back-references, within the limits.
    bool isAcceptable = false;

    /// The longest run of bytes that stands in every match, the first of equally long ones; empty
    /// when none is known. As written: a match that ignores case holds it in any case.
    std::string requiredLiteral;
};

[[nodiscard]] RegexSyntax examineRegex(std::string_view pattern);

} // namespace quarrydex
