/// Geometry and painting of the results.
#include "QuarrydexApp/table/ResultsModel.h"
#include "QuarrydexApp/table/ResultsTable.h"
#include "QuarrydexApp/table/TableHeader.h"

#include <QEvent>
#include <QHelpEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QScrollBar>
#include <QToolTip>

#include <algorithm>
#include <chrono>
#include <limits>

namespace quarrydex {

namespace {

using namespace std::chrono_literals;

constexpr auto lookDelay = 30ms; ///< of rest: rows that only fly past are not asked about

constexpr double rowHeightOfFont = 1.7;
constexpr int aroundIcon = 8; ///< least height of a row beyond its sign

/// Beyond this a scroll bar's own arithmetic would overflow: it then moves by rows.
constexpr std::int64_t mostSteps = 1'000'000'000;

constexpr int toolTipWords = 400; ///< longest text of a tool tip

} // namespace

void ResultsTable::measureRows() {
    const int ofFont = qRound(fontMetrics().height() * rowHeightOfFont);
    rowHeight_ = std::max(ofFont, RowPainter::iconSize + aroundIcon);
}

std::int64_t ResultsTable::offset() const {
    return std::int64_t{verticalScrollBar()->value()} * unit_;
}

void ResultsTable::setOffset(std::int64_t pixels) {
    const std::int64_t steps = std::max<std::int64_t>(0, pixels / unit_);
    verticalScrollBar()->setValue(
        static_cast<int>(std::min<std::int64_t>(steps, verticalScrollBar()->maximum())));
}

void ResultsTable::updateScrollBars() {
    const std::int64_t all = static_cast<std::int64_t>(shown().count()) * rowHeight_;
    const std::int64_t room = viewport()->height();
    unit_ = all > mostSteps ? rowHeight_ : 1;
    const std::int64_t hidden = std::max<std::int64_t>(0, all - room);
    // Rounded up, so that the last row can be reached in steps of rows too.
    verticalScrollBar()->setRange(0, static_cast<int>((hidden + unit_ - 1) / unit_));
    verticalScrollBar()->setPageStep(
        static_cast<int>(std::max<std::int64_t>(1, (room - rowHeight_) / unit_)));
    verticalScrollBar()->setSingleStep(rowHeight_ / unit_);
    const int beyond = header_->length() - viewport()->width();
    horizontalScrollBar()->setRange(0, std::max(0, beyond));
    horizontalScrollBar()->setPageStep(viewport()->width());
    horizontalScrollBar()->setSingleStep(rowHeight_);
}

void ResultsTable::updateGeometries() {
    const int height = header_->sizeHint().height();
    setViewportMargins(0, height, 0, 0);
    const QRect room = viewport()->geometry();
    header_->setGeometry(room.left(), room.top() - height, room.width(), height);
    updateScrollBars();
    lookSoon();
    Q_EMIT rowsMoved();
}

void ResultsTable::scrollContentsBy(int dx, int dy) {
    header_->setOffset(horizontalScrollBar()->value());
    const std::int64_t moved = std::int64_t{dy} * unit_;
    if (dx != 0 || std::abs(moved) >= viewport()->height())
        viewport()->update();
    else
        viewport()->scroll(0, static_cast<int>(moved));
}

int ResultsTable::horizontalOffset() const {
    return horizontalScrollBar()->value();
}

int ResultsTable::verticalOffset() const {
    return static_cast<int>(std::min<std::int64_t>(offset(), std::numeric_limits<int>::max()));
}

std::size_t ResultsTable::topRow() const {
    return static_cast<std::size_t>(offset() / rowHeight_);
}

RowSelection::Range ResultsTable::visibleRows() const {
    const std::int64_t end = (offset() + viewport()->height() + rowHeight_ - 1) / rowHeight_;
    return {std::min(topRow(), shown().count()),
            std::min(static_cast<std::size_t>(end), shown().count())};
}

std::optional<std::size_t> ResultsTable::rowAt(int y) const {
    const std::int64_t row = (offset() + y) / rowHeight_;
    if (y < 0 || row >= static_cast<std::int64_t>(shown().count()))
        return std::nullopt;
    return static_cast<std::size_t>(row);
}

std::vector<RowPainter::Cell> ResultsTable::cells() const {
    std::vector<RowPainter::Cell> out;
    for (const Column column : header_->visibleColumns()) {
        const int section = static_cast<int>(column);
        out.push_back(
            {column, header_->sectionViewportPosition(section), header_->sectionSize(section)});
    }
    // What is left of the window goes to the last column's text.
    if (!out.empty() && !ColumnDef::of(out.back().column).isNumeric)
        out.back().width = std::max(out.back().width, viewport()->width() - out.back().left);
    return out;
}

QRect ResultsTable::cellRect(std::size_t row, Column column) const {
    const std::int64_t top = static_cast<std::int64_t>(row) * rowHeight_ - offset();
    if (std::abs(top) > std::numeric_limits<int>::max() / 2)
        return {};
    for (const RowPainter::Cell& cell : cells())
        if (cell.column == column)
            return {cell.left, static_cast<int>(top), cell.width, rowHeight_};
    return {};
}

QRect ResultsTable::visualRect(const QModelIndex& index) const {
    return index.isValid() ? cellRect(static_cast<std::size_t>(index.row()),
                                      static_cast<Column>(index.column()))
                           : QRect();
}

QModelIndex ResultsTable::indexAt(const QPoint& point) const {
    const auto row = rowAt(point.y());
    if (row)
        for (const RowPainter::Cell& cell : cells())
            if (point.x() >= cell.left && point.x() < cell.left + cell.width)
                return model_->index(static_cast<int>(*row), static_cast<int>(cell.column));
    return {};
}

void ResultsTable::scrollTo(const QModelIndex& index, ScrollHint) {
    if (index.isValid())
        scrollToRow(static_cast<std::size_t>(index.row()));
}

void ResultsTable::scrollToRow(std::size_t row) {
    const std::int64_t top = static_cast<std::int64_t>(row) * rowHeight_;
    const std::int64_t below = top + rowHeight_ - viewport()->height();
    if (top < offset())
        setOffset(top);
    else if (below > offset())
        setOffset(below + unit_ - 1);
}

void ResultsTable::updateRows(RowSelection::Range rows) {
    const RowSelection::Range visible = visibleRows();
    const std::size_t begin = std::max(rows.begin, visible.begin);
    const std::size_t end = std::min(rows.end, visible.end);
    if (begin >= end)
        return;
    const std::int64_t top = static_cast<std::int64_t>(begin) * rowHeight_ - offset();
    viewport()->update(0, static_cast<int>(top), viewport()->width(),
                       static_cast<int>(end - begin) * rowHeight_);
}

void ResultsTable::dataChanged(const QModelIndex&, const QModelIndex&, const QList<int>&) {
    viewport()->update(); // whatever it was, only what is visible is painted
}

void ResultsTable::paintEvent(QPaintEvent* event) {
    QPainter painter(viewport());
    painter.setFont(font());
    RowPainter rows(painter, *viewport(), values_, paintCache_, foldedTerms_);
    const std::vector<RowPainter::Cell> all = cells();
    const QRect dirty = event->rect();
    const auto current = currentRow();
    const RowSelection::Range visible = visibleRows();
    for (std::size_t at = visible.begin; at < visible.end; ++at) {
        const std::int64_t top = static_cast<std::int64_t>(at) * rowHeight_ - offset();
        const QRect rect(0, static_cast<int>(top), viewport()->width(), rowHeight_);
        if (rect.intersects(dirty))
            rows.paint(shown().row(at), rect, all,
                       {.isSelected = selected_.contains(at),
                        .isCurrent = hasFocus() && current == at,
                        .isActive = isActiveWindow()});
    }
}

void ResultsTable::changeEvent(QEvent* event) {
    QAbstractItemView::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::StyleChange)
        paintCache_.clear();
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) {
        const std::size_t top = topRow();
        measureRows();
        updateGeometries();
        setOffset(static_cast<std::int64_t>(top) * rowHeight_);
    }
    viewport()->update();
}

