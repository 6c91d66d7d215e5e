/// An audio record as one line of text, so that tests can state in a table what a file is read as:
///
///     mp3 26 ms 128k 44100 Hz 2 ch vbr 128.5 bpm 2011 artist=A title=T album=B genre=G key=Am
///
/// What is not known (0, empty) is left out; no record is "nothing".
#pragma once

#include "QuarrydexAudio/tags/AudioParser.h"

#include "tests/support/MemoryReader.h"

#include <optional>
#include <string>
#include <string_view>

namespace quarrydex {

inline std::string describe(const AudioMeta& meta) {
    std::string out(caseName(meta.codec));
    const auto number = [&](std::uint64_t value, const std::string& unit) {
        if (value != 0)
            out += " " + std::to_string(value) + unit;
    };
    const auto text = [&](const std::string& name, const std::string& value) {
        if (!value.empty())
            out += " " + name + "=" + value;
    };
    number(meta.durationMs, " ms");
    number(meta.bitrateKbps, "k");
    number(meta.sampleRate, " Hz");
    number(meta.bits, " bit");
    number(meta.channels, " ch");
    out += meta.vbr ? " vbr" : "";
    if (meta.bpm10 != 0)
        out +=
            " " + std::to_string(meta.bpm10 / 10) + "." + std::to_string(meta.bpm10 % 10) + " bpm";
    number(meta.year, "");
    text("artist", meta.artist);
    text("title", meta.title);
    text("album", meta.album);
    text("genre", meta.genre);
    text("key", meta.key);
    return out;
}

/// What the bytes of a file are read as.
inline std::string readAs(std::string_view file, std::string_view ext = "") {
    const auto meta = AudioParser::parse(MemoryReader(file), ext);
    return meta ? describe(*meta) : "nothing";
}

} // namespace quarrydex
