#include "QuarrydexCore/query/ExtPatterns.h"

#include "QuarrydexCore/text/Characters.h"
#include "QuarrydexCore/text/Utf8.h"

#include <algorithm>

namespace quarrydex {

namespace {

bool isSeparator(std::int32_t value) {
    return value == ';' || value == ',' || (value >= '\t' && value <= '\r') ||
           utf8proc_category(value) == UTF8PROC_CATEGORY_ZS;
}

std::vector<std::string_view> pieces(std::string_view text) {
    std::vector<std::string_view> out;
    std::size_t begin = 0;
    for (std::size_t at = 0; at < text.size();) {
        const CodePoint point = firstCodePoint(text.substr(at));
        const std::size_t next = at + point.byteCount;
        if (point.isValid() && isSeparator(point.value)) {
            if (at > begin)
                out.push_back(text.substr(begin, at - begin));
            begin = next;
        }
        at = next;
    }
    if (begin < text.size())
        out.push_back(text.substr(begin));
    return out;
}

} // namespace

ExtPatterns ExtPatterns::parse(std::string_view text) {
    ExtPatterns out;
    for (std::string_view piece : pieces(text)) {
        std::string ext = lowerCased(piece);
        if (ext.starts_with("*."))
            ext.erase(0, 2);
        else if (ext.starts_with('.'))
            ext.erase(0, 1);

        if (ext.empty() || ext.find_first_of("*?/\\:") != ext.npos)
            out.rejected.emplace_back(piece);
        else if (std::ranges::find(out.exts, ext) == out.exts.end())
            out.exts.push_back(std::move(ext));
    }
    return out;
}

std::string ExtPatterns::format(std::span<const std::string> exts) {
    std::string out;
    for (const std::string& ext : exts) {
        if (!out.empty())
            out += ';';
        out += "*." + ext;
    }
    return out;
}

} // namespace quarrydex
