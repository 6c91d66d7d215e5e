#include "QuarrydexApp/windows/DupTree.h"

#include "QuarrydexApp/look/Appearance.h"
#include "QuarrydexApp/windows/DupTreeModel.h"

#include <QEvent>
#include <QHeaderView>
#include <QPainter>
#include <QStyledItemDelegate>

#include <array>

namespace quarrydex {

namespace {

using Column = DupTreeModel::Column;

/// Widths in average characters, where the title needs no more.
constexpr std::array<int, DupTreeModel::columns> columnWidths = {36, 20, 22, 9, 22, 10, 32, 14};

class MemberDelegate : public QStyledItemDelegate {
  public:
    using QStyledItemDelegate::QStyledItemDelegate;

    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option,
                                 const QModelIndex& index) const override {
        const QSize size = QStyledItemDelegate::sizeHint(option, index);
        return {size.width(), option.fontMetrics.height() * 3 / 2};
    }

  protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
        QStyledItemDelegate::initStyleOption(option, index);
        if (index.column() == static_cast<int>(Column::folder))
            option->textElideMode = Qt::ElideMiddle;
        // Names stand below each other, with or without the sign.
        if (index.column() == static_cast<int>(Column::name))
            option->features |= QStyleOptionViewItem::HasDecoration;
        const int side = option->fontMetrics.height();
        option->decorationSize = {side, side};
    }
};

} // namespace

DupTree::DupTree(DupTreeModel& model, QWidget* parent) : QTreeView(parent), groups_(model) {
    setModel(&model);
    setItemDelegate(new MemberDelegate(this));
    setUniformRowHeights(true);
    setAllColumnsShowFocus(true);
    setSelectionBehavior(SelectRows);
    setSelectionMode(SingleSelection);
    setEditTriggers(NoEditTriggers);
    setExpandsOnDoubleClick(false);
    setHorizontalScrollMode(ScrollPerPixel);
    setFrameShape(NoFrame);
    header()->setStretchLastSection(true);
    header()->setSectionsMovable(false);
    setColumnWidths();
    connect(&model, &QAbstractItemModel::modelReset, this, &QTreeView::expandAll);
}

void DupTree::setColumnWidths() {
    for (int i = 0; i < static_cast<int>(columnWidths.size()); ++i)
        setColumnWidth(i, std::max(columnWidths[static_cast<std::size_t>(i)] *
                                       fontMetrics().averageCharWidth(),
                                   header()->sectionSizeHint(i))); // its title
}

std::optional<DupTree::Place> DupTree::currentPlace() const {
    const QModelIndex index = currentIndex();
    if (!index.isValid())
        return std::nullopt;
    return Place{DupTreeModel::groupOf(index), DupTreeModel::memberOf(index)};
}

void DupTree::setCurrentPlace(Place place) {
    setCurrentIndex(groups_.indexOf(place.group, place.member));
}

void DupTree::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
    QTreeView::currentChanged(current, previous);
    Q_EMIT currentPlaceChanged();
}

void DupTree::changeEvent(QEvent* event) {
    QTreeView::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        setColumnWidths();
}

// --- Headings -----------------------------------------------------------------------------------

void DupTree::drawRow(QPainter* painter,
                      const QStyleOptionViewItem& options,
                      const QModelIndex& index) const {
    if (DupTreeModel::memberOf(index))
        QTreeView::drawRow(painter, options, index);
    else
        drawHeading(*painter, options, index);
}

void DupTree::drawHeading(QPainter& painter,
                          const QStyleOptionViewItem& options,
                          const QModelIndex& index) const {
    QRect row = options.rect;
    row.setLeft(0);
    row.setRight(viewport()->width());
    const bool isSelected = selectionModel()->isSelected(index);
    const QPalette::ColorGroup group = hasFocus() ? QPalette::Active : QPalette::Inactive;
    painter.save();
    painter.fillRect(
        row, palette().color(group, isSelected ? QPalette::Highlight : QPalette::AlternateBase));
    painter.setPen(tints().separator);
    painter.drawLine(row.topLeft(), row.topRight());
    const QRect branch(0, row.top(), indentation(), row.height());
    drawBranches(&painter, branch, index);
    drawHeadingText(painter, row.adjusted(indentation(), 0, -indentation() / 2, 0), index,
                    isSelected);
    painter.restore();
}

void DupTree::drawHeadingText(QPainter& painter,
                              QRect area,
                              const QModelIndex& index,
                              bool isSelected) const {
    const int gap = 2 * fontMetrics().averageCharWidth();
    const QString facts = index.data(DupTreeModel::factsRole).toString();
    const int factsWidth = fontMetrics().horizontalAdvance(facts);

    QFont bold = font();
    bold.setBold(true);
    const QFontMetrics boldMetrics(bold);
    const QString title =
        boldMetrics.elidedText(index.data().toString(), Qt::ElideMiddle,
                               std::max(area.width() - factsWidth - gap, area.width() / 3));
    painter.setFont(bold);
    painter.setPen(palette().color(isSelected ? QPalette::HighlightedText : QPalette::Text));
    painter.drawText(area, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, title);

    area.setLeft(area.left() + boldMetrics.horizontalAdvance(title) + gap);
    painter.setFont(font());
    if (!isSelected)
        painter.setPen(tints().secondaryText);
    painter.drawText(area, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     fontMetrics().elidedText(facts, Qt::ElideRight, area.width()));
}

} // namespace quarrydex
