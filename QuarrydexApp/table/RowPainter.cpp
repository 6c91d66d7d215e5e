#include "QuarrydexApp/table/RowPainter.h"

#include "QuarrydexApp/look/Symbols.h"
#include "QuarrydexApp/table/CellText.h"
#include "QuarrydexApp/table/MatchMarks.h"

#include <QTextLayout>

#include <cmath>

namespace quarrydex {

namespace {

constexpr int whole = 1 << 20; ///< wider than any text that is laid out

/// Draws one line with the parts marked, as wide as it is.
void drawMarked(QPainter& painter,
                const QRect& box,
                const QString& text,
                std::span<const TextPart> parts,
                const QTextCharFormat& mark) {
    QList<QTextLayout::FormatRange> formats;
    for (const TextPart& part : parts)
        formats.append({static_cast<int>(part.begin), static_cast<int>(part.length), mark});
    QTextLayout layout(text, painter.font());
    QTextOption option;
    option.setWrapMode(QTextOption::NoWrap);
    layout.setTextOption(option);
    layout.setFormats(formats);
    layout.beginLayout();
    QTextLine line = layout.createLine();
    line.setLineWidth(whole);
    layout.endLayout();
    const qreal top = box.top() + std::floor((box.height() - line.height()) / 2);
    // A right-to-left text stands at the end of its line.
    const qreal left =
        text.isRightToLeft() ? box.left() - (whole - line.naturalTextWidth()) : box.left();
    layout.draw(&painter, QPointF(left, top));
}

} // namespace

const QPixmap& PaintCache::icon(std::string_view symbol, const QColor& colour, qreal scale) {
    const std::tuple key(std::string(symbol), colour.rgba(), scale);
    if (const auto found = icons_.find(key); found != icons_.end())
        return found->second;
    if (icons_.size() >= capacity)
        icons_.clear();
    return icons_[key] = symbolPixmap(symbol, RowPainter::iconSize, colour, scale);
}

RowPainter::RowPainter(QPainter& painter,
                       const QWidget& view,
                       CellValues& values,
                       PaintCache& cache,
                       std::span<const std::string> foldedTerms)
    : painter_(painter), view_(view), palette_(view.palette()), font_(view.fontMetrics()),
      tints_(tints()), values_(values), cache_(cache), foldedTerms_(foldedTerms) {
    cache_.letters().use(view.font(), QFontMetricsF(view.font(), &view));
}

RowPainter::Colours RowPainter::coloursOf(const ShownRow& row, bool isGone, State state) const {
    const auto group = state.isActive ? QPalette::Active : QPalette::Inactive;
    if (state.isSelected) {
        const QColor text = palette_.color(group, QPalette::HighlightedText);
        return {text, text, text};
    }
    if (row.volume->offline || isGone)
        return {tints_.offlineText, tints_.offlineText, tints_.offlineText};
    const QColor icon =
        row.isFolder() ? palette_.color(QPalette::Active, QPalette::Link) : tints_.secondaryText;
    return {palette_.color(group, QPalette::Text), tints_.secondaryText, icon};
}

void RowPainter::paint(const ShownRow& row,
                       const QRect& rect,
                       std::span<const Cell> cells,
                       State state) {
    const auto group = state.isActive ? QPalette::Active : QPalette::Inactive;
    if (state.isSelected)
        painter_.fillRect(rect, palette_.color(group, QPalette::Highlight));
    const bool isGone = values_.isGone(row);
    QFont font = painter_.font();
    if (font.strikeOut() != isGone) {
        font.setStrikeOut(isGone);
        painter_.setFont(font);
    }
    const Colours colours = coloursOf(row, isGone, state);
    for (const Cell& cell : cells) {
        const QRect box(cell.left, rect.top(), cell.width, rect.height());
        if (cell.column == Column::name) {
            paintName(row, box, colours, state);
            continue;
        }
        painter_.setPen(colours.rest);
        paintText(box, cell.column, values_.text(row, cell.column));
    }
    if (state.isCurrent) {
        painter_.setPen(state.isSelected ? colours.name
                                         : palette_.color(QPalette::Active, QPalette::Highlight));
        painter_.setBrush(Qt::NoBrush);
        painter_.drawRect(rect.adjusted(0, 0, -1, -1));
    }
}

void RowPainter::paintName(const ShownRow& row,
                           const QRect& cell,
                           const Colours& colours,
                           State state) {
    const QPixmap& icon =
        cache_.icon(symbolOf(CellValues::kind(row)), colours.icon, view_.devicePixelRatioF());
    if (cell.width() > margin + iconSize)
        painter_.drawPixmap(cell.left() + margin, cell.top() + (cell.height() - iconSize) / 2,
                            icon);
    const QRect box = cell.adjusted(nameIndent, 0, -margin, 0);
    if (box.width() <= 0)
        return;
    painter_.setPen(colours.name);
    const QString name = values_.text(row, Column::name);
    if (foldedTerms_.empty())
        paintLine(box, name, Qt::ElideMiddle);
    else
        paintMarked(box, name, row, state);
}

void RowPainter::paintMarked(const QRect& box,
                             const QString& name,
                             const ShownRow& row,
                             State state) {
    const auto line = cache_.letters().fitted(name, Qt::ElideMiddle, box.width());
    const QString elided = line ? line->text : font_.elidedText(name, Qt::ElideMiddle, box.width());
    const auto parts = partsOfElided(name, elided, matchedParts(values_.name(row), foldedTerms_));
    QTextCharFormat mark;
    if (state.isSelected)
        mark.setFontUnderline(true); // the colour behind letters would hide them here
    else
        mark.setBackground(tints_.match);
    drawMarked(painter_, box, elided, parts, mark);
}

void RowPainter::paintText(const QRect& cell, Column column, const QString& text) {
    const QRect box = cell.adjusted(margin, 0, -margin, 0);
    if (text.isEmpty() || box.width() <= 0)
        return;
    paintLine(box, text, column == Column::path ? Qt::ElideLeft : Qt::ElideRight,
              ColumnDef::of(column).isNumeric ? Qt::AlignRight : Qt::AlignLeft);
}

void RowPainter::paintLine(const QRect& box,
                           const QString& text,
                           Qt::TextElideMode mode,
                           Qt::Alignment side) {
    if (const auto line = cache_.letters().fitted(text, mode, box.width())) {
        const qreal free = side == Qt::AlignRight ? box.width() - line->width : 0;
        const int top = box.top() + (box.height() - font_.height()) / 2;
        painter_.drawText(QPointF(box.left() + free, top + font_.ascent()), line->text);
        return;
    }
    painter_.drawText(box, static_cast<int>(side) | Qt::AlignVCenter | Qt::TextSingleLine,
                      mode == Qt::ElideLeft ? CellText::headTruncate(text, box.width(), font_)
                                            : font_.elidedText(text, mode, box.width()));
}

} // namespace quarrydex
