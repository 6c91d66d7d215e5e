/// The results: one line a hit, across all drives, in columns.
///
/// The view paints the rows that are visible and asks for nothing else, so that ten million rows
/// show as quickly as ten. What can be done with rows is the Coordinator's.
///
/// Selection: ranges of rows, held here and not by Qt's selection model, which keeps the current
/// row alone. When a result is followed by another one of the same search, the selection, the
/// current row and the topmost row are found again in it by catalogue and entry (FollowRows.h).
/// That takes a look at every row: where it would be felt it is done in the background, and the old
/// rows stay until it is done. So the selection is exact however long it is; nothing is ever
/// selected that the user did not select. A new search drops it.
///
/// Threads: the main thread. Ownership: a widget of its parent; refers to the services, which
/// outlive it. Failure: told in alerts.
#pragma once

#include "QuarrydexApp/table/CellValues.h"
#include "QuarrydexApp/table/Columns.h"
#include "QuarrydexApp/table/Follower.h"
#include "QuarrydexApp/table/RowPainter.h"
#include "QuarrydexApp/table/RowSelection.h"
#include "QuarrydexCore/base/Subscription.h"

#include <QAbstractItemView>
#include <QTimer>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quarrydex {

class Alerts;
struct ActionsPlatform;
class FileMetaSource;
class FileOpener;
class Model;
class Prefs;
class ResultsModel;
class TableHeader;

class ResultsTable : public QAbstractItemView {
    Q_OBJECT

  public:
    class Coordinator;

    struct Services {
        Model& model;
        Prefs& prefs;
        FileOpener& opener;
        FileMetaSource& files;
        const ActionsPlatform& actions;
        Alerts* alerts = nullptr; ///< null: message boxes
    };

    explicit ResultsTable(const Services& services, QWidget* parent = nullptr);
    ~ResultsTable() override;

    [[nodiscard]] Coordinator& coordinator() { return *coordinator_; }

    // --- Columns --------------------------------------------------------------------------------

    /// Shows the columns of a category's set ("" for none); kept per category by Prefs.
    void setCategory(const std::string& id);

    /// These columns in place of every category's set, for this run; unknown ids are left out.
    void overrideColumns(const std::vector<std::string>& ids);

    /// Shows or hides a column of the set in effect.
    void toggleColumn(Column column);

    /// `fit`: sizes a column, or each, by what its visible rows hold.
    void fit(Column column);
    void fit();

    /// The width that the title and the visible rows ask for.
    [[nodiscard]] int prefWidth(Column column);

    [[nodiscard]] TableHeader& header() { return *header_; }

    // --- Rows -----------------------------------------------------------------------------------

    [[nodiscard]] const ShownResults& shown() const;

    [[nodiscard]] CellValues& values() { return values_; }

    [[nodiscard]] std::optional<std::size_t> currentRow() const;
    [[nodiscard]] std::size_t topRow() const;

    [[nodiscard]] int rowHeight() const { return rowHeight_; }

    /// Those that are at least partly visible.
    [[nodiscard]] RowSelection::Range visibleRows() const;

    /// Where a cell stands in the viewport; empty for one that is far outside.
    [[nodiscard]] QRect cellRect(std::size_t row, Column column) const;
    void scrollToRow(std::size_t row);

    /// Makes the row current and scrolls to it; the selection stays.
    void goToRow(std::size_t row);

    // --- Selection ------------------------------------------------------------------------------

    [[nodiscard]] const RowSelection& selected() const { return selected_; }

    /// Selects the row alone and makes it current; scrolls to it.
    void selectRow(std::size_t row);

    /// Selects the first row, if there is one, and makes it current.
    void selectFirstRow();

    /// Replaces the selection; the current row stays.
    void setSelected(RowSelection rows);

    struct Selection {
        std::size_t rows{};
        std::uint64_t bytes{}; ///< of its files; 0 when there are more than are worth adding up
    };

    [[nodiscard]] Selection selection() const;

    // --- For the Coordinator --------------------------------------------------------------------

    /// The file is in the Trash: the row shows it and can no longer be selected.
    void markGone(const ShownResults& results, std::size_t row);

    /// The file has another name; the row that it will have is selected when it is there.
    void markRenamed(const ShownRow& row, const std::string& newName, EntryId firstNewEntry);

