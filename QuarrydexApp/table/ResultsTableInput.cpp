/// Mouse, keyboard and selection of the results.
#include "QuarrydexApp/table/Coordinator.h"
#include "QuarrydexApp/table/ResultsModel.h"
#include "QuarrydexApp/table/ResultsTable.h"

#include <QAccessible>
#include <QApplication>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>

#include <algorithm>

namespace quarrydex {

// --- Selection ----------------------------------------------------------------------------------

std::optional<std::size_t> ResultsTable::currentRow() const {
    const QModelIndex current = currentIndex();
    return current.isValid() ? std::optional(static_cast<std::size_t>(current.row()))
                             : std::nullopt;
}

void ResultsTable::setCurrentRow(std::optional<std::size_t> row) {
    const QModelIndex index =
        row && *row < shown().count() ? model_->index(static_cast<int>(*row), 0) : QModelIndex();
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate);
}

void ResultsTable::goToRow(std::size_t row) {
    setCurrentRow(row);
    scrollToRow(row);
}

void ResultsTable::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
    for (const QModelIndex& index : {current, previous})
        if (index.isValid())
            updateRows(
                {static_cast<std::size_t>(index.row()), static_cast<std::size_t>(index.row()) + 1});
    if (QAccessible::isActive() && current.isValid() && hasFocus()) {
        QAccessibleEvent event(this, QAccessible::Focus);
        // Behind the titles, which are the first children.
        if (QAccessibleInterface* table = QAccessible::queryAccessibleInterface(this))
            if (QAccessibleInterface* cell = table->focusChild())
                event.setChild(table->indexOfChild(cell));
        QAccessible::updateAccessibility(&event);
    }
}

void ResultsTable::selectionChangedTo(RowSelection rows) {
    if (rows == selected_)
        return;
    selected_ = std::move(rows);
    viewport()->update();
    if (QAccessible::isActive()) {
        QAccessibleEvent event(this, QAccessible::SelectionWithin);
        QAccessible::updateAccessibility(&event);
    }
    Q_EMIT selectionSummaryChanged();
}

void ResultsTable::setSelected(RowSelection rows) {
    rows.remove({shown().count(), ~std::size_t{0}});
    selectionChangedTo(std::move(rows));
}

void ResultsTable::selectRow(std::size_t row) {
    if (row >= shown().count())
        return;
    anchor_ = row;
    setCurrentRow(row);
    RowSelection alone;
    alone.append(row);
    selectionChangedTo(std::move(alone));
    scrollToRow(row);
}

void ResultsTable::selectFirstRow() {
    selectRow(0);
}

void ResultsTable::selectAll() {
    RowSelection all;
    all.add({0, shown().count()});
    selectionChangedTo(std::move(all));
}

/// The rows between the anchor and this one, and no others.
void ResultsTable::extendTo(std::size_t row) {
    const std::size_t from = anchor_.value_or(currentRow().value_or(row));
    anchor_ = from;
    setCurrentRow(row);
    RowSelection range;
    range.add({std::min(from, row), std::max(from, row) + 1});
    selectionChangedTo(std::move(range));
    scrollToRow(row);
}

// --- Mouse --------------------------------------------------------------------------------------

void ResultsTable::mousePressEvent(QMouseEvent* event) {
    pressed_.reset();
    collapses_ = false;
    if (event->button() != Qt::LeftButton)
        return; // the right one comes as a context menu
    coordinator_->endRename(true);
    const auto row = rowAt(event->pos().y());
    pressedAt_ = event->pos();
    if (!row) {
        if (event->modifiers() == Qt::NoModifier)
            selectionChangedTo({});
        return;
    }
    if (event->modifiers() & Qt::ShiftModifier) {
        extendTo(*row);
    } else if (event->modifiers() & Qt::ControlModifier) {
        RowSelection rows = selected_;
        rows.toggle(*row);
        anchor_ = row;
        setCurrentRow(row);
        selectionChangedTo(std::move(rows));
    } else if (selected_.contains(*row)) {
        collapses_ = true; // unless they are dragged away
        setCurrentRow(row);
    } else {
        selectRow(*row);
    }
    if (selected_.contains(*row))
        pressed_ = row;
}

void ResultsTable::mouseMoveEvent(QMouseEvent* event) {
    const bool isDrag =
        pressed_ && (event->buttons() & Qt::LeftButton) &&
        (event->pos() - pressedAt_).manhattanLength() >= QApplication::startDragDistance();
    if (!isDrag)
        return;
    pressed_.reset();
    collapses_ = false;
    startDrag(Qt::CopyAction | Qt::LinkAction);
}

void ResultsTable::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && collapses_ && pressed_)
        selectRow(*pressed_);
    pressed_.reset();
    collapses_ = false;
}

void ResultsTable::mouseDoubleClickEvent(QMouseEvent* event) {
    pressed_.reset();
    collapses_ = false;
    if (event->button() == Qt::LeftButton && event->modifiers() == Qt::NoModifier &&
        rowAt(event->pos().y()))
        coordinator_->openSelected();
}

