/// Paints the visible rows: a sign, the name with the letters that were searched for, and the other
/// columns as plain text. One object paints one frame.
///
/// Threads: the main thread. Ownership: refers to what it is made of. Fails: never.
#pragma once

#include "QuarrydexApp/look/Appearance.h"
#include "QuarrydexApp/look/AsciiWidths.h"
#include "QuarrydexApp/table/CellValues.h"
#include "QuarrydexApp/table/Columns.h"

#include <QFontMetrics>
#include <QPainter>
#include <QPalette>
#include <QWidget>

#include <map>
#include <span>
#include <string>
#include <tuple>

namespace quarrydex {

/// What one frame leaves for the next: the signs in the colours that rows need, and the widths of
/// letters. To be cleared when the palette, the style or the screen changes.
class PaintCache {
  public:
    const QPixmap& icon(std::string_view symbol, const QColor& colour, qreal scale);

    AsciiWidths& letters() { return letters_; }

    void clear() { *this = {}; }

  private:
    static constexpr std::size_t capacity = 256;

    std::map<std::tuple<std::string, QRgb, qreal>, QPixmap> icons_;
    AsciiWidths letters_;
};

class RowPainter {
  public:
    struct Cell {
        Column column;
        int left;  ///< in the viewport
        int width; ///< device-independent pixels
    };

    struct State {
        bool isSelected = false;
        bool isCurrent = false; ///< and the table has the focus
        bool isActive = false;  ///< the selection is drawn as that of the active window
    };

    /// Room at both sides of a cell's text, and in front of the sign.
    static constexpr int margin = 7;
    static constexpr int iconSize = 16;
    static constexpr int iconGap = 6;

    /// From the left edge of the name column to the name.
    static constexpr int nameIndent = margin + iconSize + iconGap;

    RowPainter(QPainter& painter,
               const QWidget& view,
               CellValues& values,
               PaintCache& cache,
               std::span<const std::string> foldedTerms);

    void paint(const ShownRow& row, const QRect& rect, std::span<const Cell> cells, State state);

  private:
    struct Colours {
        QColor name;
        QColor rest;
        QColor icon;
    };

    [[nodiscard]] Colours coloursOf(const ShownRow& row, bool isGone, State state) const;
    void paintName(const ShownRow& row, const QRect& cell, const Colours& colours, State state);
    void paintMarked(const QRect& box, const QString& name, const ShownRow& row, State state);
    void paintText(const QRect& cell, Column column, const QString& text);
    void paintLine(const QRect& box,
                   const QString& text,
                   Qt::TextElideMode mode,
                   Qt::Alignment side = Qt::AlignLeft);

    QPainter& painter_;
    const QWidget& view_;
    const QPalette palette_;
    const QFontMetrics font_;
    const Tints tints_;
    CellValues& values_;
    PaintCache& cache_;
    std::span<const std::string> foldedTerms_;
};

} // namespace quarrydex
