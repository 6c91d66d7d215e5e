#include "QuarrydexCore/text/Characters.h"

#include "QuarrydexCore/text/Utf8.h"

namespace quarrydex {

std::size_t firstCharacterSize(std::string_view text) {
    CodePoint point = firstCodePoint(text);
    std::size_t size = point.byteCount;
    std::int32_t state = 0;
    while (point.isValid() && size < text.size()) {
        const CodePoint next = firstCodePoint(text.substr(size));
        if (!next.isValid() || utf8proc_grapheme_break_stateful(point.value, next.value, &state))
            break;
        size += next.byteCount;
        point = next;
    }
    return size;
}

std::size_t characterCount(std::string_view text) {
    std::size_t count = 0;
    for (; !text.empty(); ++count) {
        // Between two ASCII ones a character ends, but for the line break of two.
        const bool isPlain =
            isAscii(text[0]) && text[0] != '\r' && (text.size() == 1 || isAscii(text[1]));
        text.remove_prefix(isPlain ? 1 : firstCharacterSize(text));
    }
    return count;
}

std::size_t findCharacter(std::string_view text, char wanted) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t size = firstCharacterSize(text.substr(at));
        if (size == 1 && text[at] == wanted)
            return at;
        at += size;
    }
    return std::string_view::npos;
}

std::string lowerCased(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const CodePoint point = firstCodePoint(text);
        if (point.isValid())
            appendCodePoint(out, utf8proc_tolower(point.value));
        else
            out.push_back(text.front());
        text.remove_prefix(point.byteCount);
    }
    return out;
}

} // namespace quarrydex
