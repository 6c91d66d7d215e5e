/// The lists that groups can be saved as: which there are, what they are called and how they read.
/// Threads: any; no state. Fails: never.
#pragma once

#include "QuarrydexAudio/dupes/DupTypes.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace quarrydex {

enum class DupList : std::uint8_t { csv, m3uSurplus, m3uKeep, m3uAll };

inline constexpr std::array allDupLists = {DupList::csv, DupList::m3uSurplus, DupList::m3uKeep,
                                           DupList::m3uAll};

/// "M3U (surplus) …", as a menu has it.
[[nodiscard]] std::string menuTitle(DupList list);

/// How the default name of its file ends: "-duplicates-surplus.m3u".
[[nodiscard]] std::string_view fileEnding(DupList list);

/// The list itself.
[[nodiscard]] std::string textOf(std::span<const DupGroup> groups, DupList list);

/// How many files it cannot name.
[[nodiscard]] std::size_t unlistable(std::span<const DupGroup> groups, DupList list);

} // namespace quarrydex
