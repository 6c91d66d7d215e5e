/// Light and dark. The widgets are drawn by one style with one of two palettes, so that they look
/// the same, and right, on every desktop.
///
/// Threads: the main thread, with a QApplication. Fails: never; a desktop that does not say what it
/// prefers counts as light.
#pragma once

#include <QPalette>

#include <string_view>

namespace quarrydex {

/// "system", "light" or "dark", as stored; anything else counts as "system". Sets the application's
/// style and palette, now and whenever the desktop's preference changes.
void applyAppearance(std::string_view setting);

/// What the palette in effect is.
[[nodiscard]] bool isDark();

/// Colours that no palette has a role for, for the palette in effect.
struct Tints {
    QColor secondaryText; ///< counts, paths, hints: contrast of at least 4.5 on the window and base
    QColor match;         ///< behind letters that were searched for
    QColor error;         ///< text of an invalid query
    QColor separator;     ///< hair lines
};

[[nodiscard]] Tints tints();

} // namespace quarrydex
