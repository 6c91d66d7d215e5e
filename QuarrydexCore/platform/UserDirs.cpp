#include "QuarrydexCore/platform/UserDirs.h"

#include "QuarrydexCore/base/Files.h"

#include <algorithm>
#include <optional>

namespace quarrydex {

namespace {

/// What stands between the first quotes, with backslashes taken away.
std::optional<std::string> quoted(std::string_view text) {
    if (!text.starts_with('"'))
        return std::nullopt;
    std::string out;
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (text[i] == '"')
            return out;
        if (text[i] == '\\' && ++i == text.size())
            break;
        out += text[i];
    }
    return std::nullopt;
}

/// The absolute path that a value means; empty for none.
std::string namedPath(std::string_view value, const std::string& home) {
    constexpr std::string_view homeVariable = "$HOME";
    const auto text = quoted(value);
    if (!text)
        return {};
    std::string path;
    if (text->starts_with('/'))
        path = *text;
    else if (*text == homeVariable || text->starts_with("$HOME/"))
        path = home + text->substr(homeVariable.size());
    path.resize(withoutEndSlashes(path).size());
    return path == home ? std::string() : path;
}

std::string_view takeLine(std::string_view& text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    return line;
}

} // namespace

std::vector<UserDir> userDirsIn(std::string_view text, const std::string& home) {
    std::vector<UserDir> out;
    while (!text.empty()) {
        const std::string_view line = takeLine(text);
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos)
            continue;
        const std::string_view purpose = line.substr(0, equals);
        if (purpose.starts_with("XDG_") && purpose.ends_with("_DIR"))
            out.push_back({purpose, namedPath(line.substr(equals + 1), home)});
    }
    return out;
}

} // namespace quarrydex
