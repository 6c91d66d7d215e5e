/// One condition on a file's audio metadata, as a query states it.
///
/// A plain value: what it means for a row stands with AudioTable::fill.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace quarrydex {

struct AudioCond {
    enum class Field : std::uint8_t {
        bitrate,
        bpm,
        dur,
        year,
        rate,
        bits,
        channels,
        lossless,
        artist,
        title,
        album,
        genre,
        key,
        codec
    };

    Field field{};
    /// Inclusive bounds of a numeric condition, in the unit of the column: kbit/s, tenths of a beat
    /// per minute, milliseconds, year, Hz, bits, channels.
    std::int64_t lo = std::numeric_limits<std::int64_t>::min();
    std::int64_t hi = std::numeric_limits<std::int64_t>::max();
    std::string text{}; ///< what a text condition looks for
    bool flag{};        ///< what a lossless condition wants

    [[nodiscard]] bool isText() const { return field >= Field::artist; }

    bool operator==(const AudioCond&) const = default;
};

/// The field's raw value, for example "dur".
[[nodiscard]] std::string_view rawValue(AudioCond::Field field);

} // namespace quarrydex
