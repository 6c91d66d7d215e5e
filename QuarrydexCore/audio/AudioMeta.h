/// What is known about one audio file: stream properties and tags. A plain value.
#pragma once

#include "QuarrydexCore/audio/AudioCodec.h"

#include <cstdint>
#include <string>

namespace quarrydex {

/// 0 and the empty text mean "not known".
struct AudioMeta {
    std::uint32_t durationMs{};  ///< milliseconds
    std::uint16_t bitrateKbps{}; ///< kbit/s
    std::uint32_t sampleRate{};  ///< Hz
    std::uint8_t bits{};         ///< bits per sample; 0 also when not applicable
    std::uint8_t channels{};
    AudioCodec codec = AudioCodec::unknown;
    bool vbr{};            ///< variable bit rate
    std::uint16_t bpm10{}; ///< tempo, tenths of a beat per minute
    std::uint16_t year{};
    std::string artist{}; ///< UTF-8, as are the other texts
    std::string title{};
    std::string album{};
    std::string genre{};
    std::string key{}; ///< musical key

    /// True when nothing was found that tells this file from any other.
    [[nodiscard]] bool isEmpty() const {
        return durationMs == 0 && sampleRate == 0 && artist.empty() && title.empty();
    }

    bool operator==(const AudioMeta&) const = default;
};

} // namespace quarrydex
