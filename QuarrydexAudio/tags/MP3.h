/// MPEG audio, layers I to III of MPEG-1, 2 and 2.5, with ID3 tags before and behind it.
///
/// A Xing, Info or VBRI header in the first frame gives length and mean bit rate; without one they
/// are reckoned from the first frames.
/// Threads: any; no state. Fails: what is no MPEG audio gives nothing or false.
#pragma once

#include "QuarrydexAudio/tags/Reader.h"
#include "QuarrydexCore/audio/AudioMeta.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace quarrydex {

class MP3 {
  public:
    /// A decoded frame header.
    struct Frame {
        std::uint8_t version{};     ///< 0 MPEG-1, 1 MPEG-2, 2 MPEG-2.5
        std::uint8_t layer{};       ///< 1 … 3
        std::uint32_t bitrate{};    ///< bit/s
        std::uint32_t sampleRate{}; ///< Hz
        std::uint8_t channels{};    ///< 1 or 2
        std::uint32_t length{};     ///< bytes, header included; at least 5
        std::uint16_t samples{};
        std::uint8_t padding{}; ///< the padding bit
    };

    static constexpr std::size_t headerSize = 4;
    static constexpr std::size_t searchedBytes = 16384; ///< in which the first frame must stand
    static constexpr int mostFrames = 200;              ///< looked at for the mean bit rate

    /// `header(bytes, at)`: the frame header at an offset. Free format is turned away.
    [[nodiscard]] static std::optional<Frame> header(Bytes bytes, std::size_t at);

    /// `parse(reader, into:)`: false when there is no audio of a known length.
    [[nodiscard]] static bool parse(const Reader& reader, AudioMeta& into);
};

} // namespace quarrydex
