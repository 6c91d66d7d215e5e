/// What the pages of several windows are put together from. All sizes follow the font's.
/// Threads: the main thread. Ownership: everything belongs to its parent. Fails: never.
#pragma once

#include "QuarrydexCore/query/ExtPatterns.h"

#include <string>

class QLabel;
class QScrollArea;
class QWidget;

namespace quarrydex {

/// A label in the middle of its page, for plain text of several lines.
[[nodiscard]] QLabel* newCentredLabel(QWidget* parent);

/// A label in larger, bold letters.
[[nodiscard]] QLabel* newHeading(QWidget* parent);

/// A label in bold letters above a group of controls.
[[nodiscard]] QLabel* newGroupLabel(QWidget* parent);

/// Scrolls the content downwards only, without a frame; brings what has the focus into view.
[[nodiscard]] QScrollArea* newScrollArea(QWidget* content, QWidget* parent);

/// The complaint about pieces that are no extensions; empty when there are none.
[[nodiscard]] std::string notUnderstood(const ExtPatterns& patterns);

} // namespace quarrydex