    /// While a name is edited the rows stay as they are.
    void setHeld(bool held);

    // --- QAbstractItemView ----------------------------------------------------------------------

    [[nodiscard]] QRect visualRect(const QModelIndex& index) const override;
    [[nodiscard]] QModelIndex indexAt(const QPoint& point) const override;
    void scrollTo(const QModelIndex& index, ScrollHint hint = EnsureVisible) override;
    void selectAll() override;

    void keyboardSearch(const QString&) override {}

    void dataChanged(const QModelIndex&, const QModelIndex&, const QList<int>&) override;

  Q_SIGNALS:
    void selectionSummaryChanged();

    /// Letters that belong into the search field.
    void typed(const QString& text);
    void quickLookRequested();

    /// Rows moved or changed their size: what lies over them follows.
    void rowsMoved();

  protected:
    void updateGeometries() override;
    void scrollContentsBy(int dx, int dy) override;
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    bool viewportEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void startDrag(Qt::DropActions actions) override;
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;

    QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
    [[nodiscard]] int horizontalOffset() const override;
    [[nodiscard]] int verticalOffset() const override;

    [[nodiscard]] bool isIndexHidden(const QModelIndex&) const override { return false; }

    void setSelection(const QRect&, QItemSelectionModel::SelectionFlags) override {}

    [[nodiscard]] QRegion visualRegionForSelection(const QItemSelection&) const override {
        return {};
    }

  private:
    /// A file that was renamed is a new entry: what it will be found by.
    struct PendingSelect {
        RowKey old;
        EntryId firstEntry{}; ///< it is this one or a later one
        EntryId parent{};
        std::string name;
        QDeadlineTimer end;
    };

    // ResultsTable.cpp: results, columns and what they hang on
    void connectModel();
    void connectHeader();
    void resultsArrived();
    void followWaiting();
    void present(ShownResults results, const Places& places);
    [[nodiscard]] Places places() const;
    void selectRenamed();
    void showColumns();
    [[nodiscard]] std::vector<std::string> columnIds() const;
    void saveState();
    void sortBy(Column column);
    void retitle();

    // ResultsTableView.cpp: geometry and painting
    [[nodiscard]] std::int64_t offset() const; ///< of the viewport's top, pixels
    void setOffset(std::int64_t pixels);
    void updateScrollBars();
    void measureRows();
    [[nodiscard]] std::vector<RowPainter::Cell> cells() const;
    [[nodiscard]] std::optional<std::size_t> rowAt(int y) const;
    void updateRows(RowSelection::Range rows);
    void lookSoon();
    void look();
    void showToolTip(const QPoint& at, const QPoint& global);

    // ResultsTableInput.cpp: mouse and keyboard
    void setCurrentRow(std::optional<std::size_t> row);
    void moveTo(std::size_t row, Qt::KeyboardModifiers modifiers);
    void extendTo(std::size_t row);
    [[nodiscard]] bool moveByKey(const QKeyEvent& event);
    [[nodiscard]] bool actByKey(const QKeyEvent& event);
    void selectionChangedTo(RowSelection rows);

    const Services services_;
    CellValues values_;
    PaintCache paintCache_;
    ResultsModel* model_;                  ///< a child
    TableHeader* header_;                  ///< a child
    std::vector<std::string> foldedTerms_; ///< of the shown results

    std::string category_;
    std::vector<std::string> overriddenColumns_; ///< empty: those of the category
    std::size_t langListener_;
    std::unique_ptr<Subscription> prefsWatch_;
    QTimer saveTimer_;
    QTimer lookTimer_;

    int rowHeight_ = 1;
    int unit_ = 1; ///< pixels that one step of the vertical scroll bar stands for

    RowSelection selected_;
    std::optional<std::size_t> anchor_;
    std::optional<std::size_t> pressed_; ///< selected row under the mouse button
    bool collapses_ = false;             ///< releasing the button selects pressed_ alone
    QPoint pressedAt_;

    std::optional<ShownResults> waiting_; ///< newer than what is shown
    bool isHeld_ = false;
    std::optional<PendingSelect> pendingSelect_;
    std::unique_ptr<Coordinator> coordinator_;
    Follower follower_; ///< last: its thread ends before the rest
};

} // namespace quarrydex
