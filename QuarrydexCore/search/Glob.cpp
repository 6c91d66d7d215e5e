#include "QuarrydexCore/search/Glob.h"

#include "QuarrydexCore/text/Utf8.h"

#include <algorithm>

namespace quarrydex {

namespace {

constexpr std::size_t npos = std::string_view::npos;

/// Length of the UTF-8 sequence at `at`, or 0.
std::size_t sequenceLength(std::string_view text, std::size_t at) {
    if (isAscii(text[at]))
        return 1;
    const CodePoint point = firstCodePoint(text.substr(at));
    return point.isValid() ? point.byteCount : 0;
}

/// Length of the character that begins at `at`; 0 at the end and inside a character.
std::size_t characterLength(std::string_view text, std::size_t at) {
    if (at >= text.size())
        return 0;
    if (const std::size_t length = sequenceLength(text, at); length != 0)
        return length;
    for (std::size_t back = 1; back <= std::min<std::size_t>(at, 3); ++back)
        if (sequenceLength(text, at - back) > back)
            return 0;
    return 1;
}

} // namespace

Glob::Glob(std::string_view pattern) {
    const auto piece = [&](std::size_t from, std::size_t to) {
        const std::string_view text = pattern.substr(from, to - from);
        return Piece{std::string(text), static_cast<std::size_t>(std::ranges::count(text, '?'))};
    };
    std::size_t star = pattern.find('*');
    hasStar_ = star != npos;
    front_ = piece(0, std::min(star, pattern.size()));
    while (star != npos) {
        const std::size_t from = star + 1;
        star = pattern.find('*', from);
        if (star == npos)
            back_ = piece(from, pattern.size());
        else if (star != from)
            middle_.push_back(piece(from, star));
    }
}

bool Glob::matches(std::string_view name) const {
    std::size_t at = front_.matchAt(name, 0);
    if (!hasStar_)
        return at == name.size();
    // A later start of a piece never ends earlier, so the first match of each is the right one.
    for (const Piece& piece : middle_) {
        if (at == npos)
            return false;
        at = piece.find(name, at);
    }
    return at != npos && back_.endsName(name, at);
}

std::size_t Glob::Piece::matchAt(std::string_view name, std::size_t at) const {
    if (wildcards == 0)
        return name.substr(at).starts_with(text) ? at + text.size() : npos;
    for (const char c : text) {
        if (c == '?') {
            const std::size_t length = characterLength(name, at);
            if (length == 0)
                return npos;
            at += length;
        } else if (at < name.size() && name[at] == c) {
            ++at;
        } else {
            return npos;
        }
    }
    return at;
}

std::size_t Glob::Piece::find(std::string_view name, std::size_t from) const {
    if (wildcards == 0) {
        const std::size_t at = name.find(text, from);
        return at == npos ? npos : at + text.size();
    }
    for (; from + text.size() <= name.size(); ++from)
        if (const std::size_t end = matchAt(name, from); end != npos)
            return end;
    return npos;
}

bool Glob::Piece::endsName(std::string_view name, std::size_t from) const {
    if (wildcards == 0)
        return name.substr(from).ends_with(text);
    // A ? takes one to four bytes.
    const std::size_t longest = text.size() + 3 * wildcards;
    if (name.size() > longest)
        from = std::max(from, name.size() - longest);
    for (; from + text.size() <= name.size(); ++from)
        if (matchAt(name, from) == name.size())
            return true;
    return false;
}

bool globMatches(std::string_view pattern, std::string_view name) {
    return Glob(pattern).matches(name);
}

std::string_view literalRun(std::string_view pattern) {
    std::string_view longest;
    while (!pattern.empty()) {
        const std::string_view run = pattern.substr(0, pattern.find_first_of("*?"));
        if (run.size() > longest.size())
            longest = run;
        pattern.remove_prefix(std::min(run.size() + 1, pattern.size()));
    }
    return longest;
}

} // namespace quarrydex