void ResultsTable::contextMenuEvent(QContextMenuEvent* event) {
    QPoint at = event->globalPos();
    if (event->reason() == QContextMenuEvent::Keyboard) {
        const auto row = currentRow();
        if (!row)
            return;
        scrollToRow(*row);
        at = viewport()->mapToGlobal(cellRect(*row, Column::name).bottomLeft());
    } else if (const auto row = rowAt(viewport()->mapFromGlobal(at).y());
               row && !selected_.contains(*row)) {
        selectRow(*row);
    }
    if (selected_.empty())
        return;
    QMenu menu(this);
    coordinator_->menuNeedsUpdate(menu);
    menu.exec(at);
}

void ResultsTable::startDrag(Qt::DropActions actions) {
    coordinator_->drag(actions);
}

// --- Keyboard -----------------------------------------------------------------------------------

void ResultsTable::moveTo(std::size_t row, Qt::KeyboardModifiers modifiers) {
    if (modifiers & Qt::ShiftModifier) {
        extendTo(row);
    } else if (modifiers & Qt::ControlModifier) { // the current row alone
        goToRow(row);
    } else {
        selectRow(row);
    }
}

QModelIndex ResultsTable::moveCursor(CursorAction action, Qt::KeyboardModifiers) {
    if (shown().count() == 0)
        return {};
    const std::size_t last = shown().count() - 1;
    const auto page = static_cast<std::size_t>(std::max(1, viewport()->height() / rowHeight_ - 1));
    const auto current = currentRow();
    std::size_t row = current.value_or(topRow());
    // Without a current row the first step enters the rows.
    const std::size_t step = current ? 1 : 0;
    switch (action) {
    case MoveUp:
    case MovePrevious:
    case MoveLeft:
        row -= std::min(row, step);
        break;
    case MoveDown:
    case MoveNext:
    case MoveRight:
        row += step;
        break;
    case MovePageUp:
        row -= std::min(row, page);
        break;
    case MovePageDown:
        row += page;
        break;
    case MoveHome:
        row = 0;
        break;
    case MoveEnd:
        row = last;
        break;
    }
    return model_->index(static_cast<int>(std::min(row, last)), 0);
}

bool ResultsTable::moveByKey(const QKeyEvent& event) {
    constexpr struct {
        int key;
        CursorAction action;
    } moves[] = {{Qt::Key_Up, MoveUp},         {Qt::Key_Down, MoveDown},
                 {Qt::Key_PageUp, MovePageUp}, {Qt::Key_PageDown, MovePageDown},
                 {Qt::Key_Home, MoveHome},     {Qt::Key_End, MoveEnd}};

    for (const auto& [key, action] : moves) {
        if (event.key() != key || (event.modifiers() & Qt::AltModifier))
            continue;
        if (const QModelIndex to = moveCursor(action, event.modifiers()); to.isValid())
            moveTo(static_cast<std::size_t>(to.row()), event.modifiers());
        return true;
    }
    return false;
}

/// The keys of the operations; the keypad's count as their twins.
bool ResultsTable::actByKey(const QKeyEvent& event) {
    const Qt::KeyboardModifiers modifiers = event.modifiers() & ~Qt::KeypadModifier;
    const auto is = [&](Qt::KeyboardModifiers wanted, int key) {
        return modifiers == wanted && event.key() == key;
    };
    if (is(Qt::NoModifier, Qt::Key_Return) || is(Qt::NoModifier, Qt::Key_Enter)) {
        coordinator_->openSelected();
    } else if (is(Qt::ControlModifier, Qt::Key_Return) || is(Qt::ControlModifier, Qt::Key_Enter)) {
        coordinator_->reveal();
    } else if (is(Qt::NoModifier, Qt::Key_Space)) {
        coordinator_->quickLook();
    } else if (is(Qt::NoModifier, Qt::Key_F2)) {
        coordinator_->renameSelected();
    } else if (is(Qt::NoModifier, Qt::Key_Delete) || is(Qt::ControlModifier, Qt::Key_Delete)) {
        coordinator_->trashSelected();
    } else if (event.matches(QKeySequence::Copy)) {
        coordinator_->copyPath();
    } else if (event.matches(QKeySequence::SelectAll)) {
        selectAll();
    } else if (is(Qt::ControlModifier, Qt::Key_Space) && currentRow()) {
        RowSelection rows = selected_;
        rows.toggle(*currentRow());
        anchor_ = currentRow();
        selectionChangedTo(std::move(rows));
    } else {
        return false;
    }
    return true;
}

void ResultsTable::keyPressEvent(QKeyEvent* event) {
    if (moveByKey(*event) || actByKey(*event)) {
        event->accept();
        return;
    }
    const bool isCommand =
        event->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier);
    const QString text = event->text();
    if (!isCommand && !text.isEmpty() && text.front().isPrint()) {
        Q_EMIT typed(text);
        event->accept();
        return;
    }
    event->ignore(); // Escape and the like are the window's
}

void ResultsTable::focusInEvent(QFocusEvent*) {
    viewport()->update();
}

void ResultsTable::focusOutEvent(QFocusEvent*) {
    viewport()->update();
}

} // namespace quarrydex
