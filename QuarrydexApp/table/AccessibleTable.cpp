#include "QuarrydexApp/table/AccessibleTable.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/table/ResultsTable.h"
#include "QuarrydexApp/table/TableHeader.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QPointer>

#include <algorithm>
#include <map>
#include <utility>

namespace quarrydex {

namespace {

/// The place of a cell: rows are those of the results, columns the visible ones from the left. A
/// row of -1 is that of the titles.
struct CellPlace {
    int row;
    int column;

    auto operator<=>(const CellPlace&) const = default;
};

constexpr int titleRow = -1;

/// A cell of a table, or the title of a column.
class AccessibleCell final : public QAccessibleInterface, public QAccessibleTableCellInterface {
  public:
    AccessibleCell(ResultsTable& table, CellPlace place)
        : table_(&table), place_(place), results_(table.shown().set()) {}

    // --- QAccessibleInterface -------------------------------------------------------------------

    /// Of the rows that are shown now: another result makes other cells.
    [[nodiscard]] bool isValid() const override {
        return table_ && table_->shown().set() == results_ &&
               place_.row < static_cast<int>(table_->shown().count()) && column().has_value();
    }

    [[nodiscard]] QObject* object() const override { return nullptr; }

    [[nodiscard]] QAccessibleInterface* childAt(int, int) const override { return nullptr; }

    [[nodiscard]] QAccessibleInterface* parent() const override {
        return QAccessible::queryAccessibleInterface(table_);
    }

    [[nodiscard]] QAccessibleInterface* child(int) const override { return nullptr; }

    [[nodiscard]] int childCount() const override { return 0; }

    [[nodiscard]] int indexOfChild(const QAccessibleInterface*) const override { return -1; }

    [[nodiscard]] QString text(QAccessible::Text kind) const override {
        if (kind != QAccessible::Name || !isValid())
            return {};
        if (place_.row == titleRow)
            return qt(ColumnDef::of(*column()).shownTitle());
        return table_->values().longText(row(), *column());
    }

    void setText(QAccessible::Text, const QString&) override {}

    [[nodiscard]] QRect rect() const override {
        if (!isValid() || place_.row == titleRow)
            return {};
        const QRect cell = table_->cellRect(static_cast<std::size_t>(place_.row), *column());
        return cell.isNull() ? QRect()
                             : QRect(table_->viewport()->mapToGlobal(cell.topLeft()), cell.size());
    }

    [[nodiscard]] QAccessible::Role role() const override {
        return place_.row == titleRow ? QAccessible::ColumnHeader : QAccessible::Cell;
    }

    [[nodiscard]] QAccessible::State state() const override {
        QAccessible::State state;
        state.invalid = !isValid();
        if (state.invalid || place_.row == titleRow)
            return state;
        const auto at = static_cast<std::size_t>(place_.row);
        state.selectable = state.multiSelectable = state.focusable = true;
        state.readOnly = true;
        state.selected = table_->selected().contains(at);
        state.focused = table_->hasFocus() && table_->currentRow() == at;
        const RowSelection::Range visible = table_->visibleRows();
        state.offscreen = at < visible.begin || at >= visible.end;
        state.disabled = row().volume->offline || table_->values().isGone(row());
        return state;
    }

    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::TableCellInterface
                   ? static_cast<QAccessibleTableCellInterface*>(this)
                   : nullptr;
    }

    // --- QAccessibleTableCellInterface ----------------------------------------------------------

    [[nodiscard]] bool isSelected() const override { return state().selected; }

    [[nodiscard]] QList<QAccessibleInterface*> columnHeaderCells() const override {
        QAccessibleInterface* title = parent() ? parent()->child(place_.column) : nullptr;
        return title != nullptr ? QList{title} : QList<QAccessibleInterface*>();
    }

    [[nodiscard]] QList<QAccessibleInterface*> rowHeaderCells() const override { return {}; }

    [[nodiscard]] int columnIndex() const override { return place_.column; }

    [[nodiscard]] int rowIndex() const override { return place_.row; }

    [[nodiscard]] int columnExtent() const override { return 1; }

    [[nodiscard]] int rowExtent() const override { return 1; }

    [[nodiscard]] QAccessibleInterface* table() const override { return parent(); }

    [[nodiscard]] CellPlace place() const { return place_; }

  private:
    [[nodiscard]] ShownRow row() const {
        return table_->shown().row(static_cast<std::size_t>(place_.row));
    }

    [[nodiscard]] std::optional<Column> column() const {
        const auto columns = table_->header().visibleColumns();
        const auto at = static_cast<std::size_t>(place_.column);
        return at < columns.size() ? std::optional(columns[at]) : std::nullopt;
    }

    QPointer<ResultsTable> table_;
    CellPlace place_;
    std::shared_ptr<const ResultSet> results_; ///< what the row is a row of
};

class AccessibleTable final : public QAccessibleWidget, public QAccessibleTableInterface {
  public:
    explicit AccessibleTable(ResultsTable& table)
        : QAccessibleWidget(&table, QAccessible::Table), table_(table) {}

    ~AccessibleTable() override { forgetCells(); }

    // --- QAccessibleInterface -------------------------------------------------------------------

    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::TableInterface ? static_cast<QAccessibleTableInterface*>(this)
                                                   : QAccessibleWidget::interface_cast(type);
    }

    /// The titles, then row after row.
    [[nodiscard]] int childCount() const override {
        const std::int64_t all = (std::int64_t{rowCount()} + 1) * columnCount();
        return static_cast<int>(std::min<std::int64_t>(all, std::numeric_limits<int>::max()));
    }

    [[nodiscard]] QAccessibleInterface* child(int index) const override {
        const int columns = columnCount();
        if (index < 0 || index >= childCount())
            return nullptr;
        return cell({index / columns + titleRow, index % columns});
    }

