/// The readers of foreign files. Each adds what it finds out and leaves the rest as it is.
///
/// Threads: one. Failure: nothing is added. A reader may crash, hang or run out of memory on bytes
/// that its library does not stand: that is what this process is for.
#pragma once

#include "QuarrydexApp/metadata/FileMeta.h"

#include <QIODevice>
#include <QSize>
#include <QString>

#include <optional>
#include <string_view>

namespace quarrydex {

struct Wanted {
    bool picture = false;
    QSize limit{}; ///< of the picture, in pixels
};

/// A picture in a format that Qt knows under this name, turned as its file says.
void readPicture(QIODevice& device, const char* format, const Wanted& wanted, FilePreview& to);

/// Pages of a PDF, and the first one. Without effect in a program that was built without QtPdf.
void readDocument(QIODevice& device, const Wanted& wanted, FilePreview& to);

/// Duration, rates and size of a sound or a film in a format that libavformat knows under this
/// name, and the picture of its cover. Without effect in a program that was built without it.
void readMedia(int fd, const char* format, const Wanted& wanted, FilePreview& to);

/// The beginning of a text; nothing when the bytes are none.
[[nodiscard]] std::optional<QString> textOf(std::string_view bytes);

/// So many first bytes are shown of a text.
inline constexpr std::size_t textBytes = std::size_t{64} << 10;

} // namespace quarrydex
