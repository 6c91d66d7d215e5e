/// The program's own signs, drawn in the colour of the text around them, so that they are right in
/// light and dark at any scale. Asked for by the names that categories store ("music.note").
///
/// Threads: the main thread. Fails: never; an unknown name gives a plain sheet of paper.
#pragma once

#include <QColor>
#include <QIcon>

#include <string_view>

namespace quarrydex {

/// In the colours of the application's palette at the time of each drawing: normal, disabled and
/// selected.
[[nodiscard]] QIcon symbolIcon(std::string_view name);

/// In one colour.
[[nodiscard]] QPixmap
symbolPixmap(std::string_view name, int size, const QColor& colour, qreal scale);

} // namespace quarrydex
