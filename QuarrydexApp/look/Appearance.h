/// Light and dark. The widgets are drawn by one style with one of two palettes, so that they look
/// the same, and right, on every desktop.
///
/// Threads: the main thread, with a QApplication. Fails: never.
#pragma once

#include <QColor>

#include <string_view>

namespace quarrydex {

/// "system", "light" or "dark", as stored; anything else counts as "system", for which
/// `systemIsDark` decides. Sets the application's style and palette.
void applyAppearance(std::string_view setting, bool systemIsDark);

/// What the palette in effect is.
[[nodiscard]] bool isDark();

/// Colours that no palette has a role for.
struct Tints {
    QColor secondaryText; ///< counts, paths, hints: contrast of at least 4.5 on the window and base
    QColor match;         ///< behind letters that were searched for; the text keeps its colour
    QColor error;         ///< text of an invalid query
    QColor separator;     ///< hair lines
    QColor offlineText;   ///< rows of drives that are not connected
    QColor chip;          ///< behind a button that can be switched on
};

/// For the palette in effect.
[[nodiscard]] const Tints& tints();

} // namespace quarrydex
