/// What is read from a file itself only when its row is looked at. Plain values.
/// Threads: any.
#pragma once

#include <QImage>
#include <QString>

#include <cstdint>
#include <optional>

namespace quarrydex {

/// The values of the lazy columns; 0 and absent mean "not known".
struct FileMeta {
    std::optional<std::int64_t> atime{}; ///< last opened, seconds since 1970-01-01 UTC
    std::uint32_t durationMs{};          ///< milliseconds
    std::uint32_t bitrateKbps{};         ///< kbit/s
    std::uint32_t rate{};                ///< Hz
    std::uint32_t w{};                   ///< pixels
    std::uint32_t h{};
    std::uint32_t pages{};

    bool operator==(const FileMeta&) const = default;
};

/// What a preview shows of a file: a picture (of a picture, or of a document's first page), the
/// beginning of a text, or neither.
struct FilePreview {
    QImage picture{};
    QString text{};
    FileMeta meta{};
};

} // namespace quarrydex
