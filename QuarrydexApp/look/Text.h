/// Between the program's texts and those of Qt.
///
/// The program's texts are UTF-8; file names and paths are raw bytes that need not be. What is
/// shown of those is for reading only: never turn it back into a path. Threads: any; no state.
/// Fails: never.
#pragma once

#include <QString>
#include <QUrl>

#include <string>
#include <string_view>

namespace quarrydex {

/// UTF-8, as it is.
[[nodiscard]] inline QString qt(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

/// A file name or path for reading: bytes that are no UTF-8 and control characters, which would
/// turn or break a line, each as U+FFFD or the picture of the character (U+2400 …).
[[nodiscard]] QString shown(std::string_view name);

/// The file: URL of an absolute path, byte by byte.
[[nodiscard]] QUrl fileUrl(std::string_view path);

/// A whole number in the grouping of the language in effect.
[[nodiscard]] QString grouped(std::uint64_t number);

/// The same, to be put into a text of the program.
[[nodiscard]] inline std::string groupedText(std::uint64_t number) {
    return grouped(number).toStdString();
}

/// "1.4 MB" in the language in effect: powers of 1,000, up to three digits.
[[nodiscard]] QString shortSize(std::uint64_t bytes);

} // namespace quarrydex
