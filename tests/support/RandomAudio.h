/// Random audio records, conditions that they satisfy or nearly do, and the obvious way to tell
/// which. `Random` is any generator of the standard library.
#pragma once

#include "QuarrydexCore/audio/AudioCond.h"
#include "QuarrydexCore/audio/AudioMeta.h"
#include "QuarrydexCore/text/Fold.h"

#include <array>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>

namespace quarrydex::testing {

/// A stretch of a text that is not empty: of any length, but mostly short enough to be found again.
template <typename Random> std::string randomStretch(Random& random, const std::string& text) {
    return text.substr(random() % text.size(), 1 + random() % (random() % 3 == 0 ? 30 : 4));
}

/// Every value comes from a small set, so that every condition has hits and misses.
template <typename Random> AudioMeta randomMeta(Random& random) {
    static const char* const texts[] = {
        "",  "a",       "Ab",    "Am",   "8A",          "b a",          "\u00c9T\u00c9",
        "y", "e\u0301", "x\xFF", "aaaa", "Stra\u00dfe", "\u6771\u4eac", "Caf\u00e9 del Mar"};
    const auto text = [&]() -> std::string {
        return random() % 14 == 0 ? std::string(150, 'q') + "Z"
                                  : texts[random() % std::size(texts)];
    };
    const auto number = [&]<typename T>(T& out) { // 0 is not known
        const T values[] = {0, 1, 2, 120, std::numeric_limits<T>::max()};
        out = values[random() % std::size(values)];
    };
    AudioMeta meta;
    number(meta.durationMs);
    number(meta.bitrateKbps);
    number(meta.sampleRate);
    number(meta.bits);
    number(meta.channels);
    number(meta.bpm10);
    number(meta.year);
    meta.codec = static_cast<AudioCodec>(random() % audioCodecCount);
    meta.artist = text();
    meta.title = text() + text();
    meta.album = text() + " " + text();
    meta.genre = text();
    meta.key = text();
    return meta;
}

template <typename Random> AudioCond randomCond(Random& random, const AudioMeta& meta) {
    AudioCond cond;
    cond.field = static_cast<AudioCond::Field>(random() % 14);
    const std::array<std::int64_t, 7> values = {meta.bitrateKbps, meta.bpm10,      meta.durationMs,
                                                meta.year,        meta.sampleRate, meta.bits,
                                                meta.channels};
    if (cond.field < AudioCond::Field::lossless) {
        const std::int64_t value = values[static_cast<std::size_t>(cond.field)];
        if (random() % 3 != 0)
            cond.lo = value + 1 - static_cast<std::int64_t>(random() % 4);
        if (random() % 3 != 0)
            cond.hi = value - 1 + static_cast<std::int64_t>(random() % 4);
    }
    cond.flag = random() % 2 == 0;
    const std::string texts[] = {meta.artist, meta.title, meta.album,
                                 meta.genre,  meta.key,   std::string(label(meta.codec))};
    if (cond.isText()) {
        const std::string& text = texts[random() % std::size(texts)];
        cond.text = text.empty() ? text : randomStretch(random, text);
    }
    return cond;
}

inline bool satisfies(const AudioMeta& meta, const AudioCond& cond) {
    using Field = AudioCond::Field;
    const auto isIn = [&](std::int64_t value) {
        return value != 0 && cond.lo <= value && value <= cond.hi;
    };
    const auto holds = [&](std::string_view text) {
        return !text.empty() && fold(text).find(fold(cond.text)) != std::string::npos;
    };
    switch (cond.field) {
    case Field::bitrate:
        return isIn(meta.bitrateKbps);
    case Field::bpm:
        return isIn(meta.bpm10);
    case Field::dur:
        return isIn(meta.durationMs);
    case Field::year:
        return isIn(meta.year);
    case Field::rate:
        return isIn(meta.sampleRate);
    case Field::bits:
        return isIn(meta.bits);
    case Field::channels:
        return isIn(meta.channels);
    case Field::lossless:
        return isLossless(meta.codec) == cond.flag;
    case Field::artist:
        return holds(meta.artist);
    case Field::title:
        return holds(meta.title);
    case Field::album:
        return holds(meta.album);
    case Field::genre:
        return holds(meta.genre);
    case Field::key:
        return holds(meta.key);
    case Field::codec:
        return holds(label(meta.codec));
    }
    return false;
}

} // namespace quarrydex::testing
