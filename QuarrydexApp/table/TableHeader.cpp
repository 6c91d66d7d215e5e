#include "QuarrydexApp/table/TableHeader.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/table/RowPainter.h"
#include "QuarrydexCore/text/tr.h"

#include <QAbstractTableModel>
#include <QContextMenuEvent>
#include <QProxyStyle>
#include <QStyleOption>

#include <algorithm>

namespace quarrydex {

namespace {

constexpr int narrowest = 30;    ///< a column, device-independent pixels
constexpr int titleMargins = 24; ///< with the sign of the order

int logical(Column column) {
    return static_cast<int>(column);
}

constexpr int columnCount = static_cast<int>(ColumnDef::count);

/// Titles stand above the texts of their columns, as far as they fit. Behind the last one the
/// header goes on.
class AlignedStyle final : public QProxyStyle {
  public:
    int pixelMetric(PixelMetric metric,
                    const QStyleOption* option,
                    const QWidget* widget) const override {
        if (metric != PM_HeaderMargin)
            return QProxyStyle::pixelMetric(metric, option, widget);
        const auto* title = qstyleoption_cast<const QStyleOptionHeader*>(option);
        if (title == nullptr || title->rect.isEmpty())
            return RowPainter::margin;
        const int text = title->fontMetrics.horizontalAdvance(title->text);
        return std::clamp((title->rect.width() - text) / 2, 1, RowPainter::margin);
    }

    void drawControl(ControlElement element,
                     const QStyleOption* option,
                     QPainter* painter,
                     const QWidget* widget) const override {
        if (element != CE_HeaderEmptyArea) {
            QProxyStyle::drawControl(element, option, painter, widget);
            return;
        }
        QStyleOptionHeader rest;
        rest.initFrom(widget);
        rest.rect = option->rect;
        rest.state = option->state | State_Raised | State_Horizontal;
        rest.position = QStyleOptionHeader::End;
        QProxyStyle::drawControl(CE_HeaderSection, &rest, painter, widget);
    }
};

} // namespace

class TableHeader::Titles final : public QAbstractTableModel {
  public:
    using QAbstractTableModel::QAbstractTableModel;

    [[nodiscard]] int rowCount(const QModelIndex&) const override { return 0; }

    [[nodiscard]] int columnCount(const QModelIndex&) const override {
        return quarrydex::columnCount;
    }

    [[nodiscard]] QVariant data(const QModelIndex&, int) const override { return {}; }

    [[nodiscard]] QVariant headerData(int section, Qt::Orientation, int role) const override {
        const ColumnDef& def = ColumnDef::all[static_cast<std::size_t>(section)];
        if (role == Qt::DisplayRole || role == Qt::ToolTipRole)
            return qt(def.shownTitle());
        if (role == Qt::TextAlignmentRole)
            return QVariant::fromValue(Qt::AlignVCenter |
                                       (def.isNumeric ? Qt::AlignRight : Qt::AlignLeft));
        return {};
    }
};

TableHeader::TableHeader(QWidget* parent)
    : QHeaderView(Qt::Horizontal, parent), titles_(new Titles(this)) {
    setModel(titles_);
    auto* aligned = new AlignedStyle; // with the application's style below it
    aligned->setParent(this);
    setStyle(aligned);
    setSectionsMovable(true);
    setFirstSectionMovable(true);
    setSectionsClickable(true);
    setHighlightSections(false);
    setSortIndicatorShown(true);
    setMinimumSectionSize(narrowest);
    setTextElideMode(Qt::ElideRight);
    for (const ColumnDef& def : ColumnDef::all)
        resizeSection(static_cast<int>(&def - ColumnDef::all.data()), def.width);
    connect(this, &QHeaderView::sectionHandleDoubleClicked, this,
            [this](int section) { Q_EMIT fitColumn(static_cast<Column>(section)); });
}

void TableHeader::showOnly(const std::vector<std::string>& ids) {
    for (int i = 0; i < columnCount; ++i) {
        const ColumnDef& def = ColumnDef::all[static_cast<std::size_t>(i)];
        const bool isChosen = std::ranges::find(ids, def.id) != ids.end();
        setSectionHidden(i, !isChosen && i != logical(Column::name));
    }
}

std::vector<Column> TableHeader::visibleColumns() const {
    std::vector<Column> out;
    for (int place = 0; place < columnCount; ++place)
        if (const int section = logicalIndex(place); !isSectionHidden(section))
            out.push_back(static_cast<Column>(section));
    return out;
}

std::vector<std::string> TableHeader::order() const {
    std::vector<std::string> out;
    out.reserve(columnCount);
    for (int place = 0; place < columnCount; ++place)
        out.emplace_back(ColumnDef::of(static_cast<Column>(logicalIndex(place))).id);
    return out;
}

void TableHeader::restore(const TableState& state) {
    int place = 0;
    for (const std::string& id : state.order)
        if (const auto column = ColumnDef::byID(id);
            column && visualIndex(logical(*column)) >= place)
            moveSection(visualIndex(logical(*column)), place++);
    for (const auto& [id, width] : state.widths)
        if (const auto column = ColumnDef::byID(id))
            resizeSection(logical(*column), std::max(width, narrowest));
}

void TableHeader::store(TableState& into) const {
    into.order = order();
    for (const Column column : visibleColumns()) // a hidden one keeps what was stored
        into.widths[std::string(ColumnDef::of(column).id)] = sectionSize(logical(column));
}

void TableHeader::showSort(SortKey key, bool desc) {
    const auto column = std::ranges::find(ColumnDef::all, std::optional(key), &ColumnDef::sort);
    setSortIndicator(static_cast<int>(column - ColumnDef::all.begin()),
                     desc ? Qt::DescendingOrder : Qt::AscendingOrder);
}

void TableHeader::menuNeedsUpdate(QMenu& menu) {
    menu.clear();
    std::string_view group;
    QMenu* into = &menu;
    for (const ColumnDef& def : ColumnDef::all) {
        const auto column = static_cast<Column>(&def - ColumnDef::all.data());
        if (column == Column::name)
            continue; // always there
        if (def.group != group) {
            into = menu.addMenu(qt(def.shownGroup()));
            group = def.group;
        }
        QAction* action = into->addAction(qt(def.shownTitle()));
        action->setObjectName(qt(def.id));
        action->setCheckable(true);
        action->setChecked(!isSectionHidden(logical(column)));
        connect(action, &QAction::triggered, this, [this, column] { Q_EMIT toggleColumn(column); });
    }
    menu.addSeparator();
    connect(menu.addAction(qt(quarrydex::tr("Fit columns to their content"))), &QAction::triggered,
            this, &TableHeader::fitAll);
}

void TableHeader::contextMenuEvent(QContextMenuEvent* event) {
    QMenu menu(this);
    menuNeedsUpdate(menu);
    menu.exec(event->globalPos());
}

int TableHeader::titleWidth(Column column) const {
    return fontMetrics().horizontalAdvance(qt(ColumnDef::of(column).shownTitle())) + titleMargins;
}

void TableHeader::retitle() {
    Q_EMIT titles_->headerDataChanged(Qt::Horizontal, 0, columnCount - 1);
}

} // namespace quarrydex
