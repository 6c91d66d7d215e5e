/// The codecs that audio files are known by, with their labels and whether they lose anything.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace quarrydex {

/// The number is what audio tables store.
enum class AudioCodec : std::uint8_t {
    unknown = 0,
    mp3 = 1,
    aac = 2,
    alac = 3,
    flac = 4,
    pcm = 5,
    float_ = 6,
    aiff = 7,
    vorbis = 8,
    opus = 9,
    wma = 10,
    other = 11
};

inline constexpr std::size_t audioCodecCount = 12;

namespace detail {

struct AudioCodecInfo {
    std::string_view name;  ///< the case's name
    std::string_view label; ///< what a user sees
    bool lossless;
};

inline constexpr std::array<AudioCodecInfo, audioCodecCount> audioCodecs = {{
    {"unknown", "", false},
    {"mp3", "MP3", false},
    {"aac", "AAC", false},
    {"alac", "ALAC", true},
    {"flac", "FLAC", true},
    {"pcm", "PCM", true},
    {"float", "PCM float", true},
    {"aiff", "AIFF", true},
    {"vorbis", "Vorbis", false},
    {"opus", "Opus", false},
    {"wma", "WMA", false},
    {"other", "?", false},
}};

} // namespace detail

/// The codec of a stored number, or nothing for a number that stands for none.
constexpr std::optional<AudioCodec> audioCodecFromRaw(std::uint8_t raw) {
    if (raw >= audioCodecCount)
        return std::nullopt;
    return static_cast<AudioCodec>(raw);
}

/// "unknown", "mp3", …, "float", …, "other".
constexpr std::string_view caseName(AudioCodec codec) {
    return detail::audioCodecs[static_cast<std::size_t>(codec)].name;
}

constexpr std::string_view label(AudioCodec codec) {
    return detail::audioCodecs[static_cast<std::size_t>(codec)].label;
}

constexpr bool isLossless(AudioCodec codec) {
    return detail::audioCodecs[static_cast<std::size_t>(codec)].lossless;
}

} // namespace quarrydex
