/// The catalogue of columns that the results table can show.
/// Threads: any; constant. Fails: never.
#pragma once

#include "QuarrydexCore/catalog/SortKey.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quarrydex {

/// In the order of ColumnDef::all.
enum class Column : std::uint8_t {
    name,
    artist,
    title,
    album,
    genre,
    year,
    bpm,
    key,
    duration,
    bitrate,
    rate,
    codec,
    bits,
    channels,
    dims,
    pages,
    size,
    date,
    created,
    atime,
    ext,
    kind,
    drive,
    path
};

struct ColumnDef {
    std::string_view id;         ///< in column sets and on the command line
    std::string_view title;      ///< English; see shownTitle()
    int width;                   ///< default, in device-independent pixels
    std::optional<SortKey> sort; ///< what a click on the header selects
    std::string_view group;      ///< heading in the column menu, English; empty for the name
    bool lazy;                   ///< read from the file itself when it is looked at
    bool isNumeric;              ///< a number or a date: digits of one width, right-aligned

    /// The title and the heading in the language in effect.
    [[nodiscard]] std::string shownTitle() const;
    [[nodiscard]] std::string shownGroup() const;

    static constexpr std::size_t count = 24;
    static const std::array<ColumnDef, count> all;

    /// `byID`: absent for an unknown id.
    [[nodiscard]] static std::optional<Column> byID(std::string_view id);
    [[nodiscard]] static const ColumnDef& of(Column column);
};

} // namespace quarrydex
