#include "QuarrydexApp/headless/Json.h"

#include "QuarrydexCore/audio/AudioMeta.h"
#include "QuarrydexCore/text/Utf8.h"

#include <algorithm>
#include <cstdint>

#include <nlohmann/json.hpp>

namespace quarrydex {

namespace {

/// A character that stands in a JSON string as it is.
bool isPlain(char c) {
    return c >= ' ' && c <= '~' && c != '"' && c != '\\';
}

} // namespace

bool isUtf8(std::string_view bytes) {
    while (!bytes.empty()) {
        const CodePoint point = firstCodePoint(bytes);
        if (!point.isValid())
            return false;
        bytes.remove_prefix(point.byteCount);
    }
    return true;
}

void appendJsonString(std::string& out, std::string_view text) {
    if (std::ranges::all_of(text, isPlain))
        out.append("\"").append(text).append("\"");
    else
        out += nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void appendBase64(std::string& out, std::string_view bytes) {
    constexpr std::string_view digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    out += '"';
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::string_view group = bytes.substr(at, 3);
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < 3; ++i)
            bits = bits << 8 | (i < group.size() ? static_cast<unsigned char>(group[i]) : 0U);
        for (std::size_t i = 0; i < 4; ++i)
            out += i <= group.size() ? digits[bits >> (18 - 6 * i) & 63] : '=';
    }
    out += '"';
}

void appendAudioJson(std::string& out, const AudioMeta& meta) {
    const nlohmann::ordered_json object = {
        {"durationMs", meta.durationMs},
        {"bitrateKbps", meta.bitrateKbps},
        {"sampleRate", meta.sampleRate},
        {"bits", meta.bits},
        {"channels", meta.channels},
        {"codec", caseName(meta.codec)},
        {"vbr", meta.vbr},
        {"bpm10", meta.bpm10},
        {"year", meta.year},
        {"artist", meta.artist},
        {"title", meta.title},
        {"album", meta.album},
        {"genre", meta.genre},
        {"key", meta.key},
    };
    out += object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

} // namespace quarrydex
