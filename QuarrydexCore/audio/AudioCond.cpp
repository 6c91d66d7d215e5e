#include "QuarrydexCore/audio/AudioCond.h"

#include <array>
#include <cstddef>

namespace quarrydex {

std::string_view rawValue(AudioCond::Field field) {
    static constexpr std::array<std::string_view, 14> names = {
        "bitrate",  "bpm",    "dur",   "year",  "rate",  "bits", "channels",
        "lossless", "artist", "title", "album", "genre", "key",  "codec"};
    return names[static_cast<std::size_t>(field)];
}

} // namespace quarrydex
