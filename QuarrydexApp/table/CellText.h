/// How values stand in cells: numbers, times and paths in the form of the language in effect.
/// An empty text stands for what is not known.
///
/// Threads: the main thread (the locale in effect is QLocale's default). Fails: never.
#pragma once

#include <QFontMetrics>
#include <QString>

#include <cstdint>

namespace quarrydex::CellText {

/// "3:07", "1:02:45", to the nearest second.
[[nodiscard]] QString duration(std::uint32_t ms);

/// "320 kbit/s"; a variable bit rate is marked as an average.
[[nodiscard]] QString bitrate(std::uint32_t kbps, bool isVariable);

/// "44.1 kHz".
[[nodiscard]] QString sampleRate(std::uint32_t hz);

/// "128", "127.5". `bpm10` are tenths.
[[nodiscard]] QString tempo(std::uint32_t bpm10);

/// A plain number without grouping, such as a year; empty for 0.
[[nodiscard]] QString number(std::uint32_t value);

[[nodiscard]] QString channels(std::uint32_t count);

/// "1920 × 1080".
[[nodiscard]] QString dimensions(std::uint32_t width, std::uint32_t height);

/// The day, as short as the language writes it. Seconds since 1970-01-01 UTC; empty for 0.
[[nodiscard]] QString date(std::int64_t seconds);

/// The same with the time of day, for a closer look.
[[nodiscard]] QString dateAndTime(std::int64_t seconds);

/// `headTruncate(width:)`: the text shortened from its start, so that its end stays visible.
[[nodiscard]] QString headTruncate(const QString& text, int width, const QFontMetrics& font);

} // namespace quarrydex::CellText
