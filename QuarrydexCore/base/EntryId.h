/// Entry ids and rows: the two integers by which every layer names a catalogued file.
#pragma once

#include <cstdint>

namespace quarrydex {

/// Index of an entry within one catalogue: dense, never reused or renumbered while it lives.
using EntryId = std::uint32_t;

/// "No parent" in the parent column, "nothing appended" as a result. Never a valid id.
inline constexpr EntryId noParent = 0xFFFFFFFF;

/// An entry of one of several catalogues: volume position in the high half, entry id in the low.
using Row = std::uint64_t;

constexpr Row makeRow(std::uint32_t volume, EntryId entry) {
    return (Row{volume} << 32) | entry;
}

constexpr std::uint32_t rowVolume(Row row) {
    return static_cast<std::uint32_t>(row >> 32);
}

constexpr EntryId rowEntry(Row row) {
    return static_cast<EntryId>(row);
}

} // namespace quarrydex