    [[nodiscard]] int indexOfChild(const QAccessibleInterface* child) const override {
        const auto* cell = dynamic_cast<const AccessibleCell*>(child);
        if (cell == nullptr || !cell->isValid())
            return -1;
        const std::int64_t index =
            (std::int64_t{cell->place().row} - titleRow) * columnCount() + cell->place().column;
        return index <= std::numeric_limits<int>::max() ? static_cast<int>(index) : -1;
    }

    [[nodiscard]] QAccessibleInterface* childAt(int x, int y) const override {
        const QModelIndex index = table_.indexAt(table_.viewport()->mapFromGlobal(QPoint(x, y)));
        if (!index.isValid())
            return nullptr;
        const auto columns = table_.header().visibleColumns();
        const auto found = std::ranges::find(columns, static_cast<Column>(index.column()));
        return cell({index.row(), static_cast<int>(found - columns.begin())});
    }

    [[nodiscard]] QAccessibleInterface* focusChild() const override {
        const auto current = table_.currentRow();
        return current ? cell({static_cast<int>(*current), 0}) : nullptr;
    }

    // --- QAccessibleTableInterface --------------------------------------------------------------

    [[nodiscard]] QAccessibleInterface* caption() const override { return nullptr; }

    [[nodiscard]] QAccessibleInterface* summary() const override { return nullptr; }

    [[nodiscard]] QAccessibleInterface* cellAt(int row, int column) const override {
        const bool isThere = row >= 0 && row < rowCount() && column >= 0 && column < columnCount();
        return isThere ? cell({row, column}) : nullptr;
    }

    /// Of at most so many rows: a screen reader that asks for ten million cells gets none done.
    [[nodiscard]] QList<QAccessibleInterface*> selectedCells() const override {
        QList<QAccessibleInterface*> out;
        for (const int row : selectedRows())
            for (int column = 0; column < columnCount(); ++column)
                out += cell({row, column});
        return out;
    }

    [[nodiscard]] QList<int> selectedRows() const override {
        QList<int> out;
        for (const RowSelection::Range& range : table_.selected().ranges())
            for (std::size_t at = range.begin; at < range.end; ++at) {
                if (out.size() >= mostListed)
                    return out;
                out += static_cast<int>(at);
            }
        return out;
    }

    [[nodiscard]] QList<int> selectedColumns() const override { return {}; }

    [[nodiscard]] QString columnDescription(int column) const override {
        const auto columns = table_.header().visibleColumns();
        const auto at = static_cast<std::size_t>(column);
        return at < columns.size() ? qt(ColumnDef::of(columns[at]).shownTitle()) : QString();
    }

    [[nodiscard]] QString rowDescription(int) const override { return {}; }

    [[nodiscard]] int selectedColumnCount() const override { return 0; }

    [[nodiscard]] int selectedRowCount() const override {
        return static_cast<int>(table_.selected().count());
    }

    [[nodiscard]] int selectedCellCount() const override {
        const std::size_t all = table_.selected().count() * static_cast<std::size_t>(columnCount());
        constexpr std::size_t most = std::numeric_limits<int>::max();
        return static_cast<int>(std::min(all, most));
    }

    [[nodiscard]] int columnCount() const override {
        return static_cast<int>(table_.header().visibleColumns().size());
    }

    [[nodiscard]] int rowCount() const override { return static_cast<int>(table_.shown().count()); }

    [[nodiscard]] bool isColumnSelected(int) const override { return false; }

    [[nodiscard]] bool isRowSelected(int row) const override {
        return row >= 0 && table_.selected().contains(static_cast<std::size_t>(row));
    }

    bool selectRow(int row) override {
        if (row < 0 || row >= rowCount())
            return false;
        table_.selectRow(static_cast<std::size_t>(row));
        return true;
    }

    bool selectColumn(int) override { return false; }

    bool unselectRow(int row) override {
        if (!isRowSelected(row))
            return false;
        RowSelection rest = table_.selected();
        rest.toggle(static_cast<std::size_t>(row));
        table_.setSelected(std::move(rest));
        return true;
    }

    bool unselectColumn(int) override { return false; }

    void modelChange(QAccessibleTableModelChangeEvent*) override { forgetCells(); }

  private:
    static constexpr qsizetype mostListed = 1'000;
    static constexpr std::size_t mostCells = 4'096; ///< objects kept

    [[nodiscard]] QAccessibleInterface* cell(CellPlace place) const {
        if (const auto known = cells_.find(place); known != cells_.end()) {
            QAccessibleInterface* object = QAccessible::accessibleInterface(known->second);
            if (object != nullptr && object->isValid())
                return object;
            QAccessible::deleteAccessibleInterface(known->second);
            cells_.erase(known);
        }
        if (cells_.size() >= mostCells)
            forgetCells();
        auto* object = new AccessibleCell(table_, place); // owned by the registry
        cells_[place] = QAccessible::registerAccessibleInterface(object);
        return object;
    }

    void forgetCells() const {
        for (const auto& [place, id] : cells_)
            QAccessible::deleteAccessibleInterface(id);
        cells_.clear();
    }

    ResultsTable& table_;
    mutable std::map<CellPlace, QAccessible::Id> cells_;
};

QAccessibleInterface* makeAccessible(const QString&, QObject* object) {
    auto* table = qobject_cast<ResultsTable*>(object);
    return table != nullptr ? new AccessibleTable(*table) : nullptr;
}

} // namespace

void installAccessibleTables() {
    static const bool once = [] {
        QAccessible::installFactory(makeAccessible);
        return true;
    }();
    static_cast<void>(once);
}

} // namespace quarrydex
