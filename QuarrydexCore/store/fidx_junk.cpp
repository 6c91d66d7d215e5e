#include "QuarrydexCore/store/fidx_priv.h"

#include <algorithm>

namespace quarrydex {

namespace {

using namespace std::string_view_literals;

constexpr std::array exactNames = {
    ".DS_Store"sv, ".Spotlight-V100"sv,         ".fseventsd"sv, ".Trashes"sv, ".TemporaryItems"sv,
    ".apdisk"sv,   ".DocumentRevisions-V100"sv, "Icon\r"sv,
};

/// In any ASCII case.
constexpr std::array caselessNames = {
    "thumbs.db"sv,    "desktop.ini"sv, "ehthumbs.db"sv,
    "$recycle.bin"sv, "recycled"sv,    "system volume information"sv,
};

bool equalsCaseless(std::string_view text, std::string_view lowerCase) {
    return std::equal(text.begin(), text.end(), lowerCase.begin(), lowerCase.end(),
                      [](char a, char b) { return fidx_lower(a) == b; });
}

template <std::size_t n>
bool isAnyOf(const std::array<std::string_view, n>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

bool isAnyOfCaseless(std::string_view name) {
    return std::any_of(caselessNames.begin(), caselessNames.end(),
                       [&](std::string_view known) { return equalsCaseless(name, known); });
}

/// "FOUND.000": what a file-system check leaves behind, as are the FILE0000.CHK in it.
bool isFoundFolder(std::string_view name) {
    return name.size() >= 7 && equalsCaseless(name.substr(0, 6), "found.") && name[6] >= '0' &&
           name[6] <= '9';
}

bool isFoundFile(std::string_view name) {
    return name.size() == 12 && equalsCaseless(name.substr(0, 4), "file") &&
           equalsCaseless(name.substr(8), ".chk");
}

} // namespace

bool fidx_is_junk(std::string_view name, bool isFolder) {
    if (name.empty())
        return false;
    // Nearly every name falls out here, by its first letter.
    switch (fidx_lower(name[0])) {
    case '.':
        return name.starts_with("._") || isAnyOf(exactNames, name);
    case 'i':
        return isAnyOf(exactNames, name);
    case 't':
    case 'd':
    case 'e':
    case '$':
    case 'r':
    case 's':
        return isAnyOfCaseless(name);
    case 'f':
        return isFoundFile(name) || (isFolder && isFoundFolder(name));
    default:
        return false;
    }
}

} // namespace quarrydex
