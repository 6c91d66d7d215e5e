/// The header of a snapshot file and the rule by which its sections are placed. Included by
/// store/fidx_save.cpp and fidx_load.cpp only.
#pragma once

#include "QuarrydexCore/base/Bytes.h"
#include "QuarrydexCore/store/fidx_snapshot.h"

#include <array>
#include <cstdint>
#include <optional>

namespace quarrydex {

/// Sections begin at multiples of this; the largest page of the systems the files are for.
inline constexpr std::uint64_t fidx_section_align = 16'384;
inline constexpr std::uint32_t fidx_format_version = 3;

struct fidx_section {
    std::uint64_t offset;
    std::uint64_t length; ///< bytes
};

/// Sections 0 … 8 are the columns in the order of struct fidx.
inline constexpr std::size_t fidx_columns = 9;
inline constexpr std::size_t fidx_section_ext_names = 9;
inline constexpr std::size_t fidx_section_orders = 10; ///< five
inline constexpr std::size_t fidx_section_moved = 15;  ///< five
inline constexpr std::size_t fidx_sections = 20;

struct fidx_header {
    std::array<char, 8> magic;
    std::uint32_t version;
    std::uint32_t headerSize;
    fidx_info info;
    std::uint32_t count;
    std::uint32_t extCount;
    std::uint64_t nameBytes;
    std::array<fidx_section, fidx_sections> sections;
    std::uint64_t fileSize;
    std::array<char, 8> endMark;
};

static_assert(sizeof(fidx_header) == 1672);

inline constexpr std::array<char, 8> fidx_magic = {'Q', 'U', 'A', 'R', 'R', 'Y', 'D', 'X'};
inline constexpr std::array<char, 8> fidx_end_mark = {'E', 'N', 'D', 'Q', 'R', 'D', 'X', 'U'};

/// Rounded up to a section's beginning; nothing when no file is that long.
inline std::optional<std::uint64_t> fidx_aligned(std::uint64_t bytes) {
    const auto more = checkedAdd(bytes, fidx_section_align - 1);
    return more ? std::optional(*more / fidx_section_align * fidx_section_align) : std::nullopt;
}

/// Lengths of the columns and of the extension table for these counts, by section.
constexpr std::array<std::uint64_t, fidx_columns + 1>
fidx_column_lengths(std::uint64_t count, std::uint64_t extCount, std::uint64_t nameBytes) {
    return {nameBytes, nameBytes, 4 * count + 4, 4 * count, 8 * count,
            4 * count, 4 * count, count,         2 * count, fidx_ext_slot * extCount};
}

/// Beginnings of the columns in memory, by section.
inline std::array<void*, fidx_columns> fidx_column_places(const fidx& store) {
    return {store.names, store.folded, store.name_off, store.parent, store.size,
            store.mtime, store.ctime,  store.flags,    store.ext};
}

/// Maps the header's columns over those of the store. False when one could not be.
[[nodiscard]] bool fidx_map_columns(fidx* store, const fidx_header& header, int fd);

} // namespace quarrydex
