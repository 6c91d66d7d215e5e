/// The five keys by which results are ordered.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace quarrydex {

/// The number is what saved catalogues store.
enum class SortKey : std::uint8_t {
    name = 0,    ///< folded name bytes, byte-wise
    path = 1,    ///< tree order: a folder before its children, siblings by name
    size = 2,    ///< bytes
    date = 3,    ///< modification time
    created = 4, ///< creation time
};

inline constexpr std::size_t sortKeyCount = 5;
inline constexpr std::array<SortKey, sortKeyCount> allSortKeys = {
    SortKey::name, SortKey::path, SortKey::size, SortKey::date, SortKey::created};

constexpr std::size_t indexOf(SortKey key) {
    return static_cast<std::size_t>(key);
}

/// "name", "path", "size", "date" or "created".
constexpr std::string_view rawValue(SortKey key) {
    constexpr std::array<std::string_view, sortKeyCount> names = {"name", "path", "size", "date",
                                                                  "created"};
    return names[indexOf(key)];
}

constexpr std::optional<SortKey> sortKeyFromRaw(std::string_view raw) {
    for (SortKey key : allSortKeys)
        if (rawValue(key) == raw)
            return key;
    return std::nullopt;
}

} // namespace quarrydex
