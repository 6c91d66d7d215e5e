/// The titles above the results: columns are moved, resized, hidden, and clicked to sort.
///
/// It has a model of its own, of titles alone, so that a new result costs it nothing.
///
/// Threads: the main thread. Ownership: a widget of its parent. Fails: never.
#pragma once

#include "QuarrydexApp/prefs/TableState.h"
#include "QuarrydexApp/table/Columns.h"

#include <QHeaderView>
#include <QMenu>

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace quarrydex {

class TableHeader : public QHeaderView {
    Q_OBJECT

  public:
    explicit TableHeader(QWidget* parent);

    /// Shows these columns; the name in any case.
    void showOnly(const std::vector<std::string>& ids);

    /// From the left.
    [[nodiscard]] std::vector<Column> visibleColumns() const;

    /// Ids in their order, of columns that are not shown too.
    [[nodiscard]] std::vector<std::string> order() const;

    /// Order and widths; the sorting is the model's.
    void restore(const TableState& state);
    void store(TableState& into) const;

    /// Shows by what is sorted, whoever said so.
    void showSort(SortKey key, bool desc);

    /// `menuNeedsUpdate`: fills a menu with the columns, under the heading of their groups.
    void menuNeedsUpdate(QMenu& menu);

    /// The width that the title asks for.
    [[nodiscard]] int titleWidth(Column column) const;

    /// The language changed.
    void retitle();

  Q_SIGNALS:
    void toggleColumn(quarrydex::Column column);
    void fitColumn(quarrydex::Column column);
    void fitAll();

  protected:
    void contextMenuEvent(QContextMenuEvent* event) override;

  private:
    class Titles;

    Titles* titles_; ///< a child
};

} // namespace quarrydex
