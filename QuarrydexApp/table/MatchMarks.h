/// Which letters of a name were searched for, told the way the search tells: by the folded form.
/// Threads: any; no state. Fails: never.
#pragma once

#include <QString>

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

/// A part of a shown text, in QString's units.
struct TextPart {
    qsizetype begin;
    qsizetype length;

    bool operator==(const TextPart&) const = default;
};

/// The parts of shown(name) that match a term, rising and apart. `foldedTerms` are folded texts;
/// empty ones match nothing.
[[nodiscard]] std::vector<TextPart> matchedParts(std::string_view name,
                                                 std::span<const std::string> foldedTerms);

/// The parts as they stand in a text that was shortened around one "…".
[[nodiscard]] std::vector<TextPart>
partsOfElided(const QString& text, const QString& elided, std::span<const TextPart> parts);

} // namespace quarrydex