bool ResultsTable::viewportEvent(QEvent* event) {
    if (event->type() != QEvent::ToolTip)
        return QAbstractItemView::viewportEvent(event);
    const auto* help = static_cast<QHelpEvent*>(event);
    showToolTip(help->pos(), help->globalPos());
    return true;
}

/// What is cut off in the cell, and what it leaves out.
void ResultsTable::showToolTip(const QPoint& at, const QPoint& global) {
    const QModelIndex index = indexAt(at);
    QToolTip::hideText();
    if (!index.isValid())
        return;
    const auto column = static_cast<Column>(index.column());
    const ShownRow row = shown().row(static_cast<std::size_t>(index.row()));
    const QString text = values_.text(row, column);
    const QString longText = values_.longText(row, column);
    const QRect cell = visualRect(index);
    const int room = cell.width() - RowPainter::margin -
                     (column == Column::name ? RowPainter::nameIndent : RowPainter::margin);
    if (text != longText || fontMetrics().horizontalAdvance(text) > room)
        QToolTip::showText(global, longText.left(toolTipWords).toHtmlEscaped(), viewport(), cell);
}

void ResultsTable::lookSoon() {
    lookTimer_.start(lookDelay);
}

void ResultsTable::showEvent(QShowEvent* event) {
    QAbstractItemView::showEvent(event);
    lookSoon();
}

void ResultsTable::hideEvent(QHideEvent* event) {
    QAbstractItemView::hideEvent(event);
    lookSoon();
}

void ResultsTable::look() {
    std::vector<ShownRow> rows;
    const RowSelection::Range visible = visibleRows();
    if (isVisible())
        for (std::size_t at = visible.begin; at < visible.end; ++at)
            rows.push_back(shown().row(at));
    values_.look(rows, header_->visibleColumns());
}

} // namespace quarrydex
