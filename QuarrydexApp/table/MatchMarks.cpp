#include "QuarrydexApp/table/MatchMarks.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexCore/text/Characters.h"
#include "QuarrydexCore/text/Fold.h"

#include <algorithm>

namespace quarrydex {

namespace {

/// A name folded character by character, with the way back to the shown text.
struct FoldedName {
    std::string folded;
    /// [folded.size() + 1] for each byte the place of its character in the shown text, and at the
    /// end the shown text's length.
    std::vector<qsizetype> place;

    explicit FoldedName(std::string_view name) {
        qsizetype at = 0;
        while (!name.empty()) {
            const std::string_view character = name.substr(0, firstCharacterSize(name));
            name.remove_prefix(character.size());
            folded += fold(character);
            place.resize(folded.size(), at);
            at += qt(character).size();
        }
        place.push_back(at);
    }
};

std::vector<TextPart> joined(std::vector<TextPart> parts) {
    std::ranges::sort(parts, {}, &TextPart::begin);
    std::vector<TextPart> out;
    for (const TextPart& part : parts) {
        if (out.empty() || part.begin > out.back().begin + out.back().length) {
            out.push_back(part);
            continue;
        }
        TextPart& last = out.back();
        last.length = std::max(last.begin + last.length, part.begin + part.length) - last.begin;
    }
    return out;
}

} // namespace

std::vector<TextPart> matchedParts(std::string_view name,
                                   std::span<const std::string> foldedTerms) {
    if (foldedTerms.empty())
        return {};
    const FoldedName text(name);
    std::vector<TextPart> parts;
    for (const std::string& term : foldedTerms) {
        if (term.empty())
            continue;
        for (std::size_t at = text.folded.find(term); at != std::string::npos;
             at = text.folded.find(term, at + term.size())) {
            const qsizetype begin = text.place[at];
            // A character that folds to several (ß → ss) is marked as a whole.
            std::size_t end = at + term.size();
            while (end < text.folded.size() && text.place[end] == text.place[end - 1])
                ++end;
            if (text.place[end] > begin)
                parts.push_back({begin, text.place[end] - begin});
        }
    }
    return joined(std::move(parts));
}

std::vector<TextPart>
partsOfElided(const QString& text, const QString& elided, std::span<const TextPart> parts) {
    if (text == elided)
        return {parts.begin(), parts.end()};
    qsizetype head = 0;
    while (head < elided.size() && head < text.size() && elided[head] == text[head])
        ++head;
    const qsizetype tail = std::max<qsizetype>(0, elided.size() - head - 1);
    const qsizetype tailBegin = text.size() - tail;
    const qsizetype shift = elided.size() - text.size();
    std::vector<TextPart> out;
    for (const TextPart& part : parts) {
        const qsizetype end = part.begin + part.length;
        if (part.begin < head)
            out.push_back({part.begin, std::min(end, head) - part.begin});
        if (const qsizetype begin = std::max(part.begin, tailBegin); begin < end)
            out.push_back({begin + shift, end - begin});
    }
    return out;
}

} // namespace quarrydex
